#include "captions/caption_slot_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "captions/cdp_packet.h"
#include "captions/sample_bytes.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;

const CMTime kNtsc = CMTimeMake(1001, 30000);
const CMTime kPal = CMTimeMake(1, 25);

// The packet the builders make for `pair` (nullptr: none) numbered `sequence`.
CdpPacket builderPacket(const CMTime& frameDuration, uint16_t sequence, const uint8_t* pair,
                        std::vector<uint8_t>& triplets) {
  const uint8_t n = ZPRCCUtilities::ccCountForFrameDuration(frameDuration);
  triplets = cea608Triplets(pair);
  appendPaddingTriplets(triplets, n - 2u);
  return {n, ZPRCCUtilities::cdpFrameRateForFrameDuration(frameDuration), sequence, triplets};
}

std::vector<uint8_t> bytesOf(std::span<const uint8_t> span) { return {span.begin(), span.end()}; }

TEST(CaptionSlotStreamTest, SamplesEqualTheSlotPacketsWhateverTheirSequenceAndPair) {
  const CEA608Pair pairs[] = {{0x94, 0x20}, {0x80, 0x80}, {0x00, 0x00}, {0xFF, 0xFF}};
  for (const CMTime& duration :
       {kNtsc, kPal, CMTimeMake(1001, 24000), CMTimeMake(1, 50), CMTimeMake(1001, 60000)}) {
    CcdpSampleMaker maker(duration, CcdpForm::slot);
    EXPECT_EQ(maker.sampleSize(),
              size_t(ZPRCCUtilities::closedCaptionMaxSampleSizeForFrameDuration(duration)));
    for (int sequenceValue : {0, 1, 255, 256, 0x1234, 0xFFFF}) {
      const auto sequence = static_cast<uint16_t>(sequenceValue);
      std::vector<uint8_t> triplets;
      EXPECT_EQ(bytesOf(maker.sample(sequence, nullptr)),
                ccdpSlotSample(builderPacket(duration, sequence, nullptr, triplets)))
          << sequence;
      for (const CEA608Pair& pair : pairs) {
        EXPECT_EQ(bytesOf(maker.sample(sequence, &pair)),
                  ccdpSlotSample(builderPacket(duration, sequence, pair.data(), triplets)))
            << sequence << " " << int(pair[0]);
      }
    }
  }
}

TEST(CaptionSlotStreamTest, TheBuildersFormEqualsTheBuildersSamples) {
  CcdpSampleMaker maker(kNtsc, CcdpForm::builders);
  EXPECT_EQ(maker.sampleSize(), 97u);
  const CEA608Pair pair{0x94, 0x2C};
  const int32_t saved = gSequenceCounter.exchange(0x2345);
  const CMSampleBufferRef withPair =
      ZPRCCUtilities::closedCaption708SampleBufferWithPTS(CMTimeMake(0, 30000), kNtsc, 0, &pair);
  const CMSampleBufferRef empty =
      ZPRCCUtilities::emptyClosedCaption708SampleBufferWithPTS(CMTimeMake(0, 30000), kNtsc, 0);
  gSequenceCounter.store(saved);
  ASSERT_TRUE(withPair && empty);
  EXPECT_EQ(bytesOf(maker.sample(0x2345, &pair)), testing::bytesOf(withPair));
  EXPECT_EQ(bytesOf(maker.sample(0x2346, nullptr)), testing::bytesOf(empty));
}

TEST(CaptionSlotStreamTest, EachFrameCarriesItsPairAndItsNumber) {
  const std::vector<SccPair> pairs{{28, {0x94, 0x20}},
                                   {30, {0x94, 0xAE}},
                                   {32, {0xC8, 0x45}},
                                   {33, {0xEC, 0xEC}},
                                   {40, {0x94, 0x2F}}};
  CcdpSampleMaker maker(kNtsc, CcdpForm::slot);
  std::vector<std::vector<uint8_t>> written;
  const CaptionStreamCounts counts =
      writeCaptionStream(pairs, 30, 5, maker, [&](std::span<const uint8_t> sample) {
        written.push_back(bytesOf(sample));
        return true;
      });
  EXPECT_EQ(counts.samples, 5);
  EXPECT_EQ(counts.pairs, 3u);
  EXPECT_EQ(counts.pairsBefore, 1u);
  EXPECT_EQ(counts.pairsAfter, 1u);
  EXPECT_EQ(counts.firstPairSample, 0);
  EXPECT_EQ(counts.lastPairSample, 3);
  EXPECT_FALSE(counts.stopped);
  ASSERT_EQ(written.size(), 5u);
  std::vector<uint8_t> heads;
  for (size_t k = 0; k < written.size(); ++k) {
    const auto& sample = written[k];
    ASSERT_EQ(sample.size(), 81u);
    EXPECT_EQ(sample[13], 0);
    EXPECT_EQ(sample[14], k) << "the sequence value counts the samples";
    EXPECT_EQ(sample[78], 0);
    EXPECT_EQ(sample[79], k);
    heads.push_back(sample[17]);
    EXPECT_EQ(std::accumulate(sample.begin() + 8, sample.end(), 0) % 256, 0);
  }
  EXPECT_THAT(heads, ElementsAre(0xFC, 0xF8, 0xFC, 0xFC, 0xF8));
  EXPECT_THAT(std::vector<uint8_t>(written[3].begin() + 17, written[3].begin() + 20),
              ElementsAre(0xFC, 0xEC, 0xEC));
  EXPECT_THAT(std::vector<uint8_t>(written[1].begin() + 17, written[1].begin() + 20),
              ElementsAre(0xF8, 0x80, 0x80));
}

TEST(CaptionSlotStreamTest, ARefusedSampleStopsTheStream) {
  const std::vector<SccPair> pairs{{0, {0x94, 0x20}}, {1, {0x94, 0x20}}, {5, {0x94, 0x2F}}};
  CcdpSampleMaker maker(kPal, CcdpForm::slot);
  int calls = 0;
  const CaptionStreamCounts counts = writeCaptionStream(
      pairs, 0, 100, maker, [&](std::span<const uint8_t>) { return ++calls < 3; });
  EXPECT_TRUE(counts.stopped);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(counts.samples, 2);
}

TEST(CaptionSlotStreamTest, SamplesThroughTheLastPair) {
  const std::vector<SccPair> pairs{{10, {0x94, 0x20}}, {20, {0x94, 0x2F}}};
  EXPECT_EQ(samplesThroughLastPair(pairs, 0), 21);
  EXPECT_EQ(samplesThroughLastPair(pairs, 20), 1);
  EXPECT_EQ(samplesThroughLastPair(pairs, 21), 0);
  EXPECT_EQ(samplesThroughLastPair({}, 0), 0);
}

}  // namespace
}  // namespace premoov
