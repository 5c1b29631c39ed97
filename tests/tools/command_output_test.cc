#include "premoov/command_output.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>

namespace premoov {
namespace {

TEST(CommandOutputTest, KeepsTheOrderOfKeys) {
  OrderedJson json;
  json["z"] = 1;
  json["a"] = 2;
  EXPECT_EQ(jsonText(json), R"({"z":1,"a":2})");
  EXPECT_EQ(jsonText(json, 1), "{\n \"z\": 1,\n \"a\": 2\n}");
}

TEST(CommandOutputTest, ReplacesBytesThatAreNoUtf8) {
  OrderedJson json;
  json["path"] = std::string("/tmp/\xFF.mov");
  EXPECT_EQ(jsonText(json), "{\"path\":\"/tmp/\xEF\xBF\xBD.mov\"}");
}

TEST(CommandOutputTest, PrintsNothingForACreatedHeader) {
  HeaderReply reply;
  reply.created = true;
  std::ostringstream out;
  EXPECT_TRUE(printRefusalUnlessCreated(reply, OutputStyle::kJson, out));
  EXPECT_EQ(out.str(), "");
}

TEST(CommandOutputTest, PrintsTheFailureWithItsGrowingFlag) {
  HeaderReply reply;
  reply.growing = false;
  reply.error = "Could not get max frame size";
  std::ostringstream out;
  EXPECT_FALSE(printRefusalUnlessCreated(reply, OutputStyle::kJson, out));
  EXPECT_EQ(out.str(), "{\"error\":\"Could not get max frame size\",\"growing\":false}\n");
}

TEST(CommandOutputTest, PrintsTheMissingReplyWithoutGrowingFlag) {
  std::ostringstream out;
  EXPECT_FALSE(printRefusalUnlessCreated(
      Result<HeaderReply>(unexpected("the movie creator sent no reply")), OutputStyle::kJson, out));
  EXPECT_EQ(out.str(), "{\"error\":\"the movie creator sent no reply\"}\n");
}

TEST(CommandOutputTest, NumbersAndSizesReadAsPeopleWriteThem) {
  EXPECT_EQ(groupedNumber(0), "0");
  EXPECT_EQ(groupedNumber(999), "999");
  EXPECT_EQ(groupedNumber(1000), "1,000");
  EXPECT_EQ(groupedNumber(117733183504), "117,733,183,504");
  EXPECT_EQ(groupedNumber(UINT64_MAX), "18,446,744,073,709,551,615");
  EXPECT_EQ(byteSizeText(1), "1 byte");
  EXPECT_EQ(byteSizeText(999), "999 bytes");
  EXPECT_EQ(byteSizeText(1000), "1.0 kB");
  EXPECT_EQ(byteSizeText(4'198'400), "4.2 MB");
  EXPECT_EQ(byteSizeText(999'960), "1.0 MB");
  EXPECT_EQ(byteSizeText(117733183504), "117.7 GB");
  EXPECT_EQ(byteSizeText(UINT64_MAX), "18.4 EB");
}

TEST(CommandOutputTest, TextFromAFileCannotDriveTheTerminal) {
  EXPECT_EQ(visibleText("A001"), "A001");
  EXPECT_EQ(visibleText("caf\u00e9"), "caf\u00e9");  // UTF-8 stays
  EXPECT_EQ(visibleText("\x1b[2Jreel\n"), "\\x1B[2Jreel\\x0A");
  EXPECT_EQ(visibleText(std::string("a\0b\x7f", 4)), "a\\x00b\\x7F");
}

}  // namespace
}  // namespace premoov
