#include "requests/request_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "base/four_char_code.h"
#include "media/audio_types.h"
#include "support/recording_client.h"
#include "support/test_files.h"

namespace premoov {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* kMinimal = R"({
  "path": "/tmp/a.mov", "newFile": true, "blockSize": 4096,
  "duration": {"value": 75075, "timescale": 30000},
  "settings": {"videoCodec": "v210", "videoDimensions": [1280, 720]}})";

std::string errorOf(const std::string& text) {
  auto request = parseRequest(text, "x.json");
  return request ? "(no error)" : request.error();
}

// kMinimal with `key` replaced by `json`, or removed when `json` is empty.
std::string withMember(const std::string& key, const std::string& json) {
  auto object = nlohmann::json::parse(kMinimal);
  if (json.empty()) {
    object.erase(key);
  } else {
    object[key] = nlohmann::json::parse(json);
  }
  return object.dump();
}

TEST(RequestFileTest, ReadsEveryArgument) {
  auto request = parseRequest(kMinimal, "x.json");
  ASSERT_TRUE(request) << request.error();
  EXPECT_EQ(request->path, "/tmp/a.mov");
  EXPECT_TRUE(request->newFile);
  EXPECT_EQ(request->blockSize, 4096u);
  EXPECT_EQ(request->uniqueID, Value());
  EXPECT_EQ(request->duration, (CMTime{75075, 30000, kCMTimeFlags_Valid, 0}));
  EXPECT_EQ(request->settings.entries().size(), 2u);
  EXPECT_EQ(request->settings.objectForKey("videoCodec")->unsignedLongValue(),
            FourCC("v210").value);
}

TEST(RequestFileTest, ReadsGivenDurationFlagsAndEpoch) {
  auto request = parseRequest(
      withMember("duration", R"({"value": -1, "timescale": 600, "flags": 17, "epoch": 4})"),
      "x.json");
  ASSERT_TRUE(request) << request.error();
  EXPECT_EQ(request->duration, (CMTime{-1, 600, 17, 4}));
}

TEST(RequestFileTest, KeepsAScalarUniqueIDAndIgnoresOthers) {
  auto text = parseRequest(withMember("uniqueID", R"("clip-7")"), "x.json");
  ASSERT_TRUE(text) << text.error();
  EXPECT_EQ(text->uniqueID, Value::string("clip-7"));
  auto number = parseRequest(withMember("uniqueID", "42"), "x.json");
  ASSERT_TRUE(number) << number.error();
  EXPECT_EQ(number->uniqueID, Value::integer(42));
  auto object = parseRequest(withMember("uniqueID", R"({"a": [1, {"b": null}]})"), "x.json");
  ASSERT_TRUE(object) << object.error();
  EXPECT_EQ(object->uniqueID, Value());
}

TEST(RequestFileTest, AcceptsTheLargestBlockSize) {
  auto request = parseRequest(withMember("blockSize", "4294967295"), "x.json");
  ASSERT_TRUE(request) << request.error();
  EXPECT_EQ(request->blockSize, 4294967295u);
}

TEST(RequestFileTest, IgnoresUnknownKeys) {
  auto request = parseRequest(withMember("comment", R"({"any": "thing"})"), "x.json");
  ASSERT_TRUE(request) << request.error();
}

TEST(RequestFileTest, NamesTheFileAndTheMissingKey) {
  for (const char* key : {"path", "newFile", "blockSize", "duration", "settings"}) {
    EXPECT_EQ(errorOf(withMember(key, "")), std::string("x.json: \"") + key + "\" is missing");
  }
}

TEST(RequestFileTest, NamesTheFileAndTheKeyOfAWrongType) {
  EXPECT_EQ(errorOf(withMember("path", "7")), "x.json: \"path\" must be a string");
  EXPECT_EQ(errorOf(withMember("newFile", R"("yes")")),
            "x.json: \"newFile\" must be true or false");
  EXPECT_EQ(errorOf(withMember("blockSize", "4294967296")),
            "x.json: \"blockSize\" must be an integer from 0 to 4294967295");
  EXPECT_EQ(errorOf(withMember("blockSize", "-1")),
            "x.json: \"blockSize\" must be an integer from 0 to 4294967295");
  EXPECT_EQ(errorOf(withMember("duration", R"({"value": 1, "timescale": 1.5})")),
            "x.json: \"duration.timescale\" must be an integer from -2147483648 to 2147483647");
  EXPECT_EQ(errorOf(withMember("duration", "3600")),
            "x.json: \"duration\" must be a time {\"value\": integer, \"timescale\": integer, "
            "optional \"flags\", \"epoch\"}");
  EXPECT_EQ(errorOf(withMember("settings", "[]")), "x.json: \"settings\" must be an object");
  EXPECT_EQ(errorOf(withMember("settings", R"({"videoDimensions": [1920]})")),
            "x.json: \"settings.videoDimensions\" must be [width, height] of integers");
  EXPECT_EQ(errorOf(withMember("settings", R"({"asbds": [{"sampleRate": 48000}]})")),
            "x.json: \"settings.asbds[0].formatID\" is missing");
}

TEST(RequestFileTest, RefusesARequestThatIsNoObject) {
  EXPECT_EQ(errorOf("[]"), "x.json: the request must be a JSON object");
  EXPECT_EQ(errorOf("\"request\""), "x.json: the request must be a JSON object");
}

