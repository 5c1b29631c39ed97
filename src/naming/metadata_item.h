#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "naming/atomic_property.h"
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

  // Atomic properties: each get answers a copy, each set stores one, whole even while another
  // thread sets the same field.
  std::optional<std::string> key() const { return key_.get(); }
  void setKey(std::optional<std::string> key) { key_.set(std::move(key)); }
  uint32_t valueType() const { return valueType_.get(); }
  void setValueType(uint32_t type) { valueType_.set(type); }

  // The type's own text: the stored string for string and token-list items, the date in long
  // date and medium time style of the process's locale and time zone for date items, nothing
  // for numbers and unknown types.
  std::optional<std::string> stringValue() const;
  void setStringValue(std::optional<std::string> v) { stringValue_.set(std::move(v)); }
  std::optional<Value> numberValue() const { return numberValue_.get(); }
  void setNumberValue(std::optional<Value> v) { numberValue_.set(std::move(v)); }
  std::optional<Value> dateValue() const { return dateValue_.get(); }
  void setDateValue(std::optional<Value> v) { dateValue_.set(std::move(v)); }
  std::optional<Value> tokenValues() const { return tokenValues_.get(); }
  void setTokenValues(std::optional<Value> v) { tokenValues_.set(std::move(v)); }

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
  AtomicProperty<std::optional<std::string>> key_;
  // The one property the class declares non-atomic; a get racing a set would read a string being
  // replaced, which C++ does not survive, so it is kept whole like the others.
  AtomicProperty<std::optional<std::string>> stringValue_;
  AtomicProperty<std::optional<Value>> numberValue_;
  AtomicProperty<std::optional<Value>> dateValue_;
  AtomicProperty<std::optional<Value>> tokenValues_;
  AtomicProperty<uint32_t> valueType_{ZPRMetadataValueTypeString};
};

}  // namespace premoov
