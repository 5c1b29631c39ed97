#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "header/quicktime_service_delegate.h"

namespace premoov::testing {

// A client's delegate that keeps every reply, in order, and lets a test wait for them.
class ReplyCollector : public ZPRQuickTimeServiceDelegate {
 public:
  struct Reply {
    bool created = false;
    std::vector<uint8_t> header;
    bool growing = false;
    int32_t frameSize = 0;
    int64_t fileSize = 0;
    std::string error;
  };

  void didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
                       int64_t fileSize) override {
    add({true, std::move(header), growing, frameSize, fileSize, {}});
  }
  void failedCreatingGrowingHeader(bool growing, std::string error) override {
    add({false, {}, growing, 0, 0, std::move(error)});
  }

  // Waits until `count` replies arrived or `timeout` passed; answers whether they did.
  bool waitFor(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(60)) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return replies_.size() >= count; });
  }
  std::vector<Reply> replies() const {
    std::lock_guard lock(mutex_);
    return replies_;
  }
  size_t count() const {
    std::lock_guard lock(mutex_);
    return replies_.size();
  }

 private:
  void add(Reply reply) {
    std::lock_guard lock(mutex_);
    replies_.push_back(std::move(reply));
    changed_.notify_all();
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Reply> replies_;
};

}  // namespace premoov::testing
