#include <map>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "base/log.h"
#include "plist/binary_plist_writer.h"
#include "plist/keyed_archive.h"
#include "plist/keyed_archive_messages.h"
#include "plist/keyed_builtin_classes.h"
#include "plist/keyed_plist_node.h"
#include "plist/utf8_text.h"

namespace premoov {
namespace {

// The text an archive can carry: libplist nodes hold C strings, so text ends at a NUL, and text
// that is not ASCII is written as UTF-16, so every byte that is not well-formed UTF-8 becomes
// U+FFFD. Logged when anything changes.
std::string writableText(const std::string& s) {
  const std::string_view text(s.c_str());
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const size_t n = utf8SequenceLength(text.substr(i));
    if (n == 0) {
      out += "\xEF\xBF\xBD";
      ++i;
    } else {
      out.append(text.substr(i, n));
      i += n;
    }
  }
  if (out != s) NSLog("%s", keyed_messages::textRewritten(s.size(), out.size()).c_str());
  return out;
}

}  // namespace

struct KeyedArchiver::State {
  // "$objects" in order; slot 0 is "$null", a slot is empty while its object is being encoded.
  std::vector<PlistNode> objects;
  // Equal strings share one entry; our objects are shared by identity; a class entry is written
  // once per class name.
  std::map<std::string, uint64_t> strings;
  std::map<const ValueObject*, uint64_t> sharedObjects;
  // Our objects stay alive until the archive is done, so that no address is seen twice for two
  // objects (NSKeyedArchiver retains what it encodes for the same reason).
  std::vector<std::shared_ptr<const ValueObject>> retained;
  std::map<std::string, uint64_t> classEntries;
  // The reals of single-precision numbers, written in four bytes; every other real takes eight.
  std::unordered_set<plist_t> singlePrecisionReals;
  // The dictionary that encode calls write into: the object being encoded, "$top" at the bottom.
  std::vector<plist_t> containers;
  PlistNode top{plist_new_dict()};
  bool finished = false;

  uint64_t append(plist_t node) {
    objects.emplace_back(node);
    return objects.size() - 1;
  }
  uint64_t reserve() { return append(nullptr); }
  void fill(uint64_t uid, plist_t node) { objects[uid].reset(node); }

  uint64_t classEntry(std::span<const std::string_view> hierarchy);
  uint64_t encodeValue(const Value& value, KeyedArchiver& archiver);
  uint64_t encodeCollection(const Value& value, KeyedArchiver& archiver);
  uint64_t encodeArchivable(const std::shared_ptr<const ValueObject>& holder,
                            const ArchivableObject& object, KeyedArchiver& archiver);
};

uint64_t KeyedArchiver::State::classEntry(std::span<const std::string_view> hierarchy) {
  const std::string name(hierarchy.empty() ? std::string_view("NSObject") : hierarchy.front());
  if (auto it = classEntries.find(name); it != classEntries.end()) return it->second;
  plist_t entry = plist_new_dict();
  plist_dict_set_item(entry, kClassNameKey, plist_new_string(name.c_str()));
  plist_t classes = plist_new_array();
  for (std::string_view c : hierarchy) {
    plist_array_append_item(classes, plist_new_string(std::string(c).c_str()));
  }
  if (hierarchy.empty()) plist_array_append_item(classes, plist_new_string(name.c_str()));
  plist_dict_set_item(entry, kClassesKey, classes);
  const uint64_t uid = append(entry);
  classEntries.emplace(name, uid);
  return uid;
}

