#include "requests/audio_json.h"

#include <gtest/gtest.h>

#include "media/audio_types.h"

namespace premoov {
namespace {

constexpr const char* kMono24BitBigEndian = R"({
  "sampleRate": 48000, "formatID": "lpcm", "formatFlags": 14, "bytesPerPacket": 3,
  "framesPerPacket": 1, "bytesPerFrame": 3, "channelsPerFrame": 1, "bitsPerChannel": 24})";

TEST(AudioJsonTest, MakesTheFortyHostOrderBytesOfAStreamDescription) {
  auto bytes = streamDescriptionBytesOf(Json::parse(kMono24BitBigEndian), "a");
  ASSERT_TRUE(bytes) << bytes.error();
  ASSERT_EQ(bytes->size(), 40u);
  const AudioStreamBasicDescription asbd = asbdFromHostBytes(*bytes);
  EXPECT_EQ(asbd.mSampleRate, 48000.0);
  EXPECT_EQ(asbd.mFormatID, kAudioFormatLinearPCM);
  EXPECT_EQ(asbd.mFormatFlags, kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger |
                                   kAudioFormatFlagIsPacked);
  EXPECT_EQ(asbd.mBytesPerPacket, 3u);
  EXPECT_EQ(asbd.mFramesPerPacket, 1u);
  EXPECT_EQ(asbd.mBytesPerFrame, 3u);
  EXPECT_EQ(asbd.mChannelsPerFrame, 1u);
  EXPECT_EQ(asbd.mBitsPerChannel, 24u);
  EXPECT_EQ(asbd.mReserved, 0u);
}

TEST(AudioJsonTest, TakesANumericFormatAFractionalRateAndTheReservedField) {
  Json json = Json::parse(kMono24BitBigEndian);
  json["formatID"] = 0x6C70636D;  // 'lpcm'
  json["sampleRate"] = 47952.047952;
  json["reserved"] = 7;
  auto bytes = streamDescriptionBytesOf(json, "a");
  ASSERT_TRUE(bytes) << bytes.error();
  const AudioStreamBasicDescription asbd = asbdFromHostBytes(*bytes);
  EXPECT_EQ(asbd.mFormatID, kAudioFormatLinearPCM);
  EXPECT_EQ(asbd.mSampleRate, 47952.047952);
  EXPECT_EQ(asbd.mReserved, 7u);
}

TEST(AudioJsonTest, TakesAStreamDescriptionWrittenAsData) {
  // Any length is handed on as it is: the movie creator copies what it is given.
  auto bytes = streamDescriptionBytesOf(Json::parse(R"({"base64": "AQID"})"), "a");
  ASSERT_TRUE(bytes) << bytes.error();
  EXPECT_EQ(*bytes, (std::vector<uint8_t>{1, 2, 3}));
}

TEST(AudioJsonTest, NamesTheFieldOfABadStreamDescription) {
  EXPECT_EQ(streamDescriptionBytesOf(Json(5), "settings.asbds[0]").error(),
            "\"settings.asbds[0]\" must be an audio stream description object or data written "
            "{\"base64\": \"...\"}");
  for (const char* key :
       {"sampleRate", "formatID", "formatFlags", "bytesPerPacket", "framesPerPacket",
        "bytesPerFrame", "channelsPerFrame", "bitsPerChannel"}) {
    Json json = Json::parse(kMono24BitBigEndian);
    json.erase(key);
    EXPECT_EQ(streamDescriptionBytesOf(json, "settings.asbds[1]").error(),
              std::string("\"settings.asbds[1].") + key + "\" is missing");
  }
  Json json = Json::parse(kMono24BitBigEndian);
  json["sampleRate"] = "48000";
  EXPECT_EQ(streamDescriptionBytesOf(json, "a").error(), "\"a.sampleRate\" must be a number");
  json = Json::parse(kMono24BitBigEndian);
  json["formatID"] = "lpc";
  EXPECT_EQ(streamDescriptionBytesOf(json, "a").error(),
            "\"a.formatID\" must be a four-character string of printable ASCII or an integer "
            "from 0 to 4294967295");
  json = Json::parse(kMono24BitBigEndian);
  json["bitsPerChannel"] = -24;
  EXPECT_EQ(streamDescriptionBytesOf(json, "a").error(),
            "\"a.bitsPerChannel\" must be an integer from 0 to 4294967295");
  json = Json::parse(kMono24BitBigEndian);
  json["reserved"] = true;
  EXPECT_EQ(streamDescriptionBytesOf(json, "a").error(),
            "\"a.reserved\" must be an integer from 0 to 4294967295");
  EXPECT_EQ(streamDescriptionBytesOf(Json::parse(R"({"base64": "A"})"), "a").error(),
            "\"a.base64\" is not valid base64");
}

