#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "media/audio_types.h"
#include "movie/atom_tree.h"
#include "movie/toolbox.h"

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr FourCC kAnyVersion("mvny");
constexpr uint32_t kSignedPacked = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
constexpr uint32_t kChannelLabelLeft = 1;
constexpr uint32_t kChannelLabelRight = 2;
constexpr uint32_t kChannelFlagsRectangular = 1;
constexpr uint32_t kChannelFlagsSphericalMeters = 2 | 4;

AudioStreamBasicDescription integerPCM(double rate, uint32_t channels, uint32_t bits,
                                       uint32_t flags) {
  const uint32_t bytesPerFrame = channels * bits / 8;
  return AudioStreamBasicDescription{.mSampleRate = rate,
                                     .mFormatID = kAudioFormatLinearPCM,
                                     .mFormatFlags = flags,
                                     .mBytesPerPacket = bytesPerFrame,
                                     .mFramesPerPacket = 1,
                                     .mBytesPerFrame = bytesPerFrame,
                                     .mChannelsPerFrame = channels,
                                     .mBitsPerChannel = bits};
}

SampleDescriptionHandle create(const AudioStreamBasicDescription& asbd,
                               const AudioChannelLayout* layout = nullptr) {
  SampleDescriptionHandle description;
  const OSErr err = defaultToolbox().QTSoundDescriptionCreate(
      asbd, layout, layout ? layout->byteSize() : 0, nullptr, 0, kAnyVersion, &description);
  EXPECT_EQ(err, noErr);
  return description;
}

OSErr createStatus(const AudioStreamBasicDescription& asbd, const AudioChannelLayout* layout,
                   uint32_t layoutSize, OSType kind = kAnyVersion) {
  SampleDescriptionHandle description = std::make_shared<SampleDescription>();
  const OSErr err = defaultToolbox().QTSoundDescriptionCreate(asbd, layout, layoutSize, nullptr, 0,
                                                              kind, &description);
  EXPECT_EQ(description, nullptr);
  return err;
}

uint16_t versionOf(const SampleDescription& description) {
  return static_cast<uint16_t>(description.body.at(0) << 8 | description.body.at(1));
}

TEST(SoundDescriptionTest, SixteenBitBigEndianStereoIsTwosVersion0) {
  const auto description =
      create(integerPCM(48000, 2, 16, kSignedPacked | kAudioFormatFlagIsBigEndian));
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(description->format, FourCC("twos"));
  EXPECT_EQ(description->dataReferenceIndex, 1);
  const Bytes expected = {
      0x00, 0x00,              // version
      0x00, 0x00,              // revision level
      0x00, 0x00, 0x00, 0x00,  // vendor
      0x00, 0x02,              // number of channels
      0x00, 0x10,              // sample size: 16 bits
      0x00, 0x00,              // compression ID
      0x00, 0x00,              // packet size
      0xBB, 0x80, 0x00, 0x00,  // sample rate: 48000, 16.16
  };
  EXPECT_EQ(description->body, expected);
  EXPECT_EQ(description->size(), 36u);
}

TEST(SoundDescriptionTest, SixteenBitLittleEndianIsSowt) {
  const auto description = create(integerPCM(44100, 1, 16, kSignedPacked));
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(description->format, FourCC("sowt"));
  EXPECT_EQ(versionOf(*description), 0);
  const Bytes rate(description->body.end() - 4, description->body.end());
  EXPECT_EQ(rate, (Bytes{0xAC, 0x44, 0x00, 0x00}));  // 44100, 16.16
  EXPECT_EQ(description->body.at(9), 1);             // number of channels
}

TEST(SoundDescriptionTest, EightBitUnsignedIsRawAndSignedIsTwos) {
  const auto unsignedBytes = create(integerPCM(22050, 1, 8, kAudioFormatFlagIsPacked));
  ASSERT_NE(unsignedBytes, nullptr);
  EXPECT_EQ(unsignedBytes->format, FourCC("raw "));
  EXPECT_EQ(versionOf(*unsignedBytes), 0);
  EXPECT_EQ(unsignedBytes->body.at(11), 8);  // sample size
  const auto signedBytes = create(integerPCM(22050, 2, 8, kSignedPacked));
  ASSERT_NE(signedBytes, nullptr);
  EXPECT_EQ(signedBytes->format, FourCC("twos"));
  EXPECT_EQ(versionOf(*signedBytes), 0);
}

