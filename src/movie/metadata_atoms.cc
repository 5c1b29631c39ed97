#include "movie/metadata_atoms.h"

#include <algorithm>
#include <span>
#include <utility>

#include "base/atom_writer.h"
#include "base/log.h"

namespace premoov {
namespace {

constexpr FourCC kMetadataStorage("mdta");
constexpr FourCC kUserDataStorage("udta");
constexpr uint8_t kCopyrightSign = 0xA9;  // first byte of QuickTime's text user data types
constexpr uint32_t kUtf8DataType = 1;
constexpr uint16_t kLanguageEnglish = 0;  // Macintosh language code
constexpr size_t kMaxTextLength = 0xFFFF;

bool hasItems(const std::vector<MetaDataItem>& metadata, FourCC storage) {
  return std::any_of(metadata.begin(), metadata.end(),
                     [&](const MetaDataItem& item) { return item.storageFormat == storage; });
}

FourCC userDataType(const MetaDataItem& item) {
  return FourCC((uint32_t{item.key[0]} << 24) | (uint32_t{item.key[1]} << 16) |
                (uint32_t{item.key[2]} << 8) | uint32_t{item.key[3]});
}

}  // namespace

std::optional<std::string> metadataItemProblem(const MetaDataItem& item) {
  if (item.storageFormat == kUserDataStorage) {
    if (item.key.size() != 4) {
      return stringWithFormat("a user data item's key is %zu bytes, not 4", item.key.size());
    }
    return std::nullopt;
  }
  if (item.storageFormat != kMetadataStorage) {
    return "a metadata item has storage format " + item.storageFormat.toString();
  }
  return std::nullopt;
}

void writeUserDataAtom(ByteWriter& w, const std::vector<MetaDataItem>& metadata) {
  if (!hasItems(metadata, kUserDataStorage)) return;
  AtomScope udta(w, kUserDataStorage);
  for (const MetaDataItem& item : metadata) {
    if (item.storageFormat != kUserDataStorage || item.key.size() != 4) continue;
    AtomScope atom(w, userDataType(item));
    if (item.key[0] == kCopyrightSign && item.dataType == kUtf8DataType) {
      const auto text =
          std::span(item.value).first(std::min<size_t>(item.value.size(), kMaxTextLength));
      w.u16(static_cast<uint16_t>(text.size()));  // text length
      w.u16(kLanguageEnglish);                    // language
      w.bytes(text);                              // text
    } else {
      w.bytes(item.value);  // value
    }
  }
}

void writeMetadataAtom(ByteWriter& w, const std::vector<MetaDataItem>& metadata) {
  if (!hasItems(metadata, kMetadataStorage)) return;
  using Key = std::pair<FourCC, std::span<const uint8_t>>;  // namespace, key
  std::vector<Key> keys;
  std::vector<std::pair<uint32_t, const MetaDataItem*>> items;  // 1-based key index, item
  for (const MetaDataItem& item : metadata) {
    if (item.storageFormat != kMetadataStorage) continue;
    const Key key{item.keyFormat, item.key};
    auto found = std::find_if(keys.begin(), keys.end(), [&](const Key& k) {
      return k.first == key.first && std::ranges::equal(k.second, key.second);
    });
    if (found == keys.end()) found = keys.insert(keys.end(), key);
    items.emplace_back(static_cast<uint32_t>(found - keys.begin()) + 1, &item);
  }
  AtomScope meta(w, FourCC("meta"));
  {
    AtomScope hdlr(w, FourCC("hdlr"), 0, 0);
    w.u32(0);                    // predefined
    w.fourCC(kMetadataStorage);  // handler type
    w.zeros(12);                 // reserved
    w.u8(0);                     // name: empty, NUL-terminated
  }
  {
    AtomScope keysAtom(w, FourCC("keys"), 0, 0);
    w.u32(static_cast<uint32_t>(keys.size()));  // entry count
    for (const auto& [keyFormat, key] : keys) {
      w.u32(static_cast<uint32_t>(8 + key.size()));  // key size, header included
      w.fourCC(keyFormat);                           // key namespace
      w.bytes(key);                                  // key value
    }
  }
  AtomScope ilst(w, FourCC("ilst"));
  for (const auto& [keyIndex, item] : items) {
    AtomScope entry(w, FourCC(keyIndex));
    AtomScope data(w, FourCC("data"));
    w.u32(item->dataType);  // type: 0, then a 24-bit well-known type
    w.u32(0);               // locale: every country and language
    w.bytes(item->value);   // value
  }
}

}  // namespace premoov
