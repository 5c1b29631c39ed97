#pragma once

#include <cstdint>

namespace premoov {

// 'v210' rows are little-endian 32-bit words, each holding three 10-bit samples in bits 0-9,
// 10-19 and 20-29. The packing is little-endian by definition of the format, unlike the file
// structures that the byte writer serves.
inline uint32_t readV210Word(const uint8_t* p) {
  return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

inline void writeV210Word(uint8_t* p, uint32_t word) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(word >> (8 * i));
}

inline constexpr uint32_t kV210SampleMask = 0x3FF;

// Sample 0, 1 or 2 of a word.
inline constexpr uint16_t v210Sample(uint32_t word, unsigned index) {
  return static_cast<uint16_t>((word >> (10 * index)) & kV210SampleMask);
}

}  // namespace premoov
