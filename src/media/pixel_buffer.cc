#include "media/pixel_buffer.h"

#include <utility>

namespace premoov {

CVPixelBuffer::CVPixelBuffer(FourCC format, size_t width, size_t height, size_t bytesPerRow,
                             std::vector<uint8_t> storage)
    : format_(format),
      width_(width),
      height_(height),
      bytesPerRow_(bytesPerRow),
      storage_(std::move(storage)),
      baseAddress_(storage_.data()) {}

CVPixelBuffer::CVPixelBuffer(FourCC format, size_t width, size_t height, size_t bytesPerRow,
                             uint8_t* baseAddress)
    : format_(format),
      width_(width),
      height_(height),
      bytesPerRow_(bytesPerRow),
      baseAddress_(baseAddress) {}

bool CVPixelBuffer::unlock() {
  if (lockCount_ == 0) return false;
  --lockCount_;
  return true;
}

size_t CVPixelBufferGetWidth(const CVPixelBufferRef& buffer) {
  return buffer ? buffer->width() : 0;
}

size_t CVPixelBufferGetHeight(const CVPixelBufferRef& buffer) {
  return buffer ? buffer->height() : 0;
}

size_t CVPixelBufferGetBytesPerRow(const CVPixelBufferRef& buffer) {
  return buffer ? buffer->bytesPerRow() : 0;
}

size_t CVPixelBufferGetDataSize(const CVPixelBufferRef& buffer) {
  return buffer ? buffer->dataSize() : 0;
}

FourCC CVPixelBufferGetPixelFormatType(const CVPixelBufferRef& buffer) {
  return buffer ? buffer->pixelFormat() : FourCC();
}

uint8_t* CVPixelBufferGetBaseAddress(const CVPixelBufferRef& buffer) {
  return buffer ? buffer->baseAddress() : nullptr;
}

}  // namespace premoov
