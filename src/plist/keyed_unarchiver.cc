#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include "base/log.h"
#include "plist/keyed_archive.h"
#include "plist/keyed_archive_messages.h"
#include "plist/keyed_builtin_classes.h"
#include "plist/keyed_plist_node.h"
#include "plist/keyed_plist_reader.h"

namespace premoov {
namespace {

namespace msg = keyed_messages;

std::mutex& registryMutex() {
  static std::mutex m;
  return m;
}

std::map<std::string, KeyedUnarchiver::ClassFactory>& registry() {
  static std::map<std::string, KeyedUnarchiver::ClassFactory> factories;
  return factories;
}

KeyedUnarchiver::ClassFactory registeredFactory(const std::string& className) {
  std::lock_guard lock(registryMutex());
  auto it = registry().find(className);
  return it == registry().end() ? KeyedUnarchiver::ClassFactory() : it->second;
}

const char* plistKindName(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_ARRAY: return "array";
    case PLIST_DICT: return "dictionary";
    case PLIST_UID: return "reference";
    case PLIST_KEY: return "key";
    default: return "value";
  }
}

// Where a decode stands, for messages: the key asked for and the way down from it.
struct Site {
  const Site* parent = nullptr;
  const std::string* key = nullptr;  // the key asked for, on the outermost site
  // The class of the object holding that key, if any: a copy, since the frame it comes from
  // moves when nested objects push frames of their own.
  std::string holder;
  uint64_t holderUid = 0;
  const char* collection = nullptr;  // "NS.objects" or "NS.keys" below the key
  size_t index = 0;
};

// The site of element `index` of the collection `collection` of the object at `parent`.
Site below(const Site& parent, const char* collection, size_t index) {
  Site site;
  site.parent = &parent;
  site.collection = collection;
  site.index = index;
  return site;
}

std::string describe(const Site& site) {
  if (site.parent) {
    return describe(*site.parent) +
           stringWithFormat(", element %zu of %s", site.index, site.collection);
  }
  std::string out = "key \"" + (site.key ? *site.key : std::string()) + "\"";
  if (!site.holder.empty()) {
    out += " of " + site.holder +
           stringWithFormat(" (object %llu)", static_cast<unsigned long long>(site.holderUid));
  }
  return out;
}

// An archived class entry: its name and the chain the allowed-class check looks at.
struct ClassInfo {
  std::string name;
  std::vector<std::string> chain;
};

}  // namespace

struct KeyedUnarchiver::State {
  struct Frame {
    plist_t dictionary;
    uint64_t uid;
    std::string className;
  };

  PlistNode archive;
  std::vector<plist_t> objects;
  plist_t top = nullptr;
  std::vector<Frame> frames;              // the object whose keys are decoded; "$top" at the bottom
  std::vector<uint64_t> inProgress;       // references being decoded, outermost first
  std::map<uint64_t, ClassInfo> classes;  // class entries read so far, by reference
  std::map<uint64_t, std::shared_ptr<const ArchivableObject>> made;  // our objects, by reference
  size_t decodedBytes = 0;
};

KeyedUnarchiver::KeyedUnarchiver() : state_(std::make_unique<State>()) {}
KeyedUnarchiver::~KeyedUnarchiver() = default;

void KeyedUnarchiver::registerClass(const std::string& className, ClassFactory factory) {
  std::lock_guard lock(registryMutex());
  registry().insert_or_assign(className, std::move(factory));
}

Result<std::unique_ptr<KeyedUnarchiver>> KeyedUnarchiver::fromData(std::span<const uint8_t> data) {
  if (data.size() > kMaxArchiveBytes) {
    return unexpected(msg::tooLarge(data.size(), kMaxArchiveBytes));
  }
  auto plist = readPropertyList(data);
  if (!plist) return unexpected(plist.error());
  plist_t archive = plist->get();
  if (plist_get_node_type(archive) != PLIST_DICT) return unexpected(msg::topNotDictionary());
  if (plistString(plistDictItem(archive, kArchiverKey)) != std::string(kArchiverName)) {
    return unexpected(msg::wrongArchiver());
  }
  auto objects = plistArrayItems(plistDictItem(archive, kObjectsArrayKey));
  if (!objects) return unexpected(msg::noObjects());
  plist_t top = plistDictItem(archive, kTopKey);
  if (!top || plist_get_node_type(top) != PLIST_DICT) return unexpected(msg::noTop());
  auto root = plistReference(plistDictItem(top, kRootKey));
  if (!root) return unexpected(msg::noRoot());
  if (*root >= objects->size()) return unexpected(msg::rootOutside(*root, objects->size()));

  std::unique_ptr<KeyedUnarchiver> unarchiver(new KeyedUnarchiver());
  State& state = *unarchiver->state_;
  state.archive = std::move(*plist);
  state.objects = std::move(*objects);
  state.top = top;
  state.frames.push_back({top, 0, std::string()});
  return unarchiver;
}

