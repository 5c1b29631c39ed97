#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <iterator>

#include "movie/sample_table_summary.h"

namespace premoov {

// The runs (chunks) of a medium in file order, kept compact: a run that repeats the one before in
// everything but its offset, lying a fixed stride after it, extends that entry instead of adding
// one. An audio track's run of every interleave group, or the equal chunks of a group's video,
// thus cost one entry, and the memory of a header's runs follows the header's size. The summary
// of the sample table atoms is kept up to date as runs are added.
class SampleRuns {
 public:
  SampleRuns() = default;
  SampleRuns(std::initializer_list<SampleRun> runs);
  SampleRuns& operator=(std::initializer_list<SampleRun> runs);

  // Runs of no samples are kept (they make no chunk).
  void push_back(const SampleRun& run);
  void clear();

  // Rewrites every run's description index through `map` (old index to new), in place.
  template <typename Map>
  void renumberDescriptions(Map map) {
    for (Entry& entry : entries_) entry.first.descriptionIndex = map(entry.first.descriptionIndex);
    resummarize();
  }

  size_t size() const { return runs_; }
  bool empty() const { return runs_ == 0; }
  // The i-th run, in linear time: for checks and small media, not for walking.
  SampleRun operator[](size_t i) const;
  const SampleTableSummary& summary() const { return summary_; }
  // Entries held, each a run and its repetitions.
  size_t entryCount() const { return entries_.size(); }

  class const_iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = SampleRun;
    using difference_type = std::ptrdiff_t;
    using pointer = const SampleRun*;
    using reference = const SampleRun&;

    const_iterator() = default;
    const SampleRun& operator*() const { return current_; }
    const SampleRun* operator->() const { return &current_; }
    const_iterator& operator++();
    const_iterator operator++(int) {
      const_iterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const const_iterator& other) const {
      return entry_ == other.entry_ && repeat_ == other.repeat_;
    }

   private:
    friend class SampleRuns;
    const_iterator(const SampleRuns* runs, size_t entry);
    void load();

    const SampleRuns* runs_ = nullptr;
    size_t entry_ = 0;
    uint32_t repeat_ = 0;
    SampleRun current_;
  };
  const_iterator begin() const { return const_iterator(this, 0); }
  const_iterator end() const { return const_iterator(this, entries_.size()); }

 private:
  // `repeat` runs like `first`, the k-th of them `k * stride` bytes after it.
  struct Entry {
    SampleRun first;
    uint32_t repeat = 1;
    uint32_t stride = 0;
  };

  void resummarize();

  // A deque grows by blocks, without the copy of a vector that doubles.
  std::deque<Entry> entries_;
  size_t runs_ = 0;
  SampleTableSummary summary_;
};

}  // namespace premoov
