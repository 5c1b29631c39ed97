#include "movie/atom_tree.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "base/byte_reader.h"
#include "base/log.h"

namespace premoov {
namespace {

// Deeper than moov/trak/mdia/minf/stbl/stsd/entry/wave/... ever goes; bounds the recursion.
constexpr int kMaxDepth = 16;

constexpr std::array kErrorTexts = {
    std::pair{AtomTreeErrorCode::kTruncatedHeader, "atom header cut short"},
    std::pair{AtomTreeErrorCode::kSizeSmallerThanHeader, "atom size smaller than its header"},
    std::pair{AtomTreeErrorCode::kSizeBeyondContainer, "atom runs past its container"},
    std::pair{AtomTreeErrorCode::kPastBytesRead, "atom lies past the bytes read"},
    std::pair{AtomTreeErrorCode::kNestedTooDeeply, "atoms nested too deeply"},
};

// Atoms that hold nothing but atoms, wherever they appear.
constexpr std::array kPlainContainers = {
    FourCC("moov"), FourCC("trak"), FourCC("mdia"), FourCC("minf"), FourCC("stbl"), FourCC("dinf"),
    FourCC("edts"), FourCC("udta"), FourCC("tref"), FourCC("gmhd"), FourCC("tapt"), FourCC("ilst"),
    FourCC("clip"), FourCC("matt"), FourCC("wave"), FourCC("mvex"), FourCC("moof"), FourCC("traf"),
};

enum class Contents {
  kData,         // a leaf
  kAtoms,        // atoms right after the header
  kMeta,         // 'meta': atoms, after version and flags when it is written as a full atom
  kEntries,      // 'dref', 'stsd': version, flags and a count, then atoms
  kSampleEntry,  // a sample description: its fixed fields, then extension atoms
};

Contents contentsOf(FourCC type, FourCC parent) {
  if (parent == FourCC("stsd")) return Contents::kSampleEntry;
  if (parent == FourCC("ilst")) return Contents::kAtoms;  // an item holds its 'data' atoms
  if (type == FourCC("tmcd") && parent == FourCC("gmhd")) return Contents::kAtoms;
  if (std::find(kPlainContainers.begin(), kPlainContainers.end(), type) != kPlainContainers.end()) {
    return Contents::kAtoms;
  }
  if (type == FourCC("meta")) return Contents::kMeta;
  if (type == FourCC("dref") || type == FourCC("stsd")) return Contents::kEntries;
  return Contents::kData;
}

AtomTreeError headerError(AtomTreeErrorCode code, uint64_t offset) {
  return AtomTreeError{code, offset, std::nullopt, 0};
}

class Parser {
 public:
  Parser(std::span<const uint8_t> bytes, uint64_t rangeSize)
      : bytes_(bytes), rangeSize_(std::max<uint64_t>(rangeSize, bytes.size())) {}

  uint64_t rangeSize() const { return rangeSize_; }

