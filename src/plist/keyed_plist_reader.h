#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/result.h"
#include "plist/keyed_plist_node.h"

namespace premoov {

// libplist 2.2 copies an object once per reference to it while it reads a binary property list
// and recurses once per nesting level, and it frees every tree recursively: a few hundred bytes
// can ask it for gigabytes, or overflow the stack. The input's shape is therefore measured
// first, with ByteReader, and refused beyond these bounds. A keyed archive nests four levels.
inline constexpr size_t kMaxPlistDepth = 32;
// libplist's memory for the tree, estimated as kPlistNodeCost per node plus the bytes of every
// string and data, counted once per reference.
inline constexpr size_t kMaxPlistReadBytes = size_t{64} << 20;
inline constexpr size_t kPlistNodeCost = 64;

struct PlistShape {
  size_t depth = 0;           // containers nested, the top one included
  size_t estimatedBytes = 0;  // as kMaxPlistReadBytes counts them
};

// The shape of a binary property list ("bplist00"), walked from its top object as libplist
// would read it: trailer, offset table, every count and reference checked against the file.
Result<PlistShape> measureBinaryPlist(std::span<const uint8_t> data);

// The shape of an XML property list. Only the plain XML property-list writers produce is
// accepted: no comments, CDATA, internal DTD or NUL bytes, and no '<' or '>' inside a tag's
// quoted values, so that every tag is delimited the same way here and in libplist.
Result<PlistShape> measureXmlPlist(std::span<const uint8_t> data);

// Reads a binary or XML property list with libplist once its shape is within the bounds above.
Result<PlistNode> readPropertyList(std::span<const uint8_t> data);

// What libplist does not keep of a keyed archive's numbers: the width in bytes of each real among
// the elements of the top dictionary's "$objects" array, 4 (a float) or 8 (a double), and 0 for
// elements that are no real. libplist reads every real into a double. Empty for an XML property
// list, whose reals carry no width, and for data that is no binary keyed archive.
std::vector<uint8_t> archivedRealWidths(std::span<const uint8_t> data);

}  // namespace premoov
