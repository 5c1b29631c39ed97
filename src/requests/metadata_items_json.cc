#include "requests/metadata_items_json.h"

#include <array>
#include <cctype>
#include <cmath>
#include <limits>

#include "naming/metadata_item.h"
#include "requests/request_messages.h"

namespace premoov {
namespace {

struct NumberType {
  std::string_view name;
  CFNumberType type;
};

constexpr std::array<NumberType, 6> kNumberTypes{{
    {"int32", CFNumberType::kCFNumberSInt32Type},
    {"int64", CFNumberType::kCFNumberSInt64Type},
    {"float32", CFNumberType::kCFNumberFloat32Type},
    {"float64", CFNumberType::kCFNumberFloat64Type},
    {"float", CFNumberType::kCFNumberFloatType},
    {"double", CFNumberType::kCFNumberDoubleType},
}};

// Days from 1970-01-01 to the given civil date (proleptic Gregorian).
int64_t daysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}
  std::optional<int> digits(size_t count) {
    if (text_.size() - at_ < count) return std::nullopt;
    int v = 0;
    for (size_t i = 0; i < count; ++i) {
      const char c = text_[at_ + i];
      if (!std::isdigit(static_cast<unsigned char>(c))) return std::nullopt;
      v = v * 10 + (c - '0');
    }
    at_ += count;
    return v;
  }
  bool take(char c) {
    if (at_ < text_.size() && text_[at_] == c) {
      ++at_;
      return true;
    }
    return false;
  }
  std::optional<char> peek() const {
    return at_ < text_.size() ? std::optional(text_[at_]) : std::nullopt;
  }
  bool atEnd() const { return at_ == text_.size(); }

 private:
  std::string_view text_;
  size_t at_ = 0;
};

bool validDate(int y, int m, int d) {
  if (m < 1 || m > 12 || d < 1) return false;
  constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  return d <= kDays[static_cast<size_t>(m - 1)] + (m == 2 && leap ? 1 : 0);
}

Unexpected itemError(std::string_view path) { return keyError(path, kNotMetadataItem); }

Result<Value> numberOfItem(const Json& element, std::string_view path) {
  const Json& number = element.at("number");
  const Json* typeName = memberOf(element, "numberType");
  if (!number.is_number()) return keyError(memberPath(path, "number"), kNotNumber);
  const bool integral = number.is_number_integer();
  CFNumberType type =
      integral ? CFNumberType::kCFNumberSInt64Type : CFNumberType::kCFNumberDoubleType;
  if (typeName != nullptr) {
    const auto* found = typeName->is_string()
                            ? std::find_if(kNumberTypes.begin(), kNumberTypes.end(),
                                           [&](const NumberType& t) {
                                             return t.name == typeName->get<std::string>();
                                           })
                            : kNumberTypes.end();
    if (found == kNumberTypes.end())
      return keyError(memberPath(path, "numberType"), kNotNumberType);
    type = found->type;
  }
  if (isFloatingType(type)) {
    auto real = numberOf(number, memberPath(path, "number"));
    if (!real) return unexpected(real.error());
    return Value::real(*real, type);
  }
  if (!integral) return keyError(memberPath(path, "number"), kNotIntegerForType);
  const int64_t min = type == CFNumberType::kCFNumberSInt32Type
                          ? std::numeric_limits<int32_t>::min()
                          : std::numeric_limits<int64_t>::min();
  const int64_t max = type == CFNumberType::kCFNumberSInt32Type
                          ? std::numeric_limits<int32_t>::max()
                          : std::numeric_limits<int64_t>::max();
  auto integer = integerIn(number, memberPath(path, "number"), min, max);
  if (!integer) return unexpected(integer.error());
  return Value::integer(*integer, type);
}

