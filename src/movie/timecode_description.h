#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "movie/atom_tree.h"

namespace premoov {

// What the first sample description of a timecode track says of its timecode.
struct TimecodeDescription {
  bool dropFrame = false;
  uint32_t timeScale = 0;
  uint32_t frameDuration = 0;         // in timeScale
  uint8_t framesPerSecond = 0;        // the description's own count
  std::optional<std::string> reel{};  // the text of the source reference's 'name' atom
};

// Reads the first entry of the 'stsd' of `trak` as a timecode description: its flags (bit 0 drop
// frame), time scale, frame duration and frame count, then the source reference, whose 'name'
// atom holds the reel name. Nothing when the entry is too short for the four fields; no reel when
// the source reference is no complete 'name' atom.
std::optional<TimecodeDescription> readTimecodeDescription(const AtomNode& trak,
                                                           std::span<const uint8_t> bytes);

}  // namespace premoov
