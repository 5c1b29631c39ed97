#pragma once

#include <plist/plist.h>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/byte_writer.h"
#include "plist/keyed_archive.h"
#include "plist/keyed_plist_node.h"
#include "plist/value.h"

// Helpers shared by the keyed archive tests and the archive_writer helper: a class of our own
// that archives itself, and builders of archives and binary property lists by hand.
namespace premoov::keyed_test {

inline const std::set<std::string> kValueClasses{"NSString", "NSNumber", "NSData",
                                                 "NSDate",   "NSArray",  "NSDictionary"};

// A class of ours with a field of every kind the coder carries.
class TestItem : public ArchivableObject {
 public:
  static constexpr const char* kClassName = "PremoovTestItem";

  std::string name;
  int64_t count = 0;
  bool enabled = false;
  double ratio = 0;
  std::optional<Value> payload;  // written as "$null" when absent
  std::shared_ptr<const TestItem> child;

  std::string className() const override { return kClassName; }
  std::vector<std::string> classHierarchy() const override {
    return {kClassName, "PremoovTestBase", "NSObject"};
  }
  void encodeWithCoder(KeyedArchiver& coder) const override {
    coder.encodeObject(Value::string(name), "name");
    coder.encodeInt64(count, "count");
    coder.encodeBool(enabled, "enabled");
    coder.encodeDouble(ratio, "ratio");
    coder.encodeObject(payload ? &*payload : nullptr, "payload");
    if (child) {
      coder.encodeObject(Value::object(child), "child");
    } else {
      coder.encodeObject(nullptr, "child");
    }
  }

  // initWithCoder: as a secure class would write it.
  static std::shared_ptr<const ArchivableObject> make(KeyedUnarchiver& coder) {
    auto item = std::make_shared<TestItem>();
    auto decodedName = coder.decodeObjectOfClasses({"NSString"}, "name");
    if (!decodedName) {
      if (!coder.error()) coder.failWithError("PremoovTestItem without a name");
      return nullptr;
    }
    item->name = decodedName->stringValue();
    item->count = coder.decodeInt64("count");
    item->enabled = coder.decodeBool("enabled");
    item->ratio = coder.decodeDouble("ratio");
    item->payload = coder.decodeObjectOfClasses(kValueClasses, "payload");
    if (auto decodedChild = coder.decodeObjectOfClasses({kClassName}, "child")) {
      item->child = std::dynamic_pointer_cast<const TestItem>(decodedChild->objectValue());
    }
    if (coder.error()) return nullptr;
    return item;
  }

  static void registerClass() {
    KeyedUnarchiver::registerClass(kClassName, &TestItem::make, {"PremoovTestBase", "NSObject"});
  }
};

inline std::vector<uint8_t> binaryOf(plist_t node) {
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(node, &bytes, &length);
  std::vector<uint8_t> out(bytes, bytes + length);
  plist_to_bin_free(bytes);
  return out;
}

inline std::vector<uint8_t> xmlOf(plist_t node) {
  char* text = nullptr;
  uint32_t length = 0;
  plist_to_xml(node, &text, &length);
  std::vector<uint8_t> out(text, text + length);
  plist_to_xml_free(text);
  return out;
}

inline PlistNode parseBinary(const std::vector<uint8_t>& bytes) {
  plist_t root = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<uint32_t>(bytes.size()),
                 &root);
  return PlistNode(root);
}

// A property list as compact text for exact comparisons: dictionaries keep their key order,
// references read UID(n), data reads <hex>.
inline std::string describePlist(plist_t node) {
  if (!node) return "(none)";
  switch (plist_get_node_type(node)) {
    case PLIST_STRING: return "\"" + plistString(node).value_or("") + "\"";
    case PLIST_UINT: return std::to_string(static_cast<int64_t>(*plistUnsigned(node)));
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      char text[32];
      std::snprintf(text, sizeof text, "%g", d);
      return text;
    }
    case PLIST_BOOLEAN: return plist_bool_val_is_true(node) ? "true" : "false";
    case PLIST_UID: {
      uint64_t uid = 0;
      plist_get_uid_val(node, &uid);
      return "UID(" + std::to_string(uid) + ")";
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const auto* bytes = reinterpret_cast<const uint8_t*>(plist_get_data_ptr(node, &length));
      std::string out = "<";
      for (uint64_t i = 0; i < length; ++i) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02x", bytes[i]);
        out += hex;
      }
      return out + ">";
    }
    case PLIST_ARRAY: {
      std::string out = "[";
      for (plist_t item : plistArrayItems(node).value_or(std::vector<plist_t>())) {
        out += (out.size() > 1 ? "," : "") + describePlist(item);
      }
      return out + "]";
    }
    case PLIST_DICT: {
      std::string out = "{";
      plist_dict_iter iter = nullptr;
      plist_dict_new_iter(node, &iter);
      for (;;) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iter, &key, &value);
        if (!key) break;
        out += (out.size() > 1 ? "," : "") + std::string("\"") + key + "\":" + describePlist(value);
        std::free(key);
      }
      std::free(iter);
      return out + "}";
    }
    default: return "?";
  }
}

