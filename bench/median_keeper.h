#pragma once

#include <benchmark/benchmark.h>

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

}  // namespace premoov::bench
