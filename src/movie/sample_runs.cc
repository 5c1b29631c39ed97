#include "movie/sample_runs.h"

#include <limits>

namespace premoov {
namespace {

constexpr uint32_t kMaxU32 = std::numeric_limits<uint32_t>::max();

bool sameButOffset(const SampleRun& a, const SampleRun& b) {
  return a.sampleSize == b.sampleSize && a.count == b.count &&
         a.decodeDuration == b.decodeDuration && a.displayOffset == b.displayOffset &&
         a.flags == b.flags && a.descriptionIndex == b.descriptionIndex;
}

}  // namespace

SampleRuns::SampleRuns(std::initializer_list<SampleRun> runs) {
  for (const SampleRun& run : runs) push_back(run);
}

SampleRuns& SampleRuns::operator=(std::initializer_list<SampleRun> runs) {
  clear();
  for (const SampleRun& run : runs) push_back(run);
  return *this;
}

void SampleRuns::push_back(const SampleRun& run) {
  summary_.add(run);
  ++runs_;
  if (!entries_.empty()) {
    Entry& last = entries_.back();
    if (sameButOffset(last.first, run) && run.offset >= last.first.offset &&
        last.repeat < kMaxU32) {
      const uint64_t distance = run.offset - last.first.offset;
      if (last.repeat == 1 && distance <= kMaxU32) {
        last.stride = static_cast<uint32_t>(distance);
        last.repeat = 2;
        return;
      }
      if (last.repeat > 1 && distance == uint64_t{last.stride} * last.repeat) {
        ++last.repeat;
        return;
      }
    }
  }
  entries_.push_back(Entry{run, 1, 0});
}

void SampleRuns::clear() {
  entries_.clear();
  runs_ = 0;
  summary_ = SampleTableSummary();
}

void SampleRuns::resummarize() {
  summary_ = SampleTableSummary();
  for (const SampleRun& run : *this) summary_.add(run);
}

SampleRun SampleRuns::operator[](size_t i) const {
  for (const Entry& entry : entries_) {
    if (i < entry.repeat) {
      SampleRun run = entry.first;
      run.offset += uint64_t{entry.stride} * i;
      return run;
    }
    i -= entry.repeat;
  }
  return SampleRun{};
}

}  // namespace premoov