// Keyed archive pieces, built node by node. Each function answers a new node the caller hands on.
inline plist_t classEntry(const std::string& name, const std::vector<std::string>& chain) {
  plist_t entry = plist_new_dict();
  plist_dict_set_item(entry, "$classname", plist_new_string(name.c_str()));
  plist_t classes = plist_new_array();
  for (const std::string& c : chain) plist_array_append_item(classes, plist_new_string(c.c_str()));
  plist_dict_set_item(entry, "$classes", classes);
  return entry;
}

inline plist_t uidArray(const std::vector<uint64_t>& references) {
  plist_t array = plist_new_array();
  for (uint64_t r : references) plist_array_append_item(array, plist_new_uid(r));
  return array;
}

inline plist_t arrayObject(const std::vector<uint64_t>& references, uint64_t classReference) {
  plist_t object = plist_new_dict();
  plist_dict_set_item(object, "NS.objects", uidArray(references));
  plist_dict_set_item(object, "$class", plist_new_uid(classReference));
  return object;
}

// {"$archiver", "$version", "$top": {"root": UID(root)}, "$objects": ["$null", objects...]}.
inline PlistNode archiveNode(const std::vector<plist_t>& objects, uint64_t root) {
  plist_t archive = plist_new_dict();
  plist_dict_set_item(archive, "$archiver", plist_new_string("NSKeyedArchiver"));
  plist_dict_set_item(archive, "$version", plist_new_uint(100000));
  plist_t top = plist_new_dict();
  plist_dict_set_item(top, "root", plist_new_uid(root));
  plist_dict_set_item(archive, "$top", top);
  plist_t array = plist_new_array();
  plist_array_append_item(array, plist_new_string("$null"));
  for (plist_t object : objects) plist_array_append_item(array, object);
  plist_dict_set_item(archive, "$objects", array);
  return PlistNode(archive);
}

inline std::vector<uint8_t> archiveOf(const std::vector<plist_t>& objects, uint64_t root) {
  return binaryOf(archiveNode(objects, root).get());
}

// A binary property list from raw objects: header, the objects in order, an offset table of
// 4-byte entries and the trailer, so that tests can say what no writer would.
inline std::vector<uint8_t> rawBinaryPlist(const std::vector<std::vector<uint8_t>>& objects,
                                           uint64_t top, uint8_t referenceWidth = 1) {
  ByteWriter w;
  w.text("bplist00");
  std::vector<uint32_t> offsets;
  for (const auto& object : objects) {
    offsets.push_back(static_cast<uint32_t>(w.size()));
    w.bytes(object);
  }
  const uint64_t tableOffset = w.size();
  for (uint32_t offset : offsets) w.u32(offset);
  w.zeros(6);
  w.u8(4);               // offset table entry width
  w.u8(referenceWidth);  // object reference width
  w.u64(objects.size());
  w.u64(top);
  w.u64(tableOffset);
  return w.take();
}

