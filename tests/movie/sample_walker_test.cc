#include "movie/sample_walker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "movie/track_atoms.h"

namespace premoov {
namespace {

using ::testing::IsEmpty;
using testing::TrackAtoms;
using testing::trakBytes;

// Every step of a walk, the walker's error after it.
struct Walk {
  std::vector<SampleStep> steps;
  std::optional<SampleWalkError> error;
};

Walk walk(const TrackAtoms& atoms, uint64_t fileSize) {
  const auto bytes = trakBytes(atoms);
  const AtomTree tree = parseAtomTree(bytes);
  EXPECT_TRUE(tree.ok());
  const TrackTables tables = readTrackTables(tree.atoms.at(0), bytes);
  SampleWalker walker(tables, fileSize);
  Walk result;
  while (auto step = walker.next()) {
    result.steps.push_back(*step);
    if (result.steps.size() > 1000) break;  // a walk that never ends fails below
  }
  result.error = walker.error();
  return result;
}

TEST(SampleWalkerTest, GivesEverySampleWithItsTimeAndPlace) {
  // Chunks 1 and 2 hold 2 samples, chunk 3 holds 1; durations 1001, 1001, then 2002.
  const Walk w = walk({.timeToSample = {{2, 1001}, {0, 5}, {3, 2002}},
                       .sizes = {10, 20, 30, 40, 50},
                       .sampleToChunk = {{1, 2, 1}, {3, 1, 1}},
                       .chunkOffsets = {100, 200, 300}},
                      10000);
  EXPECT_FALSE(w.error);
  ASSERT_EQ(w.steps.size(), 5u);
  const uint64_t offsets[] = {100, 110, 200, 230, 300};
  const uint64_t times[] = {0, 1001, 2002, 4004, 6006};
  for (size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(w.steps[i].first, i);
    EXPECT_EQ(w.steps[i].count, 1u);
    EXPECT_FALSE(w.steps[i].missing);
    EXPECT_EQ(w.steps[i].offset, offsets[i]) << i;
    EXPECT_EQ(w.steps[i].size, 10 * (i + 1));
    EXPECT_EQ(w.steps[i].time, times[i]) << i;
  }
  EXPECT_EQ(w.steps[4].duration, 2002u);
}

TEST(SampleWalkerTest, JoinsSamplesPastTheFileEndIntoOneRun) {
  // 4 chunks of 3 samples of 81 bytes; the file ends inside the second sample of chunk 2.
  const Walk w = walk({.timeToSample = {{12, 1001}},
                       .constantSize = 81,
                       .sampleCount = 12,
                       .sampleToChunk = {{1, 3, 1}},
                       .chunkOffsets = {1000, 2000, 3000, 4000}},
                      2100);
  EXPECT_FALSE(w.error);
  ASSERT_EQ(w.steps.size(), 5u);
  EXPECT_FALSE(w.steps[3].missing);
  EXPECT_EQ(w.steps[3].offset, 2000u);
  const SampleStep& run = w.steps[4];
  EXPECT_TRUE(run.missing);
  EXPECT_EQ(run.first, 4u);
  EXPECT_EQ(run.count, 8u);
  EXPECT_EQ(run.offset, 2081u);
  EXPECT_EQ(run.time, 4004u);
}

TEST(SampleWalkerTest, WalksAnHourOfMissingSamplesInOneStep) {
  // 107892 samples in 3600 chunks, none written yet: one step.
  std::vector<uint64_t> offsets;
  for (uint64_t i = 0; i < 3600; ++i) offsets.push_back(4194304 + i * 100000);
  const Walk w = walk({.timeToSample = {{107892, 1001}},
                       .constantSize = 81,
                       .sampleCount = 107892,
                       .sampleToChunk = {{1, 30, 1}, {3597, 27, 1}},  // 3596 x 30 + 4 x 27
                       .chunkOffsets = offsets},
                      4194304);
  EXPECT_FALSE(w.error);
  ASSERT_EQ(w.steps.size(), 1u);
  EXPECT_EQ(w.steps[0].count, 107892u);
}

TEST(SampleWalkerTest, StopsWhereTheChunksRunOut) {
  const Walk w =
      walk({.sizes = {10, 10, 10}, .sampleToChunk = {{1, 1, 1}}, .chunkOffsets = {0, 10}}, 1000);
  ASSERT_EQ(w.steps.size(), 2u);
  ASSERT_TRUE(w.error);
  EXPECT_EQ(w.error->code, SampleWalkErrorCode::kChunksRunOut);
  EXPECT_EQ(w.error->message(),
            "the chunks hold fewer samples than 'stsz' counts (sample 2, chunk 3)");
}

TEST(SampleWalkerTest, RefusesBrokenSampleToChunkTables) {
  // No samples per chunk; runs out of order; a first run that does not start at chunk 1.
  for (const auto& entries : std::vector<std::vector<std::array<uint32_t, 3>>>{
           {{1, 0, 1}}, {{1, 1, 1}, {1, 1, 1}}, {{2, 1, 1}}, {}}) {
    const Walk w =
        walk({.sizes = {10, 10}, .sampleToChunk = entries, .chunkOffsets = {0, 10}}, 1000);
    ASSERT_TRUE(w.error);
    EXPECT_EQ(w.error->code, SampleWalkErrorCode::kSampleToChunkBroken);
    EXPECT_THAT(w.steps, IsEmpty());
  }
}

TEST(SampleWalkerTest, GivesNoTimeWhereTheTimeTableEnds) {
  const Walk w = walk({.timeToSample = {{1, 1001}},
                       .sizes = {10, 10},
                       .sampleToChunk = {{1, 2, 1}},
                       .chunkOffsets = {0}},
                      1000);
  ASSERT_EQ(w.steps.size(), 2u);
  EXPECT_EQ(w.steps[0].time, 0u);
  EXPECT_FALSE(w.steps[1].time);
  EXPECT_FALSE(w.error);
}

TEST(SampleWalkerTest, StopsAtASampleThatWouldEndPast64Bits) {
  const Walk w = walk({.sizes = {16},
                       .sampleToChunk = {{1, 1, 1}},
                       .chunkOffsets = {UINT64_MAX - 8},
                       .largeOffsets = true},
                      UINT64_MAX);
  ASSERT_TRUE(w.error);
  EXPECT_EQ(w.error->code, SampleWalkErrorCode::kOffsetOverflow);
}

}  // namespace
}  // namespace premoov
