#include "requests/settings_json.h"

#include <gtest/gtest.h>

#include <cstring>

#include "base/four_char_code.h"
#include "media/audio_types.h"
#include "media/cm_time.h"

namespace premoov {
namespace {

Result<Value> settingsOf(const char* text) {
  return settingsFromJson(Json::parse(text), "settings");
}

std::string errorOf(const char* text) {
  auto settings = settingsOf(text);
  return settings ? "(no error)" : settings.error();
}

TEST(SettingsJsonTest, ConvertsNumbersToIntegersOrReals) {
  auto settings = settingsOf(R"({
      "maxVideoFrameSize": 917504, "firstFrameOverhead": 0, "numberOfFields": 258,
      "fieldOrder": 9, "horizontalSpacing": 1, "verticalSpacing": 1.5, "colorPrimaries": 1,
      "transferFunction": -1, "matrix": 1, "numberOfAudioTracks": 8})");
  ASSERT_TRUE(settings) << settings.error();
  EXPECT_EQ(*settings->objectForKey("maxVideoFrameSize"), Value::integer(917504));
  EXPECT_EQ(*settings->objectForKey("firstFrameOverhead"), Value::integer(0));
  EXPECT_EQ(*settings->objectForKey("numberOfFields"), Value::integer(258));
  EXPECT_EQ(*settings->objectForKey("fieldOrder"), Value::integer(9));
  EXPECT_EQ(*settings->objectForKey("horizontalSpacing"), Value::integer(1));
  EXPECT_EQ(*settings->objectForKey("verticalSpacing"), Value::real(1.5));
  EXPECT_EQ(*settings->objectForKey("colorPrimaries"), Value::integer(1));
  EXPECT_EQ(*settings->objectForKey("transferFunction"), Value::integer(-1));
  EXPECT_EQ(*settings->objectForKey("matrix"), Value::integer(1));
  EXPECT_EQ(*settings->objectForKey("numberOfAudioTracks"), Value::integer(8));
  EXPECT_EQ(settings->entries().size(), 10u);
}

TEST(SettingsJsonTest, ANumberWrittenWithAFractionIsAReal) {
  auto settings = settingsOf(R"({"maxVideoFrameSize": 2.0})");
  ASSERT_TRUE(settings) << settings.error();
  EXPECT_TRUE(settings->objectForKey("maxVideoFrameSize")->isFloatingNumber());
  EXPECT_EQ(settings->objectForKey("maxVideoFrameSize")->doubleValue(), 2.0);
}

TEST(SettingsJsonTest, ConvertsBooleansAndStrings) {
  auto settings = settingsOf(R"({
      "isLongGOP": false, "timecodeIsDropFrame": true, "globalTimecode": true,
      "addClosedCaptionTrack": false, "formatName": "Apple ProRes 422 HQ", "reelName": "A001",
      "software": "premoov"})");
  ASSERT_TRUE(settings) << settings.error();
  EXPECT_EQ(*settings->objectForKey("isLongGOP"), Value::boolean(false));
  EXPECT_EQ(*settings->objectForKey("timecodeIsDropFrame"), Value::boolean(true));
  EXPECT_EQ(*settings->objectForKey("globalTimecode"), Value::boolean(true));
  EXPECT_EQ(*settings->objectForKey("addClosedCaptionTrack"), Value::boolean(false));
  EXPECT_EQ(*settings->objectForKey("formatName"), Value::string("Apple ProRes 422 HQ"));
  EXPECT_EQ(*settings->objectForKey("reelName"), Value::string("A001"));
  EXPECT_EQ(*settings->objectForKey("software"), Value::string("premoov"));
}

TEST(SettingsJsonTest, ConvertsTheVideoCodecFromTextOrInteger) {
  auto text = settingsOf(R"({"videoCodec": "apch"})");
  ASSERT_TRUE(text) << text.error();
  EXPECT_EQ(*text->objectForKey("videoCodec"), Value::integer(0x61706368));
  EXPECT_EQ(text->objectForKey("videoCodec")->unsignedLongValue(), FourCC("apch").value);
  auto integer = settingsOf(R"({"videoCodec": 1983000880})");
  ASSERT_TRUE(integer) << integer.error();
  EXPECT_EQ(integer->objectForKey("videoCodec")->unsignedLongValue(), FourCC("v210").value);
}

TEST(SettingsJsonTest, StoresTheFrameDurationAsATimeDictionary) {
  auto settings = settingsOf(R"({"videoFrameDuration": {"value": 1001, "timescale": 30000}})");
  ASSERT_TRUE(settings) << settings.error();
  const Value* duration = settings->objectForKey("videoFrameDuration");
  ASSERT_NE(duration, nullptr);
  EXPECT_EQ(*duration, CMTimeCopyAsDictionary(CMTimeMake(1001, 30000)));
  EXPECT_EQ(CMTimeMakeFromDictionary(duration), CMTimeMake(1001, 30000));
}

