#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "header_request.h"
#include "median_keeper.h"

namespace premoov::bench {
namespace {

constexpr uint32_t kProResRoom = 4'194'304;
constexpr uint32_t kLongGopRoom = 12'582'912;
constexpr int kRepetitions = 9;

std::string floorName(uint32_t room) { return "Floor/memset/" + std::to_string(room); }

// The least a header request can cost: filling its room once, in a buffer made beforehand.
void floorMemset(benchmark::State& state, uint32_t room) {
  std::vector<uint8_t> buffer(room);
  uint8_t fill = 0;
  for (auto _ : state) {
    std::memset(buffer.data(), fill++, buffer.size());
    benchmark::DoNotOptimize(buffer.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * room);
}

// Builds one whole header per iteration and checks the reply is a header of exactly the room.
void buildHeader(benchmark::State& state, const HeaderCase& headerCase, int64_t frames) {
  ZPRQuickTimeMovieCreator creator;
  LastReplyClient client;
  for (auto _ : state) {
    requestHeader(creator, client, headerCase, frames);
    if (auto problem = checkReply(client, headerCase)) {
      state.SkipWithError(problem->c_str());
      return;
    }
    benchmark::DoNotOptimize(client.header.data());
    benchmark::ClobberMemory();
  }
  state.counters["frames"] = static_cast<double>(frames);
  state.counters["hours"] = static_cast<double>(frames) *
                            static_cast<double>(headerCase.frameDuration.value) /
                            headerCase.frameDuration.timescale / 3600.0;
}

// Peak resident memory of building one header in a fresh process (this program run again, so
// that nothing this run holds counts), in bytes, and that of one that builds none: the difference
// is what the header costs.
struct PeakMemory {
  long header = 0;
  long idle = 0;
};

constexpr const char* kPeakOfOption = "--peak-of";

// Runs `self --peak-of CASE FRAMES` and answers its peak resident memory.
long freshProcessPeakResident(const char* self, size_t caseIndex, int64_t frames) {
  const std::string index = std::to_string(caseIndex);
  const std::string count = std::to_string(frames);
  const pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) {
    execl("/proc/self/exe", self, kPeakOfOption, index.c_str(), count.c_str(),
          static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    return -1;
  }
  return usage.ru_maxrss * 1024;  // kilobytes on Linux
}

// The body of `--peak-of CASE FRAMES`: builds that header once (none for 0 frames).
int buildOnce(const HeaderCase& headerCase, int64_t frames) {
  if (frames == 0) return 0;
  ZPRQuickTimeMovieCreator creator;
  LastReplyClient client;
  requestHeader(creator, client, headerCase, frames);
  return checkReply(client, headerCase) ? 1 : 0;
}

}  // namespace
}  // namespace premoov::bench

int main(int argc, char** argv) {
  using namespace premoov::bench;
  static const HeaderCase cases[] = {proResCase(), longGopCase()};
  if (argc == 4 && std::string(argv[1]) == kPeakOfOption) {
    const size_t index = std::stoul(argv[2]);
    return index < std::size(cases) ? buildOnce(cases[index], std::stoll(argv[3])) : 2;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  // Every benchmark runs kRepetitions times; the medians are compared, so that one slow
  // repetition of the floor or of a header does not swing the ratio.
  for (uint32_t room : {kProResRoom, kLongGopRoom}) {
    benchmark::RegisterBenchmark(floorName(room).c_str(), floorMemset, room)
        ->MinTime(0.2)
        ->Repetitions(kRepetitions)
        ->ReportAggregatesOnly(true);
  }

  // The cases live as long as the run; the benchmarks keep references to them.
  struct Measured {
    std::string name;
    uint32_t room;
    std::optional<PeakMemory> peak;
  };
  std::vector<Measured> measured;
  for (const HeaderCase& headerCase : cases) {
    const std::string name = "Header/" + headerCase.name + "/1h";
    benchmark::RegisterBenchmark(name.c_str(), buildHeader, headerCase, kOneHourFrames)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.3)
        ->Repetitions(kRepetitions)
        ->ReportAggregatesOnly(true);
    measured.push_back({name, headerCase.headerRoom, std::nullopt});
  }
  // Found once, before any timing: the longest recording whose header still fits its room, and
  // the peak memory of building it.
  for (size_t index = 0; index < std::size(cases); ++index) {
    const HeaderCase& headerCase = cases[index];
    const LongestFit fit = findLongestFit(headerCase);
    if (fit.error) {
      std::fprintf(stderr, "%s: searching the longest fit failed: %s\n", headerCase.name.c_str(),
                   fit.error->c_str());
      return 1;
    }
    const std::string name = "Header/" + headerCase.name + "/longest";
    benchmark::RegisterBenchmark(name.c_str(), buildHeader, headerCase, fit.frames)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.3)
        ->Repetitions(kRepetitions)
        ->ReportAggregatesOnly(true);
    measured.push_back({name, headerCase.headerRoom,
                        PeakMemory{freshProcessPeakResident(argv[0], index, fit.frames),
                                   freshProcessPeakResident(argv[0], index, 0)}});
  }

  MedianKeeper reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\nMedians of %d repetitions\n%-40s %12s %12s %10s %10s %14s\n", kRepetitions,
              "header", "cpu ms", "floor ms", "x floor", "x wall", "peak MiB");
  for (const Measured& m : measured) {
    const auto* header = reporter.median(m.name);
    const auto* floor = reporter.median(floorName(m.room));
    if (!header || !floor || floor->cpu <= 0 || floor->wall <= 0) continue;
    char peak[64] = "";
    if (m.peak && m.peak->header > 0) {
      const auto mebibytes = [](long bytes) { return static_cast<double>(bytes) / 1048576.0; };
      std::snprintf(peak, sizeof peak, "%.1f (+%.1f)", mebibytes(m.peak->header),
                    mebibytes(m.peak->header - m.peak->idle));
    }
    std::printf("%-40s %12.3f %12.3f %10.1f %10.1f %14s\n", m.name.c_str(), header->cpu * 1e3,
                floor->cpu * 1e3, header->cpu / floor->cpu, header->wall / floor->wall, peak);
  }
  std::printf(
      "x floor: median CPU time of building the header over the median of a memset of "
      "its room, same run; peak: resident memory of a process that builds the header "
      "once (+ over one that builds none)\n");
  return 0;
}
