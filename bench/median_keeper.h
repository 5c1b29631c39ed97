#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace premoov::bench {

// Prints as the console does and keeps each benchmark's median CPU and wall time per
// iteration (and its items per second), by name ("Service/throughput/threads:2" for a
// benchmark run on threads), so that every header is compared with its floor from the same run.
class MedianKeeper : public benchmark::ConsoleReporter {
 public:
  struct Median {
    double cpu = 0;
    double wall = 0;
    double itemsPerSecond = 0;  // when the benchmark counts items
  };

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        const double n = static_cast<double>(run.iterations);
        std::string name = run.run_name.function_name;
        if (!run.run_name.threads.empty()) name += "/" + run.run_name.threads;
        auto items = run.counters.find("items_per_second");
        medians_[name] = {run.cpu_accumulated_time / n, run.real_accumulated_time / n,
                          items == run.counters.end() ? 0.0 : double(items->second)};
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  const Median* median(const std::string& name) const {
    auto it = medians_.find(name);
    return it == medians_.end() ? nullptr : &it->second;
  }

 private:
  std::map<std::string, Median> medians_;
};

// Registers `run(state, argument)` under `name`, repeated `repetitions` times, reporting only
// the aggregates, in microseconds: the form of the per-frame benchmarks.
template <typename Run, typename Argument>
void registerRepeated(const std::string& name, Run run, Argument argument, int repetitions) {
  benchmark::RegisterBenchmark(name.c_str(), run, argument)
      ->Unit(benchmark::kMicrosecond)
      ->MinTime(0.2)
      ->Repetitions(repetitions)
      ->ReportAggregatesOnly(true);
}

// The header of a table of runs against their floors, per frame.
inline void printFrameTableHeader(const char* title) {
  std::printf("%-24s %10s %10s %9s %9s %12s\n", title, "cpu us", "floor us", "x floor", "x wall",
              "frames/s");
}

// One row of that table: the run's median CPU time, its floor's, their ratio, the ratio of wall
// times, and frames a second on one thread. Nothing when either is missing.
inline void printFrameTableRow(const MedianKeeper& medians, const std::string& name,
                               const std::string& floorName) {
  const auto* run = medians.median(name);
  const auto* floor = medians.median(floorName);
  if (!run || !floor || floor->cpu <= 0 || floor->wall <= 0 || run->wall <= 0) return;
  std::printf("%-24s %10.2f %10.3f %9.2f %9.2f %12.0f\n", name.c_str(), run->cpu * 1e6,
              floor->cpu * 1e6, run->cpu / floor->cpu, run->wall / floor->wall, 1.0 / run->wall);
}

}  // namespace premoov::bench
