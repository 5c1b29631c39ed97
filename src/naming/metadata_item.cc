#include "naming/metadata_item.h"

#include <utility>

#include "naming/date_formatter.h"
#include "naming/naming_classes.h"
#include "naming/object_text.h"

namespace premoov {
namespace {

constexpr const char* kKeyKey = "key";
constexpr const char* kValueTypeKey = "valueType";
constexpr const char* kStringValueKey = "stringValue";
constexpr const char* kNumberValueKey = "numberValue";
constexpr const char* kDateValueKey = "dateValue";
constexpr const char* kTokenValuesKey = "tokenValues";

void encodeValue(KeyedArchiver& coder, const std::optional<Value>& v, const std::string& key) {
  coder.encodeObject(v ? &*v : nullptr, key);
}

}  // namespace

std::shared_ptr<ZPRMetadataItem> ZPRMetadataItem::initWithKey(const std::string& key,
                                                              const Value* value) {
  registerNamingClasses();
  if (value == nullptr) return nullptr;
  auto item = std::make_shared<ZPRMetadataItem>();
  item->setKey(key);
  switch (value->kind()) {
    case Value::Kind::String:
      item->setValueType(ZPRMetadataValueTypeString);
      item->setStringValue(value->stringValue());
      break;
    case Value::Kind::Number:
    case Value::Kind::Boolean:
      item->setValueType(ZPRMetadataValueTypeNumber);
      item->setNumberValue(*value);
      break;
    case Value::Kind::Date:
      item->setValueType(ZPRMetadataValueTypeDate);
      item->setDateValue(*value);
      break;
    case Value::Kind::Array:
      // A token list's own text stays empty until someone sets it.
      item->setValueType(ZPRMetadataValueTypeTokens);
      item->setTokenValues(*value);
      break;
    default: return nullptr;
  }
  return item;
}

std::optional<std::string> ZPRMetadataItem::stringValue() const {
  switch (valueType()) {
    case ZPRMetadataValueTypeString:
    case ZPRMetadataValueTypeTokens: return stringValue_.get();
    case ZPRMetadataValueTypeDate: {
      const std::optional<Value> date = dateValue();
      if (!date || !date->isDate()) return std::nullopt;
      return formatLongDateMediumTime(date->timeIntervalSinceReferenceDate());
    }
    default: return std::nullopt;
  }
}

std::optional<Value> ZPRMetadataItem::value() const {
  switch (valueType()) {
    case ZPRMetadataValueTypeString: {
      std::optional<std::string> s = stringValue();
      if (!s) return std::nullopt;
      return Value::string(std::move(*s));
    }
    case ZPRMetadataValueTypeNumber: return numberValue();
    case ZPRMetadataValueTypeDate: return dateValue();
    case ZPRMetadataValueTypeTokens: return tokenValues();
    default: return std::nullopt;
  }
}

std::shared_ptr<ZPRMetadataItem> ZPRMetadataItem::copy() const {
  const std::optional<Value> v = value();
  const std::optional<std::string> k = key();
  std::shared_ptr<ZPRMetadataItem> item = initWithKey(k.value_or(""), v ? &*v : nullptr);
  // The key is copied as it is, a missing one included.
  if (item) item->setKey(k);
  return item;
}

void ZPRMetadataItem::encodeWithCoder(KeyedArchiver& coder) const {
  registerNamingClasses();
  encodeString(coder, key(), kKeyKey);
  const uint32_t type = valueType();
  coder.encodeInt64(type, kValueTypeKey);
  switch (type) {
    case ZPRMetadataValueTypeNumber: encodeValue(coder, numberValue(), kNumberValueKey); break;
    case ZPRMetadataValueTypeDate: encodeValue(coder, dateValue(), kDateValueKey); break;
    case ZPRMetadataValueTypeTokens:
      encodeValue(coder, tokenValues(), kTokenValuesKey);
      encodeString(coder, stringValue(), kStringValueKey);
      break;
    case ZPRMetadataValueTypeString: encodeString(coder, stringValue(), kStringValueKey); break;
    default: break;
  }
}

std::shared_ptr<ZPRMetadataItem> ZPRMetadataItem::initWithCoder(KeyedUnarchiver& coder) {
  using namespace archived_class;
  auto item = std::make_shared<ZPRMetadataItem>();
  item->setKey(stringIn(coder.decodeObjectOfClasses({kNSString}, kKeyKey)));
  // decodeIntegerForKey: reads any number (a real truncated toward zero, a boolean as 0 or 1; see
  // KeyedUnarchiver::decodeInt64), and the 32-bit type field keeps its low bits, as the system's
  // setter does.
  const auto type = static_cast<uint32_t>(coder.decodeInt64(kValueTypeKey));
  item->setValueType(type);
  switch (type) {
    case ZPRMetadataValueTypeNumber:
      item->setNumberValue(coder.decodeObjectOfClasses({kNSNumber}, kNumberValueKey));
      break;
    case ZPRMetadataValueTypeDate:
      item->setDateValue(coder.decodeObjectOfClasses({kNSDate}, kDateValueKey));
      break;
    case ZPRMetadataValueTypeTokens:
      // Archived token lists hold their per-element texts, so only strings may be inside.
      item->setTokenValues(coder.decodeObjectOfClasses({kNSArray, kNSString}, kTokenValuesKey));
      item->setStringValue(stringIn(coder.decodeObjectOfClasses({kNSString}, kStringValueKey)));
      break;
    case ZPRMetadataValueTypeString:
      item->setStringValue(stringIn(coder.decodeObjectOfClasses({kNSString}, kStringValueKey)));
      break;
    default: break;
  }
  if (coder.error()) return nullptr;
  return item;
}

}  // namespace premoov
