#include "movie/sample_runs.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace premoov {
namespace {

std::vector<SampleRun> expanded(const SampleRuns& runs) {
  return std::vector<SampleRun>(runs.begin(), runs.end());
}

// One audio run an interleave group, each a group's length after the one before.
TEST(SampleRunsTest, EqualRunsAtAFixedStrideAreOneEntry) {
  SampleRuns runs;
  std::vector<SampleRun> want;
  for (uint64_t i = 0; i < 1000; ++i) {
    const SampleRun run{
        .offset = 4'194'304 + i * 31'000'000, .sampleSize = 3, .count = 48048, .decodeDuration = 1};
    runs.push_back(run);
    want.push_back(run);
  }
  EXPECT_EQ(runs.entryCount(), 1u);
  EXPECT_EQ(runs.size(), 1000u);
  EXPECT_EQ(expanded(runs), want);
  EXPECT_EQ(runs[999].offset, uint64_t{4'194'304} + 999 * uint64_t{31'000'000});
  EXPECT_EQ(runs.summary().chunks(), 1000u);
}

TEST(SampleRunsTest, ABrokenStrideOrAnyOtherDifferenceStartsAnEntry) {
  const SampleRun base{.offset = 1000, .sampleSize = 10, .count = 5, .decodeDuration = 1};
  SampleRuns runs;
  runs.push_back(base);
  SampleRun next = base;
  next.offset = 1050;  // stride 50
  runs.push_back(next);
  next.offset = 1100;  // stride kept
  runs.push_back(next);
  EXPECT_EQ(runs.entryCount(), 1u);
  next.offset = 1200;  // stride broken
  runs.push_back(next);
  EXPECT_EQ(runs.entryCount(), 2u);
  next.offset = 1300;
  next.flags = 1;  // same stride, other flags
  runs.push_back(next);
  EXPECT_EQ(runs.entryCount(), 3u);
  next.offset = 1250;  // backwards: never a stride
  runs.push_back(next);
  EXPECT_EQ(runs.entryCount(), 4u);
  next.offset = 1250 + (uint64_t{1} << 33);  // a stride past 32 bits is not kept
  runs.push_back(next);
  EXPECT_EQ(runs.entryCount(), 5u);
  EXPECT_EQ(runs.size(), 7u);
  EXPECT_EQ(runs[6].offset, 1250 + (uint64_t{1} << 33));
}

// Whatever the runs, walking, indexing and the order they were added agree.
TEST(SampleRunsTest, WalkingAndIndexingGiveBackEveryRunInOrder) {
  std::mt19937 random(7);
  SampleRuns runs;
  std::vector<SampleRun> want;
  uint64_t offset = 0;
  for (int i = 0; i < 2000; ++i) {
    SampleRun run{.offset = offset,
                  .sampleSize = 100 + static_cast<uint32_t>(random() % 2),
                  .count = 1 + static_cast<uint32_t>(random() % 2),
                  .decodeDuration = 1001,
                  .displayOffset = random() % 3 == 0 ? -1001 : 2002,
                  .flags = static_cast<uint32_t>(random() % 2)};
    offset += run.sampleSize * run.count + (random() % 4 == 0 ? 7 : 0);
    runs.push_back(run);
    want.push_back(run);
  }
  EXPECT_LT(runs.entryCount(), runs.size());
  EXPECT_EQ(expanded(runs), want);
  for (size_t i = 0; i < want.size(); i += 97) EXPECT_EQ(runs[i], want[i]) << i;
}

TEST(SampleRunsTest, RenumberingDescriptionsKeepsTheRunsAndTheirSummary) {
  SampleRuns runs = {
      {.offset = 0, .sampleSize = 4, .count = 5, .decodeDuration = 1, .descriptionIndex = 1},
      {.offset = 20, .sampleSize = 4, .count = 5, .decodeDuration = 1, .descriptionIndex = 1},
      {.offset = 40, .sampleSize = 4, .count = 5, .decodeDuration = 1, .descriptionIndex = 2},
  };
  runs.renumberDescriptions([](uint32_t id) { return id == 1 ? 3u : 1u; });
  EXPECT_EQ(runs[0].descriptionIndex, 3u);
  EXPECT_EQ(runs[1].descriptionIndex, 3u);
  EXPECT_EQ(runs[2].descriptionIndex, 1u);
  EXPECT_EQ(runs.summary().problem(3), std::nullopt);
  EXPECT_EQ(runs.summary().problem(2), "sample run 1 names sample description 3 of 2");
}

TEST(SampleRunsTest, ClearForgetsRunsAndSummary) {
  SampleRuns runs = {{.offset = 0, .sampleSize = 4, .count = 5, .decodeDuration = 1}};
  runs.clear();
  EXPECT_TRUE(runs.empty());
  EXPECT_EQ(runs.begin(), runs.end());
  EXPECT_EQ(runs.summary().samples(), 0u);
}

}  // namespace
}  // namespace premoov
