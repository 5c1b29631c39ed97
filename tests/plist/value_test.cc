#include "plist/value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "base/log.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class MetadataItem : public ValueObject {
 public:
  std::string className() const override { return "ZPRMetadataItem"; }
};

TEST(ValueTest, DefaultIsAnEmptyDictionary) {
  const Value v;
  EXPECT_EQ(v.kind(), Value::Kind::Dictionary);
  EXPECT_TRUE(v.isDictionary());
  EXPECT_TRUE(v.entries().empty());
  EXPECT_EQ(v, Value::dictionary());
}

TEST(ValueTest, EachKindAnswersItsOwnPredicate) {
  struct Case {
    Value value;
    Value::Kind kind;
    const char* name;
  };
  const std::vector<Case> cases{
      {Value::dictionary(), Value::Kind::Dictionary, "dictionary"},
      {Value::array(), Value::Kind::Array, "array"},
      {Value::string("s"), Value::Kind::String, "string"},
      {Value::integer(1), Value::Kind::Number, "number"},
      {Value::real(1.5), Value::Kind::Number, "number"},
      {Value::boolean(true), Value::Kind::Boolean, "boolean"},
      {Value::data({1}), Value::Kind::Data, "data"},
      {Value::date(0), Value::Kind::Date, "date"},
      {Value::object(std::make_shared<MetadataItem>()), Value::Kind::Object, "object"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Value& v = c.value;
    EXPECT_EQ(v.kind(), c.kind);
    EXPECT_STREQ(kindName(v.kind()), c.name);
    EXPECT_EQ(v.isDictionary(), c.kind == Value::Kind::Dictionary);
    EXPECT_EQ(v.isArray(), c.kind == Value::Kind::Array);
    EXPECT_EQ(v.isString(), c.kind == Value::Kind::String);
    EXPECT_EQ(v.isNumber(), c.kind == Value::Kind::Number || c.kind == Value::Kind::Boolean);
    EXPECT_EQ(v.isData(), c.kind == Value::Kind::Data);
    EXPECT_EQ(v.isDate(), c.kind == Value::Kind::Date);
    EXPECT_EQ(v.isObject(), c.kind == Value::Kind::Object);
  }
}

TEST(ValueTest, KindsHoldTheirContents) {
  EXPECT_EQ(Value::string("ZPRSettings").stringValue(), "ZPRSettings");
  EXPECT_EQ(Value::data({1, 2, 3}).bytes(), (std::vector<uint8_t>{1, 2, 3}));
  EXPECT_EQ(Value::date(86400.5).timeIntervalSinceReferenceDate(), 86400.5);
  const auto item = std::make_shared<MetadataItem>();
  const Value object = Value::object(item);
  EXPECT_EQ(object.objectValue(), item);
  EXPECT_EQ(object.objectValue()->className(), "ZPRMetadataItem");
}

TEST(ValueTest, NumbersRememberHowTheyWereMade) {
  EXPECT_EQ(Value::integer(3).numberType(), CFNumberType::kCFNumberSInt64Type);
  EXPECT_EQ(Value::integer(3, CFNumberType::kCFNumberSInt32Type).numberType(),
            CFNumberType::kCFNumberSInt32Type);
  EXPECT_EQ(Value::real(0.5).numberType(), CFNumberType::kCFNumberDoubleType);
  EXPECT_EQ(Value::real(0.5, CFNumberType::kCFNumberFloat32Type).numberType(),
            CFNumberType::kCFNumberFloat32Type);
  EXPECT_EQ(Value::boolean(true).numberType(), CFNumberType::kCFNumberCharType);
  EXPECT_FALSE(Value::integer(3).isFloatingNumber());
  EXPECT_TRUE(Value::real(0.5).isFloatingNumber());
  EXPECT_TRUE(Value::real(0.5, CFNumberType::kCFNumberFloat32Type).isFloatingNumber());
  EXPECT_FALSE(Value::boolean(true).isFloatingNumber());
}

TEST(ValueTest, SinglePrecisionNumbersHoldAFloat) {
  // A float number made from 0.1 holds 0.1f, as NSNumber's numberWithFloat: does; a double
  // keeps every bit.
  for (CFNumberType type : {CFNumberType::kCFNumberFloat32Type, CFNumberType::kCFNumberFloatType}) {
    SCOPED_TRACE(static_cast<int>(type));
    EXPECT_EQ(Value::real(0.1, type).doubleValue(), static_cast<double>(0.1f));
    EXPECT_EQ(Value::real(0.1, type), Value::real(static_cast<double>(0.1f), type));
    // Beyond the float range a value becomes infinite, as IEEE rounding makes it.
    EXPECT_EQ(Value::real(1e300, type).doubleValue(), HUGE_VAL);
    EXPECT_EQ(Value::real(-1e300, type).doubleValue(), -HUGE_VAL);
    EXPECT_EQ(Value::real(static_cast<double>(FLT_MAX), type).doubleValue(),
              static_cast<double>(FLT_MAX));
    EXPECT_TRUE(std::isnan(Value::real(std::nan(""), type).doubleValue()));
  }
  EXPECT_EQ(Value::real(0.1, CFNumberType::kCFNumberFloat64Type).doubleValue(), 0.1);
  EXPECT_EQ(Value::real(0.1).doubleValue(), 0.1);
}

TEST(ValueTest, CopiesAreIndependentOfEachOther) {
  // Copies share their elements until one changes; the change is never seen by the other.
  Value list = Value::array({Value::string("a")});
  Value copy = list;
  EXPECT_EQ(&copy.elements(), &list.elements());
  copy.append(Value::string("b"));
  EXPECT_EQ(list, Value::array({Value::string("a")}));
  EXPECT_EQ(copy, Value::array({Value::string("a"), Value::string("b")}));

  Value dictionary = Value::dictionary({{"k", Value::integer(1)}});
  Value changed = dictionary;
  changed.setObject("k", Value::integer(2));
  changed.setObject("l", Value::integer(3));
  EXPECT_EQ(*dictionary.objectForKey("k"), Value::integer(1));
  EXPECT_EQ(dictionary.objectForKey("l"), nullptr);
  EXPECT_EQ(*changed.objectForKey("k"), Value::integer(2));

  // An empty collection is equal to another empty one however it was made.
  Value grown = Value::array();
  grown.append(Value::integer(1));
  EXPECT_EQ(grown, Value::array({Value::integer(1)}));
  EXPECT_EQ(Value::dictionary(), Value());
  EXPECT_TRUE(Value::array().elements().empty());
}

TEST(ValueTest, IsFloatingType) {
  EXPECT_TRUE(isFloatingType(CFNumberType::kCFNumberFloat32Type));
  EXPECT_TRUE(isFloatingType(CFNumberType::kCFNumberFloat64Type));
  EXPECT_TRUE(isFloatingType(CFNumberType::kCFNumberFloatType));
  EXPECT_TRUE(isFloatingType(CFNumberType::kCFNumberDoubleType));
  EXPECT_FALSE(isFloatingType(CFNumberType::kCFNumberSInt8Type));
  EXPECT_FALSE(isFloatingType(CFNumberType::kCFNumberSInt32Type));
  EXPECT_FALSE(isFloatingType(CFNumberType::kCFNumberLongLongType));
  EXPECT_FALSE(isFloatingType(CFNumberType::kCFNumberCharType));
}

TEST(ValueTest, DictionaryStoresReplacesAndFinds) {
  Value d = Value::dictionary({{"a", Value::integer(1)}});
  d.setObject("b", Value::string("two"));
  d.setObject("a", Value::integer(10));
  ASSERT_NE(d.objectForKey("a"), nullptr);
  EXPECT_EQ(d.objectForKey("a")->intValue(), 10);
  ASSERT_NE(d.objectForKey("b"), nullptr);
  EXPECT_EQ(d.objectForKey("b")->stringValue(), "two");
  EXPECT_EQ(d.objectForKey("c"), nullptr);
  EXPECT_EQ(d.entries().size(), 2u);
}

TEST(ValueTest, ObjectForKeyOnANonDictionaryIsMissing) {
  EXPECT_EQ(Value::array({Value::integer(1)}).objectForKey("0"), nullptr);
  EXPECT_EQ(Value::string("a").objectForKey("a"), nullptr);
  EXPECT_EQ(Value::integer(1).objectForKey("value"), nullptr);
  EXPECT_EQ(Value::data({}).objectForKey(""), nullptr);
}

TEST(ValueTest, ArrayAppends) {
  Value a = Value::array({Value::integer(1)});
  a.append(Value::string("x"));
  ASSERT_EQ(a.elements().size(), 2u);
  EXPECT_EQ(a.elements()[0].intValue(), 1);
  EXPECT_EQ(a.elements()[1].stringValue(), "x");
}

TEST(ValueTest, Equality) {
  EXPECT_EQ(Value::integer(5), Value::integer(5));
  EXPECT_NE(Value::integer(5), Value::integer(6));
  // A number made as a 32-bit integer is not the same object as one made as a 64-bit one.
  EXPECT_NE(Value::integer(5), Value::integer(5, CFNumberType::kCFNumberSInt32Type));
  EXPECT_NE(Value::integer(1), Value::boolean(true));
  EXPECT_EQ(Value::real(kNaN), Value::real(kNaN));
  EXPECT_EQ(Value::string("a"), Value::string("a"));
  EXPECT_NE(Value::string("a"), Value::data({'a'}));
  EXPECT_EQ(Value::dictionary({{"k", Value::array({Value::date(1)})}}),
            Value::dictionary({{"k", Value::array({Value::date(1)})}}));
  EXPECT_NE(Value::dictionary({{"k", Value::date(1)}}), Value::dictionary({{"k", Value::date(2)}}));
}

TEST(ValueNumberTest, IntegersConvert) {
  const Value v = Value::integer(42);
  EXPECT_EQ(v.unsignedLongValue(), 42u);
  EXPECT_EQ(v.intValue(), 42);
  EXPECT_EQ(v.shortValue(), 42);
  EXPECT_TRUE(v.boolValue());
  EXPECT_EQ(v.longLongValue(), 42);
  EXPECT_EQ(v.doubleValue(), 42.0);

  const Value zero = Value::integer(0);
  EXPECT_EQ(zero.intValue(), 0);
  EXPECT_FALSE(zero.boolValue());

  const Value negative = Value::integer(-3);
  EXPECT_EQ(negative.intValue(), -3);
  EXPECT_EQ(negative.shortValue(), -3);
  EXPECT_EQ(negative.unsignedLongValue(), 0xFFFFFFFDu);
  EXPECT_TRUE(negative.boolValue());
}

// The accessors have the widths of the 32-bit build, and a wider number wraps as a C cast does.
TEST(ValueNumberTest, LargeIntegersWrapLikeACast) {
  const Value big = Value::integer(0x1'0000'0102);
  EXPECT_EQ(big.intValue(), 258);
  EXPECT_EQ(big.unsignedLongValue(), 258u);
  EXPECT_EQ(big.shortValue(), 258);
  EXPECT_EQ(big.longLongValue(), 0x1'0000'0102);

  EXPECT_EQ(Value::integer(70000).shortValue(), 4464);
  EXPECT_EQ(Value::integer(0x8000'0000).intValue(), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(Value::integer(0xFFFF'FFFF).intValue(), -1);
  EXPECT_EQ(Value::integer(0xFFFF'FFFF).unsignedLongValue(), 0xFFFF'FFFFu);
  EXPECT_EQ(Value::integer(0x1'0000'0000).unsignedLongValue(), 0u);
  EXPECT_EQ(Value::integer(std::numeric_limits<int64_t>::min()).intValue(), 0);
}

// A field such as numberOfFields is one byte: the caller keeps the low 8 bits of intValue.
TEST(ValueNumberTest, LowByteHandover) {
  EXPECT_EQ(static_cast<uint8_t>(Value::integer(258).intValue()), 2);
  EXPECT_EQ(static_cast<uint8_t>(Value::integer(2).intValue()), 2);
  EXPECT_EQ(static_cast<uint8_t>(Value::integer(-1).intValue()), 255);
  EXPECT_EQ(static_cast<uint8_t>(Value::real(258.9).intValue()), 2);
}

// boolValue of an integer looks at the whole value: 256 is YES although its low byte is 0.
TEST(ValueNumberTest, BoolValueOfIntegersLooksAtTheWholeValue) {
  EXPECT_TRUE(Value::integer(256).boolValue());
  EXPECT_TRUE(Value::integer(0x1'0000'0000).boolValue());
  EXPECT_FALSE(Value::integer(0).boolValue());
}

TEST(ValueNumberTest, BooleansAreNumbers) {
  EXPECT_EQ(Value::boolean(true).intValue(), 1);
  EXPECT_EQ(Value::boolean(true).unsignedLongValue(), 1u);
  EXPECT_EQ(Value::boolean(true).shortValue(), 1);
  EXPECT_TRUE(Value::boolean(true).boolValue());
  EXPECT_EQ(Value::boolean(false).intValue(), 0);
  EXPECT_FALSE(Value::boolean(false).boolValue());
  EXPECT_EQ(Value::boolean(true).doubleValue(), 1.0);
}

TEST(ValueNumberTest, DoublesTruncateTowardZero) {
  const Value up = Value::real(2.7);
  EXPECT_EQ(up.intValue(), 2);
  EXPECT_EQ(up.shortValue(), 2);
  EXPECT_EQ(up.unsignedLongValue(), 2u);
  EXPECT_EQ(up.longLongValue(), 2);
  EXPECT_EQ(up.doubleValue(), 2.7);
  EXPECT_TRUE(up.boolValue());

  const Value down = Value::real(-2.7);
  EXPECT_EQ(down.intValue(), -2);
  EXPECT_EQ(down.shortValue(), -2);
  EXPECT_EQ(down.longLongValue(), -2);
  EXPECT_TRUE(down.boolValue());

  EXPECT_EQ(Value::real(0.4).intValue(), 0);
  EXPECT_TRUE(Value::real(0.4).boolValue());  // the double itself is not zero
  EXPECT_FALSE(Value::real(0.0).boolValue());
  EXPECT_FALSE(Value::real(-0.0).boolValue());
  EXPECT_EQ(Value::real(29.97, CFNumberType::kCFNumberFloat32Type).intValue(), 29);
}

TEST(ValueNumberTest, LargeDoublesWrapTheShortLikeTheInteger) {
  EXPECT_EQ(Value::real(70000.9).shortValue(), 4464);
  EXPECT_EQ(Value::real(4294967298.0).unsignedLongValue(), 2u);
  EXPECT_EQ(Value::real(-1.0).unsignedLongValue(), 0xFFFF'FFFFu);
}

// An out-of-range double-to-integer cast is undefined behaviour in C++; the accessors must answer
// something sensible instead (the sanitizer would stop this test otherwise).
TEST(ValueNumberTest, NonFiniteDoublesDoNotCrash) {
  const Value nan = Value::real(kNaN);
  EXPECT_EQ(nan.intValue(), 0);
  EXPECT_EQ(nan.shortValue(), 0);
  EXPECT_EQ(nan.unsignedLongValue(), 0u);
  EXPECT_EQ(nan.longLongValue(), 0);
  EXPECT_TRUE(std::isnan(nan.doubleValue()));

  const Value inf = Value::real(kInfinity);
  EXPECT_EQ(inf.intValue(), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(inf.longLongValue(), std::numeric_limits<int64_t>::max());
  EXPECT_TRUE(inf.boolValue());
  (void)inf.shortValue();
  (void)inf.unsignedLongValue();

  const Value negativeInf = Value::real(-kInfinity);
  EXPECT_EQ(negativeInf.intValue(), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(negativeInf.longLongValue(), std::numeric_limits<int64_t>::min());
  (void)negativeInf.shortValue();
  (void)negativeInf.unsignedLongValue();

  EXPECT_EQ(Value::real(1e300).intValue(), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(Value::real(-1e300).intValue(), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(Value::real(9.3e18).longLongValue(), std::numeric_limits<int64_t>::max());
}

TEST(ValueStringTest, IntValueReadsTheLeadingDecimal) {
  EXPECT_EQ(Value::string("  42abc").intValue(), 42);
  EXPECT_EQ(Value::string("-7").intValue(), -7);
  EXPECT_EQ(Value::string("+15").intValue(), 15);
  EXPECT_EQ(Value::string("\t\n 8").intValue(), 8);
  EXPECT_EQ(Value::string("007").intValue(), 7);
  EXPECT_EQ(Value::string("3.9").intValue(), 3);
  EXPECT_EQ(Value::string("x").intValue(), 0);
  EXPECT_EQ(Value::string("").intValue(), 0);
  EXPECT_EQ(Value::string("-").intValue(), 0);
  EXPECT_EQ(Value::string("- 5").intValue(), 0);
  EXPECT_EQ(Value::string("x42").intValue(), 0);
  EXPECT_EQ(Value::string("  42abc").longLongValue(), 42);
}

// NSString answers INT_MAX or INT_MIN when the decimal does not fit, rather than wrapping.
TEST(ValueStringTest, IntValueSaturatesOnOverflow) {
  EXPECT_EQ(Value::string("2147483647").intValue(), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(Value::string("-2147483648").intValue(), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(Value::string("2147483648").intValue(), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(Value::string("99999999999").intValue(), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(Value::string("-99999999999").intValue(), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(Value::string("4294967298").intValue(), std::numeric_limits<int32_t>::max());
}

TEST(ValueStringTest, LongLongValueSaturatesOnOverflow) {
  EXPECT_EQ(Value::string("9223372036854775807").longLongValue(),
            std::numeric_limits<int64_t>::max());
  EXPECT_EQ(Value::string("-9223372036854775808").longLongValue(),
            std::numeric_limits<int64_t>::min());
  EXPECT_EQ(Value::string("9223372036854775808").longLongValue(),
            std::numeric_limits<int64_t>::max());
  EXPECT_EQ(Value::string("99999999999999999999999").longLongValue(),
            std::numeric_limits<int64_t>::max());
  EXPECT_EQ(Value::string("-99999999999999999999999").longLongValue(),
            std::numeric_limits<int64_t>::min());
  EXPECT_EQ(Value::string("1234567890123456789").longLongValue(), 1234567890123456789);
}

TEST(ValueStringTest, BoolValueLikeNSString) {
  EXPECT_TRUE(Value::string("YES").boolValue());
  EXPECT_TRUE(Value::string("yes").boolValue());
  EXPECT_TRUE(Value::string("true").boolValue());
  EXPECT_TRUE(Value::string("True").boolValue());
  EXPECT_TRUE(Value::string("1").boolValue());
  EXPECT_TRUE(Value::string("  +0001").boolValue());
  EXPECT_TRUE(Value::string("-5").boolValue());
  EXPECT_TRUE(Value::string("9 lives").boolValue());
  EXPECT_FALSE(Value::string("0").boolValue());
  EXPECT_FALSE(Value::string("000").boolValue());
  EXPECT_FALSE(Value::string("no").boolValue());
  EXPECT_FALSE(Value::string("NO").boolValue());
  EXPECT_FALSE(Value::string("false").boolValue());
  EXPECT_FALSE(Value::string("0.5").boolValue());
  EXPECT_FALSE(Value::string("").boolValue());
  EXPECT_FALSE(Value::string("   ").boolValue());
  EXPECT_FALSE(Value::string("x").boolValue());
}

TEST(ValueStringTest, DoubleValueReadsTheLeadingNumber) {
  EXPECT_EQ(Value::string("29.97").doubleValue(), 29.97);
  EXPECT_EQ(Value::string("  -1e3x").doubleValue(), -1000.0);
  EXPECT_EQ(Value::string("abc").doubleValue(), 0.0);
}

TEST(ValueStringTest, AccessorsAStringDoesNotAnswerLogAndGiveZero) {
  LogCapture capture;
  EXPECT_EQ(Value::string("42").unsignedLongValue(), 0u);
  EXPECT_EQ(Value::string("42").shortValue(), 0);
  EXPECT_THAT(capture.lines(), ElementsAre("A string answers no unsignedLongValue; 0 is used",
                                           "A string answers no shortValue; 0 is used"));
}

TEST(ValueMismatchTest, NonNumbersLogAndAnswerZero) {
  const std::vector<Value> others{Value::dictionary(), Value::array(), Value::data({1, 2}),
                                  Value::date(100),
                                  Value::object(std::make_shared<MetadataItem>())};
  for (const Value& v : others) {
    SCOPED_TRACE(kindName(v.kind()));
    LogCapture capture;
    EXPECT_EQ(v.intValue(), 0);
    EXPECT_EQ(v.unsignedLongValue(), 0u);
    EXPECT_EQ(v.shortValue(), 0);
    EXPECT_FALSE(v.boolValue());
    EXPECT_EQ(v.longLongValue(), 0);
    EXPECT_EQ(v.doubleValue(), 0.0);
    const std::string expected =
        std::string("A ") + kindName(v.kind()) + " answers no number; 0 is used";
    EXPECT_THAT(capture.lines(),
                ElementsAre(expected, expected, expected, expected, expected, expected));
  }
}

TEST(ValueMissingTest, FreeFunctionsOnNothingAnswerZero) {
  LogCapture capture;
  EXPECT_EQ(unsignedLongValue(nullptr), 0u);
  EXPECT_EQ(intValue(nullptr), 0);
  EXPECT_EQ(shortValue(nullptr), 0);
  EXPECT_FALSE(boolValue(nullptr));
  std::array<uint8_t, 4> destination{9, 9, 9, 9};
  getBytes(nullptr, destination);
  EXPECT_EQ(destination, (std::array<uint8_t, 4>{9, 9, 9, 9}));
  EXPECT_THAT(capture.lines(), IsEmpty());
}

TEST(ValueMissingTest, FreeFunctionsOnAnObjectForward) {
  const Value d = Value::dictionary({{"n", Value::integer(0x1'0000'0102)},
                                     {"b", Value::string("YES")},
                                     {"d", Value::data({1, 2})}});
  EXPECT_EQ(unsignedLongValue(d.objectForKey("n")), 258u);
  EXPECT_EQ(intValue(d.objectForKey("n")), 258);
  EXPECT_EQ(shortValue(d.objectForKey("n")), 258);
  EXPECT_TRUE(boolValue(d.objectForKey("b")));
  EXPECT_EQ(intValue(d.objectForKey("absent")), 0);
  EXPECT_FALSE(boolValue(d.objectForKey("absent")));
  std::array<uint8_t, 2> destination{};
  getBytes(d.objectForKey("d"), destination);
  EXPECT_EQ(destination, (std::array<uint8_t, 2>{1, 2}));
}

TEST(ValueDataTest, GetBytesCopiesAllThatFits) {
  LogCapture capture;
  const Value v = Value::data({0xA1, 0xA2, 0xA3});
  std::array<uint8_t, 5> destination{0, 0, 0, 0xEE, 0xEE};
  v.getBytes(destination);
  EXPECT_EQ(destination, (std::array<uint8_t, 5>{0xA1, 0xA2, 0xA3, 0xEE, 0xEE}));
  std::array<uint8_t, 3> exact{};
  v.getBytes(exact);
  EXPECT_EQ(exact, (std::array<uint8_t, 3>{0xA1, 0xA2, 0xA3}));
  EXPECT_THAT(capture.lines(), IsEmpty());
}

TEST(ValueDataTest, GetBytesCutsALongerObjectAndLogs) {
  LogCapture capture;
  const Value v = Value::data({1, 2, 3, 4, 5, 6});
  std::array<uint8_t, 4> destination{};
  v.getBytes(destination);
  EXPECT_EQ(destination, (std::array<uint8_t, 4>{1, 2, 3, 4}));
  EXPECT_THAT(capture.lines(),
              ElementsAre("A data object of 6 bytes is cut to the 4 bytes it is read into"));
}

TEST(ValueDataTest, GetBytesIntoNothing) {
  LogCapture capture;
  Value::data({1}).getBytes({});
  Value::data({}).getBytes({});
  EXPECT_THAT(capture.lines(),
              ElementsAre("A data object of 1 bytes is cut to the 0 bytes it is read into"));
}

TEST(ValueDataTest, GetBytesOfANonDataLogsAndCopiesNothing) {
  LogCapture capture;
  std::array<uint8_t, 2> destination{7, 7};
  Value::string("ab").getBytes(destination);
  Value::integer(1).getBytes(destination);
  EXPECT_EQ(destination, (std::array<uint8_t, 2>{7, 7}));
  EXPECT_THAT(capture.lines(), ElementsAre("A string holds no bytes; nothing is copied",
                                           "A number holds no bytes; nothing is copied"));
}

}  // namespace
}  // namespace premoov
