#include "movie/sample_table_summary.h"

#include <algorithm>

#include "base/log.h"
#include "movie/movie_types.h"

namespace premoov {
namespace {

constexpr uint32_t kMaxU32 = std::numeric_limits<uint32_t>::max();
constexpr int64_t kMaxI64 = std::numeric_limits<int64_t>::max();
constexpr int64_t kMinI64 = std::numeric_limits<int64_t>::min();

// Atom header sizes: size and type, then version and flags for a full atom.
constexpr uint64_t kFullAtomHeader = 12;
constexpr uint64_t kEntryCount = 4;

int64_t saturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) return b > 0 ? kMaxI64 : kMinI64;
  return sum;
}

// `count` (never negative here) times `duration` (never negative here).
int64_t saturatingProduct(int64_t count, int64_t duration) {
  int64_t product = 0;
  if (__builtin_mul_overflow(count, duration, &product)) return kMaxI64;
  return product;
}

bool fitsI32(int64_t v) {
  return v >= std::numeric_limits<int32_t>::min() && v <= std::numeric_limits<int32_t>::max();
}

// How many of the sample numbers first .. first + count - 1 a 32-bit list can hold.
uint64_t numbersThatFit(uint64_t first, uint32_t count) {
  if (first > kMaxU32) return 0;
  return std::min<uint64_t>(count, uint64_t{kMaxU32} - first + 1);
}

void noteFirst(uint64_t& slot, uint64_t run) {
  if (slot == 0) slot = run;
}

}  // namespace

bool CompositionShift::fitsVersion0() const {
  return fitsI32(compositionToDTSShift) && fitsI32(leastDecodeToDisplayDelta) &&
         fitsI32(greatestDecodeToDisplayDelta) && fitsI32(compositionStartTime) &&
         fitsI32(compositionEndTime);
}

void SampleTableSummary::add(const SampleRun& run) {
  const uint64_t runNumber = ++runsAdded_;
  if (run.count == 0) return;  // no samples, no chunk
  const uint64_t firstSample = samples_ + 1;

  if (run.descriptionIndex == 0) noteFirst(zeroDescriptionRun_, runNumber);
  if (run.descriptionIndex > largestDescriptionIndex_) {
    largestDescriptionIndex_ = run.descriptionIndex;
    largestDescriptionRun_ = runNumber;
  }
  if (run.offset + uint64_t{run.sampleSize} * run.count < run.offset) {
    noteFirst(offsetOverflowRun_, runNumber);
  }

  anyDisplayOffset_ |= run.displayOffset != 0;
  anyNotSync_ |= (run.flags & mediaSampleNotSync) != 0;
  anyPartialSync_ |= (run.flags & mediaSamplePartialSync) != 0;
  anyDependency_ |= ((run.flags >> 24) & 0xFF) != 0;
  if (!firstSize_) firstSize_ = run.sampleSize;
  sizesVary_ |= run.sampleSize != *firstSize_ || *firstSize_ == 0;
  largeOffsets_ |= run.offset > kMaxU32;

  timeToSample_.add(run.count, run.decodeDuration);
  compositionOffsets_.add(run.count, run.displayOffset);

  // Within a run composition times rise with decode times: the first sample is displayed first
  // and the last one last.
  const int64_t firstTime = saturatingAdd(totalDuration_, run.displayOffset);
  const int64_t lastTime =
      saturatingAdd(firstTime, saturatingProduct(run.count - 1, run.decodeDuration));
  const int64_t lastEnd = saturatingAdd(lastTime, run.decodeDuration);
  if (chunks_ == 0) {
    shift_.leastDecodeToDisplayDelta = shift_.greatestDecodeToDisplayDelta = run.displayOffset;
    shift_.compositionStartTime = firstTime;
    shift_.compositionEndTime = lastEnd;
    lastDisplayed_ = lastTime;
  } else {
    shift_.leastDecodeToDisplayDelta =
        std::min<int64_t>(shift_.leastDecodeToDisplayDelta, run.displayOffset);
    shift_.greatestDecodeToDisplayDelta =
        std::max<int64_t>(shift_.greatestDecodeToDisplayDelta, run.displayOffset);
    shift_.compositionStartTime = std::min(shift_.compositionStartTime, firstTime);
    if (lastTime > lastDisplayed_ ||
        (lastTime == lastDisplayed_ && lastEnd > shift_.compositionEndTime)) {
      lastDisplayed_ = lastTime;
      shift_.compositionEndTime = lastEnd;
    }
  }
  shift_.compositionToDTSShift = std::max<int64_t>(0, -shift_.leastDecodeToDisplayDelta);

  if ((run.flags & mediaSampleNotSync) == 0) syncNumbers_ += numbersThatFit(firstSample, run.count);
  if ((run.flags & mediaSamplePartialSync) != 0) {
    partialSyncNumbers_ += numbersThatFit(firstSample, run.count);
  }

  if (chunks_ == 0 || lastSamplesPerChunk_ != run.count ||
      lastDescriptionIndex_ != run.descriptionIndex) {
    ++sampleToChunkEntries_;
    lastSamplesPerChunk_ = run.count;
    lastDescriptionIndex_ = run.descriptionIndex;
  }
  ++chunks_;

  samples_ += run.count;
  if (samples_ > kMaxU32) noteFirst(countOverflowRun_, runNumber);
  const int64_t runDuration = saturatingProduct(run.count, run.decodeDuration);
  if (runDuration == kMaxI64 || saturatingAdd(totalDuration_, runDuration) == kMaxI64) {
    noteFirst(durationOverflowRun_, runNumber);
  }
  totalDuration_ = saturatingAdd(totalDuration_, runDuration);
}

