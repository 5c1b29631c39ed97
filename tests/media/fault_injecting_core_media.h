#pragma once

#include <set>
#include <string>

#include "media/core_media.h"

namespace premoov::testing {

// Media calls that fail on demand: every creation call named in `failing` answers `status` and
// makes nothing, so that a caller's "cannot be made" paths run. A call named in `failingOnce`
// fails once for each time it is named there.
class FaultInjectingCoreMedia : public CoreMedia {
 public:
  std::set<std::string> failing;
  std::multiset<std::string> failingOnce;
  OSStatus status = -12345;

  OSStatus CMFormatDescriptionCreate(FourCC mediaType, FourCC mediaSubType,
                                     CMFormatDescriptionRef* formatOut) override {
    if (fails("CMFormatDescriptionCreate")) return fail(formatOut);
    return CoreMedia::CMFormatDescriptionCreate(mediaType, mediaSubType, formatOut);
  }
  OSStatus CMBlockBufferCreateWithMemoryBlock(size_t blockLength,
                                              CMBlockBufferRef* blockBufferOut) override {
    if (fails("CMBlockBufferCreateWithMemoryBlock")) return fail(blockBufferOut);
    return CoreMedia::CMBlockBufferCreateWithMemoryBlock(blockLength, blockBufferOut);
  }
  OSStatus CMBlockBufferGetDataPointer(const CMBlockBufferRef& buffer, size_t offset,
                                       size_t* lengthAtOffset, size_t* totalLength,
                                       uint8_t** dataPointer) override {
    if (fails("CMBlockBufferGetDataPointer")) {
      if (dataPointer) *dataPointer = nullptr;
      return status;
    }
    return CoreMedia::CMBlockBufferGetDataPointer(buffer, offset, lengthAtOffset, totalLength,
                                                  dataPointer);
  }
  OSStatus CMSampleBufferCreate(const CMBlockBufferRef& dataBuffer,
                                const CMFormatDescriptionRef& format, CMItemCount numSamples,
                                std::span<const CMSampleTimingInfo> timing,
                                std::span<const size_t> sizes,
                                CMSampleBufferRef* sampleBufferOut) override {
    if (fails("CMSampleBufferCreate")) return fail(sampleBufferOut);
    return CoreMedia::CMSampleBufferCreate(dataBuffer, format, numSamples, timing, sizes,
                                           sampleBufferOut);
  }

  OSStatus CMSampleBufferCreateReadyWithImageBuffer(const CVPixelBufferRef& imageBuffer,
                                                    const CMFormatDescriptionRef& format,
                                                    const CMSampleTimingInfo* timing,
                                                    CMSampleBufferRef* sampleBufferOut) override {
    if (fails("CMSampleBufferCreateReadyWithImageBuffer")) return fail(sampleBufferOut);
    return CoreMedia::CMSampleBufferCreateReadyWithImageBuffer(imageBuffer, format, timing,
                                                               sampleBufferOut);
  }

 private:
  bool fails(const std::string& call) {
    if (failing.count(call)) return true;
    const auto once = failingOnce.find(call);
    if (once == failingOnce.end()) return false;
    failingOnce.erase(once);
    return true;
  }

  template <typename Ref>
  OSStatus fail(Ref* out) {
    if (out) out->reset();
    return status;
  }
};

}  // namespace premoov::testing
