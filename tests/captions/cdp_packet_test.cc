#include "captions/cdp_packet.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "captions/cc_utilities.h"

namespace premoov {
namespace {

uint8_t sumOf(const std::vector<uint8_t>& bytes, size_t from, size_t to) {
  return std::accumulate(bytes.begin() + static_cast<ptrdiff_t>(from),
                         bytes.begin() + static_cast<ptrdiff_t>(to), uint8_t{0},
                         [](uint8_t s, uint8_t b) { return static_cast<uint8_t>(s + b); });
}

TEST(CdpPacketTest, APacketOf2997FramesASecondFieldByField) {
  std::vector<uint8_t> triplets = cea608Triplets(std::vector<uint8_t>{0x94, 0x2C}.data());
  appendPaddingTriplets(triplets, 18);
  const auto sample = ccdpSample({20, 4, 0x1234, triplets});
  ASSERT_EQ(sample.size(), 97u);
  const std::vector<uint8_t> head{0x00, 0x00, 0x00, 97,   'c',  'c',  'd',  'p',  0x96,
                                  0x69, 0x59, 0x4F, 0x7F, 0x12, 0x34, 0x72, 0xF4, 0xFC,
                                  0x94, 0x2C, 0xF9, 0x80, 0x80, 0xFA, 0x00, 0x00};
  EXPECT_EQ(std::vector<uint8_t>(sample.begin(), sample.begin() + 26), head);
  const std::vector<uint8_t> tail{0x73, 0xF2, 0xE0, 0x20, 0x20, 0x20, 0x7E, 0x3F, 0xFF, 0xE1,
                                  0x65, 0x6E, 0x67, 0xC1, 0x3F, 0xFF, 0x74, 0x12, 0x34};
  EXPECT_EQ(std::vector<uint8_t>(sample.begin() + 77, sample.begin() + 96), tail);
  EXPECT_EQ(sumOf(sample, 8, sample.size()), 0) << "the checksum makes the cdp sum to zero";
}

TEST(CdpPacketTest, CcDataShortOfTheSectionIsZeroFilledAndLongerIsCut) {
  const std::vector<uint8_t> two{0xFC, 0x80, 0x80, 0xF9, 0x80, 0x80};
  const auto shortData = ccdpSample({4, 8, 0, two});
  EXPECT_EQ(std::vector<uint8_t>(shortData.begin() + 17, shortData.begin() + 29),
            (std::vector<uint8_t>{0xFC, 0x80, 0x80, 0xF9, 0x80, 0x80, 0, 0, 0, 0, 0, 0}));
  // With one triplet of room, the second fixed triplet does not fit: the service information
  // section follows right after the first.
  const auto oneTriplet = ccdpSample({1, 8, 0, two});
  ASSERT_EQ(oneTriplet.size(), 40u);
  EXPECT_EQ(oneTriplet[17], 0xFC);
  EXPECT_EQ(oneTriplet[20], 0x73);
  EXPECT_EQ(sumOf(oneTriplet, 8, oneTriplet.size()), 0);
}

TEST(CdpPacketTest, TheAtomSizeKeepsOnlyItsLowByte) {
  const auto large = ccdpSample({80, 1, 7, {}});
  ASSERT_EQ(large.size(), 277u);
  EXPECT_EQ(std::vector<uint8_t>(large.begin(), large.begin() + 4),
            (std::vector<uint8_t>{0, 0, 0, static_cast<uint8_t>(277 & 0xFF)}));
  EXPECT_EQ(large[10], static_cast<uint8_t>(3 * 80 + 29));
  EXPECT_EQ(sumOf(large, 8, large.size()), 0);
}

TEST(CdpPacketTest, TheSlotPacketLeavesOutTheServiceInformation) {
  std::vector<uint8_t> triplets = cea608Triplets(std::vector<uint8_t>{0x94, 0x2C}.data());
  appendPaddingTriplets(triplets, 18);
  const auto sample = ccdpSlotSample({20, 4, 0x1234, triplets});
  ASSERT_EQ(sample.size(), 3u * 20 + 21);
  const std::vector<uint8_t> head{0x00, 0x00, 0x00, 81,   'c',  'c',  'd',  'p',  0x96,
                                  0x69, 73,   0x4F, 0x43, 0x12, 0x34, 0x72, 0xF4, 0xFC,
                                  0x94, 0x2C, 0xF9, 0x80, 0x80, 0xFA, 0x00, 0x00};
  EXPECT_EQ(std::vector<uint8_t>(sample.begin(), sample.begin() + 26), head);
  EXPECT_EQ(std::vector<uint8_t>(sample.begin() + 77, sample.begin() + 80),
            (std::vector<uint8_t>{0x74, 0x12, 0x34}))
      << "the footer follows the last triplet";
  EXPECT_EQ(sumOf(sample, 8, sample.size()), 0);
  // Everything but the service information section, its flags, cdp_length, the atom size and
  // the checksum is the builders' packet.
  const auto full = ccdpSample({20, 4, 0x1234, triplets});
  EXPECT_EQ(std::vector<uint8_t>(sample.begin() + 13, sample.begin() + 77),
            std::vector<uint8_t>(full.begin() + 13, full.begin() + 77));
}

TEST(CdpPacketTest, TheSlotPacketOf25FramesASecondFillsItsSlotAndWritesItsWholeSize) {
  const auto sample = ccdpSlotSample({24, 3, 0, {}});
  EXPECT_EQ(sample.size(), 3u * 24 + 21);
  EXPECT_EQ(sample[11], 0x3F);
  EXPECT_EQ(sumOf(sample, 8, sample.size()), 0);
  const auto large = ccdpSlotSample({80, 1, 7, {}});
  ASSERT_EQ(large.size(), 261u);
  EXPECT_EQ(std::vector<uint8_t>(large.begin(), large.begin() + 4),
            (std::vector<uint8_t>{0, 0, 0x01, 0x05}));
}

TEST(CdpPacketTest, TheSlotPacketIsExactlyTheRoomAMovieGivesACaptionSample) {
  for (const CMTime frame :
       {CMTimeMake(1001, 24000), CMTimeMake(1, 24), CMTimeMake(1, 25), CMTimeMake(1001, 30000),
        CMTimeMake(1, 30), CMTimeMake(1, 50), CMTimeMake(1001, 60000), CMTimeMake(1, 60)}) {
    const uint8_t ccCount = ZPRCCUtilities::ccCountForFrameDuration(frame);
    const auto sample = ccdpSlotSample({ccCount, 4, 0, {}});
    EXPECT_EQ(static_cast<int32_t>(sample.size()),
              ZPRCCUtilities::closedCaptionMaxSampleSizeForFrameDuration(frame))
        << frame.value << "/" << frame.timescale;
    EXPECT_EQ(ccdpSample({ccCount, 4, 0, {}}).size(), sample.size() + 16);
  }
}

TEST(CdpPacketTest, WithoutAPairTheFirstTripletIsInvalid) {
  EXPECT_EQ(cea608Triplets(nullptr), (std::vector<uint8_t>{0xF8, 0x80, 0x80, 0xF9, 0x80, 0x80}));
}

}  // namespace
}  // namespace premoov
