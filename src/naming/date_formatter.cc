#include "naming/date_formatter.h"

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <mutex>

namespace premoov {
namespace {

// The lock every use of the shared formatter holds; ICU formatters are not safe to use from
// several threads at once.
std::mutex& dateFormatterLock() {
  static std::mutex lock;
  return lock;
}

// Made once from the process's default locale (ICU reads LC_ALL, LC_MESSAGES or LANG) and
// default zone (TZ, else the system's), then kept for the life of the process.
icu::DateFormat* sharedDateFormatter() {
  static std::once_flag once;
  static icu::DateFormat* formatter = nullptr;
  std::call_once(once, [] {
    formatter = icu::DateFormat::createDateTimeInstance(
        icu::DateFormat::kLong, icu::DateFormat::kMedium, icu::Locale::getDefault());
    if (formatter != nullptr) formatter->adoptTimeZone(icu::TimeZone::createDefault());
  });
  return formatter;
}

}  // namespace

std::optional<std::string> formatLongDateMediumTime(double secondsSinceReferenceDate) {
  icu::DateFormat* formatter = sharedDateFormatter();
  if (formatter == nullptr) return std::nullopt;
  // ICU dates count milliseconds since 1970-01-01 00:00:00 UTC.
  const UDate date = (secondsSinceReferenceDate + kReferenceDateUnixSeconds) * 1000.0;
  icu::UnicodeString text;
  {
    const std::lock_guard<std::mutex> hold(dateFormatterLock());
    formatter->format(date, text);
  }
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

}  // namespace premoov
