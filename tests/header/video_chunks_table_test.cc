#include "header/video_chunks_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <numeric>

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

// One frame size inside each band, A to E.
constexpr int32_t kBandA = 2000000;
constexpr int32_t kBandB = 1000000;
constexpr int32_t kBandC = 500000;
constexpr int32_t kBandD = 300000;
constexpr int32_t kBandE = 100000;

TEST(VideoChunksTableTest, NtscThirtyUsesTheThirtyRow) {
  EXPECT_THAT(videoChunksTable(kBandE, CMTimeMake(1001, 30000)), Optional(ElementsAre(8, 8, 8, 6)));
  EXPECT_THAT(videoChunksTable(kBandC, CMTimeMake(1001, 30000)),
              Optional(ElementsAre(6, 6, 6, 6, 6)));
}

TEST(VideoChunksTableTest, TwentyFiveUsesTheTwentyFiveRow) {
  EXPECT_THAT(videoChunksTable(kBandE, CMTimeMake(1, 25)), Optional(ElementsAre(7, 7, 7, 4)));
  EXPECT_THAT(videoChunksTable(kBandD, CMTimeMake(1, 25)),
              Optional(ElementsAre(4, 4, 4, 4, 4, 4, 1)));
}

TEST(VideoChunksTableTest, FilmRateUsesTheTwentyFourRow) {
  EXPECT_THAT(videoChunksTable(kBandB, CMTimeMake(1001, 24000)),
              Optional(ElementsAre(5, 5, 5, 5, 4)));
  EXPECT_THAT(videoChunksTable(kBandD, CMTimeMake(1001, 24000)),
              Optional(ElementsAre(4, 4, 4, 4, 4, 4)));
}

TEST(VideoChunksTableTest, RatesRoundToTheNearestWholeFrame) {
  // 24.4 frames a second rounds to 24.
  EXPECT_THAT(videoChunksTable(kBandE, CMTimeMake(1000, 24400)), Optional(ElementsAre(7, 7, 7, 3)));
  // 59.94 rounds to 60, 49.5 away from zero to 50.
  EXPECT_THAT(videoChunksTable(kBandE, CMTimeMake(1001, 60000)),
              Optional(ElementsAre(16, 16, 16, 12)));
  EXPECT_THAT(videoChunksTable(kBandE, CMTimeMake(2, 99)), Optional(ElementsAre(18, 18, 14)));
}

TEST(VideoChunksTableTest, OtherRatesHaveNoTable) {
  EXPECT_EQ(videoChunksTable(kBandE, CMTimeMake(1, 48)), std::nullopt);
  EXPECT_EQ(videoChunksTable(kBandA, CMTimeMake(1, 120)), std::nullopt);
  EXPECT_EQ(videoChunksTable(kBandE, CMTimeMake(1, 1)), std::nullopt);
  // 24.5 rounds away from zero to 25, which has a table; 23.5 rounds to 24.
  EXPECT_THAT(videoChunksTable(kBandE, CMTimeMake(2, 49)), Optional(ElementsAre(7, 7, 7, 4)));
  EXPECT_THAT(videoChunksTable(kBandE, CMTimeMake(2, 47)), Optional(ElementsAre(7, 7, 7, 3)));
}

TEST(VideoChunksTableTest, DurationsWithoutAFiniteRateHaveNoTable) {
  EXPECT_EQ(videoChunksTable(kBandE, kCMTimeInvalid), std::nullopt);
  EXPECT_EQ(videoChunksTable(kBandE, CMTimeMake(0, 30000)), std::nullopt);
  EXPECT_EQ(videoChunksTable(kBandE, CMTimeMake(-1001, 30000)), std::nullopt);
  EXPECT_EQ(videoChunksTable(kBandE, CMTimeMake(1, std::numeric_limits<int32_t>::max())),
            std::nullopt);
  EXPECT_EQ(videoChunksTable(kBandE, CMTimeMake(1, std::numeric_limits<int32_t>::min())),
            std::nullopt);
}

