#pragma once

#include <cstddef>
#include <cstdint>

#include "base/four_char_code.h"
#include "media/pixel_buffer.h"
#include "media/pixel_transfer_session.h"

namespace premoov {

// The calls that make pixel buffers and transfer sessions and touch their memory. Each answers
// a status, so that every path of a caller where a picture "cannot be made" can be driven by a
// test: the calls are virtual, and a test stands in an implementation that fails those it names.
class CoreVideo {
 public:
  virtual ~CoreVideo() = default;

  // CVPixelBufferCreate: a new picture of `width` x `height` in `format`, rows without padding
  // beyond what the format requires (so a 'BGRA' row is exactly 4 x width bytes), zero-filled.
  virtual CVReturn CVPixelBufferCreate(size_t width, size_t height, FourCC format,
                                       CVPixelBufferRef* pixelBufferOut);
  // CVPixelBufferCreateWithBytes: wraps `height` rows of `bytesPerRow` bytes from `baseAddress`
  // without copying; the memory must outlive the wrapper. Refused when a row is too short for
  // the width in that format.
  virtual CVReturn CVPixelBufferCreateWithBytes(size_t width, size_t height, FourCC format,
                                                uint8_t* baseAddress, size_t bytesPerRow,
                                                CVPixelBufferRef* pixelBufferOut);
  virtual CVReturn CVPixelBufferLockBaseAddress(const CVPixelBufferRef& buffer,
                                                CVPixelBufferLockFlags flags);
  virtual CVReturn CVPixelBufferUnlockBaseAddress(const CVPixelBufferRef& buffer,
                                                  CVPixelBufferLockFlags flags);

  virtual VTStatus VTPixelTransferSessionCreate(VTPixelTransferSessionRef* sessionOut);
  virtual VTStatus VTPixelTransferSessionTransferImage(const VTPixelTransferSessionRef& session,
                                                       const CVPixelBufferRef& source,
                                                       const CVPixelBufferRef& destination);
};

// The real implementation, shared by the process.
CoreVideo& defaultCoreVideo();

}  // namespace premoov
