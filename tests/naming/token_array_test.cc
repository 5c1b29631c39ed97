#include "naming/token_array.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "naming/metadata_item.h"
#include "naming/token.h"
#include "plist/value.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Value tokenValue(const std::string& code, const std::string& displayName) {
  return Value::object(ZPRToken::tokenWithCode(code, displayName));
}

// The token an element holds, or nullptr.
const ZPRToken* tokenAt(const Value::Array& array, size_t index) {
  if (index >= array.size() || !array[index].isObject()) return nullptr;
  return dynamic_cast<const ZPRToken*>(array[index].objectValue().get());
}

TEST(TokenArrayTest, EmptyArray) {
  const Value::Array empty;
  EXPECT_FALSE(containsToken(empty, "$$"));
  EXPECT_THAT(tokenStringArray(empty), IsEmpty());
  EXPECT_EQ(tokenString(empty), "");
  EXPECT_THAT(arrayWithStringTokens({}), IsEmpty());
}

TEST(TokenArrayTest, NumberBetweenTwoStringsIsDropped) {
  const Value::Array array{Value::string("Take"), Value::integer(5), Value::string("_A")};
  EXPECT_THAT(tokenStringArray(array), ElementsAre("Take", "_A"));
  EXPECT_EQ(tokenString(array), "Take_A");
}

TEST(TokenArrayTest, OtherKindsAreDropped) {
  const Value::Array array{
      Value::string("a"),  Value::boolean(true), Value::date(0),
      Value::data({1, 2}), Value::dictionary(),  Value::array({Value::string("x")}),
      Value::real(1.5),    Value::string("b"),
  };
  EXPECT_THAT(tokenStringArray(array), ElementsAre("a", "b"));
  EXPECT_EQ(tokenString(array), "ab");
}

TEST(TokenArrayTest, StringsAreNeverTokens) {
  const Value::Array array{Value::string("$$Day"), Value::string("$$Counter")};
  EXPECT_FALSE(containsToken(array, "$$"));
  EXPECT_FALSE(containsToken(array, "$$Day"));
  EXPECT_THAT(tokenStringArray(array), ElementsAre("$$Day", "$$Counter"));
}

TEST(TokenArrayTest, ContainsTokenMatchesCodePrefixes) {
  const Value::Array array{Value::string("Take_"), tokenValue("$$Day#EEE", "Day"),
                           tokenValue("$$Counter", "Counter")};
  EXPECT_TRUE(containsToken(array, "$$"));
  EXPECT_TRUE(containsToken(array, "$$Day"));
  EXPECT_TRUE(containsToken(array, "$$Day#EEE"));
  EXPECT_TRUE(containsToken(array, ZPRCounterTokenKey));
  EXPECT_FALSE(containsToken(array, "$$Day#EEEE"));
  EXPECT_FALSE(containsToken(array, ZPRMonthTokenKey));
  EXPECT_FALSE(containsToken(array, "Take"));
}

TEST(TokenArrayTest, EmptyPrefixMatchesNothing) {
  const Value::Array array{tokenValue("$$Day", "Day")};
  EXPECT_FALSE(containsToken(array, ""));
}

TEST(TokenArrayTest, TokenWithoutCode) {
  auto noCode = std::make_shared<ZPRToken>();
  const Value::Array array{Value::object(noCode)};
  EXPECT_FALSE(containsToken(array, "$$"));
  EXPECT_FALSE(containsToken(array, "("));
  EXPECT_THAT(tokenStringArray(array), ElementsAre("(null)"));

  noCode->setFormatter("dd");
  EXPECT_THAT(tokenStringArray(array), ElementsAre("(null).dd"));
}

