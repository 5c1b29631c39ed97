#include "plist/utf8_text.h"

namespace premoov {

size_t utf8SequenceLength(std::string_view s) {
  if (s.empty()) return 0;
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(s[i]); };
  const auto continuation = [&](size_t i) { return i < s.size() && (byte(i) & 0xC0) == 0x80; };
  const uint8_t lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return continuation(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    if (!continuation(1) || !continuation(2)) return 0;
    if (lead == 0xE0 && byte(1) < 0xA0) return 0;  // overlong
    if (lead == 0xED && byte(1) > 0x9F) return 0;  // surrogate
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (!continuation(1) || !continuation(2) || !continuation(3)) return 0;
    if (lead == 0xF0 && byte(1) < 0x90) return 0;  // overlong
    if (lead == 0xF4 && byte(1) > 0x8F) return 0;  // past U+10FFFF
    return 4;
  }
  return 0;
}

std::vector<uint16_t> utf16Units(std::string_view s) {
  constexpr uint16_t kReplacement = 0xFFFD;
  std::vector<uint16_t> units;
  units.reserve(s.size());
  for (size_t i = 0; i < s.size();) {
    const size_t n = utf8SequenceLength(s.substr(i));
    if (n == 0) {
      units.push_back(kReplacement);
      ++i;
      continue;
    }
    // The lead byte's payload bits, then six bits from each continuation byte.
    constexpr uint8_t kLeadMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    uint32_t code = static_cast<uint8_t>(s[i]) & kLeadMask[n];
    for (size_t k = 1; k < n; ++k) code = (code << 6) | (static_cast<uint8_t>(s[i + k]) & 0x3F);
    if (code < 0x10000) {
      units.push_back(static_cast<uint16_t>(code));
    } else {
      code -= 0x10000;
      units.push_back(static_cast<uint16_t>(0xD800 | (code >> 10)));
      units.push_back(static_cast<uint16_t>(0xDC00 | (code & 0x3FF)));
    }
    i += n;
  }
  return units;
}

}  // namespace premoov
