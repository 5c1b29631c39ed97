#include "naming/token_kinds.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "naming/token.h"

namespace premoov {
namespace {

TEST(TokenKindsTest, ConstantsHoldTheStoredCodes) {
  EXPECT_EQ(ZPRTimecodeTokenKey, "$$Timecode");
  EXPECT_EQ(ZPRDayOfMonthTokenKey, "$$Day");
  EXPECT_EQ(ZPRMonthTokenKey, "$$Month");
  EXPECT_EQ(ZPRYearTokenKey, "$$Year");
  EXPECT_EQ(ZPRHourTokenKey, "$$Hour");
  EXPECT_EQ(ZPRMinuteTokenKey, "$$Minute");
  EXPECT_EQ(ZPRSecondTokenKey, "$$Second");
  EXPECT_EQ(ZPRSourceNameTokenKey, "$$SourceName");
  EXPECT_EQ(ZPRDestinationNameTokenKey, "$$DestinationName");
  EXPECT_EQ(ZPRRecordingNameTokenKey, "$$RecordingName");
  EXPECT_EQ(ZPRWeekTokenKey, "$$Week");
  EXPECT_EQ(ZPRWhiteSpaceTokenKey, "$$WhiteSpace");
  EXPECT_EQ(ZPRDashTokenKey, "$$Dash");
  EXPECT_EQ(ZPRCounterTokenKey, "$$Counter");
  EXPECT_EQ(ZPRAVPresetNameTokenKey, "$$AVPresetName");
  EXPECT_EQ(ZPRCodecNameTokenKey, "$$CodecName");
}

TEST(TokenKindsTest, ListsEveryKindInDeclarationOrder) {
  struct Expected {
    const char* code;
    const char* word;
    std::optional<std::string_view> defaultFormatter;
    bool hasMenu;
  };
  const std::vector<Expected> expected{
      {"$$Timecode", "Timecode", std::nullopt, false},
      {"$$Day", "Day", "dd", true},
      {"$$Month", "Month", "MM", true},
      {"$$Year", "Year", "yyyy", true},
      {"$$Hour", "Hour", "HH", false},
      {"$$Minute", "Minute", "mm", false},
      {"$$Second", "Second", "ss", false},
      {"$$SourceName", "SourceName", std::nullopt, false},
      {"$$DestinationName", "DestinationName", std::nullopt, false},
      {"$$RecordingName", "RecordingName", std::nullopt, false},
      {"$$Week", "Week", "ww", false},
      {"$$WhiteSpace", "WhiteSpace", std::nullopt, false},
      {"$$Dash", "Dash", std::nullopt, false},
      {"$$Counter", "Counter", "1", true},
      {"$$AVPresetName", "AVPresetName", std::nullopt, false},
      {"$$CodecName", "CodecName", std::nullopt, false},
  };
  const auto kinds = tokenKinds();
  ASSERT_EQ(kinds.size(), expected.size());
  for (size_t i = 0; i < kinds.size(); ++i) {
    SCOPED_TRACE(expected[i].code);
    EXPECT_EQ(kinds[i].code, expected[i].code);
    EXPECT_EQ(kinds[i].word, expected[i].word);
    EXPECT_EQ(kinds[i].defaultFormatter, expected[i].defaultFormatter);
    EXPECT_EQ(kinds[i].hasMenu(), expected[i].hasMenu);
  }
}

TEST(TokenKindsTest, FindsAKindByItsWholeCodeOnly) {
  const TokenKind* day = findTokenKind("$$Day");
  ASSERT_NE(day, nullptr);
  EXPECT_EQ(day->word, "Day");
  const TokenKind* counter = findTokenKind(ZPRCounterTokenKey);
  ASSERT_NE(counter, nullptr);
  EXPECT_EQ(counter->defaultFormatter, "1");
  EXPECT_EQ(findTokenKind("$$Day#EEE"), nullptr);
  EXPECT_EQ(findTokenKind("$$day"), nullptr);
  EXPECT_EQ(findTokenKind("Day"), nullptr);
  EXPECT_EQ(findTokenKind("$$"), nullptr);
  EXPECT_EQ(findTokenKind(""), nullptr);
}

TEST(TokenKindsTest, MenusOfferTheirFormattersInOrder) {
  const TokenKind* year = findTokenKind("$$Year");
  ASSERT_NE(year, nullptr);
  ASSERT_EQ(year->menu.size(), 2u);
  EXPECT_EQ(year->menu[0].title, "16");
  EXPECT_EQ(year->menu[0].representedObject, "yy");
  EXPECT_EQ(year->menu[1].title, "2016");
  EXPECT_EQ(year->menu[1].representedObject, "yyyy");
  const TokenKind* hour = findTokenKind("$$Hour");
  ASSERT_NE(hour, nullptr);
  EXPECT_TRUE(hour->menu.empty());
}

}  // namespace
}  // namespace premoov
