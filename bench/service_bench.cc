// The header service's cost over building in process: one round trip for the 1-hour example,
// and requests per second with several clients at once.

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "header_request.h"
#include "median_keeper.h"
#include "service/client/quicktime_service_client.h"
#include "service/quicktime_service_listener_delegate.h"
#include "service/service_listener.h"
#include "support/temporary_directory.h"

namespace premoov::bench {
namespace {

constexpr int kRepetitions = 9;
constexpr const char* kInProcess = "InProcess/ProResHQ/1h";
constexpr const char* kRoundTrip = "Service/ProResHQ/1h";
constexpr const char* kThroughput = "Service/throughput/ProResHQ/1h";
constexpr int kClientCounts[] = {1, 2, 4, 8};

const HeaderCase& proRes() {
  static const HeaderCase headerCase = proResCase();
  return headerCase;
}

// A service in this process, on a socket in a private directory, its loop on a thread of its own.
class RunningService {
 public:
  RunningService() {
    socketPath_ = directory_.path() + "/premoov.sock";
    auto listener = ServiceListener::listenerOnPath(socketPath_, ServiceOptions{});
    if (!listener) {
      std::fprintf(stderr, "cannot start the service: %s\n", listener.error().c_str());
      std::exit(1);
    }
    listener_ = std::move(*listener);
    listener_->setDelegate(&delegate_);
    loop_ = std::thread([this] { listener_->resume(); });
  }
  ~RunningService() {
    listener_->stop();
    loop_.join();
    listener_.reset();
  }
  const std::string& socketPath() const { return socketPath_; }

 private:
  testing::TemporaryDirectory directory_;
  std::string socketPath_;
  QuickTimeServiceDelegate delegate_;
  std::unique_ptr<ServiceListener> listener_;
  std::thread loop_;
};

RunningService* gService = nullptr;

// A recorder's delegate that lets its thread wait for each reply.
class WaitingClient : public ZPRQuickTimeServiceDelegate {
 public:
  void didCreateHeader(std::vector<uint8_t> header, bool, int32_t, int64_t) override {
    std::lock_guard lock(mutex_);
    headerBytes_ = header.size();
    error_.clear();
    ++replies_;
    changed_.notify_all();
  }
  void failedCreatingGrowingHeader(bool, std::string error) override {
    std::lock_guard lock(mutex_);
    error_ = std::move(error);
    ++replies_;
    changed_.notify_all();
  }
  // Waits for reply number `count`; empty when it is a header of the case's room.
  std::string waitForReply(int count) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, std::chrono::seconds(60), [&] { return replies_ >= count; })) {
      return "no reply within a minute";
    }
    if (!error_.empty()) return error_;
    if (headerBytes_ != proRes().headerRoom) return "a header of the wrong size";
    return "";
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int replies_ = 0;
  size_t headerBytes_ = 0;
  std::string error_;
};

CMTime oneHour() {
  return CMTimeMake(kOneHourFrames * proRes().frameDuration.value,
                    proRes().frameDuration.timescale);
}

void inProcess(benchmark::State& state) {
  ZPRQuickTimeMovieCreator creator;
  LastReplyClient client;
  for (auto _ : state) {
    requestHeader(creator, client, proRes(), kOneHourFrames);
    if (auto problem = checkReply(client, proRes())) {
      state.SkipWithError(problem->c_str());
      return;
    }
  }
  state.SetItemsProcessed(state.iterations());
}

// One request and its reply per iteration, on a connection of this thread's own.
void throughService(benchmark::State& state) {
  WaitingClient delegate;
  auto client = QuickTimeServiceClient::connect(delegate, gService->socketPath());
  if (!client) {
    state.SkipWithError(client.error().c_str());
    return;
  }
  int sent = 0;
  for (auto _ : state) {
    if (auto failed = (*client)->writeQuickTimeHeaderAtPath(
            "/tmp/premoov_bench.mov", true, kBlockSize, Value(), oneHour(), proRes().settings)) {
      state.SkipWithError(failed->c_str());
      return;
    }
    const std::string problem = delegate.waitForReply(++sent);
    if (!problem.empty()) {
      state.SkipWithError(problem.c_str());
      return;
    }
  }
  state.SetItemsProcessed(state.iterations());
}

}  // namespace
}  // namespace premoov::bench

int main(int argc, char** argv) {
  using namespace premoov::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RunningService service;
  gService = &service;

  benchmark::RegisterBenchmark(kInProcess, inProcess)
      ->Unit(benchmark::kMillisecond)
      ->MinTime(0.3)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly(true);
  benchmark::RegisterBenchmark(kRoundTrip, throughService)
      ->Unit(benchmark::kMillisecond)
      ->MinTime(0.3)
      ->UseRealTime()
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly(true);
  for (int clients : kClientCounts) {
    benchmark::RegisterBenchmark(kThroughput, throughService)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.5)
        ->Threads(clients)
        ->UseRealTime()
        ->Repetitions(5)
        ->ReportAggregatesOnly(true);
  }

  MedianKeeper reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  const auto* built = reporter.median(kInProcess);
  const auto* served = reporter.median(kRoundTrip);
  if (built && served && built->wall > 0) {
    std::printf(
        "\nRound trip through the service over the build in process (medians of %d, wall): "
        "%.2f ms / %.2f ms = %.2f\n",
        kRepetitions, served->wall * 1e3, built->wall * 1e3, served->wall / built->wall);
  }
  std::printf("Requests per second through the service (medians of 5), %u processors:\n",
              std::thread::hardware_concurrency());
  for (int clients : kClientCounts) {
    const auto* run =
        reporter.median(std::string(kThroughput) + "/threads:" + std::to_string(clients));
    if (run)
      std::printf("  %d client%s: %.1f\n", clients, clients == 1 ? " " : "s", run->itemsPerSecond);
  }
  return 0;
}
