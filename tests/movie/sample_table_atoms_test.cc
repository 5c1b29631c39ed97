#include "movie/sample_table_atoms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "movie/movie_types.h"
#include "movie/sample_table_reader.h"

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;
using testing::CompositionOffsetEntry;
using testing::readBack;
using testing::ReadSampleTable;
using testing::SampleToChunkEntry;
using testing::TimeToSampleEntry;
using testing::written;

// Frames of 1001 in a 30000 time scale: a first frame alone in its chunk, then 29 more.
TEST(SampleTableAtomsTest, ConstantSizeVideoIsRunLengthCoded) {
  const SampleRuns runs = {
      {.offset = 4096, .sampleSize = 1000, .count = 1, .decodeDuration = 1001},
      {.offset = 5096, .sampleSize = 1000, .count = 29, .decodeDuration = 1001},
  };
  const ReadSampleTable table = readBack(runs);
  const Bytes expected = {
      0,   0,   0,    24,    // stts size
      's', 't', 't',  's',   // type
      0,   0,   0,    0,     // version, flags
      0,   0,   0,    1,     // entry count
      0,   0,   0,    30,    // sample count
      0,   0,   0x03, 0xE9,  // sample duration 1001
      0,   0,   0,    40,    // stsc size
      's', 't', 's',  'c',   // type
      0,   0,   0,    0,     // version, flags
      0,   0,   0,    2,     // entry count
      0,   0,   0,    1,     // first chunk
      0,   0,   0,    1,     // samples per chunk
      0,   0,   0,    1,     // sample description index
      0,   0,   0,    2,     // first chunk
      0,   0,   0,    29,    // samples per chunk
      0,   0,   0,    1,     // sample description index
      0,   0,   0,    20,    // stsz size
      's', 't', 's',  'z',   // type
      0,   0,   0,    0,     // version, flags
      0,   0,   0x03, 0xE8,  // sample size 1000
      0,   0,   0,    30,    // sample count
      0,   0,   0,    24,    // stco size
      's', 't', 'c',  'o',   // type
      0,   0,   0,    0,     // version, flags
      0,   0,   0,    2,     // entry count
      0,   0,   0x10, 0x00,  // chunk offset 4096
      0,   0,   0x13, 0xE8,  // chunk offset 5096
  };
  EXPECT_EQ(written(runs), expected);
  EXPECT_EQ(table.sampleCount, 30u);
  EXPECT_EQ(runs.summary().totalDuration(), 30 * 1001);
}

TEST(SampleTableAtomsTest, RunsOfNoSamplesAreNoChunks) {
  const SampleRuns runs = {
      {.offset = 100, .sampleSize = 4, .count = 10, .decodeDuration = 1},
      {.offset = 140, .sampleSize = 4, .count = 0, .decodeDuration = 1},
      {.offset = 140, .sampleSize = 4, .count = 10, .decodeDuration = 1},
  };
  const ReadSampleTable table = readBack(runs);
  EXPECT_EQ(table.chunkOffsets, (std::vector<uint64_t>{100, 140}));
  EXPECT_EQ(table.sampleToChunk, (std::vector<SampleToChunkEntry>{{1, 10, 1}}));
  EXPECT_EQ(table.timeToSample, (std::vector<TimeToSampleEntry>{{20, 1}}));
  EXPECT_EQ(table.sampleCount, 20u);
}

TEST(SampleTableAtomsTest, DescriptionChangeStartsAStscEntry) {
  const SampleRuns runs = {
      {.offset = 0, .sampleSize = 4, .count = 5, .decodeDuration = 1, .descriptionIndex = 1},
      {.offset = 20, .sampleSize = 4, .count = 5, .decodeDuration = 1, .descriptionIndex = 1},
      {.offset = 40, .sampleSize = 4, .count = 5, .decodeDuration = 1, .descriptionIndex = 2},
      {.offset = 60, .sampleSize = 4, .count = 5, .decodeDuration = 1, .descriptionIndex = 1},
  };
  EXPECT_EQ(readBack(runs).sampleToChunk,
            (std::vector<SampleToChunkEntry>{{1, 5, 1}, {3, 5, 2}, {4, 5, 1}}));
}