// 'twos' and 'sowt' are signed: unsigned 16-bit samples keep their flags in version 2.
TEST(SoundDescriptionTest, SixteenBitUnsignedNeedsVersion2) {
  const auto description = create(integerPCM(48000, 2, 16, kAudioFormatFlagIsPacked));
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(description->format, FourCC("lpcm"));
  EXPECT_EQ(versionOf(*description), 2);
}

TEST(SoundDescriptionTest, TwentyFourBitMonoWithALayoutIsVersion2) {
  const AudioChannelLayout mono{kAudioChannelLayoutTag_Mono, 0, {}};
  const auto description = create(integerPCM(48000, 1, 24, kSignedPacked), &mono);
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(description->format, FourCC("lpcm"));
  EXPECT_EQ(description->dataReferenceIndex, 1);
  const Bytes expected = {
      0x00, 0x02,                                      // version
      0x00, 0x00,                                      // revision level
      0x00, 0x00, 0x00, 0x00,                          // vendor
      0x00, 0x03,                                      // always 3
      0x00, 0x10,                                      // always 16
      0xFF, 0xFE,                                      // always -2
      0x00, 0x00,                                      // always 0
      0x00, 0x01, 0x00, 0x00,                          // always 65536
      0x00, 0x00, 0x00, 0x48,                          // size of the structure only: 72
      0x40, 0xE7, 0x70, 0x00, 0x00, 0x00, 0x00, 0x00,  // sample rate: 48000.0, 64-bit float
      0x00, 0x00, 0x00, 0x01,                          // number of channels
      0x7F, 0x00, 0x00, 0x00,                          // always 0x7F000000
      0x00, 0x00, 0x00, 0x18,                          // bits per channel: 24
      0x00, 0x00, 0x00, 0x0C,                          // format flags: signed, packed
      0x00, 0x00, 0x00, 0x03,                          // bytes per audio packet
      0x00, 0x00, 0x00, 0x01,                          // frames per audio packet
      0x00, 0x00, 0x00, 0x18,                          // 'chan' size
      'c',  'h',  'a',  'n',                           // 'chan' type
      0x00, 0x00, 0x00, 0x00,                          // version and flags
      0x00, 0x64, 0x00, 0x01,                          // layout tag: mono
      0x00, 0x00, 0x00, 0x00,                          // channel bitmap
      0x00, 0x00, 0x00, 0x00,                          // number of channel descriptions
  };
  EXPECT_EQ(description->body, expected);
  // The structure ends 72 bytes into the whole description, where its extensions start.
  EXPECT_EQ(description->size(), 72u + 24u);
}

TEST(SoundDescriptionTest, WritesEveryChannelDescriptionBigEndian) {
  const AudioChannelLayout layout{
      kAudioChannelLayoutTag_UseChannelDescriptions,
      0,
      {{kChannelLabelLeft, kChannelFlagsRectangular, {-1.0f, 1.0f, 0.0f}},
       {kChannelLabelRight, kChannelFlagsSphericalMeters, {30.0f, 0.0f, 2.5f}}}};
  const auto description =
      create(integerPCM(48000, 2, 16, kSignedPacked | kAudioFormatFlagIsBigEndian), &layout);
  ASSERT_NE(description, nullptr);
  // A layout has no room in version 0.
  EXPECT_EQ(description->format, FourCC("lpcm"));
  EXPECT_EQ(versionOf(*description), 2);
  ASSERT_EQ(description->body.size(), 56u + 64u);
  const Bytes chan(description->body.begin() + 56, description->body.end());
  const Bytes expected = {
      0x00, 0x00, 0x00, 0x40,  // 'chan' size
      'c',  'h',  'a',  'n',   // 'chan' type
      0x00, 0x00, 0x00, 0x00,  // version and flags
      0x00, 0x00, 0x00, 0x00,  // layout tag: use the channel descriptions
      0x00, 0x00, 0x00, 0x00,  // channel bitmap
      0x00, 0x00, 0x00, 0x02,  // number of channel descriptions
      0x00, 0x00, 0x00, 0x01,  // channel label: left
      0x00, 0x00, 0x00, 0x01,  // channel flags: rectangular coordinates
      0xBF, 0x80, 0x00, 0x00,  // coordinate: -1.0
      0x3F, 0x80, 0x00, 0x00,  // coordinate: 1.0
      0x00, 0x00, 0x00, 0x00,  // coordinate: 0.0
      0x00, 0x00, 0x00, 0x02,  // channel label: right
      0x00, 0x00, 0x00, 0x06,  // channel flags: spherical coordinates, metres
      0x41, 0xF0, 0x00, 0x00,  // coordinate: 30.0
      0x00, 0x00, 0x00, 0x00,  // coordinate: 0.0
      0x40, 0x20, 0x00, 0x00,  // coordinate: 2.5
  };
  EXPECT_EQ(chan, expected);
}

