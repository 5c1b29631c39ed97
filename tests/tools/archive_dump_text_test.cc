#include "premoov/archive_dump_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace premoov {
namespace {

TEST(ArchiveDumpTextTest, QuotesAndEscapesText) {
  EXPECT_EQ(quotedText("take 7", 100), "\"take 7\"");
  EXPECT_EQ(quotedText("", 100), "\"\"");
  EXPECT_EQ(quotedText("a \"b\" \\c", 100), "\"a \\\"b\\\" \\\\c\"");
  EXPECT_EQ(quotedText("line\none\ttab\r", 100), "\"line\\none\\ttab\\r\"");
  EXPECT_EQ(quotedText(std::string_view("\0\x1f\x7f", 3), 100), "\"\\u0000\\u001f\\u007f\"");
  EXPECT_EQ(quotedText("caf\xC3\xA9", 100), "\"caf\xC3\xA9\"");  // UTF-8 as it is
}

TEST(ArchiveDumpTextTest, CutsLongTextAtACharacterBoundary) {
  EXPECT_EQ(quotedText("abcdef", 6), "\"abcdef\"");
  EXPECT_EQ(quotedText("abcdefg", 6), "\"abcdef...\" (7 bytes)");
  // "é" takes bytes 3 and 4: a cut after 4 bytes would split it, so 3 are shown.
  EXPECT_EQ(quotedText("caf\xC3\xA9s", 4), "\"caf...\" (6 bytes)");
}

TEST(ArchiveDumpTextTest, WritesDataAsHex) {
  const std::vector<uint8_t> bytes = {0x00, 0x0A, 0xFF, 0x7B};
  EXPECT_EQ(dataText(bytes, 64), "data (4 bytes) 000aff7b");
  EXPECT_EQ(dataText(bytes, 2), "data (4 bytes) 000a...");
  EXPECT_EQ(dataText({}, 64), "data (0 bytes)");
}

TEST(ArchiveDumpTextTest, RealsAlwaysReadAsReals) {
  EXPECT_EQ(realText(2.5), "2.5");
  EXPECT_EQ(realText(2.0), "2.0");
  EXPECT_EQ(realText(-0.1), "-0.1");
  EXPECT_EQ(realText(1e300), "1e+300");
  EXPECT_EQ(realText(731336829.25), "731336829.25");
  EXPECT_EQ(realText(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(realText(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(ArchiveDumpTextTest, DatesInUtc) {
  EXPECT_EQ(iso8601UtcOf(0), "2001-01-01T00:00:00Z");
  EXPECT_EQ(iso8601UtcOf(731336829.25), "2024-03-05T13:07:09.250Z");
  EXPECT_EQ(iso8601UtcOf(-978307200), "1970-01-01T00:00:00Z");
  EXPECT_EQ(iso8601UtcOf(-26481600), "2000-02-29T12:00:00Z");
  EXPECT_EQ(iso8601UtcOf(-1), "2000-12-31T23:59:59Z");
  EXPECT_EQ(iso8601UtcOf(-0.5), "2000-12-31T23:59:59.500Z");
  // Rounded to the millisecond, carrying into the next day.
  EXPECT_EQ(iso8601UtcOf(86399.9996), "2001-01-02T00:00:00Z");
}

TEST(ArchiveDumpTextTest, DatesOutsideTheYearsOneTo9999HaveNoText) {
  EXPECT_EQ(iso8601UtcOf(-63113904000.0), "0001-01-01T00:00:00Z");
  EXPECT_EQ(iso8601UtcOf(252423993599.0), "9999-12-31T23:59:59Z");
  EXPECT_EQ(iso8601UtcOf(-63113904001.0), std::nullopt);
  EXPECT_EQ(iso8601UtcOf(252423993600.0), std::nullopt);
  EXPECT_EQ(iso8601UtcOf(1e300), std::nullopt);
  EXPECT_EQ(iso8601UtcOf(-1e300), std::nullopt);
  EXPECT_EQ(iso8601UtcOf(std::numeric_limits<double>::quiet_NaN()), std::nullopt);
  EXPECT_EQ(iso8601UtcOf(std::numeric_limits<double>::infinity()), std::nullopt);
}

}  // namespace
}  // namespace premoov