// A million audio frames in one-second chunks stay a handful of entries.
TEST(SampleTableAtomsTest, LongAudioIsNotExpandedPerSample) {
  SampleRuns runs;
  for (uint64_t i = 0; i < 1000; ++i) {
    runs.push_back(
        {.offset = 8192 + i * 48000 * 6, .sampleSize = 6, .count = 48000, .decodeDuration = 1});
  }
  const ReadSampleTable table = readBack(runs);
  EXPECT_EQ(table.sampleCount, 48'000'000u);
  EXPECT_EQ(table.timeToSample, (std::vector<TimeToSampleEntry>{{48'000'000, 1}}));
  EXPECT_EQ(table.sampleToChunk, (std::vector<SampleToChunkEntry>{{1, 48000, 1}}));
  EXPECT_EQ(table.constantSampleSize, 6u);
  EXPECT_TRUE(table.sampleSizes.empty());
  EXPECT_FALSE(table.syncSamples.has_value());
  EXPECT_TRUE(table.sampleDependencies.empty());
  EXPECT_TRUE(table.compositionOffsets.empty());
  EXPECT_EQ(table.chunkOffsets.size(), 1000u);
  EXPECT_FALSE(table.largeOffsets);
  // stts 24 + stsc 28 + stsz 20 + stco 16 + 4 per chunk.
  EXPECT_EQ(written(runs).size(), 24u + 28u + 20u + 16u + 4u * 1000u);
}

TEST(SampleTableAtomsTest, VaryingSizesMakeATable) {
  const SampleRuns runs = {
      {.offset = 0, .sampleSize = 300, .count = 2, .decodeDuration = 1},
      {.offset = 600, .sampleSize = 200, .count = 1, .decodeDuration = 1},
  };
  const ReadSampleTable table = readBack(runs);
  EXPECT_EQ(table.constantSampleSize, 0u);
  EXPECT_EQ(table.sampleSizes, (std::vector<uint32_t>{300, 300, 200}));
  const Bytes all = written(runs);
  const Bytes stsz = {
      0,   0,   0,    32,    // size
      's', 't', 's',  'z',   // type
      0,   0,   0,    0,     // version, flags
      0,   0,   0,    0,     // sample size: a table follows
      0,   0,   0,    3,     // sample count
      0,   0,   0x01, 0x2C,  // entry size 300
      0,   0,   0x01, 0x2C,  // entry size 300
      0,   0,   0,    0xC8,  // entry size 200
  };
  EXPECT_NE(std::search(all.begin(), all.end(), stsz.begin(), stsz.end()), all.end());
}

// A size of 0 in 'stsz' announces a table, so samples of 0 bytes need one.
TEST(SampleTableAtomsTest, ZeroSizedSamplesMakeATable) {
  const SampleRuns runs = {{.offset = 0, .sampleSize = 0, .count = 2}};
  const ReadSampleTable table = readBack(runs);
  EXPECT_EQ(table.constantSampleSize, 0u);
  EXPECT_EQ(table.sampleSizes, (std::vector<uint32_t>{0, 0}));
}

TEST(SampleTableAtomsTest, OffsetsPast4GiBTakeCo64) {
  const SampleRuns runs = {
      {.offset = 0xFFFFFF00, .sampleSize = 0x100, .count = 1, .decodeDuration = 1},
      {.offset = 0x100000000, .sampleSize = 0x100, .count = 1, .decodeDuration = 1},
  };
  const ReadSampleTable table = readBack(runs);
  EXPECT_TRUE(table.largeOffsets);
  const Bytes out = written(runs);
  const Bytes co64 = {
      0,   0,   0,   32,                           // size
      'c', 'o', '6', '4',                          // type
      0,   0,   0,   0,                            // version, flags
      0,   0,   0,   2,                            // entry count
      0,   0,   0,   0,   0xFF, 0xFF, 0xFF, 0x00,  // chunk offset
      0,   0,   0,   1,   0,    0,    0,    0,     // chunk offset
  };
  ASSERT_GE(out.size(), co64.size());
  EXPECT_EQ(Bytes(out.end() - static_cast<long>(co64.size()), out.end()), co64);
}

// Decode order I P B B, each frame 1000 long, displayed I B B P: composition offsets relative to
// a first frame shown at its decode time, so the B frames have negative offsets.
SampleRuns reorderedGroup() {
  constexpr uint32_t kI = mediaSampleDoesNotDependOnOthers | mediaSampleIsDependedOnByOthers;
  constexpr uint32_t kP =
      mediaSampleNotSync | mediaSampleDependsOnOthers | mediaSampleIsDependedOnByOthers;
  constexpr uint32_t kB =
      mediaSampleNotSync | mediaSampleDependsOnOthers | mediaSampleIsNotDependedOnByOthers;
  return {
      {.offset = 1000,
       .sampleSize = 500,
       .count = 1,
       .decodeDuration = 1000,
       .displayOffset = 0,
       .flags = kI},
      {.offset = 1500,
       .sampleSize = 200,
       .count = 1,
       .decodeDuration = 1000,
       .displayOffset = 2000,
       .flags = kP},
      {.offset = 1700,
       .sampleSize = 100,
       .count = 1,
       .decodeDuration = 1000,
       .displayOffset = -1000,
       .flags = kB},
      {.offset = 1800,
       .sampleSize = 100,
       .count = 1,
       .decodeDuration = 1000,
       .displayOffset = -1000,
       .flags = kB},
      {.offset = 1900,
       .sampleSize = 500,
       .count = 1,
       .decodeDuration = 1000,
       .displayOffset = 0,
       .flags = mediaSampleNotSync | mediaSamplePartialSync | kI},
  };
}

