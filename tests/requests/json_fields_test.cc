#include "requests/json_fields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace premoov {
namespace {

using ::testing::ElementsAre;

TEST(JsonFieldsTest, BuildsKeyPaths) {
  EXPECT_EQ(memberPath("", "path"), "path");
  EXPECT_EQ(memberPath("settings", "asbds"), "settings.asbds");
  EXPECT_EQ(elementPath("settings.asbds", 3), "settings.asbds[3]");
  EXPECT_EQ(keyError("settings.matrix", "must be a number").message,
            "\"settings.matrix\" must be a number");
}

TEST(JsonFieldsTest, FindsMembers) {
  const Json object = Json::parse(R"({"a": 1})");
  ASSERT_NE(memberOf(object, "a"), nullptr);
  EXPECT_EQ(*memberOf(object, "a"), 1);
  EXPECT_EQ(memberOf(object, "b"), nullptr);
  EXPECT_EQ(memberOf(Json::parse("[1]"), "a"), nullptr);

  auto present = requiredMemberOf(object, "top", "a");
  ASSERT_TRUE(present) << present.error();
  EXPECT_EQ(**present, 1);
  auto absent = requiredMemberOf(object, "top", "b");
  ASSERT_FALSE(absent);
  EXPECT_EQ(absent.error(), "\"top.b\" is missing");
}

TEST(JsonFieldsTest, ReadsIntegersWithinTheirRange) {
  EXPECT_EQ(*integerIn(Json(-5), "k", -10, 10), -5);
  EXPECT_EQ(*integerIn(Json(10u), "k", -10, 10), 10);
  EXPECT_EQ(*unsigned32(Json(4294967295u), "k"), 4294967295u);
  EXPECT_EQ(*integerIn(Json::parse("9223372036854775807"), "k", INT64_MIN, INT64_MAX), INT64_MAX);
  EXPECT_EQ(*integerIn(Json::parse("-9223372036854775808"), "k", INT64_MIN, INT64_MAX), INT64_MIN);
}

TEST(JsonFieldsTest, RefusesIntegersOutOfRangeAndOtherKinds) {
  const std::string uint32Text = "\"k\" must be an integer from 0 to 4294967295";
  EXPECT_EQ(unsigned32(Json(4294967296u), "k").error(), uint32Text);
  EXPECT_EQ(unsigned32(Json(-1), "k").error(), uint32Text);
  EXPECT_EQ(unsigned32(Json(1.5), "k").error(), uint32Text);
  EXPECT_EQ(unsigned32(Json(1.0), "k").error(), uint32Text);
  EXPECT_EQ(unsigned32(Json("1"), "k").error(), uint32Text);
  EXPECT_EQ(unsigned32(Json(true), "k").error(), uint32Text);
  EXPECT_EQ(unsigned32(Json(nullptr), "k").error(), uint32Text);
  EXPECT_EQ(integerIn(Json::parse("18446744073709551615"), "k", INT64_MIN, INT64_MAX).error(),
            "\"k\" must be an integer from -9223372036854775808 to 9223372036854775807");
}

TEST(JsonFieldsTest, ReadsNumbersBooleansAndStrings) {
  EXPECT_EQ(*numberOf(Json(48000), "k"), 48000.0);
  EXPECT_EQ(*numberOf(Json(44100.5), "k"), 44100.5);
  EXPECT_EQ(numberOf(Json("48000"), "k").error(), "\"k\" must be a number");
  EXPECT_EQ(numberOf(Json(std::numeric_limits<double>::infinity()), "k").error(),
            "\"k\" must be a number");

  EXPECT_TRUE(*booleanOf(Json(true), "k"));
  EXPECT_FALSE(*booleanOf(Json(false), "k"));
  EXPECT_EQ(booleanOf(Json(1), "k").error(), "\"k\" must be true or false");

  EXPECT_EQ(*stringOf(Json("A001"), "k"), "A001");
  EXPECT_EQ(stringOf(Json(1), "k").error(), "\"k\" must be a string");
}

TEST(JsonFieldsTest, ReadsFourCharacterCodesAsTextOrInteger) {
  EXPECT_EQ(*fourCharacterCodeOf(Json("apch"), "k"), 0x61706368u);
  EXPECT_EQ(*fourCharacterCodeOf(Json("2vuy"), "k"), 0x32767579u);
  EXPECT_EQ(*fourCharacterCodeOf(Json("qt  "), "k"), 0x71742020u);
  EXPECT_EQ(*fourCharacterCodeOf(Json(0x76323130), "k"), 0x76323130u);

  const std::string text =
      "\"k\" must be a four-character string of printable ASCII or an integer from 0 to "
      "4294967295";
  EXPECT_EQ(fourCharacterCodeOf(Json("apc"), "k").error(), text);
  EXPECT_EQ(fourCharacterCodeOf(Json("apchx"), "k").error(), text);
  EXPECT_EQ(fourCharacterCodeOf(Json("ap\tc"), "k").error(), text);
  EXPECT_EQ(fourCharacterCodeOf(Json("\xC3\xA9pc"), "k").error(), text);  // "épc": 4 bytes
  EXPECT_EQ(fourCharacterCodeOf(Json(-1), "k").error(), text);
  EXPECT_EQ(fourCharacterCodeOf(Json(4294967296u), "k").error(), text);
  EXPECT_EQ(fourCharacterCodeOf(Json(1.5), "k").error(), text);
  EXPECT_EQ(fourCharacterCodeOf(Json::array(), "k").error(), text);
}

TEST(JsonFieldsTest, ReadsDataWrittenInBase64) {
  const Json data = Json::parse(R"({"base64": "AAEC/w=="})");
  EXPECT_TRUE(isDataObject(data));
  EXPECT_THAT(*dataOf(data, "k"), ElementsAre(0x00, 0x01, 0x02, 0xFF));
  EXPECT_TRUE(dataOf(Json::parse(R"({"base64": ""})"), "k")->empty());

  EXPECT_FALSE(isDataObject(Json::parse(R"({"data": "AA=="})")));
  EXPECT_EQ(dataOf(Json::parse(R"({"data": "AA=="})"), "k").error(),
            "\"k\" must be data written {\"base64\": \"...\"}");
  EXPECT_EQ(dataOf(Json("AA=="), "k").error(), "\"k\" must be data written {\"base64\": \"...\"}");
  EXPECT_EQ(dataOf(Json::parse(R"({"base64": 12})"), "k").error(), "\"k.base64\" must be a string");
  EXPECT_EQ(dataOf(Json::parse(R"({"base64": "AA="})"), "k").error(),
            "\"k.base64\" is not valid base64");
}

TEST(JsonFieldsTest, ReadsTimesWithDefaultFlagsAndEpoch) {
  auto time = cmTimeOf(Json::parse(R"({"value": 1001, "timescale": 30000})"), "k");
  ASSERT_TRUE(time) << time.error();
  EXPECT_EQ(time->value, 1001);
  EXPECT_EQ(time->timescale, 30000);
  EXPECT_EQ(time->flags, 1u);  // valid
  EXPECT_EQ(time->epoch, 0);

  auto dictionary = cmTimeDictionaryOf(Json::parse(R"({"value": 5, "timescale": 1})"), "k");
  ASSERT_TRUE(dictionary) << dictionary.error();
  EXPECT_EQ(*dictionary, CMTimeCopyAsDictionary(CMTimeMake(5, 1)));
}

TEST(JsonFieldsTest, ReadsTimesWithGivenFlagsAndEpoch) {
  auto time = cmTimeOf(
      Json::parse(
          R"({"value": -7, "timescale": 2147483647, "flags": 3, "epoch": -9223372036854775808})"),
      "k");
  ASSERT_TRUE(time) << time.error();
  EXPECT_EQ(time->value, -7);
  EXPECT_EQ(time->timescale, 2147483647);
  EXPECT_EQ(time->flags, 3u);
  EXPECT_EQ(time->epoch, INT64_MIN);

  // Flags 0 make an invalid time, kept as such: the movie creator decides what it means.
  auto invalid = cmTimeOf(Json::parse(R"({"value": 1, "timescale": 25, "flags": 0})"), "k");
  ASSERT_TRUE(invalid) << invalid.error();
  EXPECT_FALSE(invalid->isValid());
}

TEST(JsonFieldsTest, RefusesMalformedTimes) {
  const std::string shape =
      "\"d\" must be a time {\"value\": integer, \"timescale\": integer, optional \"flags\", "
      "\"epoch\"}";
  EXPECT_EQ(cmTimeOf(Json(5), "d").error(), shape);
  EXPECT_EQ(cmTimeOf(Json::parse("[1, 25]"), "d").error(), shape);
  EXPECT_EQ(cmTimeOf(Json::parse(R"({"timescale": 25})"), "d").error(), "\"d.value\" is missing");
  EXPECT_EQ(cmTimeOf(Json::parse(R"({"value": 1})"), "d").error(), "\"d.timescale\" is missing");
  EXPECT_EQ(cmTimeOf(Json::parse(R"({"value": 1.5, "timescale": 25})"), "d").error(),
            "\"d.value\" must be an integer from -9223372036854775808 to 9223372036854775807");
  EXPECT_EQ(cmTimeOf(Json::parse(R"({"value": 1, "timescale": 2147483648})"), "d").error(),
            "\"d.timescale\" must be an integer from -2147483648 to 2147483647");
  EXPECT_EQ(cmTimeOf(Json::parse(R"({"value": 1, "timescale": 25, "flags": -1})"), "d").error(),
            "\"d.flags\" must be an integer from 0 to 4294967295");
  EXPECT_EQ(cmTimeOf(Json::parse(R"({"value": 1, "timescale": 25, "epoch": "0"})"), "d").error(),
            "\"d.epoch\" must be an integer from -9223372036854775808 to 9223372036854775807");
}

}  // namespace
}  // namespace premoov
