#include "plist/binary_plist_writer.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/byte_writer.h"
#include "plist/binary_plist_format.h"
#include "plist/utf8_text.h"
#include "plist/value.h"

namespace premoov {
namespace {

// The fewest bytes of 1, 2, 4 and 8 that hold `value`.
uint8_t byteCount(uint64_t value) {
  if (value <= 0xFF) return 1;
  if (value <= 0xFFFF) return 2;
  if (value <= 0xFFFFFFFF) return 4;
  return 8;
}

void sizedUnsigned(ByteWriter& w, uint64_t value, uint8_t bytes) {
  switch (bytes) {
    case 1: w.u8(static_cast<uint8_t>(value)); break;
    case 2: w.u16(static_cast<uint16_t>(value)); break;
    case 4: w.u32(static_cast<uint32_t>(value)); break;
    default: w.u64(value); break;
  }
}

// An integer object: marker 0x1N, then 2^N bytes.
void integerObject(ByteWriter& w, uint64_t value) {
  const uint8_t bytes = byteCount(value);
  w.u8(markerByte(Marker::kInteger, static_cast<uint64_t>(std::countr_zero(bytes))));
  sizedUnsigned(w, value, bytes);
}

// A marker with a count: in its low four bits below 15, else 0xF and an integer object after.
void countedMarker(ByteWriter& w, Marker kind, uint64_t count) {
  if (count < 15) {
    w.u8(markerByte(kind, count));
    return;
  }
  w.u8(markerByte(kind, 0x0F));
  integerObject(w, count);
}

// Hashes an encoded scalar by its length and first bytes only, as CoreFoundation hashes data:
// equal objects still meet (equality compares them whole), and a header-sized data object costs
// no pass over its bytes.
struct LeadingBytesHash {
  size_t operator()(std::string_view bytes) const {
    constexpr size_t kLeading = 80;
    return std::hash<std::string_view>{}(bytes.substr(0, kLeading)) ^
           (bytes.size() * 0x9E3779B97F4A7C15u);
  }
};

class Writer {
 public:
  explicit Writer(const std::unordered_set<plist_t>& singlePrecisionReals)
      : singlePrecisionReals_(singlePrecisionReals) {}

  std::vector<uint8_t> write(plist_t root) {
    const uint64_t top = flatten(root);
    const uint8_t referenceBytes = byteCount(objects_.size());
    size_t objectBytes = 0;
    for (const Object& object : objects_) {
      objectBytes +=
          object.bytes.size() + object.contents.size() + object.references.size() * referenceBytes;
    }
    ByteWriter w;
    // Magic, objects, an offset table of at most 8 bytes an object, the 32-byte trailer.
    w.reserve(kBinaryPlistMagic.size() + objectBytes + objects_.size() * 8 + 32);
    w.text(kBinaryPlistMagic);
    std::vector<uint64_t> offsets;
    offsets.reserve(objects_.size());
    for (const Object& object : objects_) {
      offsets.push_back(w.size());
      w.bytes(object.bytes);
      w.bytes(object.contents);
      for (uint64_t reference : object.references) sizedUnsigned(w, reference, referenceBytes);
    }
    const uint64_t tableOffset = w.size();
    const uint8_t offsetBytes = byteCount(tableOffset);
    for (uint64_t offset : offsets) sizedUnsigned(w, offset, offsetBytes);
    // Trailer: five unused bytes, the sort version, the two widths, then the object count, the
    // top object and the offset table's position.
    w.zeros(6);
    w.u8(offsetBytes);
    w.u8(referenceBytes);
    w.u64(objects_.size());
    w.u64(top);
    w.u64(tableOffset);
    return w.take();
  }

 private:
  // An object as written: its marker and contents, then (for containers) its references.
  struct Object {
    std::vector<uint8_t> bytes;
    // A data object's contents, left where the tree holds them until the file is assembled.
    std::span<const uint8_t> contents;
    std::vector<uint64_t> references;
  };

  // The index of the object that `node` is written as; its contents first.
  uint64_t flatten(plist_t node) {
    switch (plist_get_node_type(node)) {
      case PLIST_ARRAY: return array(node);
      case PLIST_DICT: return dictionary(node);
      case PLIST_DATA: return data(node);
      default: return scalar(encoded(node));
    }
  }

  uint64_t array(plist_t node) {
    const uint64_t index = reserve();
    std::vector<uint64_t> references;
    references.reserve(plist_array_get_size(node));
    plist_array_iter iter = nullptr;
    plist_array_new_iter(node, &iter);
    for (; iter;) {
      plist_t item = nullptr;
      plist_array_next_item(node, iter, &item);
      if (!item) break;
      references.push_back(flatten(item));
    }
    std::free(iter);
    ByteWriter marker;
    countedMarker(marker, Marker::kArray, references.size());
    objects_[index] = {marker.take(), {}, std::move(references)};
    return index;
  }

