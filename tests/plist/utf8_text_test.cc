#include "plist/utf8_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace premoov {
namespace {

TEST(Utf8TextTest, SequenceLengthOfWellFormedAndBrokenText) {
  EXPECT_EQ(utf8SequenceLength(""), 0u);
  EXPECT_EQ(utf8SequenceLength("a"), 1u);
  EXPECT_EQ(utf8SequenceLength("\xC3\xA9"), 2u);          // é
  EXPECT_EQ(utf8SequenceLength("\xE2\x9C\x93"), 3u);      // ✓
  EXPECT_EQ(utf8SequenceLength("\xF0\x9F\x8E\xAC"), 4u);  // 🎬
  EXPECT_EQ(utf8SequenceLength("\xC3"), 0u);              // cut short
  EXPECT_EQ(utf8SequenceLength("\xC0\x80"), 0u);          // overlong NUL
  EXPECT_EQ(utf8SequenceLength("\xE0\x80\x80"), 0u);      // overlong
  EXPECT_EQ(utf8SequenceLength("\xED\xA0\x80"), 0u);      // surrogate
  EXPECT_EQ(utf8SequenceLength("\xF4\x90\x80\x80"), 0u);  // past U+10FFFF
  EXPECT_EQ(utf8SequenceLength("\x80"), 0u);              // continuation alone
}

TEST(Utf8TextTest, UnitsOfEveryPlaneAndReplacementOfBrokenBytes) {
  EXPECT_EQ(utf16Units(""), std::vector<uint16_t>{});
  EXPECT_EQ(utf16Units("a\xC3\xA9\xE2\x9C\x93"), (std::vector<uint16_t>{0x61, 0xE9, 0x2713}));
  EXPECT_EQ(utf16Units("\xF0\x9F\x8E\xAC"), (std::vector<uint16_t>{0xD83C, 0xDFAC}));
  EXPECT_EQ(utf16Units("x\xFFy\xC3"), (std::vector<uint16_t>{0x78, 0xFFFD, 0x79, 0xFFFD}));
  EXPECT_EQ(utf16Units(std::string("a\0b", 3)), (std::vector<uint16_t>{0x61, 0x00, 0x62}));
}

}  // namespace
}  // namespace premoov
