#include "movie/sound_description_reader.h"

#include <bit>

#include "base/byte_reader.h"
#include "movie/sample_description_entry.h"

namespace premoov {

std::optional<SoundDescription> readSoundDescription(const AtomNode& trak,
                                                     std::span<const uint8_t> bytes) {
  const auto entry = firstSampleDescription(trak, bytes);
  if (!entry) return std::nullopt;
  ByteReader r(entry->payload);
  if (!r.skip(kSampleDescriptionCommonBytes)) return std::nullopt;
  const auto version = r.u16();
  if (!version || !r.skip(6)) return std::nullopt;  // revision level, vendor
  SoundDescription sound{.format = entry->format, .version = *version};
  if (*version == 2) {
    // Always 3, 16, -2, 0 and 65536, the size of the structure, then the rate, the channel count,
    // a constant and the bits a channel.
    if (!r.skip(16)) return std::nullopt;
    const auto rate = r.u64();
    const auto channels = r.u32();
    if (!rate || !channels || !r.skip(4)) return std::nullopt;
    const auto bits = r.u32();
    if (!bits) return std::nullopt;
    sound.sampleRate = std::bit_cast<double>(*rate);
    sound.channels = *channels;
    sound.bitsPerChannel = *bits;
    return sound;
  }
  // Channels, sample size, compression ID, packet size, then the rate.
  const auto channels = r.u16();
  const auto bits = r.u16();
  if (!channels || !bits || !r.skip(4)) return std::nullopt;
  const auto rate = r.u32();
  if (!rate) return std::nullopt;
  sound.sampleRate = *rate / 65536.0;
  sound.channels = *channels;
  sound.bitsPerChannel = *bits;
  return sound;
}

}  // namespace premoov
