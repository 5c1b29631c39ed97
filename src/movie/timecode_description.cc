#include "movie/timecode_description.h"

#include "base/byte_reader.h"
#include "movie/sample_description_entry.h"

namespace premoov {

std::optional<TimecodeDescription> readTimecodeDescription(const AtomNode& trak,
                                                           std::span<const uint8_t> bytes) {
  const auto entry = firstSampleDescription(trak, bytes);
  if (!entry) return std::nullopt;
  ByteReader r(entry->payload);
  if (!r.skip(kSampleDescriptionCommonBytes + 4)) return std::nullopt;  // and reserved flags
  const auto flags = r.u32();
  const auto timeScale = r.u32();
  const auto frameDuration = r.u32();
  const auto framesPerSecond = r.u8();
  if (!flags || !timeScale || !frameDuration || !framesPerSecond || !r.skip(1)) {
    return std::nullopt;
  }
  TimecodeDescription timecode{.dropFrame = (*flags & 1) != 0,
                               .timeScale = *timeScale,
                               .frameDuration = *frameDuration,
                               .framesPerSecond = *framesPerSecond};
  // The source reference: size, 'name', text length, language, text.
  const auto size = r.u32();
  const auto type = r.fourCC();
  const auto length = r.u16();
  if (size && type && *type == FourCC("name") && length && r.skip(2)) {
    if (const auto text = r.bytes(*length)) timecode.reel = std::string(text->begin(), text->end());
  }
  return timecode;
}

}  // namespace premoov
