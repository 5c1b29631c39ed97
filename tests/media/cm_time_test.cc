#include "media/cm_time.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace premoov {
namespace {

using Rounding = CMTimeRoundingMethod;
constexpr Rounding kQuickTime = Rounding::kCMTimeRoundingMethod_QuickTime;
constexpr uint32_t kValidAndRounded = kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded;

Value timeDictionary(Value value, Value timescale, Value flags, Value epoch) {
  return Value::dictionary({{"value", std::move(value)},
                            {"timescale", std::move(timescale)},
                            {"flags", std::move(flags)},
                            {"epoch", std::move(epoch)}});
}

TEST(CMTimeTest, MakeIsValidWithEpochZero) {
  const CMTime t = CMTimeMake(1001, 30000);
  EXPECT_EQ(t.value, 1001);
  EXPECT_EQ(t.timescale, 30000);
  EXPECT_EQ(t.flags, kCMTimeFlags_Valid);
  EXPECT_EQ(t.epoch, 0);
  EXPECT_TRUE(t.isValid());
  EXPECT_FALSE(kCMTimeInvalid.isValid());
}

TEST(CMTimeTest, KeysAreTheDictionaryNames) {
  EXPECT_STREQ(kCMTimeValueKey, "value");
  EXPECT_STREQ(kCMTimeScaleKey, "timescale");
  EXPECT_STREQ(kCMTimeFlagsKey, "flags");
  EXPECT_STREQ(kCMTimeEpochKey, "epoch");
}

TEST(CMTimeDictionaryTest, MakesATimeFromAValidDictionary) {
  const Value d = timeDictionary(Value::integer(1001), Value::integer(30000),
                                 Value::integer(kCMTimeFlags_Valid), Value::integer(7));
  const CMTime t = CMTimeMakeFromDictionary(&d);
  EXPECT_EQ(t, (CMTime{.value = 1001, .timescale = 30000, .flags = 1, .epoch = 7}));
}

TEST(CMTimeDictionaryTest, IntegerNumbersOfAnyWidthAreAccepted) {
  const Value d = timeDictionary(Value::integer(-5, CFNumberType::kCFNumberSInt32Type),
                                 Value::integer(600, CFNumberType::kCFNumberSInt32Type),
                                 Value::integer(3, CFNumberType::kCFNumberIntType),
                                 Value::integer(0, CFNumberType::kCFNumberSInt8Type));
  EXPECT_EQ(CMTimeMakeFromDictionary(&d),
            (CMTime{.value = -5, .timescale = 600, .flags = 3, .epoch = 0}));
}

TEST(CMTimeDictionaryTest, NothingOrANonDictionaryIsInvalid) {
  EXPECT_EQ(CMTimeMakeFromDictionary(nullptr), kCMTimeInvalid);
  const Value number = Value::integer(1);
  EXPECT_EQ(CMTimeMakeFromDictionary(&number), kCMTimeInvalid);
  const Value array = Value::array({Value::integer(1), Value::integer(2)});
  EXPECT_EQ(CMTimeMakeFromDictionary(&array), kCMTimeInvalid);
  const Value empty = Value::dictionary();
  EXPECT_EQ(CMTimeMakeFromDictionary(&empty), kCMTimeInvalid);
}

TEST(CMTimeDictionaryTest, AnyMissingKeyGivesTheInvalidTime) {
  const Value complete =
      timeDictionary(Value::integer(1), Value::integer(2), Value::integer(1), Value::integer(0));
  ASSERT_TRUE(CMTimeMakeFromDictionary(&complete).isValid());
  for (const char* key : {"value", "timescale", "flags", "epoch"}) {
    SCOPED_TRACE(key);
    Value::Dictionary entries = complete.entries();
    entries.erase(key);
    const Value d = Value::dictionary(entries);
    EXPECT_EQ(CMTimeMakeFromDictionary(&d), kCMTimeInvalid);
  }
}

// Each of the four entries must be an integer number: a string, a floating number, a boolean or
// any other kind in any slot makes the whole time invalid.
TEST(CMTimeDictionaryTest, ANonIntegerEntryGivesTheInvalidTime) {
  const std::vector<Value> wrongs{
      Value::string("1"),
      Value::real(1.0),
      Value::real(1.0, CFNumberType::kCFNumberFloat32Type),
      Value::boolean(true),
      Value::data({0, 0, 0, 1}),
      Value::dictionary(),
  };
  for (const char* key : {"value", "timescale", "flags", "epoch"}) {
    for (const Value& wrong : wrongs) {
      SCOPED_TRACE(std::string(key) + " as " + kindName(wrong.kind()));
      Value d = timeDictionary(Value::integer(1), Value::integer(2), Value::integer(1),
                               Value::integer(0));
      d.setObject(key, wrong);
      EXPECT_EQ(CMTimeMakeFromDictionary(&d), kCMTimeInvalid);
    }
  }
}

TEST(CMTimeDictionaryTest, CopyAsDictionaryWritesFourIntegers) {
  const CMTime t{.value = -1001, .timescale = 30000, .flags = kValidAndRounded, .epoch = 3};
  const Value d = CMTimeCopyAsDictionary(t);
  ASSERT_TRUE(d.isDictionary());
  EXPECT_EQ(d.entries().size(), 4u);
  ASSERT_NE(d.objectForKey("value"), nullptr);
  EXPECT_EQ(*d.objectForKey("value"), Value::integer(-1001));
  EXPECT_EQ(*d.objectForKey("timescale"), Value::integer(30000, CFNumberType::kCFNumberSInt32Type));
  EXPECT_EQ(*d.objectForKey("flags"), Value::integer(3, CFNumberType::kCFNumberSInt32Type));
  EXPECT_EQ(*d.objectForKey("epoch"), Value::integer(3));
}

TEST(CMTimeDictionaryTest, RoundTrips) {
  const std::vector<CMTime> times{
      CMTimeMake(1001, 30000),
      CMTimeMake(0, 600),
      CMTime{.value = -1, .timescale = 90000, .flags = kValidAndRounded, .epoch = -2},
      CMTime{.value = std::numeric_limits<int64_t>::max(),
             .timescale = std::numeric_limits<int32_t>::max(),
             .flags = 0xFFFFFFFFu,
             .epoch = std::numeric_limits<int64_t>::min()},
      CMTime{.value = 0,
             .timescale = 0,
             .flags = kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity,
             .epoch = 0},
      kCMTimeInvalid,
  };
  for (const CMTime& t : times) {
    SCOPED_TRACE(t.value);
    const Value d = CMTimeCopyAsDictionary(t);
    EXPECT_EQ(CMTimeMakeFromDictionary(&d), t);
  }
}

TEST(CMTimeConvertScaleTest, QuickTimeTowardZeroIntoACoarserScale) {
  const CMTime t = CMTimeConvertScale(CMTimeMake(1001, 30000), 600, kQuickTime);  // 20.02
  EXPECT_EQ(t, (CMTime{.value = 20, .timescale = 600, .flags = kValidAndRounded, .epoch = 0}));
  // 59.99 of 600 stays 59, not 60.
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(2999, 30000), 600, kQuickTime).value, 59);
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(-1001, 30000), 600, kQuickTime).value, -20);
}

