#include "header_request_values.h"

#include <gtest/gtest.h>

#include <cstring>

#include "header/header_settings.h"
#include "media/audio_types.h"
#include "naming/metadata_item.h"

namespace premoov::fuzzing {
namespace {

TimeChoice anyTime(int64_t value, int32_t timescale) {
  return {.source = TimeChoice::Source::kAny, .value = value, .timescale = timescale};
}

template <typename T>
Setting<T> right(T value) {
  return {.presence = Presence::kRightKind, .right = std::move(value)};
}

TEST(HeaderRequestValues, NothingChosenIsAnEmptyDictionaryAtAnAbsolutePath) {
  const HeaderRequest request = requestOf(HeaderRequestChoice{});
  EXPECT_TRUE(request.settings.isDictionary());
  EXPECT_TRUE(request.settings.entries().empty());
  EXPECT_EQ(request.path, "/tmp/premoov-fuzz/clip.mov");
  EXPECT_EQ(request.blockSize, 1u);  // 2^0
  EXPECT_FALSE(request.cancelFirst);
}

TEST(HeaderRequestValues, FrameDurationReadsBackAsTheTimeChosen) {
  HeaderRequestChoice c;
  c.frameDuration = right(anyTime(-1001, 30000));
  const HeaderSettings s = readHeaderSettings(requestOf(c).settings);
  EXPECT_EQ(s.videoFrameDuration.value, -1001);
  EXPECT_EQ(s.videoFrameDuration.timescale, 30000);
  EXPECT_TRUE(s.videoFrameDuration.isValid());
  EXPECT_EQ(s.videoFrameDuration.epoch, 0);
}

TEST(HeaderRequestValues, TimesOfAnotherShapeAreNoTime) {
  for (auto shape : {TimeChoice::Shape::kMissingEntry, TimeChoice::Shape::kRealEntry,
                     TimeChoice::Shape::kStringEntry}) {
    HeaderRequestChoice c;
    TimeChoice t = anyTime(1001, 30000);
    t.shape = shape;
    t.entry = 1;  // the time scale
    c.frameDuration = right(t);
    const HeaderRequest request = requestOf(c);
    const Value* time = request.settings.objectForKey(settings_key::kVideoFrameDuration);
    ASSERT_NE(time, nullptr);
    EXPECT_EQ(time->entries().size(), shape == TimeChoice::Shape::kMissingEntry ? 3u : 4u);
    EXPECT_FALSE(readHeaderSettings(request.settings).videoFrameDuration.isValid());
  }
}

TEST(HeaderRequestValues, SettingsOfTheWrongKindKeepTheirKey) {
  HeaderRequestChoice c;
  c.numbers[kCodecSetting] = {
      .presence = Presence::kWrongKind,
      .wrong = {.kind = ValueKind::kString,
                .text = {.source = TextChoice::Source::kBytes, .bytes = "apch"}}};
  c.booleans[kGlobalTimecodeSetting] = {.presence = Presence::kWrongKind,
                                        .wrong = {.kind = ValueKind::kData}};
  const HeaderRequest request = requestOf(c);
  const Value* codec = request.settings.objectForKey(settings_key::kVideoCodec);
  ASSERT_NE(codec, nullptr);
  EXPECT_EQ(codec->kind(), Value::Kind::String);
  EXPECT_EQ(codec->stringValue(), "apch");
  const Value* global = request.settings.objectForKey(settings_key::kGlobalTimecode);
  ASSERT_NE(global, nullptr);
  EXPECT_TRUE(global->isData());
}

TEST(HeaderRequestValues, UsualNumbersWrapTheirIndex) {
  const auto codecs = usualNumbers(kCodecSetting);
  ASSERT_FALSE(codecs.empty());
  HeaderRequestChoice c;
  c.numbers[kCodecSetting] = right(NumberChoice{.source = NumberChoice::Source::kUsual,
                                                .index = static_cast<uint8_t>(codecs.size() + 1)});
  EXPECT_EQ(readHeaderSettings(requestOf(c).settings).videoCodec, static_cast<uint32_t>(codecs[1]));
}

TEST(HeaderRequestValues, RepeatedTextHasExactlyTheLengthChosen) {
  HeaderRequestChoice c;
  c.texts[kReelNameSetting] =
      right(TextChoice{.source = TextChoice::Source::kRepeated, .index = 2, .length = 200});
  const auto reel = readHeaderSettings(requestOf(c).settings).reelName;
  ASSERT_TRUE(reel.has_value());
  EXPECT_EQ(reel->size(), 200u);
  EXPECT_EQ(reel->substr(0, 3), "\xe6\x97\xa5");
}

TEST(HeaderRequestValues, DurationsCountSecondsOfTheVideoTimeScale) {
  HeaderRequestChoice c;
  c.frameDuration = right(anyTime(1001, 30000));
  c.duration = {.source = DurationChoice::Source::kSeconds, .seconds = 2, .frames = 3};
  const CMTime d = requestOf(c).duration;
  EXPECT_EQ(d.value, 2 * 30000 + 3 * 1001);
  EXPECT_EQ(d.timescale, 30000);
  c.duration = {.source = DurationChoice::Source::kHours, .hours = 10};
  EXPECT_EQ(requestOf(c).duration.value, int64_t{10} * 3600 * 30000);
}

TEST(HeaderRequestValues, DurationsOfExtremeFrameDurationsWrap) {
  HeaderRequestChoice c;
  c.frameDuration = right(anyTime(INT64_MIN, -1));
  c.duration = {.source = DurationChoice::Source::kMinutes, .seconds = 1200, .frames = 255};
  const uint64_t expected = uint64_t{1200} * static_cast<uint64_t>(int64_t{-1}) +
                            uint64_t{255} * static_cast<uint64_t>(INT64_MIN);
  EXPECT_EQ(static_cast<uint64_t>(requestOf(c).duration.value), expected);
}

TEST(HeaderRequestValues, BlockSizesArePowersOfTwoOrZero) {
  HeaderRequestChoice c;
  c.blockSize = {.exponent = 12};
  EXPECT_EQ(requestOf(c).blockSize, 4096u);
  c.blockSize = {.exponent = 31};
  EXPECT_EQ(requestOf(c).blockSize, 0x80000000u);
  c.blockSize = {.exponent = 32};
  EXPECT_EQ(requestOf(c).blockSize, 0u);
}

TEST(HeaderRequestValues, PcmDescriptionsReadBackFieldByField) {
  HeaderRequestChoice c;
  c.streamDescriptions = right(std::vector<StreamDescriptionChoice>{
      {.rateIndex = 0, .channels = 2, .bitsIndex = 0, .bigEndian = true}});
  const HeaderSettings s = readHeaderSettings(requestOf(c).settings);
  ASSERT_EQ(s.asbds.size(), 1u);
  EXPECT_EQ(s.asbds[0].mSampleRate, usualSampleRates()[0]);
  EXPECT_EQ(s.asbds[0].mChannelsPerFrame, 2u);
  EXPECT_EQ(s.asbds[0].mBitsPerChannel, usualSampleBits()[0]);
  EXPECT_EQ(s.asbds[0].mBytesPerPacket, 2 * usualSampleBits()[0] / 8);
  EXPECT_EQ(s.asbds[0].mFormatID, kAudioFormatLinearPCM);
  EXPECT_NE(s.asbds[0].mFormatFlags & kAudioFormatFlagIsBigEndian, 0u);
}

TEST(HeaderRequestValues, ChannelLayoutCountsMayLie) {
  HeaderRequestChoice c;
  c.channelLayouts = right(std::vector<ChannelLayoutChoice>{
      {.source = ChannelLayoutChoice::Source::kDescriptions, .descriptions = 2, .count = 9}});
  const HeaderSettings s = readHeaderSettings(requestOf(c).settings);
  ASSERT_EQ(s.layouts.size(), 1u);
  ASSERT_EQ(s.layouts[0].size(), 12u + 2 * 20);
  uint32_t count = 0;
  std::memcpy(&count, s.layouts[0].data() + 8, 4);
  EXPECT_EQ(count, 9u);
  EXPECT_FALSE(AudioChannelLayout::fromHostBytes(s.layouts[0]).has_value());
}

TEST(HeaderRequestValues, MetadataItemsCarryTheirTypeAndValue) {
  HeaderRequestChoice c;
  c.metadataItems = right(std::vector<MetadataItemChoice>{
      {.hasKey = true,
       .key = {.source = TextChoice::Source::kBytes, .bytes = "com.example.take"},
       .type = MetadataItemChoice::Type::kNumber,
       .matchingValue = true,
       .number = {.source = NumberChoice::Source::kSmall, .small = 7}},
      {.source = MetadataItemChoice::Source::kLoose, .loose = {.kind = ValueKind::kData}},
  });
  const auto items = readHeaderSettings(requestOf(c).settings).metadataItems;
  ASSERT_TRUE(items.has_value());
  ASSERT_EQ(items->elements().size(), 2u);
  const auto item =
      std::dynamic_pointer_cast<const ZPRMetadataItem>(items->elements()[0].objectValue());
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->key(), "com.example.take");
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeNumber);
  ASSERT_TRUE(item->numberValue().has_value());
  EXPECT_EQ(item->numberValue()->longLongValue(), 7);
  EXPECT_TRUE(items->elements()[1].isData());
}

TEST(HeaderRequestValues, LargeDataIsOneByteRepeated) {
  HeaderRequestChoice c;
  c.dimensions = right(DimensionsChoice{
      .source = DimensionsChoice::Source::kData,
      .data = {.source = DataChoice::Source::kLarge, .sizeIndex = 0, .fill = 0x7f}});
  const HeaderRequest request = requestOf(c);
  const Value* dimensions = request.settings.objectForKey(settings_key::kVideoDimensions);
  ASSERT_NE(dimensions, nullptr);
  EXPECT_EQ(dimensions->bytes(), std::vector<uint8_t>(41, 0x7f));
}

}  // namespace
}  // namespace premoov::fuzzing
