#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>

#include "captions/cc_utilities.h"

namespace premoov {
namespace {

struct TimingCase {
  CMTimeValue value;      // frame duration, in the time scale
  CMTimeScale timescale;  // units per second
  uint8_t cdpFrameRate;
  uint8_t ccCount;
  int32_t maxSampleSize;  // bytes
};

std::ostream& operator<<(std::ostream& os, const TimingCase& c) {
  return os << c.value << "/" << c.timescale;
}

class CCTimingTest : public ::testing::TestWithParam<TimingCase> {};

TEST_P(CCTimingTest, NumbersForTheFrameDuration) {
  const TimingCase& c = GetParam();
  const CMTime duration = CMTimeMake(c.value, c.timescale);
  EXPECT_EQ(ZPRCCUtilities::cdpFrameRateForFrameDuration(duration), c.cdpFrameRate);
  EXPECT_EQ(ZPRCCUtilities::ccCountForFrameDuration(duration), c.ccCount);
  EXPECT_EQ(ZPRCCUtilities::closedCaptionMaxSampleSizeForFrameDuration(duration), c.maxSampleSize);
}

// cc_count is 600 a second over the frame rate, truncated; the sample room is 3 x cc_count + 21.
INSTANTIATE_TEST_SUITE_P(
    FrameDurations, CCTimingTest,
    ::testing::Values(
        // Every code of the cdp_frame_rate table, 23.976 (1) to 60 (8).
        TimingCase{1001, 24000, 1, 25, 96},  // 25.025
        TimingCase{1, 24, 2, 25, 96}, TimingCase{1, 25, 3, 24, 93},
        TimingCase{1001, 30000, 4, 20, 81},  // 20.02
        TimingCase{1, 30, 5, 20, 81}, TimingCase{1, 50, 6, 12, 57},
        TimingCase{1001, 60000, 7, 10, 51},  // 10.01
        TimingCase{1, 60, 8, 10, 51},
        // The same rates in other time scales.
        TimingCase{3003, 90000, 4, 20, 81}, TimingCase{1800, 90000, 6, 12, 57},
        TimingCase{1500, 90000, 8, 10, 51}, TimingCase{3750, 90000, 2, 25, 96},
        TimingCase{20, 600, 5, 20, 81},
        // Rates without a code.
        TimingCase{1001, 48000, 0, 12, 57},  // 47.952 fps, 12.51 triplets
        TimingCase{1, 48, 0, 12, 57}, TimingCase{1, 15, 0, 40, 141}, TimingCase{1, 120, 0, 5, 36},
        TimingCase{1, 100, 0, 6, 39},
        // 300 triplets do not fit the 8-bit cc_count: the low 8 bits, 44, are what is kept.
        TimingCase{1, 2, 0, 44, 153},
        // A zero duration is an infinite rate: no code and no triplets.
        TimingCase{0, 30000, 0, 0, 21}, TimingCase{0, 0, 0, 0, 21}),
    // "1001_30000": the frame duration.
    [](const ::testing::TestParamInfo<TimingCase>& timing) {
      return std::to_string(timing.param.value) + "_" + std::to_string(timing.param.timescale);
    });

TEST(CCTimingTest, OnlyValueAndTimescaleAreRead) {
  const CMTime plain = CMTimeMake(1001, 30000);
  const CMTime decorated{.value = 1001,
                         .timescale = 30000,
                         .flags = kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded,
                         .epoch = 9};
  const CMTime notValid{.value = 1001, .timescale = 30000, .flags = 0, .epoch = 0};
  for (const CMTime& t : {plain, decorated, notValid}) {
    EXPECT_EQ(ZPRCCUtilities::cdpFrameRateForFrameDuration(t), 4);
    EXPECT_EQ(ZPRCCUtilities::ccCountForFrameDuration(t), 20);
    EXPECT_EQ(ZPRCCUtilities::closedCaptionMaxSampleSizeForFrameDuration(t), 81);
  }
}

// Odd durations from untrusted settings must give some answer, never undefined behaviour.
TEST(CCTimingTest, HostileDurationsDoNotCrash) {
  const CMTime hostile[] = {
      CMTimeMake(-1001, 30000),
      CMTimeMake(1001, -30000),
      CMTimeMake(1001, 0),
      CMTimeMake(std::numeric_limits<int64_t>::max(), 1),
      CMTimeMake(1, std::numeric_limits<int32_t>::max()),
      CMTimeMake(std::numeric_limits<int64_t>::min(), std::numeric_limits<int32_t>::min()),
  };
  for (const CMTime& t : hostile) {
    SCOPED_TRACE(t.value);
    EXPECT_EQ(ZPRCCUtilities::cdpFrameRateForFrameDuration(t), 0);
    const int32_t room = ZPRCCUtilities::closedCaptionMaxSampleSizeForFrameDuration(t);
    EXPECT_GE(room, 21);
    EXPECT_LE(room, 3 * 255 + 21);
  }
  // 1 unit of a 2^31 - 1 scale is a rate of 2 billion frames a second: no triplets at all.
  EXPECT_EQ(
      ZPRCCUtilities::ccCountForFrameDuration(CMTimeMake(1, std::numeric_limits<int32_t>::max())),
      0);
  EXPECT_EQ(ZPRCCUtilities::ccCountForFrameDuration(CMTimeMake(1001, 0)), 0);
}

}  // namespace
}  // namespace premoov
