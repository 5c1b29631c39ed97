#include "premoov/track_summary.h"

#include <cstdint>

#include "base/byte_reader.h"
#include "premoov/messages.h"

namespace premoov {

namespace {

std::string problem(std::string_view text, std::string_view atom) {
  std::string message(text);
  message += '\'';
  message += atom;
  message += '\'';
  return message;
}

// A full atom: its version, and a reader of the payload after version and flags.
struct FullAtom {
  uint8_t version = 0;
  ByteReader reader;
};

// The atom at `path` below `trak`, or nothing when it is absent or shorter than its flags.
std::optional<FullAtom> fullAtom(const AtomNode& trak, std::string_view path,
                                 std::span<const uint8_t> bytes) {
  const AtomNode* atom = findAtom(trak.children, path);
  if (atom == nullptr) return std::nullopt;
  auto payload = atomPayload(bytes, *atom);
  if (!payload) return std::nullopt;
  ByteReader reader(*payload);
  const auto version = reader.u8();
  if (!version || !reader.skip(3)) return std::nullopt;
  return FullAtom{*version, reader};
}

// The payload after version and flags.
std::optional<ByteReader> fullAtomReader(const AtomNode& trak, std::string_view path,
                                         std::span<const uint8_t> bytes) {
  auto atom = fullAtom(trak, path, bytes);
  if (!atom) return std::nullopt;
  return atom->reader;
}

// A table of fixed-size entries after a 32-bit count, read entry by entry on demand.
class EntryTable {
 public:
  EntryTable(std::span<const uint8_t> entries, uint32_t count, size_t entrySize)
      : entries_(entries), count_(count), entrySize_(entrySize) {}
  uint32_t count() const { return count_; }
  // The entry's reader, or nothing when it lies past the atom.
  std::optional<ByteReader> entry(uint64_t index) const {
    if (index >= count_) return std::nullopt;
    const uint64_t start = index * entrySize_;
    if (start + entrySize_ > entries_.size()) return std::nullopt;
    return ByteReader(entries_.subspan(static_cast<size_t>(start), entrySize_));
  }

 private:
  std::span<const uint8_t> entries_;
  uint32_t count_;
  size_t entrySize_;
};

std::optional<EntryTable> tableAfterCount(ByteReader reader, size_t entrySize) {
  const auto count = reader.u32();
  if (!count) return std::nullopt;
  auto rest = reader.bytes(reader.remaining());
  if (!rest) return std::nullopt;
  return EntryTable(*rest, *count, entrySize);
}

// The chunk tables of a track, enough to place any sample.
struct ChunkTables {
  uint32_t constantSize = 0;  // non-zero: every sample's size
  EntryTable sizes;           // 'stsz' entries when sizes vary
  EntryTable sampleToChunk;   // 'stsc': first chunk, samples per chunk, description
  EntryTable chunkOffsets;    // 'stco' or 'co64'
  bool largeOffsets = false;

  std::optional<uint32_t> sizeOf(uint64_t sample) const {
    if (constantSize != 0) return constantSize;
    auto entry = sizes.entry(sample);
    if (!entry) return std::nullopt;
    return entry->u32();
  }

  std::optional<uint64_t> chunkOffset(uint64_t chunk) const {
    auto entry = chunkOffsets.entry(chunk);
    if (!entry) return std::nullopt;
    if (largeOffsets) return entry->u64();
    auto offset = entry->u32();
    if (!offset) return std::nullopt;
    return *offset;
  }

