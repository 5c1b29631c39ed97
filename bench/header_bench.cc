#include <benchmark/benchmark.h>
#include <time.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "header_request.h"

namespace premoov::bench {
namespace {

// Seconds per iteration of a memset floor, in this thread's CPU time and in wall time.
struct FloorTime {
  double cpu = 0;
  double wall = 0;
};
// Set by the floor runs, by header room; each header benchmark divides its own time per
// iteration by the floor of its room.
FloorTime gFloor4MiB;
FloorTime gFloor12MiB;

constexpr uint32_t kProResRoom = 4'194'304;
constexpr uint32_t kLongGopRoom = 12'582'912;

FloorTime& floorFor(uint32_t room) { return room == kProResRoom ? gFloor4MiB : gFloor12MiB; }

double seconds(std::chrono::steady_clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

// CPU time of the calling thread, in seconds: the benchmarks run on the main thread, and on a
// shared machine it is steadier than wall time.
double threadCpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Both clocks, read around a whole benchmark loop.
struct Stopwatch {
  std::chrono::steady_clock::time_point wallStart = std::chrono::steady_clock::now();
  double cpuStart = threadCpuSeconds();

  FloorTime perIteration(benchmark::IterationCount iterations) const {
    const auto n = static_cast<double>(iterations);
    return {(threadCpuSeconds() - cpuStart) / n,
            seconds(std::chrono::steady_clock::now() - wallStart) / n};
  }
};

// The least a header request can cost: filling its room once, in a buffer made beforehand.
void floorMemset(benchmark::State& state, uint32_t room) {
  std::vector<uint8_t> buffer(room);
  uint8_t fill = 0;
  const Stopwatch stopwatch;
  for (auto _ : state) {
    std::memset(buffer.data(), fill++, buffer.size());
    benchmark::DoNotOptimize(buffer.data());
    benchmark::ClobberMemory();
  }
  // The framework calls this more than once to settle the iteration count; the last call is
  // the one it reports, and the one kept.
  floorFor(room) = stopwatch.perIteration(state.iterations());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * room);
}

// Builds one whole header per iteration and checks the reply is a header of exactly the room.
void buildHeader(benchmark::State& state, const HeaderCase& headerCase, int64_t frames) {
  ZPRQuickTimeMovieCreator creator;
  LastReplyClient client;
  const Stopwatch stopwatch;
  for (auto _ : state) {
    requestHeader(creator, client, headerCase, frames);
    if (auto problem = checkReply(client, headerCase)) {
      state.SkipWithError(problem->c_str());
      return;
    }
    benchmark::DoNotOptimize(client.header.data());
    benchmark::ClobberMemory();
  }
  const FloorTime perIteration = stopwatch.perIteration(state.iterations());
  const FloorTime floor = floorFor(headerCase.headerRoom);
  if (floor.cpu <= 0 || floor.wall <= 0) {
    state.SkipWithError("the memset floor of this room has not run");
    return;
  }
  state.counters["vs_memset"] = perIteration.cpu / floor.cpu;
  state.counters["vs_memset_wall"] = perIteration.wall / floor.wall;
  state.counters["frames"] = static_cast<double>(frames);
  state.counters["hours"] = static_cast<double>(frames) *
                            static_cast<double>(headerCase.frameDuration.value) /
                            headerCase.frameDuration.timescale / 3600.0;
}

}  // namespace
}  // namespace premoov::bench

int main(int argc, char** argv) {
  using namespace premoov::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  // CPU time is what the framework reports and what vs_memset compares; vs_memset_wall gives
  // the wall-time ratio beside it.
  benchmark::RegisterBenchmark("Floor/memset/4194304", floorMemset, kProResRoom)->MinTime(0.5);
  benchmark::RegisterBenchmark("Floor/memset/12582912", floorMemset, kLongGopRoom)->MinTime(0.5);

  // The cases live as long as the run; the benchmarks keep references to them.
  static const HeaderCase cases[] = {proResCase(), longGopCase()};
  for (const HeaderCase& headerCase : cases) {
    if (headerCase.headerRoom != kProResRoom && headerCase.headerRoom != kLongGopRoom) {
      std::fprintf(stderr, "%s: no floor for a room of %u bytes\n", headerCase.name.c_str(),
                   headerCase.headerRoom);
      return 1;
    }
    benchmark::RegisterBenchmark(("Header/" + headerCase.name + "/1h").c_str(), buildHeader,
                                 headerCase, kOneHourFrames)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(1.0);
  }
  // Found once, before any timing: the longest recording whose header still fits its room.
  for (const HeaderCase& headerCase : cases) {
    const auto start = std::chrono::steady_clock::now();
    const LongestFit fit = findLongestFit(headerCase);
    if (fit.error) {
      std::fprintf(stderr, "%s: searching the longest fit failed: %s\n", headerCase.name.c_str(),
                   fit.error->c_str());
      return 1;
    }
    std::fprintf(stderr, "%s: longest fit %lld frames (search took %.1f s)\n",
                 headerCase.name.c_str(), static_cast<long long>(fit.frames),
                 seconds(std::chrono::steady_clock::now() - start));
    benchmark::RegisterBenchmark(("Header/" + headerCase.name + "/longest").c_str(), buildHeader,
                                 headerCase, fit.frames)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(1.0);
  }

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
