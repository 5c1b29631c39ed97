// SubRip output of captions: times to the millisecond, numbering, layout.

#include "captions/srt_writer.h"

#include <gtest/gtest.h>

#include <vector>

namespace premoov {
namespace {

TEST(SrtWriterTest, TimesAreHoursMinutesSecondsAndMilliseconds) {
  EXPECT_EQ(srtTimestamp(CMTimeMake(0, 1000)), "00:00:00,000");
  EXPECT_EQ(srtTimestamp(CMTimeMake(3723456, 1000)), "01:02:03,456");
  // 1001/30000 s is 33.3666 ms.
  EXPECT_EQ(srtTimestamp(CMTimeMake(1001, 30000)), "00:00:00,033");
  EXPECT_EQ(srtTimestamp(CMTimeMake(2002, 30000)), "00:00:00,067");
}

TEST(SrtWriterTest, HalfAMillisecondRoundsAwayFromZero) {
  EXPECT_EQ(srtTimestamp(CMTimeMake(1, 2000)), "00:00:00,001");
  EXPECT_EQ(srtTimestamp(CMTimeMake(2999, 2000)), "00:00:01,500");
}

TEST(SrtWriterTest, HoursPastNinetyNineTakeMoreDigits) {
  EXPECT_EQ(srtTimestamp(CMTimeMake(100 * 3600 + 1, 1)), "100:00:01,000");
}

TEST(SrtWriterTest, NegativeInvalidAndInfiniteTimesAreZero) {
  EXPECT_EQ(srtTimestamp(CMTimeMake(-5, 1)), "00:00:00,000");
  EXPECT_EQ(srtTimestamp(kCMTimeInvalid), "00:00:00,000");
  CMTime infinite = CMTimeMake(0, 1);
  infinite.flags |= kCMTimeFlags_PositiveInfinity;
  EXPECT_EQ(srtTimestamp(infinite), "00:00:00,000");
}

TEST(SrtWriterTest, CuesAreNumberedFromOneWithABlankLineAfterEach) {
  const std::vector<CaptionCue> cues{
      {CMTimeMake(1500, 1000), CMTimeMake(4, 1), "HELLO"},
      {CMTimeMake(4, 1), CMTimeMake(61, 1), "top row\nbottom row"},
  };
  EXPECT_EQ(srtFromCues(cues),
            "1\n"
            "00:00:01,500 --> 00:00:04,000\n"
            "HELLO\n"
            "\n"
            "2\n"
            "00:00:04,000 --> 00:01:01,000\n"
            "top row\n"
            "bottom row\n"
            "\n");
}

TEST(SrtWriterTest, BlankRowsAreLeftOutSoTheyDoNotEndTheCaption) {
  const std::vector<CaptionCue> cues{
      {CMTimeMake(0, 1), CMTimeMake(1, 1), "\ntop\n\nbottom\n"},
      {CMTimeMake(1, 1), CMTimeMake(2, 1), ""},
  };
  EXPECT_EQ(srtFromCues(cues),
            "1\n"
            "00:00:00,000 --> 00:00:01,000\n"
            "top\n"
            "bottom\n"
            "\n"
            "2\n"
            "00:00:01,000 --> 00:00:02,000\n"
            "\n");
}

TEST(SrtWriterTest, NoCuesMakeAnEmptyFile) { EXPECT_EQ(srtFromCues({}), ""); }

}  // namespace
}  // namespace premoov
