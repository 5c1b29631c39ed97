#include "naming/metadata_item.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "archive_inspection.h"
#include "naming/date_formatter.h"
#include "naming/naming_classes.h"
#include "naming/token.h"
#include "plist/keyed_archive.h"
#include "plist/value.h"

extern char** environ;

namespace premoov {
namespace {

using ::testing::HasSubstr;

// 2024-03-05 14:07:09 UTC and 2024-07-01 12:00:00 UTC (summer time in Berlin), in seconds since
// 2001-01-01 00:00:00 UTC.
constexpr double kMarchDate = 1709647629.0 - 978307200.0;
constexpr double kJulyDate = 1719835200.0 - 978307200.0;

std::shared_ptr<ZPRMetadataItem> itemWith(const std::string& key, const Value& value) {
  return ZPRMetadataItem::initWithKey(key, &value);
}

struct Decoded {
  std::shared_ptr<const ZPRMetadataItem> item;
  std::string error;
  std::optional<KeyedArchiveFailure> failure;
};

// Reads an archive back the way settings are read: secure coding, a metadata item at the root.
Decoded secureDecode(const std::vector<uint8_t>& data) {
  registerNamingClasses();
  auto coder = KeyedUnarchiver::fromData(data);
  if (!coder) return {nullptr, coder.error(), std::nullopt};
  (*coder)->setRequiresSecureCoding(true);
  const std::optional<Value> root = (*coder)->decodeTopLevelObjectOfClasses({"ZPRMetadataItem"});
  Decoded decoded;
  if ((*coder)->error()) {
    decoded.error = (*coder)->error()->message;
    decoded.failure = (*coder)->error()->failure;
  }
  if (root && root->isObject()) {
    decoded.item = std::dynamic_pointer_cast<const ZPRMetadataItem>(root->objectValue());
  }
  return decoded;
}

std::vector<uint8_t> archive(const std::shared_ptr<ZPRMetadataItem>& item) {
  return KeyedArchiver::archivedDataWithRootObject(Value::object(item));
}

TEST(ZPRMetadataItemTest, StringItem) {
  const auto item = itemWith("title", Value::string("Interview"));
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->key(), "title");
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeString);
  EXPECT_EQ(item->stringValue(), "Interview");
  EXPECT_EQ(item->value(), Value::string("Interview"));
  EXPECT_EQ(item->numberValue(), std::nullopt);
  EXPECT_EQ(item->dateValue(), std::nullopt);
  EXPECT_EQ(item->tokenValues(), std::nullopt);
}

TEST(ZPRMetadataItemTest, NumberItemHasNoString) {
  const auto item = itemWith("take", Value::integer(12, CFNumberType::kCFNumberSInt32Type));
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeNumber);
  EXPECT_EQ(item->value(), Value::integer(12, CFNumberType::kCFNumberSInt32Type));
  EXPECT_EQ(item->numberValue(), Value::integer(12, CFNumberType::kCFNumberSInt32Type));
  EXPECT_EQ(item->stringValue(), std::nullopt);
}

TEST(ZPRMetadataItemTest, BooleanIsANumber) {
  const auto item = itemWith("flag", Value::boolean(true));
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeNumber);
  EXPECT_EQ(item->value(), Value::boolean(true));
}

TEST(ZPRMetadataItemTest, TokenListHasNoStringUntilSet) {
  const Value tokens = Value::array({Value::string("Take_"), Value::string("$$Counter.3")});
  const auto item = itemWith("name", tokens);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeTokens);
  EXPECT_EQ(item->tokenValues(), tokens);
  EXPECT_EQ(item->value(), tokens);
  EXPECT_EQ(item->stringValue(), std::nullopt);
  item->setStringValue("Take_007");
  EXPECT_EQ(item->stringValue(), "Take_007");
  EXPECT_EQ(item->value(), tokens);
}

TEST(ZPRMetadataItemTest, OtherValuesMakeNoItem) {
  EXPECT_EQ(ZPRMetadataItem::initWithKey("k", nullptr), nullptr);
  EXPECT_EQ(itemWith("k", Value::dictionary({{"a", Value::string("b")}})), nullptr);
  EXPECT_EQ(itemWith("k", Value::data({1, 2, 3})), nullptr);
  EXPECT_EQ(itemWith("k", Value::object(ZPRToken::tokenWithCode("$$Day", "Day"))), nullptr);
}

