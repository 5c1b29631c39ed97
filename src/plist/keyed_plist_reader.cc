#include "plist/keyed_plist_reader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/byte_reader.h"
#include "plist/binary_plist_format.h"
#include "plist/keyed_archive_messages.h"
#include "plist/keyed_builtin_classes.h"

namespace premoov {
namespace {

namespace msg = keyed_messages;

constexpr std::string_view kBinaryFamily = "bplist";

std::optional<uint64_t> readUnsigned(ByteReader& reader, size_t width) {
  auto bytes = reader.bytes(width);
  if (!bytes) return std::nullopt;
  uint64_t value = 0;
  for (uint8_t b : *bytes) value = (value << 8) | b;
  return value;
}

// Measures what libplist would build from a binary property list without building it: every
// object is looked at once, and its expanded size and height are kept for the other references
// to it, so the work is linear in the file however often objects are shared.
class BinaryWalker {
 public:
  explicit BinaryWalker(std::span<const uint8_t> data) : data_(data) {}

  // Answers the problem, if any.
  std::optional<std::string> run() {
    if (data_.size() < kBinaryPlistMagic.size() + 2 + kBinaryPlistTrailerSize ||
        !std::equal(kBinaryPlistMagic.begin(), kBinaryPlistMagic.end(), data_.begin())) {
      return msg::binaryHeader();
    }
    ByteReader trailer(data_.last(kBinaryPlistTrailerSize));
    trailer.skip(6);
    offsetWidth_ = *trailer.u8();
    referenceWidth_ = *trailer.u8();
    objectCount_ = *trailer.u64();
    const uint64_t top = *trailer.u64();
    offsetTable_ = *trailer.u64();
    if (offsetWidth_ < 1 || offsetWidth_ > 8 || referenceWidth_ < 1 || referenceWidth_ > 8) {
      return msg::binaryFieldWidths();
    }
    const uint64_t tableEnd = data_.size() - kBinaryPlistTrailerSize;
    if (offsetTable_ <= kBinaryPlistMagic.size() || offsetTable_ > tableEnd) {
      return msg::binaryOffsetTable();
    }
    if (objectCount_ == 0 || objectCount_ > (tableEnd - offsetTable_) / offsetWidth_) {
      return msg::binaryObjectCount();
    }
    if (top >= objectCount_) return msg::binaryTopObject();
    Measure root;
    if (auto problem = measure(top, 0, root)) return problem;
    shape_.depth = root.height;
    shape_.estimatedBytes = static_cast<size_t>(root.bytes);
    return std::nullopt;
  }

  const PlistShape& shape() const { return shape_; }

 private:
  struct Measure {
    uint64_t bytes = 0;  // as libplist would hold it, every reference expanded
    size_t height = 0;   // containers from this object down, itself included
    bool done = false;   // false while its contents are being measured
  };

  // Measures object `index`, reached below `enclosing` containers.
  std::optional<std::string> measure(uint64_t index, size_t enclosing, Measure& out) {
    if (auto it = measured_.find(index); it != measured_.end()) {
      // An object met again inside itself would nest without end.
      if (!it->second.done) return msg::plistTooDeep(kMaxPlistDepth);
      if (enclosing + it->second.height > kMaxPlistDepth) return msg::plistTooDeep(kMaxPlistDepth);
      out = it->second;
      return std::nullopt;
    }
    // Every distinct object costs at least a node: this bounds the table kept here.
    if (measured_.size() >= kMaxPlistReadBytes / kPlistNodeCost) {
      return msg::plistTooLarge(kMaxPlistReadBytes);
    }
    measured_.emplace(index, Measure{});
    Measure m;
    if (auto problem = measureContents(index, enclosing, m)) return problem;
    m.done = true;
    measured_[index] = m;
    out = m;
    return std::nullopt;
  }

