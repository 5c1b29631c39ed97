#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "movie/track_tables.h"

namespace premoov {

// One step through a track's samples: a sample whose bytes are all in the file, or a run of
// consecutive samples that lie wholly or partly past its end (a growing file not yet written).
struct SampleStep {
  uint64_t first = 0;  // number of the sample, or of the run's first sample (0-based)
  uint64_t count = 1;  // samples in the step; more than 1 only for a missing run
  bool missing = false;
  std::optional<uint64_t> time;      // decode time of `first` in the media time scale
  std::optional<uint32_t> duration;  // of `first`, in the media time scale
  uint64_t offset = 0;               // of `first`, from the start of the file
  uint32_t size = 0;                 // of `first`, bytes
};

enum class SampleWalkErrorCode {
  kTablesMissing,        // no 'stsz', 'stsc' or chunk offsets to walk
  kSampleToChunkBroken,  // an 'stsc' entry cut short, with no samples, or out of order
  kChunksRunOut,         // the chunks hold fewer samples than 'stsz' counts
  kSizeMissing,          // 'stsz' holds fewer sizes than it counts samples
  kOffsetMissing,        // a chunk offset past the end of its table
  kOffsetOverflow,       // a sample that would end past 2^64
};

struct SampleWalkError {
  SampleWalkErrorCode code;
  uint64_t sample = 0;  // the sample the walk stopped at
  uint64_t chunk = 0;   // 1-based, the chunk it was looking for

  std::string message() const;
};

// Walks the samples of a track in their order through 'stsz', 'stsc', 'stco'/'co64' and 'stts',
// without reading any sample. `fileSize` is how many bytes the file holds: a sample that ends
// past it is missing, and the rest of its chunk and every following chunk whose first sample is
// missing too join it in one step. A walk costs constant memory; each step costs constant work
// plus one per chunk and 'stts' entry it passes, so a missing hour of recording is one step.
// Present samples are one step each: callers bound how many they take.
class SampleWalker {
 public:
  SampleWalker(const TrackTables& tables, uint64_t fileSize);

  // The next step, or nothing once every sample is walked or the tables stop making sense (then
  // error() says why).
  std::optional<SampleStep> next();
  const std::optional<SampleWalkError>& error() const { return error_; }
  // Samples 'stsz' counts.
  uint64_t sampleCount() const { return sampleCount_; }

 private:
  // Makes the current chunk one that still has samples to give, moving to the next chunk (and
  // 'stsc' run) when the current one is used up. False with error_ set when the tables fail.
  bool enterChunk();
  bool loadRun(uint32_t run);
  void fail(SampleWalkErrorCode code);
  // Moves the decode time on by `count` samples.
  void advanceTime(uint64_t count);
  std::optional<uint32_t> currentDuration();

  const TrackTables& tables_;
  uint64_t fileSize_;
  uint64_t sampleCount_ = 0;
  uint64_t sample_ = 0;  // next sample to give

  uint32_t run_ = 0;          // 'stsc' entry of the current chunk
  bool runLoaded_ = false;    // whether run_ has been read
  uint64_t runEndChunk_ = 0;  // 1-based, first chunk past the run
  uint32_t perChunk_ = 0;     // samples per chunk in the run
  uint64_t chunk_ = 0;        // 1-based current chunk; 0 before the first
  uint64_t inChunk_ = 0;      // samples of the current chunk already given
  uint64_t cursor_ = 0;       // file offset of the next sample in the chunk

  uint64_t timeEntry_ = 0;    // 'stts' entry of the next sample
  uint64_t leftInEntry_ = 0;  // samples of that entry not yet passed
  uint32_t entryDuration_ = 0;
  bool timeKnown_ = true;  // false once 'stts' runs out
  uint64_t time_ = 0;

  std::optional<SampleWalkError> error_;
};

}  // namespace premoov
