#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <semaphore>
#include <thread>

#include "service/main_queue.h"

namespace premoov {

struct ServiceOptions {
  // One log line per message: connection, selector, duration and result.
  bool verbose = false;
  // Header builds that run at once; the others wait their turn. Bounds the memory and processor
  // time all connections together can take, whatever their number.
  unsigned concurrentBuilds = std::max(1u, std::thread::hardware_concurrency());
  // How long a reply may wait for a client that does not read it before the connection is
  // closed.
  std::chrono::milliseconds replyTimeout{30'000};
  // How long a stop waits for requests in progress before it closes their connections.
  std::chrono::milliseconds stopGrace{10'000};
};

// What every connection of one listener shares.
struct ConnectionContext {
  explicit ConnectionContext(ServiceOptions serviceOptions)
      : options(serviceOptions),
        builds(static_cast<std::ptrdiff_t>(serviceOptions.concurrentBuilds)) {}

  ServiceOptions options;
  MainQueue mainQueue;
  std::counting_semaphore<4096> builds;
  // Called on a connection's own thread as its last act.
  std::function<void(uint64_t connectionNumber)> connectionFinished;
};

}  // namespace premoov
