#include "plist/keyed_plist_node.h"

#include <cstdlib>

namespace premoov {

std::optional<std::string> plistString(plist_t node) {
  if (!node || plist_get_node_type(node) != PLIST_STRING) return std::nullopt;
  uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  if (!text) return std::string();
  return std::string(text, static_cast<size_t>(length));
}

std::optional<uint64_t> plistUnsigned(plist_t node) {
  if (!node || plist_get_node_type(node) != PLIST_UINT) return std::nullopt;
  uint64_t value = 0;
  plist_get_uint_val(node, &value);
  return value;
}

std::optional<uint64_t> plistReference(plist_t node) {
  if (!node) return std::nullopt;
  if (plist_get_node_type(node) == PLIST_UID) {
    uint64_t value = 0;
    plist_get_uid_val(node, &value);
    return value;
  }
  if (plist_get_node_type(node) == PLIST_DICT && plist_dict_get_size(node) == 1) {
    return plistUnsigned(plist_dict_get_item(node, "CF$UID"));
  }
  return std::nullopt;
}

std::optional<std::vector<plist_t>> plistArrayItems(plist_t node) {
  if (!node || plist_get_node_type(node) != PLIST_ARRAY) return std::nullopt;
  std::vector<plist_t> items;
  items.reserve(plist_array_get_size(node));
  plist_array_iter iter = nullptr;
  plist_array_new_iter(node, &iter);
  if (!iter) return items;
  for (;;) {
    plist_t item = nullptr;
    plist_array_next_item(node, iter, &item);
    if (!item) break;
    items.push_back(item);
  }
  std::free(iter);
  return items;
}

plist_t plistDictItem(plist_t node, const std::string& key) {
  if (!node || plist_get_node_type(node) != PLIST_DICT) return nullptr;
  return plist_dict_get_item(node, key.c_str());
}

}  // namespace premoov