TEST(SettingsJsonTest, StoresGivenFlagsAndEpochOfTheFrameDuration) {
  auto settings = settingsOf(
      R"({"videoFrameDuration": {"value": 1, "timescale": 25, "flags": 3, "epoch": 2}})");
  ASSERT_TRUE(settings) << settings.error();
  EXPECT_EQ(CMTimeMakeFromDictionary(settings->objectForKey("videoFrameDuration")),
            (CMTime{1, 25, 3, 2}));
}

TEST(SettingsJsonTest, MakesEightBytesOfVideoDimensions) {
  auto settings = settingsOf(R"({"videoDimensions": [1920, 1080]})");
  ASSERT_TRUE(settings) << settings.error();
  const Value* dimensions = settings->objectForKey("videoDimensions");
  ASSERT_NE(dimensions, nullptr);
  ASSERT_TRUE(dimensions->isData());
  ASSERT_EQ(dimensions->bytes().size(), 8u);
  int32_t size[2] = {0, 0};
  std::memcpy(size, dimensions->bytes().data(), 8);
  EXPECT_EQ(size[0], 1920);
  EXPECT_EQ(size[1], 1080);

  auto negative = settingsOf(R"({"videoDimensions": [-1, 2147483647]})");
  ASSERT_TRUE(negative) << negative.error();
  std::memcpy(size, negative->objectForKey("videoDimensions")->bytes().data(), 8);
  EXPECT_EQ(size[0], -1);
  EXPECT_EQ(size[1], 2147483647);
}

TEST(SettingsJsonTest, TakesVideoDimensionsWrittenAsData) {
  auto settings = settingsOf(R"({"videoDimensions": {"base64": "gAcAADgEAAA="}})");
  ASSERT_TRUE(settings) << settings.error();
  EXPECT_EQ(settings->objectForKey("videoDimensions")->bytes(),
            (std::vector<uint8_t>{0x80, 0x07, 0x00, 0x00, 0x38, 0x04, 0x00, 0x00}));
}

