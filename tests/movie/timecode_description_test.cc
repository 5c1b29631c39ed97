#include "movie/timecode_description.h"

#include <gtest/gtest.h>

#include <string>

#include "movie/track_atoms.h"

namespace premoov {
namespace {

using testing::TrackAtoms;

std::optional<TimecodeDescription> descriptionOf(const std::vector<uint8_t>& fields) {
  return testing::readOnlyTrack(
      {.handler = FourCC("tmcd"), .format = FourCC("tmcd"), .descriptionFields = fields},
      readTimecodeDescription);
}

// The timecode fields, then the reel name as a bare 'name' atom in place of the source reference.
std::vector<uint8_t> timecodeFields(uint32_t flags, uint32_t timeScale, uint32_t frameDuration,
                                    uint8_t framesPerSecond, const std::string& reel) {
  ByteWriter w;
  w.u32(0);  // reserved
  w.u32(flags);
  w.u32(timeScale);
  w.u32(frameDuration);
  w.u8(framesPerSecond);
  w.u8(0);  // padding
  w.u32(static_cast<uint32_t>(12 + reel.size()));
  w.fourCC(FourCC("name"));
  w.u16(static_cast<uint16_t>(reel.size()));
  w.u16(0);  // language
  w.text(reel);
  return w.take();
}

TEST(TimecodeDescriptionTest, ReadsTheDefinitionAndTheReel) {
  const auto timecode = descriptionOf(timecodeFields(1, 30000, 1001, 30, "A001"));
  ASSERT_TRUE(timecode);
  EXPECT_TRUE(timecode->dropFrame);
  EXPECT_EQ(timecode->timeScale, 30000u);
  EXPECT_EQ(timecode->frameDuration, 1001u);
  EXPECT_EQ(timecode->framesPerSecond, 30);
  EXPECT_EQ(timecode->reel, "A001");

  const auto nonDrop = descriptionOf(timecodeFields(0, 25000, 1000, 25, "B002"));
  ASSERT_TRUE(nonDrop);
  EXPECT_FALSE(nonDrop->dropFrame);
  EXPECT_EQ(nonDrop->reel, "B002");
}

TEST(TimecodeDescriptionTest, AReelCutShortOrMissingIsNoReel) {
  std::vector<uint8_t> fields = timecodeFields(0, 25000, 1000, 25, "B002");
  // The 'name' atom one byte shorter than the text its length field claims.
  fields.resize(fields.size() - 1);
  fields[21] = static_cast<uint8_t>(fields[21] - 1);  // the low byte of the atom's size
  auto timecode = descriptionOf(fields);
  ASSERT_TRUE(timecode);
  EXPECT_EQ(timecode->reel, std::nullopt);

  fields.resize(18);  // the four fields and the padding only
  timecode = descriptionOf(fields);
  ASSERT_TRUE(timecode);
  EXPECT_EQ(timecode->framesPerSecond, 25);
  EXPECT_EQ(timecode->reel, std::nullopt);

  fields.resize(17);  // no padding
  EXPECT_FALSE(descriptionOf(fields));
}

}  // namespace
}  // namespace premoov
