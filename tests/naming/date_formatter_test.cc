#include "naming/date_formatter.h"

#include <gtest/gtest.h>
#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <ctime>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace premoov {
namespace {

// What a formatter of its own, made from the same process defaults, writes for `unixMilliseconds`.
std::string independentlyFormatted(double unixMilliseconds) {
  std::unique_ptr<icu::DateFormat> formatter(icu::DateFormat::createDateTimeInstance(
      icu::DateFormat::kLong, icu::DateFormat::kMedium, icu::Locale::getDefault()));
  if (!formatter) return "no formatter";
  formatter->adoptTimeZone(icu::TimeZone::createDefault());
  icu::UnicodeString text;
  formatter->format(unixMilliseconds, text);
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

TEST(DateFormatterTest, ReferenceDateIsTheStartOf2001) {
  std::tm start{};
  start.tm_year = 2001 - 1900;
  start.tm_mon = 0;
  start.tm_mday = 1;
  EXPECT_EQ(static_cast<double>(timegm(&start)), kReferenceDateUnixSeconds);
}

TEST(DateFormatterTest, CountsFromTheReferenceDate) {
  EXPECT_EQ(formatLongDateMediumTime(0), independentlyFormatted(978307200000.0));
  // 2024-03-05 14:07:09 UTC.
  EXPECT_EQ(formatLongDateMediumTime(1709647629.0 - 978307200.0),
            independentlyFormatted(1709647629000.0));
  EXPECT_NE(formatLongDateMediumTime(0), formatLongDateMediumTime(86400));
}

TEST(DateFormatterTest, WritesTheYear) {
  const std::optional<std::string> text = formatLongDateMediumTime(1709647629.0 - 978307200.0);
  ASSERT_TRUE(text.has_value());
  EXPECT_NE(text->find("2024"), std::string::npos) << *text;
}

TEST(DateFormatterTest, SharedFormatterServesManyThreads) {
  const std::optional<std::string> expected = formatLongDateMediumTime(12345.0);
  ASSERT_TRUE(expected.has_value());
  std::vector<int> mismatches(4, 0);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < mismatches.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        if (formatLongDateMediumTime(12345.0) != expected) ++mismatches[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int count : mismatches) EXPECT_EQ(count, 0);
}

TEST(DateFormatterTest, OutOfRangeDatesStillGiveText) {
  for (double seconds :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), 1e300, -1e300}) {
    SCOPED_TRACE(seconds);
    EXPECT_TRUE(formatLongDateMediumTime(seconds).has_value());
  }
}

}  // namespace
}  // namespace premoov
