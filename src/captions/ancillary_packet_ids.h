#pragma once

#include <cstdint>

namespace premoov {

// The SMPTE 291 ancillary packet that carries a caption distribution packet (SMPTE 334-1): its
// data identifier and secondary data identifier, without parity bits.
inline constexpr uint8_t kCaptionDid = 0x61;
inline constexpr uint8_t kCaptionSdid = 0x01;

}  // namespace premoov
