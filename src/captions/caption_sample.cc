#include "captions/caption_sample.h"

#include <cstring>

namespace premoov {

CMSampleBufferRef captionSample(std::span<const uint8_t> bytes, FourCC subtype, const CMTime& pts,
                                const CMTime& frameDuration, CoreMedia& media) {
  CMBlockBufferRef block;
  if (media.CMBlockBufferCreateWithMemoryBlock(bytes.size(), &block) != 0 || !block) return nullptr;
  uint8_t* data = nullptr;
  size_t length = 0;
  if (media.CMBlockBufferGetDataPointer(block, 0, &length, nullptr, &data) != 0 ||
      length < bytes.size() || (!data && length > 0)) {
    return nullptr;
  }
  if (length > 0) std::memset(data, 0, length);
  if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
  CMFormatDescriptionRef format;
  if (media.CMFormatDescriptionCreate(FourCC("clcp"), subtype, &format) != 0 || !format) {
    return nullptr;
  }
  const CMSampleTimingInfo timing{frameDuration, pts, kCMTimeInvalid};
  const size_t size = bytes.size();
  CMSampleBufferRef sample;
  if (media.CMSampleBufferCreate(block, format, 1, std::span(&timing, 1), std::span(&size, 1),
                                 &sample) != 0) {
    return nullptr;
  }
  return sample;
}

}  // namespace premoov
