#pragma once

#include <string>
#include <vector>

#include "plist/value.h"

namespace premoov {

// Naming patterns: arrays whose elements are tokens (Value::object holding a ZPRToken) and plain
// literal strings; other elements are passed over.

// containsToken: — whether a token's code begins with `codePrefix`.
bool containsToken(const Value::Array& array, const std::string& codePrefix);
// tokenStringArray — one text per token or string: a token's code, followed by "." and its
// formatter when it has one ("$$Day.dd"); a string as it is.
std::vector<std::string> tokenStringArray(const Value::Array& array);
// tokenString — those texts joined with nothing between them.
std::string tokenString(const Value::Array& array);
// arrayWithStringTokens: — texts beginning with "$$" become tokens (display name: the text
// without "$$"), others stay strings.
Value::Array arrayWithStringTokens(const std::vector<std::string>& strings);

}  // namespace premoov