TEST(ZPRMetadataItemTest, UnknownTypeHasNoValue) {
  ZPRMetadataItem item;
  item.setKey("k");
  item.setValueType(7);
  item.setStringValue("s");
  item.setNumberValue(Value::integer(1));
  EXPECT_EQ(item.value(), std::nullopt);
  EXPECT_EQ(item.stringValue(), std::nullopt);
}

TEST(ZPRMetadataItemTest, StringItemWithoutStringHasNoValue) {
  const auto item = itemWith("title", Value::string("x"));
  ASSERT_NE(item, nullptr);
  item->setStringValue(std::nullopt);
  EXPECT_EQ(item->value(), std::nullopt);
}

TEST(ZPRMetadataItemTest, DateItemUsesTheSharedFormatter) {
  const auto item = itemWith("recorded", Value::date(kMarchDate));
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeDate);
  EXPECT_EQ(item->value(), Value::date(kMarchDate));
  const std::optional<std::string> text = item->stringValue();
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text, formatLongDateMediumTime(kMarchDate));
  EXPECT_THAT(*text, HasSubstr("2024"));
}

TEST(ZPRMetadataItemTest, DateItemWithoutADateHasNoString) {
  ZPRMetadataItem item;
  item.setValueType(ZPRMetadataValueTypeDate);
  EXPECT_EQ(item.stringValue(), std::nullopt);
  item.setDateValue(Value::string("yesterday"));
  EXPECT_EQ(item.stringValue(), std::nullopt);
}

bool isLocaleOrZoneVariable(const char* entry) {
  for (const char* name : {"LANG=", "LC_", "TZ=", "LANGUAGE="}) {
    if (std::strncmp(entry, name, std::strlen(name)) == 0) return true;
  }
  return false;
}

// The date text date_text_child gives with LANG, LC_ALL and LC_MESSAGES set to `locale` and TZ
// to `zone`: the shared formatter is made once per process, so each locale and zone needs its
// own process.
std::optional<std::string> dateTextInChild(const std::string& locale, const std::string& zone,
                                           double secondsSinceReferenceDate) {
  static int serial = 0;
  const std::string outputPath = ::testing::TempDir() + "premoov_date_text_" +
                                 std::to_string(getpid()) + "_" + std::to_string(++serial);
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!isLocaleOrZoneVariable(*entry)) environment.emplace_back(*entry);
  }
  environment.push_back("LANG=" + locale);
  environment.push_back("LC_ALL=" + locale);
  environment.push_back("LC_MESSAGES=" + locale);
  environment.push_back("TZ=" + zone);
  std::ostringstream seconds;
  seconds.precision(17);
  seconds << secondsSinceReferenceDate;

  std::vector<std::string> arguments{PREMOOV_DATE_TEXT_CHILD, seconds.str(), outputPath};
  std::vector<char*> argv;
  for (std::string& a : arguments) argv.push_back(a.data());
  argv.push_back(nullptr);
  std::vector<char*> envp;
  for (std::string& e : environment) envp.push_back(e.data());
  envp.push_back(nullptr);

  pid_t child = 0;
  const int spawned =
      posix_spawn(&child, PREMOOV_DATE_TEXT_CHILD, nullptr, nullptr, argv.data(), envp.data());
  if (spawned != 0) {
    ADD_FAILURE() << "posix_spawn: " << std::strerror(spawned);
    return std::nullopt;
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    ADD_FAILURE() << "child for " << locale << " in " << zone << " failed, status " << status;
    std::remove(outputPath.c_str());
    return std::nullopt;
  }
  std::ifstream in(outputPath, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::remove(outputPath.c_str());
  return text;
}

// ICU 72 (CLDR 42) puts a narrow no-break space (U+202F) between the time and "PM".
TEST(ZPRMetadataItemTest, DateTextFollowsTheProcessLocaleAndZone) {
  EXPECT_EQ(dateTextInChild("en_US.UTF-8", "UTC", kMarchDate), "March 5, 2024 at 2:07:09\u202fPM");
  EXPECT_EQ(dateTextInChild("de_DE.UTF-8", "Europe/Berlin", kMarchDate),
            "5. M\u00e4rz 2024 um 15:07:09");
}

