#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace premoov {

// Samples recorded by one reference: `count` samples of `sampleSize` bytes back to back at
// `offset`, each lasting `decodeDuration`. A run is one chunk of the file. The field widths are
// those of the sample table atoms: a 'stts' delta is unsigned 32-bit, a 'ctts' offset signed.
struct SampleRun {
  uint64_t offset = 0;
  uint32_t sampleSize = 0;
  uint32_t count = 0;
  uint32_t decodeDuration = 0;    // per sample, in the media's time scale
  int32_t displayOffset = 0;      // composition offset of every sample of the run
  uint32_t flags = 0;             // MediaSampleFlags
  uint32_t descriptionIndex = 1;  // 1-based into Media::descriptions

  bool operator==(const SampleRun&) const = default;
};

// Consecutive samples that share a value make one entry of a run-length table ('stts', 'ctts'),
// as long as the entry's count fits 32 bits.
template <typename Value>
class RunLengthEntries {
 public:
  struct Entry {
    uint32_t count = 0;
    Value value{};
  };

  // Adds `count` samples of `value`; answers the entry this completes when it starts a new one.
  std::optional<Entry> add(uint32_t count, Value value) {
    if (current_ && current_->value == value &&
        uint64_t{current_->count} + count <= std::numeric_limits<uint32_t>::max()) {
      current_->count += count;
      return std::nullopt;
    }
    std::optional<Entry> done = current_;
    current_ = Entry{count, value};
    ++entries_;
    return done;
  }
  // The entry still open, if any.
  const std::optional<Entry>& last() const { return current_; }
  uint64_t entries() const { return entries_; }

 private:
  std::optional<Entry> current_;
  uint64_t entries_ = 0;
};

// The 'cslg' fields, in the media time scale. Composition time is decode time plus the sample's
// composition offset; the end time is that of the sample displayed last plus its duration.
struct CompositionShift {
  int64_t compositionToDTSShift = 0;  // added to every offset, makes them all non-negative
  int64_t leastDecodeToDisplayDelta = 0;
  int64_t greatestDecodeToDisplayDelta = 0;
  int64_t compositionStartTime = 0;
  int64_t compositionEndTime = 0;

  // Every field fits the 32 bits of a version 0 'cslg'.
  bool fitsVersion0() const;
  bool operator==(const CompositionShift&) const = default;
};

// What the sample table atoms of a medium will hold, kept up to date run by run: which atoms are
// written, how many entries each has and so their size in bytes, without one record per sample.
// The header writer reads the size while it lays samples out, to stop as soon as the header can
// no longer fit its room.
class SampleTableSummary {
 public:
  void add(const SampleRun& run);

  // Bytes of the atoms after 'stsd': 'stts', then 'ctts' and 'cslg', 'stss', 'stps', 'sdtp' when
  // written, then 'stsc', 'stsz' and 'stco' or 'co64'.
  uint64_t atomBytes() const;

  uint64_t samples() const { return samples_; }
  uint64_t chunks() const { return chunks_; }
  // The sample count field: samples past 32 bits are not counted.
  uint32_t sampleCountField() const;
  int64_t totalDuration() const { return totalDuration_; }  // saturates at the largest int64

  bool hasCompositionOffsets() const { return anyDisplayOffset_; }
  const CompositionShift& compositionShift() const { return shift_; }
  bool hasSyncTable() const { return anyNotSync_; }
  bool hasPartialSyncTable() const { return anyPartialSync_; }
  bool hasDependencies() const { return anyDependency_; }
  // Zero when sizes vary (or are zero) and 'stsz' lists every sample.
  uint32_t constantSampleSize() const;
  bool needsLargeOffsets() const { return largeOffsets_; }

  uint64_t timeToSampleEntries() const { return timeToSample_.entries(); }
  uint64_t compositionOffsetEntries() const { return compositionOffsets_.entries(); }
  uint64_t syncSampleNumbers() const { return syncNumbers_; }
  uint64_t partialSyncSampleNumbers() const { return partialSyncNumbers_; }
  uint64_t sampleToChunkEntries() const { return sampleToChunkEntries_; }

  // Why the runs cannot be written as sample tables of a medium with `descriptionCount` sample
  // descriptions (a count or duration too large for its field, a description index out of
  // range), or nothing when they can.
  std::optional<std::string> problem(size_t descriptionCount) const;

 private:
  uint64_t runsAdded_ = 0;
  uint64_t samples_ = 0;
  uint64_t chunks_ = 0;
  int64_t totalDuration_ = 0;  // also the decode time of the next sample
  bool anyDisplayOffset_ = false, anyNotSync_ = false, anyPartialSync_ = false;
  bool anyDependency_ = false, sizesVary_ = false, largeOffsets_ = false;
  std::optional<uint32_t> firstSize_;
  CompositionShift shift_;
  int64_t lastDisplayed_ = 0;  // composition time of the sample displayed last so far
  RunLengthEntries<uint32_t> timeToSample_;
  RunLengthEntries<int32_t> compositionOffsets_;
  uint64_t syncNumbers_ = 0, partialSyncNumbers_ = 0;
  uint64_t sampleToChunkEntries_ = 0;
  uint32_t lastSamplesPerChunk_ = 0, lastDescriptionIndex_ = 0;
  // The first run of each kind of fault, 1-based; 0 for none.
  uint64_t largestDescriptionRun_ = 0, zeroDescriptionRun_ = 0, offsetOverflowRun_ = 0;
  uint64_t countOverflowRun_ = 0, durationOverflowRun_ = 0;
  uint32_t largestDescriptionIndex_ = 0;
};

}  // namespace premoov
