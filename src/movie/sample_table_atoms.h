#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/byte_writer.h"
#include "movie/movie.h"

namespace premoov {

// `count` consecutive samples that each last `duration` (media time scale): one 'stts' entry.
struct TimeToSampleEntry {
  uint32_t count = 0;
  uint32_t duration = 0;
  bool operator==(const TimeToSampleEntry&) const = default;
};

// `count` consecutive samples displayed `offset` after they decode (media time scale, signed):
// one 'ctts' entry.
struct CompositionOffsetEntry {
  uint32_t count = 0;
  int32_t offset = 0;
  bool operator==(const CompositionOffsetEntry&) const = default;
};

// The 'cslg' fields, in the media time scale. Composition time is decode time plus the sample's
// composition offset; the end time is that of the sample displayed last plus its duration.
struct CompositionShift {
  int64_t compositionToDTSShift = 0;  // added to every offset, makes them all non-negative
  int64_t leastDecodeToDisplayDelta = 0;
  int64_t greatestDecodeToDisplayDelta = 0;
  int64_t compositionStartTime = 0;
  int64_t compositionEndTime = 0;
  bool operator==(const CompositionShift&) const = default;
};

// A run of chunks that share their sample count and description: one 'stsc' entry.
struct SampleToChunkEntry {
  uint32_t firstChunk = 0;  // 1-based
  uint32_t samplesPerChunk = 0;
  uint32_t descriptionIndex = 0;  // 1-based into the 'stsd' entries
  bool operator==(const SampleToChunkEntry&) const = default;
};

// The chunk and sample tables of one medium, run-length coded the way the atoms hold them. Only
// the lists that a reader needs sample by sample (varying sizes, sync and partial-sync samples,
// dependency bytes) hold one value per sample.
struct SampleTableAtoms {
  uint32_t sampleCount = 0;
  int64_t totalDuration = 0;  // of every sample, media time scale
  std::vector<TimeToSampleEntry> timeToSample;
  std::vector<CompositionOffsetEntry> compositionOffsets;  // empty: no 'ctts' nor 'cslg'
  CompositionShift compositionShift;
  std::optional<std::vector<uint32_t>> syncSamples;  // 1-based; nothing: every sample is sync
  std::vector<uint32_t> partialSyncSamples;          // 1-based; empty: no 'stps'
  std::vector<uint8_t> sampleDependencies;           // one byte per sample; empty: no 'sdtp'
  std::vector<SampleToChunkEntry> sampleToChunk;
  uint32_t constantSampleSize = 0;     // non-zero: the size of every sample, no table
  std::vector<uint32_t> sampleSizes;   // one per sample when sizes vary
  std::vector<uint64_t> chunkOffsets;  // one per chunk, from the start of the file

  // 'co64' rather than 'stco': some chunk starts past the first 4 GiB.
  bool needsLargeOffsets() const;
};

// Why `runs` cannot be written as sample tables of a medium with `descriptionCount` sample
// descriptions (a value too large for its field, a description index out of range), or nothing
// when they can.
std::optional<std::string> sampleTableProblem(std::span<const SampleRun> runs,
                                              size_t descriptionCount);

// Run-length codes `runs`: each run with samples is one chunk, runs of no samples are skipped.
// Values that sampleTableProblem() reports are clamped to their field.
SampleTableAtoms buildSampleTableAtoms(std::span<const SampleRun> runs);

// Appends 'stts', then 'ctts' and 'cslg', 'stss', 'stps', 'sdtp' when needed, then 'stsc', 'stsz'
// and 'stco' or 'co64': the atoms of a sample table that follow its 'stsd'.
void writeSampleTableAtoms(ByteWriter& writer, const SampleTableAtoms& table);

}  // namespace premoov
