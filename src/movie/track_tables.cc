#include "movie/track_tables.h"

#include <algorithm>

namespace premoov {

namespace {

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

std::optional<EntryTable> tableAfterCount(ByteReader reader, size_t entrySize) {
  const auto count = reader.u32();
  if (!count) return std::nullopt;
  auto rest = reader.bytes(reader.remaining());
  if (!rest) return std::nullopt;
  return EntryTable(*rest, *count, entrySize);
}

std::optional<EntryTable> tableOf(const AtomNode& trak, TrackAtom atom,
                                  std::span<const uint8_t> bytes, size_t entrySize) {
  auto full = fullAtom(trak, trackAtomPath(atom), bytes);
  if (!full) return std::nullopt;
  return tableAfterCount(full->reader, entrySize);
}

}  // namespace

uint64_t EntryTable::countPresent() const {
  if (entrySize_ == 0) return 0;
  return std::min<uint64_t>(count_, entries_.size() / entrySize_);
}

std::optional<ByteReader> EntryTable::entry(uint64_t index) const {
  if (index >= count_) return std::nullopt;
  const uint64_t start = index * entrySize_;
  if (start + entrySize_ > entries_.size()) return std::nullopt;
  return ByteReader(entries_.subspan(static_cast<size_t>(start), entrySize_));
}

std::string_view trackAtomPath(TrackAtom atom) {
  switch (atom) {
    case TrackAtom::kTkhd: return "tkhd";
    case TrackAtom::kHdlr: return "mdia/hdlr";
    case TrackAtom::kMdhd: return "mdia/mdhd";
    case TrackAtom::kStsd: return "mdia/minf/stbl/stsd";
    case TrackAtom::kStts: return "mdia/minf/stbl/stts";
    case TrackAtom::kStsz: return "mdia/minf/stbl/stsz";
    case TrackAtom::kStsc: return "mdia/minf/stbl/stsc";
    case TrackAtom::kChunkOffsets: return "mdia/minf/stbl/stco";
  }
  return "";
}

std::optional<uint32_t> TrackTables::sizeOf(uint64_t sample) const {
  if (constantSize && *constantSize != 0) return *constantSize;
  if (!sizes) return std::nullopt;
  auto entry = sizes->entry(sample);
  if (!entry) return std::nullopt;
  return entry->u32();
}

std::optional<uint64_t> TrackTables::chunkOffset(uint64_t chunk) const {
  if (!chunkOffsets) return std::nullopt;
  auto entry = chunkOffsets->entry(chunk);
  if (!entry) return std::nullopt;
  if (largeOffsets) return entry->u64();
  auto offset = entry->u32();
  if (!offset) return std::nullopt;
  return *offset;
}

std::optional<SamplePosition> TrackTables::positionOf(uint64_t sample) const {
  if (!sampleToChunk || !chunkOffsets) return std::nullopt;
  uint64_t firstSampleOfRun = 0;
  for (uint32_t run = 0; run < sampleToChunk->count(); ++run) {
    auto entry = sampleToChunk->entry(run);
    if (!entry) return std::nullopt;
    const auto firstChunk = entry->u32();
    const auto perChunk = entry->u32();
    if (!firstChunk || !perChunk || *firstChunk == 0 || *perChunk == 0) return std::nullopt;
    uint64_t endChunk = uint64_t{chunkOffsets->count()} + 1;  // 1-based, past the last
    if (auto next = sampleToChunk->entry(run + 1)) {
      auto nextFirst = next->u32();
      if (!nextFirst) return std::nullopt;
      endChunk = *nextFirst;
    }
    if (endChunk < *firstChunk) return std::nullopt;
    // Saturates rather than wraps: a run of absurd size still holds any 32-bit sample number.
    const uint64_t chunks = endChunk - *firstChunk;
    const uint64_t samplesInRun = chunks > UINT64_MAX / *perChunk ? UINT64_MAX : chunks * *perChunk;
    if (sample - firstSampleOfRun < samplesInRun) {
      const uint64_t inRun = sample - firstSampleOfRun;
      const uint64_t chunk = *firstChunk - 1 + inRun / *perChunk;
      const uint64_t inChunk = inRun % *perChunk;
      auto offset = chunkOffset(chunk);
      auto size = sizeOf(sample);
      if (!offset || !size) return std::nullopt;
      uint64_t before = 0;
      if (constantSize && *constantSize != 0) {
        before = inChunk * *constantSize;
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

TrackTables readTrackTables(const AtomNode& trak, std::span<const uint8_t> bytes) {
  TrackTables track;
  // Creation and modification times are 32 bits in version 0, 64 in version 1.
  auto tkhd = fullAtom(trak, trackAtomPath(TrackAtom::kTkhd), bytes);
  if (tkhd && tkhd->reader.skip(tkhd->version == 1 ? 16 : 8)) track.trackID = tkhd->reader.u32();
  if (!track.trackID) track.unreadable.push_back(TrackAtom::kTkhd);

  if (auto hdlr = fullAtom(trak, trackAtomPath(TrackAtom::kHdlr), bytes);
      hdlr && hdlr->reader.skip(4)) {
    track.handler = hdlr->reader.fourCC();
  }
  if (!track.handler) track.unreadable.push_back(TrackAtom::kHdlr);

  // Times and the duration are 32 bits in version 0, 64 in version 1.
  auto mdhd = fullAtom(trak, trackAtomPath(TrackAtom::kMdhd), bytes);
  const bool wide = mdhd && mdhd->version == 1;
  const auto scale = mdhd && mdhd->reader.skip(wide ? 16 : 8) ? mdhd->reader.u32() : std::nullopt;
  std::optional<uint64_t> duration;
  if (scale && wide) {
    duration = mdhd->reader.u64();
  } else if (scale) {
    if (auto narrow = mdhd->reader.u32()) duration = *narrow;
  }
  if (scale && duration) {
    track.timeScale = scale;
    track.duration = duration;
  } else {
    track.unreadable.push_back(TrackAtom::kMdhd);
  }

  const AtomNode* stsd = findAtom(trak.children, trackAtomPath(TrackAtom::kStsd));
  if (stsd != nullptr && !stsd->children.empty()) {
    track.format = stsd->children.front().type;
  } else {
    track.unreadable.push_back(TrackAtom::kStsd);
  }

  track.timeToSample = tableOf(trak, TrackAtom::kStts, bytes, 8);
  if (!track.timeToSample) track.unreadable.push_back(TrackAtom::kStts);

  if (auto stsz = fullAtom(trak, trackAtomPath(TrackAtom::kStsz), bytes)) {
    track.constantSize = stsz->reader.u32();
    if (track.constantSize) track.sizes = tableAfterCount(stsz->reader, 4);
  }
  if (!track.constantSize || !track.sizes) {
    track.constantSize.reset();
    track.sizes.reset();
    track.unreadable.push_back(TrackAtom::kStsz);
  }

  track.sampleToChunk = tableOf(trak, TrackAtom::kStsc, bytes, 12);
  if (!track.sampleToChunk) track.unreadable.push_back(TrackAtom::kStsc);

  if (auto co64 = fullAtom(trak, "mdia/minf/stbl/co64", bytes)) {
    track.largeOffsets = true;
    track.chunkOffsets = tableAfterCount(co64->reader, 8);
  } else {
    track.chunkOffsets = tableOf(trak, TrackAtom::kChunkOffsets, bytes, 4);
  }
  if (!track.chunkOffsets) track.unreadable.push_back(TrackAtom::kChunkOffsets);
  return track;
}

}  // namespace premoov
