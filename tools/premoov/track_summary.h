#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/four_char_code.h"
#include "movie/atom_tree.h"
#include "movie/track_tables.h"
#include "premoov/track_details.h"

namespace premoov {

// What the atoms of one track say, for `premoov inspect`.
struct TrackSummary {
  uint32_t trackID = 0;
  std::optional<FourCC> kind;   // handler subtype of the media: 'vide', 'soun', 'tmcd', 'clcp'
  std::optional<FourCC> codec;  // format of the first sample description
  uint32_t sampleCount = 0;
  uint32_t timeScale = 0;  // media time scale, units a second
  uint64_t duration = 0;   // in the media time scale
  std::optional<SamplePosition> firstSample;
  std::optional<SamplePosition> lastSample;
  TrackDetails details;               // what the first sample description says of the media
  std::vector<std::string> problems;  // atoms missing or unreadable, so that fields stay unset
};

// One summary per 'trak' of the 'moov' among `atoms`, in file order. Sample positions come from
// the chunk tables ('stsc', 'stsz', 'stco' or 'co64'); `bytes` are the bytes the atoms were parsed
// from.
std::vector<TrackSummary> summarizeTracks(std::span<const AtomNode> atoms,
                                          std::span<const uint8_t> bytes);

}  // namespace premoov