void KeyedUnarchiver::failWithError(std::string message) {
  failWithError(KeyedArchiveFailure::kFailedByClass, std::move(message));
}

void KeyedUnarchiver::failWithError(KeyedArchiveFailure failure, std::string message) {
  if (!error_) error_ = KeyedArchiveError{std::move(message), failure};
}

// The decoding itself, kept out of the header: every function answers nothing once error_ is set.
class KeyedUnarchiver::Decoder {
 public:
  explicit Decoder(KeyedUnarchiver& coder) : coder_(coder), state_(*coder.state_) {}

  // The object under `key` of `dictionary`; nothing without an error for an absent key or
  // "$null". `allowed` is null when any class will do.
  std::optional<Value> decodeKey(plist_t dictionary, const std::string& key,
                                 const std::set<std::string>* allowed) {
    if (coder_.error_) return std::nullopt;
    plist_t node = plistDictItem(dictionary, escapedKey(key));
    if (!node) return std::nullopt;
    Site site;
    site.key = &key;
    if (dictionary != state_.top && !state_.frames.empty()) {
      site.holder = state_.frames.back().className;
      site.holderUid = state_.frames.back().uid;
    }
    auto reference = plistReference(node);
    if (!reference) {
      return fail(KeyedArchiveFailure::kBadReference, msg::notReference(describe(site)));
    }
    return decodeReference(*reference, allowed, site, /*nullAllowed=*/true);
  }

 private:
  std::optional<Value> decodeReference(uint64_t uid, const std::set<std::string>* allowed,
                                       const Site& site, bool nullAllowed) {
    if (coder_.error_) return std::nullopt;
    if (uid == 0) {
      if (nullAllowed) return std::nullopt;
      return fail(KeyedArchiveFailure::kBadObject, msg::nullElement(describe(site)));
    }
    if (uid >= state_.objects.size()) {
      return fail(KeyedArchiveFailure::kBadReference,
                  msg::referenceOutside(describe(site), uid, state_.objects.size()));
    }
    if (std::find(state_.inProgress.begin(), state_.inProgress.end(), uid) !=
        state_.inProgress.end()) {
      return fail(KeyedArchiveFailure::kCycle, msg::cycle(describe(site), uid));
    }
    if (state_.inProgress.size() >= kMaxObjectDepth) {
      return fail(KeyedArchiveFailure::kTooDeep, msg::tooDeep(describe(site), kMaxObjectDepth));
    }
    if (!charge(sizeof(Value), site)) return std::nullopt;

    plist_t node = state_.objects[uid];
    switch (plist_get_node_type(node)) {
      case PLIST_STRING:
      case PLIST_UINT:
      case PLIST_REAL:
      case PLIST_BOOLEAN:
      case PLIST_DATA:
      case PLIST_DATE: return decodePlain(node, allowed, site);
      case PLIST_DICT: break;
      default:
        return fail(KeyedArchiveFailure::kBadObject,
                    msg::notObject(describe(site), uid, plistKindName(node)));
    }
    if (plistReference(node)) {
      return fail(KeyedArchiveFailure::kBadObject,
                  msg::notObject(describe(site), uid, plistKindName(node)));
    }
    auto classReference = plistReference(plistDictItem(node, kClassKey));
    if (!classReference) {
      return fail(KeyedArchiveFailure::kBadObject, msg::noClass(describe(site), uid));
    }
    const ClassInfo* info = classInfo(*classReference, site);
    if (!info) return std::nullopt;
    if (allowed && !isAllowed(info->chain, *allowed)) {
      return fail(KeyedArchiveFailure::kClassNotAllowed,
                  msg::classNotAllowed(describe(site), info->name, *allowed));
    }

    state_.inProgress.push_back(uid);
    std::optional<Value> value;
    if (const BuiltinClassEntry* builtin = builtinClassNamed(info->name)) {
      value = decodeBuiltin(*builtin, node, allowed, site);
    } else {
      value = decodeArchivable(uid, node, info->name, site);
    }
    state_.inProgress.pop_back();
    return value;
  }