TEST(TokenArrayTest, ObjectsOfOtherClassesArePassedOver) {
  const Value itemValue = Value::string("v");
  const Value::Array array{
      Value::string("a"),
      Value::object(ZPRMetadataItem::initWithKey("k", &itemValue)),
      Value::object(nullptr),
      Value::string("b"),
  };
  EXPECT_FALSE(containsToken(array, "$$"));
  EXPECT_THAT(tokenStringArray(array), ElementsAre("a", "b"));
}

TEST(TokenArrayTest, LiteralThenCounterWithFormatter) {
  auto counter = ZPRToken::tokenWithCode("$$Counter", "Counter");
  counter->setFormatter("3");
  const Value::Array array{Value::string("Take_"), Value::object(counter)};
  EXPECT_THAT(tokenStringArray(array), ElementsAre("Take_", "$$Counter.3"));
  EXPECT_EQ(tokenString(array), "Take_$$Counter.3");
}

TEST(TokenArrayTest, TokenWithoutFormatterIsItsCode) {
  const Value::Array array{tokenValue("$$Timecode", "Timecode"), Value::string("-"),
                           tokenValue("$$Day", "Day")};
  EXPECT_THAT(tokenStringArray(array), ElementsAre("$$Timecode", "-", "$$Day.dd"));
  EXPECT_EQ(tokenString(array), "$$Timecode-$$Day.dd");
}

TEST(TokenArrayTest, StringsBecomeTokensOrLiterals) {
  const Value::Array array = arrayWithStringTokens(
      {"$$", "$$Day", "$$Day.dd", "$$Day#EEE", "$$Day#EEE.EEE", "Take", "$", ""});
  ASSERT_EQ(array.size(), 8u);

  const ZPRToken* bare = tokenAt(array, 0);
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(bare->codeName(), "$$");
  EXPECT_EQ(bare->displayName(), "");
  EXPECT_EQ(bare->formatter(), std::nullopt);

  const ZPRToken* day = tokenAt(array, 1);
  ASSERT_NE(day, nullptr);
  EXPECT_EQ(day->codeName(), "$$Day");
  EXPECT_EQ(day->displayName(), "Day");
  EXPECT_EQ(day->formatter(), "dd");

  const ZPRToken* dotted = tokenAt(array, 2);
  ASSERT_NE(dotted, nullptr);
  EXPECT_EQ(dotted->codeName(), "$$Day.dd");
  EXPECT_EQ(dotted->displayName(), "Day.dd");
  EXPECT_EQ(dotted->formatter(), std::nullopt);

  const ZPRToken* weekday = tokenAt(array, 3);
  ASSERT_NE(weekday, nullptr);
  EXPECT_EQ(weekday->codeName(), "$$Day#EEE");
  EXPECT_EQ(weekday->displayName(), "Day");
  EXPECT_EQ(weekday->formatter(), "EEE");

  const ZPRToken* weekdayDotted = tokenAt(array, 4);
  ASSERT_NE(weekdayDotted, nullptr);
  EXPECT_EQ(weekdayDotted->displayName(), "Day");
  EXPECT_EQ(weekdayDotted->formatter(), "EEE.EEE");

  EXPECT_EQ(array[5], Value::string("Take"));
  EXPECT_EQ(array[6], Value::string("$"));
  EXPECT_EQ(array[7], Value::string(""));
}

TEST(TokenArrayTest, FormatterIsWrittenAgainAfterTheCode) {
  // A code that already names its formatter gets it appended once more.
  const Value::Array array = arrayWithStringTokens({"$$Day#EEE"});
  EXPECT_THAT(tokenStringArray(array), ElementsAre("$$Day#EEE.EEE"));
}

TEST(TokenArrayTest, TextFormRoundTripOfPlainCodes) {
  const std::vector<std::string> texts{"Take_", "$$Timecode", "_", "$$SourceName"};
  EXPECT_EQ(tokenStringArray(arrayWithStringTokens(texts)), texts);
  EXPECT_TRUE(containsToken(arrayWithStringTokens(texts), ZPRSourceNameTokenKey));
}

}  // namespace
}  // namespace premoov
