#include <optional>

#include "base/byte_reader.h"
#include "movie/toolbox.h"

namespace premoov {
namespace {

// Offsets in a video sample description's body (after its 16-byte header).
constexpr size_t kWidthOffset = 16;
constexpr size_t kExtensionsOffset = 70;

struct Ratio {
  double numerator = 0;
  double denominator = 1;
};

// The payload of the first extension atom of `type`, if any.
std::optional<std::span<const uint8_t>> extension(const SampleDescription& d, FourCC type) {
  if (d.body.size() < kExtensionsOffset) return std::nullopt;
  ByteReader r(std::span(d.body).subspan(kExtensionsOffset));
  while (r.remaining() >= 8) {
    const uint32_t size = *r.u32();
    const FourCC atomType = *r.fourCC();
    if (size < 8 || size - 8 > r.remaining()) return std::nullopt;
    auto payload = *r.bytes(size - 8);
    if (atomType == type) return payload;
  }
  return std::nullopt;
}

// `v` in 16.16, to the nearest 1/65536; nothing when 16.16 cannot hold it (32768 and beyond),
// since converting such a value to an integer is undefined.
std::optional<Fixed> toFixed(double v) {
  const double scaled = v * 65536.0 + 0.5;
  if (!(scaled >= 0) || scaled >= 2147483648.0) return std::nullopt;
  return static_cast<Fixed>(scaled);
}

}  // namespace

OSErr Toolbox::SetTrackApertureModeDimensionsUsingSampleDescription(
    Track& track, const SampleDescriptionHandle& description) {
  if (!description || description->body.size() < kExtensionsOffset) return paramErr;
  ByteReader r(std::span(description->body).subspan(kWidthOffset));
  const double width = *r.u16();
  const double height = *r.u16();

  // Pixel aspect from 'pasp' (1:1 without it), clean aperture from 'clap' (the full frame without).
  double aspect = 1.0;
  if (auto pasp = extension(*description, FourCC("pasp")); pasp && pasp->size() >= 8) {
    ByteReader p(*pasp);
    const double h = *p.u32();
    const double v = *p.u32();
    if (h > 0 && v > 0) aspect = h / v;
  }
  double cleanWidth = width;
  double cleanHeight = height;
  if (auto clap = extension(*description, FourCC("clap")); clap && clap->size() >= 16) {
    ByteReader c(*clap);
    const double wn = *c.u32(), wd = *c.u32(), hn = *c.u32(), hd = *c.u32();
    Ratio w{wn, wd};
    Ratio h{hn, hd};
    if (w.denominator > 0) cleanWidth = w.numerator / w.denominator;
    if (h.denominator > 0) cleanHeight = h.numerator / h.denominator;
  }
  const auto cw = toFixed(cleanWidth * aspect), ch = toFixed(cleanHeight);
  const auto pw = toFixed(width * aspect), ph = toFixed(height);
  const auto ew = toFixed(width), eh = toFixed(height);
  if (!cw || !ch || !pw || !ph || !ew || !eh) return paramErr;
  track.aperture = ApertureDimensions{*cw, *ch, *pw, *ph, *ew, *eh};
  return noErr;
}

}  // namespace premoov
