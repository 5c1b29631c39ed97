#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace premoov {

// How the archive dump writes the values it finds, one line each.

// "text" in double quotes, '"', '\' and control characters escaped as in JSON, so that a value
// never breaks its line. Text longer than `limit` bytes is cut at a UTF-8 character boundary and
// ends in `..." (N bytes)`.
std::string quotedText(std::string_view text, size_t limit);

// "data (N bytes) 0a0b0c": lower-case hex of the first `limit` bytes, then "..." when cut.
std::string dataText(std::span<const uint8_t> bytes, size_t limit);

// The shortest decimal text that reads back as `value`, always with a fraction or an exponent
// ("2.0", "2.5", "1e+300"), so that a real never reads as an integer; "nan", "inf", "-inf".
std::string realText(double value);

// "2024-03-05T13:07:09Z" (".250Z" when there are milliseconds, rounded to them) for seconds since
// 2001-01-01 00:00:00 UTC; nothing for values outside the years 1 to 9999 or not finite.
std::optional<std::string> iso8601UtcOf(double secondsSinceReferenceDate);

}  // namespace premoov
