#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/four_char_code.h"

namespace premoov {

// One atom of a parsed byte range. Offsets count from the first byte of the range.
struct AtomNode {
  FourCC type;
  uint64_t offset = 0;
  uint64_t size = 0;        // header included
  uint32_t headerSize = 8;  // 16 when a 64-bit size follows the type
  std::vector<AtomNode> children;

  uint64_t payloadOffset() const { return offset + headerSize; }
  uint64_t payloadSize() const { return size - headerSize; }
  uint64_t end() const { return offset + size; }
};

enum class AtomTreeErrorCode {
  kTruncatedHeader,        // fewer than 8 bytes left where an atom header should be
  kSizeSmallerThanHeader,  // a size field smaller than the header that holds it
  kSizeBeyondContainer,    // an atom that runs past its container or the range
  kPastBytesRead,          // a header, or a container's children, past the bytes at hand
  kNestedTooDeeply,        // containers nested deeper than any movie needs
};

struct AtomTreeError {
  AtomTreeErrorCode code;
  uint64_t offset = 0;         // of the atom, or of the header that could not be read
  std::optional<FourCC> type;  // of the atom, when its header could be read
  uint64_t size = 0;           // as the atom's header gives it, when its header could be read

  std::string message() const;
};

// The atoms of a range, as far as they could be read, and why reading stopped early.
struct AtomTree {
  std::vector<AtomNode> atoms;
  std::optional<AtomTreeError> error;

  bool ok() const { return !error.has_value(); }
};

// Parses `bytes` into atoms, descending into containers (moov, trak, mdia, minf, stbl, dinf, edts,
// udta, tref, gmhd and its tmcd, tapt, meta, ilst and its items, dref, stsd and the extension atoms
// of video, sound and timecode sample descriptions). `bytes` may be the first part of a range of
// `rangeSize` bytes (a file read up to its media): top-level atoms may end past the bytes at hand
// as long as none of their children must be read there. A size of 0 runs to the end of the
// container. Never reads out of bounds: a bad size stops parsing with an error naming its offset.
[[nodiscard]] AtomTree parseAtomTree(std::span<const uint8_t> bytes, uint64_t rangeSize = 0);

// The payload of `atom` (after its header) within `bytes`, or nothing when it is not all there.
std::optional<std::span<const uint8_t>> atomPayload(std::span<const uint8_t> bytes,
                                                    const AtomNode& atom);

// The atom at `path` below `atoms`: types separated by '/', each optionally followed by a 0-based
// index among the siblings of that type ("moov/trak[1]/mdia/mdhd" is the second track's media
// header). Nothing when absent or when the path is malformed.
const AtomNode* findAtom(std::span<const AtomNode> atoms, std::string_view path);
// Every atom matching `path`, where a type without index matches all its siblings of that type:
// findAtoms(tree, "moov/trak/tkhd") is the header of every track.
std::vector<const AtomNode*> findAtoms(std::span<const AtomNode> atoms, std::string_view path);

// An indented listing, one atom a line with its offset and size, and for the header atoms
// (mvhd, tkhd, mdhd, hdlr, elst, dref, stsd and its entries, stts, ctts, stss, stps, stsc, stsz,
// stco, co64) a short summary of their fields. Ends with the error when parsing stopped early.
//   moov @0 size 1234
//     mvhd @8 size 108: version 0, time scale 600, duration 1200, next track ID 3
std::string dumpAtomTree(const AtomTree& tree, std::span<const uint8_t> bytes);

}  // namespace premoov