TEST(SoundDescriptionTest, TheLayoutAtomParsesInsideTheDescription) {
  const AudioChannelLayout stereo{kAudioChannelLayoutTag_Stereo, 0, {}};
  const auto description = create(integerPCM(48000, 2, 24, kSignedPacked), &stereo);
  ASSERT_NE(description, nullptr);
  // The description's extensions start after the 72-byte structure, 56 bytes into its body.
  const AtomTree tree = parseAtomTree(std::span<const uint8_t>(description->body).subspan(56));
  ASSERT_TRUE(tree.ok()) << tree.error->message();
  ASSERT_EQ(tree.atoms.size(), 1u);
  EXPECT_EQ(tree.atoms[0].type, FourCC("chan"));
  EXPECT_EQ(tree.atoms[0].size, 24u);
}

TEST(SoundDescriptionTest, WhatVersion0CannotHoldTakesVersion2) {
  struct Case {
    const char* name;
    AudioStreamBasicDescription asbd;
  };
  AudioStreamBasicDescription nonInterleaved = integerPCM(48000, 2, 16, kSignedPacked);
  nonInterleaved.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
  nonInterleaved.mBytesPerFrame = nonInterleaved.mBytesPerPacket = 2;
  AudioStreamBasicDescription padded = integerPCM(48000, 2, 16, kSignedPacked);
  padded.mBytesPerFrame = padded.mBytesPerPacket = 8;
  const Case cases[] = {
      {"three channels", integerPCM(48000, 3, 16, kSignedPacked)},
      {"96 kHz", integerPCM(96000, 2, 16, kSignedPacked)},
      {"65536 Hz", integerPCM(65536, 2, 16, kSignedPacked)},
      {"32-bit integer", integerPCM(48000, 2, 32, kSignedPacked)},
      {"32-bit float",
       integerPCM(48000, 2, 32, kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked)},
      {"non-interleaved", nonInterleaved},
      {"padded frames", padded},
  };
  for (const Case& c : cases) {
    const auto description = create(c.asbd);
    ASSERT_NE(description, nullptr) << c.name;
    EXPECT_EQ(description->format, FourCC("lpcm")) << c.name;
    EXPECT_EQ(versionOf(*description), 2) << c.name;
    EXPECT_EQ(description->body.size(), 56u) << c.name;  // no layout, no extension
  }
}

TEST(SoundDescriptionTest, Version2CarriesTheRateAsAFloat) {
  const auto description = create(integerPCM(96000, 2, 16, kSignedPacked));
  ASSERT_NE(description, nullptr);
  const Bytes rate(description->body.begin() + 24, description->body.begin() + 32);
  EXPECT_EQ(rate, (Bytes{0x40, 0xF7, 0x70, 0x00, 0x00, 0x00, 0x00, 0x00}));  // 96000.0
}

