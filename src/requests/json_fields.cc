#include "requests/json_fields.h"

#include <cmath>
#include <limits>
#include <optional>

#include "requests/base64.h"
#include "requests/request_messages.h"

namespace premoov {

std::string memberPath(std::string_view parent, std::string_view key) {
  std::string path(parent);
  if (!path.empty()) path += '.';
  path += key;
  return path;
}

std::string elementPath(std::string_view parent, size_t index) {
  return std::string(parent) + "[" + std::to_string(index) + "]";
}

Unexpected keyError(std::string_view path, std::string_view text) {
  std::string message = "\"";
  message += path;
  message += "\" ";
  message += text;
  return unexpected(std::move(message));
}

const Json* memberOf(const Json& object, std::string_view key) {
  if (!object.is_object()) return nullptr;
  const auto it = object.find(key);
  return it == object.end() ? nullptr : &*it;
}

Result<const Json*> requiredMemberOf(const Json& object, std::string_view parent,
                                     std::string_view key) {
  const Json* member = memberOf(object, key);
  if (member == nullptr) return keyError(memberPath(parent, key), kMissing);
  return member;
}

Result<int64_t> integerIn(const Json& value, std::string_view path, int64_t min, int64_t max) {
  bool inRange = false;
  int64_t integer = 0;
  if (value.is_number_unsigned()) {
    const auto u = value.get<uint64_t>();
    inRange = u <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) &&
              static_cast<int64_t>(u) >= min && static_cast<int64_t>(u) <= max;
    integer = inRange ? static_cast<int64_t>(u) : 0;
  } else if (value.is_number_integer()) {
    integer = value.get<int64_t>();
    inRange = integer >= min && integer <= max;
  }
  if (!inRange) {
    std::string text(kNotIntegerInRange);
    text += std::to_string(min) + " to " + std::to_string(max);
    return keyError(path, text);
  }
  return integer;
}

Result<uint32_t> unsigned32(const Json& value, std::string_view path) {
  auto integer = integerIn(value, path, 0, std::numeric_limits<uint32_t>::max());
  if (!integer) return unexpected(integer.error());
  return static_cast<uint32_t>(*integer);
}

Result<double> numberOf(const Json& value, std::string_view path) {
  // A number too large for a double reads as infinity; it is no usable number either.
  if (!value.is_number() || !std::isfinite(value.get<double>())) return keyError(path, kNotNumber);
  return value.get<double>();
}

Result<bool> booleanOf(const Json& value, std::string_view path) {
  if (!value.is_boolean()) return keyError(path, kNotBoolean);
  return value.get<bool>();
}

Result<std::string> stringOf(const Json& value, std::string_view path) {
  if (!value.is_string()) return keyError(path, kNotString);
  return value.get<std::string>();
}

Result<uint32_t> fourCharacterCodeOf(const Json& value, std::string_view path) {
  if (value.is_string()) {
    const auto& s = value.get_ref<const std::string&>();
    bool printable = s.size() == 4;
    uint32_t code = 0;
    for (const char c : s) {
      printable = printable && c >= 0x20 && c <= 0x7E;
      code = (code << 8) | static_cast<uint8_t>(c);
    }
    if (printable) return code;
  } else if (value.is_number_integer()) {
    const auto integer = integerIn(value, path, 0, std::numeric_limits<uint32_t>::max());
    if (integer) return static_cast<uint32_t>(*integer);
  }
  return keyError(path, kNotFourCharacterCode);
}

bool isDataObject(const Json& value) { return memberOf(value, "base64") != nullptr; }

Result<std::vector<uint8_t>> dataOf(const Json& value, std::string_view path) {
  const Json* text = memberOf(value, "base64");
  if (text == nullptr) return keyError(path, kNotData);
  const std::string textPath = memberPath(path, "base64");
  if (!text->is_string()) return keyError(textPath, kNotString);
  auto bytes = decodeBase64(text->get_ref<const std::string&>());
  if (!bytes) return keyError(textPath, kNotBase64);
  return std::move(*bytes);
}

Result<Value> cmTimeDictionaryOf(const Json& value, std::string_view path) {
  if (!value.is_object()) return keyError(path, kNotCMTime);
  struct Field {
    const char* key;
    int64_t min;
    int64_t max;
    CFNumberType type;
    std::optional<int64_t> absent;  // nothing: the field is required
  };
  const Field fields[] = {
      {kCMTimeValueKey, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
       CFNumberType::kCFNumberSInt64Type, std::nullopt},
      {kCMTimeScaleKey, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(),
       CFNumberType::kCFNumberSInt32Type, std::nullopt},
      {kCMTimeFlagsKey, 0, std::numeric_limits<uint32_t>::max(), CFNumberType::kCFNumberSInt32Type,
       int64_t{kCMTimeFlags_Valid}},
      {kCMTimeEpochKey, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
       CFNumberType::kCFNumberSInt64Type, int64_t{0}},
  };
  Value dictionary = Value::dictionary();
  for (const Field& field : fields) {
    const Json* member = memberOf(value, field.key);
    int64_t number = 0;
    if (member == nullptr) {
      if (!field.absent) return keyError(memberPath(path, field.key), kMissing);
      number = *field.absent;
    } else {
      auto integer = integerIn(*member, memberPath(path, field.key), field.min, field.max);
      if (!integer) return unexpected(integer.error());
      number = *integer;
    }
    dictionary.setObject(field.key, Value::integer(number, field.type));
  }
  return dictionary;
}

Result<CMTime> cmTimeOf(const Json& value, std::string_view path) {
  auto dictionary = cmTimeDictionaryOf(value, path);
  if (!dictionary) return unexpected(dictionary.error());
  return CMTimeMakeFromDictionary(&*dictionary);
}

}  // namespace premoov
