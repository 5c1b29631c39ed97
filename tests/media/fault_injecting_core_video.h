#pragma once

#include <cstddef>
#include <set>
#include <string>

#include "media/core_video.h"

namespace premoov::testing {

// Picture calls that fail on demand: every call named in `failing` answers `status` and makes or
// does nothing. `createdHeight`, when set, is the height of every picture CVPixelBufferCreate
// makes, whatever is asked: a picture with fewer rows than its user expects. `calls` counts the
// calls made, by name.
class FaultInjectingCoreVideo : public CoreVideo {
 public:
  std::set<std::string> failing;
  int32_t status = -6660;
  size_t createdHeight = 0;
  std::multiset<std::string> calls;

  CVReturn CVPixelBufferCreate(size_t width, size_t height, FourCC format,
                               CVPixelBufferRef* pixelBufferOut) override {
    calls.insert("CVPixelBufferCreate");
    if (failing.count("CVPixelBufferCreate")) return fail(pixelBufferOut);
    return CoreVideo::CVPixelBufferCreate(width, createdHeight ? createdHeight : height, format,
                                          pixelBufferOut);
  }
  CVReturn CVPixelBufferCreateWithBytes(size_t width, size_t height, FourCC format,
                                        uint8_t* baseAddress, size_t bytesPerRow,
                                        CVPixelBufferRef* pixelBufferOut) override {
    calls.insert("CVPixelBufferCreateWithBytes");
    if (failing.count("CVPixelBufferCreateWithBytes")) return fail(pixelBufferOut);
    return CoreVideo::CVPixelBufferCreateWithBytes(width, height, format, baseAddress, bytesPerRow,
                                                   pixelBufferOut);
  }
  CVReturn CVPixelBufferLockBaseAddress(const CVPixelBufferRef& buffer,
                                        CVPixelBufferLockFlags flags) override {
    calls.insert("CVPixelBufferLockBaseAddress");
    if (failing.count("CVPixelBufferLockBaseAddress")) return status;
    return CoreVideo::CVPixelBufferLockBaseAddress(buffer, flags);
  }
  VTStatus VTPixelTransferSessionCreate(VTPixelTransferSessionRef* sessionOut) override {
    calls.insert("VTPixelTransferSessionCreate");
    if (failing.count("VTPixelTransferSessionCreate")) return fail(sessionOut);
    return CoreVideo::VTPixelTransferSessionCreate(sessionOut);
  }
  VTStatus VTPixelTransferSessionTransferImage(const VTPixelTransferSessionRef& session,
                                               const CVPixelBufferRef& source,
                                               const CVPixelBufferRef& destination) override {
    calls.insert("VTPixelTransferSessionTransferImage");
    if (failing.count("VTPixelTransferSessionTransferImage")) return status;
    return CoreVideo::VTPixelTransferSessionTransferImage(session, source, destination);
  }

 private:
  template <typename Ref>
  int32_t fail(Ref* out) {
    if (out) out->reset();
    return status;
  }
};

}  // namespace premoov::testing
