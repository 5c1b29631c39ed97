#include "media/audio_types.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <vector>

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

// The records travel in host byte order; the expected bytes below are those of a little-endian
// host, the only kind we build for.
#define SKIP_UNLESS_LITTLE_ENDIAN()                                        \
  if constexpr (std::endian::native != std::endian::little) {              \
    GTEST_SKIP() << "expected bytes are written for a little-endian host"; \
  }

AudioChannelLayout twoDescriptions() {
  AudioChannelLayout layout;
  layout.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
  layout.mChannelDescriptions = {
      {.mChannelLabel = 1, .mChannelFlags = 0, .mCoordinates = {-1.0f, 0.5f, 0.0f}},
      {.mChannelLabel = 2, .mChannelFlags = 1, .mCoordinates = {1.0f, 0.5f, 0.0f}},
  };
  return layout;
}

TEST(AudioChannelLayoutTest, ByteSizeIsHeaderPlusDescriptions) {
  EXPECT_EQ(AudioChannelLayout{}.byteSize(), 12u);
  EXPECT_EQ(twoDescriptions().byteSize(), 52u);
}

TEST(AudioChannelLayoutTest, HostBytesOfATaggedLayout) {
  SKIP_UNLESS_LITTLE_ENDIAN();
  AudioChannelLayout stereo;
  stereo.mChannelLayoutTag = kAudioChannelLayoutTag_Stereo;
  const Bytes expected{
      0x02, 0x00, 0x65, 0x00,  // mChannelLayoutTag (101 << 16) | 2
      0x00, 0x00, 0x00, 0x00,  // mChannelBitmap
      0x00, 0x00, 0x00, 0x00,  // mNumberChannelDescriptions
  };
  EXPECT_EQ(stereo.hostBytes(), expected);
}

TEST(AudioChannelLayoutTest, HostBytesWithDescriptions) {
  SKIP_UNLESS_LITTLE_ENDIAN();
  const Bytes expected{
      0x00, 0x00, 0x00, 0x00,  // mChannelLayoutTag UseChannelDescriptions
      0x00, 0x00, 0x00, 0x00,  // mChannelBitmap
      0x02, 0x00, 0x00, 0x00,  // mNumberChannelDescriptions
      0x01, 0x00, 0x00, 0x00,  // [0] mChannelLabel
      0x00, 0x00, 0x00, 0x00,  // [0] mChannelFlags
      0x00, 0x00, 0x80, 0xBF,  // [0] mCoordinates[0] -1.0
      0x00, 0x00, 0x00, 0x3F,  // [0] mCoordinates[1] 0.5
      0x00, 0x00, 0x00, 0x00,  // [0] mCoordinates[2] 0.0
      0x02, 0x00, 0x00, 0x00,  // [1] mChannelLabel
      0x01, 0x00, 0x00, 0x00,  // [1] mChannelFlags
      0x00, 0x00, 0x80, 0x3F,  // [1] mCoordinates[0] 1.0
      0x00, 0x00, 0x00, 0x3F,  // [1] mCoordinates[1] 0.5
      0x00, 0x00, 0x00, 0x00,  // [1] mCoordinates[2] 0.0
  };
  EXPECT_EQ(twoDescriptions().hostBytes(), expected);
}

TEST(AudioChannelLayoutTest, RoundTripsThroughHostBytes) {
  AudioChannelLayout bitmap;
  bitmap.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelBitmap;
  bitmap.mChannelBitmap = 0x3F;
  AudioChannelLayout mono;
  mono.mChannelLayoutTag = kAudioChannelLayoutTag_Mono;
  for (const AudioChannelLayout& layout : {twoDescriptions(), bitmap, mono}) {
    const Bytes bytes = layout.hostBytes();
    ASSERT_EQ(bytes.size(), layout.byteSize());
    EXPECT_EQ(AudioChannelLayout::fromHostBytes(bytes), layout);
  }
}

TEST(AudioChannelLayoutTest, BytesAfterTheDescriptionsAreIgnored) {
  const AudioChannelLayout layout = twoDescriptions();
  Bytes bytes = layout.hostBytes();
  bytes.insert(bytes.end(), {0xEE, 0xEE, 0xEE});
  EXPECT_EQ(AudioChannelLayout::fromHostBytes(bytes), layout);
}

TEST(AudioChannelLayoutTest, FewerThanTwelveBytesAreRefused) {
  EXPECT_FALSE(AudioChannelLayout::fromHostBytes({}).has_value());
  const Bytes eleven(11, 0);
  EXPECT_FALSE(AudioChannelLayout::fromHostBytes(eleven).has_value());
}

