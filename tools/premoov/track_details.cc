#include "premoov/track_details.h"

#include <utility>

namespace premoov {

TrackDetails readTrackDetails(const AtomNode& trak, std::span<const uint8_t> bytes,
                              std::optional<FourCC> kind) {
  TrackDetails details;
  if (kind == FourCC("vide")) details.video = readVideoDescription(trak, bytes);
  if (kind == FourCC("soun")) details.sound = readSoundDescription(trak, bytes);
  if (kind == FourCC("tmcd")) details.timecode = readTimecodeDescription(trak, bytes);
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
