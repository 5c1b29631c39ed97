#include "media/pixel_formats.h"

#include <limits>

namespace premoov {

bool isSupportedPixelFormat(FourCC format) {
  return format == kCVPixelFormatType_32BGRA || format == kCVPixelFormatType_422YpCbCr8 ||
         format == kCVPixelFormatType_422YpCbCr8_yuvs || format == kCVPixelFormatType_422YpCbCr10;
}

std::optional<size_t> minimumBytesPerRow(FourCC format, size_t width) {
  if (width == 0 || !isSupportedPixelFormat(format)) return std::nullopt;
  // Widths beyond this are not pictures; the bound keeps every product below from overflowing.
  constexpr size_t kLargestWidth = std::numeric_limits<size_t>::max() / 8;
  if (width > kLargestWidth) return std::nullopt;
  if (format == kCVPixelFormatType_32BGRA) return width * 4;
  if (format == kCVPixelFormatType_422YpCbCr10) return (width + 47) / 48 * 128;
  return (width + 1) / 2 * 4;
}

}  // namespace premoov
