#include "movie/sample_description_entry.h"

#include "movie/track_tables.h"

namespace premoov {

std::optional<SampleDescriptionEntry> firstSampleDescription(const AtomNode& trak,
                                                             std::span<const uint8_t> bytes) {
  const AtomNode* stsd = findAtom(trak.children, trackAtomPath(TrackAtom::kStsd));
  if (stsd == nullptr || stsd->children.empty()) return std::nullopt;
  const AtomNode& entry = stsd->children.front();
  const auto payload = atomPayload(bytes, entry);
  if (!payload) return std::nullopt;
  return SampleDescriptionEntry{.format = entry.type, .payload = *payload};
}

}  // namespace premoov
