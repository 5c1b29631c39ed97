#include <algorithm>
#include <array>
#include <bit>
#include <deque>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "base/log.h"
#include "plist/keyed_archive.h"
#include "plist/keyed_archive_messages.h"
#include "plist/keyed_builtin_classes.h"
#include "plist/keyed_plist_index.h"
#include "plist/keyed_plist_node.h"
#include "plist/keyed_plist_reader.h"

namespace premoov {
namespace {

namespace msg = keyed_messages;

// A registered class: its factory, and the class with its superclasses as it declared them.
struct RegisteredClass {
  std::vector<std::string> hierarchy;
  KeyedUnarchiver::ClassFactory factory;
};

std::mutex& registryMutex() {
  static std::mutex m;
  return m;
}

std::map<std::string, RegisteredClass>& registry() {
  static std::map<std::string, RegisteredClass> classes;
  return classes;
}

std::optional<RegisteredClass> registeredClass(const std::string& className) {
  std::lock_guard lock(registryMutex());
  auto it = registry().find(className);
  if (it == registry().end()) return std::nullopt;
  return it->second;
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

// A class the unarchiver can make an object of: built in or registered. Its hierarchy is ours,
// never the list an archive writes, so that the allowed-class check sees the class made.
struct KnownClass {
  uint32_t id = 0;  // its place among the unarchiver's known classes
  std::string name;
  std::vector<std::string> hierarchy;  // the class first, then its superclasses
  const BuiltinClassEntry* builtin = nullptr;
  KeyedUnarchiver::ClassFactory factory;  // for a registered class
};

// The known classes inside a decoded object, by id: the object's own and, for arrays and
// dictionaries, those of everything they hold (our own objects check their contents themselves).
class ClassSet {
 public:
  void add(uint32_t id) {
    if (id < 64) {
      low_ |= uint64_t{1} << id;
    } else if (std::find(more_.begin(), more_.end(), id) == more_.end()) {
      more_.push_back(id);
    }
  }
  void add(const ClassSet& other) {
    low_ |= other.low_;
    for (uint32_t id : other.more_) add(id);
  }
  template <typename Visit>
  void forEach(Visit visit) const {
    for (uint64_t bits = low_; bits != 0; bits &= bits - 1) {
      visit(static_cast<uint32_t>(std::countr_zero(bits)));
    }
    for (uint32_t id : more_) visit(id);
  }

 private:
  uint64_t low_ = 0;
  std::vector<uint32_t> more_;
};

// An object as decoded once, for every further reference to it.
struct Decoded {
  explicit Decoded(Value decodedValue = Value()) : value(std::move(decodedValue)) {}

  Value value;
  size_t cost = 0;    // bytes charged against kMaxDecodedBytes for one copy of it
  size_t height = 1;  // levels of objects, itself included
  ClassSet classes;
};

bool isAllowed(const std::vector<std::string>& hierarchy, const std::set<std::string>& allowed) {
  return std::any_of(hierarchy.begin(), hierarchy.end(),
                     [&](const std::string& name) { return allowed.count(name) > 0; });
}

}  // namespace

struct KeyedUnarchiver::State {
  struct Frame {
    const PlistDictionaryIndex* keys;  // the object whose keys are decoded
    uint64_t uid;
    std::string className;
  };

