#include "movie/sample_table_summary.h"

#include <gtest/gtest.h>

#include <random>

#include "movie/movie_types.h"
#include "movie/sample_table_reader.h"

namespace premoov {
namespace {

using testing::readBack;

// The summary answers the size of the atoms before they are written; the header writer stops
// on it. Random runs of every kind (varying sizes and durations, reordered frames, sync and
// partial-sync flags, offsets past 4 GiB, runs of no samples) must give exactly the bytes
// written. readBack() checks the size of every table it parses against the summary's.
TEST(SampleTableSummaryTest, AtomBytesAreTheBytesWritten) {
  std::mt19937_64 random(2024);
  const uint32_t flagChoices[] = {
      0, mediaSampleNotSync, mediaSampleNotSync | mediaSamplePartialSync,
      mediaSampleIsDependedOnByOthers, mediaSampleNotSync | mediaSampleIsNotDependedOnByOthers};
  for (int table = 0; table < 300; ++table) {
    SampleRuns runs;
    uint64_t offset = random() % 2 ? 4'194'304 : 0xFFFF'0000;
    const int length = static_cast<int>(random() % 60);
    for (int i = 0; i < length; ++i) {
      SampleRun run{.offset = offset,
                    .sampleSize = static_cast<uint32_t>(random() % 3) * 1000,
                    .count = static_cast<uint32_t>(random() % 4),
                    .decodeDuration = static_cast<uint32_t>(random() % 2 ? 1001 : 2002),
                    .displayOffset = static_cast<int32_t>(random() % 3) * 1001 - 1001,
                    .flags = flagChoices[random() % 5],
                    .descriptionIndex = 1 + static_cast<uint32_t>(random() % 2)};
      offset += uint64_t{run.sampleSize} * run.count + random() % 5000;
      runs.push_back(run);
    }
    const auto read = readBack(runs);
    ASSERT_EQ(runs.summary().atomBytes(), read.bytes) << "table " << table;
    EXPECT_EQ(read.sampleCount, runs.summary().samples());
    EXPECT_EQ(read.chunkOffsets.size(), runs.summary().chunks());
  }
}

TEST(SampleTableSummaryTest, ChunksPast4GiBCostEightBytesEach) {
  SampleTableSummary summary;
  summary.add({.offset = 0xFFFF'FF00, .sampleSize = 0x100, .count = 1, .decodeDuration = 1});
  const uint64_t narrow = summary.atomBytes();
  summary.add({.offset = 0x1'0000'0000, .sampleSize = 0x100, .count = 1, .decodeDuration = 1});
  EXPECT_TRUE(summary.needsLargeOffsets());
  // The new chunk's 8 bytes and 4 more for the first one, now 64-bit too.
  EXPECT_EQ(summary.atomBytes(), narrow + 8 + 4);
}

TEST(SampleTableSummaryTest, ConstantSizesNeedNoSizeTable) {
  SampleTableSummary summary;
  summary.add({.offset = 0, .sampleSize = 6, .count = 48000, .decodeDuration = 1});
  summary.add({.offset = 1'000'000, .sampleSize = 6, .count = 48000, .decodeDuration = 1});
  EXPECT_EQ(summary.constantSampleSize(), 6u);
  // stts of one entry, stsc of one, stsz without a table, stco of two chunks.
  EXPECT_EQ(summary.atomBytes(), 24u + 28u + 20u + 24u);
}

}  // namespace
}  // namespace premoov
