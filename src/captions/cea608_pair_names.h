#pragma once

#include <cstdint>
#include <string>

namespace premoov {

// What one CEA-608 byte pair says, read on its own (no state of a decoder).
struct Cea608PairName {
  // The data channel of a control code: 1 or 2 (CC1/CC2 on field 1, CC3/CC4 on field 2); 0 for
  // characters, null pairs and anything else a pair carries no channel in.
  uint8_t channel = 0;
  // "null", "RCL", "EOC", "RU2", "CR", "PAC row 15 col 0", "PAC row 1 yellow underline",
  // "mid-row italics", "TO2", "special ♪", "ext É", "\"AB\"", "XDS 0x01 0x03", "unknown".
  std::string text;
  bool parityOk = true;  // both bytes have odd parity
};

// Names the pair `first`, `second` as sent (parity bits included), the parity bits stripped
// before the codes are looked up; characters go through the CEA-608 character maps.
Cea608PairName nameCea608Pair(uint8_t first, uint8_t second);

}  // namespace premoov
