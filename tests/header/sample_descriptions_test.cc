#include "header/sample_descriptions.h"

#include <gtest/gtest.h>

#include "base/byte_reader.h"
#include "base/log.h"
#include "movie/fault_injecting_toolbox.h"
#include "support/recording_client.h"

namespace premoov {
namespace {

ImageDescriptionSettings proRes() {
  return {.codec = FourCC("apch").value,
          .formatName = "Apple ProRes 422 HQ",
          .dimensions = {1920, 1080},
          .colorPrimaries = 1,
          .transferFunction = 1,
          .matrix = 1,
          .numberOfFields = 2,
          .fieldOrder = 9,
          .horizontalSpacing = 1,
          .verticalSpacing = 1};
}

// The extension atoms after the 70 bytes of image description fields: (type, payload) pairs.
std::vector<std::pair<FourCC, std::vector<uint8_t>>> extensionsOf(const SampleDescription& d) {
  std::vector<std::pair<FourCC, std::vector<uint8_t>>> out;
  ByteReader r(std::span(d.body).subspan(70));
  while (r.remaining() >= 8) {
    const uint32_t size = *r.u32();
    const FourCC type = *r.fourCC();
    if (size < 8) break;
    auto payload = r.bytes(size - 8);
    if (!payload) break;
    out.emplace_back(type, std::vector<uint8_t>(payload->begin(), payload->end()));
  }
  return out;
}

TEST(ImageDescriptionTest, OrdinaryCodecGives130BytesEndingInColrFielPasp) {
  const auto d = makeImageDescription(proRes());
  EXPECT_EQ(d->size(), 130u);
  EXPECT_EQ(d->format, FourCC("apch"));
  const std::vector<uint8_t> fields(d->body.begin(), d->body.begin() + 70);
  std::vector<uint8_t> expected = {
      0,    0,           // version
      0,    0,           // revision level
      0,    0,    0, 0,  // vendor
      0,    0,    0, 0,  // temporal quality
      0,    0,    0, 0,  // spatial quality
      0x07, 0x80,        // width 1920
      0x04, 0x38,        // height 1080
      0x00, 0x48, 0, 0,  // horizontal resolution 72.0
      0x00, 0x48, 0, 0,  // vertical resolution 72.0
      0,    0,    0, 0,  // data size
      0,    0,           // frame count: zero
      19,                // name length
  };
  const std::string name = "Apple ProRes 422 HQ";
  expected.insert(expected.end(), name.begin(), name.end());
  expected.resize(expected.size() + 31 - name.size(), 0);
  expected.insert(expected.end(), {0, 24,         // depth
                                   0xFF, 0xFF});  // colour table id -1
  EXPECT_EQ(fields, expected);

  const auto ext = extensionsOf(*d);
  ASSERT_EQ(ext.size(), 3u);
  EXPECT_EQ(ext[0].first, FourCC("colr"));
  EXPECT_EQ(ext[0].second, (std::vector<uint8_t>{'n', 'c', 'l', 'c',  // parameter type
                                                 0, 1,                // primaries
                                                 0, 1,                // transfer function
                                                 0, 1}));             // matrix
  EXPECT_EQ(ext[1].first, FourCC("fiel"));
  EXPECT_EQ(ext[1].second, (std::vector<uint8_t>{2,     // fields
                                                 9}));  // order
  EXPECT_EQ(ext[2].first, FourCC("pasp"));
  EXPECT_EQ(ext[2].second, (std::vector<uint8_t>{0, 0, 0, 1,     // horizontal spacing
                                                 0, 0, 0, 1}));  // vertical spacing
}

TEST(ImageDescriptionTest, DVCPROHDGets170BytesWithTheFullFrameAsCleanAperture) {
  auto s = proRes();
  s.codec = FourCC("dvh6").value;
  s.formatName = "DVCPRO HD 1080i60";
  s.dimensions = {1280, 1080};
  const auto d = makeImageDescription(s);
  EXPECT_EQ(d->size(), 170u);
  const auto ext = extensionsOf(*d);
  ASSERT_EQ(ext.size(), 4u);
  EXPECT_EQ(ext[3].first, FourCC("clap"));
  EXPECT_EQ(ext[3].second, (std::vector<uint8_t>{0, 0, 0x05, 0x00,  // width 1280
                                                 0, 0, 0,    1,     // over 1
                                                 0, 0, 0x04, 0x38,  // height 1080
                                                 0, 0, 0,    1,     // over 1
                                                 0, 0, 0,    0,     // horizontal offset 0
                                                 0, 0, 0,    1,     // over 1
                                                 0, 0, 0,    0,     // vertical offset 0
                                                 0, 0, 0,    1}));  // over 1
}

TEST(ImageDescriptionTest, DVCPROPrefixTestIsCaseSensitive) {
  auto s = proRes();
  s.formatName = "dvcpro hd 1080i60";
  EXPECT_EQ(makeImageDescription(s)->size(), 130u);
  s.formatName = "DVCPRO 50";
  EXPECT_EQ(makeImageDescription(s)->size(), 130u);
}

TEST(ImageDescriptionTest, DNxHDCarriesItsThreeCodecAtomsFirst) {
  Value atoms = Value::dictionary();
  atoms.setObject("ACLR", Value::data(std::vector<uint8_t>(16, 0xA1)));
  atoms.setObject("APRG", Value::data(std::vector<uint8_t>(16, 0xA2)));
  atoms.setObject("ARES", Value::data(std::vector<uint8_t>(112, 0xA3)));
  auto s = proRes();
  s.codec = FourCC("AVdn").value;
  s.extensionAtoms = &atoms;
  const auto d = makeImageDescription(s);
  EXPECT_EQ(d->size(), 298u);
  const auto ext = extensionsOf(*d);
  ASSERT_EQ(ext.size(), 6u);
  EXPECT_EQ(ext[0].first, FourCC("ACLR"));
  EXPECT_EQ(ext[0].second, std::vector<uint8_t>(16, 0xA1));
  EXPECT_EQ(ext[1].first, FourCC("APRG"));
  EXPECT_EQ(ext[2].first, FourCC("ARES"));
  EXPECT_EQ(ext[2].second, std::vector<uint8_t>(112, 0xA3));
  EXPECT_EQ(ext[3].first, FourCC("colr"));
  EXPECT_EQ(ext[5].first, FourCC("pasp"));
}

TEST(ImageDescriptionTest, DNxHDWithoutItsAtomsKeepsSize298WithAZeroTail) {
  auto s = proRes();
  s.codec = FourCC("AVdn").value;
  const auto d = makeImageDescription(s);
  EXPECT_EQ(d->size(), 298u);
  EXPECT_EQ(extensionsOf(*d).size(), 3u);
  for (size_t i = 70 + 44; i < d->body.size(); ++i) EXPECT_EQ(d->body[i], 0) << i;
}

TEST(ImageDescriptionTest, CodecAtomOfTheWrongLengthKeepsItsFixedSizeAndIsLogged) {
  LogCapture log;
  Value atoms = Value::dictionary();
  atoms.setObject("ACLR", Value::data(std::vector<uint8_t>(40, 0xA1)));
  atoms.setObject("APRG", Value::data(std::vector<uint8_t>(4, 0xA2)));
  auto s = proRes();
  s.codec = FourCC("AVdn").value;
  s.extensionAtoms = &atoms;
  const auto ext = extensionsOf(*makeImageDescription(s));
  ASSERT_GE(ext.size(), 2u);
  EXPECT_EQ(ext[0].second, std::vector<uint8_t>(16, 0xA1));
  std::vector<uint8_t> padded(16, 0);
  std::fill_n(padded.begin(), 4, 0xA2);
  EXPECT_EQ(ext[1].second, padded);
  EXPECT_EQ(log.lines().size(), 2u);
}

TEST(ImageDescriptionTest, LongFormatNameIsCutTo31BytesAndLogged) {
  LogCapture log;
  auto s = proRes();
  s.formatName = std::string(40, 'x');
  const auto d = makeImageDescription(s);
  EXPECT_EQ(d->size(), 130u);
  EXPECT_EQ(d->body[34], 31);  // name length
  EXPECT_EQ(d->body[66], 0);   // depth, untouched
  EXPECT_EQ(d->body[67], 24);
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST(ImageDescriptionTest, DimensionsAreTruncatedTo16Bits) {
  auto s = proRes();
  s.dimensions = {65536 + 1920, 1080};
  const auto d = makeImageDescription(s);
  EXPECT_EQ(d->body[16], 0x07);
  EXPECT_EQ(d->body[17], 0x80);
}

TEST(SoundDescriptionTest, PassesAStereoLayoutOf52Bytes) {
  FaultInjectingToolbox toolbox;
  AudioChannelLayout stereo{
      kAudioChannelLayoutTag_UseChannelDescriptions, 0, {{1, 0, {}}, {2, 0, {}}}};
  EXPECT_EQ(stereo.byteSize(), 52u);
  const auto d = makeSoundDescription(toolbox, testing::pcmDescription(48000, 2, 24), &stereo);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->format, FourCC("lpcm"));
  // The channel layout atom closes the version 2 description: 12 header + 52 layout bytes.
  ASSERT_GE(d->body.size(), 64u);
  ByteReader r(std::span(d->body).subspan(d->body.size() - 64));
  EXPECT_EQ(r.u32(), 64u);
  EXPECT_EQ(r.fourCC(), FourCC("chan"));
}

TEST(SoundDescriptionTest, NoLayoutIsPassedAsNothing) {
  FaultInjectingToolbox toolbox;
  const auto d = makeSoundDescription(toolbox, testing::pcmDescription(48000, 2, 16), nullptr);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->format, FourCC("twos"));  // 16-bit big-endian stereo fits version 0
}

TEST(SoundDescriptionTest, FailureIsLoggedAndGivesNoDescription) {
  LogCapture log;
  FaultInjectingToolbox toolbox;
  toolbox.failCall("QTSoundDescriptionCreate", -50);
  EXPECT_EQ(makeSoundDescription(toolbox, testing::pcmDescription(48000, 1, 24), nullptr), nullptr);
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0], "Error creating sound description: -50");
}

