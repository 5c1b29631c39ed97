#pragma once

#include <cstddef>
#include <optional>

#include "base/four_char_code.h"

namespace premoov {

// The pixel formats a professional recorder feeds, and the 8-bit BGRA in which captions are
// composed.
// 'BGRA': 4 bytes a pixel, blue, green, red, alpha.
inline constexpr FourCC kCVPixelFormatType_32BGRA("BGRA");
// '2vuy': 8-bit 4:2:2, 4 bytes for two pixels: Cb Y0 Cr Y1.
inline constexpr FourCC kCVPixelFormatType_422YpCbCr8("2vuy");
// 'yuvs': 8-bit 4:2:2, 4 bytes for two pixels: Y0 Cb Y1 Cr.
inline constexpr FourCC kCVPixelFormatType_422YpCbCr8_yuvs("yuvs");
// 'v210': 10-bit 4:2:2, six pixels in four little-endian 32-bit words, rows made of whole groups
// of 48 pixels (128 bytes).
inline constexpr FourCC kCVPixelFormatType_422YpCbCr10("v210");

// Whether the pixel rows and the transfer session handle `format`.
bool isSupportedPixelFormat(FourCC format);

// The bytes a row of `width` pixels takes, without padding beyond what the format itself
// requires (the pixel pair of 4:2:2, the 48-pixel group of 'v210'); nothing for an unsupported
// format, a zero width, or a row too long to count in memory.
std::optional<size_t> minimumBytesPerRow(FourCC format, size_t width);

}  // namespace premoov
