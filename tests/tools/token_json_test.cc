#include "premoov/token_json.h"

#include <gtest/gtest.h>

namespace premoov {
namespace {

TEST(TokenJsonTest, WritesTheThreeFieldsOfAToken) {
  const auto token = ZPRToken::tokenWithCode("$$Day", "Day");
  EXPECT_EQ(tokenJson(*token).dump(),
            R"({"codeName":"$$Day","displayName":"Day","formatter":"dd"})");
}

TEST(TokenJsonTest, WritesNullForFieldsATokenLacks) {
  ZPRToken token;
  EXPECT_EQ(tokenJson(token).dump(), R"({"codeName":null,"displayName":null,"formatter":null})");
  const auto timecode = ZPRToken::tokenWithCode("$$Timecode", "Timecode");
  EXPECT_EQ(tokenJson(*timecode).dump(),
            R"({"codeName":"$$Timecode","displayName":"Timecode","formatter":null})");
}

TEST(TokenJsonTest, WritesAKindWithAndWithoutMenu) {
  const TokenKind* year = findTokenKind("$$Year");
  ASSERT_NE(year, nullptr);
  EXPECT_EQ(tokenKindJson(*year).dump(),
            R"({"code":"$$Year","displayName":"Year","defaultFormatter":"yyyy","menu":[)"
            R"({"title":"16","formatter":"yy"},{"title":"2016","formatter":"yyyy"}]})");
  const TokenKind* dash = findTokenKind("$$Dash");
  ASSERT_NE(dash, nullptr);
  EXPECT_EQ(tokenKindJson(*dash).dump(),
            R"({"code":"$$Dash","displayName":"Dash","defaultFormatter":null,"menu":null})");
}

TEST(TokenJsonTest, WritesAMenu) {
  const std::vector<ZPRTokenMenuItem> menu = {{"1", "1"}, {"01", "2"}};
  EXPECT_EQ(tokenMenuJson(menu).dump(),
            R"([{"title":"1","formatter":"1"},{"title":"01","formatter":"2"}])");
  EXPECT_EQ(tokenMenuJson({}).dump(), "[]");
}

TEST(TokenJsonTest, TokenFromCodeShowsTheCodeWithoutItsPrefix) {
  const auto counter = tokenFromCode("$$Counter");
  EXPECT_EQ(counter->codeName(), "$$Counter");
  EXPECT_EQ(counter->displayName(), "Counter");
  EXPECT_EQ(counter->formatter(), "1");
  // A code with its formatter names its word itself.
  const auto day = tokenFromCode("$$Day#EEEE");
  EXPECT_EQ(day->displayName(), "Day");
  EXPECT_EQ(day->formatter(), "EEEE");
  // Without "$$" the code is a literal: shown as it is, no formatter.
  const auto literal = tokenFromCode("Day");
  EXPECT_EQ(literal->codeName(), "Day");
  EXPECT_EQ(literal->displayName(), "Day");
  EXPECT_EQ(literal->formatter(), std::nullopt);
}

}  // namespace
}  // namespace premoov
