#include "captions/caption_slot_stream.h"

#include <algorithm>
#include <array>

#include "captions/cdp_packet.h"

namespace premoov {
namespace {

// Where the patched fields sit: the cdp starts after the 8-byte atom header; its sequence
// counter follows cdp_identifier, cdp_length, the frame rate and the flags; the first triplet
// follows ccdata_id and cc_count. The footer's counter and the checksum end the packet.
constexpr size_t kCdpStart = 8;
constexpr size_t kHeaderSequenceAt = 13;
constexpr size_t kField1TripletAt = 17;
constexpr size_t kFooterSequenceFromEnd = 3;
constexpr uint8_t kField1Valid = 0xFC;

uint8_t sumOf(std::span<const uint8_t> bytes) {
  uint8_t sum = 0;
  for (uint8_t b : bytes) sum = static_cast<uint8_t>(sum + b);
  return sum;
}

}  // namespace

CcdpSampleMaker::CcdpSampleMaker(const CMTime& frameDuration, CcdpForm form) {
  const uint8_t ccCount = ZPRCCUtilities::ccCountForFrameDuration(frameDuration);
  std::vector<uint8_t> triplets = cea608Triplets(nullptr);
  if (ccCount > 2) appendPaddingTriplets(triplets, ccCount - 2u);
  const CdpPacket packet{ccCount, ZPRCCUtilities::cdpFrameRateForFrameDuration(frameDuration), 0,
                         triplets};
  sample_ = form == CcdpForm::slot ? ccdpSlotSample(packet) : ccdpSample(packet);
  hasField1Triplet_ = ccCount >= 1;
  sumWithoutPatches_ = sumOf(std::span(sample_).subspan(kCdpStart, sample_.size() - kCdpStart - 1));
  if (hasField1Triplet_) {
    std::copy_n(sample_.begin() + kField1TripletAt, emptyTriplet_.size(), emptyTriplet_.begin());
    sumWithoutPatches_ = static_cast<uint8_t>(sumWithoutPatches_ - sumOf(emptyTriplet_));
  }
}

std::span<const uint8_t> CcdpSampleMaker::sample(uint16_t sequence, const CEA608Pair* pair) {
  const auto high = static_cast<uint8_t>(sequence >> 8);
  const auto low = static_cast<uint8_t>(sequence);
  const size_t footer = sample_.size() - kFooterSequenceFromEnd;
  sample_[kHeaderSequenceAt] = high;
  sample_[kHeaderSequenceAt + 1] = low;
  sample_[footer] = high;
  sample_[footer + 1] = low;
  uint8_t sum = static_cast<uint8_t>(sumWithoutPatches_ + 2 * (high + low));
  if (hasField1Triplet_) {
    const std::array<uint8_t, 3> triplet =
        pair ? std::array<uint8_t, 3>{kField1Valid, (*pair)[0], (*pair)[1]} : emptyTriplet_;
    std::copy(triplet.begin(), triplet.end(), sample_.begin() + kField1TripletAt);
    sum = static_cast<uint8_t>(sum + sumOf(triplet));
  }
  sample_.back() = static_cast<uint8_t>(-sum);
  return sample_;
}

CaptionStreamCounts writeCaptionStream(std::span<const SccPair> pairs, int64_t firstFrame,
                                       int64_t frameCount, CcdpSampleMaker& maker,
                                       const CaptionSampleSink& sink) {
  CaptionStreamCounts counts;
  const auto first =
      std::lower_bound(pairs.begin(), pairs.end(), firstFrame,
                       [](const SccPair& pair, int64_t frame) { return pair.frame < frame; });
  counts.pairsBefore = static_cast<size_t>(first - pairs.begin());
  auto next = first;
  for (int64_t k = 0; k < frameCount; ++k) {
    const CEA608Pair* pair = nullptr;
    if (next != pairs.end() && next->frame - firstFrame == k) {
      pair = &next->pair;
      if (!counts.firstPairSample) counts.firstPairSample = k;
      counts.lastPairSample = k;
      ++counts.pairs;
      ++next;
    }
    if (!sink(maker.sample(static_cast<uint16_t>(k), pair))) {
      counts.stopped = true;
      break;
    }
    ++counts.samples;
  }
  if (!counts.stopped) counts.pairsAfter = static_cast<size_t>(pairs.end() - next);
  return counts;
}

int64_t samplesThroughLastPair(std::span<const SccPair> pairs, int64_t firstFrame) {
  if (pairs.empty() || pairs.back().frame < firstFrame) return 0;
  return pairs.back().frame - firstFrame + 1;
}

}  // namespace premoov