TEST(ZPRMetadataItemTest, DateTextLocaleAndZoneAreIndependent) {
  EXPECT_EQ(dateTextInChild("en_US.UTF-8", "Europe/Berlin", kMarchDate),
            "March 5, 2024 at 3:07:09\u202fPM");
  EXPECT_EQ(dateTextInChild("de_DE.UTF-8", "UTC", kMarchDate), "5. M\u00e4rz 2024 um 14:07:09");
}

TEST(ZPRMetadataItemTest, DateTextFollowsSummerTime) {
  EXPECT_EQ(dateTextInChild("de_DE.UTF-8", "Europe/Berlin", kJulyDate), "1. Juli 2024 um 14:00:00");
  EXPECT_EQ(dateTextInChild("en_US.UTF-8", "UTC", kJulyDate), "July 1, 2024 at 12:00:00\u202fPM");
}

TEST(ZPRMetadataItemTest, CopyOfAStringItem) {
  const auto item = itemWith("title", Value::string("Interview"));
  ASSERT_NE(item, nullptr);
  const auto copy = item->copy();
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, item);
  EXPECT_EQ(copy->key(), "title");
  EXPECT_EQ(copy->valueType(), ZPRMetadataValueTypeString);
  EXPECT_EQ(copy->stringValue(), "Interview");
}

TEST(ZPRMetadataItemTest, CopyOfAStringItemWithoutStringIsNothing) {
  const auto item = itemWith("title", Value::string("Interview"));
  ASSERT_NE(item, nullptr);
  item->setStringValue(std::nullopt);
  EXPECT_EQ(item->copy(), nullptr);
}

TEST(ZPRMetadataItemTest, CopyOfATokenItemDropsItsString) {
  const Value tokens = Value::array({Value::string("$$Day.dd")});
  const auto item = itemWith("name", tokens);
  ASSERT_NE(item, nullptr);
  item->setStringValue("05");
  const auto copy = item->copy();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->valueType(), ZPRMetadataValueTypeTokens);
  EXPECT_EQ(copy->tokenValues(), tokens);
  EXPECT_EQ(copy->stringValue(), std::nullopt);
}

TEST(ZPRMetadataItemTest, CopyOfNumberAndDateItems) {
  const auto number = itemWith("take", Value::real(2.5));
  ASSERT_NE(number, nullptr);
  const auto numberCopy = number->copy();
  ASSERT_NE(numberCopy, nullptr);
  EXPECT_EQ(numberCopy->valueType(), ZPRMetadataValueTypeNumber);
  EXPECT_EQ(numberCopy->numberValue(), Value::real(2.5));

  const auto date = itemWith("recorded", Value::date(kMarchDate));
  ASSERT_NE(date, nullptr);
  const auto dateCopy = date->copy();
  ASSERT_NE(dateCopy, nullptr);
  EXPECT_EQ(dateCopy->valueType(), ZPRMetadataValueTypeDate);
  EXPECT_EQ(dateCopy->dateValue(), Value::date(kMarchDate));
}

TEST(ZPRMetadataItemTest, CopyKeepsAMissingKey) {
  ZPRMetadataItem item;
  item.setStringValue("s");
  const auto copy = item.copy();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->key(), std::nullopt);
  EXPECT_EQ(copy->stringValue(), "s");
}

TEST(ZPRMetadataItemTest, CopyOfAnUnknownTypeIsNothing) {
  ZPRMetadataItem item;
  item.setKey("k");
  item.setValueType(7);
  EXPECT_EQ(item.copy(), nullptr);
}

TEST(ZPRMetadataItemTest, SupportsSecureCoding) {
  EXPECT_TRUE(ZPRMetadataItem::supportsSecureCoding());
}

TEST(ZPRMetadataItemTest, StringItemArchive) {
  const auto item = itemWith("title", Value::string("Interview"));
  ASSERT_NE(item, nullptr);
  const std::vector<uint8_t> data = archive(item);
  const testing_archive::ArchiveInspection written(data);
  EXPECT_EQ(written.rootKeys(),
            (std::set<std::string>{"$class", "key", "valueType", "stringValue"}));
  EXPECT_EQ(written.stringForKey("key"), "title");
  EXPECT_EQ(written.integerForKey("valueType"), 0);
  EXPECT_EQ(written.stringForKey("stringValue"), "Interview");

  const Decoded decoded = secureDecode(data);
  ASSERT_NE(decoded.item, nullptr) << decoded.error;
  EXPECT_EQ(decoded.item->key(), "title");
  EXPECT_EQ(decoded.item->valueType(), ZPRMetadataValueTypeString);
  EXPECT_EQ(decoded.item->stringValue(), "Interview");
}

