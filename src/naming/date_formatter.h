#pragma once

#include <optional>
#include <string>

namespace premoov {

// Seconds from 1970-01-01 to 2001-01-01 00:00:00 UTC, the reference date of the system's dates.
inline constexpr double kReferenceDateUnixSeconds = 978307200.0;

// A date (seconds since 2001-01-01 00:00:00 UTC) as UTF-8 text in long date and medium time
// style ("March 5, 2024 at 2:07:09 PM"), in the locale and time zone the process had when it
// first formatted a date. One formatter serves the whole process: it is made on first use, never
// freed, and every use holds one process-wide lock. Nothing when the formatter cannot be made.
std::optional<std::string> formatLongDateMediumTime(double secondsSinceReferenceDate);

}  // namespace premoov
