#include "movie/video_description.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "movie/track_atoms.h"

namespace premoov {
namespace {

using testing::TrackAtoms;

std::optional<VideoDescription> descriptionOf(const TrackAtoms& track) {
  return testing::readOnlyTrack(track, readVideoDescription);
}

TEST(VideoDescriptionTest, ReadsTheFormatWidthAndHeight) {
  const auto description =
      descriptionOf({.handler = FourCC("vide"),
                     .format = FourCC("2vuy"),
                     .descriptionFields = testing::videoDescriptionFields(720, 486)});
  ASSERT_TRUE(description);
  EXPECT_EQ(description->format, FourCC("2vuy"));
  EXPECT_EQ(description->width, 720u);
  EXPECT_EQ(description->height, 486u);
}

TEST(VideoDescriptionTest, ReadsTheLargestDimensions) {
  const auto description =
      descriptionOf({.format = FourCC("v210"),
                     .descriptionFields = testing::videoDescriptionFields(0xFFFF, 0xFFFE)});
  ASSERT_TRUE(description);
  EXPECT_EQ(description->width, 0xFFFFu);
  EXPECT_EQ(description->height, 0xFFFEu);
}

TEST(VideoDescriptionTest, AnswersNothingForADescriptionWithoutDimensions) {
  // A caption description ends after its data reference index.
  EXPECT_FALSE(descriptionOf({.format = FourCC("c608")}));
  // The width there, the height cut off.
  std::vector<uint8_t> fields = testing::videoDescriptionFields(720, 486);
  fields.resize(19);
  EXPECT_FALSE(descriptionOf({.format = FourCC("2vuy"), .descriptionFields = fields}));
  fields.resize(20);
  EXPECT_TRUE(descriptionOf({.format = FourCC("2vuy"), .descriptionFields = fields}));
}

TEST(VideoDescriptionTest, ReadsTheCompressorName) {
  std::vector<uint8_t> fields = testing::videoDescriptionFields(1920, 1080);
  EXPECT_EQ(descriptionOf({.format = FourCC("apch"), .descriptionFields = fields})->compressorName,
            std::nullopt);  // an empty name
  const std::string name = "Apple ProRes 422 HQ";
  fields[34] = static_cast<uint8_t>(name.size());  // after the resolutions, data size and count
  std::copy(name.begin(), name.end(), fields.begin() + 35);
  const auto description = descriptionOf({.format = FourCC("apch"), .descriptionFields = fields});
  ASSERT_TRUE(description);
  EXPECT_EQ(description->compressorName, name);

  fields[34] = 32;  // longer than the 31 bytes a name may have
  EXPECT_EQ(descriptionOf({.format = FourCC("apch"), .descriptionFields = fields})->compressorName,
            std::nullopt);
}

TEST(VideoDescriptionTest, AnswersNothingWithoutASampleDescription) {
  EXPECT_FALSE(descriptionOf({.format = FourCC("2vuy"), .withStsd = false}));
}

}  // namespace
}  // namespace premoov