TEST(ZPRMetadataItemTest, NumberItemArchive) {
  const auto item = itemWith("take", Value::integer(42));
  ASSERT_NE(item, nullptr);
  const std::vector<uint8_t> data = archive(item);
  const testing_archive::ArchiveInspection written(data);
  EXPECT_EQ(written.rootKeys(),
            (std::set<std::string>{"$class", "key", "valueType", "numberValue"}));
  EXPECT_EQ(written.integerForKey("valueType"), 1);

  const Decoded decoded = secureDecode(data);
  ASSERT_NE(decoded.item, nullptr) << decoded.error;
  EXPECT_EQ(decoded.item->valueType(), ZPRMetadataValueTypeNumber);
  ASSERT_TRUE(decoded.item->numberValue().has_value());
  EXPECT_TRUE(decoded.item->numberValue()->isNumber());
  EXPECT_EQ(decoded.item->numberValue()->longLongValue(), 42);
  EXPECT_EQ(decoded.item->stringValue(), std::nullopt);
}

TEST(ZPRMetadataItemTest, DateItemArchive) {
  const auto item = itemWith("recorded", Value::date(kMarchDate));
  ASSERT_NE(item, nullptr);
  const std::vector<uint8_t> data = archive(item);
  const testing_archive::ArchiveInspection written(data);
  EXPECT_EQ(written.rootKeys(), (std::set<std::string>{"$class", "key", "valueType", "dateValue"}));

  const Decoded decoded = secureDecode(data);
  ASSERT_NE(decoded.item, nullptr) << decoded.error;
  EXPECT_EQ(decoded.item->valueType(), ZPRMetadataValueTypeDate);
  EXPECT_EQ(decoded.item->dateValue(), Value::date(kMarchDate));
  EXPECT_EQ(decoded.item->stringValue(), formatLongDateMediumTime(kMarchDate));
}

TEST(ZPRMetadataItemTest, TokenItemArchiveBringsBackListAndString) {
  const Value tokens = Value::array({Value::string("Take_"), Value::string("$$Counter.3")});
  const auto item = itemWith("name", tokens);
  ASSERT_NE(item, nullptr);
  item->setStringValue("Take_007");
  const std::vector<uint8_t> data = archive(item);
  const testing_archive::ArchiveInspection written(data);
  EXPECT_EQ(written.rootKeys(),
            (std::set<std::string>{"$class", "key", "valueType", "tokenValues", "stringValue"}));
  EXPECT_EQ(written.stringForKey("stringValue"), "Take_007");

  const Decoded decoded = secureDecode(data);
  ASSERT_NE(decoded.item, nullptr) << decoded.error;
  EXPECT_EQ(decoded.item->valueType(), ZPRMetadataValueTypeTokens);
  EXPECT_EQ(decoded.item->tokenValues(), tokens);
  EXPECT_EQ(decoded.item->stringValue(), "Take_007");
}

TEST(ZPRMetadataItemTest, TokenItemWithoutStringArchivesNull) {
  const auto item = itemWith("name", Value::array({Value::string("$$Day.dd")}));
  ASSERT_NE(item, nullptr);
  const std::vector<uint8_t> data = archive(item);
  const testing_archive::ArchiveInspection written(data);
  EXPECT_EQ(written.uidForKey("stringValue"), std::optional<uint64_t>(0));
  const Decoded decoded = secureDecode(data);
  ASSERT_NE(decoded.item, nullptr) << decoded.error;
  EXPECT_EQ(decoded.item->tokenValues(), Value::array({Value::string("$$Day.dd")}));
  EXPECT_EQ(decoded.item->stringValue(), std::nullopt);
}

