#include "requests/base64.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Base64Test, DecodesEveryPaddingLength) {
  EXPECT_THAT(decodeBase64("").value(), IsEmpty());
  EXPECT_THAT(decodeBase64("Zg==").value(), ElementsAre('f'));
  EXPECT_THAT(decodeBase64("Zm8=").value(), ElementsAre('f', 'o'));
  EXPECT_THAT(decodeBase64("Zm9v").value(), ElementsAre('f', 'o', 'o'));
  EXPECT_THAT(decodeBase64("Zm9vYmFy").value(), ElementsAre('f', 'o', 'o', 'b', 'a', 'r'));
}

TEST(Base64Test, DecodesTheWholeAlphabet) {
  // "+/" are 62 and 63: 111110 111111 111110 111111.
  EXPECT_THAT(decodeBase64("+/+/").value(), ElementsAre(0xFB, 0xFF, 0xBF));
  EXPECT_THAT(decodeBase64("AAAA").value(), ElementsAre(0x00, 0x00, 0x00));
  EXPECT_THAT(decodeBase64("////").value(), ElementsAre(0xFF, 0xFF, 0xFF));
  const auto all = decodeBase64("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
  ASSERT_TRUE(all.has_value());
  ASSERT_EQ(all->size(), 48u);
  EXPECT_EQ((*all)[0], 0x00);  // A B C D: 000000 000001 000010 000011
  EXPECT_EQ((*all)[1], 0x10);
  EXPECT_EQ((*all)[2], 0x83);
  EXPECT_EQ((*all)[45], 0xF3);  // 8 9 + /: 111100 111101 111110 111111
  EXPECT_EQ((*all)[46], 0xDF);
  EXPECT_EQ((*all)[47], 0xBF);
}

TEST(Base64Test, RefusesLengthsThatAreNoMultipleOfFour) {
  EXPECT_FALSE(decodeBase64("Zg="));
  EXPECT_FALSE(decodeBase64("Zg"));
  EXPECT_FALSE(decodeBase64("Zm9vY"));
}

TEST(Base64Test, RefusesCharactersOutsideTheAlphabet) {
  EXPECT_FALSE(decodeBase64("Zm9-"));  // the URL-safe alphabet is not accepted
  EXPECT_FALSE(decodeBase64("Zm9_"));
  EXPECT_FALSE(decodeBase64("Zm 9"));
  EXPECT_FALSE(decodeBase64("Zm9v\n"));
  EXPECT_FALSE(decodeBase64(std::string_view("Zm\0v", 4)));
  EXPECT_FALSE(decodeBase64("Zm9\xC3"));
}

TEST(Base64Test, RefusesMisplacedPadding) {
  EXPECT_FALSE(decodeBase64("===="));
  EXPECT_FALSE(decodeBase64("Z==="));
  EXPECT_FALSE(decodeBase64("=Zm9"));
  EXPECT_FALSE(decodeBase64("Zg=a"));
  EXPECT_FALSE(decodeBase64("Zg==Zg=="));
}

TEST(Base64Test, RefusesLeftOverBitsThatAreNotZero) {
  // 'h' is 33 = 100001: its last four bits would be dropped by the padding.
  EXPECT_FALSE(decodeBase64("Zh=="));
  // '9' is 61 = 111101: its last two bits would be dropped.
  EXPECT_FALSE(decodeBase64("Zm9="));
  EXPECT_TRUE(decodeBase64("Zm8="));
}

}  // namespace
}  // namespace premoov
