#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"
#include "base/four_char_code.h"
#include "movie/atom_tree.h"

namespace premoov {

// A table of fixed-size entries after a 32-bit count, read entry by entry on demand. The count is
// what the atom claims; an entry that lies past the atom's bytes reads as nothing.
class EntryTable {
 public:
  EntryTable(std::span<const uint8_t> entries, uint32_t count, size_t entrySize)
      : entries_(entries), count_(count), entrySize_(entrySize) {}
  uint32_t count() const { return count_; }
  // The entries the atom's bytes really hold, at most count().
  uint64_t countPresent() const;
  std::optional<ByteReader> entry(uint64_t index) const;

 private:
  std::span<const uint8_t> entries_;
  uint32_t count_;
  size_t entrySize_;
};

// Where one sample lies in the file.
struct SamplePosition {
  uint64_t offset = 0;  // from the start of the file
  uint32_t size = 0;    // bytes
};

// The atoms of a track that a reader of its samples needs, in the order they are looked for.
enum class TrackAtom { kTkhd, kHdlr, kMdhd, kStsd, kStts, kStsz, kStsc, kChunkOffsets };

// The atom's path below 'trak', as findAtom takes it; for kChunkOffsets "mdia/minf/stbl/stco"
// (a track has it or 'co64').
std::string_view trackAtomPath(TrackAtom atom);

// What the atoms of one 'trak' say. A field stays unset when its atom is missing or shorter than
// the field; the atom is then listed in `unreadable`. Tables are views of the parsed bytes: they
// must outlive this.
struct TrackTables {
  std::optional<uint32_t> trackID;
  std::optional<FourCC> handler;  // handler subtype of the media: 'vide', 'soun', 'tmcd', 'clcp'
  std::optional<FourCC> format;   // of the first sample description
  std::optional<uint32_t> timeScale;        // media time scale, units a second
  std::optional<uint64_t> duration;         // in the media time scale
  std::optional<EntryTable> timeToSample;   // 'stts': sample count, sample duration
  std::optional<uint32_t> constantSize;     // 'stsz': non-zero when every sample has this size
  std::optional<EntryTable> sizes;          // 'stsz': its count is the track's sample count
  std::optional<EntryTable> sampleToChunk;  // 'stsc': first chunk, samples per chunk, description
  std::optional<EntryTable> chunkOffsets;   // 'stco' or 'co64'
  bool largeOffsets = false;                // 'co64'
  std::vector<TrackAtom> unreadable;

  // The sample count of 'stsz', 0 without one.
  uint32_t sampleCount() const { return sizes ? sizes->count() : 0; }
  // The size of a sample (0-based), or nothing when 'stsz' does not hold it.
  std::optional<uint32_t> sizeOf(uint64_t sample) const;
  // The offset of a chunk (0-based), or nothing when the offsets table does not hold it.
  std::optional<uint64_t> chunkOffset(uint64_t chunk) const;
  // Walks the 'stsc' runs to the chunk that holds `sample` (0-based), then adds the sizes of the
  // samples before it in that chunk. Reads only what it needs of the tables: the last sample of
  // a long recording with equal sizes costs no walk through every sample.
  std::optional<SamplePosition> positionOf(uint64_t sample) const;
};

// Reads the atoms of `trak`, parsed from `bytes`.
TrackTables readTrackTables(const AtomNode& trak, std::span<const uint8_t> bytes);

}  // namespace premoov
