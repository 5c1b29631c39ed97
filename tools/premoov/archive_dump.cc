#include "premoov/archive_dump.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string_view>
#include <utility>

#include "base/log.h"
#include "plist/keyed_builtin_classes.h"
#include "plist/keyed_plist_index.h"
#include "plist/keyed_plist_node.h"
#include "plist/keyed_plist_reader.h"
#include "premoov/archive_dump_text.h"
#include "premoov/messages.h"

namespace premoov {
namespace {

std::string objectLabel(uint64_t uid) {
  return stringWithFormat("(object %llu)", static_cast<unsigned long long>(uid));
}

std::string count(size_t n, const char* one, const char* many) {
  return stringWithFormat("%zu %s", n, n == 1 ? one : many);
}

// A key or class name as it is when it is plain text (letters, digits, punctuation, UTF-8) of
// at most kDumpKeyBytes bytes; in quotes, escaped and cut otherwise.
std::string keyLabel(std::string_view key) {
  const bool plain = !key.empty() && key.size() <= kDumpKeyBytes &&
                     std::all_of(key.begin(), key.end(), [](char c) {
                       const auto byte = static_cast<uint8_t>(c);
                       return byte > 0x20 && byte != 0x7F && c != '"' && c != '\\';
                     });
  return plain ? std::string(key) : quotedText(key, kDumpKeyBytes);
}

std::string dateText(double seconds) {
  const auto iso = iso8601UtcOf(seconds);
  return realText(seconds) + " = " + (iso ? *iso : std::string("(outside the years 1 to 9999)"));
}

// The text of a value that holds no other values; nothing for arrays and dictionaries.
std::optional<std::string> scalarText(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_STRING:
    case PLIST_KEY: return quotedText(plistString(node).value_or(""), kDumpTextBytes);
    case PLIST_UINT:
      // Eight-byte integers are signed in property lists; libplist keeps the two's complement.
      return std::to_string(static_cast<int64_t>(plistUnsigned(node).value_or(0)));
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return realText(value);
    }
    case PLIST_BOOLEAN: {
      uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value ? "true" : "false";
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      return dataText(std::span(reinterpret_cast<const uint8_t*>(bytes), bytes ? length : 0),
                      kDumpDataBytes);
    }
    case PLIST_DATE: {
      int32_t seconds = 0;
      int32_t microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      return "date " + dateText(seconds + microseconds / 1e6);
    }
    case PLIST_UID:
      return stringWithFormat("reference %llu",
                              static_cast<unsigned long long>(plistReference(node).value_or(0)));
    case PLIST_ARRAY:
    case PLIST_DICT: return std::nullopt;
    default: return "(unknown value)";
  }
}

class Dumper {
 public:
  explicit Dumper(std::vector<plist_t> objects) : objects_(std::move(objects)) {}

  void dumpTop(plist_t top) {
    // The root first, as the unarchiver reads it; then whatever else was encoded on the top level.
    if (plist_t root = plistDictItem(top, kRootKey)) value(std::string(kRootKey) + ": ", root, 0);
    forEachItem(top, [&](const char* key, plist_t node) {
      if (std::string_view(key) != kRootKey) value(keyLabel(key) + ": ", node, 0);
    });
  }

  std::vector<std::string> takeLines() { return std::move(lines_); }
  std::vector<std::string> takeProblems() { return std::move(problems_); }

 private:
  // What the dump needs of an archived dictionary object, looked up once: a shared object may be
  // written out at many references, and libplist finds a dictionary's keys one by one.
  struct ObjectInfo {
    std::optional<std::string> className;  // the "$classname" its "$class" names
    plist_t time = nullptr;                // NS.time
    plist_t string = nullptr;              // NS.string
    plist_t data = nullptr;                // NS.data
    plist_t keys = nullptr;                // NS.keys
    plist_t elements = nullptr;            // NS.objects
  };

  bool stopped() const { return stopped_; }

