#include "movie/sample_table_atoms.h"

#include <algorithm>
#include <limits>

#include "base/atom_writer.h"
#include "base/log.h"

namespace premoov {
namespace {

constexpr uint32_t kMaxU32 = std::numeric_limits<uint32_t>::max();
constexpr int64_t kMaxI64 = std::numeric_limits<int64_t>::max();
constexpr int64_t kMinI64 = std::numeric_limits<int64_t>::min();

uint32_t clampToU32(int64_t v) { return static_cast<uint32_t>(std::clamp<int64_t>(v, 0, kMaxU32)); }

int32_t clampToI32(int64_t v) {
  return static_cast<int32_t>(std::clamp<int64_t>(v, std::numeric_limits<int32_t>::min(),
                                                  std::numeric_limits<int32_t>::max()));
}

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

// Adds `count` samples of `value` to a run-length list, extending its last entry when the value
// repeats and its count still fits 32 bits.
template <typename Entry, typename Value>
void appendRun(std::vector<Entry>& entries, uint32_t count, Value value, Value Entry::*field) {
  if (!entries.empty() && entries.back().*field == value &&
      uint64_t{entries.back().count} + count <= kMaxU32) {
    entries.back().count += count;
    return;
  }
  Entry entry;
  entry.count = count;
  entry.*field = value;
  entries.push_back(entry);
}

void appendSampleNumbers(std::vector<uint32_t>& numbers, uint64_t first, uint32_t count) {
  for (uint64_t n = first; n < first + count && n <= kMaxU32; ++n) {
    numbers.push_back(static_cast<uint32_t>(n));
  }
}

void writeSampleNumberList(ByteWriter& w, FourCC type, const std::vector<uint32_t>& numbers) {
  AtomScope atom(w, type, 0, 0);
  w.u32(static_cast<uint32_t>(numbers.size()));   // entry count
  for (uint32_t number : numbers) w.u32(number);  // sample number, 1-based
}

void writeTimeToSample(ByteWriter& w, const std::vector<TimeToSampleEntry>& entries) {
  AtomScope stts(w, FourCC("stts"), 0, 0);
  w.u32(static_cast<uint32_t>(entries.size()));  // entry count
  for (const auto& entry : entries) {
    w.u32(entry.count);     // sample count
    w.u32(entry.duration);  // sample duration
  }
}

// Version 1: the offsets are signed, as QuickTime writes them beside a 'cslg'.
void writeCompositionOffsets(ByteWriter& w, const std::vector<CompositionOffsetEntry>& entries) {
  AtomScope ctts(w, FourCC("ctts"), 1, 0);
  w.u32(static_cast<uint32_t>(entries.size()));  // entry count
  for (const auto& entry : entries) {
    w.u32(entry.count);   // sample count
    w.i32(entry.offset);  // composition offset
  }
}

// Version 0 holds 32-bit fields; version 1 holds 64-bit ones for media too long for them.
void writeCompositionShift(ByteWriter& w, const CompositionShift& shift) {
  const bool narrow = fitsI32(shift.compositionToDTSShift) &&
                      fitsI32(shift.leastDecodeToDisplayDelta) &&
                      fitsI32(shift.greatestDecodeToDisplayDelta) &&
                      fitsI32(shift.compositionStartTime) && fitsI32(shift.compositionEndTime);
  AtomScope cslg(w, FourCC("cslg"), narrow ? 0 : 1, 0);
  const auto field = [&](int64_t v) { narrow ? w.i32(static_cast<int32_t>(v)) : w.i64(v); };
  field(shift.compositionToDTSShift);         // composition to decode shift
  field(shift.leastDecodeToDisplayDelta);     // least decode to display delta
  field(shift.greatestDecodeToDisplayDelta);  // greatest decode to display delta
  field(shift.compositionStartTime);          // composition start time
  field(shift.compositionEndTime);            // composition end time
}

void writeSampleDependencies(ByteWriter& w, const std::vector<uint8_t>& dependencies) {
  AtomScope sdtp(w, FourCC("sdtp"), 0, 0);
  w.bytes(dependencies);  // one byte per sample: leading, depends on, depended on, redundancy
}

void writeSampleToChunk(ByteWriter& w, const std::vector<SampleToChunkEntry>& entries) {
  AtomScope stsc(w, FourCC("stsc"), 0, 0);
  w.u32(static_cast<uint32_t>(entries.size()));  // entry count
  for (const auto& entry : entries) {
    w.u32(entry.firstChunk);        // first chunk
    w.u32(entry.samplesPerChunk);   // samples per chunk
    w.u32(entry.descriptionIndex);  // sample description index
  }
}

void writeSampleSizes(ByteWriter& w, const SampleTableAtoms& table) {
  AtomScope stsz(w, FourCC("stsz"), 0, 0);
  w.u32(table.constantSampleSize);  // sample size, 0 when the table follows
  w.u32(table.sampleCount);         // sample count
  if (table.constantSampleSize != 0) return;
  for (uint32_t size : table.sampleSizes) w.u32(size);  // entry size
}

void writeChunkOffsets(ByteWriter& w, const std::vector<uint64_t>& offsets, bool large) {
  AtomScope atom(w, large ? FourCC("co64") : FourCC("stco"), 0, 0);
  w.u32(static_cast<uint32_t>(offsets.size()));  // entry count
  for (uint64_t offset : offsets) {
    large ? w.u64(offset) : w.u32(static_cast<uint32_t>(offset));  // chunk offset
  }
}

}  // namespace

bool SampleTableAtoms::needsLargeOffsets() const {
  return std::any_of(chunkOffsets.begin(), chunkOffsets.end(),
                     [](uint64_t offset) { return offset > kMaxU32; });
}

std::optional<std::string> sampleTableProblem(std::span<const SampleRun> runs,
                                              size_t descriptionCount) {
  uint64_t samples = 0;
  int64_t decodeTime = 0;
  for (size_t i = 0; i < runs.size(); ++i) {
    const SampleRun& run = runs[i];
    if (run.count == 0) continue;
    if (run.descriptionIndex < 1 || run.descriptionIndex > descriptionCount) {
      return stringWithFormat("sample run %zu names sample description %u of %zu", i + 1,
                              run.descriptionIndex, descriptionCount);
    }
    if (run.decodeDuration < 0 || run.decodeDuration > kMaxU32) {
      return stringWithFormat("sample run %zu lasts %lld per sample, beyond 32 bits", i + 1,
                              static_cast<long long>(run.decodeDuration));
    }
    if (!fitsI32(run.displayOffset)) {
      return stringWithFormat("sample run %zu has display offset %lld, beyond 32 bits", i + 1,
                              static_cast<long long>(run.displayOffset));
    }
    if (run.offset + uint64_t{run.sampleSize} * run.count < run.offset) {
      return stringWithFormat("sample run %zu ends past the largest file offset", i + 1);
    }
    samples += run.count;
    if (samples > kMaxU32) {
      return stringWithFormat("sample run %zu brings the sample count past 32 bits", i + 1);
    }
    const int64_t runDuration = saturatingProduct(run.count, run.decodeDuration);
    if (runDuration == kMaxI64 || saturatingAdd(decodeTime, runDuration) == kMaxI64) {
      return stringWithFormat("sample run %zu brings the media duration past 64 bits", i + 1);
    }
    decodeTime += runDuration;
  }
  return std::nullopt;
}

SampleTableAtoms buildSampleTableAtoms(std::span<const SampleRun> runs) {
  bool anyDisplayOffset = false, anyNotSync = false, anyPartialSync = false;
  bool anyDependency = false, sizesVary = false;
  std::optional<uint32_t> firstSize;
  for (const SampleRun& run : runs) {
    if (run.count == 0) continue;
    anyDisplayOffset |= run.displayOffset != 0;
    anyNotSync |= (run.flags & mediaSampleNotSync) != 0;
    anyPartialSync |= (run.flags & mediaSamplePartialSync) != 0;
    anyDependency |= ((run.flags >> 24) & 0xFF) != 0;
    if (!firstSize) firstSize = run.sampleSize;
    sizesVary |= run.sampleSize != *firstSize;
  }
  // A size of zero in 'stsz' announces the table, so zero-sized samples need one too.
  sizesVary |= firstSize == 0u;

  SampleTableAtoms table;
  table.constantSampleSize = sizesVary ? 0 : firstSize.value_or(0);
  if (anyNotSync) table.syncSamples.emplace();
  uint64_t sampleNumber = 1;  // of the first sample of the run
  int64_t decodeTime = 0;     // of the first sample of the run, media time scale
  bool haveComposition = false;
  int64_t lastDisplayed = 0;  // composition time of the sample displayed last so far
  for (const SampleRun& run : runs) {
    if (run.count == 0) continue;  // no samples, no chunk
    const uint32_t duration = clampToU32(run.decodeDuration);
    appendRun(table.timeToSample, run.count, duration, &TimeToSampleEntry::duration);

    if (anyDisplayOffset) {
      const int32_t offset = clampToI32(run.displayOffset);
      appendRun(table.compositionOffsets, run.count, offset, &CompositionOffsetEntry::offset);
      // Within a run composition times rise with decode times: the first sample is displayed
      // first and the last one last.
      const int64_t firstTime = saturatingAdd(decodeTime, offset);
      const int64_t lastTime = saturatingAdd(firstTime, saturatingProduct(run.count - 1, duration));
      const int64_t lastEnd = saturatingAdd(lastTime, duration);
      CompositionShift& shift = table.compositionShift;
      if (!haveComposition) {
        shift.leastDecodeToDisplayDelta = shift.greatestDecodeToDisplayDelta = offset;
        shift.compositionStartTime = firstTime;
        shift.compositionEndTime = lastEnd;
        lastDisplayed = lastTime;
        haveComposition = true;
      } else {
        shift.leastDecodeToDisplayDelta =
            std::min<int64_t>(shift.leastDecodeToDisplayDelta, offset);
        shift.greatestDecodeToDisplayDelta =
            std::max<int64_t>(shift.greatestDecodeToDisplayDelta, offset);
        shift.compositionStartTime = std::min(shift.compositionStartTime, firstTime);
        if (lastTime > lastDisplayed ||
            (lastTime == lastDisplayed && lastEnd > shift.compositionEndTime)) {
          lastDisplayed = lastTime;
          shift.compositionEndTime = lastEnd;
        }
      }
      shift.compositionToDTSShift = std::max<int64_t>(0, -shift.leastDecodeToDisplayDelta);
    }

    if (table.syncSamples && (run.flags & mediaSampleNotSync) == 0) {
      appendSampleNumbers(*table.syncSamples, sampleNumber, run.count);
    }
    if (anyPartialSync && (run.flags & mediaSamplePartialSync) != 0) {
      appendSampleNumbers(table.partialSyncSamples, sampleNumber, run.count);
    }
    if (anyDependency) {
      table.sampleDependencies.insert(table.sampleDependencies.end(), run.count,
                                      static_cast<uint8_t>((run.flags >> 24) & 0xFF));
    }

    const auto chunk = static_cast<uint32_t>(table.chunkOffsets.size() + 1);
    if (table.sampleToChunk.empty() || table.sampleToChunk.back().samplesPerChunk != run.count ||
        table.sampleToChunk.back().descriptionIndex != run.descriptionIndex) {
      table.sampleToChunk.push_back({chunk, run.count, run.descriptionIndex});
    }
    table.chunkOffsets.push_back(run.offset);
    if (sizesVary) table.sampleSizes.insert(table.sampleSizes.end(), run.count, run.sampleSize);

    sampleNumber += run.count;
    decodeTime = saturatingAdd(decodeTime, saturatingProduct(run.count, duration));
  }
  table.sampleCount = static_cast<uint32_t>(std::min<uint64_t>(sampleNumber - 1, kMaxU32));
  table.totalDuration = decodeTime;
  return table;
}

void writeSampleTableAtoms(ByteWriter& w, const SampleTableAtoms& table) {
  writeTimeToSample(w, table.timeToSample);
  if (!table.compositionOffsets.empty()) {
    writeCompositionOffsets(w, table.compositionOffsets);
    writeCompositionShift(w, table.compositionShift);
  }
  if (table.syncSamples) writeSampleNumberList(w, FourCC("stss"), *table.syncSamples);
  if (!table.partialSyncSamples.empty()) {
    writeSampleNumberList(w, FourCC("stps"), table.partialSyncSamples);
  }
  if (!table.sampleDependencies.empty()) writeSampleDependencies(w, table.sampleDependencies);
  writeSampleToChunk(w, table.sampleToChunk);
  writeSampleSizes(w, table);
  writeChunkOffsets(w, table.chunkOffsets, table.needsLargeOffsets());
}

}  // namespace premoov