Result<Value> metadataItemOf(const Json& element, std::string_view path) {
  if (!element.is_object()) return itemError(path);
  int values = 0;
  for (const auto& [name, member] : element.items()) {
    if (name == "number" || name == "date" || name == "tokens") {
      ++values;
    } else if (name == "string") {
      values += element.contains("tokens") ? 0 : 1;
    } else if (name == "numberType") {
      if (!element.contains("number")) return itemError(path);
    } else if (name != "key") {
      return itemError(path);
    }
  }
  if (values != 1) return itemError(path);
  auto key = requiredMemberOf(element, path, "key");
  if (!key) return unexpected(key.error());
  auto keyText = stringOf(**key, memberPath(path, "key"));
  if (!keyText) return unexpected(keyText.error());

  std::optional<std::string> text;
  if (const Json* string = memberOf(element, "string")) {
    auto s = stringOf(*string, memberPath(path, "string"));
    if (!s) return unexpected(s.error());
    text = std::move(*s);
  }
  Value value;
  if (element.contains("number")) {
    auto number = numberOfItem(element, path);
    if (!number) return unexpected(number.error());
    value = std::move(*number);
  } else if (const Json* date = memberOf(element, "date")) {
    const std::string datePath = memberPath(path, "date");
    auto dateText = stringOf(*date, datePath);
    if (!dateText) return unexpected(dateText.error());
    const auto seconds = secondsSinceReferenceDateOf(*dateText);
    if (!seconds) return keyError(datePath, kNotISO8601Date);
    value = Value::date(*seconds);
  } else if (const Json* tokens = memberOf(element, "tokens")) {
    const std::string tokensPath = memberPath(path, "tokens");
    if (!tokens->is_array()) return keyError(tokensPath, kNotArray);
    value = Value::array();
    for (size_t i = 0; i < tokens->size(); ++i) {
      auto token = stringOf((*tokens)[i], elementPath(tokensPath, i));
      if (!token) return unexpected(token.error());
      value.append(Value::string(std::move(*token)));
    }
  } else {
    value = Value::string(text.value_or(""));
  }

  auto item = ZPRMetadataItem::initWithKey(*keyText, &value);
  if (!item) return itemError(path);
  // A token list keeps its text alongside, as a client sets it.
  if (item->valueType() == ZPRMetadataValueTypeTokens && text) item->setStringValue(text);
  return Value::object(std::move(item));
}

}  // namespace

std::optional<double> secondsSinceReferenceDateOf(std::string_view iso8601) {
  Scanner s(iso8601);
  const auto year = s.digits(4);
  if (!year || !s.take('-')) return std::nullopt;
  const auto month = s.digits(2);
  if (!month || !s.take('-')) return std::nullopt;
  const auto day = s.digits(2);
  if (!day || !(s.take('T') || s.take(' '))) return std::nullopt;
  const auto hour = s.digits(2);
  if (!hour || !s.take(':')) return std::nullopt;
  const auto minute = s.digits(2);
  if (!minute || !s.take(':')) return std::nullopt;
  const auto second = s.digits(2);
  if (!second) return std::nullopt;
  double fraction = 0;
  if (s.take('.')) {
    double scale = 0.1;
    bool any = false;
    while (auto c = s.peek()) {
      if (!std::isdigit(static_cast<unsigned char>(*c))) break;
      fraction += (*c - '0') * scale;
      scale /= 10;
      any = true;
      s.digits(1);
    }
    if (!any) return std::nullopt;
  }
  int offsetSeconds = 0;
  if (!s.take('Z')) {
    const bool minus = s.peek() == '-';
    if (!s.take('+') && !s.take('-')) return std::nullopt;
    const auto offsetHours = s.digits(2);
    if (!offsetHours) return std::nullopt;
    s.take(':');
    const auto offsetMinutes = s.digits(2);
    if (!offsetMinutes || *offsetHours > 23 || *offsetMinutes > 59) return std::nullopt;
    offsetSeconds = (*offsetHours * 3600 + *offsetMinutes * 60) * (minus ? -1 : 1);
  }
  if (!s.atEnd() || !validDate(*year, *month, *day) || *hour > 23 || *minute > 59 || *second > 60) {
    return std::nullopt;
  }
  constexpr int64_t kReferenceDateSince1970 = 978'307'200;  // 2001-01-01 00:00:00 UTC
  const int64_t since1970 = daysFromCivil(*year, *month, *day) * 86400 + *hour * 3600 +
                            *minute * 60 + *second - offsetSeconds;
  return static_cast<double>(since1970 - kReferenceDateSince1970) + fraction;
}

Result<Value> metadataItemsOf(const Json& value, std::string_view path) {
  if (!value.is_array()) return keyError(path, kNotArray);
  Value items = Value::array();
  for (size_t i = 0; i < value.size(); ++i) {
    auto item = metadataItemOf(value[i], elementPath(path, i));
    if (!item) return unexpected(item.error());
    items.append(std::move(*item));
  }
  return items;
}

}  // namespace premoov