  void stop(std::string_view why, size_t limit) {
    if (stopped_) return;
    stopped_ = true;
    problems_.push_back(std::string(why) + std::to_string(limit));
  }

  void line(size_t depth, std::string text) {
    if (stopped()) return;
    bytes_ += depth * 2 + text.size();
    lines_.push_back(std::string(depth * 2, ' ') + std::move(text));
    if (lines_.size() >= kDumpMaxLines) stop(kDumpTooLong, kDumpMaxLines);
    if (bytes_ >= kDumpMaxBytes) stop(kDumpTooLarge, kDumpMaxBytes);
  }

  // Counts one key or element looked at, written or not ("$class" is not); false once the dump
  // has stopped.
  bool step() {
    if (++steps_ > kDumpMaxSteps) stop(kDumpTooMuchWork, kDumpMaxSteps);
    return !stopped();
  }

  // Calls `visit` with every key and value of a dictionary node in the order the archive holds
  // them, while the dump goes on.
  template <typename Visit>
  void forEachItem(plist_t node, Visit visit) {
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    if (!iter) return;
    while (step()) {
      char* key = nullptr;
      plist_t item = nullptr;
      plist_dict_next_item(node, iter, &key, &item);
      if (item) visit(key ? key : "", item);
      std::free(key);
      if (!item) break;
    }
    std::free(iter);
  }

  // "object N: TEXT", naming the object whose key or element holds the problem.
  void problem(std::string_view text) {
    std::string where =
        path_.empty()
            ? std::string(kTopKey)
            : stringWithFormat("object %llu", static_cast<unsigned long long>(path_.back()));
    problems_.push_back(where + ": " + std::string(text));
  }

  // One value inside an object or a container: written after `prefix` on one line, what it holds
  // one level deeper.
  void value(const std::string& prefix, plist_t node, size_t depth) {
    if (stopped()) return;
    if (auto reference = plistReference(node)) return object(prefix, *reference, depth);
    if (auto text = scalarText(node)) return line(depth, prefix + *text);
    if (!enter(prefix, depth)) return;
    if (plist_get_node_type(node) == PLIST_ARRAY) {
      line(depth, prefix + "array, " + count(plist_array_get_size(node), "element", "elements"));
    } else {
      line(depth, prefix + "dictionary, " + count(plist_dict_get_size(node), "entry", "entries"));
    }
    contents(node, depth + 1);
  }

  // Whether the dump may go below `depth`; writes where it stops otherwise.
  bool enter(const std::string& prefix, size_t depth) {
    if (depth < kDumpMaxDepth) return true;
    line(depth, prefix + "...");
    if (!tooDeep_) {
      tooDeep_ = true;
      problems_.push_back(std::string(kDumpTooDeep) + std::to_string(kDumpMaxDepth));
    }
    return false;
  }

  // The keys of a dictionary node (its class excepted) or the elements of an array node.
  void contents(plist_t node, size_t depth) {
    if (stopped()) return;
    if (plist_get_node_type(node) == PLIST_ARRAY) return elements(node, depth);
    forEachItem(node, [&](const char* key, plist_t item) {
      if (std::string_view(key) != kClassKey) value(keyLabel(key) + ": ", item, depth);
    });
  }

  // "[i]: VALUE" for every element of an array node.
  void elements(plist_t array, size_t depth) {
    if (stopped()) return;
    const auto items = plistArrayItems(array);
    if (!items) return;
    for (size_t i = 0; i < items->size() && step(); ++i) {
      value(stringWithFormat("[%zu]: ", i), (*items)[i], depth);
    }
  }

