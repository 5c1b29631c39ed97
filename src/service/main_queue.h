#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace premoov {

// The work a process does on its main thread, sent from other threads and waited for
// (dispatch_sync on the main queue). The main thread's loop polls wakeDescriptor() and calls
// runPending(); once the loop has ended, close() makes sync() run work on the calling thread, so
// that a request finishing during shutdown never waits for a loop that is gone.
class MainQueue {
 public:
  MainQueue();
  ~MainQueue();
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  // Runs `work` on the main thread and returns when it is done.
  void sync(const std::function<void()>& work);

  // For the main thread's loop: readable while work waits.
  int wakeDescriptor() const { return wakeRead_; }
  // Runs the work waiting, in the order it was sent.
  void runPending();
  void close();

 private:
  struct Item {
    const std::function<void()>* work;
    bool done = false;
  };

  std::mutex mutex_;
  std::condition_variable done_;
  std::deque<Item*> pending_;
  bool closed_ = false;
  int wakeRead_ = -1;
  int wakeWrite_ = -1;
};

}  // namespace premoov
