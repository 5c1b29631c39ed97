#include "base/result.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace premoov {
namespace {

Result<int> halve(int v) {
  if (v % 2 != 0) return unexpected("odd number");
  return v / 2;
}

TEST(ResultTest, HoldsAValue) {
  const Result<int> r = halve(8);
  ASSERT_TRUE(r.has_value());
  EXPECT_TRUE(static_cast<bool>(r));
  EXPECT_EQ(r.value(), 4);
  EXPECT_EQ(*r, 4);
}

TEST(ResultTest, HoldsTheMessageOfAFailure) {
  const Result<int> r = halve(7);
  EXPECT_FALSE(r.has_value());
  EXPECT_FALSE(static_cast<bool>(r));
  EXPECT_EQ(r.error(), "odd number");
}

TEST(ResultTest, ValueIsMutableAndReachableByArrow) {
  Result<std::vector<int>> r(std::vector<int>{1, 2});
  r->push_back(3);
  (*r)[0] = 9;
  EXPECT_EQ(r->size(), 3u);
  EXPECT_EQ(r.value(), (std::vector<int>{9, 2, 3}));
}

// A string value and a string message must not be confused.
TEST(ResultTest, StringValueIsAValueNotAFailure) {
  const Result<std::string> ok(std::string("fine"));
  const Result<std::string> failed(unexpected("broken"));
  ASSERT_TRUE(ok.has_value());
  EXPECT_EQ(*ok, "fine");
  ASSERT_FALSE(failed.has_value());
  EXPECT_EQ(failed.error(), "broken");
}

}  // namespace
}  // namespace premoov
