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
#include "canonical_value.h"
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

// A value as text, exactly, our test items by their fields.
std::string canonical(const Value& value) {
  return premoov::fuzzing::canonicalValue(value, [](const Value& object) -> std::string {
    const auto* item = dynamic_cast<const TestItem*>(object.objectValue().get());
    if (!item) return "object";
    char fields[96];
    std::snprintf(fields, sizeof fields, "%lld,%d,%a", static_cast<long long>(item->count),
                  item->enabled, item->ratio);
    return "item(\"" + item->name + "\"," + fields + "," +
           (item->payload ? canonical(*item->payload) : "nil") + "," +
           (item->child ? canonical(Value::object(item->child)) : "nil") + ")";
  });
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
