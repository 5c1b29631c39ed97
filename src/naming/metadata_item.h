#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "plist/keyed_archive.h"
#include "plist/value.h"

namespace premoov {

enum ZPRMetadataValueType : uint32_t {
  ZPRMetadataValueTypeString = 0,
  ZPRMetadataValueTypeNumber = 1,
  ZPRMetadataValueTypeDate = 2,
  ZPRMetadataValueTypeTokens = 3,
};

// One key and one typed value for the movie's metadata: a string, a number, a date or a token
// list (held in its per-element text form when it comes from an archive).
class ZPRMetadataItem : public ArchivableObject {
 public:
  ZPRMetadataItem() = default;
  // initWithKey:value: — nothing for a value of another kind (or none).
  static std::shared_ptr<ZPRMetadataItem> initWithKey(const std::string& key, const Value* value);

  const std::optional<std::string>& key() const { return key_; }
  void setKey(std::optional<std::string> key) { key_ = std::move(key); }
  uint32_t valueType() const { return valueType_; }
  void setValueType(uint32_t type) { valueType_ = type; }

  // The type's own text: the stored string for string and token-list items, the date in long
  // date and medium time style of the process's locale and time zone for date items, nothing
  // for numbers and unknown types.
  std::optional<std::string> stringValue() const;
  void setStringValue(std::optional<std::string> v) { stringValue_ = std::move(v); }
  const std::optional<Value>& numberValue() const { return numberValue_; }
  void setNumberValue(std::optional<Value> v) { numberValue_ = std::move(v); }
  const std::optional<Value>& dateValue() const { return dateValue_; }
  void setDateValue(std::optional<Value> v) { dateValue_ = std::move(v); }
  const std::optional<Value>& tokenValues() const { return tokenValues_; }
  void setTokenValues(std::optional<Value> v) { tokenValues_ = std::move(v); }

  // value — the object of the item's type; nothing for unknown types.
  std::optional<Value> value() const;

  // copyWithZone: — made again from key and value: a token list's string is not copied, and an
  // item without a value gives nothing.
  std::shared_ptr<ZPRMetadataItem> copy() const;

  // Secure keyed coding.
  static bool supportsSecureCoding() { return true; }
  std::string className() const override { return "ZPRMetadataItem"; }
  std::vector<std::string> classHierarchy() const override {
    return {"ZPRMetadataItem", "NSObject"};
  }
  void encodeWithCoder(KeyedArchiver& coder) const override;
  // initWithCoder:
  static std::shared_ptr<ZPRMetadataItem> initWithCoder(KeyedUnarchiver& coder);

 private:
  std::optional<std::string> key_;
  std::optional<std::string> stringValue_;
  std::optional<Value> numberValue_;
  std::optional<Value> dateValue_;
  std::optional<Value> tokenValues_;
  uint32_t valueType_ = ZPRMetadataValueTypeString;
};

}  // namespace premoov
