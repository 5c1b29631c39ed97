#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/four_char_code.h"
#include "movie/atom_tree.h"

namespace premoov {

// What the first sample description of a video track says of its pictures.
struct VideoDescription {
  FourCC format;
  uint16_t width = 0;                           // pixels
  uint16_t height = 0;                          // rows
  std::optional<std::string> compressorName{};  // as the writer named its format
};

// Reads the first entry of the 'stsd' of `trak`, parsed from `bytes`: a QuickTime video sample
// description, whose width and height follow 24 bytes of reserved, reference, version, vendor and
// quality fields, and the compressor name, a Pascal string in the 32 bytes after the resolutions,
// data size and frame count. Nothing when the entry is too short for width and height; no name
// when it is too short for that, empty or longer than its 31 bytes.
std::optional<VideoDescription> readVideoDescription(const AtomNode& trak,
                                                     std::span<const uint8_t> bytes);

}  // namespace premoov
