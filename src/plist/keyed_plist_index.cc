#include "plist/keyed_plist_index.h"

#include <algorithm>
#include <cstdlib>

namespace premoov {
namespace {

// Up to this many keys a scan is cheaper than sorting.
constexpr size_t kScannedKeys = 8;

}  // namespace

void PlistDictionaryIndex::FreeKey::operator()(char* key) const { std::free(key); }

PlistDictionaryIndex::PlistDictionaryIndex(plist_t dictionary) {
  if (!dictionary || plist_get_node_type(dictionary) != PLIST_DICT) return;
  const size_t count = plist_dict_get_size(dictionary);
  keys_.reserve(count);
  entries_.reserve(count);
  plist_dict_iter iter = nullptr;
  plist_dict_new_iter(dictionary, &iter);
  if (!iter) return;
  for (;;) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(dictionary, iter, &key, &value);
    if (!value) {
      std::free(key);
      break;
    }
    // libplist hands out a copy of every key; the index keeps it.
    keys_.emplace_back(key);
    entries_.push_back({key ? std::string_view(key) : std::string_view(), value});
  }
  std::free(iter);
  if (entries_.size() > kScannedKeys) {
    // Stable, so that the first of equal keys stays first.
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const Entry& a, const Entry& b) { return a.key < b.key; });
    sorted_ = true;
  }
}

plist_t PlistDictionaryIndex::find(std::string_view key) const {
  if (!sorted_) {
    for (const Entry& entry : entries_) {
      if (entry.key == key) return entry.value;
    }
    return nullptr;
  }
  auto it = std::lower_bound(entries_.begin(), entries_.end(), key,
                             [](const Entry& entry, std::string_view k) { return entry.key < k; });
  return it != entries_.end() && it->key == key ? it->value : nullptr;
}

}  // namespace premoov
