#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "base/byte_reader.h"
#include "base/byte_writer.h"
#include "movie/sample_table_atoms.h"

namespace premoov::testing {

struct TimeToSampleEntry {
  uint32_t count = 0;
  uint32_t duration = 0;
  bool operator==(const TimeToSampleEntry&) const = default;
};
struct CompositionOffsetEntry {
  uint32_t count = 0;
  int32_t offset = 0;
  bool operator==(const CompositionOffsetEntry&) const = default;
};
struct SampleToChunkEntry {
  uint32_t firstChunk = 0;
  uint32_t samplesPerChunk = 0;
  uint32_t descriptionIndex = 0;
  bool operator==(const SampleToChunkEntry&) const = default;
};

// The sample table atoms as a reader finds them, parsed back from the bytes written.
struct ReadSampleTable {
  std::vector<TimeToSampleEntry> timeToSample;
  std::vector<CompositionOffsetEntry> compositionOffsets;  // empty: no 'ctts'
  std::optional<CompositionShift> compositionShift;        // nothing: no 'cslg'
  std::optional<std::vector<uint32_t>> syncSamples;        // nothing: no 'stss'
  std::vector<uint32_t> partialSyncSamples;
  std::vector<uint8_t> sampleDependencies;
  std::vector<SampleToChunkEntry> sampleToChunk;
  uint32_t constantSampleSize = 0;
  uint32_t sampleCount = 0;
  std::vector<uint32_t> sampleSizes;
  std::vector<uint64_t> chunkOffsets;
  bool largeOffsets = false;  // 'co64'
  size_t bytes = 0;           // of every atom together
};

inline std::vector<uint8_t> written(const SampleRuns& runs) {
  ByteWriter w;
  writeSampleTableAtoms(w, runs);
  return w.take();
}

// Parses what writeSampleTableAtoms() wrote; a malformed atom fails the calling test.
inline ReadSampleTable readBack(const SampleRuns& runs) {
  const std::vector<uint8_t> bytes = written(runs);
  ReadSampleTable table;
  table.bytes = bytes.size();
  ByteReader r(bytes);
  while (!r.atEnd()) {
    const size_t start = r.position();
    const auto size = r.u32();
    const auto type = r.fourCC();
    const auto versionAndFlags = r.u32();
    if (!size || !type || !versionAndFlags) {
      ADD_FAILURE() << "truncated atom header at " << start;
      return table;
    }
    const std::string name = type->toString();
    const bool wide = (*versionAndFlags >> 24) == 1;
    if (name == "stts") {
      for (uint32_t n = *r.u32(); n > 0; --n) table.timeToSample.push_back({*r.u32(), *r.u32()});
    } else if (name == "ctts") {
      for (uint32_t n = *r.u32(); n > 0; --n) {
        table.compositionOffsets.push_back({*r.u32(), *r.i32()});
      }
    } else if (name == "cslg") {
      const auto field = [&]() -> int64_t { return wide ? *r.i64() : *r.i32(); };
      CompositionShift shift;
      shift.compositionToDTSShift = field();
      shift.leastDecodeToDisplayDelta = field();
      shift.greatestDecodeToDisplayDelta = field();
      shift.compositionStartTime = field();
      shift.compositionEndTime = field();
      table.compositionShift = shift;
    } else if (name == "stss" || name == "stps") {
      std::vector<uint32_t> numbers;
      for (uint32_t n = *r.u32(); n > 0; --n) numbers.push_back(*r.u32());
      if (name == "stss") {
        table.syncSamples = numbers;
      } else {
        table.partialSyncSamples = numbers;
      }
    } else if (name == "sdtp") {
      const auto payload = r.bytes(*size - 12);
      table.sampleDependencies.assign(payload->begin(), payload->end());
    } else if (name == "stsc") {
      for (uint32_t n = *r.u32(); n > 0; --n) {
        table.sampleToChunk.push_back({*r.u32(), *r.u32(), *r.u32()});
      }
    } else if (name == "stsz") {
      table.constantSampleSize = *r.u32();
      table.sampleCount = *r.u32();
      if (table.constantSampleSize == 0) {
        for (uint32_t n = table.sampleCount; n > 0; --n) table.sampleSizes.push_back(*r.u32());
      }
    } else if (name == "stco" || name == "co64") {
      table.largeOffsets = name == "co64";
      for (uint32_t n = *r.u32(); n > 0; --n) {
        table.chunkOffsets.push_back(table.largeOffsets ? *r.u64() : *r.u32());
      }
    } else {
      ADD_FAILURE() << "unexpected atom '" << name << "'";
      return table;
    }
    EXPECT_EQ(r.position() - start, *size) << "atom '" << name << "' size";
  }
  EXPECT_EQ(runs.summary().atomBytes(), bytes.size()) << "the summary's size of the atoms";
  return table;
}

}  // namespace premoov::testing
