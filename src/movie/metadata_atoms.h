#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/byte_writer.h"
#include "movie/movie.h"

namespace premoov {

// Why `item` cannot be written (a user data key that is not four bytes, an unknown storage
// format), or nothing when it can.
std::optional<std::string> metadataItemProblem(const MetaDataItem& item);

// Appends the movie's 'udta' atom holding its 'udta' items, when it has any. An item is an atom
// of its key's type; QuickTime's text types (their key starts with the copyright sign) hold a
// length, a language and the UTF-8 text, other types the value as it is.
void writeUserDataAtom(ByteWriter& writer, const std::vector<MetaDataItem>& metadata);

// Appends the movie's 'meta' atom holding its 'mdta' items, when it has any: a plain atom with
// a handler, the distinct keys, then an item list in which each item's type is the 1-based index
// of its key and holds a typed 'data' atom.
void writeMetadataAtom(ByteWriter& writer, const std::vector<MetaDataItem>& metadata);

}  // namespace premoov
