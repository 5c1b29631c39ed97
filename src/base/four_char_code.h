#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace premoov {

// A 32-bit code whose four bytes, most significant first, are ASCII characters ('vide', 'c708').
struct FourCC {
  uint32_t value = 0;

  constexpr FourCC() = default;
  constexpr explicit FourCC(uint32_t v) : value(v) {}
  // From a four-character literal: FourCC("soun").
  consteval FourCC(const char (&s)[5])
      : value((uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
              (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]))) {}

  constexpr bool operator==(const FourCC&) const = default;
  constexpr auto operator<=>(const FourCC&) const = default;

  // The four characters, or "0x%08x" when a byte is not printable ASCII.
  std::string toString() const;
  // Exactly four characters, else nothing.
  static std::optional<FourCC> fromString(std::string_view s);
};

}  // namespace premoov