  // Walks the 'stsc' runs to the chunk that holds `sample` (0-based), then adds the sizes of
  // the samples before it in that chunk.
  std::optional<SamplePosition> positionOf(uint64_t sample) const {
    uint64_t firstSampleOfRun = 0;
    for (uint32_t run = 0; run < sampleToChunk.count(); ++run) {
      auto entry = sampleToChunk.entry(run);
      if (!entry) return std::nullopt;
      const auto firstChunk = entry->u32();
      const auto perChunk = entry->u32();
      if (!firstChunk || !perChunk || *firstChunk == 0 || *perChunk == 0) return std::nullopt;
      uint64_t endChunk = uint64_t{chunkOffsets.count()} + 1;  // 1-based, past the last
      if (auto next = sampleToChunk.entry(run + 1)) {
        auto nextFirst = next->u32();
        if (!nextFirst) return std::nullopt;
        endChunk = *nextFirst;
      }
      if (endChunk < *firstChunk) return std::nullopt;
      // Saturates rather than wraps: a run of absurd size still holds any 32-bit sample number.
      const uint64_t chunks = endChunk - *firstChunk;
      const uint64_t samplesInRun =
          chunks > UINT64_MAX / *perChunk ? UINT64_MAX : chunks * *perChunk;
      if (sample - firstSampleOfRun < samplesInRun) {
        const uint64_t inRun = sample - firstSampleOfRun;
        const uint64_t chunk = *firstChunk - 1 + inRun / *perChunk;
        const uint64_t inChunk = inRun % *perChunk;
        auto offset = chunkOffset(chunk);
        auto size = sizeOf(sample);
        if (!offset || !size) return std::nullopt;
        uint64_t before = 0;
        if (constantSize != 0) {
          before = inChunk * constantSize;
        } else {
          for (uint64_t s = sample - inChunk; s < sample; ++s) {
            auto sizeBefore = sizeOf(s);
            if (!sizeBefore) return std::nullopt;
            before += *sizeBefore;
          }
        }
        return SamplePosition{*offset + before, *size};
      }
      firstSampleOfRun += samplesInRun;  // stays at most `sample`: the run did not hold it
    }
    return std::nullopt;
  }
};

void summarizeSamples(const AtomNode& trak, std::span<const uint8_t> bytes, TrackSummary& track) {
  constexpr std::string_view kTable = "mdia/minf/stbl/";
  auto stsz = fullAtomReader(trak, "mdia/minf/stbl/stsz", bytes);
  auto stsc = fullAtomReader(trak, "mdia/minf/stbl/stsc", bytes);
  auto stco = fullAtomReader(trak, "mdia/minf/stbl/stco", bytes);
  auto co64 = fullAtomReader(trak, "mdia/minf/stbl/co64", bytes);
  std::optional<uint32_t> constantSize = stsz ? stsz->u32() : std::nullopt;
  std::optional<EntryTable> sizes = stsz ? tableAfterCount(*stsz, 4) : std::nullopt;
  if (!constantSize || !sizes) {
    track.problems.push_back(problem(kCannotReadAtom, std::string(kTable) + "stsz"));
    return;
  }
  track.sampleCount = sizes->count();
  std::optional<EntryTable> sampleToChunk = stsc ? tableAfterCount(*stsc, 12) : std::nullopt;
  if (!sampleToChunk) {
    track.problems.push_back(problem(kCannotReadAtom, std::string(kTable) + "stsc"));
    return;
  }
  std::optional<EntryTable> offsets =
      co64 ? tableAfterCount(*co64, 8) : (stco ? tableAfterCount(*stco, 4) : std::nullopt);
  if (!offsets) {
    track.problems.push_back(problem(kCannotReadAtom, std::string(kTable) + "stco' or 'co64"));
    return;
  }
  if (track.sampleCount == 0) return;
  const ChunkTables tables{.constantSize = *constantSize,
                           .sizes = *sizes,
                           .sampleToChunk = *sampleToChunk,
                           .chunkOffsets = *offsets,
                           .largeOffsets = co64.has_value()};
  track.firstSample = tables.positionOf(0);
  track.lastSample = tables.positionOf(track.sampleCount - 1);
  if (!track.firstSample || !track.lastSample) {
    track.problems.push_back(std::string(kChunkTablesDisagree));
  }
}

TrackSummary summarizeTrack(const AtomNode& trak, std::span<const uint8_t> bytes) {
  TrackSummary track;
  // Creation and modification times are 32 bits in version 0, 64 in version 1.
  auto tkhd = fullAtom(trak, "tkhd", bytes);
  const auto id =
      tkhd && tkhd->reader.skip(tkhd->version == 1 ? 16 : 8) ? tkhd->reader.u32() : std::nullopt;
  if (id) {
    track.trackID = *id;
  } else {
    track.problems.push_back(problem(kCannotReadAtom, "tkhd"));
  }

  if (auto hdlr = fullAtomReader(trak, "mdia/hdlr", bytes); hdlr && hdlr->skip(4)) {
    if (auto subtype = hdlr->fourCC()) track.kind = *subtype;
  }
  if (!track.kind) track.problems.push_back(problem(kCannotReadAtom, "mdia/hdlr"));

  // Times and the duration are 32 bits in version 0, 64 in version 1.
  auto mdhd = fullAtom(trak, "mdia/mdhd", bytes);
  const bool wide = mdhd && mdhd->version == 1;
  const auto scale = mdhd && mdhd->reader.skip(wide ? 16 : 8) ? mdhd->reader.u32() : std::nullopt;
  std::optional<uint64_t> duration;
  if (scale && wide) {
    duration = mdhd->reader.u64();
  } else if (scale) {
    if (auto narrow = mdhd->reader.u32()) duration = *narrow;
  }
  if (scale && duration) {
    track.timeScale = *scale;
    track.duration = *duration;
  } else {
    track.problems.push_back(problem(kCannotReadAtom, "mdia/mdhd"));
  }

  const AtomNode* stsd = findAtom(trak.children, "mdia/minf/stbl/stsd");
  if (stsd != nullptr && !stsd->children.empty()) {
    track.codec = stsd->children.front().type;
  } else {
    track.problems.push_back(problem(kCannotReadAtom, "mdia/minf/stbl/stsd"));
  }

  summarizeSamples(trak, bytes, track);
  return track;
}

}  // namespace

std::vector<TrackSummary> summarizeTracks(std::span<const AtomNode> atoms,
                                          std::span<const uint8_t> bytes) {
  std::vector<TrackSummary> tracks;
  for (const AtomNode* trak : findAtoms(atoms, "moov/trak")) {
    tracks.push_back(summarizeTrack(*trak, bytes));
  }
  return tracks;
}

}  // namespace premoov
