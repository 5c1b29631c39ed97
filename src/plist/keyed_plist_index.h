#pragma once

#include <plist/plist.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace premoov {

// The keys of one libplist dictionary, read in a single pass. libplist 2.2 finds a key by
// comparing it with every key of the dictionary in turn, so a decoder that asks a dictionary of
// n keys for k keys does k * n comparisons; an archive that repeats such a dictionary, or asks
// it again at every reference, turns that into quadratic work. The index answers each key in
// O(log n) after one walk over the dictionary.
class PlistDictionaryIndex {
 public:
  // An index of no keys: what a node that is no dictionary (or nullptr) gives.
  PlistDictionaryIndex() = default;
  explicit PlistDictionaryIndex(plist_t dictionary);

  // The value under `key`, nullptr when absent. Where a key appears more than once, the first in
  // the dictionary's order answers, as plist_dict_get_item does.
  plist_t find(std::string_view key) const;
  size_t size() const { return entries_.size(); }

 private:
  struct FreeKey {
    void operator()(char* key) const;
  };
  struct Entry {
    std::string_view key;  // into keys_
    plist_t value;
  };

  std::vector<std::unique_ptr<char, FreeKey>> keys_;
  std::vector<Entry> entries_;  // sorted by key when there are many, else in dictionary order
  bool sorted_ = false;
};

}  // namespace premoov
