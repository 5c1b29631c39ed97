#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "premoov/metadata_summary.h"
#include "premoov/movie_file.h"
#include "premoov/track_summary.h"

namespace premoov {

// Everything `premoov inspect` finds in a movie file.
struct InspectedMovie {
  std::string path;
  const MovieAtoms& movie;
  std::vector<TrackSummary> tracks;
  std::vector<MetadataSummary> metadata;
  std::optional<uint64_t> bytesOnDisk{};
  std::optional<bool> mediaWritten{};  // anything written past the header; nothing: cannot tell
  // The first timecode sample, when the recorder has written it: its frame number.
  std::optional<uint32_t> timecodeStartFrame{};
};

// The readable view: the file, its tracks as a table, the timecode, the metadata items and any
// problem found; with `atoms` the atom tree too.
void printInspectText(const InspectedMovie& inspected, bool atoms, std::ostream& out);

}  // namespace premoov