  // The object a reference names, written after `prefix`.
  void object(const std::string& prefix, uint64_t uid, size_t depth) {
    if (uid >= objects_.size()) {
      line(depth, prefix + stringWithFormat("reference %llu outside the %zu objects",
                                            static_cast<unsigned long long>(uid), objects_.size()));
      problem(std::string(kDumpReferenceOutside) +
              stringWithFormat("%llu of %zu objects", static_cast<unsigned long long>(uid),
                               objects_.size()));
      return;
    }
    if (uid == 0) return line(depth, prefix + kNullObject);
    plist_t node = objects_[uid];
    if (auto text = scalarText(node)) return line(depth, prefix + *text);
    if (std::find(path_.begin(), path_.end(), uid) != path_.end()) {
      return line(depth, prefix + "back-reference to " + header(uid));
    }
    if (!enter(prefix, depth)) return;
    path_.push_back(uid);
    objectContents(prefix, uid, node, depth);
    path_.pop_back();
  }

  void objectContents(const std::string& prefix, uint64_t uid, plist_t node, size_t depth) {
    if (plist_get_node_type(node) == PLIST_ARRAY) {
      line(depth,
           prefix + header(uid) + ", " + count(plist_array_get_size(node), "element", "elements"));
      return elements(node, depth + 1);
    }
    if (auto reference = plistReference(node)) {
      // A reference where an object belongs is not followed: it is no object of its own.
      return line(depth, prefix +
                             stringWithFormat("reference %llu ",
                                              static_cast<unsigned long long>(*reference)) +
                             objectLabel(uid));
    }
    const ObjectInfo& info = infoOf(uid);
    if (!info.className) problem(kDumpNoClass);
    const BuiltinClassEntry* builtin =
        info.className ? builtinClassNamed(*info.className) : nullptr;
    if (builtin && builtinContents(prefix + header(uid), *builtin, info, depth)) return;
    line(depth, prefix + header(uid));
    contents(node, depth + 1);
  }

  // Dates, strings and data on one line, arrays and dictionaries element by element; false when
  // the object does not have the keys of its class, and is dumped key by key instead.
  bool builtinContents(const std::string& label, const BuiltinClassEntry& builtin,
                       const ObjectInfo& info, size_t depth) {
    switch (builtin.kind) {
      case BuiltinClass::kDate: {
        if (!info.time || plist_get_node_type(info.time) != PLIST_REAL) return false;
        double seconds = 0;
        plist_get_real_val(info.time, &seconds);
        line(depth, label + ": " + kTimeKey + " " + dateText(seconds));
        return true;
      }
      case BuiltinClass::kString:
        if (!info.string || plist_get_node_type(info.string) != PLIST_STRING) return false;
        line(depth, label + ": " + *scalarText(info.string));
        return true;
      case BuiltinClass::kData:
        if (!info.data || plist_get_node_type(info.data) != PLIST_DATA) return false;
        line(depth, label + ": " + *scalarText(info.data));
        return true;
      case BuiltinClass::kArray:
        if (!info.elements || plist_get_node_type(info.elements) != PLIST_ARRAY) return false;
        line(depth,
             label + ", " + count(plist_array_get_size(info.elements), "element", "elements"));
        elements(info.elements, depth + 1);
        return true;
      case BuiltinClass::kDictionary: {
        if (!info.keys || !info.elements || plist_get_node_type(info.keys) != PLIST_ARRAY ||
            plist_get_node_type(info.elements) != PLIST_ARRAY) {
          return false;
        }
        if (plist_array_get_size(info.keys) != plist_array_get_size(info.elements)) {
          problem(kDumpPairsDiffer);
          return false;
        }
        line(depth, label + ", " + count(plist_array_get_size(info.elements), "entry", "entries"));
        if (stopped()) return true;
        const auto keys = plistArrayItems(info.keys);
        const auto values = plistArrayItems(info.elements);
        for (size_t i = 0; i < values->size() && i < keys->size() && step(); ++i) {
          value(keyText((*keys)[i]) + ": ", (*values)[i], depth + 1);
        }
        return true;
      }
      case BuiltinClass::kNumber: return false;  // numbers are plain values
    }
    return false;
  }

