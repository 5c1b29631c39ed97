#include "premoov/command_output.h"

#include <gtest/gtest.h>

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
  EXPECT_TRUE(printRefusalUnlessCreated(reply, out));
  EXPECT_EQ(out.str(), "");
}

TEST(CommandOutputTest, PrintsTheFailureWithItsGrowingFlag) {
  HeaderReply reply;
  reply.growing = false;
  reply.error = "Could not get max frame size";
  std::ostringstream out;
  EXPECT_FALSE(printRefusalUnlessCreated(reply, out));
  EXPECT_EQ(out.str(), "{\"error\":\"Could not get max frame size\",\"growing\":false}\n");
}

TEST(CommandOutputTest, PrintsTheMissingReplyWithoutGrowingFlag) {
  std::ostringstream out;
  EXPECT_FALSE(printRefusalUnlessCreated(
      Result<HeaderReply>(unexpected("the movie creator sent no reply")), out));
  EXPECT_EQ(out.str(), "{\"error\":\"the movie creator sent no reply\"}\n");
}

}  // namespace
}  // namespace premoov
