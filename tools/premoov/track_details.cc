#include "premoov/track_details.h"

#include <bit>
#include <utility>

#include "base/byte_reader.h"

namespace premoov {

namespace {

// Offsets within a sample description entry's payload (after its size and type): 6 reserved
// bytes and the data reference index come first.
constexpr size_t kDescriptionFieldsStart = 8;

std::optional<VideoDetails> readVideo(ByteReader r) {
  // version, revision, vendor, temporal and spatial quality, then width and height.
  if (!r.skip(kDescriptionFieldsStart + 16)) return std::nullopt;
  const auto width = r.u16();
  const auto height = r.u16();
  if (!width || !height) return std::nullopt;
  VideoDetails video{.width = *width, .height = *height};
  // Resolutions, data size and frame count, then the compressor name: a Pascal string in 32 bytes.
  if (r.skip(14)) {
    const auto length = r.u8();
    if (length && *length > 0 && *length < 32) {
      if (const auto text = r.bytes(*length)) {
        video.compressorName = std::string(text->begin(), text->end());
      }
    }
  }
  return video;
}

std::optional<SoundDetails> readSound(ByteReader r) {
  if (!r.skip(kDescriptionFieldsStart)) return std::nullopt;
  const auto version = r.u16();
  if (!version || !r.skip(6)) return std::nullopt;  // revision, vendor
  if (*version == 2) {
    // Always 3, 16, -2, 0 and 65536, then the size of the structure, the rate as a 64-bit float,
    // the channel count, a constant and the bits a channel.
    if (!r.skip(16)) return std::nullopt;
    const auto rate = r.u64();
    const auto channels = r.u32();
    if (!rate || !channels || !r.skip(4)) return std::nullopt;
    const auto bits = r.u32();
    if (!bits) return std::nullopt;
    return SoundDetails{
        .sampleRate = std::bit_cast<double>(*rate), .channels = *channels, .bitsPerChannel = *bits};
  }
  // Versions 0 and 1: channels, sample size, compression ID, packet size, then the rate as 16.16.
  const auto channels = r.u16();
  const auto bits = r.u16();
  if (!channels || !bits || !r.skip(4)) return std::nullopt;
  const auto rate = r.u32();
  if (!rate) return std::nullopt;
  return SoundDetails{
      .sampleRate = *rate / 65536.0, .channels = *channels, .bitsPerChannel = *bits};
}

std::optional<TimecodeDetails> readTimecode(ByteReader r) {
  if (!r.skip(kDescriptionFieldsStart + 4)) return std::nullopt;  // and the reserved flags
  const auto flags = r.u32();
  const auto timeScale = r.u32();
  const auto frameDuration = r.u32();
  const auto framesPerSecond = r.u8();
  if (!flags || !timeScale || !frameDuration || !framesPerSecond || !r.skip(1)) {
    return std::nullopt;
  }
  TimecodeDetails timecode{.dropFrame = (*flags & 1) != 0,
                           .timeScale = *timeScale,
                           .frameDuration = *frameDuration,
                           .framesPerSecond = *framesPerSecond};
  // The source reference: a 'name' atom holding a text length, a language and the text.
  const auto size = r.u32();
  const auto type = r.fourCC();
  const auto length = r.u16();
  if (size && type && *type == FourCC("name") && length && r.skip(2)) {
    if (const auto text = r.bytes(*length)) timecode.reel = std::string(text->begin(), text->end());
  }
  return timecode;
}

}  // namespace

TrackDetails readTrackDetails(const AtomNode& trak, std::span<const uint8_t> bytes,
                              std::optional<FourCC> kind) {
  TrackDetails details;
  const AtomNode* stsd = findAtom(trak.children, "mdia/minf/stbl/stsd");
  if (!kind || stsd == nullptr || stsd->children.empty()) return details;
  const auto entry = atomPayload(bytes, stsd->children.front());
  if (!entry) return details;
  if (*kind == FourCC("vide")) details.video = readVideo(ByteReader(*entry));
  if (*kind == FourCC("soun")) details.sound = readSound(ByteReader(*entry));
  if (*kind == FourCC("tmcd")) details.timecode = readTimecode(ByteReader(*entry));
  return details;
}

std::string trackKindName(std::optional<FourCC> kind) {
  if (!kind) return "?";
  if (*kind == FourCC("vide")) return "video";
  if (*kind == FourCC("soun")) return "audio";
  if (*kind == FourCC("clcp")) return "captions";
  if (*kind == FourCC("tmcd")) return "timecode";
  return kind->toString();
}

std::optional<std::string_view> codecName(FourCC codec) {
  static constexpr std::pair<FourCC, std::string_view> kNames[] = {
      {FourCC("apch"), "Apple ProRes 422 HQ"},
      {FourCC("apcn"), "Apple ProRes 422"},
      {FourCC("apcs"), "Apple ProRes 422 LT"},
      {FourCC("apco"), "Apple ProRes 422 Proxy"},
      {FourCC("ap4h"), "Apple ProRes 4444"},
      {FourCC("ap4x"), "Apple ProRes 4444 XQ"},
      {FourCC("v210"), "uncompressed 10-bit 4:2:2"},
      {FourCC("2vuy"), "uncompressed 8-bit 4:2:2"},
      {FourCC("avc1"), "H.264"},
      {FourCC("hvc1"), "HEVC"},
      {FourCC("AVdn"), "Avid DNxHD"},
      {FourCC("AVdh"), "Avid DNxHR"},
      {FourCC("lpcm"), "Linear PCM"},
      {FourCC("twos"), "PCM, big-endian"},
      {FourCC("sowt"), "PCM, little-endian"},
      {FourCC("in24"), "PCM, 24-bit"},
      {FourCC("in32"), "PCM, 32-bit"},
      {FourCC("fl32"), "PCM, 32-bit float"},
      {FourCC("c608"), "CEA-608 captions"},
      {FourCC("c708"), "CEA-708 captions (cdp)"},
      {FourCC("tmcd"), "timecode"},
  };
  for (const auto& [code, name] : kNames) {
    if (code == codec) return name;
  }
  return std::nullopt;
}

}  // namespace premoov
