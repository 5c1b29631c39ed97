#include "captions/cea608_pair_names.h"

#include <gtest/gtest.h>

namespace premoov {
namespace {

std::string nameOf(uint8_t first, uint8_t second) { return nameCea608Pair(first, second).text; }

TEST(Cea608PairNamesTest, NamesTheMiscellaneousControlCodes) {
  EXPECT_EQ(nameOf(0x94, 0x20), "RCL");
  EXPECT_EQ(nameOf(0x94, 0x2F), "EOC");
  EXPECT_EQ(nameOf(0x94, 0x25), "RU2");
  EXPECT_EQ(nameOf(0x94, 0xAD), "CR");
  EXPECT_EQ(nameOf(0x94, 0x2C), "EDM");
  EXPECT_EQ(nameOf(0x15, 0x2C), "EDM");  // the field-2 form
  EXPECT_EQ(nameCea608Pair(0x94, 0x2F).channel, 1);
  EXPECT_EQ(nameCea608Pair(0x1C, 0x2F).channel, 2);
  EXPECT_EQ(nameOf(0x97, 0xA2), "TO2");
}

TEST(Cea608PairNamesTest, NamesPreambleAddressCodes) {
  EXPECT_EQ(nameOf(0x94, 0x70), "PAC row 15 col 0");
  EXPECT_EQ(nameOf(0x91, 0xD0), "PAC row 1 col 0");
  EXPECT_EQ(nameOf(0x10, 0x52), "PAC row 11 col 4");
  EXPECT_EQ(nameOf(0x13, 0x4A), "PAC row 12 yellow");
  EXPECT_EQ(nameOf(0x97, 0x61), "PAC row 10 white underline");
  EXPECT_EQ(nameOf(0x94, 0xCE), "PAC row 14 italics");
  EXPECT_EQ(nameOf(0x10, 0x70), "unknown");  // row 11 has no second form
}

TEST(Cea608PairNamesTest, NamesCharactersThroughTheCharacterMaps) {
  EXPECT_EQ(nameOf(0xC1, 0xC2), "\"AB\"");
  EXPECT_EQ(nameOf(0x2A, 0x80), "\"\xC3\xA1\"");  // á alone, the second byte fills the pair
  EXPECT_EQ(nameOf(0x91, 0x37), "special \xE2\x99\xAB");
  EXPECT_EQ(nameOf(0x92, 0xA1), "ext \xC3\x89");  // É
  EXPECT_EQ(nameOf(0x13, 0x34), "ext \xC3\x9F");  // ß
  EXPECT_EQ(nameOf(0x91, 0xAE), "mid-row italics");
  EXPECT_EQ(nameOf(0x91, 0x20), "mid-row white");
  EXPECT_EQ(nameOf(0x80, 0x80), "null");
  EXPECT_EQ(nameCea608Pair(0xC1, 0xC2).channel, 0);
}

TEST(Cea608PairNamesTest, ChecksParityAndNamesTheCodeAnyway) {
  const Cea608PairName name = nameCea608Pair(0x14, 0x2C);
  EXPECT_FALSE(name.parityOk);
  EXPECT_EQ(name.text, "EDM");
  EXPECT_TRUE(nameCea608Pair(0x94, 0x2C).parityOk);
  EXPECT_EQ(nameOf(0x01, 0x03), "XDS 0x01 0x03");
}

}  // namespace
}  // namespace premoov