TEST(CMTimeConvertScaleTest, QuickTimeAwayFromZeroIntoAFinerScale) {
  const CMTime t = CMTimeConvertScale(CMTimeMake(1, 3), 1000, kQuickTime);  // 333.33
  EXPECT_EQ(t, (CMTime{.value = 334, .timescale = 1000, .flags = kValidAndRounded, .epoch = 0}));
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(-1, 3), 1000, kQuickTime).value, -334);
  // Even a scale finer by a hair rounds up: 1 of 600 is 1.0017 of 601.
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(1, 600), 601, kQuickTime).value, 2);
}

TEST(CMTimeConvertScaleTest, QuickTimeNeverRoundsANegativeTimeToZero) {
  const CMTime t = CMTimeConvertScale(CMTimeMake(-1, 30000), 600, kQuickTime);  // -0.02
  EXPECT_EQ(t, (CMTime{.value = -1, .timescale = 600, .flags = kValidAndRounded, .epoch = 0}));
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(-49, 30000), 600, kQuickTime).value, -1);
  // A positive time may become zero, and zero stays zero.
  const CMTime positive = CMTimeConvertScale(CMTimeMake(1, 30000), 600, kQuickTime);
  EXPECT_EQ(positive.value, 0);
  EXPECT_EQ(positive.flags, kValidAndRounded);
  const CMTime zero = CMTimeConvertScale(CMTimeMake(0, 30000), 600, kQuickTime);
  EXPECT_EQ(zero, (CMTime{.value = 0, .timescale = 600, .flags = 1, .epoch = 0}));
}

