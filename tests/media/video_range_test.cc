#include "media/video_range.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace premoov {
namespace {

RGBPixel grey(int level) {
  const auto l = static_cast<uint8_t>(level);
  return {l, l, l};
}

TEST(VideoRangeTest, GreyLevelsMapToVideoRangeRoundedToTheNearestCode) {
  EXPECT_EQ(lumaCode(grey(0), 8), 16);
  EXPECT_EQ(lumaCode(grey(0x7F), 8), 125);
  EXPECT_EQ(lumaCode(grey(255), 8), 235);
  EXPECT_EQ(lumaCode(grey(0), 10), 64);
  EXPECT_EQ(lumaCode(grey(0x7F), 10), 500);
  EXPECT_EQ(lumaCode(grey(255), 10), 940);
  // Every level, against the integer form of the rounding: 16 + floor((219 L + 127) / 255).
  // The fraction never falls on one half (219 L / 255 has an odd denominator).
  for (int level = 0; level < 256; ++level) {
    EXPECT_EQ(lumaCode(grey(level), 8), 16 + (219 * level + 127) / 255) << level;
    EXPECT_EQ(lumaCode(grey(level), 10), 64 + (876 * level + 127) / 255) << level;
  }
}

TEST(VideoRangeTest, GreyHasItsChromaAtTheMidCode) {
  for (int level : {0, 1, 0x30, 0x7F, 200, 255}) {
    const ChromaCodes eight = chromaCodes(grey(level), grey(level), 8);
    EXPECT_EQ(eight.cb, 128);
    EXPECT_EQ(eight.cr, 128);
    const ChromaCodes ten = chromaCodes(grey(level), grey(255 - level), 10);
    EXPECT_EQ(ten.cb, 512);
    EXPECT_EQ(ten.cr, 512);
  }
}

TEST(VideoRangeTest, AnyTwoGreyPixelsHaveNoColourDifference) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const ChromaCodes codes = chromaCodes(grey(first), grey(second), 8);
      ASSERT_TRUE(codes.cb == 128 && codes.cr == 128) << first << " " << second;
    }
  }
}

TEST(VideoRangeTest, ReadingBackGivesTheNearestGreyLevelClampedToItsRange) {
  EXPECT_EQ(rgbFromVideoRange(16, 128, 128, 8), grey(0));
  EXPECT_EQ(rgbFromVideoRange(125, 128, 128, 8), grey(0x7F));
  EXPECT_EQ(rgbFromVideoRange(235, 128, 128, 8), grey(255));
  EXPECT_EQ(rgbFromVideoRange(4, 128, 128, 8), grey(0));
  EXPECT_EQ(rgbFromVideoRange(250, 128, 128, 8), grey(255));
  EXPECT_EQ(rgbFromVideoRange(500, 512, 512, 10), grey(0x7F));
  // Every code against round(255 (Y - 16) / 219) in integers (no code falls half-way).
  for (int code = 16; code <= 235; ++code) {
    EXPECT_EQ(rgbFromVideoRange(static_cast<uint16_t>(code), 128, 128, 8),
              grey((255 * (code - 16) + 109) / 219))
        << code;
  }
}

TEST(VideoRangeTest, TenBitsGiveEveryGreyLevelBackExactly) {
  for (int level = 0; level < 256; ++level) {
    EXPECT_EQ(rgbFromVideoRange(lumaCode(grey(level), 10), 512, 512, 10), grey(level)) << level;
  }
}

TEST(VideoRangeTest, EightBitsGiveGreyLevelsBackWithinOneStep) {
  for (int level = 0; level < 256; ++level) {
    const RGBPixel back = rgbFromVideoRange(lumaCode(grey(level), 8), 128, 128, 8);
    EXPECT_LE(std::abs(back.g - level), 1) << level;
  }
}

TEST(VideoRangeTest, ColoursFollowTheStandardDefinitionMatrix) {
  // Full red, green and blue in 8-bit video range (BT.601).
  const RGBPixel red{255, 0, 0}, green{0, 255, 0}, blue{0, 0, 255};
  EXPECT_EQ(lumaCode(red, 8), 81);
  EXPECT_EQ(chromaCodes(red, red, 8).cb, 90);
  EXPECT_EQ(chromaCodes(red, red, 8).cr, 240);
  EXPECT_EQ(lumaCode(green, 8), 145);
  EXPECT_EQ(chromaCodes(green, green, 8).cb, 54);
  EXPECT_EQ(chromaCodes(green, green, 8).cr, 34);
  EXPECT_EQ(lumaCode(blue, 8), 41);
  EXPECT_EQ(chromaCodes(blue, blue, 8).cb, 240);
  EXPECT_EQ(chromaCodes(blue, blue, 8).cr, 110);
  // Back again within the two steps that quantising to video range costs.
  for (const RGBPixel& colour : {red, green, blue}) {
    const ChromaCodes chroma = chromaCodes(colour, colour, 8);
    const RGBPixel back = rgbFromVideoRange(lumaCode(colour, 8), chroma.cb, chroma.cr, 8);
    EXPECT_LE(std::abs(back.r - colour.r), 2);
    EXPECT_LE(std::abs(back.g - colour.g), 2);
    EXPECT_LE(std::abs(back.b - colour.b), 2);
  }
}

}  // namespace
}  // namespace premoov
