#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/four_char_code.h"

namespace premoov {

// Reads big-endian fields from untrusted bytes. Every read checks the room left first; a read past
// the end answers nothing and leaves the position where it was.
class ByteReader {
 public:
  explicit ByteReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  std::optional<uint8_t> u8();
  std::optional<uint16_t> u16();
  std::optional<uint32_t> u24();
  std::optional<uint32_t> u32();
  std::optional<uint64_t> u64();
  std::optional<int16_t> i16();
  std::optional<int32_t> i32();
  std::optional<int64_t> i64();
  std::optional<FourCC> fourCC();
  std::optional<std::span<const uint8_t>> bytes(size_t count);
  bool skip(size_t count);

  size_t position() const { return position_; }
  size_t remaining() const { return bytes_.size() - position_; }
  bool atEnd() const { return position_ == bytes_.size(); }

 private:
  std::optional<uint64_t> unsignedOf(size_t width);

  std::span<const uint8_t> bytes_;
  size_t position_ = 0;
};

}  // namespace premoov