TEST(CMTimeConvertScaleTest, ExactConversionsAreNotRounded) {
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(1001, 30000), 90000, kQuickTime),
            (CMTime{.value = 3003, .timescale = 90000, .flags = 1, .epoch = 0}));
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(3003, 90000), 30000, kQuickTime),
            (CMTime{.value = 1001, .timescale = 30000, .flags = 1, .epoch = 0}));
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(-50, 100), 600, kQuickTime),
            (CMTime{.value = -300, .timescale = 600, .flags = 1, .epoch = 0}));
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(7, 600), 600, kQuickTime), CMTimeMake(7, 600));
}

TEST(CMTimeConvertScaleTest, EpochAndEarlierRoundingAreKept) {
  const CMTime in{.value = 10, .timescale = 100, .flags = kValidAndRounded, .epoch = 4};
  EXPECT_EQ(CMTimeConvertScale(in, 1000, kQuickTime),
            (CMTime{.value = 100, .timescale = 1000, .flags = kValidAndRounded, .epoch = 4}));
}

TEST(CMTimeConvertScaleTest, InvalidInGivesInvalidOut) {
  EXPECT_EQ(CMTimeConvertScale(kCMTimeInvalid, 600, kQuickTime), kCMTimeInvalid);
  const CMTime notValid{.value = 5, .timescale = 30, .flags = 0, .epoch = 0};
  EXPECT_EQ(CMTimeConvertScale(notValid, 600, kQuickTime), kCMTimeInvalid);
  const CMTime noScale{.value = 5, .timescale = 0, .flags = kCMTimeFlags_Valid, .epoch = 0};
  EXPECT_EQ(CMTimeConvertScale(noScale, 600, kQuickTime), kCMTimeInvalid);
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(5, 30), 0, kQuickTime), kCMTimeInvalid);
  EXPECT_EQ(CMTimeConvertScale(CMTimeMake(5, 30), -600, kQuickTime), kCMTimeInvalid);
}

TEST(CMTimeConvertScaleTest, InfiniteAndIndefiniteTimesAreUnchanged) {
  for (const uint32_t kind :
       {kCMTimeFlags_PositiveInfinity, kCMTimeFlags_NegativeInfinity, kCMTimeFlags_Indefinite}) {
    const CMTime in{.value = 0, .timescale = 1, .flags = kCMTimeFlags_Valid | kind, .epoch = 0};
    EXPECT_EQ(CMTimeConvertScale(in, 600, kQuickTime), in);
  }
}

TEST(CMTimeConvertScaleTest, OverflowBecomesInfinite) {
  const CMTime big = CMTimeMake(std::numeric_limits<int64_t>::max(), 1);
  const CMTime up = CMTimeConvertScale(big, 1000, kQuickTime);
  EXPECT_TRUE(up.isValid());
  EXPECT_NE(up.flags & kCMTimeFlags_PositiveInfinity, 0u);
  EXPECT_EQ(up.flags & kCMTimeFlags_NegativeInfinity, 0u);

  const CMTime small = CMTimeMake(std::numeric_limits<int64_t>::min(), 1);
  const CMTime down = CMTimeConvertScale(small, 1000, kQuickTime);
  EXPECT_TRUE(down.isValid());
  EXPECT_NE(down.flags & kCMTimeFlags_NegativeInfinity, 0u);
  EXPECT_EQ(down.flags & kCMTimeFlags_PositiveInfinity, 0u);

  // The largest value that still fits is kept as it is.
  const CMTime fits =
      CMTimeConvertScale(CMTimeMake(std::numeric_limits<int64_t>::max(), 1000), 1, kQuickTime);
  EXPECT_EQ(fits.value, std::numeric_limits<int64_t>::max() / 1000);
  EXPECT_EQ(fits.flags, kValidAndRounded);
}

