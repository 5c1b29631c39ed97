#include "premoov/metadata_summary.h"

#include <algorithm>
#include <bit>
#include <cstdio>

#include "base/byte_reader.h"

namespace premoov {
namespace {

constexpr uint32_t kUTF8DataType = 1;
constexpr uint32_t kSignedIntegerDataType = 21;
constexpr uint32_t kFloat64DataType = 24;

std::string hexOf(std::span<const uint8_t> bytes) {
  std::string out;
  for (uint8_t b : bytes) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02x", b);
    if (!out.empty()) out += ' ';
    out += hex;
  }
  return out;
}

// The keys of moov/meta/keys, 1-based by position.
std::vector<std::string> keysOf(std::span<const uint8_t> payload) {
  std::vector<std::string> keys;
  ByteReader r(payload);
  if (!r.skip(4)) return keys;  // version and flags
  const auto count = r.u32();
  if (!count) return keys;
  for (uint32_t i = 0; i < *count && r.remaining() >= 8; ++i) {
    const uint32_t size = *r.u32();
    r.fourCC();  // namespace
    if (size < 8) break;
    auto key = r.bytes(size - 8);
    if (!key) break;
    keys.emplace_back(key->begin(), key->end());
  }
  return keys;
}

}  // namespace

std::vector<MetadataSummary> summarizeMetadata(std::span<const AtomNode> atoms,
                                               std::span<const uint8_t> bytes) {
  std::vector<MetadataSummary> items;
  std::vector<std::string> keys;
  if (const AtomNode* keysAtom = findAtom(atoms, "moov/meta/keys")) {
    if (auto payload = atomPayload(bytes, *keysAtom)) keys = keysOf(*payload);
  }
  if (const AtomNode* ilst = findAtom(atoms, "moov/meta/ilst")) {
    for (const AtomNode& entry : ilst->children) {
      const uint32_t index = entry.type.value;
      for (const AtomNode& data : entry.children) {
        if (data.type != FourCC("data")) continue;
        auto payload = atomPayload(bytes, data);
        if (!payload || payload->size() < 8) continue;
        ByteReader r(*payload);
        MetadataSummary item;
        item.storage = "mdta";
        item.key = index >= 1 && index <= keys.size() ? keys[index - 1] : entry.type.toString();
        item.dataType = *r.u32() & 0x00FFFFFF;
        r.skip(4);  // locale
        auto value = r.bytes(r.remaining());
        item.value.assign(value->begin(), value->end());
        items.push_back(std::move(item));
      }
    }
  }
  if (const AtomNode* udta = findAtom(atoms, "moov/udta")) {
    for (const AtomNode& atom : udta->children) {
      auto payload = atomPayload(bytes, atom);
      if (!payload) continue;
      items.push_back({"udta", atom.type.toString(), 0, {payload->begin(), payload->end()}});
    }
  }
  return items;
}

std::string describeMetadataValue(const MetadataSummary& item) {
  ByteReader r(item.value);
  if (item.dataType == kUTF8DataType) return std::string(item.value.begin(), item.value.end());
  if (item.dataType == kSignedIntegerDataType) {
    switch (item.value.size()) {
      case 1: return std::to_string(static_cast<int8_t>(*r.u8()));
      case 2: return std::to_string(*r.i16());
      case 4: return std::to_string(*r.i32());
      case 8: return std::to_string(*r.i64());
      default: break;
    }
  }
  if (item.dataType == kFloat64DataType && item.value.size() == 8) {
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", std::bit_cast<double>(*r.u64()));
    return text;
  }
  return hexOf(item.value);
}

std::optional<std::string> describeMetadataValueByteSwapped(const MetadataSummary& item) {
  const bool number = item.dataType == kSignedIntegerDataType || item.dataType == kFloat64DataType;
  if (!number || item.value.size() < 2) return std::nullopt;
  MetadataSummary swapped = item;
  std::reverse(swapped.value.begin(), swapped.value.end());
  return describeMetadataValue(swapped);
}

}  // namespace premoov
