#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace premoov {

// CoreFoundation's number types: a number remembers how it was made (metadata stores a float
// number differently from an integer one).
enum class CFNumberType : int {
  kCFNumberSInt8Type = 1,
  kCFNumberSInt16Type = 2,
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberFloat32Type = 5,
  kCFNumberFloat64Type = 6,
  kCFNumberCharType = 7,
  kCFNumberShortType = 8,
  kCFNumberIntType = 9,
  kCFNumberLongType = 10,
  kCFNumberLongLongType = 11,
  kCFNumberFloatType = 12,
  kCFNumberDoubleType = 13,
};

bool isFloatingType(CFNumberType type);
// CFNumberGetByteSize of a floating type: 4 for the 32-bit float types, 8 for the others.
bool isSinglePrecisionType(CFNumberType type);
// `d` rounded to the nearest float as IEEE arithmetic rounds it, without the undefined behaviour
// of casting a double beyond the float range: such values become infinite.
float roundedToFloat(double d);

// An object of one of our own archivable classes carried inside a value tree (a metadata item in
// the settings, say). The class name is what the allowed-class checks look at.
class ValueObject {
 public:
  virtual ~ValueObject() = default;
  virtual std::string className() const = 0;
};

// A property-list value: the settings dictionary of a header request and everything inside it.
// Messages to a missing object answer zero, as they do in the system this mirrors: every accessor
// below is also offered as a free function on `const Value*` that answers 0 for nullptr.
// Copies of an array or a dictionary share its elements until one of them is changed, so that a
// value decoded once and referred to many times costs one copy of its elements, not one per
// reference.
class Value {
 public:
  enum class Kind { Dictionary, Array, String, Number, Boolean, Data, Date, Object };
  using Dictionary = std::map<std::string, Value>;
  using Array = std::vector<Value>;

  Value();  // an empty dictionary
  static Value dictionary(Dictionary entries = {});
  static Value array(Array elements = {});
  static Value string(std::string s);
  static Value integer(int64_t v, CFNumberType type = CFNumberType::kCFNumberSInt64Type);
  // A number of a single-precision type (kCFNumberFloat32Type, kCFNumberFloatType) holds `v`
  // rounded to a float, as NSNumber's numberWithFloat: does.
  static Value real(double v, CFNumberType type = CFNumberType::kCFNumberDoubleType);
  static Value boolean(bool v);
  static Value data(std::vector<uint8_t> bytes);
  // Seconds since 2001-01-01 00:00:00 UTC, the reference date of the system's dates.
  static Value date(double secondsSinceReferenceDate);
  static Value object(std::shared_ptr<const ValueObject> object);

  Kind kind() const { return kind_; }
  bool isDictionary() const { return kind_ == Kind::Dictionary; }
  bool isArray() const { return kind_ == Kind::Array; }
  bool isString() const { return kind_ == Kind::String; }
  bool isNumber() const { return kind_ == Kind::Number || kind_ == Kind::Boolean; }
  bool isData() const { return kind_ == Kind::Data; }
  bool isDate() const { return kind_ == Kind::Date; }
  bool isObject() const { return kind_ == Kind::Object; }

  // Dictionary access: nullptr when this is no dictionary or the key is absent.
  const Value* objectForKey(const std::string& key) const;
  void setObject(const std::string& key, Value value);
  const Dictionary& entries() const;
  const Array& elements() const;
  void append(Value value) { mutableElements().push_back(std::move(value)); }

  const std::string& stringValue() const { return string_; }
  const std::vector<uint8_t>& bytes() const { return data_; }
  // Moves the bytes of a data object out, leaving it empty: a header is handed on, not copied.
  std::vector<uint8_t> takeBytes() { return std::move(data_); }
  double timeIntervalSinceReferenceDate() const { return real_; }
  const std::shared_ptr<const ValueObject>& objectValue() const { return object_; }
  CFNumberType numberType() const { return numberType_; }
  bool isFloatingNumber() const { return kind_ == Kind::Number && isFloatingType(numberType_); }

  // NSNumber-style conversions (widths of the 32-bit build); strings convert as NSString does.
  // Any other kind answers 0 and logs, where the system would have stopped on an unknown message.
  uint32_t unsignedLongValue() const;
  int32_t intValue() const;
  int16_t shortValue() const;
  bool boolValue() const;
  int64_t longLongValue() const;
  double doubleValue() const;

  // Copies this data object into `destination`, at most destination.size() bytes; a longer
  // object is cut and logged, since copying all of it would run past the destination.
  void getBytes(std::span<uint8_t> destination) const;

  bool operator==(const Value& other) const;

 private:
  // The elements, copied first when another value shares them.
  Dictionary& mutableEntries();
  Array& mutableElements();

  Kind kind_ = Kind::Dictionary;
  std::shared_ptr<Dictionary> dictionary_;  // nullptr while empty
  std::shared_ptr<Array> array_;            // nullptr while empty
  std::string string_;
  std::vector<uint8_t> data_;
  int64_t integer_ = 0;
  double real_ = 0;
  CFNumberType numberType_ = CFNumberType::kCFNumberSInt64Type;
  std::shared_ptr<const ValueObject> object_;
};

// Messages to a possibly missing object: nullptr answers zero, NO, or nothing copied.
uint32_t unsignedLongValue(const Value* v);
int32_t intValue(const Value* v);
int16_t shortValue(const Value* v);
bool boolValue(const Value* v);
void getBytes(const Value* v, std::span<uint8_t> destination);

const char* kindName(Value::Kind kind);

}  // namespace premoov
