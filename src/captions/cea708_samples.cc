#include <optional>
#include <vector>

#include "base/log.h"
#include "captions/caption_sample.h"
#include "captions/cc_utilities.h"
#include "captions/cdp_packet.h"

namespace premoov {

std::atomic<int32_t> gSequenceCounter{0};
std::atomic<int32_t> gCEA708PacketCounter{0};

namespace {

uint16_t nextSequence() {
  return static_cast<uint16_t>(gSequenceCounter.fetch_add(1, std::memory_order_relaxed));
}

// The DTVCC test packets of the test builder, and the schedule state each leaves.
struct TestPacket {
  int number;
  int32_t stateAfter;
  std::vector<uint8_t> triplets;
};

const std::vector<TestPacket>& testPackets() {
  static const std::vector<TestPacket> packets{
      {1, 0, {0xFF, 0x04, 0x24, 0xFE, 0x8A, 0xFF, 0xFE, 0x8B, 0x00, 0xFE, 0x00, 0x00}},
      {2, 3, {0xFF, 0x44, 0x24, 0xFE, 0x8A, 0xFF, 0xFE, 0x8B, 0x00, 0xFE, 0x00, 0x00}},
      {3, 4, {0xFF, 0x8C, 0x34, 0xFE, 0x8C, 0xFF, 0xFE, 0x98, 0x00, 0xFE, 0x46,
              0x3B, 0xFE, 0x11, 0x97, 0xFE, 0xD5, 0x15, 0xFE, 0x0C, 0x20, 0xFE,
              0x92, 0x00, 0xFE, 0x00, 0x90, 0xFE, 0x05, 0x00, 0xFE, 0x00, 0x00}},
      {4, 0, {0xFF, 0xC7, 0x2B, 0xFE, 0x91, 0x2A, 0xFE, 0x00, 0x15, 0xFE, 0x7F,
              0x4D, 0xFE, 0x55, 0x53, 0xFE, 0x49, 0x43, 0xFE, 0x7F, 0x00}},
      {5, 0, {0xFF, 0x04, 0x24, 0xFE, 0x8A, 0xFF, 0xFE, 0x8B, 0x01, 0xFE, 0x00, 0x00}},
      {6, 7, {0xFF, 0x44, 0x24, 0xFE, 0x8A, 0x01, 0xFE, 0x8C, 0x01, 0xFE, 0x00, 0x00}},
  };
  return packets;
}

// Which test packet goes out, from the calls counted so far and the schedule's state.
const TestPacket* scheduledTestPacket(int32_t calls, int32_t state) {
  int number = 0;
  if (calls == 125) {
    number = 1;
  } else if (calls == 135) {
    number = 2;
  } else if (calls == 170) {
    number = 5;
  } else if (calls == 250) {
    number = 6;
  } else if (state == 1 || state == 2 || state == 3 || state == 4 || state == 5 || state == 6) {
    number = state;
  }
  for (const TestPacket& packet : testPackets()) {
    if (packet.number == number) return &packet;
  }
  return nullptr;
}

}  // namespace

CMSampleBufferRef ZPRCCUtilities::closedCaption708SampleBufferWithPTS(const CMTime& pts,
                                                                      const CMTime& frameDuration,
                                                                      uint16_t /*sequenceCounter*/,
                                                                      const CEA608Pair* cea608Bytes,
                                                                      CoreMedia& media) {
  const uint8_t n = ccCountForFrameDuration(frameDuration);
  CdpPacket packet{n, cdpFrameRateForFrameDuration(frameDuration), nextSequence(), {}};
  std::vector<uint8_t> triplets = cea608Triplets(cea608Bytes ? cea608Bytes->data() : nullptr);
  if (n > 2) appendPaddingTriplets(triplets, n - 2u);
  packet.ccData = triplets;
  return captionSample(ccdpSample(packet), FourCC("c708"), pts, frameDuration, media);
}

CMSampleBufferRef ZPRCCUtilities::closedCaption708SampleBufferWithPTS(
    const CMTime& pts, const CMTime& frameDuration, uint16_t /*sequenceCounter*/,
    std::span<const uint8_t> a53Data, CoreMedia& media) {
  constexpr size_t kA53Bytes = 60;  // 20 triplets: the cc_count of 29.97 and 30 fps
  const uint8_t n = ccCountForFrameDuration(frameDuration);
  if (frameDuration.value == 0 || n == 0) return nullptr;
  CdpPacket packet{n, cdpFrameRateForFrameDuration(frameDuration), nextSequence(), {}};
  if (a53Data.size() == kA53Bytes) packet.ccData = a53Data;
  return captionSample(ccdpSample(packet), FourCC("c708"), pts, frameDuration, media);
}

CMSampleBufferRef ZPRCCUtilities::emptyClosedCaption708SampleBufferWithPTS(
    const CMTime& pts, const CMTime& frameDuration, uint16_t sequenceCounter, CoreMedia& media) {
  return closedCaption708SampleBufferWithPTS(pts, frameDuration, sequenceCounter,
                                             static_cast<const CEA608Pair*>(nullptr), media);
}

CMSampleBufferRef ZPRCCUtilities::TESTclosedCaption708SampleBufferWithPTS(
    const CMTime& pts, const CMTime& frameDuration, uint16_t sequenceCounter,
    const CEA608Pair* cea608Bytes, CoreMedia& media) {
  const uint8_t n = ccCountForFrameDuration(frameDuration);
  std::vector<uint8_t> triplets = cea608Triplets(cea608Bytes ? cea608Bytes->data() : nullptr);
  const TestPacket* sent =
      scheduledTestPacket(gSequenceCounter.load(std::memory_order_relaxed),
                          gCEA708PacketCounter.load(std::memory_order_relaxed));
  if (sent) {
    gCEA708PacketCounter.store(sent->stateAfter, std::memory_order_relaxed);
    NSLog("Sending CC Packet %d", sent->number);
    triplets.insert(triplets.end(), sent->triplets.begin(), sent->triplets.end());
    const size_t k = sent->triplets.size() / 3;
    if (n > k + 2) appendPaddingTriplets(triplets, n - k - 2);
  } else if (n > 2) {
    appendPaddingTriplets(triplets, n - 2u);
  }
  CdpPacket packet{n, cdpFrameRateForFrameDuration(frameDuration), sequenceCounter, triplets};
  CMSampleBufferRef sample =
      captionSample(ccdpSample(packet), FourCC("c708"), pts, frameDuration, media);
  gSequenceCounter.fetch_add(1, std::memory_order_relaxed);  // every call counts, failed or not
  return sample;
}

}  // namespace premoov
