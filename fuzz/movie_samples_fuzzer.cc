// Feeds arbitrary bytes to the reading of a movie's sample tables: the atoms are parsed, each
// track's tables read, and its samples walked against the bytes as the whole file. The walk must
// end, in work bounded by the tables' bytes, and every sample it calls present must lie in the
// file. The first sample description is read as a video, sound and timecode description too, as
// `premoov inspect` and a reader of the frames' rows take it.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "movie/atom_tree.h"
#include "movie/sample_walker.h"
#include "movie/sound_description_reader.h"
#include "movie/timecode_description.h"
#include "movie/track_tables.h"
#include "movie/video_description.h"

namespace {

void check(bool condition) {
  if (!condition) std::abort();
}

// Present samples cost a step each; a hostile table can claim billions of them at one offset.
constexpr uint64_t kStepsPerTrack = 1 << 16;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::span<const uint8_t> bytes(data, size);
  const premoov::AtomTree tree = premoov::parseAtomTree(bytes);
  for (const premoov::AtomNode* trak : premoov::findAtoms(tree.atoms, "moov/trak")) {
    const premoov::TrackTables tables = premoov::readTrackTables(*trak, bytes);
    if (auto description = premoov::readVideoDescription(*trak, bytes)) {
      check(tables.format == description->format);
      check(!description->compressorName || description->compressorName->size() < 32);
    }
    if (auto sound = premoov::readSoundDescription(*trak, bytes)) {
      check(tables.format == sound->format);
    }
    if (auto timecode = premoov::readTimecodeDescription(*trak, bytes)) {
      // The reel text lies within the description, so within the input.
      check(!timecode->reel || timecode->reel->size() <= size);
    }
    premoov::SampleWalker walker(tables, size);
    uint64_t next = 0;
    for (uint64_t steps = 0; steps < kStepsPerTrack; ++steps) {
      auto step = walker.next();
      if (!step) break;
      // Steps follow each other without gaps or overlaps.
      check(step->first == next && step->count >= 1);
      next += step->count;
      check(next <= walker.sampleCount());
      if (!step->missing) check(step->count == 1 && step->offset + step->size <= size);
      if (step->missing) check(step->offset + step->size > size || step->offset > size);
    }
    if (walker.error()) check(!walker.error()->message().empty());
  }
  return 0;
}
