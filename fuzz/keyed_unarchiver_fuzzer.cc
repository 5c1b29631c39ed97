// Feeds arbitrary bytes to KeyedUnarchiver: opened, the root decoded securely with a fixed class
// set and plainly, and what decodes is archived again and must read back the same way.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "base/log.h"
#include "plist/keyed_archive.h"
#include "plist/keyed_test_support.h"

namespace {

using premoov::KeyedArchiver;
using premoov::KeyedUnarchiver;
using premoov::Value;
using premoov::keyed_test::TestItem;

const std::set<std::string> kAllowed{"NSString", "NSNumber",     "NSData",         "NSDate",
                                     "NSArray",  "NSDictionary", "PremoovTestItem"};

// A broken promise of the unarchiver: stop here so that libFuzzer keeps the input.
void check(bool condition) {
  if (!condition) std::abort();
}

// A value as text, exactly (reals as hexadecimal floating point), our test items by their fields.
// Bytes of two archives cannot be compared: libplist shares equal data objects of a binary
// property list by their address, so the same tree is not always written the same way.
std::string canonical(const Value& value) {
  char number[64];
  switch (value.kind()) {
    case Value::Kind::Dictionary: {
      std::string out = "{";
      for (const auto& [key, element] : value.entries()) {
        out += "\"" + key + "\":" + canonical(element) + ",";
      }
      return out + "}";
    }
    case Value::Kind::Array: {
      std::string out = "[";
      for (const Value& element : value.elements()) out += canonical(element) + ",";
      return out + "]";
    }
    case Value::Kind::String: return "\"" + value.stringValue() + "\"";
    case Value::Kind::Number:
      if (value.isFloatingNumber()) {
        std::snprintf(number, sizeof number, "r%a", value.doubleValue());
      } else {
        std::snprintf(number, sizeof number, "i%lld",
                      static_cast<long long>(value.longLongValue()));
      }
      return number;
    case Value::Kind::Boolean: return value.boolValue() ? "true" : "false";
    case Value::Kind::Data: {
      std::string out = "<";
      for (uint8_t b : value.bytes()) {
        std::snprintf(number, sizeof number, "%02x", b);
        out += number;
      }
      return out + ">";
    }
    case Value::Kind::Date:
      std::snprintf(number, sizeof number, "d%a", value.timeIntervalSinceReferenceDate());
      return number;
    case Value::Kind::Object: {
      const auto* item = dynamic_cast<const TestItem*>(value.objectValue().get());
      if (!item) return "object";
      std::snprintf(number, sizeof number, "%lld,%d,%a", static_cast<long long>(item->count),
                    item->enabled, item->ratio);
      return "item(\"" + item->name + "\"," + number + "," +
             (item->payload ? canonical(*item->payload) : "nil") + "," +
             (item->child ? canonical(Value::object(item->child)) : "nil") + ")";
    }
  }
  return "?";
}

std::optional<Value> decodeSecurely(std::span<const uint8_t> data, bool& failed) {
  auto unarchiver = KeyedUnarchiver::fromData(data);
  failed = !unarchiver;
  if (!unarchiver) {
    check(!unarchiver.error().empty());
    return std::nullopt;
  }
  (*unarchiver)->setRequiresSecureCoding(true);
  auto root = (*unarchiver)->decodeTopLevelObjectOfClasses(kAllowed);
  if (const auto& error = (*unarchiver)->error()) {
    failed = true;
    check(!root && !error->message.empty());
    // Nothing is made after a failure.
    check(!(*unarchiver)->decodeTopLevelObjectOfClasses(kAllowed));
  }
  return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool registered = [] {
    premoov::keyed_test::TestItem::registerClass();
    // The archiver logs strings it has to rewrite; the fuzzer makes many.
    premoov::setLogSink([](const std::string&) {});
    return true;
  }();
  (void)registered;
  const std::span<const uint8_t> input(data, size);

  bool failed = false;
  const std::optional<Value> secure = decodeSecurely(input, failed);

  if (auto plain = KeyedUnarchiver::fromData(input)) {
    auto root = (*plain)->decodeRootObject();
    check(!root || !(*plain)->error());
    // Every class secure decoding allowed is made plainly too.
    if (secure) check(root.has_value());
  }

  if (!secure) return 0;
  // What was read is written again and must read back: once the text is settled (strings end at
  // a NUL and are UTF-8), a second round gives the same values.
  const auto first = KeyedArchiver::archivedDataWithRootObject(*secure);
  bool firstFailed = false;
  const auto again = decodeSecurely(first, firstFailed);
  check(!firstFailed && again.has_value());
  const auto second = KeyedArchiver::archivedDataWithRootObject(*again);
  bool secondFailed = false;
  const auto third = decodeSecurely(second, secondFailed);
  check(!secondFailed && third.has_value());
  check(canonical(*third) == canonical(*again));
  return 0;
}
