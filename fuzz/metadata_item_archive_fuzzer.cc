// Feeds arbitrary bytes to the class-aware decoding of metadata items and tokens: decoded
// securely with the classes a header request allows in its settings (as the service reads them)
// and plainly (as tokens are read), then checked against what the unarchiver promises:
// - a decoded object's class is always one of the allowed classes, and a narrower allowed set
//   never lets more through;
// - a metadata item holds only what its own decoding admits (a number, a date, strings);
// - what decodes securely also decodes plainly;
// - a decoded item or token archives again and reads back equal: numbers keep their kind and
//   bits from the first round, texts once settled (a string ends at a NUL and is UTF-8 in an
//   archive).
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "base/log.h"
#include "canonical_value.h"
#include "naming/metadata_item.h"
#include "naming/naming_classes.h"
#include "naming/token.h"
#include "plist/keyed_archive.h"

namespace {

using premoov::KeyedArchiver;
using premoov::KeyedUnarchiver;
using premoov::Value;
using premoov::ZPRMetadataItem;
using premoov::ZPRToken;

// The classes allowed in a header request's settings.
const std::set<std::string> kRequestClasses{
    "ZPRMetadataItem", "ZPRToken", "NSArray", "NSDictionary", "NSString", "NSNumber", "NSData"};
const std::set<std::string> kItemsOnly{"ZPRMetadataItem", "NSArray"};

// A broken promise of the unarchiver: stop here so that libFuzzer keeps the input.
void check(bool condition) {
  if (!condition) std::abort();
}

std::string text(const std::optional<std::string>& s) { return s ? "\"" + *s + "\"" : "nil"; }

std::string canonical(const Value& value) {
  return premoov::fuzzing::canonicalValue(
      value, [](const Value& object) { return "object " + object.objectValue()->className(); });
}

std::string canonical(const std::optional<Value>& value) {
  return value ? canonical(*value) : "nil";
}

// An item's fields as its archive carries them (the string only for the types that write it).
std::string canonical(const ZPRMetadataItem& item) {
  const uint32_t type = item.valueType();
  const bool writesString =
      type == premoov::ZPRMetadataValueTypeString || type == premoov::ZPRMetadataValueTypeTokens;
  return "item(" + text(item.key()) + "," + std::to_string(type) + "," +
         canonical(item.numberValue()) + "," + canonical(item.dateValue()) + "," +
         canonical(item.tokenValues()) + "," + (writesString ? text(item.stringValue()) : "-") +
         ")";
}

std::string canonical(const ZPRToken& token) {
  return "token(" + text(token.codeName()) + "," + text(token.displayName()) + "," +
         text(token.formatter()) + "," + text(token.simpleString()) + ")";
}

// Calls `visit` with every value of a decoded tree, the root included, down through arrays and
// dictionaries (not into our objects, whose contents their own decoding checked).
void forEachValue(const Value& value, const std::function<void(const Value&)>& visit) {
  visit(value);
  for (const Value& element : value.elements()) forEachValue(element, visit);
  for (const auto& [key, element] : value.entries()) forEachValue(element, visit);
}

// What a metadata item's own decoding admits.
void checkItem(const ZPRMetadataItem& item) {
  const uint32_t type = item.valueType();
  if (auto number = item.numberValue()) {
    check(type == premoov::ZPRMetadataValueTypeNumber && number->isNumber());
  }
  if (auto date = item.dateValue())
    check(type == premoov::ZPRMetadataValueTypeDate && date->isDate());
  if (auto tokens = item.tokenValues()) {
    check(type == premoov::ZPRMetadataValueTypeTokens);
    check(tokens->isString() || tokens->isArray());
    for (const Value& element : tokens->elements()) check(element.isString());
  }
}

struct Decoded {
  std::optional<Value> root;
  bool opened = false;
};

Decoded decode(std::span<const uint8_t> data, const std::set<std::string>* secureClasses) {
  Decoded out;
  auto unarchiver = KeyedUnarchiver::fromData(data);
  if (!unarchiver) {
    check(!unarchiver.error().empty());
    return out;
  }
  out.opened = true;
  if (secureClasses) {
    (*unarchiver)->setRequiresSecureCoding(true);
    out.root = (*unarchiver)->decodeTopLevelObjectOfClasses(*secureClasses);
  } else {
    out.root = (*unarchiver)->decodeRootObject();
  }
  if (const auto& error = (*unarchiver)->error()) {
    check(!out.root && !error->message.empty());
  }
  return out;
}

// Every class in a securely decoded tree is one of `allowed`.
void checkClasses(const Value& root, const std::set<std::string>& allowed) {
  forEachValue(root, [&](const Value& value) {
    check(allowed.count(premoov::archivedClassNameOf(value)) > 0);
    if (value.isObject()) {
      if (const auto* item = dynamic_cast<const ZPRMetadataItem*>(value.objectValue().get())) {
        checkItem(*item);
      }
    }
  });
}

// An item archived alone, read back securely as a request reads it.
std::shared_ptr<const ZPRMetadataItem> itemRoundTrip(const ZPRMetadataItem& item) {
  const auto data = KeyedArchiver::archivedDataWithRootObject(
      Value::object(std::make_shared<ZPRMetadataItem>(item)));
  const std::set<std::string> classes{"ZPRMetadataItem"};
  const Decoded back = decode(data, &classes);
  check(back.root && back.root->isObject());
  auto decoded = std::dynamic_pointer_cast<const ZPRMetadataItem>(back.root->objectValue());
  check(decoded != nullptr);
  return decoded;
}

std::shared_ptr<const ZPRToken> tokenRoundTrip(const ZPRToken& token) {
  const auto data = KeyedArchiver::archivedDataWithRootObject(Value::object(token.copy()));
  const Decoded back = decode(data, nullptr);
  check(back.root && back.root->isObject());
  auto decoded = std::dynamic_pointer_cast<const ZPRToken>(back.root->objectValue());
  check(decoded != nullptr);
  return decoded;
}

// The items of a securely decoded tree (a plain decode admits any class inside an item, which a
// secure read of its archive then refuses) and the tokens of a plainly decoded one.
void checkRoundTrips(const Value& root, bool secure) {
  forEachValue(root, [secure](const Value& value) {
    if (!value.isObject()) return;
    const auto* item = dynamic_cast<const ZPRMetadataItem*>(value.objectValue().get());
    if (item && secure) {
      const auto first = itemRoundTrip(*item);
      // Numbers and dates come back with their kind and bits from the first round.
      check(canonical(first->numberValue()) == canonical(item->numberValue()));
      check(canonical(first->dateValue()) == canonical(item->dateValue()));
      check(first->valueType() == item->valueType());
      const auto second = itemRoundTrip(*first);
      check(canonical(*second) == canonical(*first));
    } else if (const auto* token = dynamic_cast<const ZPRToken*>(value.objectValue().get());
               token && !secure) {
      const auto first = tokenRoundTrip(*token);
      const auto second = tokenRoundTrip(*first);
      check(canonical(*second) == canonical(*first));
    }
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = [] {
    premoov::registerNamingClasses();
    // The archiver logs strings it has to rewrite; the fuzzer makes many.
    premoov::setLogSink([](const std::string&) {});
    return true;
  }();
  (void)ready;
  const std::span<const uint8_t> input(data, size);

  const Decoded secure = decode(input, &kRequestClasses);
  if (secure.root) checkClasses(*secure.root, kRequestClasses);

  // A narrower set lets through a subset of what the wider one does.
  const Decoded items = decode(input, &kItemsOnly);
  if (items.root) {
    checkClasses(*items.root, kItemsOnly);
    check(secure.root.has_value());
  }

  const Decoded plain = decode(input, nullptr);
  check(plain.opened == secure.opened);
  // Every class secure decoding allowed is made plainly too.
  if (secure.root) check(plain.root.has_value());

  if (secure.root) checkRoundTrips(*secure.root, /*secure=*/true);
  if (plain.root) checkRoundTrips(*plain.root, /*secure=*/false);
  return 0;
}