  // Appends the atoms lying in [begin, end) to `out`, keeping those read before any error.
  std::optional<AtomTreeError> parseRange(uint64_t begin, uint64_t end, FourCC parent,
                                          FourCC mediaType, int depth,
                                          std::vector<AtomNode>& out) const {
    for (uint64_t at = begin; at < end;) {
      const uint64_t left = end - at;
      // QuickTime may close a container's list with a 32-bit zero.
      if (left == 4 && depth > 0 && u32At(at) == 0u) return std::nullopt;
      if (left < 8) return headerError(AtomTreeErrorCode::kTruncatedHeader, at);
      const auto size32 = u32At(at);
      const auto type = u32At(at + 4);
      if (!size32 || !type) return headerError(AtomTreeErrorCode::kPastBytesRead, at);
      AtomNode atom;
      atom.type = FourCC(*type);
      atom.offset = at;
      atom.size = *size32;
      if (*size32 == 1) {
        if (left < 16) return AtomTreeError{AtomTreeErrorCode::kTruncatedHeader, at, atom.type, 1};
        const auto size64 = u64At(at + 8);
        if (!size64) return AtomTreeError{AtomTreeErrorCode::kPastBytesRead, at, atom.type, 1};
        atom.size = *size64;
        atom.headerSize = 16;
      } else if (*size32 == 0) {
        atom.size = left;
      }
      if (atom.size < atom.headerSize) {
        return AtomTreeError{AtomTreeErrorCode::kSizeSmallerThanHeader, at, atom.type, atom.size};
      }
      if (atom.size > left) {
        return AtomTreeError{AtomTreeErrorCode::kSizeBeyondContainer, at, atom.type, atom.size};
      }
      const Contents contents = contentsOf(atom.type, parent);
      if (contents != Contents::kData) {
        if (atom.end() > bytes_.size()) {
          return AtomTreeError{AtomTreeErrorCode::kPastBytesRead, at, atom.type, atom.size};
        }
        if (depth + 1 >= kMaxDepth) {
          return AtomTreeError{AtomTreeErrorCode::kNestedTooDeeply, at, atom.type, atom.size};
        }
        if (auto skip = childrenStart(atom, contents, mediaType);
            skip && *skip <= atom.payloadSize()) {
          auto error = parseRange(atom.payloadOffset() + *skip, atom.end(), atom.type, mediaType,
                                  depth + 1, atom.children);
          if (error) {
            out.push_back(std::move(atom));
            return error;
          }
        }
      }
      // The media handler names the media type, which tells how its sample descriptions read.
      if (atom.type == FourCC("hdlr") && parent == FourCC("mdia")) {
        if (auto subtype = u32At(atom.payloadOffset() + 8)) mediaType = FourCC(*subtype);
      }
      at = atom.end();
      out.push_back(std::move(atom));
    }
    return std::nullopt;
  }

 private:
  // Bytes from the payload start to the first child, or nothing when the atom holds none.
  std::optional<uint64_t> childrenStart(const AtomNode& atom, Contents contents,
                                        FourCC mediaType) const {
    switch (contents) {
      case Contents::kData: return std::nullopt;
      case Contents::kAtoms: return 0;
      case Contents::kMeta:
        // A full atom starts with version and flags (zero); a plain one with a child's size.
        return u32At(atom.payloadOffset()) == 0u ? 4 : 0;
      case Contents::kEntries: return 8;
      case Contents::kSampleEntry: return sampleEntryFieldsSize(atom, mediaType);
    }
    return std::nullopt;
  }

  // The fixed fields of a sample description after its 8-byte header: 8 common bytes, then the
  // media's own (image, sound by version, timecode).
  std::optional<uint64_t> sampleEntryFieldsSize(const AtomNode& atom, FourCC mediaType) const {
    if (mediaType == FourCC("vide")) return 78;
    if (mediaType == FourCC("tmcd") && atom.type == FourCC("tmcd")) return 26;
    if (mediaType == FourCC("clcp")) return 8;
    if (mediaType == FourCC("soun")) {
      switch (u16At(atom.payloadOffset() + 8).value_or(0xFFFF)) {
        case 0: return 28;
        case 1: return 44;
        case 2: return 64;
        default: return std::nullopt;
      }
    }
    return std::nullopt;
  }

  std::optional<ByteReader> readerAt(uint64_t offset) const {
    if (offset > bytes_.size()) return std::nullopt;
    return ByteReader(bytes_.subspan(static_cast<size_t>(offset)));
  }
  std::optional<uint16_t> u16At(uint64_t offset) const {
    auto r = readerAt(offset);
    return r ? r->u16() : std::nullopt;
  }
  std::optional<uint32_t> u32At(uint64_t offset) const {
    auto r = readerAt(offset);
    return r ? r->u32() : std::nullopt;
  }
  std::optional<uint64_t> u64At(uint64_t offset) const {
    auto r = readerAt(offset);
    return r ? r->u64() : std::nullopt;
  }

