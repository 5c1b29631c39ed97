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
 private:
  // `repeat` runs like `first`, the k-th of them `k * stride` bytes after it.
  struct Entry {
    SampleRun first;
    uint32_t repeat = 1;
    uint32_t stride = 0;
  };

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
    bool changed = false;
    for (Entry& entry : entries_) {
      const uint32_t index = map(entry.first.descriptionIndex);
      changed |= index != entry.first.descriptionIndex;
      entry.first.descriptionIndex = index;
    }
    if (changed) resummarize();
  }

  size_t size() const { return runs_; }
  bool empty() const { return runs_ == 0; }
  // The i-th run, in linear time: for checks and small media, not for walking.
  SampleRun operator[](size_t i) const;
  const SampleTableSummary& summary() const { return summary_; }
  // Entries held, each a run and its repetitions.
  size_t entryCount() const { return entries_.size(); }

  // Walks the runs in order, each entry's repetitions one by one.
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
    const_iterator& operator++() {
      if (++repeat_ < entry_->repeat) {
        current_.offset += entry_->stride;
      } else {
        repeat_ = 0;
        if (++entry_ != end_) current_ = entry_->first;
      }
      return *this;
    }
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
    using EntryIterator = std::deque<Entry>::const_iterator;
    const_iterator(EntryIterator entry, EntryIterator end) : entry_(entry), end_(end) {
      if (entry_ != end_) current_ = entry_->first;
    }

    EntryIterator entry_{};
    EntryIterator end_{};
    uint32_t repeat_ = 0;
    SampleRun current_;
  };
  const_iterator begin() const { return const_iterator(entries_.begin(), entries_.end()); }
  const_iterator end() const { return const_iterator(entries_.end(), entries_.end()); }

 private:
  void resummarize();

  // A deque grows by blocks, without the copy of a vector that doubles.
  std::deque<Entry> entries_;
  size_t runs_ = 0;
  SampleTableSummary summary_;
};

}  // namespace premoov