TEST(AudioJsonTest, MakesATagOnlyChannelLayout) {
  auto bytes = channelLayoutBytesOf(Json::parse(R"({"tag": 6553601})"), "l");
  ASSERT_TRUE(bytes) << bytes.error();
  ASSERT_EQ(bytes->size(), 12u);
  const auto layout = AudioChannelLayout::fromHostBytes(*bytes);
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->mChannelLayoutTag, kAudioChannelLayoutTag_Mono);
  EXPECT_EQ(layout->mChannelBitmap, 0u);
  EXPECT_TRUE(layout->mChannelDescriptions.empty());
}

TEST(AudioJsonTest, MakesAChannelLayoutWithDescriptions) {
  auto bytes = channelLayoutBytesOf(Json::parse(R"({
      "tag": 0, "bitmap": 3,
      "descriptions": [{"label": 1, "flags": 2, "coordinates": [-1.5, 0, 2]}, {"label": 2}]})"),
                                    "l");
  ASSERT_TRUE(bytes) << bytes.error();
  ASSERT_EQ(bytes->size(), 12u + 2 * 20u);
  const auto layout = AudioChannelLayout::fromHostBytes(*bytes);
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->mChannelLayoutTag, kAudioChannelLayoutTag_UseChannelDescriptions);
  EXPECT_EQ(layout->mChannelBitmap, 3u);
  ASSERT_EQ(layout->mChannelDescriptions.size(), 2u);
  EXPECT_EQ(layout->mChannelDescriptions[0].mChannelLabel, 1u);
  EXPECT_EQ(layout->mChannelDescriptions[0].mChannelFlags, 2u);
  EXPECT_EQ(layout->mChannelDescriptions[0].mCoordinates[0], -1.5f);
  EXPECT_EQ(layout->mChannelDescriptions[0].mCoordinates[1], 0.0f);
  EXPECT_EQ(layout->mChannelDescriptions[0].mCoordinates[2], 2.0f);
  EXPECT_EQ(layout->mChannelDescriptions[1].mChannelLabel, 2u);
  EXPECT_EQ(layout->mChannelDescriptions[1].mChannelFlags, 0u);
  EXPECT_EQ(layout->mChannelDescriptions[1].mCoordinates[0], 0.0f);
}

TEST(AudioJsonTest, TakesAChannelLayoutWrittenAsData) {
  auto bytes = channelLayoutBytesOf(Json::parse(R"({"base64": "AAEAZAAAAAAAAAAA"})"), "l");
  ASSERT_TRUE(bytes) << bytes.error();
  EXPECT_EQ(*bytes, (std::vector<uint8_t>{0, 1, 0, 100, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(AudioJsonTest, NamesTheFieldOfABadChannelLayout) {
  EXPECT_EQ(channelLayoutBytesOf(Json("mono"), "settings.layouts[0]").error(),
            "\"settings.layouts[0]\" must be a channel layout object or data written "
            "{\"base64\": \"...\"}");
  EXPECT_EQ(channelLayoutBytesOf(Json::parse(R"({"bitmap": 1})"), "l").error(),
            "\"l.tag\" is missing");
  EXPECT_EQ(channelLayoutBytesOf(Json::parse(R"({"tag": 1, "bitmap": 1.5})"), "l").error(),
            "\"l.bitmap\" must be an integer from 0 to 4294967295");
  EXPECT_EQ(channelLayoutBytesOf(Json::parse(R"({"tag": 1, "descriptions": {}})"), "l").error(),
            "\"l.descriptions\" must be an array");
  EXPECT_EQ(
      channelLayoutBytesOf(Json::parse(R"({"tag": 1, "descriptions": [{}, 3]})"), "l").error(),
      "\"l.descriptions[0].label\" is missing");
  EXPECT_EQ(
      channelLayoutBytesOf(Json::parse(R"({"tag": 1, "descriptions": [{"label": 1}, 3]})"), "l")
          .error(),
      "\"l.descriptions[1]\" must be an object");
  EXPECT_EQ(channelLayoutBytesOf(
                Json::parse(R"({"tag": 1, "descriptions": [{"label": 1, "flags": -1}]})"), "l")
                .error(),
            "\"l.descriptions[0].flags\" must be an integer from 0 to 4294967295");
  for (const char* coordinates :
       {"[0, 0]", "[0, 0, 0, 0]", "[0, \"0\", 0]", "[0, 0, 1e39]", "{}"}) {
    const std::string text =
        std::string(R"({"tag": 1, "descriptions": [{"label": 1, "coordinates": )") + coordinates +
        "}]}";
    EXPECT_EQ(channelLayoutBytesOf(Json::parse(text), "l").error(),
              "\"l.descriptions[0].coordinates\" must be [x, y, z] of numbers")
        << coordinates;
  }
}

}  // namespace
}  // namespace premoov
