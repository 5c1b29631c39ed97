#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "media/cm_time.h"

namespace premoov {

using Json = nlohmann::json;

// Typed reads of the values of a request file. Each takes the key path that reached the value
// ("settings.asbds[0].formatID") and fails with `"KEY.PATH" <what it must be>`; the caller puts
// the file name in front.

std::string memberPath(std::string_view parent, std::string_view key);  // "a" + "b" -> "a.b"
std::string elementPath(std::string_view parent, size_t index);         // "a" + 2 -> "a[2]"
Unexpected keyError(std::string_view path, std::string_view text);

// The member `key` of `object` (an object), or nullptr when it is absent.
const Json* memberOf(const Json& object, std::string_view key);
// The member `key` of `object`, failing with `"PARENT.KEY" is missing` when it is absent.
Result<const Json*> requiredMemberOf(const Json& object, std::string_view parent,
                                     std::string_view key);

Result<int64_t> integerIn(const Json& value, std::string_view path, int64_t min, int64_t max);
Result<uint32_t> unsigned32(const Json& value, std::string_view path);
// An integer or a number with a fraction, as a double.
Result<double> numberOf(const Json& value, std::string_view path);
Result<bool> booleanOf(const Json& value, std::string_view path);
Result<std::string> stringOf(const Json& value, std::string_view path);

// A four-character code written as its four characters ("apch", printable ASCII) or as an
// integer from 0 to 2^32 - 1.
Result<uint32_t> fourCharacterCodeOf(const Json& value, std::string_view path);

// Data written {"base64": "..."}: an object with a "base64" member.
bool isDataObject(const Json& value);
Result<std::vector<uint8_t>> dataOf(const Json& value, std::string_view path);

// A time written {"value": v, "timescale": t, "flags": f, "epoch": e}, the dictionary form that
// CMTimeMakeFromDictionary reads; "flags" defaults to 1 (valid) and "epoch" to 0.
Result<Value> cmTimeDictionaryOf(const Json& value, std::string_view path);
Result<CMTime> cmTimeOf(const Json& value, std::string_view path);

}  // namespace premoov