  // A dictionary key: its text in quotes when it names a string, else what it is.
  std::string keyText(plist_t node) {
    if (auto reference = plistReference(node)) {
      if (*reference < objects_.size() &&
          plist_get_node_type(objects_[*reference]) == PLIST_STRING) {
        return *scalarText(objects_[*reference]);
      }
      return "(key " + header(*reference) + ")";
    }
    return "(key " + scalarText(node).value_or("container") + ")";
  }

  // "NSArray (object 4)": the class of an object, or what it is when it has none.
  std::string header(uint64_t uid) {
    if (uid >= objects_.size()) return "reference outside the objects " + objectLabel(uid);
    plist_t node = objects_[uid];
    switch (plist_get_node_type(node)) {
      case PLIST_ARRAY: return "array " + objectLabel(uid);
      case PLIST_DICT: {
        const auto& className = infoOf(uid).className;
        return (className ? keyLabel(*className) : std::string("dictionary without class")) + " " +
               objectLabel(uid);
      }
      default: return scalarText(node).value_or("value") + " " + objectLabel(uid);
    }
  }

  const ObjectInfo& infoOf(uint64_t uid) {
    auto [it, added] = infos_.try_emplace(uid);
    if (!added) return it->second;
    ObjectInfo& info = it->second;
    // One pass over the object's keys, however many of them it has.
    const PlistDictionaryIndex keys(objects_[uid]);
    auto reference = plistReference(keys.find(kClassKey));
    if (reference && *reference < objects_.size()) info.className = classNameOf(*reference);
    info.time = keys.find(kTimeKey);
    info.string = keys.find(kStringKey);
    info.data = keys.find(kDataKey);
    info.keys = keys.find(kKeysKey);
    info.elements = keys.find(kObjectsKey);
    return info;
  }

  // The "$classname" of a class entry, read once however many objects name the entry.
  const std::optional<std::string>& classNameOf(uint64_t reference) {
    auto [it, added] = classNames_.try_emplace(reference);
    if (added) {
      it->second = plistString(PlistDictionaryIndex(objects_[reference]).find(kClassNameKey));
    }
    return it->second;
  }

  std::vector<plist_t> objects_;
  std::vector<uint64_t> path_;  // the objects being written out, outermost first
  std::map<uint64_t, ObjectInfo> infos_;
  std::map<uint64_t, std::optional<std::string>> classNames_;
  std::vector<std::string> lines_;
  std::vector<std::string> problems_;
  size_t bytes_ = 0;
  size_t steps_ = 0;
  bool stopped_ = false;
  bool tooDeep_ = false;
};

}  // namespace

Result<ArchiveDump> dumpKeyedArchive(std::span<const uint8_t> data) {
  auto plist = readPropertyList(data);
  if (!plist) return unexpected(std::string(kArchiveNotPropertyList) + plist.error());
  plist_t archive = plist->get();
  if (plist_get_node_type(archive) != PLIST_DICT) {
    return unexpected(std::string(kArchiveNotDictionary));
  }
  if (plistString(plistDictItem(archive, kArchiverKey)) != std::string(kArchiverName)) {
    return unexpected(std::string(kArchiveWrongArchiver));
  }
  auto objects = plistArrayItems(plistDictItem(archive, kObjectsArrayKey));
  if (!objects) return unexpected(std::string(kArchiveNoObjects));
  plist_t top = plistDictItem(archive, kTopKey);
  if (!top || plist_get_node_type(top) != PLIST_DICT) return unexpected(std::string(kArchiveNoTop));
  if (!plistReference(plistDictItem(top, kRootKey))) return unexpected(std::string(kArchiveNoRoot));

  ArchiveDump dump;
  dump.version = plistUnsigned(plistDictItem(archive, kVersionKey));
  dump.objectCount = objects->size();
  Dumper dumper(std::move(*objects));
  dumper.dumpTop(top);
  dump.lines = dumper.takeLines();
  dump.problems = dumper.takeProblems();
  return dump;
}

}  // namespace premoov
