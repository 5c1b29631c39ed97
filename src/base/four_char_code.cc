#include "base/four_char_code.h"

#include <cstdio>

namespace premoov {

std::string FourCC::toString() const {
  std::string s(4, ' ');
  for (int i = 0; i < 4; ++i) {
    const auto c = static_cast<char>((value >> (24 - 8 * i)) & 0xFF);
    if (c < 0x20 || c > 0x7E) {
      char hex[11];
      std::snprintf(hex, sizeof hex, "0x%08x", value);
      return hex;
    }
    s[static_cast<size_t>(i)] = c;
  }
  return s;
}

std::optional<FourCC> FourCC::fromString(std::string_view s) {
  if (s.size() != 4) return std::nullopt;
  uint32_t v = 0;
  for (char c : s) v = (v << 8) | static_cast<uint8_t>(c);
  return FourCC(v);
}

}  // namespace premoov