uint32_t SampleTableSummary::sampleCountField() const {
  return static_cast<uint32_t>(std::min<uint64_t>(samples_, kMaxU32));
}

uint32_t SampleTableSummary::constantSampleSize() const {
  return sizesVary_ ? 0 : firstSize_.value_or(0);
}

uint64_t SampleTableSummary::atomBytes() const {
  uint64_t bytes = kFullAtomHeader + kEntryCount + 8 * timeToSample_.entries();  // stts
  if (anyDisplayOffset_) {
    bytes += kFullAtomHeader + kEntryCount + 8 * compositionOffsets_.entries();  // ctts
    bytes += kFullAtomHeader + (shift_.fitsVersion0() ? 5 * 4 : 5 * 8);          // cslg
  }
  if (anyNotSync_) bytes += kFullAtomHeader + kEntryCount + 4 * syncNumbers_;             // stss
  if (anyPartialSync_) bytes += kFullAtomHeader + kEntryCount + 4 * partialSyncNumbers_;  // stps
  if (anyDependency_) bytes += kFullAtomHeader + samples_;                                // sdtp
  bytes += kFullAtomHeader + kEntryCount + 12 * sampleToChunkEntries_;                    // stsc
  bytes += kFullAtomHeader + 8 + (constantSampleSize() == 0 ? 4 * samples_ : 0);          // stsz
  bytes += kFullAtomHeader + kEntryCount + (largeOffsets_ ? 8 : 4) * chunks_;  // stco, co64
  return bytes;
}

std::optional<std::string> SampleTableSummary::problem(size_t descriptionCount) const {
  const auto run = [](uint64_t number) { return static_cast<unsigned long long>(number); };
  if (zeroDescriptionRun_ != 0) {
    return stringWithFormat("sample run %llu names sample description 0 of %zu",
                            run(zeroDescriptionRun_), descriptionCount);
  }
  if (largestDescriptionIndex_ > descriptionCount) {
    return stringWithFormat("sample run %llu names sample description %u of %zu",
                            run(largestDescriptionRun_), largestDescriptionIndex_,
                            descriptionCount);
  }
  if (offsetOverflowRun_ != 0) {
    return stringWithFormat("sample run %llu ends past the largest file offset",
                            run(offsetOverflowRun_));
  }
  if (countOverflowRun_ != 0) {
    return stringWithFormat("sample run %llu brings the sample count past 32 bits",
                            run(countOverflowRun_));
  }
  if (durationOverflowRun_ != 0) {
    return stringWithFormat("sample run %llu brings the media duration past 64 bits",
                            run(durationOverflowRun_));
  }
  return std::nullopt;
}

}  // namespace premoov