  std::optional<Value> decodePlain(plist_t node, const std::set<std::string>* allowed,
                                   const Site& site) {
    BuiltinClass kind = BuiltinClass::kNumber;
    switch (plist_get_node_type(node)) {
      case PLIST_STRING: kind = BuiltinClass::kString; break;
      case PLIST_DATA: kind = BuiltinClass::kData; break;
      case PLIST_DATE: kind = BuiltinClass::kDate; break;
      default: break;
    }
    const BuiltinClassEntry& entry = builtinClassOf(kind);
    if (allowed && !isAllowed(entry.classes(), *allowed)) {
      return fail(KeyedArchiveFailure::kClassNotAllowed,
                  msg::classNotAllowed(describe(site), std::string(entry.name), *allowed));
    }
    return plainValue(node, site);
  }

  // A plain property-list value as a Value; nothing for containers and references.
  std::optional<Value> plainValue(plist_t node, const Site& site) {
    switch (plist_get_node_type(node)) {
      case PLIST_STRING: {
        std::string s = *plistString(node);
        if (!charge(s.size(), site)) return std::nullopt;
        return Value::string(std::move(s));
      }
      case PLIST_UINT: return Value::integer(static_cast<int64_t>(*plistUnsigned(node)));
      case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return Value::real(d);
      }
      case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return Value::boolean(b != 0);
      }
      case PLIST_DATA: {
        uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        if (!charge(static_cast<size_t>(length), site)) return std::nullopt;
        const auto* begin = reinterpret_cast<const uint8_t*>(bytes);
        return Value::data(bytes ? std::vector<uint8_t>(begin, begin + length)
                                 : std::vector<uint8_t>());
      }
      case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        return Value::date(seconds + microseconds / 1e6);
      }
      default: return std::nullopt;
    }
  }

  std::optional<Value> decodeBuiltin(const BuiltinClassEntry& entry, plist_t node,
                                     const std::set<std::string>* allowed, const Site& site) {
    const std::string className(entry.name);
    switch (entry.kind) {
      case BuiltinClass::kString:
      case BuiltinClass::kData: {
        // NSMutableString and NSMutableData carry their contents as a plain value.
        const bool isString = entry.kind == BuiltinClass::kString;
        plist_t contents = plistDictItem(node, isString ? kStringKey : kDataKey);
        const plist_type expected = isString ? PLIST_STRING : PLIST_DATA;
        if (!contents || plist_get_node_type(contents) != expected) {
          return fail(
              KeyedArchiveFailure::kBadObject,
              msg::missingContents(describe(site), className, isString ? kStringKey : kDataKey,
                                   isString ? "string" : "data"));
        }
        return plainValue(contents, site);
      }
      case BuiltinClass::kNumber:
        return fail(KeyedArchiveFailure::kBadObject, msg::numberAsDictionary(describe(site)));
      case BuiltinClass::kDate: {
        plist_t time = plistDictItem(node, kTimeKey);
        if (time && plist_get_node_type(time) == PLIST_REAL) {
          double seconds = 0;
          plist_get_real_val(time, &seconds);
          return Value::date(seconds);
        }
        if (auto whole = plistUnsigned(time)) {
          return Value::date(static_cast<double>(static_cast<int64_t>(*whole)));
        }
        return fail(KeyedArchiveFailure::kBadObject,
                    msg::missingContents(describe(site), className, kTimeKey, "number"));
      }
      case BuiltinClass::kArray: return decodeArray(node, allowed, site, className);
      case BuiltinClass::kDictionary: return decodeDictionary(node, allowed, site, className);
    }
    return std::nullopt;
  }

  // The references of one collection key, checked: their count is the array's own size.
  std::optional<std::vector<uint64_t>> references(plist_t node, const char* key, const Site& site,
                                                  const std::string& className) {
    auto items = plistArrayItems(plistDictItem(node, key));
    if (!items) {
      fail(KeyedArchiveFailure::kBadObject,
           msg::missingContents(describe(site), className, key, "array"));
      return std::nullopt;
    }
    // Every element becomes a Value: the room is checked before any is made.
    if (!charge(items->size() * sizeof(Value), site)) return std::nullopt;
    std::vector<uint64_t> out;
    out.reserve(items->size());
    for (size_t i = 0; i < items->size(); ++i) {
      auto reference = plistReference((*items)[i]);
      if (!reference) {
        const Site element = below(site, key, i);
        fail(KeyedArchiveFailure::kBadReference, msg::notReference(describe(element)));
        return std::nullopt;
      }
      out.push_back(*reference);
    }
    return out;
  }

  std::optional<Value> decodeArray(plist_t node, const std::set<std::string>* allowed,
                                   const Site& site, const std::string& className) {
    auto refs = references(node, kObjectsKey, site, className);
    if (!refs) return std::nullopt;
    Value::Array elements;
    elements.reserve(refs->size());
    for (size_t i = 0; i < refs->size(); ++i) {
      const Site element = below(site, kObjectsKey, i);
      auto value = decodeReference((*refs)[i], allowed, element, /*nullAllowed=*/false);
      if (!value) return std::nullopt;
      elements.push_back(std::move(*value));
    }
    return Value::array(std::move(elements));
  }

  std::optional<Value> decodeDictionary(plist_t node, const std::set<std::string>* allowed,
                                        const Site& site, const std::string& className) {
    auto keys = references(node, kKeysKey, site, className);
    if (!keys) return std::nullopt;
    auto values = references(node, kObjectsKey, site, className);
    if (!values) return std::nullopt;
    if (keys->size() != values->size()) {
      return fail(KeyedArchiveFailure::kBadObject,
                  msg::unpairedDictionary(describe(site), className, keys->size(), values->size()));
    }
    Value::Dictionary entries;
    for (size_t i = 0; i < keys->size(); ++i) {
      const Site keySite = below(site, kKeysKey, i);
      auto key = decodeReference((*keys)[i], allowed, keySite, /*nullAllowed=*/false);
      if (!key) return std::nullopt;
      if (!key->isString()) {
        return fail(KeyedArchiveFailure::kBadObject, msg::keyNotString(describe(keySite)));
      }
      const Site valueSite = below(site, kObjectsKey, i);
      auto value = decodeReference((*values)[i], allowed, valueSite, /*nullAllowed=*/false);
      if (!value) return std::nullopt;
      entries.insert_or_assign(key->stringValue(), std::move(*value));
    }
    return Value::dictionary(std::move(entries));
  }

  std::optional<Value> decodeArchivable(uint64_t uid, plist_t node, const std::string& className,
                                        const Site& site) {
    if (auto it = state_.made.find(uid); it != state_.made.end()) return Value::object(it->second);
    ClassFactory factory = registeredFactory(className);
    if (!factory) {
      return fail(KeyedArchiveFailure::kUnknownClass, msg::unknownClass(describe(site), className));
    }
    state_.frames.push_back({node, uid, className});
    std::shared_ptr<const ArchivableObject> object = factory(coder_);
    state_.frames.pop_back();
    if (coder_.error_) return std::nullopt;
    if (!object) {
      return fail(KeyedArchiveFailure::kFailedByClass, msg::madeNothing(describe(site), className));
    }
    state_.made.emplace(uid, object);
    return Value::object(std::move(object));
  }

  // The class entry at `reference`, read once.
  const ClassInfo* classInfo(uint64_t reference, const Site& site) {
    if (auto it = state_.classes.find(reference); it != state_.classes.end()) return &it->second;
    if (reference >= state_.objects.size()) {
      fail(KeyedArchiveFailure::kBadReference,
           msg::referenceOutside(describe(site), reference, state_.objects.size()));
      return nullptr;
    }
    plist_t entry = state_.objects[reference];
    auto name = plistString(plistDictItem(entry, kClassNameKey));
    ClassInfo info;
    if (name) info.name = *name;
    bool wellFormed = name.has_value() && !name->empty();
    if (plist_t classes = plistDictItem(entry, kClassesKey)) {
      auto items = plistArrayItems(classes);
      wellFormed = wellFormed && items.has_value();
      for (plist_t item : items.value_or(std::vector<plist_t>())) {
        auto className = plistString(item);
        if (!className) wellFormed = false;
        if (!wellFormed) break;
        info.chain.push_back(std::move(*className));
      }
    } else if (wellFormed) {
      info.chain.push_back(info.name);
    }
    if (!wellFormed) {
      fail(KeyedArchiveFailure::kBadObject, msg::badClassEntry(describe(site), reference));
      return nullptr;
    }
    // The class named is part of its own chain even when "$classes" leaves it out.
    if (std::find(info.chain.begin(), info.chain.end(), info.name) == info.chain.end()) {
      info.chain.insert(info.chain.begin(), info.name);
    }
    return &state_.classes.emplace(reference, std::move(info)).first->second;
  }

  template <typename Names>
  static bool isAllowed(const Names& chain, const std::set<std::string>& allowed) {
    return std::any_of(chain.begin(), chain.end(),
                       [&](const auto& name) { return allowed.count(std::string(name)) > 0; });
  }

  bool charge(size_t bytes, const Site& site) {
    if (coder_.error_) return false;
    if (bytes > kMaxDecodedBytes - state_.decodedBytes) {
      fail(KeyedArchiveFailure::kTooMuch, msg::tooMuch(describe(site), kMaxDecodedBytes));
      return false;
    }
    state_.decodedBytes += bytes;
    return true;
  }

  std::nullopt_t fail(KeyedArchiveFailure failure, std::string message) {
    coder_.failWithError(failure, std::move(message));
    return std::nullopt;
  }

  KeyedUnarchiver& coder_;
  State& state_;
};

