#include "movie/sample_table_atoms.h"

#include <limits>

#include "base/atom_writer.h"
#include "movie/movie_types.h"

namespace premoov {
namespace {

constexpr uint32_t kMaxU32 = std::numeric_limits<uint32_t>::max();

// An entry count written before its entries and set once they are all out.
class EntryCount {
 public:
  explicit EntryCount(ByteWriter& w) : w_(w), position_(w.size()) { w.u32(0); }
  ~EntryCount() { w_.patchU32(position_, static_cast<uint32_t>(count_)); }
  EntryCount(const EntryCount&) = delete;
  EntryCount& operator=(const EntryCount&) = delete;
  void operator++() { ++count_; }

 private:
  ByteWriter& w_;
  size_t position_;
  uint64_t count_ = 0;
};

// Writes the entries of a run-length table, (sample count, value), with the value `valueOf` takes
// from each run.
template <typename Value, typename ValueOf, typename WriteValue>
void writeRunLengthEntries(ByteWriter& w, const SampleRuns& runs, ValueOf valueOf,
                           WriteValue writeValue) {
  EntryCount entries(w);
  RunLengthEntries<Value> table;
  const auto write = [&](const typename RunLengthEntries<Value>::Entry& entry) {
    w.u32(entry.count);  // sample count
    writeValue(entry.value);
    ++entries;
  };
  for (const SampleRun& run : runs) {
    if (run.count == 0) continue;
    if (auto done = table.add(run.count, valueOf(run))) write(*done);
  }
  if (table.last()) write(*table.last());
}

void writeTimeToSample(ByteWriter& w, const SampleRuns& runs) {
  AtomScope stts(w, FourCC("stts"), 0, 0);
  writeRunLengthEntries<uint32_t>(
      w, runs, [](const SampleRun& run) { return run.decodeDuration; },
      [&](uint32_t duration) { w.u32(duration); });  // sample duration
}

// Version 1: the offsets are signed, as QuickTime writes them beside a 'cslg'.
void writeCompositionOffsets(ByteWriter& w, const SampleRuns& runs) {
  AtomScope ctts(w, FourCC("ctts"), 1, 0);
  writeRunLengthEntries<int32_t>(
      w, runs, [](const SampleRun& run) { return run.displayOffset; },
      [&](int32_t offset) { w.i32(offset); });  // composition offset
}

// Version 0 holds 32-bit fields; version 1 holds 64-bit ones for media too long for them.
void writeCompositionShift(ByteWriter& w, const CompositionShift& shift) {
  const bool narrow = shift.fitsVersion0();
  AtomScope cslg(w, FourCC("cslg"), narrow ? 0 : 1, 0);
  const auto field = [&](int64_t v) { narrow ? w.i32(static_cast<int32_t>(v)) : w.i64(v); };
  field(shift.compositionToDTSShift);         // composition to decode shift
  field(shift.leastDecodeToDisplayDelta);     // least decode to display delta
  field(shift.greatestDecodeToDisplayDelta);  // greatest decode to display delta
  field(shift.compositionStartTime);          // composition start time
  field(shift.compositionEndTime);            // composition end time
}

// The 1-based numbers of the samples whose runs `select` picks; numbers past 32 bits are left out.
template <typename Select>
void writeSampleNumberList(ByteWriter& w, FourCC type, const SampleRuns& runs, Select select) {
  AtomScope atom(w, type, 0, 0);
  EntryCount entries(w);
  uint64_t first = 1;  // number of the run's first sample
  for (const SampleRun& run : runs) {
    if (select(run)) {
      for (uint64_t n = first; n < first + run.count && n <= kMaxU32; ++n) {
        w.u32(static_cast<uint32_t>(n));  // sample number
        ++entries;
      }
    }
    first += run.count;
  }
}

void writeSampleDependencies(ByteWriter& w, const SampleRuns& runs) {
  AtomScope sdtp(w, FourCC("sdtp"), 0, 0);
  for (const SampleRun& run : runs) {
    // One byte per sample: leading, depends on, depended on, redundancy.
    for (uint32_t i = 0; i < run.count; ++i) w.u8(static_cast<uint8_t>((run.flags >> 24) & 0xFF));
  }
}

void writeSampleToChunk(ByteWriter& w, const SampleRuns& runs) {
  AtomScope stsc(w, FourCC("stsc"), 0, 0);
  EntryCount entries(w);
  uint32_t chunk = 0;
  uint32_t samplesPerChunk = 0, descriptionIndex = 0;
  for (const SampleRun& run : runs) {
    if (run.count == 0) continue;
    ++chunk;
    if (chunk == 1 || run.count != samplesPerChunk || run.descriptionIndex != descriptionIndex) {
      samplesPerChunk = run.count;
      descriptionIndex = run.descriptionIndex;
      w.u32(chunk);             // first chunk
      w.u32(samplesPerChunk);   // samples per chunk
      w.u32(descriptionIndex);  // sample description index
      ++entries;
    }
  }
}

void writeSampleSizes(ByteWriter& w, const SampleRuns& runs) {
  const SampleTableSummary& summary = runs.summary();
  AtomScope stsz(w, FourCC("stsz"), 0, 0);
  w.u32(summary.constantSampleSize());  // sample size, 0 when the table follows
  w.u32(summary.sampleCountField());    // sample count
  if (summary.constantSampleSize() != 0) return;
  for (const SampleRun& run : runs) {
    for (uint32_t i = 0; i < run.count; ++i) w.u32(run.sampleSize);  // entry size
  }
}

void writeChunkOffsets(ByteWriter& w, const SampleRuns& runs) {
  const bool large = runs.summary().needsLargeOffsets();
  AtomScope atom(w, large ? FourCC("co64") : FourCC("stco"), 0, 0);
  EntryCount entries(w);
  for (const SampleRun& run : runs) {
    if (run.count == 0) continue;
    large ? w.u64(run.offset) : w.u32(static_cast<uint32_t>(run.offset));  // chunk offset
    ++entries;
  }
}

}  // namespace

void writeSampleTableAtoms(ByteWriter& w, const SampleRuns& runs) {
  const SampleTableSummary& summary = runs.summary();
  writeTimeToSample(w, runs);
  if (summary.hasCompositionOffsets()) {
    writeCompositionOffsets(w, runs);
    writeCompositionShift(w, summary.compositionShift());
  }
  if (summary.hasSyncTable()) {
    writeSampleNumberList(w, FourCC("stss"), runs, [](const SampleRun& run) {
      return (run.flags & mediaSampleNotSync) == 0;
    });
  }
  if (summary.hasPartialSyncTable()) {
    writeSampleNumberList(w, FourCC("stps"), runs, [](const SampleRun& run) {
      return (run.flags & mediaSamplePartialSync) != 0;
    });
  }
  if (summary.hasDependencies()) writeSampleDependencies(w, runs);
  writeSampleToChunk(w, runs);
  writeSampleSizes(w, runs);
  writeChunkOffsets(w, runs);
}

}  // namespace premoov