  uint64_t dictionary(plist_t node) {
    const uint64_t index = reserve();
    std::vector<uint64_t> keys;
    std::vector<uint64_t> values;
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    for (; iter;) {
      char* key = nullptr;
      plist_t value = nullptr;
      plist_dict_next_item(node, iter, &key, &value);
      if (!value) {
        std::free(key);
        break;
      }
      keys.push_back(scalar(text(key ? std::string_view(key) : std::string_view())));
      std::free(key);
      values.push_back(flatten(value));
    }
    std::free(iter);
    ByteWriter marker;
    countedMarker(marker, Marker::kDictionary, keys.size());
    keys.insert(keys.end(), values.begin(), values.end());
    objects_[index] = {marker.take(), {}, std::move(keys)};
    return index;
  }

  // Data objects are shared by their contents like the other scalars, and never copied before
  // the file is assembled: a reply's header room travels as one.
  uint64_t data(plist_t node) {
    uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(node, &length);
    const std::span<const uint8_t> contents(reinterpret_cast<const uint8_t*>(bytes),
                                            bytes ? length : 0);
    const std::string_view key(reinterpret_cast<const char*>(contents.data()), contents.size());
    if (auto it = dataObjects_.find(key); it != dataObjects_.end()) return it->second;
    ByteWriter marker;
    countedMarker(marker, Marker::kData, contents.size());
    objects_.push_back({marker.take(), contents, {}});
    dataObjects_.emplace(key, objects_.size() - 1);
    return objects_.size() - 1;
  }

  // A slot for a container, filled once its contents are written.
  uint64_t reserve() {
    objects_.emplace_back();
    return objects_.size() - 1;
  }

  // Equal scalars are one object: CoreFoundation too keeps one copy of equal strings, numbers,
  // dates and data.
  // The key is a view of the object's own bytes, which stay where they are when objects_ grows:
  // a header's worth of data is not copied to be looked up.
  uint64_t scalar(std::vector<uint8_t> bytes) {
    const std::string_view key(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (auto it = scalars_.find(key); it != scalars_.end()) return it->second;
    objects_.push_back({std::move(bytes), {}, {}});
    const std::vector<uint8_t>& stored = objects_.back().bytes;
    scalars_.emplace(std::string_view(reinterpret_cast<const char*>(stored.data()), stored.size()),
                     objects_.size() - 1);
    return objects_.size() - 1;
  }

  static std::vector<uint8_t> text(std::string_view s) {
    ByteWriter w;
    const bool ascii =
        std::all_of(s.begin(), s.end(), [](char c) { return static_cast<uint8_t>(c) < 0x80; });
    if (ascii) {
      countedMarker(w, Marker::kAsciiString, s.size());
      w.text(s);
      return w.take();
    }
    const std::vector<uint16_t> units = utf16Units(s);
    countedMarker(w, Marker::kUtf16String, units.size());
    for (uint16_t unit : units) w.u16(unit);
    return w.take();
  }

  std::vector<uint8_t> encoded(plist_t node) {
    ByteWriter w;
    switch (plist_get_node_type(node)) {
      case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        w.u8(b ? kTrueMarker : kFalseMarker);
        break;
      }
      case PLIST_UINT: {
        uint64_t v = 0;
        plist_get_uint_val(node, &v);
        integerObject(w, v);
        break;
      }
      case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        if (singlePrecisionReals_.count(node) > 0) {
          w.u8(markerByte(Marker::kReal, 2));
          w.u32(std::bit_cast<uint32_t>(roundedToFloat(d)));
        } else {
          w.u8(markerByte(Marker::kReal, 3));
          w.f64(d);
        }
        break;
      }
      case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        w.u8(markerByte(Marker::kDate, 3));
        w.f64(seconds + microseconds / 1e6);
        break;
      }
      case PLIST_UID: {
        uint64_t uid = 0;
        plist_get_uid_val(node, &uid);
        const uint8_t bytes = byteCount(uid);
        w.u8(markerByte(Marker::kUid, bytes - 1u));
        sizedUnsigned(w, uid, bytes);
        break;
      }
      case PLIST_STRING:
      case PLIST_KEY: {
        uint64_t length = 0;
        const char* s = plist_get_string_ptr(node, &length);
        return text(s ? std::string_view(s, length) : std::string_view());
      }
      default:
        // Nothing else occurs in a tree libplist builds; an empty string keeps the file whole.
        return text({});
    }
    return w.take();
  }

  const std::unordered_set<plist_t>& singlePrecisionReals_;
  std::vector<Object> objects_;
  std::unordered_map<std::string_view, uint64_t, LeadingBytesHash> scalars_;
  std::unordered_map<std::string_view, uint64_t, LeadingBytesHash> dataObjects_;
};

}  // namespace

std::vector<uint8_t> binaryPropertyList(plist_t root,
                                        const std::unordered_set<plist_t>& singlePrecisionReals) {
  if (!root) return {};
  return Writer(singlePrecisionReals).write(root);
}

}  // namespace premoov