TEST(ZPRMetadataItemTest, UnknownTypeArchivesOnlyKeyAndType) {
  auto item = std::make_shared<ZPRMetadataItem>();
  item->setKey("k");
  item->setValueType(7);
  item->setStringValue("not written");
  item->setNumberValue(Value::integer(1));
  const std::vector<uint8_t> data = archive(item);
  const testing_archive::ArchiveInspection written(data);
  EXPECT_EQ(written.rootKeys(), (std::set<std::string>{"$class", "key", "valueType"}));
  EXPECT_EQ(written.integerForKey("valueType"), 7);

  const Decoded decoded = secureDecode(data);
  ASSERT_NE(decoded.item, nullptr) << decoded.error;
  EXPECT_EQ(decoded.item->key(), "k");
  EXPECT_EQ(decoded.item->valueType(), 7u);
  EXPECT_EQ(decoded.item->value(), std::nullopt);
  EXPECT_EQ(decoded.item->numberValue(), std::nullopt);
  EXPECT_EQ(decoded.item->stringValue(), std::nullopt);
}

TEST(ZPRMetadataItemTest, ValueTypeIsReadIntoThirtyTwoBits) {
  const auto item = itemWith("take", Value::integer(42));
  ASSERT_NE(item, nullptr);
  testing_archive::ArchiveInspection written(archive(item));
  const std::vector<uint8_t> data = written.withRootInteger("valueType", (uint64_t{1} << 32) + 1);
  ASSERT_FALSE(data.empty());
  const Decoded decoded = secureDecode(data);
  ASSERT_NE(decoded.item, nullptr) << decoded.error;
  EXPECT_EQ(decoded.item->valueType(), ZPRMetadataValueTypeNumber);
  ASSERT_TRUE(decoded.item->numberValue().has_value());
  EXPECT_EQ(decoded.item->numberValue()->longLongValue(), 42);
}

// "valueType" is read as decodeIntegerForKey: reads a number: a real is truncated toward zero,
// a boolean is 0 or 1.
std::shared_ptr<const ZPRMetadataItem> numberItemWithValueType(plist_t valueType) {
  const auto item = itemWith("take", Value::integer(42));
  testing_archive::ArchiveInspection written(archive(item));
  const Decoded decoded = secureDecode(written.withRootValue("valueType", valueType));
  EXPECT_TRUE(decoded.error.empty()) << decoded.error;
  return decoded.item;
}

TEST(ZPRMetadataItemTest, ValueTypeStoredAsARealIsTruncatedTowardZero) {
  for (double stored : {1.0, 1.9}) {
    SCOPED_TRACE(stored);
    const auto item = numberItemWithValueType(plist_new_real(stored));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeNumber);
    ASSERT_TRUE(item->numberValue().has_value());
    EXPECT_EQ(item->numberValue()->longLongValue(), 42);
  }
  // -0.5 truncates to 0: a string item, whose string is absent.
  const auto item = numberItemWithValueType(plist_new_real(-0.5));
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeString);
  EXPECT_EQ(item->numberValue(), std::nullopt);
}

TEST(ZPRMetadataItemTest, ValueTypeStoredAsABooleanIsZeroOrOne) {
  const auto yes = numberItemWithValueType(plist_new_bool(1));
  ASSERT_NE(yes, nullptr);
  EXPECT_EQ(yes->valueType(), ZPRMetadataValueTypeNumber);
  ASSERT_TRUE(yes->numberValue().has_value());
  EXPECT_EQ(yes->numberValue()->longLongValue(), 42);
  const auto no = numberItemWithValueType(plist_new_bool(0));
  ASSERT_NE(no, nullptr);
  EXPECT_EQ(no->valueType(), ZPRMetadataValueTypeString);
}

