#pragma once

#include <optional>
#include <string>

#include "plist/keyed_archive.h"
#include "plist/value.h"

namespace premoov {

// The text a missing object is written as where a format puts an object ("%@"): naming
// patterns and codes built from a token without a display name or formatter carry it.
inline constexpr const char* kMissingObjectText = "(null)";

inline std::string objectText(const std::optional<std::string>& s) {
  return s ? *s : std::string(kMissingObjectText);
}

// The string a decoded or looked-up object holds, or nothing when there is no object or it is
// not a string.
inline std::optional<std::string> stringIn(const Value* object) {
  if (object == nullptr || !object->isString()) return std::nullopt;
  return object->stringValue();
}

inline std::optional<std::string> stringIn(const std::optional<Value>& object) {
  return stringIn(object ? &*object : nullptr);
}

// Encodes an optional string field under `key`: a missing one as a reference to "$null".
inline void encodeString(KeyedArchiver& coder, const std::optional<std::string>& s,
                         const std::string& key) {
  if (s) {
    coder.encodeObject(Value::string(*s), key);
  } else {
    coder.encodeObject(nullptr, key);
  }
}

}  // namespace premoov
