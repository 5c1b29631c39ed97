#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace premoov {

// How the platform's own value classes travel in a keyed archive. Strings, numbers and data are
// plain property-list values in "$objects"; the others are dictionaries with a "$class".
enum class BuiltinClass {
  kString,      // plain string, or {"NS.string": string} for NSMutableString
  kNumber,      // plain integer, real or boolean
  kData,        // plain data, or {"NS.data": data} for NSMutableData
  kDate,        // {"NS.time": real, seconds since 2001-01-01}
  kArray,       // {"NS.objects": [UID]}
  kDictionary,  // {"NS.keys": [UID], "NS.objects": [UID]}, keys and objects pairwise
};

struct BuiltinClassEntry {
  std::string_view name;
  BuiltinClass kind;
  // The class and its superclasses, as "$classes" lists them.
  std::array<std::string_view, 4> hierarchy;
  size_t hierarchySize;

  std::span<const std::string_view> classes() const { return {hierarchy.data(), hierarchySize}; }
};

// The archived class names the unarchiver makes values of, and the class chains the archiver
// writes (the first entry of each kind) and the plain values are checked against.
inline constexpr std::array<BuiltinClassEntry, 10> kBuiltinClasses{{
    {"NSString", BuiltinClass::kString, {"NSString", "NSObject"}, 2},
    {"NSMutableString", BuiltinClass::kString, {"NSMutableString", "NSString", "NSObject"}, 3},
    {"NSNumber", BuiltinClass::kNumber, {"NSNumber", "NSValue", "NSObject"}, 3},
    {"NSData", BuiltinClass::kData, {"NSData", "NSObject"}, 2},
    {"NSMutableData", BuiltinClass::kData, {"NSMutableData", "NSData", "NSObject"}, 3},
    {"NSDate", BuiltinClass::kDate, {"NSDate", "NSObject"}, 2},
    {"NSArray", BuiltinClass::kArray, {"NSArray", "NSObject"}, 2},
    {"NSMutableArray", BuiltinClass::kArray, {"NSMutableArray", "NSArray", "NSObject"}, 3},
    {"NSDictionary", BuiltinClass::kDictionary, {"NSDictionary", "NSObject"}, 2},
    {"NSMutableDictionary",
     BuiltinClass::kDictionary,
     {"NSMutableDictionary", "NSDictionary", "NSObject"},
     3},
}};

// The entry of an archived class name, nullptr for a class that is not built in.
constexpr const BuiltinClassEntry* builtinClassNamed(std::string_view name) {
  for (const BuiltinClassEntry& entry : kBuiltinClasses) {
    if (entry.name == name) return &entry;
  }
  return nullptr;
}

// The entry the archiver writes for a kind (its immutable class).
constexpr const BuiltinClassEntry& builtinClassOf(BuiltinClass kind) {
  for (const BuiltinClassEntry& entry : kBuiltinClasses) {
    if (entry.kind == kind) return entry;
  }
  return kBuiltinClasses[0];
}

// Keys of the built-in classes' archived dictionaries.
inline constexpr const char* kClassKey = "$class";
inline constexpr const char* kClassNameKey = "$classname";
inline constexpr const char* kClassesKey = "$classes";
inline constexpr const char* kObjectsKey = "NS.objects";
inline constexpr const char* kKeysKey = "NS.keys";
inline constexpr const char* kTimeKey = "NS.time";
inline constexpr const char* kStringKey = "NS.string";
inline constexpr const char* kDataKey = "NS.data";

// The archive's own top-level keys and values.
inline constexpr const char* kArchiverKey = "$archiver";
inline constexpr const char* kArchiverName = "NSKeyedArchiver";
inline constexpr const char* kVersionKey = "$version";
inline constexpr uint64_t kArchiveVersion = 100000;
inline constexpr const char* kTopKey = "$top";
inline constexpr const char* kObjectsArrayKey = "$objects";
inline constexpr const char* kRootKey = "root";
inline constexpr const char* kNullObject = "$null";

// Keys that start with '$' are written with one more '$' in front, so that they never meet the
// archive's own "$class" (NSKeyedArchiver does the same).
inline std::string escapedKey(std::string_view key) {
  std::string escaped;
  escaped.reserve(key.size() + 1);
  if (key.starts_with('$')) escaped.push_back('$');
  escaped.append(key);
  return escaped;
}

}  // namespace premoov