TEST(SettingsJsonTest, MakesOneDataObjectPerAudioTrack) {
  auto settings = settingsOf(R"({
      "asbds": [
        {"sampleRate": 48000, "formatID": "lpcm", "formatFlags": 12, "bytesPerPacket": 4,
         "framesPerPacket": 1, "bytesPerFrame": 4, "channelsPerFrame": 2, "bitsPerChannel": 16},
        {"base64": "AAAAAAAA"}],
      "layouts": [{"tag": 6619138}, {"base64": "AQBkAAAAAAAAAAAA"}]})");
  ASSERT_TRUE(settings) << settings.error();
  const Value* asbds = settings->objectForKey("asbds");
  ASSERT_NE(asbds, nullptr);
  ASSERT_TRUE(asbds->isArray());
  ASSERT_EQ(asbds->elements().size(), 2u);
  ASSERT_EQ(asbds->elements()[0].bytes().size(), 40u);
  const AudioStreamBasicDescription stereo = asbdFromHostBytes(asbds->elements()[0].bytes());
  EXPECT_EQ(stereo.mChannelsPerFrame, 2u);
  EXPECT_EQ(stereo.mBitsPerChannel, 16u);
  EXPECT_EQ(asbds->elements()[1].bytes(), std::vector<uint8_t>(6, 0));

  const Value* layouts = settings->objectForKey("layouts");
  ASSERT_NE(layouts, nullptr);
  ASSERT_EQ(layouts->elements().size(), 2u);
  const auto first = AudioChannelLayout::fromHostBytes(layouts->elements()[0].bytes());
  ASSERT_TRUE(first);
  EXPECT_EQ(first->mChannelLayoutTag, kAudioChannelLayoutTag_Stereo);
  EXPECT_EQ(layouts->elements()[1].bytes(),
            (std::vector<uint8_t>{1, 0, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(SettingsJsonTest, MakesADictionaryOfExtensionAtoms) {
  auto settings =
      settingsOf(R"({"extensionAtoms": {"ACLR": {"base64": "AQI="}, "x": {"base64": ""}}})");
  ASSERT_TRUE(settings) << settings.error();
  const Value* atoms = settings->objectForKey("extensionAtoms");
  ASSERT_NE(atoms, nullptr);
  ASSERT_TRUE(atoms->isDictionary());
  EXPECT_EQ(atoms->entries().size(), 2u);
  EXPECT_EQ(*atoms->objectForKey("ACLR"), Value::data({1, 2}));
  EXPECT_EQ(*atoms->objectForKey("x"), Value::data({}));
}

TEST(SettingsJsonTest, ReadsMetadataItemsAsAnArrayOfItems) {
  auto settings = settingsOf(R"({"metadataItems": [{"key": "title", "string": "Take 7"}]})");
  ASSERT_TRUE(settings) << settings.error();
  const Value* items = settings->objectForKey("metadataItems");
  ASSERT_NE(items, nullptr);
  ASSERT_EQ(items->elements().size(), 1u);
  EXPECT_TRUE(items->elements()[0].isObject());
  EXPECT_EQ(errorOf(R"({"metadataItems": {}})"), "\"settings.metadataItems\" must be an array");
}

TEST(SettingsJsonTest, LeavesUnknownKeysOut) {
  auto settings = settingsOf(R"({"videoCodecs": "apch", "colour": {"x": [1]}, "matrix": 1})");
  ASSERT_TRUE(settings) << settings.error();
  EXPECT_EQ(settings->entries().size(), 1u);
  EXPECT_NE(settings->objectForKey("matrix"), nullptr);
}

TEST(SettingsJsonTest, AnEmptyObjectGivesAnEmptyDictionary) {
  auto settings = settingsOf("{}");
  ASSERT_TRUE(settings) << settings.error();
  EXPECT_TRUE(settings->isDictionary());
  EXPECT_TRUE(settings->entries().empty());
}

TEST(SettingsJsonTest, NamesTheKeyOfAWrongType) {
  EXPECT_EQ(settingsFromJson(Json::array(), "settings").error(), "\"settings\" must be an object");
  EXPECT_EQ(errorOf(R"({"videoCodec": "apc"})"),
            "\"settings.videoCodec\" must be a four-character string of printable ASCII or an "
            "integer from 0 to 4294967295");
  EXPECT_EQ(errorOf(R"({"videoFrameDuration": 1001})"),
            "\"settings.videoFrameDuration\" must be a time {\"value\": integer, \"timescale\": "
            "integer, optional \"flags\", \"epoch\"}");
  EXPECT_EQ(errorOf(R"({"videoFrameDuration": {"value": 1001}})"),
            "\"settings.videoFrameDuration.timescale\" is missing");
  for (const char* key : {"maxVideoFrameSize", "firstFrameOverhead", "numberOfFields", "fieldOrder",
                          "horizontalSpacing", "verticalSpacing", "colorPrimaries",
                          "transferFunction", "matrix", "numberOfAudioTracks"}) {
    const std::string text = std::string("{\"") + key + "\": \"1\"}";
    EXPECT_EQ(errorOf(text.c_str()), std::string("\"settings.") + key + "\" must be a number");
  }
  EXPECT_EQ(errorOf(R"({"numberOfAudioTracks": true})"),
            "\"settings.numberOfAudioTracks\" must be a number");
  EXPECT_EQ(errorOf(R"({"maxVideoFrameSize": 18446744073709551615})"),
            "\"settings.maxVideoFrameSize\" must be an integer from -9223372036854775808 to "
            "9223372036854775807");
  for (const char* key :
       {"isLongGOP", "timecodeIsDropFrame", "globalTimecode", "addClosedCaptionTrack"}) {
    const std::string text = std::string("{\"") + key + "\": 1}";
    EXPECT_EQ(errorOf(text.c_str()), std::string("\"settings.") + key + "\" must be true or false");
  }
  for (const char* key : {"formatName", "reelName", "software"}) {
    const std::string text = std::string("{\"") + key + "\": null}";
    EXPECT_EQ(errorOf(text.c_str()), std::string("\"settings.") + key + "\" must be a string");
  }
  EXPECT_EQ(errorOf(R"({"asbds": {}})"), "\"settings.asbds\" must be an array");
  EXPECT_EQ(errorOf(R"({"asbds": [{"base64": "AA=="}, "x"]})"),
            "\"settings.asbds[1]\" must be an audio stream description object or data written "
            "{\"base64\": \"...\"}");
  EXPECT_EQ(errorOf(R"({"layouts": "mono"})"), "\"settings.layouts\" must be an array");
  EXPECT_EQ(errorOf(R"({"layouts": [{"tag": -1}]})"),
            "\"settings.layouts[0].tag\" must be an integer from 0 to 4294967295");
  EXPECT_EQ(errorOf(R"({"extensionAtoms": []})"), "\"settings.extensionAtoms\" must be an object");
  EXPECT_EQ(errorOf(R"({"extensionAtoms": {"ACLR": "AQI="}})"),
            "\"settings.extensionAtoms.ACLR\" must be data written {\"base64\": \"...\"}");
  EXPECT_EQ(errorOf(R"({"extensionAtoms": {"ACLR": {"base64": "AQI"}}})"),
            "\"settings.extensionAtoms.ACLR.base64\" is not valid base64");
}

TEST(SettingsJsonTest, RefusesVideoDimensionsOfAnyOtherShape) {
  const std::string text = "\"settings.videoDimensions\" must be [width, height] of integers";
  for (const char* json :
       {R"({"videoDimensions": [1920]})", R"({"videoDimensions": [1920, 1080, 1]})",
        R"({"videoDimensions": [1920.5, 1080]})", R"({"videoDimensions": ["1920", 1080]})",
        R"({"videoDimensions": [1920, 2147483648]})", R"({"videoDimensions": "1920x1080"})",
        R"({"videoDimensions": {"width": 1920}})"}) {
    EXPECT_EQ(errorOf(json), text) << json;
  }
  EXPECT_EQ(errorOf(R"({"videoDimensions": {"base64": "gAc*"}})"),
            "\"settings.videoDimensions.base64\" is not valid base64");
}

}  // namespace
}  // namespace premoov
