#include "requests/base64.h"

#include <array>

namespace premoov {

namespace {

constexpr int8_t kNotInAlphabet = -1;

constexpr std::array<int8_t, 256> kSextets = [] {
  std::array<int8_t, 256> table{};
  table.fill(kNotInAlphabet);
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (size_t i = 0; i < kAlphabet.size(); ++i) {
    table[static_cast<uint8_t>(kAlphabet[i])] = static_cast<int8_t>(i);
  }
  return table;
}();

}  // namespace

std::optional<std::vector<uint8_t>> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  size_t padding = 0;
  if (!text.empty() && text.back() == '=') {
    ++padding;
    if (text[text.size() - 2] == '=') ++padding;
  }

  std::vector<uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  const size_t significant = text.size() - padding;
  uint32_t bits = 0;
  int bitCount = 0;
  for (size_t i = 0; i < significant; ++i) {
    const int8_t sextet = kSextets[static_cast<uint8_t>(text[i])];
    if (sextet == kNotInAlphabet) return std::nullopt;
    bits = (bits << 6) | static_cast<uint32_t>(sextet);
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      bytes.push_back(static_cast<uint8_t>(bits >> bitCount));
      bits &= (1u << bitCount) - 1;
    }
  }
  // One '=' leaves 2 bits over, two leave 4; they must be zero.
  if (bits != 0) return std::nullopt;
  return bytes;
}

}  // namespace premoov
