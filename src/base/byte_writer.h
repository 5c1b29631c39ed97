#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "base/four_char_code.h"

namespace premoov {

// Appends big-endian fields to a growable buffer. Every byte layout we write goes through here;
// writing never fails, so callers never check.
class ByteWriter {
 public:
  ByteWriter() = default;
  explicit ByteWriter(std::vector<uint8_t> initial) : bytes_(std::move(initial)) {}

  void u8(uint8_t v) { bytes_.push_back(v); }
  void u16(uint16_t v);
  void u24(uint32_t v);
  void u32(uint32_t v);
  void u64(uint64_t v);
  void i8(int8_t v) { u8(static_cast<uint8_t>(v)); }
  void i16(int16_t v) { u16(static_cast<uint16_t>(v)); }
  void i32(int32_t v) { u32(static_cast<uint32_t>(v)); }
  void i64(int64_t v) { u64(static_cast<uint64_t>(v)); }
  void f64(double v);
  void fourCC(FourCC code) { u32(code.value); }
  void bytes(std::span<const uint8_t> data);
  void text(std::string_view s);
  void zeros(size_t count);

  // Overwrites a 32-bit field written earlier, at `position` bytes from the start.
  void patchU32(size_t position, uint32_t v);

  size_t size() const { return bytes_.size(); }
  const std::vector<uint8_t>& data() const { return bytes_; }
  std::vector<uint8_t> take() { return std::move(bytes_); }
  void reserve(size_t n) { bytes_.reserve(n); }

 private:
  std::vector<uint8_t> bytes_;
};

}  // namespace premoov
