#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "base/atom_writer.h"
#include "base/byte_writer.h"
#include "movie/atom_tree.h"

namespace premoov::testing {

// The atoms of one 'trak' that the sample table readers use, field by field, so that tests can
// leave any out or break them.
struct TrackAtoms {
  uint8_t tkhdVersion = 0;
  uint32_t trackID = 4;
  uint8_t mdhdVersion = 0;
  FourCC handler = FourCC("clcp");
  FourCC format = FourCC("c708");
  uint32_t timeScale = 30000;
  uint64_t duration = 3003;
  std::vector<std::array<uint32_t, 2>> timeToSample = {{3, 1001}};  // count, duration
  uint32_t constantSize = 0;
  uint32_t sampleCount = 0;       // when constantSize is not 0
  std::vector<uint32_t> sizes{};  // when constantSize is 0
  std::vector<std::array<uint32_t, 3>> sampleToChunk = {{1, 1, 1}};
  std::vector<uint64_t> chunkOffsets{};
  bool largeOffsets = false;
  bool withStts = true;
  bool withStsz = true;
  bool withStsd = true;
  // What follows the data reference index of the sample description: a video description's
  // version, vendor, qualities, width, height...
  std::vector<uint8_t> descriptionFields{};
};

// The fields of a QuickTime video sample description after its data reference index, for
// TrackAtoms::descriptionFields.
inline std::vector<uint8_t> videoDescriptionFields(uint16_t width, uint16_t height) {
  ByteWriter w;
  w.zeros(16);  // version, revision level, vendor, temporal and spatial quality
  w.u16(width);
  w.u16(height);
  w.u32(0x00480000);  // horizontal resolution, 72 dpi (16.16)
  w.u32(0x00480000);  // vertical resolution
  w.u32(0);           // data size
  w.u16(1);           // frames a sample
  w.zeros(32);        // compressor name, a Pascal string
  w.u16(24);          // depth
  w.u16(0xFFFF);      // no colour table
  return w.take();
}

inline std::vector<uint8_t> trakBytes(const TrackAtoms& t) {
  ByteWriter w;
  {
    AtomScope trak(w, FourCC("trak"));
    {
      AtomScope tkhd(w, FourCC("tkhd"), t.tkhdVersion, 0xF);
      w.zeros(t.tkhdVersion == 1 ? 16 : 8);  // creation and modification times
      w.u32(t.trackID);
      w.zeros(60);
    }
    AtomScope mdia(w, FourCC("mdia"));
    {
      AtomScope mdhd(w, FourCC("mdhd"), t.mdhdVersion, 0);
      w.zeros(t.mdhdVersion == 1 ? 16 : 8);
      w.u32(t.timeScale);
      if (t.mdhdVersion == 1) {
        w.u64(t.duration);
      } else {
        w.u32(static_cast<uint32_t>(t.duration));
      }
      w.u32(0);  // language, quality
    }
    {
      AtomScope hdlr(w, FourCC("hdlr"), 0, 0);
      w.fourCC(FourCC("mhlr"));
      w.fourCC(t.handler);
      w.zeros(12);
      w.u8(0);  // empty name
    }
    AtomScope minf(w, FourCC("minf"));
    AtomScope stbl(w, FourCC("stbl"));
    if (t.withStsd) {
      AtomScope stsd(w, FourCC("stsd"), 0, 0);
      w.u32(1);
      AtomScope entry(w, t.format);
      w.zeros(6);
      w.u16(1);  // data reference index
      w.bytes(t.descriptionFields);
    }
    if (t.withStts) {
      AtomScope stts(w, FourCC("stts"), 0, 0);
      w.u32(static_cast<uint32_t>(t.timeToSample.size()));
      for (const auto& [count, duration] : t.timeToSample) {
        w.u32(count);
        w.u32(duration);
      }
    }
    if (t.withStsz) {
      AtomScope stsz(w, FourCC("stsz"), 0, 0);
      w.u32(t.constantSize);
      w.u32(t.constantSize != 0 ? t.sampleCount : static_cast<uint32_t>(t.sizes.size()));
      if (t.constantSize == 0) {
        for (uint32_t size : t.sizes) w.u32(size);
      }
    }
    {
      AtomScope stsc(w, FourCC("stsc"), 0, 0);
      w.u32(static_cast<uint32_t>(t.sampleToChunk.size()));
      for (const auto& entry : t.sampleToChunk) {
        for (uint32_t field : entry) w.u32(field);
      }
    }
    AtomScope offsets(w, t.largeOffsets ? FourCC("co64") : FourCC("stco"), 0, 0);
    w.u32(static_cast<uint32_t>(t.chunkOffsets.size()));
    for (uint64_t offset : t.chunkOffsets) {
      if (t.largeOffsets) {
        w.u64(offset);
      } else {
        w.u32(static_cast<uint32_t>(offset));
      }
    }
  }  // the atoms' sizes are written as their scopes close
  return w.take();
}

// A 'moov' of the given tracks.
inline std::vector<uint8_t> movieBytes(const std::vector<TrackAtoms>& tracks) {
  ByteWriter w;
  {
    AtomScope moov(w, FourCC("moov"));
    for (const TrackAtoms& t : tracks) w.bytes(trakBytes(t));
  }
  return w.take();
}

// What `read` (readVideoDescription, readSoundDescription...) makes of the one track of a movie
// holding `track`: called with the parsed 'trak' and the movie's bytes. Nothing when the movie
// does not parse into a 'trak'.
template <typename Reader>
auto readOnlyTrack(const TrackAtoms& track, Reader read)
    -> decltype(read(std::declval<const AtomNode&>(), std::span<const uint8_t>())) {
  const std::vector<uint8_t> bytes = movieBytes({track});
  const AtomTree tree = parseAtomTree(bytes);
  EXPECT_TRUE(tree.ok()) << tree.error->message();
  const AtomNode* trak = findAtom(tree.atoms, "moov/trak");
  if (trak == nullptr) return std::nullopt;
  return read(*trak, std::span<const uint8_t>(bytes));
}

}  // namespace premoov::testing