struct RoundingCase {
  Rounding method;
  CMTimeValue value;
  CMTimeScale from;
  CMTimeScale to;
  CMTimeValue expected;
};

class CMTimeRoundingTest : public ::testing::TestWithParam<RoundingCase> {};

// "TowardZero_1of3_in1000": the method, then the time and the scale it is converted to.
std::string roundingCaseName(const ::testing::TestParamInfo<RoundingCase>& info) {
  const RoundingCase& c = info.param;
  const char* method = "Unknown";
  switch (c.method) {
    case Rounding::kCMTimeRoundingMethod_RoundHalfAwayFromZero: method = "HalfAwayFromZero"; break;
    case Rounding::kCMTimeRoundingMethod_RoundTowardZero: method = "TowardZero"; break;
    case Rounding::kCMTimeRoundingMethod_RoundAwayFromZero: method = "AwayFromZero"; break;
    case Rounding::kCMTimeRoundingMethod_QuickTime: method = "QuickTime"; break;
    case Rounding::kCMTimeRoundingMethod_RoundTowardPositiveInfinity:
      method = "TowardPlusInfinity";
      break;
    case Rounding::kCMTimeRoundingMethod_RoundTowardNegativeInfinity:
      method = "TowardMinusInfinity";
      break;
  }
  const std::string value =
      c.value < 0 ? "minus" + std::to_string(-c.value) : std::to_string(c.value);
  return std::string(method) + "_" + value + "of" + std::to_string(c.from) + "_in" +
         std::to_string(c.to);
}

TEST_P(CMTimeRoundingTest, RoundsAsNamed) {
  const RoundingCase& c = GetParam();
  const CMTime out = CMTimeConvertScale(CMTimeMake(c.value, c.from), c.to, c.method);
  EXPECT_EQ(out.value, c.expected);
  EXPECT_EQ(out.timescale, c.to);
  const bool exact = (c.value * c.to) % c.from == 0;  // the cases are small
  EXPECT_EQ(out.flags, exact ? kCMTimeFlags_Valid : kValidAndRounded);
}

INSTANTIATE_TEST_SUITE_P(
    EveryMethod, CMTimeRoundingTest,
    ::testing::Values(
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundHalfAwayFromZero, 1, 4, 2, 1},  // 0.5
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundHalfAwayFromZero, -1, 4, 2, -1},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundHalfAwayFromZero, 1, 5, 2, 0},  // 0.4
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundHalfAwayFromZero, 3, 5, 2, 1},  // 1.2
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundHalfAwayFromZero, 2, 3, 4, 3},  // 2.67
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardZero, 2, 3, 1, 0},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardZero, -2, 3, 1, 0},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardZero, 1, 3, 1000, 333},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundAwayFromZero, 1, 3, 1, 1},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundAwayFromZero, -1, 3, 1, -1},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundAwayFromZero, 1001, 30000, 600, 21},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardPositiveInfinity, 1, 3, 1, 1},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardPositiveInfinity, -1, 3, 1, 0},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardPositiveInfinity, -4, 3, 1, -1},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardNegativeInfinity, 1, 3, 1, 0},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardNegativeInfinity, -1, 3, 1, -1},
        RoundingCase{Rounding::kCMTimeRoundingMethod_RoundTowardNegativeInfinity, 4, 3, 1, 1},
        RoundingCase{kQuickTime, 1001, 30000, 600, 20}, RoundingCase{kQuickTime, 1, 3, 1000, 334},
        RoundingCase{kQuickTime, -1, 30000, 600, -1}, RoundingCase{kQuickTime, 6, 600, 30000, 300}),
    roundingCaseName);

}  // namespace
}  // namespace premoov
