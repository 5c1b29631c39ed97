#include "base/byte_writer.h"

#include <bit>
#include <cstring>
#include <stdexcept>

namespace premoov {

void ByteWriter::u16(uint16_t v) {
  const uint8_t b[2] = {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
  bytes_.insert(bytes_.end(), b, b + 2);
}

void ByteWriter::u24(uint32_t v) {
  const uint8_t b[3] = {static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8),
                        static_cast<uint8_t>(v)};
  bytes_.insert(bytes_.end(), b, b + 3);
}

void ByteWriter::u32(uint32_t v) {
  const uint8_t b[4] = {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16),
                        static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
  bytes_.insert(bytes_.end(), b, b + 4);
}

void ByteWriter::u64(uint64_t v) {
  u32(static_cast<uint32_t>(v >> 32));
  u32(static_cast<uint32_t>(v));
}

void ByteWriter::f64(double v) { u64(std::bit_cast<uint64_t>(v)); }

void ByteWriter::bytes(std::span<const uint8_t> data) {
  bytes_.insert(bytes_.end(), data.begin(), data.end());
}

void ByteWriter::text(std::string_view s) { bytes_.insert(bytes_.end(), s.begin(), s.end()); }

void ByteWriter::zeros(size_t count) { bytes_.resize(bytes_.size() + count, 0); }

void ByteWriter::patchU32(size_t position, uint32_t v) {
  // The field must already exist; checked without `position + 3`, which can wrap around.
  if (position > bytes_.size() || bytes_.size() - position < 4) {
    throw std::out_of_range("ByteWriter::patchU32 outside the bytes written");
  }
  bytes_[position] = static_cast<uint8_t>(v >> 24);
  bytes_[position + 1] = static_cast<uint8_t>(v >> 16);
  bytes_[position + 2] = static_cast<uint8_t>(v >> 8);
  bytes_[position + 3] = static_cast<uint8_t>(v);
}

}  // namespace premoov