  std::optional<std::string> measureContents(uint64_t index, size_t enclosing, Measure& m) {
    m.bytes = kPlistNodeCost;
    ByteReader table(data_.subspan(offsetTable_ + index * offsetWidth_, offsetWidth_));
    const uint64_t offset = *readUnsigned(table, offsetWidth_);
    if (offset < kBinaryPlistMagic.size() || offset >= offsetTable_) {
      return msg::binaryObjectOutside(index);
    }
    ByteReader object(data_.subspan(offset, offsetTable_ - offset));
    const uint8_t marker = *object.u8();
    const auto kind = static_cast<Marker>(marker >> 4);
    const unsigned info = marker & 0x0F;
    switch (kind) {
      case Marker::kSingleton:
        if (info != 0x0 && info != 0x8 && info != 0x9 && info != 0xF) break;
        return std::nullopt;
      case Marker::kInteger:
        if (info > 4) break;
        return std::nullopt;
      case Marker::kReal:
        if (info != 2 && info != 3) break;
        return std::nullopt;
      case Marker::kDate:
        if (info != 3) break;
        return std::nullopt;
      case Marker::kUid:
        if (info > 7) break;
        return std::nullopt;
      case Marker::kData:
      case Marker::kAsciiString:
      case Marker::kUtf16String: {
        auto count = countOf(object, info);
        const uint64_t unitBytes = kind == Marker::kUtf16String ? 2 : 1;
        if (!count || *count > object.remaining() / unitBytes) return msg::binaryCount(index);
        // UTF-16 text becomes up to three bytes of UTF-8 per unit.
        m.bytes += *count * (kind == Marker::kUtf16String ? 3 : 1);
        if (m.bytes > kMaxPlistReadBytes) return msg::plistTooLarge(kMaxPlistReadBytes);
        return std::nullopt;
      }
      case Marker::kArray:
      case Marker::kSet:
      case Marker::kDictionary: {
        if (enclosing + 1 > kMaxPlistDepth) return msg::plistTooDeep(kMaxPlistDepth);
        m.height = 1;
        auto count = countOf(object, info);
        const uint64_t perEntry = kind == Marker::kDictionary ? 2 : 1;
        if (!count || *count > object.remaining() / referenceWidth_ / perEntry) {
          return msg::binaryCount(index);
        }
        for (uint64_t i = 0; i < *count * perEntry; ++i) {
          const uint64_t reference = *readUnsigned(object, referenceWidth_);
          if (reference >= objectCount_) {
            return msg::binaryReference(index, reference, objectCount_);
          }
          // libplist stops the process (an assertion) when it hands out such a key.
          if (kind == Marker::kDictionary && i < *count && keyHoldsNul(reference)) {
            return msg::binaryKeyWithNul(reference);
          }
          Measure child;
          if (auto problem = measure(reference, enclosing + 1, child)) return problem;
          // Both sides are at most kMaxPlistReadBytes here, so the sum cannot wrap.
          m.bytes += child.bytes;
          if (m.bytes > kMaxPlistReadBytes) return msg::plistTooLarge(kMaxPlistReadBytes);
          m.height = std::max(m.height, child.height + 1);
        }
        return std::nullopt;
      }
    }
    return msg::binaryMarker(index, marker);
  }

  // Whether object `index`, a dictionary key, is UTF-16 text with a NUL character in it: libplist
  // converts it to UTF-8 with the NUL inside, and then asserts that the key's length is its C
  // string length. (ASCII text it cuts at the NUL.) Each key object is looked at once, however
  // many dictionaries use it.
  bool keyHoldsNul(uint64_t index) {
    auto [it, added] = keysWithNul_.try_emplace(index, false);
    if (!added) return it->second;
    ByteReader table(data_.subspan(offsetTable_ + index * offsetWidth_, offsetWidth_));
    const uint64_t offset = *readUnsigned(table, offsetWidth_);
    if (offset < kBinaryPlistMagic.size() || offset >= offsetTable_) return false;
    ByteReader object(data_.subspan(offset, offsetTable_ - offset));
    const uint8_t marker = *object.u8();
    const auto kind = static_cast<Marker>(marker >> 4);
    if (kind != Marker::kUtf16String) return false;
    auto count = countOf(object, marker & 0x0F);
    if (!count || *count > object.remaining() / 2) return false;
    auto bytes = object.bytes(static_cast<size_t>(*count) * 2);
    for (size_t i = 0; i < bytes->size(); i += 2) {
      if ((*bytes)[i] == 0 && (*bytes)[i + 1] == 0) return it->second = true;
    }
    return false;
  }

  // A count in the marker's low bits, or 15 there and an integer object of 1 to 8 bytes after.
  static std::optional<uint64_t> countOf(ByteReader& object, unsigned info) {
    if (info != 0x0F) return info;
    auto intMarker = object.u8();
    if (!intMarker || (*intMarker >> 4) != static_cast<uint8_t>(Marker::kInteger) ||
        (*intMarker & 0x0F) > 3) {
      return std::nullopt;
    }
    return readUnsigned(object, size_t{1} << (*intMarker & 0x0F));
  }

  std::span<const uint8_t> data_;
  size_t offsetWidth_ = 0;
  size_t referenceWidth_ = 0;
  uint64_t objectCount_ = 0;
  uint64_t offsetTable_ = 0;
  std::unordered_map<uint64_t, Measure> measured_;
  std::unordered_map<uint64_t, bool> keysWithNul_;
  PlistShape shape_;
};

// Reads single objects of a binary property list by index, each read checked against the file.
class BinaryObjects {
 public:
  struct Object {
    Marker kind;
    unsigned info;   // the marker's low four bits
    uint64_t count;  // elements, entries, bytes or units, where the kind has a count
    ByteReader contents;
  };

