#pragma once

#include <string_view>

#include "base/result.h"
#include "plist/value.h"
#include "requests/json_fields.h"

namespace premoov {

// The "metadataItems" of a request file: an array whose elements are
//   {"key": K, "string": S}
//   {"key": K, "number": N, "numberType": "int32"|"int64"|"float32"|"float64"|"float"|"double"}
//   {"key": K, "date": "2024-03-05T14:07:09+01:00"}   (ISO 8601 with an offset or Z)
//   {"key": K, "tokens": ["$$Day#EEE", " take ", "$$Counter.3"], "string": S}  (string optional)
// becomes an array of metadata items. Integers default to "int64", fractions to "double".
Result<Value> metadataItemsOf(const Json& value, std::string_view path);

// Seconds since 2001-01-01 00:00:00 UTC of an ISO 8601 date and time with its offset
// ("2024-03-05T14:07:09.25+01:00", "...Z"); nothing when the text is no such date.
std::optional<double> secondsSinceReferenceDateOf(std::string_view iso8601);

}  // namespace premoov
