#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/four_char_code.h"
#include "movie/atom_tree.h"
#include "movie/sound_description_reader.h"
#include "movie/timecode_description.h"
#include "movie/video_description.h"

namespace premoov {

// What the first sample description of a track says about its media, for the readable view of
// `premoov inspect`. Each part is set for its kind of description when its fields are all there.
struct TrackDetails {
  std::optional<VideoDescription> video;
  std::optional<SoundDescription> sound;
  std::optional<TimecodeDescription> timecode;
};

// Reads the first entry of the track's 'stsd', as its media handler `kind` lays it out: image
// ('vide'), sound version 0, 1 or 2 ('soun') or timecode ('tmcd'). Fields past the entry's bytes
// leave their part unset.
TrackDetails readTrackDetails(const AtomNode& trak, std::span<const uint8_t> bytes,
                              std::optional<FourCC> kind);

// "video", "audio", "captions", "timecode" for the media handlers a recording has; the code itself
// for any other.
std::string trackKindName(std::optional<FourCC> kind);

// The common name of a codec or sample format ("Apple ProRes 422 HQ", "Linear PCM"), or nothing
// for one this tool does not know.
std::optional<std::string_view> codecName(FourCC codec);

}  // namespace premoov