  explicit BinaryObjects(std::span<const uint8_t> data) : data_(data) {
    if (data.size() < kBinaryPlistMagic.size() + kBinaryPlistTrailerSize) return;
    if (!std::equal(kBinaryPlistMagic.begin(), kBinaryPlistMagic.end(), data.begin())) return;
    ByteReader trailer(data.last(kBinaryPlistTrailerSize));
    trailer.skip(6);
    offsetWidth_ = *trailer.u8();
    referenceWidth_ = *trailer.u8();
    objectCount_ = *trailer.u64();
    top_ = *trailer.u64();
    offsetTable_ = *trailer.u64();
    valid_ = offsetWidth_ >= 1 && offsetWidth_ <= 8 && referenceWidth_ >= 1 &&
             referenceWidth_ <= 8 && offsetTable_ <= data.size() - kBinaryPlistTrailerSize &&
             objectCount_ <= (data.size() - kBinaryPlistTrailerSize - offsetTable_) / offsetWidth_;
  }

  uint64_t top() const { return top_; }

  std::optional<Object> object(uint64_t index) const {
    if (!valid_ || index >= objectCount_) return std::nullopt;
    ByteReader table(data_.subspan(offsetTable_ + index * offsetWidth_, offsetWidth_));
    const auto offset = readUnsigned(table, offsetWidth_);
    if (!offset || *offset < kBinaryPlistMagic.size() || *offset >= offsetTable_)
      return std::nullopt;
    Object out{Marker::kSingleton, 0, 0,
               ByteReader(data_.subspan(*offset, offsetTable_ - *offset))};
    const auto marker = out.contents.u8();
    if (!marker) return std::nullopt;
    out.kind = static_cast<Marker>(*marker >> 4);
    out.info = *marker & 0x0F;
    out.count = out.info;
    if (out.info == 0x0F) {
      const auto intMarker = out.contents.u8();
      if (!intMarker || (*intMarker >> 4) != static_cast<uint8_t>(Marker::kInteger) ||
          (*intMarker & 0x0F) > 3) {
        return std::nullopt;
      }
      const auto count = readUnsigned(out.contents, size_t{1} << (*intMarker & 0x0F));
      if (!count) return std::nullopt;
      out.count = *count;
    }
    return out;
  }

  // The next `n` references of a container's contents.
  std::optional<std::vector<uint64_t>> references(ByteReader& contents, uint64_t n) const {
    if (n > contents.remaining() / referenceWidth_) return std::nullopt;
    std::vector<uint64_t> out;
    out.reserve(static_cast<size_t>(n));
    for (uint64_t i = 0; i < n; ++i) out.push_back(*readUnsigned(contents, referenceWidth_));
    return out;
  }

  // Whether object `index` is the string `text`, in either of the encodings strings take.
  bool isText(uint64_t index, std::string_view text) const {
    auto string = object(index);
    if (!string || string->count != text.size()) return false;
    if (string->kind == Marker::kAsciiString) {
      auto bytes = string->contents.bytes(text.size());
      return bytes && std::equal(bytes->begin(), bytes->end(), text.begin(),
                                 [](uint8_t b, char c) { return b == static_cast<uint8_t>(c); });
    }
    if (string->kind != Marker::kUtf16String) return false;
    for (char c : text) {
      const auto unit = string->contents.u16();
      if (!unit || *unit != static_cast<uint8_t>(c)) return false;
    }
    return true;
  }

