#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "base/four_char_code.h"
#include "movie/atom_tree.h"

namespace premoov {

// What the first sample description of a sound track says of its samples.
struct SoundDescription {
  FourCC format;
  uint16_t version = 0;   // 0 and 1: the rate as 16.16; 2: as a 64-bit float
  double sampleRate = 0;  // frames a second
  uint32_t channels = 0;
  uint32_t bitsPerChannel = 0;
};

// Reads the first entry of the 'stsd' of `trak` as a QuickTime sound description of version 0, 1
// or 2. Nothing when the entry is missing or too short for its version's fields.
std::optional<SoundDescription> readSoundDescription(const AtomNode& trak,
                                                     std::span<const uint8_t> bytes);

}  // namespace premoov
