#include "media/core_video.h"

#include <exception>
#include <vector>

#include "media/pixel_formats.h"

namespace premoov {
namespace {

// Far beyond any frame a recorder feeds (an 8K frame of 16-bit RGBA is 265 MB); a size past it is
// a mistake, refused before any memory is asked for.
constexpr size_t kLargestPictureBytes = size_t{1} << 32;

}  // namespace

CVReturn CoreVideo::CVPixelBufferCreate(size_t width, size_t height, FourCC format,
                                        CVPixelBufferRef* pixelBufferOut) {
  if (!pixelBufferOut) return kCVReturnInvalidArgument;
  pixelBufferOut->reset();
  if (!isSupportedPixelFormat(format)) return kCVReturnInvalidPixelFormat;
  const auto rowBytes = minimumBytesPerRow(format, width);
  if (!rowBytes || height == 0 || height > kLargestPictureBytes / *rowBytes) {
    return kCVReturnInvalidSize;
  }
  try {
    *pixelBufferOut = std::make_shared<CVPixelBuffer>(format, width, height, *rowBytes,
                                                      std::vector<uint8_t>(*rowBytes * height));
  } catch (const std::exception&) {  // no memory, or more than a vector holds
    pixelBufferOut->reset();
    return kCVReturnAllocationFailed;
  }
  return kCVReturnSuccess;
}

CVReturn CoreVideo::CVPixelBufferCreateWithBytes(size_t width, size_t height, FourCC format,
                                                 uint8_t* baseAddress, size_t bytesPerRow,
                                                 CVPixelBufferRef* pixelBufferOut) {
  if (!pixelBufferOut) return kCVReturnInvalidArgument;
  pixelBufferOut->reset();
  if (!baseAddress) return kCVReturnInvalidArgument;
  if (!isSupportedPixelFormat(format)) return kCVReturnInvalidPixelFormat;
  const auto rowBytes = minimumBytesPerRow(format, width);
  if (!rowBytes || height == 0 || bytesPerRow < *rowBytes) return kCVReturnInvalidSize;
  try {
    *pixelBufferOut =
        std::make_shared<CVPixelBuffer>(format, width, height, bytesPerRow, baseAddress);
  } catch (const std::exception&) {
    pixelBufferOut->reset();
    return kCVReturnAllocationFailed;
  }
  return kCVReturnSuccess;
}

CVReturn CoreVideo::CVPixelBufferLockBaseAddress(const CVPixelBufferRef& buffer,
                                                 CVPixelBufferLockFlags) {
  if (!buffer) return kCVReturnInvalidArgument;
  buffer->lock();
  return kCVReturnSuccess;
}

CVReturn CoreVideo::CVPixelBufferUnlockBaseAddress(const CVPixelBufferRef& buffer,
                                                   CVPixelBufferLockFlags) {
  if (!buffer || !buffer->unlock()) return kCVReturnInvalidArgument;
  return kCVReturnSuccess;
}

VTStatus CoreVideo::VTPixelTransferSessionCreate(VTPixelTransferSessionRef* sessionOut) {
  if (!sessionOut) return kVTParameterErr;
  try {
    *sessionOut = std::make_shared<VTPixelTransferSession>();
  } catch (const std::exception&) {
    sessionOut->reset();
    return kVTAllocationFailedErr;
  }
  return 0;
}

VTStatus CoreVideo::VTPixelTransferSessionTransferImage(const VTPixelTransferSessionRef& session,
                                                        const CVPixelBufferRef& source,
                                                        const CVPixelBufferRef& destination) {
  if (!session) return kVTInvalidSessionErr;
  if (!source || !destination) return kVTParameterErr;
  return session->transferImage(*source, *destination);
}

CoreVideo& defaultCoreVideo() {
  static CoreVideo coreVideo;
  return coreVideo;
}

}  // namespace premoov
