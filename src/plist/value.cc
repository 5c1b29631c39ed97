#include "plist/value.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "base/log.h"

namespace premoov {

bool isFloatingType(CFNumberType type) {
  switch (type) {
    case CFNumberType::kCFNumberFloat32Type:
    case CFNumberType::kCFNumberFloat64Type:
    case CFNumberType::kCFNumberFloatType:
    case CFNumberType::kCFNumberDoubleType: return true;
    default: return false;
  }
}

bool isSinglePrecisionType(CFNumberType type) {
  return type == CFNumberType::kCFNumberFloat32Type || type == CFNumberType::kCFNumberFloatType;
}

float roundedToFloat(double d) {
  // Half a unit in the last place above FLT_MAX: from there on, rounding gives infinity.
  constexpr double kRoundsToInfinity = 0x1.ffffffp127;
  if (std::isnan(d)) return std::numeric_limits<float>::quiet_NaN();
  if (d >= kRoundsToInfinity) return std::numeric_limits<float>::infinity();
  if (d <= -kRoundsToInfinity) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(d);
}

const char* kindName(Value::Kind kind) {
  switch (kind) {
    case Value::Kind::Dictionary: return "dictionary";
    case Value::Kind::Array: return "array";
    case Value::Kind::String: return "string";
    case Value::Kind::Number: return "number";
    case Value::Kind::Boolean: return "boolean";
    case Value::Kind::Data: return "data";
    case Value::Kind::Date: return "date";
    case Value::Kind::Object: return "object";
  }
  return "value";
}

Value::Value() = default;

Value Value::dictionary(Dictionary entries) {
  Value v;
  if (!entries.empty()) v.dictionary_ = std::make_shared<Dictionary>(std::move(entries));
  return v;
}

Value Value::array(Array elements) {
  Value v;
  v.kind_ = Kind::Array;
  if (!elements.empty()) v.array_ = std::make_shared<Array>(std::move(elements));
  return v;
}

Value Value::string(std::string s) {
  Value v;
  v.kind_ = Kind::String;
  v.string_ = std::move(s);
  return v;
}

Value Value::integer(int64_t i, CFNumberType type) {
  Value v;
  v.kind_ = Kind::Number;
  v.integer_ = i;
  v.real_ = static_cast<double>(i);
  v.numberType_ = type;
  return v;
}

Value Value::real(double d, CFNumberType type) {
  Value v;
  v.kind_ = Kind::Number;
  v.real_ = isSinglePrecisionType(type) ? roundedToFloat(d) : d;
  v.numberType_ = type;
  return v;
}

Value Value::boolean(bool b) {
  Value v = integer(b ? 1 : 0, CFNumberType::kCFNumberCharType);
  v.kind_ = Kind::Boolean;
  return v;
}

Value Value::data(std::vector<uint8_t> bytes) {
  Value v;
  v.kind_ = Kind::Data;
  v.data_ = std::move(bytes);
  return v;
}

Value Value::date(double secondsSinceReferenceDate) {
  Value v;
  v.kind_ = Kind::Date;
  v.real_ = secondsSinceReferenceDate;
  return v;
}

Value Value::object(std::shared_ptr<const ValueObject> object) {
  Value v;
  v.kind_ = Kind::Object;
  v.object_ = std::move(object);
  return v;
}

const Value::Dictionary& Value::entries() const {
  static const Dictionary kEmpty;
  return dictionary_ ? *dictionary_ : kEmpty;
}

const Value::Array& Value::elements() const {
  static const Array kEmpty;
  return array_ ? *array_ : kEmpty;
}

Value::Dictionary& Value::mutableEntries() {
  if (!dictionary_) {
    dictionary_ = std::make_shared<Dictionary>();
  } else if (dictionary_.use_count() > 1) {
    dictionary_ = std::make_shared<Dictionary>(*dictionary_);
  }
  return *dictionary_;
}

Value::Array& Value::mutableElements() {
  if (!array_) {
    array_ = std::make_shared<Array>();
  } else if (array_.use_count() > 1) {
    array_ = std::make_shared<Array>(*array_);
  }
  return *array_;
}

const Value* Value::objectForKey(const std::string& key) const {
  if (kind_ != Kind::Dictionary || !dictionary_) return nullptr;
  auto it = dictionary_->find(key);
  return it == dictionary_->end() ? nullptr : &it->second;
}

void Value::setObject(const std::string& key, Value value) {
  mutableEntries().insert_or_assign(key, std::move(value));
}

namespace {

// Converts a double the way a C cast would, without the undefined behaviour of an out-of-range
// cast: NaN gives 0, values beyond the range clamp to its ends.
template <typename Int>
Int saturatingCast(double d) {
  if (std::isnan(d)) return 0;
  if (d <= static_cast<double>(std::numeric_limits<Int>::min())) {
    return std::numeric_limits<Int>::min();
  }
  if (d >= static_cast<double>(std::numeric_limits<Int>::max())) {
    return std::numeric_limits<Int>::max();
  }
  return static_cast<Int>(d);
}

// NSString's longLongValue: leading white space, optional sign, decimal digits; anything else
// stops. A decimal beyond 64 bits answers LLONG_MAX or LLONG_MIN, as NSString does.
int64_t leadingInteger(const std::string& s) {
  size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  bool negative = false;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
  // The magnitude is kept to at most 2^63, the magnitude of LLONG_MIN.
  constexpr uint64_t kLimit = uint64_t{1} << 63;
  uint64_t magnitude = 0;
  for (; i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])); ++i) {
    const auto digit = static_cast<uint64_t>(s[i] - '0');
    magnitude = magnitude > (kLimit - digit) / 10 ? kLimit : magnitude * 10 + digit;
  }
  if (negative) {
    return magnitude == kLimit ? std::numeric_limits<int64_t>::min()
                               : -static_cast<int64_t>(magnitude);
  }
  return magnitude >= kLimit ? std::numeric_limits<int64_t>::max()
                             : static_cast<int64_t>(magnitude);
}

