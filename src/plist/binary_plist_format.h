#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace premoov {

// The binary property list format ("bplist00"), as CoreFoundation's CFBinaryPList.c lays it out:
// the names shared by our reader and our writer.
inline constexpr std::string_view kBinaryPlistMagic = "bplist00";

// The trailer closes the file: 6 unused bytes, the width of an offset-table entry, the width of
// an object reference, then the object count, the top object and the offset table's position
// (8 bytes each, big-endian).
inline constexpr size_t kBinaryPlistTrailerSize = 32;

// Object markers: the high four bits name the kind, the low four carry a size or count (15: the
// count follows as an integer object).
enum class Marker : uint8_t {
  kSingleton = 0x0,  // null, false, true, fill
  kInteger = 0x1,
  kReal = 0x2,
  kDate = 0x3,
  kData = 0x4,
  kAsciiString = 0x5,
  kUtf16String = 0x6,
  kUid = 0x8,
  kArray = 0xA,
  kSet = 0xC,
  kDictionary = 0xD,
};

// The marker byte of an object of `kind` whose low four bits are `low`.
constexpr uint8_t markerByte(Marker kind, uint64_t low) {
  return static_cast<uint8_t>(static_cast<uint8_t>(kind) << 4 | (low & 0x0F));
}

// Singletons, whole marker bytes.
inline constexpr uint8_t kFalseMarker = 0x08;
inline constexpr uint8_t kTrueMarker = 0x09;

}  // namespace premoov
