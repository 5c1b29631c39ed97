#pragma once

#include <cstdint>

namespace premoov {

// The identifiers of a caption distribution packet (cdp) and of its sections, as packets are
// written and read.
inline constexpr uint16_t kCdpIdentifier = 0x9669;
inline constexpr uint8_t kTimeCodeSectionId = 0x71;
inline constexpr uint8_t kCcdataId = 0x72;
inline constexpr uint8_t kCcsvcinfoId = 0x73;
inline constexpr uint8_t kCdpFooterId = 0x74;

}  // namespace premoov
