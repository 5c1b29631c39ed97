#include <cstring>
#include <vector>

#include "captions/cc_utilities.h"

namespace premoov {
namespace {

constexpr uint8_t kNullPairByte = 0x80;  // a zero character with its odd-parity bit
// A 'cdat' atom's header before its pairs; a sample is read from it only when a pair byte follows.
constexpr size_t kCdatHeaderBytes = 8;
constexpr size_t kCdatTypeOffset = 4;

}  // namespace

CMSampleBufferRef ZPRCCUtilities::emptyClosedCaption608SampleBufferWithPTS(
    const CMTime& pts, const CMTime& frameDuration, uint16_t /*sequenceCounter*/,
    CoreMedia& media) {
  constexpr size_t kPairBytes = 2;
  CMBlockBufferRef block;
  if (media.CMBlockBufferCreateWithMemoryBlock(kPairBytes, &block) != 0 || !block) return nullptr;
  uint8_t* data = nullptr;
  size_t length = 0;
  if (media.CMBlockBufferGetDataPointer(block, 0, &length, nullptr, &data) != 0 || !data ||
      length < kPairBytes) {
    return nullptr;
  }
  data[0] = kNullPairByte;
  data[1] = kNullPairByte;
  CMFormatDescriptionRef format;
  if (media.CMFormatDescriptionCreate(FourCC("clcp"), FourCC("c608"), &format) != 0 || !format) {
    return nullptr;
  }
  const CMSampleTimingInfo timing{frameDuration, pts, kCMTimeInvalid};
  CMSampleBufferRef sample;
  if (media.CMSampleBufferCreate(block, format, 1, std::span(&timing, 1), std::span(&kPairBytes, 1),
                                 &sample) != 0) {
    return nullptr;
  }
  return sample;
}

CMSampleBufferRef ZPRCCUtilities::conformSampleBufferToCEA708(const CMSampleBufferRef& sample,
                                                              const CMTime& frameDuration,
                                                              CoreMedia& media) {
  const FourCC subtype =
      CMFormatDescriptionGetMediaSubType(CMSampleBufferGetFormatDescription(sample));
  if (subtype == FourCC("c708")) {
    logSampleBuffer(sample);
    return sample;
  }
  if (subtype != FourCC("c608")) return sample;

  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample);
  std::vector<uint8_t> bytes(CMBlockBufferGetDataLength(block));
  if (CMBlockBufferCopyDataBytes(block, 0, bytes) != 0) bytes.clear();
  const bool inCdatAtom = bytes.size() > kCdatHeaderBytes &&
                          std::memcmp(bytes.data() + kCdatTypeOffset, "cdat", 4) == 0;
  const size_t start = inCdatAtom ? kCdatHeaderBytes : 0;
  CEA608Pair pair{kNullPairByte, kNullPairByte};
  for (size_t i = 0; i < pair.size() && start + i < bytes.size(); ++i) pair[i] = bytes[start + i];
  return closedCaption708SampleBufferWithPTS(CMSampleBufferGetPresentationTimeStamp(sample),
                                             frameDuration, 0, &pair, media);
}

CMSampleBufferRef ZPRCCUtilities::conformSampleBufferToCEA608(const CMSampleBufferRef& sample,
                                                              const CMTime& /*frameDuration*/) {
  return sample;
}

void ZPRCCUtilities::logSampleBuffer(const CMSampleBufferRef& /*sample*/) {}

}  // namespace premoov
