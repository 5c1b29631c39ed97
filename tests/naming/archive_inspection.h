#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace premoov::testing_archive {

// Reads a keyed archive with libplist directly, so tests can check what was written under each
// key of the root object without going through our own unarchiver.
class ArchiveInspection {
 public:
  explicit ArchiveInspection(const std::vector<uint8_t>& data) {
    plist_t root = nullptr;
    plist_from_memory(reinterpret_cast<const char*>(data.data()),
                      static_cast<uint32_t>(data.size()), &root);
    root_.reset(root);
  }

  bool valid() const { return rootObject() != nullptr; }

  // The keys of the root object's dictionary, "$class" included.
  std::set<std::string> rootKeys() const {
    std::set<std::string> keys;
    plist_t object = rootObject();
    if (object == nullptr || plist_get_node_type(object) != PLIST_DICT) return keys;
    plist_dict_iter it = nullptr;
    plist_dict_new_iter(object, &it);
    for (;;) {
      char* key = nullptr;
      plist_t value = nullptr;
      plist_dict_next_item(object, it, &key, &value);
      if (key == nullptr) break;
      keys.insert(key);
      free(key);
    }
    free(it);
    return keys;
  }

  // The "$objects" index a key of the root object refers to (0 is "$null").
  std::optional<uint64_t> uidForKey(const std::string& key) const {
    plist_t object = rootObject();
    if (object == nullptr) return std::nullopt;
    plist_t ref = plist_dict_get_item(object, key.c_str());
    if (ref == nullptr || plist_get_node_type(ref) != PLIST_UID) return std::nullopt;
    uint64_t uid = 0;
    plist_get_uid_val(ref, &uid);
    return uid;
  }

  // The string stored for a key of the root object (through its reference).
  std::optional<std::string> stringForKey(const std::string& key) const {
    const std::optional<uint64_t> uid = uidForKey(key);
    if (!uid) return std::nullopt;
    plist_t node = objectAt(*uid);
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) return std::nullopt;
    char* s = nullptr;
    plist_get_string_val(node, &s);
    std::string result = s ? s : "";
    free(s);
    return result;
  }

  // The archive again as a binary property list, with an integer stored inline under `key` of
  // the root object replaced by `value` (for archives our own archiver would not write).
  std::vector<uint8_t> withRootInteger(const std::string& key, uint64_t value) {
    return withRootValue(key, plist_new_uint(value));
  }

  // The archive again as a binary property list, with the value stored inline under `key` of
  // the root object replaced by `node` (taken over): a real or a boolean where an integer was.
  std::vector<uint8_t> withRootValue(const std::string& key, plist_t node) {
    std::vector<uint8_t> result;
    plist_t object = rootObject();
    if (object == nullptr) {
      plist_free(node);
      return result;
    }
    plist_dict_set_item(object, key.c_str(), node);
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root_.get(), &bytes, &length);
    if (bytes != nullptr) result.assign(bytes, bytes + length);
    free(bytes);
    return result;
  }

  // An integer stored inline under a key of the root object.
  std::optional<int64_t> integerForKey(const std::string& key) const {
    plist_t object = rootObject();
    if (object == nullptr) return std::nullopt;
    plist_t node = plist_dict_get_item(object, key.c_str());
    if (node == nullptr || plist_get_node_type(node) != PLIST_UINT) return std::nullopt;
    uint64_t v = 0;
    plist_get_uint_val(node, &v);
    return static_cast<int64_t>(v);
  }

 private:
  struct Free {
    void operator()(plist_t p) const { plist_free(p); }
  };

  plist_t objectAt(uint64_t uid) const {
    plist_t objects = root_ ? plist_dict_get_item(root_.get(), "$objects") : nullptr;
    if (objects == nullptr || plist_get_node_type(objects) != PLIST_ARRAY) return nullptr;
    if (uid >= plist_array_get_size(objects)) return nullptr;
    return plist_array_get_item(objects, static_cast<uint32_t>(uid));
  }

  plist_t rootObject() const {
    if (!root_ || plist_get_node_type(root_.get()) != PLIST_DICT) return nullptr;
    plist_t top = plist_dict_get_item(root_.get(), "$top");
    plist_t ref = top ? plist_dict_get_item(top, "root") : nullptr;
    if (ref == nullptr || plist_get_node_type(ref) != PLIST_UID) return nullptr;
    uint64_t uid = 0;
    plist_get_uid_val(ref, &uid);
    return objectAt(uid);
  }

  std::unique_ptr<void, Free> root_;
};

}  // namespace premoov::testing_archive
