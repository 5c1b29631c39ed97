#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "base/four_char_code.h"
#include "movie/atom_tree.h"

namespace premoov {

// What the first sample description of a video track says of its pictures.
struct VideoDescription {
  FourCC format;
  uint16_t width = 0;   // pixels
  uint16_t height = 0;  // rows
};

// Reads the first entry of the 'stsd' of `trak`, parsed from `bytes`: a QuickTime video sample
// description, whose width and height follow 24 bytes of reserved, reference, version, vendor and
// quality fields. Nothing when the entry is missing or too short to hold them.
std::optional<VideoDescription> readVideoDescription(const AtomNode& trak,
                                                     std::span<const uint8_t> bytes);

}  // namespace premoov
