#include "base/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

namespace premoov {
namespace {

using ::testing::ElementsAre;

TEST(StringWithFormatTest, FormatsLikePrintf) {
  EXPECT_EQ(stringWithFormat("%i frames", 42), "42 frames");
  EXPECT_EQ(stringWithFormat("%li/%i", 1001L, 30000), "1001/30000");
  EXPECT_EQ(stringWithFormat("[%s]", "cdp"), "[cdp]");
  EXPECT_EQ(stringWithFormat("%zu bytes", size_t{12}), "12 bytes");
  EXPECT_EQ(stringWithFormat("%04x", 0xAB), "00ab");
  EXPECT_EQ(stringWithFormat("%.2f", 29.97), "29.97");
  EXPECT_EQ(stringWithFormat("100%%"), "100%");
}

TEST(StringWithFormatTest, EmptyResults) {
  EXPECT_EQ(stringWithFormat("%s", ""), "");
  EXPECT_EQ(stringWithFormat("%s", "").size(), 0u);
}

TEST(StringWithFormatTest, LongResultsAreNotCut) {
  const std::string chunk(5000, 'x');
  const std::string s = stringWithFormat("<%s|%s>", chunk.c_str(), chunk.c_str());
  EXPECT_EQ(s.size(), 10003u);
  EXPECT_EQ(s.front(), '<');
  EXPECT_EQ(s[5001], '|');
  EXPECT_EQ(s.back(), '>');
}

TEST(LogCaptureTest, CollectsLinesInOrder) {
  LogCapture capture;
  NSLog("first %i", 1);
  logLine("second");
  NSLog("%s", "third");
  EXPECT_THAT(capture.lines(), ElementsAre("first 1", "second", "third"));
}

TEST(LogCaptureTest, SeesNothingLoggedBeforeIt) {
  {
    LogCapture earlier;
    NSLog("before");
  }
  LogCapture capture;
  EXPECT_TRUE(capture.lines().empty());
}

TEST(LogCaptureTest, InnerCaptureTakesOverAndHandsBack) {
  LogCapture outer;
  NSLog("a");
  {
    LogCapture inner;
    NSLog("b");
    EXPECT_THAT(inner.lines(), ElementsAre("b"));
  }
  NSLog("c");
  EXPECT_THAT(outer.lines(), ElementsAre("a", "c"));
}

TEST(LogSinkTest, SetLogSinkAnswersThePreviousSink) {
  std::vector<std::string> seen;
  LogSink previous = setLogSink([&seen](const std::string& line) { seen.push_back(line); });
  NSLog("to the sink %i", 7);
  {
    LogCapture capture;
    NSLog("to the capture");
    EXPECT_THAT(capture.lines(), ElementsAre("to the capture"));
  }
  NSLog("back to the sink");
  LogSink mine = setLogSink(std::move(previous));
  EXPECT_TRUE(static_cast<bool>(mine));
  EXPECT_THAT(seen, ElementsAre("to the sink 7", "back to the sink"));
}

TEST(LogCaptureTest, CollectsFromManyThreads) {
  LogCapture capture;
  constexpr int kThreads = 4;
  constexpr int kLinesEach = 50;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kLinesEach; ++i) NSLog("thread %i line %i", t, i);
    });
  }
  for (auto& thread : threads) thread.join();
  const auto lines = capture.lines();
  EXPECT_EQ(lines.size(), static_cast<size_t>(kThreads * kLinesEach));
  EXPECT_THAT(lines, ::testing::Contains("thread 3 line 49"));
}

}  // namespace
}  // namespace premoov
