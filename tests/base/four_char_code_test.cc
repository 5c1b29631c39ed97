#include "base/four_char_code.h"

#include <gtest/gtest.h>

#include <set>

namespace premoov {
namespace {

TEST(FourCCTest, LiteralPacksMostSignificantFirst) {
  constexpr FourCC vide("vide");
  static_assert(vide.value == 0x76696465u);
  EXPECT_EQ(vide.value, 0x76696465u);
  EXPECT_EQ(FourCC("c708").value, 0x63373038u);
  EXPECT_EQ(FourCC("mp4 ").value, 0x6D703420u);
}

TEST(FourCCTest, DefaultIsZero) {
  EXPECT_EQ(FourCC().value, 0u);
  EXPECT_EQ(FourCC(), FourCC(0u));
}

TEST(FourCCTest, ComparesByValue) {
  EXPECT_EQ(FourCC("soun"), FourCC(0x736F756Eu));
  EXPECT_NE(FourCC("soun"), FourCC("vide"));
  EXPECT_LT(FourCC("soun"), FourCC("vide"));
  const std::set<FourCC> codes{FourCC("vide"), FourCC("soun"), FourCC("vide")};
  EXPECT_EQ(codes.size(), 2u);
}

TEST(FourCCTest, ToStringOfPrintableCodes) {
  EXPECT_EQ(FourCC("moov").toString(), "moov");
  EXPECT_EQ(FourCC("mp4 ").toString(), "mp4 ");  // space is printable
  EXPECT_EQ(FourCC("~!09").toString(), "~!09");
}

// A code with any byte outside printable ASCII (0x20..0x7E) prints as hex, all of it.
TEST(FourCCTest, ToStringOfNonPrintableCodesIsHex) {
  EXPECT_EQ(FourCC(0u).toString(), "0x00000000");
  EXPECT_EQ(FourCC(0x6D6F6F00u).toString(), "0x6d6f6f00");  // trailing NUL
  EXPECT_EQ(FourCC(0x1F6F6F76u).toString(), "0x1f6f6f76");  // control character first
  EXPECT_EQ(FourCC(0x6D6F7F76u).toString(), "0x6d6f7f76");  // DEL
  EXPECT_EQ(FourCC(0xA9646179u).toString(), "0xa9646179");  // high byte (Latin-1 copyright)
  EXPECT_EQ(FourCC(0xFFFFFFFFu).toString(), "0xffffffff");
}

TEST(FourCCTest, FromStringTakesExactlyFourCharacters) {
  EXPECT_EQ(FourCC::fromString("trak"), FourCC("trak"));
  EXPECT_EQ(FourCC::fromString("mp4 "), FourCC("mp4 "));
  EXPECT_FALSE(FourCC::fromString("").has_value());
  EXPECT_FALSE(FourCC::fromString("abc").has_value());
  EXPECT_FALSE(FourCC::fromString("abcde").has_value());
  EXPECT_FALSE(FourCC::fromString("0x6d6f6f00").has_value());
}

TEST(FourCCTest, FromStringKeepsHighBytes) {
  const auto code =
      FourCC::fromString(std::string_view("\xA9"
                                          "day",
                                          4));
  ASSERT_TRUE(code.has_value());
  EXPECT_EQ(code->value, 0xA9646179u);
}

TEST(FourCCTest, RoundTripsThroughText) {
  for (const FourCC code : {FourCC("vide"), FourCC("soun"), FourCC("clcp"), FourCC("tmcd")}) {
    EXPECT_EQ(FourCC::fromString(code.toString()), code) << code.toString();
  }
}

}  // namespace
}  // namespace premoov