std::optional<Value> KeyedUnarchiver::decodeTopLevelObjectOfClasses(
    const std::set<std::string>& classes) {
  return Decoder(*this).decodeKey(state_->top, kRootKey,
                                  requiresSecureCoding_ ? &classes : nullptr);
}

std::optional<Value> KeyedUnarchiver::decodeRootObject() {
  if (requiresSecureCoding_) {
    failWithError(KeyedArchiveFailure::kInsecureDecoding,
                  keyed_messages::insecure("decodeRootObject", kRootKey));
    return std::nullopt;
  }
  return Decoder(*this).decodeKey(state_->top, kRootKey, nullptr);
}

bool KeyedUnarchiver::containsValueForKey(const std::string& key) const {
  return plistDictItem(state_->frames.back().dictionary, escapedKey(key)) != nullptr;
}

std::optional<Value> KeyedUnarchiver::decodeObjectOfClasses(const std::set<std::string>& classes,
                                                            const std::string& key) {
  return Decoder(*this).decodeKey(state_->frames.back().dictionary, key,
                                  requiresSecureCoding_ ? &classes : nullptr);
}

std::optional<Value> KeyedUnarchiver::decodeObject(const std::string& key) {
  if (requiresSecureCoding_) {
    failWithError(KeyedArchiveFailure::kInsecureDecoding,
                  keyed_messages::insecure("decodeObject", key));
    return std::nullopt;
  }
  return Decoder(*this).decodeKey(state_->frames.back().dictionary, key, nullptr);
}

int64_t KeyedUnarchiver::decodeInt64(const std::string& key) {
  if (error_) return 0;
  auto value = plistUnsigned(plistDictItem(state_->frames.back().dictionary, escapedKey(key)));
  return value ? static_cast<int64_t>(*value) : 0;
}

bool KeyedUnarchiver::decodeBool(const std::string& key) {
  if (error_) return false;
  plist_t node = plistDictItem(state_->frames.back().dictionary, escapedKey(key));
  if (node && plist_get_node_type(node) == PLIST_BOOLEAN) {
    uint8_t b = 0;
    plist_get_bool_val(node, &b);
    return b != 0;
  }
  auto value = plistUnsigned(node);
  return value && *value != 0;
}

double KeyedUnarchiver::decodeDouble(const std::string& key) {
  if (error_) return 0;
  plist_t node = plistDictItem(state_->frames.back().dictionary, escapedKey(key));
  if (node && plist_get_node_type(node) == PLIST_REAL) {
    double d = 0;
    plist_get_real_val(node, &d);
    return d;
  }
  auto value = plistUnsigned(node);
  return value ? static_cast<double>(static_cast<int64_t>(*value)) : 0;
}

}  // namespace premoov
