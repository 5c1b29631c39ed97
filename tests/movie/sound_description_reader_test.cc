#include "movie/sound_description_reader.h"

#include <gtest/gtest.h>

#include <bit>

#include "movie/track_atoms.h"

namespace premoov {
namespace {

using testing::TrackAtoms;

std::optional<SoundDescription> descriptionOf(const std::vector<uint8_t>& fields,
                                              FourCC format = FourCC("lpcm")) {
  return testing::readOnlyTrack(
      {.handler = FourCC("soun"), .format = format, .descriptionFields = fields},
      readSoundDescription);
}

// A version 2 description: 'lpcm' with the rate as a 64-bit float.
std::vector<uint8_t> version2Fields(double rate, uint32_t channels, uint32_t bits) {
  ByteWriter w;
  w.u16(2);      // version
  w.zeros(6);    // revision level, vendor
  w.u16(3);      // always 3
  w.u16(16);     // always 16
  w.i16(-2);     // always -2
  w.u16(0);      // always 0
  w.u32(65536);  // always 65536
  w.u32(72);     // size of the structure
  w.u64(std::bit_cast<uint64_t>(rate));
  w.u32(channels);
  w.u32(0x7F000000);  // always
  w.u32(bits);
  w.u32(14);                   // format flags
  w.u32(channels * bits / 8);  // bytes a packet
  w.u32(1);                    // frames a packet
  return w.take();
}

// A version 0 description: channels, sample size, then the rate as 16.16.
std::vector<uint8_t> version0Fields(uint32_t rate16_16, uint16_t channels, uint16_t bits) {
  ByteWriter w;
  w.u16(0);    // version
  w.zeros(6);  // revision level, vendor
  w.u16(channels);
  w.u16(bits);
  w.u16(0);  // compression ID
  w.u16(0);  // packet size
  w.u32(rate16_16);
  return w.take();
}

TEST(SoundDescriptionReaderTest, ReadsAVersion2Description) {
  const auto sound = descriptionOf(version2Fields(48000, 1, 24));
  ASSERT_TRUE(sound);
  EXPECT_EQ(sound->format, FourCC("lpcm"));
  EXPECT_EQ(sound->version, 2);
  EXPECT_EQ(sound->sampleRate, 48000.0);
  EXPECT_EQ(sound->channels, 1u);
  EXPECT_EQ(sound->bitsPerChannel, 24u);
}

TEST(SoundDescriptionReaderTest, ReadsAVersion0Description) {
  const auto sound = descriptionOf(version0Fields(44100u << 16, 2, 16), FourCC("twos"));
  ASSERT_TRUE(sound);
  EXPECT_EQ(sound->format, FourCC("twos"));
  EXPECT_EQ(sound->version, 0);
  EXPECT_EQ(sound->sampleRate, 44100.0);
  EXPECT_EQ(sound->channels, 2u);
  EXPECT_EQ(sound->bitsPerChannel, 16u);
}

TEST(SoundDescriptionReaderTest, AnswersNothingForADescriptionCutShort) {
  // Up to the last field it needs, one byte short, then whole.
  std::vector<uint8_t> fields = version2Fields(48000, 8, 24);
  fields.resize(44 - 1);
  EXPECT_FALSE(descriptionOf(fields));
  fields = version2Fields(48000, 8, 24);
  fields.resize(44);
  EXPECT_TRUE(descriptionOf(fields));
  fields = version0Fields(48000u << 16, 2, 16);
  fields.resize(fields.size() - 1);
  EXPECT_FALSE(descriptionOf(fields));
  EXPECT_FALSE(descriptionOf({}));
}

}  // namespace
}  // namespace premoov
