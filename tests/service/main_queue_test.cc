#include "service/main_queue.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

namespace premoov {
namespace {

// Runs the queue's work on this thread until `stop` is set, as the service's loop does.
void runLoop(MainQueue& queue, const std::atomic<bool>& stop) {
  while (!stop) {
    pollfd fd{queue.wakeDescriptor(), POLLIN, 0};
    if (::poll(&fd, 1, 10) > 0) queue.runPending();
  }
}

TEST(MainQueueTest, WorkFromManyThreadsRunsOnTheLoopThreadInTheOrderEachSent) {
  MainQueue queue;
  std::atomic<bool> stop{false};
  std::thread::id loopThread;
  std::vector<std::pair<int, int>> ran;  // touched on the loop thread only
  bool offTheLoop = false;
  std::thread loop([&] {
    loopThread = std::this_thread::get_id();
    runLoop(queue, stop);
  });
  constexpr int kThreads = 8;
  constexpr int kEach = 200;
  std::vector<std::thread> senders;
  for (int t = 0; t < kThreads; ++t) {
    senders.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        queue.sync([&] {
          offTheLoop |= std::this_thread::get_id() != loopThread;
          ran.emplace_back(t, i);
        });
      }
    });
  }
  for (auto& sender : senders) sender.join();
  stop = true;
  loop.join();
  queue.close();

  EXPECT_FALSE(offTheLoop);
  ASSERT_EQ(ran.size(), size_t{kThreads * kEach});
  std::vector<int> next(kThreads, 0);
  for (const auto& [thread, index] : ran) EXPECT_EQ(index, next[thread]++);
}

TEST(MainQueueTest, WorkWaitingRunsInTheOrderItWasSent) {
  MainQueue queue;
  std::vector<int> ran;
  std::vector<std::thread> senders;
  for (int i = 0; i < 10; ++i) {
    senders.emplace_back([&, i] { queue.sync([&, i] { ran.push_back(i); }); });
    // Sender i has queued its work once its wake byte is in the pipe; take the byte so the next
    // sender's shows too.
    pollfd fd{queue.wakeDescriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&fd, 1, 10'000), 1);
    char byte = 0;
    ASSERT_EQ(::read(queue.wakeDescriptor(), &byte, 1), 1);
  }
  EXPECT_TRUE(ran.empty());  // nothing ran before the loop took it
  queue.runPending();
  for (auto& sender : senders) sender.join();
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  queue.close();
}

TEST(MainQueueTest, SyncReturnsOnlyOnceTheWorkRan) {
  MainQueue queue;
  std::atomic<bool> stop{false};
  std::thread loop([&] { runLoop(queue, stop); });
  int value = 0;
  queue.sync([&] { value = 42; });
  EXPECT_EQ(value, 42);
  stop = true;
  loop.join();
  queue.close();
}

TEST(MainQueueTest, AfterCloseWorkRunsOnTheSendingThread) {
  MainQueue queue;
  queue.close();
  std::thread::id ranOn;
  queue.sync([&] { ranOn = std::this_thread::get_id(); });
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  std::thread other([&] {
    std::thread::id otherRanOn;
    queue.sync([&] { otherRanOn = std::this_thread::get_id(); });
    EXPECT_EQ(otherRanOn, std::this_thread::get_id());
  });
  other.join();
}

TEST(MainQueueTest, CloseRunsTheWorkSentBeforeIt) {
  MainQueue queue;
  std::atomic<bool> ran{false};
  std::thread sender([&] { queue.sync([&] { ran = true; }); });
  pollfd fd{queue.wakeDescriptor(), POLLIN, 0};
  ASSERT_EQ(::poll(&fd, 1, 10'000), 1);
  queue.close();
  sender.join();
  EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace premoov
