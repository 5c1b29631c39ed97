#include "captions/timecode_label.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

namespace premoov {
namespace {

constexpr TimecodeCounting kNtsc{30, 2};
constexpr TimecodeCounting kNtscDouble{60, 4};
constexpr TimecodeCounting kPal{25, 0};

TimecodeLabel labelOf(const std::string& text, const TimecodeCounting& counting) {
  const auto parsed = parseTimecodeLabel(text, counting);
  if (const auto* problem = std::get_if<TimecodeProblem>(&parsed)) {
    ADD_FAILURE() << text << ": " << problem->message;
    return {};
  }
  return std::get<TimecodeLabel>(parsed);
}

int64_t frameOf(const std::string& text, const TimecodeCounting& counting) {
  return frameIndexOfLabel(labelOf(text, counting), counting);
}

TimecodeProblem problemOf(const std::string& text, const TimecodeCounting& counting) {
  const auto parsed = parseTimecodeLabel(text, counting);
  if (!std::holds_alternative<TimecodeProblem>(parsed)) {
    ADD_FAILURE() << text << " was taken";
    return {};
  }
  return std::get<TimecodeProblem>(parsed);
}

TEST(TimecodeLabelTest, CountsTheCaptionFrameRatesOnly) {
  struct Case {
    CMTime duration;
    int32_t perSecond;
    int32_t dropped;
  };
  for (const Case& c : {Case{CMTimeMake(1001, 24000), 24, 0}, Case{CMTimeMake(1, 24), 24, 0},
                        Case{CMTimeMake(1, 25), 25, 0}, Case{CMTimeMake(1001, 30000), 30, 2},
                        Case{CMTimeMake(3003, 90000), 30, 2}, Case{CMTimeMake(1, 30), 30, 0},
                        Case{CMTimeMake(1800, 90000), 50, 0}, Case{CMTimeMake(1001, 60000), 60, 4},
                        Case{CMTimeMake(1, 60), 60, 0}}) {
    const auto counting = timecodeCountingForFrameDuration(c.duration);
    ASSERT_TRUE(counting) << c.duration.value << "/" << c.duration.timescale;
    EXPECT_EQ(counting->labelsPerSecond, c.perSecond);
    EXPECT_EQ(counting->droppedPerMinute, c.dropped);
  }
  EXPECT_FALSE(timecodeCountingForFrameDuration(CMTimeMake(1001, 48000)));
  EXPECT_FALSE(timecodeCountingForFrameDuration(CMTimeMake(1, 15)));
  EXPECT_FALSE(timecodeCountingForFrameDuration(CMTimeMake(0, 30000)));
  EXPECT_FALSE(timecodeCountingForFrameDuration(CMTimeMake(-1001, 30000)));
  EXPECT_FALSE(timecodeCountingForFrameDuration(CMTimeMake(1001, 0)));
}

TEST(TimecodeLabelTest, DropFrameLabelsSkipTwoNumbersAtEveryMinuteButTheTenth) {
  EXPECT_EQ(frameOf("00:00:00;00", kNtsc), 0);
  EXPECT_EQ(frameOf("00:00:59;29", kNtsc), 1799);
  EXPECT_EQ(frameOf("00:01:00;02", kNtsc), 1800);
  EXPECT_EQ(frameOf("00:01:59;29", kNtsc), 3597);
  EXPECT_EQ(frameOf("00:02:00;02", kNtsc), 3598);
  EXPECT_EQ(frameOf("00:09:59;29", kNtsc), 17981);
  EXPECT_EQ(frameOf("00:10:00;00", kNtsc), 17982);
  EXPECT_EQ(frameOf("00:10:00;01", kNtsc), 17983);
  EXPECT_EQ(frameOf("00:11:00;02", kNtsc), 17982 + 1800);
  EXPECT_EQ(frameOf("01:00:00;00", kNtsc), 107892);
  EXPECT_EQ(frameOf("23:59:59;29", kNtsc), 2589407);
  // '.' marks drop-frame labels too.
  EXPECT_EQ(frameOf("00:01:00.02", kNtsc), 1800);
}

TEST(TimecodeLabelTest, NonDropLabelsCountEveryNumber) {
  EXPECT_EQ(frameOf("00:01:00:00", kNtsc), 1800);
  EXPECT_EQ(frameOf("01:00:00:00", kNtsc), 108000);
  EXPECT_EQ(frameOf("00:00:01:00", kPal), 25);
  EXPECT_EQ(frameOf("23:59:59:24", kPal), 2159999);
  EXPECT_EQ(frameOf("00:01:00:00", TimecodeCounting{24, 0}), 1440);
}

TEST(TimecodeLabelTest, At5994DropFrameLabelsSkipFourNumbers) {
  EXPECT_EQ(frameOf("00:00:59;59", kNtscDouble), 3599);
  EXPECT_EQ(frameOf("00:01:00;04", kNtscDouble), 3600);
  EXPECT_EQ(frameOf("00:10:00;00", kNtscDouble), 35964);
  EXPECT_EQ(problemOf("00:01:00;03", kNtscDouble).column, 9u);
}

TEST(TimecodeLabelTest, EveryFrameOfADayHasTheLabelThatNamesIt) {
  for (const auto& [counting, dropFrame] :
       {std::pair{kNtsc, true}, std::pair{kNtsc, false}, std::pair{kNtscDouble, true}}) {
    const int64_t day = framesPerDay(counting, dropFrame);
    for (int64_t frame = 0; frame < day; ++frame) {
      const TimecodeLabel label = labelOfFrameIndex(frame, counting, dropFrame);
      ASSERT_EQ(frameIndexOfLabel(label, counting), frame) << labelText(label);
      // Only the minute boundaries and a sample of the rest are parsed back: a day is millions.
      if (label.seconds == 0 || frame % 9973 == 0) {
        ASSERT_EQ(labelOf(labelText(label), counting), label);
      }
    }
  }
  EXPECT_EQ(framesPerDay(kNtsc, true), 2589408);
  EXPECT_EQ(framesPerDay(kNtsc, false), 2592000);
  EXPECT_EQ(framesPerDay(kNtscDouble, true), 5178816);
  EXPECT_EQ(labelText(labelOfFrameIndex(2589408, kNtsc, true)), "00:00:00;00");
}

TEST(TimecodeLabelTest, LabelsAtTheMinuteBoundaries) {
  EXPECT_EQ(labelText(labelOfFrameIndex(1799, kNtsc, true)), "00:00:59;29");
  EXPECT_EQ(labelText(labelOfFrameIndex(1800, kNtsc, true)), "00:01:00;02");
  EXPECT_EQ(labelText(labelOfFrameIndex(17982, kNtsc, true)), "00:10:00;00");
  EXPECT_EQ(labelText(labelOfFrameIndex(17984, kNtsc, true)), "00:10:00;02");
  EXPECT_EQ(labelText(labelOfFrameIndex(1800, kNtsc, false)), "00:01:00:00");
  // A rate without drop frame gives non-drop labels whatever is asked.
  EXPECT_EQ(labelText(labelOfFrameIndex(25, kPal, true)), "00:00:01:00");
}

TEST(TimecodeLabelTest, FieldsOutOfRangeNameTheirColumn) {
  struct Case {
    std::string text;
    TimecodeCounting counting;
    size_t column;
    std::string message;
  };
  for (const Case& c : {
           Case{"24:00:00:00", kNtsc, 0, "hours 24 out of range: 00 to 23"},
           Case{"00:60:00:00", kNtsc, 3, "minutes 60 out of range: 00 to 59"},
           Case{"00:00:60:00", kNtsc, 6, "seconds 60 out of range: 00 to 59"},
           Case{"00:00:00:30", kNtsc, 9, "frames 30 out of range: 00 to 29"},
           Case{"00:00:00:25", kPal, 9, "frames 25 out of range: 00 to 24"},
           Case{"00:00:00;00", kPal, 8, "drop-frame timecode at a frame rate that has none"},
           Case{"00:01:00;00", kNtsc, 9, "00:01:00;00 is skipped by drop-frame counting"},
           Case{"00:01:00;01", kNtsc, 9, "00:01:00;01 is skipped by drop-frame counting"},
           Case{"0:00:00:00", kNtsc, 1,
                "'0:00:00:00' is not a timecode (HH:MM:SS:FF or HH:MM:SS;FF)"},
           Case{"00-00-00-00", kNtsc, 2,
                "'00-00-00-00' is not a timecode (HH:MM:SS:FF or HH:MM:SS;FF)"},
           Case{"00:00:00;000", kNtsc, 11,
                "'00:00:00;000' is not a timecode (HH:MM:SS:FF or HH:MM:SS;FF)"},
           Case{"00;00;00;00", kNtsc, 2,
                "'00;00;00;00' is not a timecode (HH:MM:SS:FF or HH:MM:SS;FF)"},
           Case{"", kNtsc, 0, "'' is not a timecode (HH:MM:SS:FF or HH:MM:SS;FF)"},
       }) {
    const TimecodeProblem problem = problemOf(c.text, c.counting);
    EXPECT_EQ(problem.column, c.column) << c.text;
    EXPECT_EQ(problem.message, c.message) << c.text;
  }
  // The tenth minute keeps its first frame numbers.
  EXPECT_EQ(frameOf("00:20:00;01", kNtsc), 2 * 17982 + 1);
}

}  // namespace
}  // namespace premoov
