#include "movie/video_description.h"

#include "base/byte_reader.h"
#include "movie/sample_description_entry.h"

namespace premoov {

namespace {

// Reserved (6), data reference index (2), version (2), revision level (2), vendor (4), temporal
// quality (4), spatial quality (4).
constexpr size_t kFieldsBeforeWidth = 24;
// Horizontal and vertical resolution (4 each), data size (4), frame count (2).
constexpr size_t kFieldsBeforeCompressorName = 14;
constexpr size_t kCompressorNameBytes = 32;

}  // namespace

std::optional<VideoDescription> readVideoDescription(const AtomNode& trak,
                                                     std::span<const uint8_t> bytes) {
  const auto entry = firstSampleDescription(trak, bytes);
  if (!entry) return std::nullopt;
  ByteReader reader(entry->payload);
  if (!reader.skip(kFieldsBeforeWidth)) return std::nullopt;
  const auto width = reader.u16();
  const auto height = reader.u16();
  if (!width || !height) return std::nullopt;
  VideoDescription description{.format = entry->format, .width = *width, .height = *height};
  if (reader.skip(kFieldsBeforeCompressorName)) {
    const auto length = reader.u8();
    if (length && *length > 0 && *length < kCompressorNameBytes) {
      if (const auto name = reader.bytes(*length)) {
        description.compressorName = std::string(name->begin(), name->end());
      }
    }
  }
  return description;
}

}  // namespace premoov