TEST(SampleTableAtomsTest, ReorderedFramesGetCompositionOffsetsAndShift) {
  const ReadSampleTable table = readBack(reorderedGroup());
  EXPECT_EQ(table.compositionOffsets,
            (std::vector<CompositionOffsetEntry>{{1, 0}, {1, 2000}, {2, -1000}, {1, 0}}));
  // Display times: I 0, P 3000, B 1000, B 2000, I' 4000 (ends 5000).
  EXPECT_EQ(table.compositionShift, (CompositionShift{.compositionToDTSShift = 1000,
                                                      .leastDecodeToDisplayDelta = -1000,
                                                      .greatestDecodeToDisplayDelta = 2000,
                                                      .compositionStartTime = 0,
                                                      .compositionEndTime = 5000}));
  ASSERT_TRUE(table.syncSamples.has_value());
  EXPECT_EQ(*table.syncSamples, (std::vector<uint32_t>{1}));
  EXPECT_EQ(table.partialSyncSamples, (std::vector<uint32_t>{5}));
  EXPECT_EQ(table.sampleDependencies, (Bytes{0x24, 0x14, 0x18, 0x18, 0x24}));
  EXPECT_EQ(table.sampleToChunk, (std::vector<SampleToChunkEntry>{{1, 1, 1}}));
}

TEST(SampleTableAtomsTest, ReorderedFramesWriteEveryAtomInOrder) {
  const Bytes out = written(reorderedGroup());
  const Bytes expectedStart = {
      0,    0,    0,    24,          // stts size
      's',  't',  't',  's',         // type
      0,    0,    0,    0,           // version, flags
      0,    0,    0,    1,           // entry count
      0,    0,    0,    5,           // sample count
      0,    0,    0x03, 0xE8,        // sample duration 1000
      0,    0,    0,    48,          // ctts size
      'c',  't',  't',  's',         // type
      1,    0,    0,    0,           // version 1: signed offsets, flags
      0,    0,    0,    4,           // entry count
      0,    0,    0,    1,           // sample count
      0,    0,    0,    0,           // composition offset 0
      0,    0,    0,    1,           // sample count
      0,    0,    0x07, 0xD0,        // composition offset 2000
      0,    0,    0,    2,           // sample count
      0xFF, 0xFF, 0xFC, 0x18,        // composition offset -1000
      0,    0,    0,    1,           // sample count
      0,    0,    0,    0,           // composition offset 0
      0,    0,    0,    32,          // cslg size
      'c',  's',  'l',  'g',         // type
      0,    0,    0,    0,           // version, flags
      0,    0,    0x03, 0xE8,        // composition to decode shift 1000
      0xFF, 0xFF, 0xFC, 0x18,        // least decode to display delta -1000
      0,    0,    0x07, 0xD0,        // greatest decode to display delta 2000
      0,    0,    0,    0,           // composition start time
      0,    0,    0x13, 0x88,        // composition end time 5000
      0,    0,    0,    20,          // stss size
      's',  't',  's',  's',         // type
      0,    0,    0,    0,           // version, flags
      0,    0,    0,    1,           // entry count
      0,    0,    0,    1,           // sample number
      0,    0,    0,    20,          // stps size
      's',  't',  'p',  's',         // type
      0,    0,    0,    0,           // version, flags
      0,    0,    0,    1,           // entry count
      0,    0,    0,    5,           // sample number
      0,    0,    0,    17,          // sdtp size
      's',  'd',  't',  'p',         // type
      0,    0,    0,    0,           // version, flags
      0x24, 0x14, 0x18, 0x18, 0x24,  // one byte per sample
      0,    0,    0,    28,          // stsc size
  };
  ASSERT_GE(out.size(), expectedStart.size());
  EXPECT_EQ(Bytes(out.begin(), out.begin() + static_cast<long>(expectedStart.size())),
            expectedStart);
}

