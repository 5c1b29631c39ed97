#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/four_char_code.h"

namespace premoov {

using CVReturn = int32_t;
inline constexpr CVReturn kCVReturnSuccess = 0;
inline constexpr CVReturn kCVReturnInvalidArgument = -6661;
inline constexpr CVReturn kCVReturnAllocationFailed = -6662;
inline constexpr CVReturn kCVReturnInvalidPixelFormat = -6680;
inline constexpr CVReturn kCVReturnInvalidSize = -6681;

using CVPixelBufferLockFlags = uint64_t;
inline constexpr CVPixelBufferLockFlags kCVPixelBufferLock_ReadOnly = 1;

// A picture in memory: its pixel format, width and height, the bytes of a row, and where the
// first row starts. It owns its memory, or wraps memory that somebody else keeps alive for as
// long as the wrapper is used (a frame's rows, without copying them). Shared like any retained
// object.
class CVPixelBuffer {
 public:
  // Owns `storage`, which holds `height` rows of `bytesPerRow` bytes.
  CVPixelBuffer(FourCC format, size_t width, size_t height, size_t bytesPerRow,
                std::vector<uint8_t> storage);
  // Wraps `height` rows of `bytesPerRow` bytes from `baseAddress`, which it does not own.
  CVPixelBuffer(FourCC format, size_t width, size_t height, size_t bytesPerRow,
                uint8_t* baseAddress);
  CVPixelBuffer(const CVPixelBuffer&) = delete;
  CVPixelBuffer& operator=(const CVPixelBuffer&) = delete;

  FourCC pixelFormat() const { return format_; }
  size_t width() const { return width_; }
  size_t height() const { return height_; }
  size_t bytesPerRow() const { return bytesPerRow_; }
  uint8_t* baseAddress() const { return baseAddress_; }
  size_t dataSize() const { return bytesPerRow_ * height_; }

  // Locks taken and not yet given back. Memory here never moves, so a lock changes nothing but
  // this count; it lets tests see that every lock is matched.
  int lockCount() const { return lockCount_; }
  void lock() { ++lockCount_; }
  bool unlock();

 private:
  FourCC format_;
  size_t width_;
  size_t height_;
  size_t bytesPerRow_;
  std::vector<uint8_t> storage_;
  uint8_t* baseAddress_;
  int lockCount_ = 0;
};
using CVPixelBufferRef = std::shared_ptr<CVPixelBuffer>;

// Reading calls; they answer zero or nothing for a null buffer.
size_t CVPixelBufferGetWidth(const CVPixelBufferRef& buffer);
size_t CVPixelBufferGetHeight(const CVPixelBufferRef& buffer);
size_t CVPixelBufferGetBytesPerRow(const CVPixelBufferRef& buffer);
size_t CVPixelBufferGetDataSize(const CVPixelBufferRef& buffer);
FourCC CVPixelBufferGetPixelFormatType(const CVPixelBufferRef& buffer);
uint8_t* CVPixelBufferGetBaseAddress(const CVPixelBufferRef& buffer);

}  // namespace premoov