TEST(VideoChunksTableTest, SizeBandsSplitAtTheirEdges) {
  const CMTime ntsc = CMTimeMake(1001, 30000);
  // Band A: 30 x 1.
  EXPECT_THAT(videoChunksTable(1500001, ntsc), Optional(std::vector<int32_t>(30, 1)));
  EXPECT_THAT(videoChunksTable(std::numeric_limits<int32_t>::max(), ntsc),
              Optional(std::vector<int32_t>(30, 1)));
  // Band B: 6 x 5.
  EXPECT_THAT(videoChunksTable(1500000, ntsc), Optional(ElementsAre(5, 5, 5, 5, 5, 5)));
  EXPECT_THAT(videoChunksTable(600001, ntsc), Optional(ElementsAre(5, 5, 5, 5, 5, 5)));
  // Band C: 5 x 6.
  EXPECT_THAT(videoChunksTable(600000, ntsc), Optional(ElementsAre(6, 6, 6, 6, 6)));
  EXPECT_THAT(videoChunksTable(400001, ntsc), Optional(ElementsAre(6, 6, 6, 6, 6)));
  // Band D: 10 x 3.
  EXPECT_THAT(videoChunksTable(400000, ntsc), Optional(std::vector<int32_t>(10, 3)));
  EXPECT_THAT(videoChunksTable(200001, ntsc), Optional(std::vector<int32_t>(10, 3)));
  // Band E: 8,8,8,6, down to zero and below.
  EXPECT_THAT(videoChunksTable(200000, ntsc), Optional(ElementsAre(8, 8, 8, 6)));
  EXPECT_THAT(videoChunksTable(0, ntsc), Optional(ElementsAre(8, 8, 8, 6)));
  EXPECT_THAT(videoChunksTable(-1, ntsc), Optional(ElementsAre(8, 8, 8, 6)));
  EXPECT_THAT(videoChunksTable(std::numeric_limits<int32_t>::min(), ntsc),
              Optional(ElementsAre(8, 8, 8, 6)));
}

TEST(VideoChunksTableTest, IrregularRowsAreKeptAsTheyAre) {
  EXPECT_THAT(videoChunksTable(kBandC, CMTimeMake(1, 24)), Optional(ElementsAre(7, 7, 7, 3)));
  EXPECT_THAT(videoChunksTable(kBandC, CMTimeMake(1, 25)), Optional(ElementsAre(7, 7, 7, 4)));
  EXPECT_THAT(videoChunksTable(kBandD, CMTimeMake(1, 50)),
              Optional(ElementsAre(12, 12, 12, 11, 3)));
  EXPECT_THAT(videoChunksTable(kBandD, CMTimeMake(1, 60)),
              Optional(ElementsAre(12, 12, 12, 12, 12)));
}

TEST(VideoChunksTableTest, BandARowsHoldOneOrTwoFrames) {
  EXPECT_THAT(videoChunksTable(kBandA, CMTimeMake(1, 24)), Optional(std::vector<int32_t>(24, 1)));
  EXPECT_THAT(videoChunksTable(kBandA, CMTimeMake(1, 25)), Optional(std::vector<int32_t>(25, 1)));
  EXPECT_THAT(videoChunksTable(kBandA, CMTimeMake(1, 50)), Optional(std::vector<int32_t>(25, 2)));
  EXPECT_THAT(videoChunksTable(kBandA, CMTimeMake(1001, 60000)),
              Optional(std::vector<int32_t>(30, 2)));
}

TEST(VideoChunksTableTest, EveryTableHoldsOneSecondOfFrames) {
  const int32_t bands[] = {kBandA, kBandB, kBandC, kBandD, kBandE};
  const int32_t rates[] = {24, 25, 30, 50, 60};
  for (const int32_t frameSize : bands) {
    for (const int32_t rate : rates) {
      const auto table = videoChunksTable(frameSize, CMTimeMake(1, rate));
      ASSERT_TRUE(table.has_value()) << frameSize << " at " << rate;
      EXPECT_EQ(std::accumulate(table->begin(), table->end(), 0), rate)
          << frameSize << " at " << rate;
      for (const int32_t frames : *table) EXPECT_GT(frames, 0) << frameSize << " at " << rate;
    }
  }
}

}  // namespace
}  // namespace premoov
