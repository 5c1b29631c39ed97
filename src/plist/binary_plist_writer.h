#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <unordered_set>
#include <vector>

namespace premoov {

// Writes a libplist tree as a binary property list ("bplist00") laid out as CoreFoundation's
// CFBinaryPList.c writes one: integers in the fewest of 1, 2, 4 or 8 bytes (negative ones in 8),
// ASCII text as bytes and other text as UTF-16, equal strings, numbers, dates and data stored
// once, references and offsets in the fewest bytes that hold them.
//
// Reals are written in the width their number has, which a libplist node does not carry:
// every real is an 8-byte double unless it is among `singlePrecisionReals`, which are written as
// 4-byte floats. (libplist's own writer shortens every real that a float holds exactly, so a
// double 0.5 would read back as a float.)
std::vector<uint8_t> binaryPropertyList(plist_t root,
                                        const std::unordered_set<plist_t>& singlePrecisionReals);

}  // namespace premoov
