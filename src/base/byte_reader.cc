#include "base/byte_reader.h"

namespace premoov {

std::optional<uint64_t> ByteReader::unsignedOf(size_t width) {
  if (remaining() < width) return std::nullopt;
  uint64_t v = 0;
  for (size_t i = 0; i < width; ++i) v = (v << 8) | bytes_[position_ + i];
  position_ += width;
  return v;
}

std::optional<uint8_t> ByteReader::u8() {
  auto v = unsignedOf(1);
  if (!v) return std::nullopt;
  return static_cast<uint8_t>(*v);
}

std::optional<uint16_t> ByteReader::u16() {
  auto v = unsignedOf(2);
  if (!v) return std::nullopt;
  return static_cast<uint16_t>(*v);
}

std::optional<uint32_t> ByteReader::u24() {
  auto v = unsignedOf(3);
  if (!v) return std::nullopt;
  return static_cast<uint32_t>(*v);
}

std::optional<uint32_t> ByteReader::u32() {
  auto v = unsignedOf(4);
  if (!v) return std::nullopt;
  return static_cast<uint32_t>(*v);
}

std::optional<uint64_t> ByteReader::u64() { return unsignedOf(8); }

std::optional<int16_t> ByteReader::i16() {
  auto v = u16();
  if (!v) return std::nullopt;
  return static_cast<int16_t>(*v);
}

std::optional<int32_t> ByteReader::i32() {
  auto v = u32();
  if (!v) return std::nullopt;
  return static_cast<int32_t>(*v);
}

std::optional<int64_t> ByteReader::i64() {
  auto v = u64();
  if (!v) return std::nullopt;
  return static_cast<int64_t>(*v);
}

std::optional<FourCC> ByteReader::fourCC() {
  auto v = u32();
  if (!v) return std::nullopt;
  return FourCC(*v);
}

std::optional<std::span<const uint8_t>> ByteReader::bytes(size_t count) {
  if (remaining() < count) return std::nullopt;
  auto out = bytes_.subspan(position_, count);
  position_ += count;
  return out;
}

bool ByteReader::skip(size_t count) {
  if (remaining() < count) return false;
  position_ += count;
  return true;
}

}  // namespace premoov