// NSString's boolValue: YES on a leading 'Y', 'y', 'T', 't' or a non-zero digit (after white
// space and an optional sign and leading zeros).
bool leadingTruth(const std::string& s) {
  size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
  while (i < s.size() && s[i] == '0') ++i;
  if (i >= s.size()) return false;
  const char c = s[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

}  // namespace

int64_t Value::longLongValue() const {
  switch (kind_) {
    case Kind::Number:
    case Kind::Boolean:
      return isFloatingType(numberType_) ? saturatingCast<int64_t>(real_) : integer_;
    case Kind::String: return leadingInteger(string_);
    default: NSLog("A %s answers no number; 0 is used", kindName(kind_)); return 0;
  }
}

double Value::doubleValue() const {
  switch (kind_) {
    case Kind::Number:
    case Kind::Boolean: return isFloatingType(numberType_) ? real_ : static_cast<double>(integer_);
    case Kind::String: return std::strtod(string_.c_str(), nullptr);
    default: NSLog("A %s answers no number; 0 is used", kindName(kind_)); return 0;
  }
}

uint32_t Value::unsignedLongValue() const {
  if (kind_ == Kind::String) {
    NSLog("A string answers no unsignedLongValue; 0 is used");
    return 0;
  }
  if (isFloatingNumber()) return static_cast<uint32_t>(saturatingCast<int64_t>(real_));
  return static_cast<uint32_t>(longLongValue());
}

int32_t Value::intValue() const {
  if (isFloatingNumber()) return saturatingCast<int32_t>(real_);
  // NSString's intValue answers INT_MAX or INT_MIN when the decimal does not fit; numbers wrap.
  if (kind_ == Kind::String) {
    return static_cast<int32_t>(std::clamp<int64_t>(leadingInteger(string_),
                                                    std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
  }
  return static_cast<int32_t>(longLongValue());
}

int16_t Value::shortValue() const {
  if (kind_ == Kind::String) {
    NSLog("A string answers no shortValue; 0 is used");
    return 0;
  }
  if (isFloatingNumber()) return static_cast<int16_t>(saturatingCast<int32_t>(real_));
  return static_cast<int16_t>(longLongValue());
}

bool Value::boolValue() const {
  if (kind_ == Kind::String) return leadingTruth(string_);
  if (isFloatingNumber()) return real_ != 0;
  // NSNumber's boolValue of an integer looks at the value itself, not its low byte.
  return longLongValue() != 0;
}

void Value::getBytes(std::span<uint8_t> destination) const {
  if (kind_ != Kind::Data) {
    NSLog("A %s holds no bytes; nothing is copied", kindName(kind_));
    return;
  }
  if (data_.size() > destination.size()) {
    NSLog("A data object of %zu bytes is cut to the %zu bytes it is read into", data_.size(),
          destination.size());
  }
  const size_t n = std::min(data_.size(), destination.size());
  if (n > 0) std::memcpy(destination.data(), data_.data(), n);
}

bool Value::operator==(const Value& other) const {
  if (kind_ != other.kind_) return false;
  switch (kind_) {
    case Kind::Dictionary: return dictionary_ == other.dictionary_ || entries() == other.entries();
    case Kind::Array: return array_ == other.array_ || elements() == other.elements();
    case Kind::String: return string_ == other.string_;
    case Kind::Number:
    case Kind::Boolean:
      return numberType_ == other.numberType_ && integer_ == other.integer_ &&
             (real_ == other.real_ || (std::isnan(real_) && std::isnan(other.real_)));
    case Kind::Data: return data_ == other.data_;
    case Kind::Date: return real_ == other.real_;
    case Kind::Object: return object_ == other.object_;
  }
  return false;
}

uint32_t unsignedLongValue(const Value* v) { return v ? v->unsignedLongValue() : 0; }
int32_t intValue(const Value* v) { return v ? v->intValue() : 0; }
int16_t shortValue(const Value* v) { return v ? v->shortValue() : 0; }
bool boolValue(const Value* v) { return v ? v->boolValue() : false; }
void getBytes(const Value* v, std::span<uint8_t> destination) {
  if (v) v->getBytes(destination);
}

}  // namespace premoov
