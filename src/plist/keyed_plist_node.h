#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace premoov {

// Owns a libplist tree and frees it with plist_free.
struct PlistFree {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistNode = std::unique_ptr<void, PlistFree>;

// Typed looks at one libplist node: nothing when the node is missing or of another kind.
std::optional<std::string> plistString(plist_t node);
std::optional<uint64_t> plistUnsigned(plist_t node);
// A reference into "$objects": a UID node, or the {"CF$UID": integer} dictionary that stands for
// one in XML property lists (libplist 2.2 reads that spelling back as a dictionary).
std::optional<uint64_t> plistReference(plist_t node);
// The elements of an array node in order, in one pass (libplist looks items up by index in time
// proportional to the index); nothing for a node that is no array.
std::optional<std::vector<plist_t>> plistArrayItems(plist_t node);
// The value under `key` of a dictionary node, nullptr when absent or no dictionary.
plist_t plistDictItem(plist_t node, const std::string& key);

}  // namespace premoov
