#include "premoov/track_summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "movie/track_atoms.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using testing::TrackAtoms;

std::vector<TrackSummary> summariesOf(const std::vector<uint8_t>& bytes) {
  const AtomTree tree = parseAtomTree(bytes);
  EXPECT_TRUE(tree.ok()) << tree.error->message();
  return summarizeTracks(tree.atoms, bytes);
}

TEST(TrackSummaryTest, PlacesSamplesOfVaryingSizeThroughSeveralChunkRuns) {
  // Chunks 1-2 hold 3 samples, chunks 3-4 hold 2: sizes 1..10.
  const auto tracks = summariesOf(testing::movieBytes({{
      .trackID = 7,
      .handler = FourCC("vide"),
      .format = FourCC("apch"),
      .timeScale = 30000,
      .duration = 10010,
      .sizes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10},
      .sampleToChunk = {{1, 3, 1}, {3, 2, 1}},
      .chunkOffsets = {1000, 2000, 3000, 4000},
  }}));
  ASSERT_EQ(tracks.size(), 1u);
  const TrackSummary& t = tracks[0];
  EXPECT_THAT(t.problems, IsEmpty());
  EXPECT_EQ(t.trackID, 7u);
  EXPECT_EQ(t.kind, FourCC("vide"));
  EXPECT_EQ(t.codec, FourCC("apch"));
  EXPECT_EQ(t.sampleCount, 10u);
  EXPECT_EQ(t.timeScale, 30000u);
  EXPECT_EQ(t.duration, 10010u);
  ASSERT_TRUE(t.firstSample);
  EXPECT_EQ(t.firstSample->offset, 1000u);
  EXPECT_EQ(t.firstSample->size, 1u);
  ASSERT_TRUE(t.lastSample);
  EXPECT_EQ(t.lastSample->offset, 4000u + 9);  // after sample 9 in chunk 4
  EXPECT_EQ(t.lastSample->size, 10u);
}

TEST(TrackSummaryTest, PlacesConstantSizeSamplesThroughLargeOffsets) {
  // 48,000 frames of 3 bytes in two chunks of 24,000, the second past 4 GiB.
  const auto tracks = summariesOf(testing::movieBytes({{
      .constantSize = 3,
      .sampleCount = 48000,
      .sampleToChunk = {{1, 24000, 1}},
      .chunkOffsets = {0x100000000ull, 0x200000000ull},
      .largeOffsets = true,
  }}));
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_THAT(tracks[0].problems, IsEmpty());
  EXPECT_EQ(tracks[0].sampleCount, 48000u);
  EXPECT_EQ(tracks[0].firstSample->offset, 0x100000000ull);
  EXPECT_EQ(tracks[0].lastSample->offset, 0x200000000ull + 23999 * 3);
  EXPECT_EQ(tracks[0].lastSample->size, 3u);
}

TEST(TrackSummaryTest, ReadsVersionOneHeaders) {
  const auto tracks = summariesOf(testing::movieBytes({{
      .tkhdVersion = 1,
      .trackID = 3,
      .mdhdVersion = 1,
      .timeScale = 48000,
      .duration = 0x123456789ull,
      .constantSize = 2,
      .sampleCount = 1,
      .sampleToChunk = {{1, 1, 1}},
      .chunkOffsets = {16},
  }}));
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_EQ(tracks[0].trackID, 3u);
  EXPECT_EQ(tracks[0].duration, 0x123456789ull);
  EXPECT_EQ(tracks[0].firstSample->offset, 16u);
  EXPECT_EQ(tracks[0].lastSample->offset, 16u);
}

TEST(TrackSummaryTest, SummarisesEveryTrackInOrder) {
  TrackAtoms video{.trackID = 1, .handler = FourCC("vide"), .format = FourCC("v210")};
  TrackAtoms timecode{.trackID = 2, .handler = FourCC("tmcd"), .format = FourCC("tmcd")};
  const auto tracks = summariesOf(testing::movieBytes({video, timecode}));
  ASSERT_EQ(tracks.size(), 2u);
  EXPECT_EQ(tracks[0].kind, FourCC("vide"));
  EXPECT_EQ(tracks[1].kind, FourCC("tmcd"));
  EXPECT_EQ(tracks[1].codec, FourCC("tmcd"));
  // No samples: nothing to place, and nothing wrong.
  EXPECT_EQ(tracks[1].sampleCount, 0u);
  EXPECT_FALSE(tracks[1].firstSample);
  EXPECT_FALSE(tracks[1].lastSample);
  EXPECT_THAT(tracks[1].problems, IsEmpty());
}

TEST(TrackSummaryTest, NamesMissingAtoms) {
  const auto tracks = summariesOf(testing::movieBytes({{.withStsz = false, .withStsd = false}}));
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_THAT(tracks[0].problems, ElementsAre("missing or cut short: 'mdia/minf/stbl/stsd'",
                                              "missing or cut short: 'mdia/minf/stbl/stsz'"));
  EXPECT_FALSE(tracks[0].codec);
}

TEST(TrackSummaryTest, SaysWhenTheChunkTablesDoNotReachTheLastSample) {
  // Two chunks of 2 samples hold 4 of the 5 samples.
  const auto tracks = summariesOf(testing::movieBytes({{
      .sizes = {1, 1, 1, 1, 1},
      .sampleToChunk = {{1, 2, 1}},
      .chunkOffsets = {100, 200},
  }}));
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_THAT(tracks[0].problems,
              ElementsAre("the chunk tables do not place the first and last samples"));
  EXPECT_TRUE(tracks[0].firstSample);
  EXPECT_FALSE(tracks[0].lastSample);
}

TEST(TrackSummaryTest, RefusesChunkRunsThatGoBackwards) {
  const auto tracks = summariesOf(testing::movieBytes({{
      .sizes = {1, 1, 1},
      .sampleToChunk = {{2, 1, 1}, {1, 1, 1}},
      .chunkOffsets = {100, 200, 300},
  }}));
  ASSERT_EQ(tracks.size(), 1u);
  EXPECT_FALSE(tracks[0].firstSample);
  EXPECT_THAT(tracks[0].problems,
              ElementsAre("the chunk tables do not place the first and last samples"));
}

TEST(TrackSummaryTest, AMovieWithoutTracksHasNoSummaries) {
  EXPECT_THAT(summariesOf(testing::movieBytes({})), IsEmpty());
}

}  // namespace
}  // namespace premoov