// A binary property list built object by object, with 4-byte references, for archives no
// writer makes: thousands of objects, reals of either width, dictionaries with repeated keys.
// Each adder answers the new object's index.
class RawPlist {
 public:
  uint64_t string(std::string_view ascii) {
    ByteWriter w;
    marker(w, 0x5, ascii.size());
    w.text(ascii);
    return add(w.take());
  }
  uint64_t integer(uint64_t value) {
    ByteWriter w;
    w.u8(0x13);
    w.u64(value);
    return add(w.take());
  }
  uint64_t real32(float value) {
    ByteWriter w;
    w.u8(0x22);
    w.u32(std::bit_cast<uint32_t>(value));
    return add(w.take());
  }
  uint64_t real64(double value) {
    ByteWriter w;
    w.u8(0x23);
    w.f64(value);
    return add(w.take());
  }
  uint64_t boolean(bool value) { return add({static_cast<uint8_t>(value ? 0x09 : 0x08)}); }
  // An object given byte for byte, marker first.
  uint64_t raw(std::vector<uint8_t> object) { return add(std::move(object)); }
  uint64_t uid(uint32_t value) {
    ByteWriter w;
    w.u8(0x83);
    w.u32(value);
    return add(w.take());
  }
  uint64_t array(const std::vector<uint64_t>& elements) {
    ByteWriter w;
    marker(w, 0xA, elements.size());
    for (uint64_t e : elements) w.u32(static_cast<uint32_t>(e));
    return add(w.take());
  }
  uint64_t dictionary(const std::vector<std::pair<uint64_t, uint64_t>>& entries) {
    ByteWriter w;
    marker(w, 0xD, entries.size());
    for (const auto& entry : entries) w.u32(static_cast<uint32_t>(entry.first));
    for (const auto& entry : entries) w.u32(static_cast<uint32_t>(entry.second));
    return add(w.take());
  }
  // A dictionary from key texts: each key becomes a string object of its own.
  uint64_t dictionary(const std::vector<std::pair<std::string, uint64_t>>& entries) {
    std::vector<std::pair<uint64_t, uint64_t>> indexed;
    for (const auto& [key, value] : entries) indexed.emplace_back(string(key), value);
    return dictionary(indexed);
  }
  // {"$archiver", "$version", "$top": {"root": UID(root)}, "$objects": objects}; `objects` are
  // indices of objects added before, "$null" first.
  std::vector<uint8_t> keyedArchive(const std::vector<uint64_t>& objects, uint32_t root) {
    const uint64_t top = dictionary(std::vector<std::pair<std::string, uint64_t>>{
        {"$archiver", string("NSKeyedArchiver")},
        {"$version", integer(100000)},
        {"$top", dictionary(std::vector<std::pair<std::string, uint64_t>>{{"root", uid(root)}})},
        {"$objects", array(objects)},
    });
    return bytes(top);
  }

  // The property list of every object added, `top` at the top.
  std::vector<uint8_t> bytes(uint64_t top) const { return rawBinaryPlist(objects_, top, 4); }

 private:
  static void marker(ByteWriter& w, uint8_t kind, size_t count) {
    if (count < 15) {
      w.u8(static_cast<uint8_t>(kind << 4 | count));
      return;
    }
    w.u8(static_cast<uint8_t>(kind << 4 | 0xF));
    w.u8(0x13);
    w.u64(count);
  }
  uint64_t add(std::vector<uint8_t> object) {
    objects_.push_back(std::move(object));
    return objects_.size() - 1;
  }

  std::vector<std::vector<uint8_t>> objects_;
};

// The graph the layout checks look at: every kind once, a string used three times and one of our
// objects under two keys.
inline Value sampleGraph() {
  auto child = std::make_shared<TestItem>();
  child->name = "child";
  child->count = -3;
  auto item = std::make_shared<TestItem>();
  item->name = "token";
  item->count = 7;
  item->enabled = true;
  item->ratio = 1.25;
  item->payload = Value::array({Value::string("premoov"), Value::integer(1)});
  item->child = child;
  Value::Dictionary root{
      {"name", Value::string("premoov")},
      {"count", Value::integer(42)},
      {"negative", Value::integer(-7)},
      {"ratio", Value::real(0.1, CFNumberType::kCFNumberFloat64Type)},
      {"enabled", Value::boolean(true)},
      {"blob", Value::data({0x00, 0x01, 0x02, 0xFF})},
      {"when", Value::date(725846400.5)},
      {"list",
       Value::array({Value::string("premoov"), Value::integer(1),
                     Value::real(2.5, CFNumberType::kCFNumberFloat64Type), Value::boolean(false)})},
      {"nested", Value::dictionary({{"inner", Value::dictionary({{"deep", Value::string("x")}})}})},
      {"empty", Value::array()},
      {"item", Value::object(item)},
      {"shared", Value::object(item)},
  };
  return Value::dictionary(std::move(root));
}

}  // namespace premoov::keyed_test