TEST(TimecodeDescriptionTest, Holds38BytesWithFramesPerSecondFromTheTimeScale) {
  const auto d = makeTimecodeDescription(true, CMTimeMake(1001, 30000));
  EXPECT_EQ(d->size(), 38u);
  EXPECT_EQ(d->format, FourCC("tmcd"));
  EXPECT_EQ(d->dataReferenceIndex, 1);
  EXPECT_EQ(d->body, (std::vector<uint8_t>{0,  0, 0,    0,     // flags
                                           0,  0, 0,    1,     // drop frame
                                           0,  0, 0x75, 0x30,  // time scale 30000
                                           0,  0, 0x03, 0xE9,  // frame duration 1001
                                           30,                 // frames per second
                                           0,                  // padding
                                           0,  0, 0,    0}));  // source reference
  EXPECT_EQ(makeTimecodeDescription(false, CMTimeMake(1, 2997))->body[16], 2);
  EXPECT_EQ(makeTimecodeDescription(false, CMTimeMake(1, 30))->body[16], 0);
}

TEST(ClosedCaptionDescriptionTest, Is16BytesOfC708) {
  const auto d = makeClosedCaptionDescription();
  EXPECT_EQ(d->size(), 16u);
  EXPECT_EQ(d->format, FourCC("c708"));
  EXPECT_EQ(d->dataReferenceIndex, 1);
}

}  // namespace
}  // namespace premoov
