#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/four_char_code.h"
#include "movie/atom_tree.h"

namespace premoov {

// One item of a movie's metadata, for `premoov inspect`.
struct MetadataSummary {
  std::string storage;    // "mdta" (moov/meta) or "udta" (moov/udta)
  std::string key;        // the key text, or the user data type
  uint32_t dataType = 0;  // well-known type of an 'mdta' item: 1 UTF-8, 21 integer, 24 float64
  std::vector<uint8_t> value;
};

// The 'mdta' keyed items of moov/meta, then the items of moov/udta, in file order. Unreadable
// pieces are passed over.
std::vector<MetadataSummary> summarizeMetadata(std::span<const AtomNode> atoms,
                                               std::span<const uint8_t> bytes);

// A readable form of an item's value: the text of UTF-8 items, and for numbers what the bytes
// say read big-endian, as their data types declare.
std::string describeMetadataValue(const MetadataSummary& item);

// The same for a number of more than one byte read the other way round: the writer stores numbers
// in its host's byte order whatever their type declares. Nothing for other items.
std::optional<std::string> describeMetadataValueByteSwapped(const MetadataSummary& item);

}  // namespace premoov
