#include "movie/sample_walker.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/log.h"

namespace premoov {

namespace {

constexpr std::array kErrorTexts = {
    std::pair{SampleWalkErrorCode::kTablesMissing,
              "the track has no readable 'stsz', 'stsc' and 'stco' or 'co64'"},
    std::pair{SampleWalkErrorCode::kSampleToChunkBroken,
              "an 'stsc' entry is cut short, has no samples or is out of order"},
    std::pair{SampleWalkErrorCode::kChunksRunOut,
              "the chunks hold fewer samples than 'stsz' counts"},
    std::pair{SampleWalkErrorCode::kSizeMissing, "'stsz' holds fewer sizes than it counts"},
    std::pair{SampleWalkErrorCode::kOffsetMissing, "the chunk offset table ends before the chunk"},
    std::pair{SampleWalkErrorCode::kOffsetOverflow, "the sample would end past 2^64 bytes"},
};

}  // namespace

std::string SampleWalkError::message() const {
  const char* text = "sample table error";
  for (const auto& [errorCode, errorText] : kErrorTexts) {
    if (errorCode == code) text = errorText;
  }
  return stringWithFormat("%s (sample %llu, chunk %llu)", text,
                          static_cast<unsigned long long>(sample),
                          static_cast<unsigned long long>(chunk));
}

SampleWalker::SampleWalker(const TrackTables& tables, uint64_t fileSize)
    : tables_(tables), fileSize_(fileSize), sampleCount_(tables.sampleCount()) {
  timeKnown_ = tables_.timeToSample.has_value();
  if (!tables_.sizes || !tables_.sampleToChunk || !tables_.chunkOffsets) {
    fail(SampleWalkErrorCode::kTablesMissing);
  }
}

void SampleWalker::fail(SampleWalkErrorCode code) {
  if (!error_) error_ = SampleWalkError{code, sample_, chunk_};
}

bool SampleWalker::loadRun(uint32_t run) {
  auto entry = tables_.sampleToChunk->entry(run);
  const auto firstChunk = entry ? entry->u32() : std::nullopt;
  const auto perChunk = entry ? entry->u32() : std::nullopt;
  if (!firstChunk || !perChunk || *firstChunk == 0 || *perChunk == 0) {
    fail(SampleWalkErrorCode::kSampleToChunkBroken);
    return false;
  }
  uint64_t endChunk = uint64_t{tables_.chunkOffsets->count()} + 1;
  if (run + 1 < tables_.sampleToChunk->count()) {
    auto next = tables_.sampleToChunk->entry(run + 1);
    const auto nextFirst = next ? next->u32() : std::nullopt;
    if (!nextFirst || *nextFirst <= *firstChunk) {
      fail(SampleWalkErrorCode::kSampleToChunkBroken);
      return false;
    }
    endChunk = *nextFirst;
  }
  // Runs follow each other without gaps, the first from chunk 1.
  if (*firstChunk != (runLoaded_ ? runEndChunk_ : 1)) {
    fail(SampleWalkErrorCode::kSampleToChunkBroken);
    return false;
  }
  run_ = run;
  runLoaded_ = true;
  runEndChunk_ = endChunk;
  perChunk_ = *perChunk;
  chunk_ = *firstChunk;
  return true;
}

bool SampleWalker::enterChunk() {
  if (error_) return false;
  if (chunk_ != 0 && inChunk_ < perChunk_) return true;
  if (!runLoaded_) {
    if (!loadRun(0)) return false;
  } else if (++chunk_ >= runEndChunk_) {
    if (uint64_t{run_} + 1 >= tables_.sampleToChunk->count()) {
      fail(SampleWalkErrorCode::kChunksRunOut);
      return false;
    }
    if (!loadRun(run_ + 1)) return false;
  }
  if (chunk_ > tables_.chunkOffsets->count()) {
    fail(SampleWalkErrorCode::kChunksRunOut);
    return false;
  }
  auto offset = tables_.chunkOffset(chunk_ - 1);
  if (!offset) {
    fail(SampleWalkErrorCode::kOffsetMissing);
    return false;
  }
  cursor_ = *offset;
  inChunk_ = 0;
  return true;
}

std::optional<uint32_t> SampleWalker::currentDuration() {
  // Entries of no samples are passed over; each entry is read once.
  while (timeKnown_ && leftInEntry_ == 0) {
    auto entry = tables_.timeToSample->entry(timeEntry_);
    const auto count = entry ? entry->u32() : std::nullopt;
    const auto duration = entry ? entry->u32() : std::nullopt;
    if (!count || !duration) {
      timeKnown_ = false;
      break;
    }
    ++timeEntry_;
    leftInEntry_ = *count;
    entryDuration_ = *duration;
  }
  if (!timeKnown_) return std::nullopt;
  return entryDuration_;
}

void SampleWalker::advanceTime(uint64_t count) {
  while (count > 0 && currentDuration()) {
    const uint64_t n = std::min(count, leftInEntry_);
    // Saturates into "unknown" rather than wrapping: no real track lasts 2^64 units.
    if (entryDuration_ != 0 && n > (UINT64_MAX - time_) / entryDuration_) {
      timeKnown_ = false;
      return;
    }
    time_ += n * entryDuration_;
    leftInEntry_ -= n;
    count -= n;
  }
}

std::optional<SampleStep> SampleWalker::next() {
  if (error_ || sample_ >= sampleCount_) return std::nullopt;
  if (!enterChunk()) return std::nullopt;
  const auto size = tables_.sizeOf(sample_);
  if (!size) {
    fail(SampleWalkErrorCode::kSizeMissing);
    return std::nullopt;
  }
  if (cursor_ > UINT64_MAX - *size) {
    fail(SampleWalkErrorCode::kOffsetOverflow);
    return std::nullopt;
  }
  SampleStep step;
  step.first = sample_;
  step.duration = currentDuration();
  if (step.duration) step.time = time_;
  step.offset = cursor_;
  step.size = *size;
  if (cursor_ + *size <= fileSize_) {
    cursor_ += *size;
    ++inChunk_;
    ++sample_;
    advanceTime(1);
    return step;
  }

  // Missing: in a chunk, samples follow each other, so the rest of it is missing as well.
  step.missing = true;
  step.count = 0;
  while (true) {
    const uint64_t n = std::min<uint64_t>(perChunk_ - inChunk_, sampleCount_ - sample_);
    step.count += n;
    sample_ += n;
    inChunk_ = perChunk_;
    advanceTime(n);
    if (sample_ >= sampleCount_ || !enterChunk()) break;
    const auto nextSize = tables_.sizeOf(sample_);
    if (!nextSize || (cursor_ <= fileSize_ && *nextSize <= fileSize_ - cursor_)) break;
  }
  return step;
}

}  // namespace premoov
