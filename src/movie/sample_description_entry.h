#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "base/four_char_code.h"
#include "movie/atom_tree.h"

namespace premoov {

// The first entry of a track's 'stsd': its format and its bytes after size and type (6 reserved
// bytes, the data reference index, then the fields of its kind of description).
struct SampleDescriptionEntry {
  FourCC format;
  std::span<const uint8_t> payload;
};

// Nothing when `trak` has no 'stsd', the 'stsd' no entry, or the entry is not all in `bytes`.
std::optional<SampleDescriptionEntry> firstSampleDescription(const AtomNode& trak,
                                                             std::span<const uint8_t> bytes);

// Reserved (6) and data reference index (2): where every kind's own fields start.
inline constexpr size_t kSampleDescriptionCommonBytes = 8;

}  // namespace premoov
