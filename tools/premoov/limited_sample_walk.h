#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "movie/sample_walker.h"
#include "movie/track_tables.h"

namespace premoov {

// How a walk of a track's samples ended: after every sample, at the limit, or on the tables'
// error.
struct SampleWalkEnd {
  bool limitReached = false;
  std::optional<std::string> error{};
};

// Visits the steps of a track in order, as SampleWalker makes them (runs of samples past the end
// of a `fileSize`-byte file, present samples one by one), and stops before the present sample
// that would be one more than `limit`: the commands that read every sample of a track bound their
// work this way.
template <typename Visit>
SampleWalkEnd walkSamplesUpTo(const TrackTables& tables, uint64_t fileSize, uint64_t limit,
                              Visit&& visit) {
  SampleWalker walker(tables, fileSize);
  uint64_t taken = 0;
  while (auto step = walker.next()) {
    if (!step->missing) {
      if (taken == limit) return {.limitReached = true};
      ++taken;
    }
    visit(*step);
  }
  SampleWalkEnd end;
  if (walker.error()) end.error = walker.error()->message();
  return end;
}

// A record of one step (a caption sample, a frame) that keeps where the step lies and when: its
// first, count, missing, time, duration, offset and size fields copied from `step`.
template <typename Record>
Record recordOfStep(const SampleStep& step) {
  Record record{};
  record.first = step.first;
  record.count = step.count;
  record.missing = step.missing;
  record.time = step.time;
  record.duration = step.duration;
  record.offset = step.offset;
  record.size = step.size;
  return record;
}

}  // namespace premoov