TEST(SoundDescriptionTest, AMagicCookieFollowsInAWaveAtom) {
  const Bytes cookie = {0x00, 0x00, 0x00, 0x0C, 'f', 'r', 'm', 'a', 'a', 'l', 'a', 'c'};
  AudioStreamBasicDescription alac{.mSampleRate = 48000,
                                   .mFormatID = FourCC("alac").value,
                                   .mFormatFlags = 1,
                                   .mFramesPerPacket = 4096,
                                   .mChannelsPerFrame = 2};
  SampleDescriptionHandle description;
  ASSERT_EQ(defaultToolbox().QTSoundDescriptionCreate(alac, nullptr, 0, cookie.data(),
                                                      static_cast<uint32_t>(cookie.size()),
                                                      kAnyVersion, &description),
            noErr);
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(description->format, FourCC("alac"));
  EXPECT_EQ(versionOf(*description), 2);
  ASSERT_EQ(description->body.size(), 56u + 8u + cookie.size());
  const Bytes wave(description->body.begin() + 56, description->body.begin() + 64);
  EXPECT_EQ(wave, (Bytes{0x00, 0x00, 0x00, 0x14, 'w', 'a', 'v', 'e'}));
  EXPECT_EQ(Bytes(description->body.begin() + 64, description->body.end()), cookie);
}

TEST(SoundDescriptionTest, RefusesAnyKindButAnyVersion) {
  const auto asbd = integerPCM(48000, 2, 16, kSignedPacked);
  EXPECT_EQ(createStatus(asbd, nullptr, 0, FourCC("soun")), paramErr);
  EXPECT_EQ(createStatus(asbd, nullptr, 0, FourCC()), paramErr);
}

TEST(SoundDescriptionTest, RefusesALayoutSizeThatDisagreesWithTheLayout) {
  const auto asbd = integerPCM(48000, 2, 16, kSignedPacked);
  const AudioChannelLayout mono{kAudioChannelLayoutTag_Mono, 0, {}};
  const AudioChannelLayout two{kAudioChannelLayoutTag_UseChannelDescriptions,
                               0,
                               {{kChannelLabelLeft, 0, {}}, {kChannelLabelRight, 0, {}}}};
  EXPECT_EQ(createStatus(asbd, &mono, 0), paramErr);
  EXPECT_EQ(createStatus(asbd, &mono, 13), paramErr);
  EXPECT_EQ(createStatus(asbd, &two, 12), paramErr);
  EXPECT_EQ(createStatus(asbd, &two, 12 + 20), paramErr);
}

TEST(SoundDescriptionTest, RefusesRatesThatAreNotPositiveAndFinite) {
  for (double rate : {0.0, -48000.0, std::numeric_limits<double>::quiet_NaN(),
                      std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(createStatus(integerPCM(rate, 2, 24, kSignedPacked), nullptr, 0), paramErr) << rate;
  }
}

TEST(SoundDescriptionTest, RefusesNoChannelsAndNoFormat) {
  EXPECT_EQ(createStatus(integerPCM(48000, 0, 16, kSignedPacked), nullptr, 0), paramErr);
  auto noFormat = integerPCM(48000, 2, 16, kSignedPacked);
  noFormat.mFormatID = 0;
  EXPECT_EQ(createStatus(noFormat, nullptr, 0), paramErr);
}

TEST(SoundDescriptionTest, RefusesIntegerPCMWithoutBytesPerPacket) {
  auto asbd = integerPCM(48000, 2, 24, kSignedPacked);
  asbd.mBytesPerPacket = 0;
  EXPECT_EQ(createStatus(asbd, nullptr, 0), paramErr);
  auto several = integerPCM(48000, 2, 24, kSignedPacked);
  several.mFramesPerPacket = 2;
  EXPECT_EQ(createStatus(several, nullptr, 0), paramErr);
}

TEST(SoundDescriptionTest, RefusesACookieSizeWithoutACookie) {
  SampleDescriptionHandle description;
  EXPECT_EQ(
      defaultToolbox().QTSoundDescriptionCreate(integerPCM(48000, 2, 16, kSignedPacked), nullptr, 0,
                                                nullptr, 4, kAnyVersion, &description),
      paramErr);
  EXPECT_EQ(description, nullptr);
}

}  // namespace
}  // namespace premoov
