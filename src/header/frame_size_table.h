#pragma once

#include <cstdint>

#include "base/four_char_code.h"

namespace premoov {

// The most bytes one frame of `codec` can take at `width` x `height` pixels, so the header can
// give every frame of a recording one fixed slot before the recorder writes any of them.
// Dimensions are first cut to 16-bit signed coordinates, as a QuickTime Rect holds them. 0 for
// an unknown codec, a non-positive dimension, a size the codec cannot have, or a frame that
// would not fit in 2^31 - 1 bytes. Example: maxCompressedFrameSize("v210", 1920, 1080) is
// 5,529,600 (1080 rows of 5,120 bytes).
int32_t maxCompressedFrameSize(FourCC codec, int32_t width, int32_t height);

}  // namespace premoov