  PlistNode archive;
  std::vector<plist_t> objects;
  std::vector<uint8_t> realWidths;  // of "$objects", as archivedRealWidths reads them
  PlistDictionaryIndex top;
  std::vector<Frame> frames;         // "$top" at the bottom
  std::vector<uint64_t> inProgress;  // references being decoded, outermost first
  std::deque<KnownClass> knownClasses;
  std::map<std::string, const KnownClass*> knownByName;  // nullptr: a name we do not know
  std::map<uint64_t, const KnownClass*> classEntries;    // resolved class entries
  std::unordered_map<uint64_t, Decoded> decoded;         // objects decoded, by reference
  std::array<const KnownClass*, 6> plainClasses{};       // of plain values, by BuiltinClass
  size_t decodedBytes = 0;
  size_t maxDecodedBytes = kMaxDecodedBytes;
  bool realsAsSent = false;
};

KeyedUnarchiver::KeyedUnarchiver() : state_(std::make_unique<State>()) {}
KeyedUnarchiver::~KeyedUnarchiver() = default;

void KeyedUnarchiver::registerClass(const std::string& className, ClassFactory factory,
                                    std::vector<std::string> superclasses) {
  std::vector<std::string> hierarchy{className};
  hierarchy.insert(hierarchy.end(), std::make_move_iterator(superclasses.begin()),
                   std::make_move_iterator(superclasses.end()));
  std::lock_guard lock(registryMutex());
  registry().insert_or_assign(className, RegisteredClass{std::move(hierarchy), std::move(factory)});
}

Result<std::unique_ptr<KeyedUnarchiver>> KeyedUnarchiver::fromData(std::span<const uint8_t> data,
                                                                   const Options& options) {
  if (data.size() > options.maxArchiveBytes) {
    return unexpected(msg::tooLarge(data.size(), options.maxArchiveBytes));
  }
  auto plist = readPropertyList(data);
  if (!plist) return unexpected(plist.error());
  plist_t archive = plist->get();
  if (plist_get_node_type(archive) != PLIST_DICT) return unexpected(msg::topNotDictionary());
  const PlistDictionaryIndex keys(archive);
  if (plistString(keys.find(kArchiverKey)) != std::string(kArchiverName)) {
    return unexpected(msg::wrongArchiver());
  }
  auto objects = plistArrayItems(keys.find(kObjectsArrayKey));
  if (!objects) return unexpected(msg::noObjects());
  plist_t top = keys.find(kTopKey);
  if (!top || plist_get_node_type(top) != PLIST_DICT) return unexpected(msg::noTop());
  PlistDictionaryIndex topKeys(top);
  auto root = plistReference(topKeys.find(kRootKey));
  if (!root) return unexpected(msg::noRoot());
  if (*root >= objects->size()) return unexpected(msg::rootOutside(*root, objects->size()));

  std::unique_ptr<KeyedUnarchiver> unarchiver(new KeyedUnarchiver());
  State& state = *unarchiver->state_;
  state.maxDecodedBytes = options.maxDecodedBytes;
  state.realsAsSent = options.realsAsSent;
  state.archive = std::move(*plist);
  state.objects = std::move(*objects);
  state.realWidths = archivedRealWidths(data);
  state.top = std::move(topKeys);
  state.frames.push_back({&state.top, 0, std::string()});
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

  // The object under `key` of `frame`'s object; nothing without an error for an absent key or
  // "$null". `allowed` is null when any class will do.
  std::optional<Value> decodeKey(const State::Frame& frame, const std::string& key,
                                 const std::set<std::string>* allowed) {
    if (coder_.error_) return std::nullopt;
    plist_t node = frame.keys->find(escapedKey(key));
    if (!node) return std::nullopt;
    Site site;
    site.key = &key;
    site.holder = frame.className;
    site.holderUid = frame.uid;
    auto reference = plistReference(node);
    if (!reference) {
      return fail(KeyedArchiveFailure::kBadReference, msg::notReference(describe(site)));
    }
    auto decoded = decodeReference(*reference, allowed, site, /*nullAllowed=*/true);
    if (!decoded) return std::nullopt;
    return std::move(decoded->value);
  }

 private:
  std::optional<Decoded> decodeReference(uint64_t uid, const std::set<std::string>* allowed,
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
    if (auto it = state_.decoded.find(uid); it != state_.decoded.end()) {
      return again(it->second, allowed, site);
    }
    if (std::find(state_.inProgress.begin(), state_.inProgress.end(), uid) !=
        state_.inProgress.end()) {
      return fail(KeyedArchiveFailure::kCycle, msg::cycle(describe(site), uid));
    }
    if (state_.inProgress.size() >= kMaxObjectDepth) {
      return fail(KeyedArchiveFailure::kTooDeep, msg::tooDeep(describe(site), kMaxObjectDepth));
    }
    const size_t chargedBefore = state_.decodedBytes;
    if (!charge(sizeof(Value), site)) return std::nullopt;

    plist_t node = state_.objects[uid];
    switch (plist_get_node_type(node)) {
      case PLIST_STRING:
      case PLIST_UINT:
      case PLIST_REAL:
      case PLIST_BOOLEAN:
      case PLIST_DATA:
      case PLIST_DATE: return decodePlain(uid, node, allowed, site);
      case PLIST_DICT: break;
      default:
        return fail(KeyedArchiveFailure::kBadObject,
                    msg::notObject(describe(site), uid, plistKindName(node)));
    }
    if (plistReference(node)) {
      return fail(KeyedArchiveFailure::kBadObject,
                  msg::notObject(describe(site), uid, plistKindName(node)));
    }
    // Every key of the object is looked up in this one index.
    const PlistDictionaryIndex keys(node);
    auto classReference = plistReference(keys.find(kClassKey));
    if (!classReference) {
      return fail(KeyedArchiveFailure::kBadObject, msg::noClass(describe(site), uid));
    }
    const KnownClass* cls = classOfEntry(*classReference, site);
    if (!cls) return std::nullopt;
    if (allowed && !isAllowed(cls->hierarchy, *allowed)) {
      return fail(KeyedArchiveFailure::kClassNotAllowed,
                  msg::classNotAllowed(describe(site), cls->name, *allowed));
    }

    state_.inProgress.push_back(uid);
    std::optional<Decoded> decoded = cls->builtin ? decodeBuiltin(*cls, keys, allowed, site)
                                                  : decodeArchivable(uid, keys, *cls, site);
    state_.inProgress.pop_back();
    if (!decoded) return std::nullopt;
    decoded->classes.add(cls->id);
    // Our objects are shared, not copied, at every further reference.
    decoded->cost = cls->builtin ? state_.decodedBytes - chargedBefore : sizeof(Value);
    state_.decoded.emplace(uid, *decoded);
    return decoded;
  }

  // An object decoded before, at another reference: checked against this reference's classes
  // and depth and charged as a copy, as decoding it again would be, without the work.
  std::optional<Decoded> again(const Decoded& decoded, const std::set<std::string>* allowed,
                               const Site& site) {
    if (allowed) {
      const KnownClass* refused = nullptr;
      decoded.classes.forEach([&](uint32_t id) {
        const KnownClass& cls = state_.knownClasses[id];
        if (!refused && !isAllowed(cls.hierarchy, *allowed)) refused = &cls;
      });
      if (refused) {
        return fail(KeyedArchiveFailure::kClassNotAllowed,
                    msg::classNotAllowed(describe(site), refused->name, *allowed));
      }
    }
    if (state_.inProgress.size() + decoded.height > kMaxObjectDepth) {
      return fail(KeyedArchiveFailure::kTooDeep, msg::tooDeep(describe(site), kMaxObjectDepth));
    }
    if (!charge(decoded.cost, site)) return std::nullopt;
    return decoded;
  }

  std::optional<Decoded> decodePlain(uint64_t uid, plist_t node,
                                     const std::set<std::string>* allowed, const Site& site) {
    BuiltinClass kind = BuiltinClass::kNumber;
    switch (plist_get_node_type(node)) {
      case PLIST_STRING: kind = BuiltinClass::kString; break;
      case PLIST_DATA: kind = BuiltinClass::kData; break;
      case PLIST_DATE: kind = BuiltinClass::kDate; break;
      default: break;
    }
    const KnownClass*& plainClass = state_.plainClasses[static_cast<size_t>(kind)];
    if (!plainClass) plainClass = knownClass(std::string(builtinClassOf(kind).name));
    const KnownClass& cls = *plainClass;
    if (allowed && !isAllowed(cls.hierarchy, *allowed)) {
      return fail(KeyedArchiveFailure::kClassNotAllowed,
                  msg::classNotAllowed(describe(site), cls.name, *allowed));
    }
    auto value =
        plainValue(node, uid < state_.realWidths.size() ? state_.realWidths[uid] : 0, site);
    if (!value) return std::nullopt;
    Decoded decoded{std::move(*value)};
    decoded.classes.add(cls.id);
    return decoded;
  }

  // A plain property-list value as a Value; nothing for containers and references. A real is a
  // float or a double by `realWidth` (4 or 8 bytes; 0 when unknown), as CoreFoundation's binary
  // property-list reader makes a 4-byte real a kCFNumberFloat32Type number and an 8-byte real a
  // kCFNumberFloat64Type one, and every integer a kCFNumberSInt64Type one (CFBinaryPList.c, in
  // Apple's open-source CoreFoundation). XML reals carry no width and read as doubles there too.
  std::optional<Value> plainValue(plist_t node, uint8_t realWidth, const Site& site) {
    switch (plist_get_node_type(node)) {
      case PLIST_STRING: {
        std::string s = *plistString(node);
        if (!charge(s.size(), site)) return std::nullopt;
        return Value::string(std::move(s));
      }
      case PLIST_UINT:
        return Value::integer(static_cast<int64_t>(*plistUnsigned(node)),
                              CFNumberType::kCFNumberSInt64Type);
      case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        if (state_.realsAsSent) {
          return Value::real(d, realWidth == 4 ? CFNumberType::kCFNumberFloatType
                                               : CFNumberType::kCFNumberDoubleType);
        }
        return Value::real(d, realWidth == 4 ? CFNumberType::kCFNumberFloat32Type
                                             : CFNumberType::kCFNumberFloat64Type);
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

  std::optional<Decoded> decodeBuiltin(const KnownClass& cls, const PlistDictionaryIndex& keys,
                                       const std::set<std::string>* allowed, const Site& site) {
    switch (cls.builtin->kind) {
      case BuiltinClass::kString:
      case BuiltinClass::kData: {
        // NSMutableString and NSMutableData carry their contents as a plain value.
        const bool isString = cls.builtin->kind == BuiltinClass::kString;
        plist_t contents = keys.find(isString ? kStringKey : kDataKey);
        const plist_type expected = isString ? PLIST_STRING : PLIST_DATA;
        if (!contents || plist_get_node_type(contents) != expected) {
          return fail(
              KeyedArchiveFailure::kBadObject,
              msg::missingContents(describe(site), cls.name, isString ? kStringKey : kDataKey,
                                   isString ? "string" : "data"));
        }
        auto value = plainValue(contents, 0, site);
        if (!value) return std::nullopt;
        return Decoded{std::move(*value)};
      }
      case BuiltinClass::kNumber:
        return fail(KeyedArchiveFailure::kBadObject, msg::numberAsDictionary(describe(site)));
      case BuiltinClass::kDate: {
        plist_t time = keys.find(kTimeKey);
        if (time && plist_get_node_type(time) == PLIST_REAL) {
          double seconds = 0;
          plist_get_real_val(time, &seconds);
          return Decoded{Value::date(seconds)};
        }
        if (auto whole = plistUnsigned(time)) {
          return Decoded{Value::date(static_cast<double>(static_cast<int64_t>(*whole)))};
        }
        return fail(KeyedArchiveFailure::kBadObject,
                    msg::missingContents(describe(site), cls.name, kTimeKey, "number"));
      }
      case BuiltinClass::kArray: return decodeArray(keys, allowed, site, cls.name);
      case BuiltinClass::kDictionary: return decodeDictionary(keys, allowed, site, cls.name);
    }
    return std::nullopt;
  }

  // The references of one collection key, checked: their count is the array's own size.
  std::optional<std::vector<uint64_t>> references(const PlistDictionaryIndex& keys, const char* key,
                                                  const Site& site, const std::string& className) {
    auto items = plistArrayItems(keys.find(key));
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

  // Takes an element's classes and height into its collection's.
  static void include(Decoded& collection, const Decoded& element) {
    collection.classes.add(element.classes);
    collection.height = std::max(collection.height, element.height + 1);
  }

  std::optional<Decoded> decodeArray(const PlistDictionaryIndex& keys,
                                     const std::set<std::string>* allowed, const Site& site,
                                     const std::string& className) {
    auto refs = references(keys, kObjectsKey, site, className);
    if (!refs) return std::nullopt;
    Decoded decoded;
    Value::Array elements;
    elements.reserve(refs->size());
    for (size_t i = 0; i < refs->size(); ++i) {
      const Site element = below(site, kObjectsKey, i);
      auto value = decodeReference((*refs)[i], allowed, element, /*nullAllowed=*/false);
      if (!value) return std::nullopt;
      include(decoded, *value);
      elements.push_back(std::move(value->value));
    }
    decoded.value = Value::array(std::move(elements));
    return decoded;
  }

  std::optional<Decoded> decodeDictionary(const PlistDictionaryIndex& keys,
                                          const std::set<std::string>* allowed, const Site& site,
                                          const std::string& className) {
    auto keyRefs = references(keys, kKeysKey, site, className);
    if (!keyRefs) return std::nullopt;
    auto valueRefs = references(keys, kObjectsKey, site, className);
    if (!valueRefs) return std::nullopt;
    if (keyRefs->size() != valueRefs->size()) {
      return fail(
          KeyedArchiveFailure::kBadObject,
          msg::unpairedDictionary(describe(site), className, keyRefs->size(), valueRefs->size()));
    }
    Decoded decoded;
    Value::Dictionary entries;
    for (size_t i = 0; i < keyRefs->size(); ++i) {
      const Site keySite = below(site, kKeysKey, i);
      auto key = decodeReference((*keyRefs)[i], allowed, keySite, /*nullAllowed=*/false);
      if (!key) return std::nullopt;
      if (!key->value.isString()) {
        return fail(KeyedArchiveFailure::kBadObject, msg::keyNotString(describe(keySite)));
      }
      const Site valueSite = below(site, kObjectsKey, i);
      auto value = decodeReference((*valueRefs)[i], allowed, valueSite, /*nullAllowed=*/false);
      if (!value) return std::nullopt;
      include(decoded, *key);
      include(decoded, *value);
      entries.insert_or_assign(key->value.stringValue(), std::move(value->value));
    }
    decoded.value = Value::dictionary(std::move(entries));
    return decoded;
  }

  std::optional<Decoded> decodeArchivable(uint64_t uid, const PlistDictionaryIndex& keys,
                                          const KnownClass& cls, const Site& site) {
    state_.frames.push_back({&keys, uid, cls.name});
    std::shared_ptr<const ArchivableObject> object = cls.factory(coder_);
    state_.frames.pop_back();
    if (coder_.error_) return std::nullopt;
    if (!object) {
      return fail(KeyedArchiveFailure::kFailedByClass, msg::madeNothing(describe(site), cls.name));
    }
    // The class checked is the class made.
    if (object->className() != cls.name) {
      return fail(KeyedArchiveFailure::kFailedByClass,
                  msg::madeAnotherClass(describe(site), cls.name, object->className()));
    }
    return Decoded{Value::object(std::move(object))};
  }

  // The class a class entry resolves to, read once per entry: the first name of its "$classes"
  // that is built in or registered, as NSKeyedUnarchiver takes the first class of the list it
  // can find; "$classname" alone when the entry has no list.
  const KnownClass* classOfEntry(uint64_t reference, const Site& site) {
    if (auto it = state_.classEntries.find(reference); it != state_.classEntries.end()) {
      return it->second;
    }
    if (reference >= state_.objects.size()) {
      fail(KeyedArchiveFailure::kBadReference,
           msg::referenceOutside(describe(site), reference, state_.objects.size()));
      return nullptr;
    }
    const PlistDictionaryIndex entry(state_.objects[reference]);
    auto name = plistString(entry.find(kClassNameKey));
    bool wellFormed = name.has_value() && !name->empty();
    std::vector<std::string> candidates;
    if (plist_t classes = entry.find(kClassesKey)) {
      auto items = plistArrayItems(classes);
      wellFormed = wellFormed && items.has_value();
      for (plist_t item : items.value_or(std::vector<plist_t>())) {
        auto className = plistString(item);
        if (!className) wellFormed = false;
        if (!wellFormed) break;
        candidates.push_back(std::move(*className));
      }
    }
    if (!wellFormed) {
      fail(KeyedArchiveFailure::kBadObject, msg::badClassEntry(describe(site), reference));
      return nullptr;
    }
    if (candidates.empty()) candidates.push_back(*name);
    const KnownClass* resolved = nullptr;
    for (const std::string& candidate : candidates) {
      if ((resolved = knownClass(candidate))) break;
    }
    if (!resolved) {
      fail(KeyedArchiveFailure::kUnknownClass, msg::unknownClass(describe(site), *name));
      return nullptr;
    }
    state_.classEntries.emplace(reference, resolved);
    return resolved;
  }

  // The built-in or registered class of that name, nullptr for one we do not know.
  const KnownClass* knownClass(const std::string& name) {
    if (auto it = state_.knownByName.find(name); it != state_.knownByName.end()) {
      return it->second;
    }
    const KnownClass* known = nullptr;
    if (const BuiltinClassEntry* builtin = builtinClassNamed(name)) {
      known =
          &addKnownClass(name, {builtin->classes().begin(), builtin->classes().end()}, builtin, {});
    } else if (auto registered = registeredClass(name)) {
      known = &addKnownClass(name, std::move(registered->hierarchy), nullptr,
                             std::move(registered->factory));
    }
    state_.knownByName.emplace(name, known);
    return known;
  }

  const KnownClass& addKnownClass(const std::string& name, std::vector<std::string> hierarchy,
                                  const BuiltinClassEntry* builtin, ClassFactory factory) {
    KnownClass& cls = state_.knownClasses.emplace_back();
    cls.id = static_cast<uint32_t>(state_.knownClasses.size() - 1);
    cls.name = name;
    cls.hierarchy = std::move(hierarchy);
    cls.builtin = builtin;
    cls.factory = std::move(factory);
    return cls;
  }

  bool charge(size_t bytes, const Site& site) {
    if (coder_.error_) return false;
    const size_t limit = state_.maxDecodedBytes;
    if (bytes > limit || state_.decodedBytes > limit - bytes) {
      fail(KeyedArchiveFailure::kTooMuch, msg::tooMuch(describe(site), limit));
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
  return Decoder(*this).decodeKey(state_->frames.front(), kRootKey,
                                  requiresSecureCoding_ ? &classes : nullptr);
}

std::optional<Value> KeyedUnarchiver::decodeRootObject() {
  if (requiresSecureCoding_) {
    failWithError(KeyedArchiveFailure::kInsecureDecoding,
                  keyed_messages::insecure("decodeRootObject", kRootKey));
    return std::nullopt;
  }
  return Decoder(*this).decodeKey(state_->frames.front(), kRootKey, nullptr);
}

bool KeyedUnarchiver::containsValueForKey(const std::string& key) const {
  return state_->frames.back().keys->find(escapedKey(key)) != nullptr;
}

std::optional<Value> KeyedUnarchiver::decodeObjectOfClasses(const std::set<std::string>& classes,
                                                            const std::string& key) {
  return Decoder(*this).decodeKey(state_->frames.back(), key,
                                  requiresSecureCoding_ ? &classes : nullptr);
}

std::optional<Value> KeyedUnarchiver::decodeObject(const std::string& key) {
  if (requiresSecureCoding_) {
    failWithError(KeyedArchiveFailure::kInsecureDecoding,
                  keyed_messages::insecure("decodeObject", key));
    return std::nullopt;
  }
  return Decoder(*this).decodeKey(state_->frames.back(), key, nullptr);
}

int64_t KeyedUnarchiver::decodeInt64(const std::string& key) {
  if (error_) return 0;
  plist_t node = state_->frames.back().keys->find(escapedKey(key));
  // Any number is read as an integer, as Foundation's open-source NSKeyedUnarchiver
  // (swift-corelibs-foundation, decodeInt64(forKey:) and decodeInteger(forKey:)) answers the
  // NSNumber's int64Value: a real is truncated toward zero (here saturated at the ends of the
  // range, NaN giving 0), a boolean is 0 or 1. Apple's NSKeyedUnarchiver reference describes a
  // stricter rule, an NSInvalidUnarchiveOperationException for an integer decode of a real;
  // a decoder of untrusted archives raises nothing, so the open-source reading is followed.
  switch (node ? plist_get_node_type(node) : PLIST_NONE) {
    case PLIST_UINT: return static_cast<int64_t>(*plistUnsigned(node));
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      return Value::real(d, CFNumberType::kCFNumberFloat64Type).longLongValue();
    }
    case PLIST_BOOLEAN: return plist_bool_val_is_true(node) ? 1 : 0;
    default: return 0;
  }
}

bool KeyedUnarchiver::decodeBool(const std::string& key) {
  if (error_) return false;
  plist_t node = state_->frames.back().keys->find(escapedKey(key));
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
  plist_t node = state_->frames.back().keys->find(escapedKey(key));
  if (node && plist_get_node_type(node) == PLIST_REAL) {
    double d = 0;
    plist_get_real_val(node, &d);
    return d;
  }
  auto value = plistUnsigned(node);
  return value ? static_cast<double>(static_cast<int64_t>(*value)) : 0;
}

}  // namespace premoov
