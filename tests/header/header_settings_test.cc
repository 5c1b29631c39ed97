#include "header/header_settings.h"

#include <gtest/gtest.h>

#include "base/log.h"
#include "support/recording_client.h"

namespace premoov {
namespace {

using testing::dimensionsData;

TEST(HeaderSettingsTest, EmptyDictionaryGivesZerosEverywhere) {
  const HeaderSettings s = readHeaderSettings(Value::dictionary());
  EXPECT_EQ(s.videoCodec, 0u);
  EXPECT_EQ(s.videoFrameDuration, kCMTimeInvalid);
  EXPECT_EQ(s.maxVideoFrameSize, 0u);
  EXPECT_EQ(s.videoDimensions.width, 0);
  EXPECT_EQ(s.videoDimensions.height, 0);
  EXPECT_EQ(s.numberOfAudioTracks, 0);
  EXPECT_FALSE(s.isLongGOP);
  EXPECT_FALSE(s.globalTimecode);
  EXPECT_FALSE(s.addClosedCaptionTrack);
  EXPECT_FALSE(s.reelName.has_value());
  EXPECT_FALSE(s.formatName.has_value());
  EXPECT_TRUE(s.asbds.empty());
}

TEST(HeaderSettingsTest, ReadsEveryKeyWithItsAccessor) {
  Value d = Value::dictionary();
  d.setObject("videoCodec", Value::integer(FourCC("apch").value));
  d.setObject("videoFrameDuration", CMTimeCopyAsDictionary(CMTimeMake(1001, 30000)));
  d.setObject("maxVideoFrameSize", Value::integer(1'000'000));
  d.setObject("firstFrameOverhead", Value::integer(4096));
  d.setObject("isLongGOP", Value::boolean(true));
  d.setObject("numberOfFields", Value::integer(258));
  d.setObject("fieldOrder", Value::integer(9));
  d.setObject("horizontalSpacing", Value::integer(4));
  d.setObject("verticalSpacing", Value::integer(3));
  d.setObject("colorPrimaries", Value::integer(70000));
  d.setObject("transferFunction", Value::real(2.9));
  d.setObject("matrix", Value::integer(6));
  d.setObject("numberOfAudioTracks", Value::integer(2));
  d.setObject("timecodeIsDropFrame", Value::boolean(true));
  d.setObject("formatName", Value::string("Apple ProRes 422 HQ"));
  d.setObject("reelName", Value::string("A001"));
  d.setObject("globalTimecode", Value::boolean(true));
  d.setObject("addClosedCaptionTrack", Value::boolean(true));
  d.setObject("software", Value::string("premoov"));
  d.setObject("videoDimensions", dimensionsData(1920, 1080));
  const HeaderSettings s = readHeaderSettings(d);
  EXPECT_EQ(FourCC(s.videoCodec), FourCC("apch"));
  EXPECT_EQ(s.videoFrameDuration, CMTimeMake(1001, 30000));
  EXPECT_EQ(s.maxVideoFrameSize, 1'000'000u);
  EXPECT_EQ(s.firstFrameOverhead, 4096u);
  EXPECT_TRUE(s.isLongGOP);
  EXPECT_EQ(static_cast<uint8_t>(s.numberOfFields), 2);  // handed on as its low 8 bits
  EXPECT_EQ(s.fieldOrder, 9);
  EXPECT_EQ(s.horizontalSpacing, 4);
  EXPECT_EQ(s.verticalSpacing, 3);
  EXPECT_EQ(s.colorPrimaries, static_cast<int16_t>(70000));
  EXPECT_EQ(s.transferFunction, 2);
  EXPECT_EQ(s.matrix, 6);
  EXPECT_EQ(s.numberOfAudioTracks, 2);
  EXPECT_TRUE(s.timecodeIsDropFrame);
  EXPECT_EQ(s.formatName, "Apple ProRes 422 HQ");
  EXPECT_EQ(s.reelName, "A001");
  EXPECT_TRUE(s.globalTimecode);
  EXPECT_TRUE(s.addClosedCaptionTrack);
  EXPECT_EQ(s.software, "premoov");
  EXPECT_EQ(s.videoDimensions.width, 1920);
  EXPECT_EQ(s.videoDimensions.height, 1080);
}

TEST(HeaderSettingsTest, ShortDimensionsLeaveZerosInTheClearedArea) {
  Value d = Value::dictionary();
  d.setObject("videoDimensions", Value::data({0x80, 0x07, 0, 0}));  // width 1920, no height
  const HeaderSettings s = readHeaderSettings(d);
  EXPECT_EQ(s.videoDimensions.width, 1920);
  EXPECT_EQ(s.videoDimensions.height, 0);
}

TEST(HeaderSettingsTest, LongDimensionsAreCutToEightBytesAndLogged) {
  LogCapture log;
  std::vector<uint8_t> bytes = dimensionsData(1280, 720).bytes();
  bytes.resize(12, 0xFF);
  Value d = Value::dictionary();
  d.setObject("videoDimensions", Value::data(bytes));
  const HeaderSettings s = readHeaderSettings(d);
  EXPECT_EQ(s.videoDimensions.width, 1280);
  EXPECT_EQ(s.videoDimensions.height, 720);
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST(HeaderSettingsTest, AudioSlotsAreZeroFilledThenCopied) {
  const auto asbd = testing::pcmDescription(48000, 2, 16);
  auto bytes = hostBytesOf(asbd);
  bytes.resize(20);  // a short element leaves the rest of its slot zero
  Value d = Value::dictionary();
  d.setObject("asbds", Value::array({Value::data(hostBytesOf(asbd)), Value::data(bytes)}));
  d.setObject("layouts", Value::array({Value::data(testing::monoLayout().hostBytes())}));
  const HeaderSettings s = readHeaderSettings(d);
  ASSERT_EQ(s.asbds.size(), 2u);
  EXPECT_EQ(s.asbds[0], asbd);
  EXPECT_EQ(s.asbds[1].mSampleRate, 48000);
  EXPECT_EQ(s.asbds[1].mBytesPerPacket, 4u);
  EXPECT_EQ(s.asbds[1].mBytesPerFrame, 0u);
  ASSERT_EQ(s.layouts.size(), 1u);
  EXPECT_EQ(s.layouts[0], testing::monoLayout().hostBytes());
}

TEST(HeaderSettingsTest, AStringWhereANumberBelongsReadsAsNSStringWould) {
  Value d = Value::dictionary();
  d.setObject("numberOfAudioTracks", Value::string("3 tracks"));
  d.setObject("isLongGOP", Value::string("YES"));
  const HeaderSettings s = readHeaderSettings(d);
  EXPECT_EQ(s.numberOfAudioTracks, 3);
  EXPECT_TRUE(s.isLongGOP);
}

TEST(HeaderSettingsTest, AWrongKindUnderAStringKeyIsIgnoredAndLogged) {
  LogCapture log;
  Value d = Value::dictionary();
  d.setObject("reelName", Value::integer(7));
  const HeaderSettings s = readHeaderSettings(d);
  EXPECT_FALSE(s.reelName.has_value());
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_NE(log.lines()[0].find("reelName"), std::string::npos);
}

TEST(HeaderSettingsTest, FramesPerSecondIsTheCeilingOfTheRate) {
  EXPECT_EQ(framesPerSecond(CMTimeMake(1001, 30000)), 30);
  EXPECT_EQ(framesPerSecond(CMTimeMake(1, 25)), 25);
  EXPECT_EQ(framesPerSecond(CMTimeMake(1001, 24000)), 24);
  EXPECT_EQ(framesPerSecond(CMTimeMake(1000, 24400)), 25);
  EXPECT_EQ(framesPerSecond(kCMTimeInvalid), 0);  // 0/0 gives no rate
  EXPECT_EQ(framesPerSecond(CMTimeMake(0, 30000)), 0);
}

}  // namespace
}  // namespace premoov
