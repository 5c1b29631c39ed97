#pragma once

#include <cstdint>
#include <span>

#include "base/four_char_code.h"
#include "media/video_range.h"

namespace premoov {

// One row of pixels of a supported format, read into RGB or written from it. `row` holds at
// least minimumBytesPerRow(format, pixels.size()) bytes; the caller has checked the format.
// Where the format packs pixels in pairs or 48-pixel groups, the pixels past the row's width
// repeat its last pixel.
void readPixelRow(FourCC format, const uint8_t* row, std::span<RGBPixel> pixels);
// BGRA is written with alpha 0xFF.
void writePixelRow(FourCC format, std::span<const RGBPixel> pixels, uint8_t* row);

}  // namespace premoov