uint64_t KeyedArchiver::State::encodeValue(const Value& value, KeyedArchiver& archiver) {
  switch (value.kind()) {
    case Value::Kind::String: {
      // Strings are shared by the text written.
      const std::string text = writableText(value.stringValue());
      if (auto it = strings.find(text); it != strings.end()) return it->second;
      const uint64_t uid = append(plist_new_string(text.c_str()));
      strings.emplace(text, uid);
      return uid;
    }
    case Value::Kind::Number:
      if (value.isFloatingNumber()) {
        // NSKeyedArchiver stores an NSNumber as the property-list number itself, and
        // CoreFoundation's binary writer gives a float number (CFNumberGetByteSize 4) a 4-byte real
        // and every other floating number an 8-byte one (CFBinaryPList.c, in Apple's open-source
        // CoreFoundation).
        plist_t real = plist_new_real(value.doubleValue());
        if (isSinglePrecisionType(value.numberType())) singlePrecisionReals.insert(real);
        return append(real);
      }
      // libplist keeps integers as 64 bits and writes them as eight bytes when negative: the
      // two's complement reads back as the signed value.
      return append(plist_new_uint(static_cast<uint64_t>(value.longLongValue())));
    case Value::Kind::Boolean: return append(plist_new_bool(value.boolValue() ? 1 : 0));
    case Value::Kind::Data: {
      const auto& bytes = value.bytes();
      return append(plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    case Value::Kind::Date:
    case Value::Kind::Array:
    case Value::Kind::Dictionary: return encodeCollection(value, archiver);
    case Value::Kind::Object: {
      const auto* archivable = dynamic_cast<const ArchivableObject*>(value.objectValue().get());
      if (!archivable) {
        NSLog("%s",
              keyed_messages::notArchivable(value.objectValue() ? value.objectValue()->className()
                                                                : std::string("nil object"))
                  .c_str());
        return 0;
      }
      return encodeArchivable(value.objectValue(), *archivable, archiver);
    }
  }
  return 0;
}

uint64_t KeyedArchiver::State::encodeCollection(const Value& value, KeyedArchiver& archiver) {
  // The collection's slot comes first and its class entry last, as NSKeyedArchiver orders them.
  const uint64_t uid = reserve();
  plist_t dict = plist_new_dict();
  BuiltinClass kind = BuiltinClass::kDate;
  if (value.isDate()) {
    plist_dict_set_item(dict, kTimeKey, plist_new_real(value.timeIntervalSinceReferenceDate()));
  } else if (value.isArray()) {
    kind = BuiltinClass::kArray;
    plist_t elements = plist_new_array();
    for (const Value& element : value.elements()) {
      plist_array_append_item(elements, plist_new_uid(encodeValue(element, archiver)));
    }
    plist_dict_set_item(dict, kObjectsKey, elements);
  } else {
    kind = BuiltinClass::kDictionary;
    plist_t keys = plist_new_array();
    plist_t objectsOfKeys = plist_new_array();
    for (const auto& [key, element] : value.entries()) {
      plist_array_append_item(keys, plist_new_uid(encodeValue(Value::string(key), archiver)));
    }
    for (const auto& [key, element] : value.entries()) {
      plist_array_append_item(objectsOfKeys, plist_new_uid(encodeValue(element, archiver)));
    }
    plist_dict_set_item(dict, kKeysKey, keys);
    plist_dict_set_item(dict, kObjectsKey, objectsOfKeys);
  }
  plist_dict_set_item(dict, kClassKey, plist_new_uid(classEntry(builtinClassOf(kind).classes())));
  fill(uid, dict);
  return uid;
}

uint64_t KeyedArchiver::State::encodeArchivable(const std::shared_ptr<const ValueObject>& holder,
                                                const ArchivableObject& object,
                                                KeyedArchiver& archiver) {
  if (auto it = sharedObjects.find(&object); it != sharedObjects.end()) return it->second;
  const uint64_t uid = reserve();
  sharedObjects.emplace(&object, uid);
  retained.push_back(holder);
  plist_t dict = plist_new_dict();
  containers.push_back(dict);
  object.encodeWithCoder(archiver);
  containers.pop_back();
  std::vector<std::string> hierarchy = object.classHierarchy();
  if (hierarchy.empty()) hierarchy = {object.className(), "NSObject"};
  const std::vector<std::string_view> names(hierarchy.begin(), hierarchy.end());
  plist_dict_set_item(dict, kClassKey, plist_new_uid(classEntry(names)));
  fill(uid, dict);
  return uid;
}

KeyedArchiver::KeyedArchiver() : state_(std::make_unique<State>()) {
  state_->append(plist_new_string(kNullObject));
  state_->containers.push_back(state_->top.get());
}

KeyedArchiver::~KeyedArchiver() = default;

std::vector<uint8_t> KeyedArchiver::archivedDataWithRootObject(const Value& root) {
  KeyedArchiver archiver;
  archiver.encodeObject(root, kRootKey);
  return archiver.encodedData();
}

void KeyedArchiver::encodeObject(const Value* object, const std::string& key) {
  if (state_->finished) return;
  const uint64_t uid = object ? state_->encodeValue(*object, *this) : 0;
  plist_dict_set_item(state_->containers.back(), writableText(escapedKey(key)).c_str(),
                      plist_new_uid(uid));
}

void KeyedArchiver::encodeInt64(int64_t value, const std::string& key) {
  if (state_->finished) return;
  plist_dict_set_item(state_->containers.back(), writableText(escapedKey(key)).c_str(),
                      plist_new_uint(static_cast<uint64_t>(value)));
}

void KeyedArchiver::encodeBool(bool value, const std::string& key) {
  if (state_->finished) return;
  plist_dict_set_item(state_->containers.back(), writableText(escapedKey(key)).c_str(),
                      plist_new_bool(value ? 1 : 0));
}

void KeyedArchiver::encodeDouble(double value, const std::string& key) {
  if (state_->finished) return;
  plist_dict_set_item(state_->containers.back(), writableText(escapedKey(key)).c_str(),
                      plist_new_real(value));
}

std::vector<uint8_t> KeyedArchiver::encodedData() {
  if (state_->finished) return {};
  state_->finished = true;
  PlistNode archive(plist_new_dict());
  plist_dict_set_item(archive.get(), kVersionKey, plist_new_uint(kArchiveVersion));
  plist_dict_set_item(archive.get(), kArchiverKey, plist_new_string(kArchiverName));
  plist_dict_set_item(archive.get(), kTopKey, state_->top.release());
  plist_t objects = plist_new_array();
  for (PlistNode& object : state_->objects) {
    // A slot is empty only when encodedData is called from inside an encodeWithCoder.
    plist_array_append_item(objects, object ? object.release() : plist_new_string(kNullObject));
  }
  plist_dict_set_item(archive.get(), kObjectsArrayKey, objects);
  return binaryPropertyList(archive.get(), state_->singlePrecisionReals);
}

}  // namespace premoov
