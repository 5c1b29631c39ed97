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
  item->key_ = key;
  switch (value->kind()) {
    case Value::Kind::String:
      item->valueType_ = ZPRMetadataValueTypeString;
      item->stringValue_ = value->stringValue();
      break;
    case Value::Kind::Number:
    case Value::Kind::Boolean:
      item->valueType_ = ZPRMetadataValueTypeNumber;
      item->numberValue_ = *value;
      break;
    case Value::Kind::Date:
      item->valueType_ = ZPRMetadataValueTypeDate;
      item->dateValue_ = *value;
      break;
    case Value::Kind::Array:
      // A token list's own text stays empty until someone sets it.
      item->valueType_ = ZPRMetadataValueTypeTokens;
      item->tokenValues_ = *value;
      break;
    default: return nullptr;
  }
  return item;
}

std::optional<std::string> ZPRMetadataItem::stringValue() const {
  switch (valueType_) {
    case ZPRMetadataValueTypeString:
    case ZPRMetadataValueTypeTokens: return stringValue_;
    case ZPRMetadataValueTypeDate:
      if (!dateValue_ || !dateValue_->isDate()) return std::nullopt;
      return formatLongDateMediumTime(dateValue_->timeIntervalSinceReferenceDate());
    default: return std::nullopt;
  }
}

std::optional<Value> ZPRMetadataItem::value() const {
  switch (valueType_) {
    case ZPRMetadataValueTypeString: {
      std::optional<std::string> s = stringValue();
      if (!s) return std::nullopt;
      return Value::string(std::move(*s));
    }
    case ZPRMetadataValueTypeNumber: return numberValue_;
    case ZPRMetadataValueTypeDate: return dateValue_;
    case ZPRMetadataValueTypeTokens: return tokenValues_;
    default: return std::nullopt;
  }
}

std::shared_ptr<ZPRMetadataItem> ZPRMetadataItem::copy() const {
  const std::optional<Value> v = value();
  std::shared_ptr<ZPRMetadataItem> item = initWithKey(key_.value_or(""), v ? &*v : nullptr);
  // The key is copied as it is, a missing one included.
  if (item) item->key_ = key_;
  return item;
}

void ZPRMetadataItem::encodeWithCoder(KeyedArchiver& coder) const {
  registerNamingClasses();
  encodeString(coder, key_, kKeyKey);
  coder.encodeInt64(valueType_, kValueTypeKey);
  switch (valueType_) {
    case ZPRMetadataValueTypeNumber: encodeValue(coder, numberValue_, kNumberValueKey); break;
    case ZPRMetadataValueTypeDate: encodeValue(coder, dateValue_, kDateValueKey); break;
    case ZPRMetadataValueTypeTokens:
      encodeValue(coder, tokenValues_, kTokenValuesKey);
      encodeString(coder, stringValue(), kStringValueKey);
      break;
    case ZPRMetadataValueTypeString: encodeString(coder, stringValue(), kStringValueKey); break;
    default: break;
  }
}

std::shared_ptr<ZPRMetadataItem> ZPRMetadataItem::initWithCoder(KeyedUnarchiver& coder) {
  using namespace archived_class;
  auto item = std::make_shared<ZPRMetadataItem>();
  item->key_ = stringIn(coder.decodeObjectOfClasses({kNSString}, kKeyKey));
  // Stored as a 64-bit integer, read back into the 32-bit type field as the system does.
  item->valueType_ = static_cast<uint32_t>(coder.decodeInt64(kValueTypeKey));
  switch (item->valueType_) {
    case ZPRMetadataValueTypeNumber:
      item->numberValue_ = coder.decodeObjectOfClasses({kNSNumber}, kNumberValueKey);
      break;
    case ZPRMetadataValueTypeDate:
      item->dateValue_ = coder.decodeObjectOfClasses({kNSDate}, kDateValueKey);
      break;
    case ZPRMetadataValueTypeTokens:
      // Archived token lists hold their per-element texts, so only strings may be inside.
      item->tokenValues_ = coder.decodeObjectOfClasses({kNSArray, kNSString}, kTokenValuesKey);
      item->stringValue_ = stringIn(coder.decodeObjectOfClasses({kNSString}, kStringValueKey));
      break;
    case ZPRMetadataValueTypeString:
      item->stringValue_ = stringIn(coder.decodeObjectOfClasses({kNSString}, kStringValueKey));
      break;
    default: break;
  }
  if (coder.error()) return nullptr;
  return item;
}

}  // namespace premoov
