#include "service/main_queue.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "base/log.h"

namespace premoov {

MainQueue::MainQueue() {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
    NSLog("main queue: cannot make its wake pipe (errno %i); work runs on the sending thread",
          errno);
    closed_ = true;
    return;
  }
  wakeRead_ = fds[0];
  wakeWrite_ = fds[1];
}

MainQueue::~MainQueue() {
  if (wakeRead_ >= 0) ::close(wakeRead_);
  if (wakeWrite_ >= 0) ::close(wakeWrite_);
}

void MainQueue::sync(const std::function<void()>& work) {
  Item item{&work};
  {
    std::unique_lock lock(mutex_);
    if (!closed_) {
      pending_.push_back(&item);
      const char wake = 1;
      // A full pipe already wakes the loop: the byte is not needed then.
      [[maybe_unused]] ssize_t n = ::write(wakeWrite_, &wake, 1);
      done_.wait(lock, [&] { return item.done; });
      return;
    }
  }
  work();
}

void MainQueue::runPending() {
  char drained[64];
  while (::read(wakeRead_, drained, sizeof drained) > 0) {
  }
  std::unique_lock lock(mutex_);
  while (!pending_.empty()) {
    Item* item = pending_.front();
    pending_.pop_front();
    lock.unlock();
    (*item->work)();
    lock.lock();
    item->done = true;
    done_.notify_all();
  }
}

void MainQueue::close() {
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
  }
  runPending();  // what was sent before the close
}

}  // namespace premoov