 private:
  std::span<const uint8_t> data_;
  bool valid_ = false;
  size_t offsetWidth_ = 0;
  size_t referenceWidth_ = 0;
  uint64_t objectCount_ = 0;
  uint64_t top_ = 0;
  uint64_t offsetTable_ = 0;
};

bool isSpace(uint8_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

// A tag's name: from its start up to white space, '/' or its end.
std::string_view tagName(std::string_view markup) {
  size_t end = 0;
  while (end < markup.size() && !isSpace(static_cast<uint8_t>(markup[end])) && markup[end] != '/') {
    ++end;
  }
  return markup.substr(0, end);
}

bool isContainerTag(std::string_view name) { return name == "array" || name == "dict"; }

}  // namespace

Result<PlistShape> measureBinaryPlist(std::span<const uint8_t> data) {
  BinaryWalker walker(data);
  if (auto problem = walker.run()) return unexpected(std::move(*problem));
  return walker.shape();
}

Result<PlistShape> measureXmlPlist(std::span<const uint8_t> data) {
  const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
  PlistShape shape;
  size_t depth = 0;
  size_t elements = 0;
  for (size_t i = 0; i < text.size();) {
    if (text[i] == '\0') return unexpected(msg::xmlNul(i));
    if (text[i] != '<') {
      ++i;
      continue;
    }
    const size_t start = i;
    const std::string_view rest = text.substr(start + 1);
    if (startsWith(rest, "!--")) return unexpected(msg::xmlComment(start));
    if (startsWith(rest, "![")) return unexpected(msg::xmlCdata(start));
    // The tag runs to the first '>' outside double quotes; quotes may hold neither '<' nor '>'.
    bool quoted = false;
    size_t end = start + 1;
    for (; end < text.size(); ++end) {
      const char c = text[end];
      if (c == '\0') return unexpected(msg::xmlNul(end));
      if (c == '"') quoted = !quoted;
      if (c == '<' || (c == '>' && quoted)) return unexpected(msg::xmlMarkup(start));
      if (c == '>') break;
    }
    if (end == text.size()) return unexpected(msg::xmlMarkup(start));
    const std::string_view markup = text.substr(start + 1, end - start - 1);
    i = end + 1;
    if (startsWith(markup, "!")) {
      if (!startsWith(markup, "!DOCTYPE") || markup.find('[') != std::string_view::npos) {
        return unexpected(msg::xmlDtd(start));
      }
      continue;
    }
    if (startsWith(markup, "?")) {
      if (markup.size() < 2 || markup.back() != '?') return unexpected(msg::xmlMarkup(start));
      continue;
    }
    if (startsWith(markup, "/")) {
      if (isContainerTag(tagName(markup.substr(1)))) {
        if (depth == 0) return unexpected(msg::xmlUnbalanced(start));
        --depth;
      }
      continue;
    }
    ++elements;
    if (isContainerTag(tagName(markup)) && !markup.empty() && markup.back() != '/') {
      if (++depth > kMaxPlistDepth) return unexpected(msg::plistTooDeep(kMaxPlistDepth));
      shape.depth = std::max(shape.depth, depth);
    }
  }
  if (elements >
      (kMaxPlistReadBytes - std::min(text.size(), kMaxPlistReadBytes)) / kPlistNodeCost) {
    return unexpected(msg::plistTooLarge(kMaxPlistReadBytes));
  }
  shape.estimatedBytes = elements * kPlistNodeCost + text.size();
  return shape;
}

std::vector<uint8_t> archivedRealWidths(std::span<const uint8_t> data) {
  const BinaryObjects file(data);
  auto top = file.object(file.top());
  if (!top || top->kind != Marker::kDictionary) return {};
  const auto keys = file.references(top->contents, top->count);
  const auto values = file.references(top->contents, top->count);
  if (!keys || !values) return {};
  // The first "$objects" key, as libplist's lookup finds it.
  size_t entry = 0;
  while (entry < keys->size() && !file.isText((*keys)[entry], kObjectsArrayKey)) ++entry;
  if (entry == keys->size()) return {};
  auto objects = file.object((*values)[entry]);
  if (!objects || objects->kind != Marker::kArray) return {};
  const auto elements = file.references(objects->contents, objects->count);
  if (!elements) return {};
  std::vector<uint8_t> widths;
  widths.reserve(elements->size());
  for (uint64_t element : *elements) {
    auto object = file.object(element);
    const bool real = object && object->kind == Marker::kReal;
    widths.push_back(real && object->info == 2 ? 4 : real && object->info == 3 ? 8 : 0);
  }
  return widths;
}

Result<PlistNode> readPropertyList(std::span<const uint8_t> data) {
  if (data.empty()) return unexpected(msg::emptyInput());
  if (data.size() > std::numeric_limits<uint32_t>::max()) {
    return unexpected(msg::tooLarge(data.size(), std::numeric_limits<uint32_t>::max()));
  }
  const auto* bytes = reinterpret_cast<const char*>(data.data());
  const auto length = static_cast<uint32_t>(data.size());
  plist_t root = nullptr;
  const std::string_view head(bytes, std::min(data.size(), kBinaryFamily.size()));
  if (head == kBinaryFamily) {
    auto shape = measureBinaryPlist(data);
    if (!shape) return unexpected(shape.error());
    plist_from_bin(bytes, length, &root);
  } else {
    auto shape = measureXmlPlist(data);
    if (!shape) return unexpected(shape.error());
    plist_from_xml(bytes, length, &root);
  }
  if (!root) return unexpected(msg::unreadable());
  return PlistNode(root);
}

}  // namespace premoov
