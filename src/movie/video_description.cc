#include "movie/video_description.h"

#include "base/byte_reader.h"
#include "movie/track_tables.h"

namespace premoov {

namespace {

// Reserved (6), data reference index (2), version (2), revision level (2), vendor (4), temporal
// quality (4), spatial quality (4).
constexpr size_t kFieldsBeforeWidth = 24;

}  // namespace

std::optional<VideoDescription> readVideoDescription(const AtomNode& trak,
                                                     std::span<const uint8_t> bytes) {
  const AtomNode* stsd = findAtom(trak.children, trackAtomPath(TrackAtom::kStsd));
  if (stsd == nullptr || stsd->children.empty()) return std::nullopt;
  const AtomNode& entry = stsd->children.front();
  auto payload = atomPayload(bytes, entry);
  if (!payload) return std::nullopt;
  ByteReader reader(*payload);
  if (!reader.skip(kFieldsBeforeWidth)) return std::nullopt;
  const auto width = reader.u16();
  const auto height = reader.u16();
  if (!width || !height) return std::nullopt;
  return VideoDescription{.format = entry.type, .width = *width, .height = *height};
}

}  // namespace premoov