TEST(SampleTableAtomsTest, AllNotSyncWritesAnEmptySyncTable) {
  const SampleRuns runs = {
      {.offset = 0, .sampleSize = 1, .count = 3, .decodeDuration = 1, .flags = mediaSampleNotSync}};
  const ReadSampleTable table = readBack(runs);
  ASSERT_TRUE(table.syncSamples.has_value());
  EXPECT_TRUE(table.syncSamples->empty());
}

TEST(SampleTableAtomsTest, SyncRunsListEverySampleNumber) {
  const SampleRuns runs = {
      {.offset = 0, .sampleSize = 1, .count = 2, .decodeDuration = 1},
      {.offset = 2, .sampleSize = 1, .count = 3, .decodeDuration = 1, .flags = mediaSampleNotSync},
      {.offset = 5, .sampleSize = 1, .count = 2, .decodeDuration = 1},
  };
  const ReadSampleTable table = readBack(runs);
  ASSERT_TRUE(table.syncSamples.has_value());
  EXPECT_EQ(*table.syncSamples, (std::vector<uint32_t>{1, 2, 6, 7}));
  EXPECT_TRUE(table.partialSyncSamples.empty());
  EXPECT_TRUE(table.sampleDependencies.empty());
}

// Past 2^31 in the media time scale the composition times need the 64-bit 'cslg'.
TEST(SampleTableAtomsTest, LongReorderedMediaTakesWideCslg) {
  const SampleRuns runs = {
      {.offset = 0,
       .sampleSize = 1,
       .count = 3,
       .decodeDuration = 1'000'000'000,
       .displayOffset = 5},
  };
  const ReadSampleTable table = readBack(runs);
  EXPECT_EQ(table.compositionShift->compositionEndTime, 3'000'000'005);
  const Bytes out = written(runs);
  const Bytes cslgHeader = {
      0,   0,   0,   52,   // size: 12 + 5 * 8
      'c', 's', 'l', 'g',  // type
      1,   0,   0,   0,    // version 1, flags
  };
  EXPECT_NE(std::search(out.begin(), out.end(), cslgHeader.begin(), cslgHeader.end()), out.end());
}

TEST(SampleTableAtomsTest, EmptyMediaWritesEmptyTables) {
  const SampleRuns runs;
  const ReadSampleTable table = readBack(runs);
  EXPECT_EQ(table.sampleCount, 0u);
  // stts, stsc, stco of 16 bytes, stsz of 20.
  EXPECT_EQ(written(runs).size(), 16u + 16u + 20u + 16u);
}

TEST(SampleTableAtomsTest, ProblemsNameTheRun) {
  const auto problem = [](SampleRun run, size_t descriptions = 1) {
    const SampleRuns runs = {{.count = 1, .decodeDuration = 1}, run};
    return runs.summary().problem(descriptions).value_or("");
  };
  EXPECT_EQ(problem({.count = 1, .decodeDuration = 1}), "");
  EXPECT_EQ(problem({.count = 0, .descriptionIndex = 9}), "");
  EXPECT_EQ(problem({.count = 1, .descriptionIndex = 2}),
            "sample run 2 names sample description 2 of 1");
  EXPECT_EQ(problem({.count = 1, .descriptionIndex = 2}, 2), "");
  EXPECT_EQ(problem({.count = 1, .descriptionIndex = 0}),
            "sample run 2 names sample description 0 of 1");
  EXPECT_EQ(problem({.offset = ~uint64_t{0} - 10, .sampleSize = 100, .count = 1}),
            "sample run 2 ends past the largest file offset");
  EXPECT_EQ(problem({.count = 0xFFFFFFFF}), "sample run 2 brings the sample count past 32 bits");
}

TEST(SampleTableAtomsTest, TooManySamplesAreClampedNotOverflowed) {
  const SampleRuns runs = {
      {.offset = 0, .sampleSize = 1, .count = 0xFFFFFFFF, .decodeDuration = 0xFFFFFFFF},
      {.offset = 0, .sampleSize = 1, .count = 0xFFFFFFFF, .decodeDuration = 0xFFFFFFFF},
      {.offset = 0, .sampleSize = 1, .count = 0xFFFFFFFF, .decodeDuration = 0xFFFFFFFF},
  };
  ASSERT_TRUE(runs.summary().problem(1).has_value());
  const ReadSampleTable table = readBack(runs);
  EXPECT_EQ(table.sampleCount, 0xFFFFFFFFu);
  EXPECT_EQ(table.timeToSample.size(), 3u);  // each entry's count stays within 32 bits
  EXPECT_EQ(runs.summary().totalDuration(), std::numeric_limits<int64_t>::max());
}

}  // namespace
}  // namespace premoov