  std::span<const uint8_t> bytes_;
  uint64_t rangeSize_;
};

// "trak[1]" -> ('trak', 1); "trak" -> ('trak', nothing).
std::optional<std::pair<FourCC, std::optional<size_t>>> parseSegment(std::string_view segment) {
  std::optional<size_t> index;
  if (const size_t open = segment.find('['); open != std::string_view::npos) {
    if (segment.back() != ']') return std::nullopt;
    const std::string_view digits = segment.substr(open + 1, segment.size() - open - 2);
    size_t value = 0;
    const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (ec != std::errc() || end != digits.data() + digits.size() || digits.empty()) {
      return std::nullopt;
    }
    index = value;
    segment = segment.substr(0, open);
  }
  auto type = FourCC::fromString(segment);
  if (!type) return std::nullopt;
  return std::pair{*type, index};
}

void collect(std::span<const AtomNode> atoms, std::string_view path, bool all,
             std::vector<const AtomNode*>& found) {
  const size_t slash = path.find('/');
  const std::string_view head = path.substr(0, slash);
  const auto segment = parseSegment(head);
  if (!segment) return;
  const bool last = slash == std::string_view::npos;
  size_t seen = 0;
  for (const AtomNode& atom : atoms) {
    if (atom.type != segment->first) continue;
    const bool wanted = !segment->second || *segment->second == seen;
    ++seen;
    if (!wanted) continue;
    if (last) {
      found.push_back(&atom);
      if (!all) return;
    } else {
      collect(atom.children, path.substr(slash + 1), all, found);
      if (!all && !found.empty()) return;
    }
  }
}

std::string quoted(std::span<const uint8_t> text) {
  std::string out = "\"";
  for (uint8_t c : text) out += (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '?';
  return out + "\"";
}

// Fields of the atoms a reader of headers looks at first; nothing for the others or when the
// payload is cut short.
std::optional<std::string> summarize(const AtomNode& atom, FourCC parent,
                                     std::span<const uint8_t> payload) {
  ByteReader r(payload);
  const FourCC type = atom.type;
  if (parent == FourCC("stsd")) {
    if (!r.skip(6)) return std::nullopt;
    const auto index = r.u16();
    if (!index) return std::nullopt;
    return stringWithFormat("data reference index %u", *index);
  }
  if (type == FourCC("name") && parent == FourCC("tmcd")) {
    const auto length = r.u16();
    if (!length || !r.skip(2)) return std::nullopt;
    const auto text = r.bytes(*length);
    if (!text) return std::nullopt;
    return quoted(*text);
  }
  const auto version = r.u8();
  const auto flags = r.u24();
  if (!version || !flags) return std::nullopt;
  const bool wide = *version == 1;
  const auto readTime = [&]() -> std::optional<uint64_t> {
    if (wide) return r.u64();
    const auto v = r.u32();
    return v ? std::optional<uint64_t>(*v) : std::nullopt;
  };
  if (type == FourCC("mvhd")) {
    if (!readTime() || !readTime()) return std::nullopt;  // creation, modification
    const auto scale = r.u32();
    const auto duration = readTime();
    if (!scale || !duration || payload.size() < 4) return std::nullopt;
    const auto next = ByteReader(payload.subspan(payload.size() - 4)).u32();
    return stringWithFormat("version %u, time scale %u, duration %llu, next track ID %u", *version,
                            *scale, static_cast<unsigned long long>(*duration), *next);
  }
  if (type == FourCC("tkhd")) {
    if (!readTime() || !readTime()) return std::nullopt;
    const auto trackID = r.u32();
    if (!trackID || !r.skip(4)) return std::nullopt;
    const auto duration = readTime();
    if (!duration || !r.skip(10)) return std::nullopt;  // reserved, layer
    const auto group = r.u16();
    if (!group || !r.skip(4 + 36)) return std::nullopt;  // volume, reserved, matrix
    const auto width = r.u32();
    const auto height = r.u32();
    if (!width || !height) return std::nullopt;
    return stringWithFormat(
        "version %u, flags 0x%x, track ID %u, duration %llu, alternate group %u, %ux%u", *version,
        *flags, *trackID, static_cast<unsigned long long>(*duration), *group, *width >> 16,
        *height >> 16);
  }
  if (type == FourCC("mdhd")) {
    if (!readTime() || !readTime()) return std::nullopt;
    const auto scale = r.u32();
    const auto duration = readTime();
    const auto language = r.u16();
    if (!scale || !duration || !language) return std::nullopt;
    return stringWithFormat("version %u, time scale %u, duration %llu, language %u", *version,
                            *scale, static_cast<unsigned long long>(*duration), *language);
  }
  if (type == FourCC("hdlr")) {
    const auto component = r.fourCC();
    const auto subtype = r.fourCC();
    if (!component || !subtype) return std::nullopt;
    return "type " + component->toString() + ", subtype " + subtype->toString();
  }
  if (type == FourCC("stsz")) {
    const auto size = r.u32();
    const auto count = r.u32();
    if (!size || !count) return std::nullopt;
    return stringWithFormat("sample size %u, samples %u", *size, *count);
  }
  if (type == FourCC("sdtp")) return stringWithFormat("samples %zu", r.remaining());
  static constexpr std::array kCounted = {FourCC("elst"), FourCC("dref"), FourCC("stsd"),
                                          FourCC("stts"), FourCC("ctts"), FourCC("stss"),
                                          FourCC("stps"), FourCC("stsc"), FourCC("stco"),
                                          FourCC("co64"), FourCC("keys")};
  if (std::find(kCounted.begin(), kCounted.end(), type) != kCounted.end()) {
    const auto count = r.u32();
    if (!count) return std::nullopt;
    return stringWithFormat("entries %u", *count);
  }
  return std::nullopt;
}

void dumpAtoms(std::span<const AtomNode> atoms, FourCC parent, int depth,
               std::span<const uint8_t> bytes, std::string& out) {
  for (const AtomNode& atom : atoms) {
    out.append(static_cast<size_t>(depth) * 2, ' ');
    out += atom.type.toString();
    out += stringWithFormat(" @%llu size %llu", static_cast<unsigned long long>(atom.offset),
                            static_cast<unsigned long long>(atom.size));
    if (atom.headerSize == 16) out += " (64-bit size)";
    if (auto payload = atomPayload(bytes, atom)) {
      if (auto summary = summarize(atom, parent, *payload)) out += ": " + *summary;
    }
    out += '\n';
    dumpAtoms(atom.children, atom.type, depth + 1, bytes, out);
  }
}

}  // namespace

std::string AtomTreeError::message() const {
  const char* text = "atom error";
  for (const auto& [errorCode, errorText] : kErrorTexts) {
    if (errorCode == code) text = errorText;
  }
  std::string out =
      stringWithFormat("%s at offset %llu", text, static_cast<unsigned long long>(offset));
  if (type) {
    out += stringWithFormat(" ('%s', size %llu)", type->toString().c_str(),
                            static_cast<unsigned long long>(size));
  }
  return out;
}

AtomTree parseAtomTree(std::span<const uint8_t> bytes, uint64_t rangeSize) {
  const Parser parser(bytes, rangeSize);
  AtomTree tree;
  tree.error = parser.parseRange(0, parser.rangeSize(), FourCC(), FourCC(), 0, tree.atoms);
  return tree;
}

std::optional<std::span<const uint8_t>> atomPayload(std::span<const uint8_t> bytes,
                                                    const AtomNode& atom) {
  if (atom.size < atom.headerSize || atom.end() < atom.offset || atom.end() > bytes.size()) {
    return std::nullopt;
  }
  return bytes.subspan(static_cast<size_t>(atom.payloadOffset()),
                       static_cast<size_t>(atom.payloadSize()));
}

const AtomNode* findAtom(std::span<const AtomNode> atoms, std::string_view path) {
  std::vector<const AtomNode*> found;
  collect(atoms, path, false, found);
  return found.empty() ? nullptr : found.front();
}

std::vector<const AtomNode*> findAtoms(std::span<const AtomNode> atoms, std::string_view path) {
  std::vector<const AtomNode*> found;
  collect(atoms, path, true, found);
  return found;
}

std::string dumpAtomTree(const AtomTree& tree, std::span<const uint8_t> bytes) {
  std::string out;
  dumpAtoms(tree.atoms, FourCC(), 0, bytes, out);
  if (tree.error) out += "error: " + tree.error->message() + "\n";
  return out;
}

}  // namespace premoov
