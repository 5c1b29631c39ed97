#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "media/cm_time.h"

namespace premoov {

// The chunk table for one second of video: how many frames go in each chunk, in recording order.
// The entries sum to the nominal rate, round(timescale / value) with halves away from zero, and
// larger frames (`frameSize`, the bytes reserved per frame) go in fewer per chunk. Nothing for a
// nominal rate other than 24, 25, 30, 50 or 60, or a duration that gives no finite rate.
// Example: 1001/30000 s frames of 150,000 bytes give {8, 8, 8, 6}.
std::optional<std::vector<int32_t>> videoChunksTable(int32_t frameSize,
                                                     const CMTime& frameDuration);

}  // namespace premoov