TEST(ZPRMetadataItemTest, NumberItemKeepsItsKindOfNumberThroughAnArchive) {
  // A 32-bit float stays a float (the movie metadata step stores it as an integer), and a double
  // comes back as a 64-bit float, as CoreFoundation reads an 8-byte real.
  struct Case {
    Value number;
    CFNumberType decoded;
  };
  for (const Case& c : {Case{Value::real(2.5, CFNumberType::kCFNumberFloat32Type),
                             CFNumberType::kCFNumberFloat32Type},
                        Case{Value::real(2.5, CFNumberType::kCFNumberFloat64Type),
                             CFNumberType::kCFNumberFloat64Type},
                        Case{Value::real(0.1), CFNumberType::kCFNumberFloat64Type},
                        Case{Value::integer(7, CFNumberType::kCFNumberSInt32Type),
                             CFNumberType::kCFNumberSInt64Type}}) {
    SCOPED_TRACE(static_cast<int>(c.number.numberType()));
    const auto item = itemWith("n", c.number);
    ASSERT_NE(item, nullptr);
    const Decoded decoded = secureDecode(archive(item));
    ASSERT_NE(decoded.item, nullptr) << decoded.error;
    ASSERT_TRUE(decoded.item->numberValue().has_value());
    EXPECT_EQ(decoded.item->numberValue()->numberType(), c.decoded);
    EXPECT_EQ(decoded.item->numberValue()->doubleValue(), c.number.doubleValue());
  }
}

// One thread sets a property to either of two values while another reads it: every read must
// see one of them whole.
template <typename Get, typename Set, typename T>
void hammer(Get get, Set set, const T& first, const T& second) {
  constexpr int kRounds = 20000;
  set(first);
  std::atomic<bool> torn{false};
  std::thread writer([&] {
    for (int i = 0; i < kRounds; ++i) set(i % 2 ? first : second);
  });
  std::thread reader([&] {
    for (int i = 0; i < kRounds; ++i) {
      const T seen = get();
      if (!(seen == first || seen == second)) torn = true;
    }
  });
  writer.join();
  reader.join();
  EXPECT_FALSE(torn);
}

TEST(ZPRMetadataItemTest, ConcurrentGetAndSetOfAPropertyDoNotRace) {
  auto item = std::make_shared<ZPRMetadataItem>();
  const std::optional<std::string> longKey = std::string(200, 'k');
  const std::optional<std::string> otherKey = std::string(300, 'K');
  hammer([&] { return std::optional<std::string>(item->key()); },
         [&](const std::optional<std::string>& v) { item->setKey(v); }, longKey, otherKey);
  hammer([&] { return std::optional<std::string>(item->stringValue()); },
         [&](const std::optional<std::string>& v) { item->setStringValue(v); }, longKey, otherKey);
  const std::optional<Value> list = Value::array({Value::string(std::string(100, 'a'))});
  const std::optional<Value> otherList =
      Value::array({Value::string(std::string(100, 'b')), Value::string(std::string(50, 'c'))});
  hammer([&] { return std::optional<Value>(item->tokenValues()); },
         [&](const std::optional<Value>& v) { item->setTokenValues(v); }, list, otherList);
  hammer([&] { return std::optional<Value>(item->numberValue()); },
         [&](const std::optional<Value>& v) { item->setNumberValue(v); }, list, otherList);
  hammer([&] { return std::optional<Value>(item->dateValue()); },
         [&](const std::optional<Value>& v) { item->setDateValue(v); }, list, otherList);
  hammer([&] { return item->valueType(); }, [&](uint32_t v) { item->setValueType(v); }, uint32_t{1},
         uint32_t{0x12345678});
}

TEST(ZPRMetadataItemTest, SecureDecodingRefusesATokenInsideATokenList) {
  const auto item =
      itemWith("name", Value::array({Value::string("Take_"),
                                     Value::object(ZPRToken::tokenWithCode("$$Day", "Day"))}));
  ASSERT_NE(item, nullptr);
  const Decoded decoded = secureDecode(archive(item));
  EXPECT_EQ(decoded.item, nullptr);
  EXPECT_EQ(decoded.failure, KeyedArchiveFailure::kClassNotAllowed) << decoded.error;
  EXPECT_THAT(decoded.error, HasSubstr("ZPRToken")) << decoded.error;
}

TEST(ZPRMetadataItemTest, SecureDecodingRefusesAValueOfTheWrongClass) {
  auto item = std::make_shared<ZPRMetadataItem>();
  item->setKey("take");
  item->setValueType(ZPRMetadataValueTypeNumber);
  item->setNumberValue(Value::string("42"));
  const Decoded decoded = secureDecode(archive(item));
  EXPECT_EQ(decoded.item, nullptr);
  EXPECT_EQ(decoded.failure, KeyedArchiveFailure::kClassNotAllowed) << decoded.error;
  EXPECT_THAT(decoded.error, HasSubstr("numberValue")) << decoded.error;
}

}  // namespace
}  // namespace premoov