TEST(RequestFileTest, GivesThePositionOfMalformedJson) {
  EXPECT_EQ(errorOf("{\n  \"path\": \"/tmp/a.mov\",\n}"),
            "x.json: malformed JSON: parse error at line 3, column 1: syntax error while parsing "
            "object key - unexpected '}'; expected string literal");
  EXPECT_THAT(errorOf(""), StartsWith("x.json: malformed JSON: parse error at line 1, column 1"));
  EXPECT_THAT(errorOf("{} {}"),
              StartsWith("x.json: malformed JSON: parse error at line 1, column 4"));
  EXPECT_THAT(errorOf("{\"path\": \"\xFF\"}"), StartsWith("x.json: malformed JSON: "));
  // nlohmann reports a number beyond a double as out of range rather than as a parse error.
  EXPECT_EQ(errorOf(R"({"blockSize": 1e999})"),
            "x.json: malformed JSON: number overflow parsing '1e999'");
}

TEST(RequestFileTest, ReadsAFile) {
  TempFile file("request-file.json");
  file.write(kMinimal);
  auto request = readRequestFile(file.path());
  ASSERT_TRUE(request) << request.error();
  EXPECT_EQ(request->blockSize, 4096u);
}

TEST(RequestFileTest, ReadsTheHourOfProResExample) {
  auto request = readRequestFile(examplePath("prores_hq_1080i2997_8ch_1h.json"));
  ASSERT_TRUE(request) << request.error();
  EXPECT_EQ(request->path, "/tmp/premoov-example.mov");
  EXPECT_TRUE(request->newFile);
  EXPECT_EQ(request->blockSize, 4096u);
  EXPECT_EQ(request->duration, CMTimeMake(107892 * 1001, 30000));  // 107,892 frames of 29.97
  const Value& s = request->settings;
  EXPECT_EQ(unsignedLongValue(s.objectForKey("videoCodec")), FourCC("apch").value);
  EXPECT_EQ(CMTimeMakeFromDictionary(s.objectForKey("videoFrameDuration")),
            CMTimeMake(1001, 30000));
  int32_t dimensions[2] = {0, 0};
  getBytes(s.objectForKey("videoDimensions"),
           std::span(reinterpret_cast<uint8_t*>(dimensions), sizeof dimensions));
  EXPECT_EQ(dimensions[0], 1920);
  EXPECT_EQ(dimensions[1], 1080);
  EXPECT_EQ(intValue(s.objectForKey("numberOfFields")), 2);
  EXPECT_EQ(intValue(s.objectForKey("fieldOrder")), 9);  // 'fiel' detail: top field first
  EXPECT_EQ(intValue(s.objectForKey("horizontalSpacing")), 1);
  EXPECT_EQ(intValue(s.objectForKey("verticalSpacing")), 1);
  EXPECT_EQ(shortValue(s.objectForKey("colorPrimaries")), 1);
  EXPECT_EQ(shortValue(s.objectForKey("transferFunction")), 1);
  EXPECT_EQ(shortValue(s.objectForKey("matrix")), 1);
  EXPECT_EQ(intValue(s.objectForKey("numberOfAudioTracks")), 8);
  ASSERT_NE(s.objectForKey("asbds"), nullptr);
  ASSERT_EQ(s.objectForKey("asbds")->elements().size(), 8u);
  for (const Value& element : s.objectForKey("asbds")->elements()) {
    ASSERT_EQ(element.bytes().size(), 40u);
    // Mono 24-bit big-endian signed packed PCM at 48 kHz, field for field.
    EXPECT_EQ(asbdFromHostBytes(element.bytes()), testing::pcmDescription(48000, 1, 24));
  }
  ASSERT_NE(s.objectForKey("layouts"), nullptr);
  ASSERT_EQ(s.objectForKey("layouts")->elements().size(), 8u);
  for (const Value& element : s.objectForKey("layouts")->elements()) {
    const auto layout = AudioChannelLayout::fromHostBytes(element.bytes());
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->mChannelLayoutTag, kAudioChannelLayoutTag_Mono);
  }
  EXPECT_TRUE(boolValue(s.objectForKey("timecodeIsDropFrame")));
  EXPECT_EQ(*s.objectForKey("reelName"), Value::string("A001"));
  EXPECT_TRUE(boolValue(s.objectForKey("addClosedCaptionTrack")));
  EXPECT_FALSE(boolValue(s.objectForKey("globalTimecode")));
  EXPECT_EQ(*s.objectForKey("software"), Value::string("premoov"));
}

TEST(RequestFileTest, ReadsTheShortExamples) {
  const struct {
    const char* name;
    CMTime duration;
    bool globalTimecode;
  } kExamples[] = {
      {"v210_2997i_2ch_tc_cc.json", CMTimeMake(30 * 1001, 30000), false},
      {"2vuy_25p_global_tc.json", CMTimeMake(75000, 25000), true},
      {"2vuy_2997_mid_group.json", CMTimeMake(50 * 1001, 30000), false},
  };
  for (const auto& example : kExamples) {
    auto request = readRequestFile(examplePath(example.name));
    ASSERT_TRUE(request) << request.error();
    EXPECT_EQ(request->duration, example.duration) << example.name;
    EXPECT_EQ(boolValue(request->settings.objectForKey("globalTimecode")), example.globalTimecode)
        << example.name;
  }
}

TEST(RequestFileTest, NamesAFileThatCannotBeRead) {
  TempFile missing("no-such-request.json");
  EXPECT_EQ(readRequestFile(missing.path()).error(),
            missing.path() + ": cannot read: No such file or directory");
  EXPECT_EQ(readRequestFile(::testing::TempDir()).error(),
            ::testing::TempDir() + ": cannot read: Is a directory");
}

TEST(RequestFileTest, NamesTheFileOfBadContent) {
  TempFile file("request-bad.json");
  file.write(R"({"path": 1})");
  EXPECT_EQ(readRequestFile(file.path()).error(), file.path() + ": \"path\" must be a string");
}

}  // namespace
}  // namespace premoov
