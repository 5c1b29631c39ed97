#include "premoov/track_summary.h"

#include <algorithm>
#include <cstdint>

#include "movie/track_tables.h"
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

std::string problem(TrackAtom atom) {
  if (atom == TrackAtom::kChunkOffsets)
    return problem(kCannotReadAtom, "mdia/minf/stbl/stco' or 'co64");
  return problem(kCannotReadAtom, trackAtomPath(atom));
}

bool readable(const TrackTables& tables, TrackAtom atom) {
  return std::find(tables.unreadable.begin(), tables.unreadable.end(), atom) ==
         tables.unreadable.end();
}

void summarizeSamples(const TrackTables& tables, TrackSummary& track) {
  // The first table missing ends the summary of the samples.
  for (TrackAtom atom : {TrackAtom::kStsz, TrackAtom::kStsc, TrackAtom::kChunkOffsets}) {
    if (!readable(tables, atom)) {
      track.problems.push_back(problem(atom));
      return;
    }
    if (atom == TrackAtom::kStsz) track.sampleCount = tables.sampleCount();
  }
  if (track.sampleCount == 0) return;
  track.firstSample = tables.positionOf(0);
  track.lastSample = tables.positionOf(track.sampleCount - 1);
  if (!track.firstSample || !track.lastSample) {
    track.problems.push_back(std::string(kChunkTablesDisagree));
  }
}

TrackSummary summarizeTrack(const AtomNode& trak, std::span<const uint8_t> bytes) {
  const TrackTables tables = readTrackTables(trak, bytes);
  TrackSummary track;
  track.trackID = tables.trackID.value_or(0);
  track.kind = tables.handler;
  track.codec = tables.format;
  track.details = readTrackDetails(trak, bytes, tables.handler);
  if (tables.timeScale && tables.duration) {
    track.timeScale = *tables.timeScale;
    track.duration = *tables.duration;
  }
  for (TrackAtom atom : {TrackAtom::kTkhd, TrackAtom::kHdlr, TrackAtom::kMdhd, TrackAtom::kStsd}) {
    if (!readable(tables, atom)) track.problems.push_back(problem(atom));
  }
  summarizeSamples(tables, track);
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
