#pragma once

#include <bit>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

#include "plist/value.h"

namespace premoov::fuzzing {

// A value as text, exactly, for comparing what two decodings made: numbers with their kind and
// bits, data byte by byte, dates by their bits, objects as `objectText` writes them. (Bytes of
// two archives cannot be compared: equal objects may be shared or not.)
inline std::string canonicalValue(const Value& value,
                                  const std::function<std::string(const Value&)>& objectText) {
  const auto recurse = [&](const Value& element) { return canonicalValue(element, objectText); };
  char buffer[96];
  switch (value.kind()) {
    case Value::Kind::Dictionary: {
      std::string out = "{";
      for (const auto& [key, element] : value.entries()) {
        out += "\"" + key + "\":" + recurse(element) + ",";
      }
      return out + "}";
    }
    case Value::Kind::Array: {
      std::string out = "[";
      for (const Value& element : value.elements()) out += recurse(element) + ",";
      return out + "]";
    }
    case Value::Kind::String: return "\"" + value.stringValue() + "\"";
    case Value::Kind::Number:
      std::snprintf(
          buffer, sizeof buffer, "n%d:%lld:%llx", static_cast<int>(value.numberType()),
          static_cast<long long>(value.isFloatingNumber() ? 0 : value.longLongValue()),
          static_cast<unsigned long long>(
              value.isFloatingNumber() ? std::bit_cast<uint64_t>(value.doubleValue()) : 0));
      return buffer;
    case Value::Kind::Boolean: return value.boolValue() ? "true" : "false";
    case Value::Kind::Data: {
      std::string out = "<";
      for (uint8_t b : value.bytes()) {
        std::snprintf(buffer, sizeof buffer, "%02x", b);
        out += buffer;
      }
      return out + ">";
    }
    case Value::Kind::Date:
      std::snprintf(buffer, sizeof buffer, "d%llx",
                    static_cast<unsigned long long>(
                        std::bit_cast<uint64_t>(value.timeIntervalSinceReferenceDate())));
      return buffer;
    case Value::Kind::Object: return objectText(value);
  }
  return "?";
}

}  // namespace premoov::fuzzing