// The count is read from untrusted bytes: a count beyond them is refused before anything is
// copied (the vectors are exactly as long as given, so the sanitizer catches any read past them).
TEST(AudioChannelLayoutTest, ACountBeyondTheBytesIsRefused) {
  SKIP_UNLESS_LITTLE_ENDIAN();
  const Bytes thousandInTwelve{
      0x00, 0x00, 0x00, 0x00,  // mChannelLayoutTag
      0x00, 0x00, 0x00, 0x00,  // mChannelBitmap
      0xE8, 0x03, 0x00, 0x00,  // mNumberChannelDescriptions 1000
  };
  EXPECT_FALSE(AudioChannelLayout::fromHostBytes(thousandInTwelve).has_value());

  Bytes oneShort = twoDescriptions().hostBytes();
  oneShort.pop_back();
  EXPECT_FALSE(AudioChannelLayout::fromHostBytes(oneShort).has_value());

  Bytes huge = twoDescriptions().hostBytes();
  huge[8] = huge[9] = huge[10] = huge[11] = 0xFF;  // count 0xFFFFFFFF
  EXPECT_FALSE(AudioChannelLayout::fromHostBytes(huge).has_value());
  huge[8] = huge[9] = huge[10] = 0x00;
  huge[11] = 0x80;  // count 0x80000000, whose 20 x count wraps in 32 bits
  EXPECT_FALSE(AudioChannelLayout::fromHostBytes(huge).has_value());
}

TEST(AudioChannelLayoutTest, ZeroCountInTwelveBytes) {
  SKIP_UNLESS_LITTLE_ENDIAN();
  const Bytes bytes{
      0x01, 0x00, 0x64, 0x00,  // mChannelLayoutTag Mono (100 << 16) | 1
      0x00, 0x00, 0x00, 0x00,  // mChannelBitmap
      0x00, 0x00, 0x00, 0x00,  // mNumberChannelDescriptions
  };
  const auto layout = AudioChannelLayout::fromHostBytes(bytes);
  ASSERT_TRUE(layout.has_value());
  EXPECT_EQ(layout->mChannelLayoutTag, kAudioChannelLayoutTag_Mono);
  EXPECT_TRUE(layout->mChannelDescriptions.empty());
}

AudioStreamBasicDescription stereoFloat48k() {
  return {.mSampleRate = 48000,
          .mFormatID = kAudioFormatLinearPCM,
          .mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked,
          .mBytesPerPacket = 8,
          .mFramesPerPacket = 1,
          .mBytesPerFrame = 8,
          .mChannelsPerFrame = 2,
          .mBitsPerChannel = 32,
          .mReserved = 0};
}

TEST(AudioStreamBasicDescriptionTest, HostBytesAreFortyBytes) {
  SKIP_UNLESS_LITTLE_ENDIAN();
  const Bytes expected{
      0x00, 0x00, 0x00, 0x00, 0x00, 0x70, 0xE7, 0x40,  // mSampleRate 48000.0
      'm',  'c',  'p',  'l',                           // mFormatID 'lpcm'
      0x09, 0x00, 0x00, 0x00,                          // mFormatFlags float | packed
      0x08, 0x00, 0x00, 0x00,                          // mBytesPerPacket
      0x01, 0x00, 0x00, 0x00,                          // mFramesPerPacket
      0x08, 0x00, 0x00, 0x00,                          // mBytesPerFrame
      0x02, 0x00, 0x00, 0x00,                          // mChannelsPerFrame
      0x20, 0x00, 0x00, 0x00,                          // mBitsPerChannel
      0x00, 0x00, 0x00, 0x00,                          // mReserved
  };
  EXPECT_EQ(hostBytesOf(stereoFloat48k()), expected);
}

TEST(AudioStreamBasicDescriptionTest, RoundTripsThroughHostBytes) {
  const AudioStreamBasicDescription asbd = stereoFloat48k();
  EXPECT_EQ(asbdFromHostBytes(hostBytesOf(asbd)), asbd);
}

TEST(AudioStreamBasicDescriptionTest, ShortBytesLeaveZerosAndLongBytesAreCut) {
  const Bytes full = hostBytesOf(stereoFloat48k());
  const Bytes firstTwelve(full.begin(), full.begin() + 12);
  const AudioStreamBasicDescription partial = asbdFromHostBytes(firstTwelve);
  EXPECT_EQ(partial.mSampleRate, 48000.0);
  EXPECT_EQ(partial.mFormatID, kAudioFormatLinearPCM);
  EXPECT_EQ(partial.mFormatFlags, 0u);
  EXPECT_EQ(partial.mBitsPerChannel, 0u);

  Bytes longer = full;
  longer.insert(longer.end(), 8, 0xFF);
  EXPECT_EQ(asbdFromHostBytes(longer), stereoFloat48k());

  EXPECT_EQ(asbdFromHostBytes({}), AudioStreamBasicDescription{});
}

TEST(AudioStreamBasicDescriptionTest, LinearPcmCode) {
  EXPECT_EQ(kAudioFormatLinearPCM, 0x6C70636Du);
}

}  // namespace
}  // namespace premoov
