#include "base/fixed_point.h"

#include <gtest/gtest.h>

namespace premoov {
namespace {

TEST(FixedPointTest, OneIsTheUnit) {
  EXPECT_EQ(kFixed1, 0x00010000);
  EXPECT_EQ(kShortFixed1, 0x0100);
  EXPECT_EQ(IntToFixed(1), kFixed1);
}

TEST(FixedPointTest, IntToFixedShiftsIntoTheHighHalf) {
  static_assert(IntToFixed(0) == 0);
  EXPECT_EQ(IntToFixed(1920), 0x07800000);
  EXPECT_EQ(IntToFixed(-1), static_cast<Fixed>(0xFFFF0000u));
  EXPECT_EQ(IntToFixed(-1), -65536);
  // Beyond 16 bits the integer part wraps, as the 16.16 field does.
  EXPECT_EQ(IntToFixed(0x18000), static_cast<Fixed>(0x80000000u));
}

TEST(FixedPointTest, FixedToIntDropsTheFraction) {
  EXPECT_EQ(FixedToInt(IntToFixed(1080)), 1080);
  EXPECT_EQ(FixedToInt(0x00018000), 1);    // 1.5
  EXPECT_EQ(FixedToInt(-65536), -1);       // -1.0
  EXPECT_EQ(FixedToInt(-0x00008000), -1);  // -0.5 rounds toward negative infinity
  EXPECT_EQ(FixedToInt(IntToFixed(-32768)), -32768);
}

}  // namespace
}  // namespace premoov
