#include <cstring>
#include <vector>

#include "captions/caption_sample.h"
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
  const uint8_t nullPair[] = {kNullPairByte, kNullPairByte};
  return captionSample(nullPair, FourCC("c608"), pts, frameDuration, media);
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
