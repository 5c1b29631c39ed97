#include "premoov/archive_dump_text.h"

#include <charconv>
#include <cmath>

#include "base/log.h"

namespace premoov {
namespace {

constexpr double kSecondsPerDay = 86400;
// 2001-01-01 counted in days from 1970-01-01, and the range of years written.
constexpr int64_t kReferenceDateDays = 11323;
constexpr int64_t kFirstYear = 1;
constexpr int64_t kLastYear = 9999;

struct CivilDate {
  int64_t year;
  int64_t month;
  int64_t day;
};

// The proleptic Gregorian date `days` after 1970-01-01 (negative: before).
CivilDate civilFromDays(int64_t days) {
  days += 719468;
  const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const int64_t doe = days - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t day = doy - (153 * mp + 2) / 5 + 1;
  const int64_t month = mp < 10 ? mp + 3 : mp - 9;
  return {yoe + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

bool isContinuationByte(char c) { return (static_cast<uint8_t>(c) & 0xC0) == 0x80; }

}  // namespace

std::string quotedText(std::string_view text, size_t limit) {
  std::string_view shown = text;
  if (shown.size() > limit) {
    size_t end = limit;
    while (end > 0 && isContinuationByte(text[end])) --end;
    shown = text.substr(0, end);
  }
  std::string out = "\"";
  for (const char c : shown) {
    const auto byte = static_cast<uint8_t>(c);
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (byte < 0x20 || byte == 0x7F) {
          out += stringWithFormat("\\u%04x", byte);
        } else {
          out += c;
        }
    }
  }
  if (shown.size() < text.size()) {
    out += stringWithFormat("...\" (%zu bytes)", text.size());
  } else {
    out += '"';
  }
  return out;
}

std::string dataText(std::span<const uint8_t> bytes, size_t limit) {
  std::string out = stringWithFormat("data (%zu bytes)", bytes.size());
  if (!bytes.empty()) out += ' ';
  constexpr char kDigits[] = "0123456789abcdef";
  for (size_t i = 0; i < bytes.size() && i < limit; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 0x0F];
  }
  if (bytes.size() > limit) out += "...";
  return out;
}

std::string realText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
  std::string out(buffer, result.ptr);
  if (out.find_first_of(".e") == std::string::npos) out += ".0";
  return out;
}

std::optional<std::string> iso8601UtcOf(double secondsSinceReferenceDate) {
  if (!std::isfinite(secondsSinceReferenceDate)) return std::nullopt;
  // Whole milliseconds first, so that 59.9996 s rounds into the next minute, not to "60.000".
  const double milliseconds = std::round(secondsSinceReferenceDate * 1000);
  constexpr double kMillisecondsPerDay = kSecondsPerDay * 1000;
  // Below 2^53 every whole millisecond is exact; the years 1 to 9999 lie within 3.2e14 ms.
  if (std::fabs(milliseconds) > 1e15) return std::nullopt;
  const double dayCount = std::floor(milliseconds / kMillisecondsPerDay);
  const auto days = static_cast<int64_t>(dayCount);
  const auto inDay = static_cast<int64_t>(milliseconds - dayCount * kMillisecondsPerDay);
  const CivilDate date = civilFromDays(days + kReferenceDateDays);
  if (date.year < kFirstYear || date.year > kLastYear) return std::nullopt;
  const int64_t second = inDay / 1000;
  const int64_t millisecond = inDay % 1000;
  std::string out = stringWithFormat(
      "%04lld-%02lld-%02lldT%02lld:%02lld:%02lld", static_cast<long long>(date.year),
      static_cast<long long>(date.month), static_cast<long long>(date.day),
      static_cast<long long>(second / 3600), static_cast<long long>(second / 60 % 60),
      static_cast<long long>(second % 60));
  if (millisecond != 0) out += stringWithFormat(".%03lld", static_cast<long long>(millisecond));
  return out + "Z";
}

}  // namespace premoov
