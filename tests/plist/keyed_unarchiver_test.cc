#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "plist/keyed_archive.h"
#include "plist/keyed_test_support.h"

namespace premoov {
namespace {

using keyed_test::archiveNode;
using keyed_test::archiveOf;
using keyed_test::arrayObject;
using keyed_test::binaryOf;
using keyed_test::classEntry;
using keyed_test::kValueClasses;
using keyed_test::rawBinaryPlist;
using keyed_test::TestItem;
using keyed_test::uidArray;
using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr CFNumberType kFloat64 = CFNumberType::kCFNumberFloat64Type;

const std::set<std::string> kEveryClass = [] {
  std::set<std::string> all = kValueClasses;
  all.insert(TestItem::kClassName);
  return all;
}();

class KeyedUnarchiverTest : public ::testing::Test {
 protected:
  void SetUp() override { TestItem::registerClass(); }

  static std::unique_ptr<KeyedUnarchiver> open(const std::vector<uint8_t>& data) {
    auto unarchiver = KeyedUnarchiver::fromData(data);
    EXPECT_TRUE(unarchiver.has_value()) << (unarchiver ? "" : unarchiver.error());
    return unarchiver ? std::move(*unarchiver) : nullptr;
  }

  // Archives `root`, then reads it back with secure coding and every class allowed.
  static std::optional<Value> roundTrip(const Value& root) {
    auto unarchiver = open(KeyedArchiver::archivedDataWithRootObject(root));
    if (!unarchiver) return std::nullopt;
    unarchiver->setRequiresSecureCoding(true);
    auto decoded = unarchiver->decodeTopLevelObjectOfClasses(kEveryClass);
    EXPECT_FALSE(unarchiver->error()) << unarchiver->error()->message;
    return decoded;
  }

  // Opens `data` and decodes its root securely with `classes`; answers the failure met.
  static std::optional<KeyedArchiveError> secureFailure(const std::vector<uint8_t>& data,
                                                        const std::set<std::string>& classes) {
    auto unarchiver = open(data);
    if (!unarchiver) return std::nullopt;
    unarchiver->setRequiresSecureCoding(true);
    EXPECT_FALSE(unarchiver->decodeTopLevelObjectOfClasses(classes));
    return unarchiver->error();
  }

  static std::string openFailure(const std::vector<uint8_t>& data) {
    auto unarchiver = KeyedUnarchiver::fromData(data);
    EXPECT_FALSE(unarchiver.has_value());
    return unarchiver ? std::string() : unarchiver.error();
  }
};

TEST_F(KeyedUnarchiverTest, RoundTripsEveryPlainKind) {
  const std::vector<Value> values{
      Value::string("premoov"),
      Value::string(""),
      Value::string("caf\xC3\xA9 \xE2\x9C\x93"),
      Value::integer(0),
      Value::integer(42),
      Value::integer(-7),
      Value::integer(INT64_MIN),
      Value::integer(INT64_MAX),
      // Doubles come back as CoreFoundation's 64-bit float type (see below).
      Value::real(0.1, CFNumberType::kCFNumberFloat64Type),
      Value::real(-2.5e300, CFNumberType::kCFNumberFloat64Type),
      Value::real(0.25, CFNumberType::kCFNumberFloat32Type),
      Value::boolean(true),
      Value::boolean(false),
      Value::data({}),
      Value::data({0x00, 0x01, 0xFE, 0xFF}),
      Value::date(0),
      Value::date(725846400.5),
      Value::date(-86400.25),
  };
  for (const Value& value : values) {
    SCOPED_TRACE(std::string(kindName(value.kind())) + " " + archivedClassNameOf(value));
    EXPECT_EQ(roundTrip(value), value);
  }
}

TEST_F(KeyedUnarchiverTest, RoundTripsArraysAndNestedDictionaries) {
  const Value root = Value::dictionary({
      {"list", Value::array({Value::string("a"), Value::integer(1), Value::real(2.5, kFloat64),
                             Value::boolean(false), Value::data({9}), Value::date(3)})},
      {"nested", Value::dictionary({{"inner", Value::dictionary({{"deep", Value::string("x")}})},
                                    {"empty", Value::dictionary()}})},
      {"empty", Value::array()},
      {"$dollar", Value::string("escaped key")},
  });
  EXPECT_EQ(roundTrip(root), root);
}

TEST_F(KeyedUnarchiverTest, RoundTripsOurObjectWithNilFields) {
  auto item = std::make_shared<TestItem>();
  item->name = "token";
  item->count = -12;
  item->enabled = true;
  item->ratio = 0.75;
  auto decoded = roundTrip(Value::object(item));
  ASSERT_TRUE(decoded && decoded->isObject());
  auto back = std::dynamic_pointer_cast<const TestItem>(decoded->objectValue());
  ASSERT_TRUE(back);
  EXPECT_EQ(back->name, "token");
  EXPECT_EQ(back->count, -12);
  EXPECT_TRUE(back->enabled);
  EXPECT_EQ(back->ratio, 0.75);
  EXPECT_FALSE(back->payload);
  EXPECT_FALSE(back->child);
}

TEST_F(KeyedUnarchiverTest, RoundTripsTheSampleGraphAndKeepsSharedObjectsShared) {
  auto decoded = roundTrip(keyed_test::sampleGraph());
  ASSERT_TRUE(decoded && decoded->isDictionary());
  const Value expected = keyed_test::sampleGraph();
  for (const auto& [key, value] : expected.entries()) {
    SCOPED_TRACE(key);
    ASSERT_TRUE(decoded->objectForKey(key));
    if (!value.isObject()) {
      EXPECT_EQ(*decoded->objectForKey(key), value);
    }
  }
  EXPECT_EQ(decoded->entries().size(), expected.entries().size());
  const auto item =
      std::dynamic_pointer_cast<const TestItem>(decoded->objectForKey("item")->objectValue());
  ASSERT_TRUE(item);
  // "item" and "shared" were one object, and come back as one.
  EXPECT_EQ(decoded->objectForKey("shared")->objectValue(), item);
  EXPECT_EQ(item->name, "token");
  EXPECT_EQ(item->payload, Value::array({Value::string("premoov"), Value::integer(1)}));
  ASSERT_TRUE(item->child);
  EXPECT_EQ(item->child->name, "child");
  EXPECT_EQ(item->child->count, -3);
}

TEST_F(KeyedUnarchiverTest, ReadsTheXmlSpellingOfAnArchive) {
  // XML spells references as {"CF$UID": n}.
  const Value root = Value::array({Value::string("a"), Value::date(5), Value::dictionary()});
  PlistNode tree = keyed_test::parseBinary(KeyedArchiver::archivedDataWithRootObject(root));
  const std::vector<uint8_t> xml = keyed_test::xmlOf(tree.get());
  ASSERT_NE(std::string(xml.begin(), xml.end()).find("CF$UID"), std::string::npos);
  auto unarchiver = open(xml);
  ASSERT_TRUE(unarchiver);
  EXPECT_EQ(unarchiver->decodeRootObject(), root);
  EXPECT_FALSE(unarchiver->error());
}

TEST_F(KeyedUnarchiverTest, ScalarsAndPresenceOnTheTopLevel) {
  KeyedArchiver archiver;
  archiver.encodeInt64(-5, "i");
  archiver.encodeBool(true, "b");
  archiver.encodeDouble(1.5, "d");
  archiver.encodeObject(nullptr, "root");
  auto unarchiver = open(archiver.encodedData());
  ASSERT_TRUE(unarchiver);
  EXPECT_EQ(unarchiver->decodeInt64("i"), -5);
  EXPECT_TRUE(unarchiver->decodeBool("b"));
  EXPECT_EQ(unarchiver->decodeDouble("d"), 1.5);
  EXPECT_EQ(unarchiver->decodeDouble("i"), -5.0);
  EXPECT_EQ(unarchiver->decodeInt64("d"), 1);  // 1.5, truncated
  EXPECT_EQ(unarchiver->decodeInt64("absent"), 0);
  EXPECT_FALSE(unarchiver->decodeBool("absent"));
  EXPECT_TRUE(unarchiver->containsValueForKey("i"));
  EXPECT_FALSE(unarchiver->containsValueForKey("absent"));
  // "$null" and absent keys decode to nothing without an error.
  EXPECT_FALSE(unarchiver->decodeRootObject());
  EXPECT_FALSE(unarchiver->decodeObject("absent"));
  EXPECT_FALSE(unarchiver->error());
  // A key that holds a scalar holds no object.
  EXPECT_FALSE(unarchiver->decodeObject("i"));
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kBadReference);
  EXPECT_THAT(unarchiver->error()->message, HasSubstr("key \"i\""));
}

TEST_F(KeyedUnarchiverTest, SecureDecodingRefusesAClassOutsideTheSet) {
  auto failure = secureFailure(KeyedArchiver::archivedDataWithRootObject(Value::string("s")),
                               {"NSNumber", "NSArray"});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->failure, KeyedArchiveFailure::kClassNotAllowed);
  EXPECT_EQ(failure->message,
            "key \"root\": class NSString is not allowed (allowed: NSArray, NSNumber)");
}

TEST_F(KeyedUnarchiverTest, SecureDecodingChecksEveryElementOfAnArray) {
  const auto data = KeyedArchiver::archivedDataWithRootObject(
      Value::array({Value::string("a"), Value::integer(1)}));
  auto failure = secureFailure(data, {"NSArray", "NSString"});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->failure, KeyedArchiveFailure::kClassNotAllowed);
  EXPECT_EQ(failure->message,
            "key \"root\", element 1 of NS.objects: class NSNumber is not allowed "
            "(allowed: NSArray, NSString)");
  // With NSNumber allowed too, the same archive decodes.
  auto unarchiver = open(data);
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_TRUE(unarchiver->decodeTopLevelObjectOfClasses({"NSArray", "NSString", "NSNumber"}));
  EXPECT_FALSE(unarchiver->error());
}

TEST_F(KeyedUnarchiverTest, SecureDecodingChecksDictionaryKeysAndValues) {
  const auto data =
      KeyedArchiver::archivedDataWithRootObject(Value::dictionary({{"k", Value::integer(1)}}));
  auto keyFailure = secureFailure(data, {"NSDictionary", "NSNumber"});
  ASSERT_TRUE(keyFailure);
  EXPECT_THAT(keyFailure->message, AllOf(HasSubstr("element 0 of NS.keys"), HasSubstr("NSString")));
  auto valueFailure = secureFailure(data, {"NSDictionary", "NSString"});
  ASSERT_TRUE(valueFailure);
  EXPECT_THAT(valueFailure->message,
              AllOf(HasSubstr("element 0 of NS.objects"), HasSubstr("NSNumber")));
}

TEST_F(KeyedUnarchiverTest, SecureDecodingAcceptsAnAllowedSuperclass) {
  // An NSMutableArray passes where NSArray is allowed; our item passes through its superclass.
  const auto data =
      archiveOf({arrayObject({2}, 3), plist_new_string("a"),
                 classEntry("NSMutableArray", {"NSMutableArray", "NSArray", "NSObject"})},
                1);
  auto unarchiver = open(data);
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_EQ(unarchiver->decodeTopLevelObjectOfClasses({"NSArray", "NSString"}),
            Value::array({Value::string("a")}));
  EXPECT_FALSE(unarchiver->error());

  auto item = std::make_shared<TestItem>();
  item->name = "x";
  auto itemArchive = open(KeyedArchiver::archivedDataWithRootObject(Value::object(item)));
  itemArchive->setRequiresSecureCoding(true);
  auto decoded = itemArchive->decodeTopLevelObjectOfClasses({"PremoovTestBase"});
  ASSERT_TRUE(decoded && decoded->isObject());
  EXPECT_EQ(decoded->objectValue()->className(), "PremoovTestItem");
}

TEST_F(KeyedUnarchiverTest, NSObjectAllowsEveryClassAsInItsChain) {
  const Value root = Value::array({Value::string("a"), Value::integer(1), Value::date(2)});
  auto unarchiver = open(KeyedArchiver::archivedDataWithRootObject(root));
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_EQ(unarchiver->decodeTopLevelObjectOfClasses({"NSObject"}), root);
}

TEST_F(KeyedUnarchiverTest, SecureDecodingRefusesPlainDecoding) {
  auto unarchiver = open(KeyedArchiver::archivedDataWithRootObject(Value::string("s")));
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kInsecureDecoding);
  EXPECT_THAT(unarchiver->error()->message, HasSubstr("decodeRootObject"));
  // After the first failure nothing more is made, not even what is allowed.
  EXPECT_FALSE(unarchiver->decodeTopLevelObjectOfClasses({"NSString"}));
}

// A class whose initWithCoder: decodes without naming classes.
class PlainItem : public ArchivableObject {
 public:
  std::string className() const override { return "PremoovPlainItem"; }
  std::vector<std::string> classHierarchy() const override { return {className(), "NSObject"}; }
  void encodeWithCoder(KeyedArchiver& coder) const override {
    coder.encodeObject(Value::string("v"), "value");
  }
  static std::shared_ptr<const ArchivableObject> make(KeyedUnarchiver& coder) {
    if (!coder.decodeObject("value")) return nullptr;
    return std::make_shared<PlainItem>();
  }
};

TEST_F(KeyedUnarchiverTest, PlainDecodingInsideAClassIsRefusedUnderSecureCoding) {
  KeyedUnarchiver::registerClass("PremoovPlainItem", &PlainItem::make);
  const auto data =
      KeyedArchiver::archivedDataWithRootObject(Value::object(std::make_shared<PlainItem>()));
  auto relaxed = open(data);
  EXPECT_TRUE(relaxed->decodeRootObject());
  EXPECT_FALSE(relaxed->error());

  auto failure = secureFailure(data, {"PremoovPlainItem"});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->failure, KeyedArchiveFailure::kInsecureDecoding);
  EXPECT_THAT(failure->message, HasSubstr("key \"value\""));
}

TEST_F(KeyedUnarchiverTest, WithoutSecureCodingTheClassSetIsNotEnforced) {
  auto unarchiver = open(KeyedArchiver::archivedDataWithRootObject(Value::string("s")));
  EXPECT_EQ(unarchiver->decodeTopLevelObjectOfClasses({"NSNumber"}), Value::string("s"));
  EXPECT_FALSE(unarchiver->error());
}

TEST_F(KeyedUnarchiverTest, UnregisteredClassIsAnError) {
  const auto data = archiveOf(
      {keyed_test::arrayObject({}, 2), classEntry("PremoovNobody", {"PremoovNobody", "NSObject"})},
      1);
  auto unarchiver = open(data);
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kUnknownClass);
  EXPECT_EQ(unarchiver->error()->message,
            "key \"root\": class PremoovNobody is neither built in nor registered");
}

TEST_F(KeyedUnarchiverTest, FactoryFailureIsKeptAndNothingIsMade) {
  KeyedUnarchiver::registerClass("PremoovRefusing", [](KeyedUnarchiver& coder) {
    coder.failWithError("refused on purpose");
    coder.failWithError("a second failure is not kept");
    return std::shared_ptr<const ArchivableObject>();
  });
  KeyedUnarchiver::registerClass(
      "PremoovEmpty", [](KeyedUnarchiver&) { return std::shared_ptr<const ArchivableObject>(); });
  auto refusing = open(archiveOf(
      {arrayObject({}, 2), classEntry("PremoovRefusing", {"PremoovRefusing", "NSObject"})}, 1));
  EXPECT_FALSE(refusing->decodeRootObject());
  ASSERT_TRUE(refusing->error());
  EXPECT_EQ(refusing->error()->failure, KeyedArchiveFailure::kFailedByClass);
  EXPECT_EQ(refusing->error()->message, "refused on purpose");

  auto empty = open(
      archiveOf({arrayObject({}, 2), classEntry("PremoovEmpty", {"PremoovEmpty", "NSObject"})}, 1));
  EXPECT_FALSE(empty->decodeRootObject());
  ASSERT_TRUE(empty->error());
  EXPECT_THAT(empty->error()->message, HasSubstr("PremoovEmpty factory made nothing"));
}

TEST_F(KeyedUnarchiverTest, ReadsMutableStringAndDataAndIntegerTime) {
  plist_t string = plist_new_dict();
  plist_dict_set_item(string, "NS.string", plist_new_string("text"));
  plist_dict_set_item(string, "$class", plist_new_uid(3));
  plist_t data = plist_new_dict();
  plist_dict_set_item(data, "NS.data", plist_new_data("\x01\x02", 2));
  plist_dict_set_item(data, "$class", plist_new_uid(5));
  plist_t date = plist_new_dict();
  plist_dict_set_item(date, "NS.time", plist_new_uint(10));
  plist_dict_set_item(date, "$class", plist_new_uid(7));
  const auto archive =
      archiveOf({arrayObject({2, 4, 6}, 8), string,
                 classEntry("NSMutableString", {"NSMutableString", "NSString", "NSObject"}), data,
                 classEntry("NSMutableData", {"NSMutableData", "NSData", "NSObject"}), date,
                 classEntry("NSDate", {"NSDate", "NSObject"}),
                 classEntry("NSArray", {"NSArray", "NSObject"})},
                1);
  auto unarchiver = open(archive);
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_EQ(unarchiver->decodeTopLevelObjectOfClasses({"NSArray", "NSString", "NSData", "NSDate"}),
            Value::array({Value::string("text"), Value::data({1, 2}), Value::date(10)}));
  EXPECT_FALSE(unarchiver->error());
}

std::vector<uint8_t> seedFile(const std::string& name) {
  const std::string path =
      std::string(PREMOOV_SOURCE_DIR) + "/fuzz/corpus/keyed_unarchiver/" + name;
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << path;
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

TEST_F(KeyedUnarchiverTest, ReadsArchivesWrittenByPythonsPlistlib) {
  // Seeds of the fuzz corpus written by plistlib, not by libplist: mutable classes in binary,
  // and an XML archive written by hand.
  auto mutableClasses = open(seedFile("handmade_mutable.bplist"));
  ASSERT_TRUE(mutableClasses);
  mutableClasses->setRequiresSecureCoding(true);
  EXPECT_EQ(mutableClasses->decodeTopLevelObjectOfClasses(
                {"NSArray", "NSString", "NSData", "NSDictionary", "NSNumber"}),
            Value::array({Value::string("text"), Value::data({1, 2}),
                          Value::dictionary({{"text", Value::real(3.25, kFloat64)}})}));
  EXPECT_FALSE(mutableClasses->error());

  auto date = open(seedFile("handmade_plain.xml"));
  ASSERT_TRUE(date);
  EXPECT_EQ(date->decodeRootObject(), Value::date(725846400.25));

  auto cycle = open(seedFile("handmade_cycle.bplist"));
  EXPECT_FALSE(cycle->decodeRootObject());
  EXPECT_EQ(cycle->error()->failure, KeyedArchiveFailure::kCycle);
  auto unnamed = open(seedFile("handmade_item_without_name.bplist"));
  EXPECT_FALSE(unnamed->decodeRootObject());
  EXPECT_EQ(unnamed->error()->message, "PremoovTestItem without a name");
}

// The class an object is made of is the one its class entry resolves to, and the allowed-class
// check looks at that class and its superclasses as we know them, never at the names an archive
// lists under "$classes".

// An archived dictionary {"k": "v"} whose class entry is `entry`; it also carries the contents
// of a mutable string, "text".
std::vector<uint8_t> dictionaryWithClassEntry(plist_t entry) {
  plist_t dictionary = plist_new_dict();
  plist_dict_set_item(dictionary, "NS.keys", uidArray({3}));
  plist_dict_set_item(dictionary, "NS.objects", uidArray({4}));
  plist_dict_set_item(dictionary, "NS.string", plist_new_string("text"));
  plist_dict_set_item(dictionary, "$class", plist_new_uid(2));
  return archiveOf({dictionary, entry, plist_new_string("k"), plist_new_string("v")}, 1);
}

TEST_F(KeyedUnarchiverTest, ClassListCannotPassADictionaryAsAString) {
  const auto data =
      dictionaryWithClassEntry(classEntry("NSDictionary", {"NSDictionary", "NSString"}));
  auto failure = secureFailure(data, {"NSString"});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->failure, KeyedArchiveFailure::kClassNotAllowed);
  EXPECT_EQ(failure->message,
            "key \"root\": class NSDictionary is not allowed (allowed: NSString)");
  // Where dictionaries are allowed, it is one.
  auto unarchiver = open(data);
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_EQ(unarchiver->decodeTopLevelObjectOfClasses({"NSDictionary", "NSString"}),
            Value::dictionary({{"k", Value::string("v")}}));
}

TEST_F(KeyedUnarchiverTest, ObjectIsMadeOfTheFirstClassOfTheListThatIsKnown) {
  // "$classname" says NSDictionary, but the list names NSString first: the object is made as a
  // string, from its NS.string, and checked as one.
  const auto data =
      dictionaryWithClassEntry(classEntry("NSDictionary", {"NSString", "NSDictionary"}));
  auto unarchiver = open(data);
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_EQ(unarchiver->decodeTopLevelObjectOfClasses({"NSString"}), Value::string("text"));
  EXPECT_FALSE(unarchiver->error());
  auto failure = secureFailure(data, {"NSDictionary"});
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->failure, KeyedArchiveFailure::kClassNotAllowed);
  EXPECT_THAT(failure->message, HasSubstr("class NSString is not allowed"));
}

TEST_F(KeyedUnarchiverTest, NamesWeDoNotKnowAreSkippedInTheClassList) {
  const auto data = archiveOf(
      {arrayObject({3}, 2), classEntry("PremoovGone", {"PremoovGone", "NSArray", "NSObject"}),
       plist_new_string("a")},
      1);
  auto unarchiver = open(data);
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_EQ(unarchiver->decodeTopLevelObjectOfClasses({"NSArray", "NSString"}),
            Value::array({Value::string("a")}));
  EXPECT_FALSE(unarchiver->error());
}

TEST_F(KeyedUnarchiverTest, ClassListCannotPassOurObjectAsAnotherClass) {
  auto item = std::make_shared<TestItem>();
  item->name = "x";
  PlistNode tree =
      keyed_test::parseBinary(KeyedArchiver::archivedDataWithRootObject(Value::object(item)));
  // The item's class entry now claims NSString and NSArray among its superclasses.
  plist_t objects = plist_dict_get_item(tree.get(), "$objects");
  plist_t entry = plist_array_get_item(objects, 3);
  ASSERT_EQ(plistString(plist_dict_get_item(entry, "$classname")), TestItem::kClassName);
  plist_dict_set_item(entry, "$classes", [] {
    plist_t list = plist_new_array();
    for (const char* name : {TestItem::kClassName, "NSString", "NSArray"}) {
      plist_array_append_item(list, plist_new_string(name));
    }
    return list;
  }());
  const auto data = binaryOf(tree.get());
  for (const char* allowed : {"NSString", "NSArray"}) {
    SCOPED_TRACE(allowed);
    auto failure = secureFailure(data, {allowed});
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->failure, KeyedArchiveFailure::kClassNotAllowed);
    EXPECT_THAT(failure->message, HasSubstr("class PremoovTestItem is not allowed"));
  }
  // Its own superclass, as the class registered it, still lets it through.
  auto unarchiver = open(data);
  unarchiver->setRequiresSecureCoding(true);
  auto decoded = unarchiver->decodeTopLevelObjectOfClasses({"PremoovTestBase"});
  ASSERT_TRUE(decoded && decoded->isObject()) << unarchiver->error()->message;
  EXPECT_EQ(decoded->objectValue()->className(), TestItem::kClassName);
}

// Work follows the archive: each object is decoded once however often it is referenced, and each
// dictionary is looked into once.

// An array of `references` references to one date whose dictionary holds `junkKeys` keys besides
// its own, all before them.
std::vector<uint8_t> sharedDateWithJunkKeys(size_t references, size_t junkKeys) {
  keyed_test::RawPlist plist;
  const uint64_t null = plist.string("$null");
  const uint64_t toDate = plist.uid(2);
  const uint64_t array = plist.dictionary(std::vector<std::pair<std::string, uint64_t>>{
      {"NS.objects", plist.array(std::vector<uint64_t>(references, toDate))},
      {"$class", plist.uid(3)}});
  const uint64_t junkValue = plist.integer(0);
  std::vector<std::pair<std::string, uint64_t>> dateEntries;
  for (size_t i = 0; i < junkKeys; ++i)
    dateEntries.emplace_back("k" + std::to_string(i), junkValue);
  dateEntries.emplace_back("NS.time", plist.real64(725846400.5));
  dateEntries.emplace_back("$class", plist.uid(4));
  const uint64_t date = plist.dictionary(dateEntries);
  auto classEntryOf = [&](const char* name) {
    return plist.dictionary(std::vector<std::pair<std::string, uint64_t>>{
        {"$classname", plist.string(name)},
        {"$classes", plist.array({plist.string(name), plist.string("NSObject")})}});
  };
  const uint64_t arrayClass = classEntryOf("NSArray");
  const uint64_t dateClass = classEntryOf("NSDate");
  return plist.keyedArchive({null, array, date, arrayClass, dateClass}, 1);
}

TEST_F(KeyedUnarchiverTest, SharedObjectWithAHugeDictionaryIsDecodedOnce) {
  // 20,000 references to a date with 40,000 junk keys: looked up again at every reference, that
  // is 1.6 * 10^9 key comparisons (a third of that took 14 s under the sanitizers); decoded
  // once, well under a second.
  const auto data = sharedDateWithJunkKeys(20'000, 40'000);
  const auto start = std::chrono::steady_clock::now();
  auto unarchiver = open(data);
  ASSERT_TRUE(unarchiver);
  unarchiver->setRequiresSecureCoding(true);
  auto decoded = unarchiver->decodeTopLevelObjectOfClasses({"NSArray", "NSDate"});
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ASSERT_TRUE(decoded) << unarchiver->error()->message;
  ASSERT_EQ(decoded->elements().size(), 20'000u);
  EXPECT_EQ(decoded->elements().front(), Value::date(725846400.5));
  EXPECT_EQ(decoded->elements().back(), Value::date(725846400.5));
  EXPECT_LT(seconds, 5.0);
}

TEST_F(KeyedUnarchiverTest, SharedObjectIsCheckedAgainstTheClassesOfEveryReference) {
  // The root array's numbers pass the first decode; the same array, decoded once, must still
  // fail where numbers are not allowed.
  const auto data = KeyedArchiver::archivedDataWithRootObject(
      Value::array({Value::integer(1), Value::integer(2)}));
  auto unarchiver = open(data);
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_TRUE(unarchiver->decodeTopLevelObjectOfClasses({"NSArray", "NSNumber"}));
  EXPECT_FALSE(unarchiver->decodeTopLevelObjectOfClasses({"NSArray", "NSString"}));
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kClassNotAllowed);
  EXPECT_THAT(unarchiver->error()->message, HasSubstr("class NSNumber is not allowed"));
}

TEST_F(KeyedUnarchiverTest, SharedObjectIsBoundedByTheDepthOfEveryReference) {
  // Object 2 is a chain of 40 arrays. The root holds it once near the top and once at the end
  // of another chain of 40 arrays: decoded there, it nests deeper than the limit.
  std::vector<plist_t> objects;
  const uint64_t classReference = 83;
  // 1: the root, [object 2, object 42].
  objects.push_back(arrayObject({2, 42}, classReference));
  // 2 to 41: the first chain, ending in the string at 82.
  for (uint64_t i = 2; i <= 41; ++i)
    objects.push_back(arrayObject({i == 41 ? 82 : i + 1}, classReference));
  // 42 to 81: the second chain, ending in object 2.
  for (uint64_t i = 42; i <= 81; ++i)
    objects.push_back(arrayObject({i == 81 ? 2 : i + 1}, classReference));
  objects.push_back(plist_new_string("bottom"));
  objects.push_back(classEntry("NSArray", {"NSArray", "NSObject"}));
  auto unarchiver = open(archiveOf(objects, 1));
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kTooDeep);
}

// Numbers keep the kind of number their archived form says, as CoreFoundation's binary property
// list reader makes them: integers are 64-bit integers, 4-byte reals floats, 8-byte reals
// doubles.
std::optional<Value> rootNumberOf(uint64_t (*add)(keyed_test::RawPlist&)) {
  keyed_test::RawPlist plist;
  const uint64_t null = plist.string("$null");
  const uint64_t number = add(plist);
  auto unarchiver = KeyedUnarchiver::fromData(plist.keyedArchive({null, number}, 1));
  EXPECT_TRUE(unarchiver) << unarchiver.error();
  if (!unarchiver) return std::nullopt;
  (*unarchiver)->setRequiresSecureCoding(true);
  return (*unarchiver)->decodeTopLevelObjectOfClasses({"NSNumber"});
}

TEST_F(KeyedUnarchiverTest, FourByteRealIsAFloat) {
  auto number = rootNumberOf([](keyed_test::RawPlist& p) { return p.real32(2.5f); });
  ASSERT_TRUE(number);
  EXPECT_EQ(number->numberType(), CFNumberType::kCFNumberFloat32Type);
  EXPECT_EQ(number->doubleValue(), 2.5);
}

TEST_F(KeyedUnarchiverTest, EightByteRealIsADouble) {
  auto number = rootNumberOf([](keyed_test::RawPlist& p) { return p.real64(0.1); });
  ASSERT_TRUE(number);
  EXPECT_EQ(number->numberType(), CFNumberType::kCFNumberFloat64Type);
  EXPECT_EQ(number->doubleValue(), 0.1);
}

TEST_F(KeyedUnarchiverTest, IntegerAndBooleanKeepTheirKinds) {
  auto integer = rootNumberOf([](keyed_test::RawPlist& p) { return p.integer(7); });
  ASSERT_TRUE(integer);
  EXPECT_EQ(*integer, Value::integer(7, CFNumberType::kCFNumberSInt64Type));
  auto boolean = rootNumberOf([](keyed_test::RawPlist& p) { return p.boolean(true); });
  ASSERT_TRUE(boolean);
  EXPECT_EQ(*boolean, Value::boolean(true));
}

TEST_F(KeyedUnarchiverTest, NumberTypesSurviveARoundTripAsTheArchivedFormKeepsThem) {
  struct Case {
    Value number;
    CFNumberType decoded;
  };
  const std::vector<Case> cases{
      {Value::real(2.5, CFNumberType::kCFNumberFloat32Type), CFNumberType::kCFNumberFloat32Type},
      {Value::real(2.5, CFNumberType::kCFNumberFloatType), CFNumberType::kCFNumberFloat32Type},
      {Value::real(2.5, CFNumberType::kCFNumberFloat64Type), CFNumberType::kCFNumberFloat64Type},
      {Value::real(2.5, CFNumberType::kCFNumberDoubleType), CFNumberType::kCFNumberFloat64Type},
      {Value::integer(-3, CFNumberType::kCFNumberSInt32Type), CFNumberType::kCFNumberSInt64Type},
      {Value::integer(3, CFNumberType::kCFNumberSInt8Type), CFNumberType::kCFNumberSInt64Type},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.number.numberType()));
    auto decoded = roundTrip(c.number);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->numberType(), c.decoded);
    EXPECT_EQ(decoded->doubleValue(), c.number.doubleValue());
  }
}

// decodeInt64 reads any number as Foundation's does: reals are truncated toward zero, booleans
// are 0 or 1.
TEST_F(KeyedUnarchiverTest, IntegerDecodingTakesRealsAndBooleans) {
  KeyedArchiver archiver;
  archiver.encodeDouble(2.9, "up");
  archiver.encodeDouble(-2.9, "down");
  archiver.encodeDouble(1e300, "huge");
  archiver.encodeDouble(-1e300, "tiny");
  archiver.encodeDouble(std::nan(""), "nan");
  archiver.encodeBool(true, "yes");
  archiver.encodeBool(false, "no");
  archiver.encodeObject(nullptr, "root");
  auto unarchiver = open(archiver.encodedData());
  ASSERT_TRUE(unarchiver);
  EXPECT_EQ(unarchiver->decodeInt64("up"), 2);
  EXPECT_EQ(unarchiver->decodeInt64("down"), -2);
  EXPECT_EQ(unarchiver->decodeInt64("huge"), INT64_MAX);
  EXPECT_EQ(unarchiver->decodeInt64("tiny"), INT64_MIN);
  EXPECT_EQ(unarchiver->decodeInt64("nan"), 0);
  EXPECT_EQ(unarchiver->decodeInt64("yes"), 1);
  EXPECT_EQ(unarchiver->decodeInt64("no"), 0);
  EXPECT_FALSE(unarchiver->error());
}

// Hostile and broken archives: each must fail with a message, never crash or hang.

TEST_F(KeyedUnarchiverTest, EveryTruncationOfAnArchiveIsRefused) {
  const auto full = KeyedArchiver::archivedDataWithRootObject(keyed_test::sampleGraph());
  for (size_t length = 0; length < full.size(); ++length) {
    SCOPED_TRACE(length);
    auto unarchiver = KeyedUnarchiver::fromData(std::span<const uint8_t>(full.data(), length));
    EXPECT_FALSE(unarchiver.has_value());
    if (unarchiver.has_value()) continue;
    EXPECT_FALSE(unarchiver.error().empty());
  }
}

TEST_F(KeyedUnarchiverTest, ReferenceOutsideTheObjectsIsRefused) {
  auto unarchiver = open(archiveOf({arrayObject({99}, 2), classEntry("NSArray", {"NSArray"})}, 1));
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kBadReference);
  EXPECT_EQ(unarchiver->error()->message,
            "key \"root\", element 0 of NS.objects: reference 99 is outside the 3 archived "
            "objects");
}

TEST_F(KeyedUnarchiverTest, ClassReferenceOutsideTheObjectsIsRefused) {
  auto unarchiver = open(archiveOf({arrayObject({}, 7)}, 1));
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kBadReference);
}

TEST_F(KeyedUnarchiverTest, RootReferenceOutsideTheObjectsIsRefusedOnOpening) {
  EXPECT_EQ(openFailure(archiveOf({plist_new_string("a")}, 5)),
            "The archive's root refers to object 5 of only 2");
}

TEST_F(KeyedUnarchiverTest, ObjectContainingItselfIsRefused) {
  auto unarchiver = open(archiveOf({arrayObject({1}, 2), classEntry("NSArray", {"NSArray"})}, 1));
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kCycle);
  EXPECT_EQ(unarchiver->error()->message,
            "key \"root\", element 0 of NS.objects: object 1 contains itself");
}

TEST_F(KeyedUnarchiverTest, CycleThroughOurObjectsIsRefused) {
  // Item 1's child is item 2, whose child is item 1.
  auto item = [](uint64_t child) {
    plist_t object = plist_new_dict();
    plist_dict_set_item(object, "name", plist_new_uid(4));
    plist_dict_set_item(object, "child", plist_new_uid(child));
    plist_dict_set_item(object, "$class", plist_new_uid(3));
    return object;
  };
  auto unarchiver = open(archiveOf(
      {item(2), item(1), classEntry(TestItem::kClassName, {TestItem::kClassName, "NSObject"}),
       plist_new_string("n")},
      1));
  unarchiver->setRequiresSecureCoding(true);
  EXPECT_FALSE(unarchiver->decodeTopLevelObjectOfClasses({TestItem::kClassName}));
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kCycle);
  EXPECT_THAT(unarchiver->error()->message, HasSubstr("key \"child\" of PremoovTestItem"));
}

TEST_F(KeyedUnarchiverTest, MessageNamesTheObjectHoldingTheKeyAfterNestedObjects) {
  // The payload of item 1 is a dictionary whose first value is item 5 (made first, with a frame
  // of its own) and whose second value refers past the objects.
  auto item = [](uint64_t name, uint64_t payload) {
    plist_t object = plist_new_dict();
    plist_dict_set_item(object, "name", plist_new_uid(name));
    plist_dict_set_item(object, "payload", plist_new_uid(payload));
    plist_dict_set_item(object, "$class", plist_new_uid(7));
    return object;
  };
  plist_t dictionary = plist_new_dict();
  plist_dict_set_item(dictionary, "NS.keys", uidArray({4, 9}));
  plist_dict_set_item(dictionary, "NS.objects", uidArray({5, 99}));
  plist_dict_set_item(dictionary, "$class", plist_new_uid(8));
  auto unarchiver = open(archiveOf(
      {item(2, 3), plist_new_string("outer"), dictionary, plist_new_string("a"), item(6, 0),
       plist_new_string("inner"), classEntry(TestItem::kClassName, {TestItem::kClassName}),
       classEntry("NSDictionary", {"NSDictionary"}), plist_new_string("b")},
      1));
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->message,
            "key \"payload\" of PremoovTestItem (object 1), element 1 of NS.objects: reference 99 "
            "is outside the 10 archived objects");
}

// `levels` arrays, each holding the next, the innermost holding a string.
std::vector<uint8_t> nestedArrays(size_t levels) {
  std::vector<plist_t> objects;
  const uint64_t classReference = levels + 2;
  for (size_t i = 1; i <= levels; ++i) objects.push_back(arrayObject({i + 1}, classReference));
  objects.push_back(plist_new_string("bottom"));
  objects.push_back(classEntry("NSArray", {"NSArray", "NSObject"}));
  return archiveOf(objects, 1);
}

TEST_F(KeyedUnarchiverTest, NestingIsBoundedAtTheObjectDepth) {
  // The string inside kMaxObjectDepth - 1 arrays is the kMaxObjectDepth-th object down.
  auto shallow = KeyedUnarchiver::fromData(nestedArrays(KeyedUnarchiver::kMaxObjectDepth - 1));
  ASSERT_TRUE(shallow);
  EXPECT_TRUE((*shallow)->decodeRootObject());
  EXPECT_FALSE((*shallow)->error());

  auto deep = KeyedUnarchiver::fromData(nestedArrays(KeyedUnarchiver::kMaxObjectDepth));
  ASSERT_TRUE(deep);
  EXPECT_FALSE((*deep)->decodeRootObject());
  ASSERT_TRUE((*deep)->error());
  EXPECT_EQ((*deep)->error()->failure, KeyedArchiveFailure::kTooDeep);
}

TEST_F(KeyedUnarchiverTest, ThousandLevelsOfNestingAreRefused) {
  auto unarchiver = open(nestedArrays(1000));
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kTooDeep);
  EXPECT_THAT(unarchiver->error()->message, HasSubstr("deeper than 64 levels"));
}

TEST_F(KeyedUnarchiverTest, TopWithoutRootIsRefused) {
  PlistNode archive = archiveNode({plist_new_string("a")}, 1);
  plist_dict_remove_item(plist_dict_get_item(archive.get(), "$top"), "root");
  EXPECT_EQ(openFailure(binaryOf(archive.get())),
            "The archive's \"$top\" has no \"root\" reference");
}

TEST_F(KeyedUnarchiverTest, WrongOrMissingTopLevelPartsAreRefused) {
  PlistNode wrongArchiver = archiveNode({plist_new_string("a")}, 1);
  plist_dict_set_item(wrongArchiver.get(), "$archiver", plist_new_string("NSArchiver"));
  EXPECT_EQ(openFailure(binaryOf(wrongArchiver.get())),
            "The archive's \"$archiver\" is not \"NSKeyedArchiver\"");

  PlistNode noObjects = archiveNode({plist_new_string("a")}, 1);
  plist_dict_set_item(noObjects.get(), "$objects", plist_new_dict());
  EXPECT_EQ(openFailure(binaryOf(noObjects.get())), "The archive has no \"$objects\" array");

  PlistNode noTop = archiveNode({plist_new_string("a")}, 1);
  plist_dict_remove_item(noTop.get(), "$top");
  EXPECT_EQ(openFailure(binaryOf(noTop.get())), "The archive has no \"$top\" dictionary");

  PlistNode array(plist_new_array());
  EXPECT_EQ(openFailure(binaryOf(array.get())), "The archive's top level is no dictionary");

  EXPECT_EQ(openFailure({}), "The archive is empty");
  const std::string garbage = "not a property list at all";
  EXPECT_EQ(openFailure(std::vector<uint8_t>(garbage.begin(), garbage.end())),
            "The archive is no property list libplist can read");
}

TEST_F(KeyedUnarchiverTest, HugeDeclaredCountsAreRefusedBeforeReading) {
  // An array declaring 2^64 - 1 references, and data declaring 2^40 bytes, in tiny files.
  const auto hugeArray =
      rawBinaryPlist({{0xAF, 0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}}, 0);
  EXPECT_EQ(openFailure(hugeArray),
            "Object 0 of the binary property list declares more than the file holds");
  const auto hugeData =
      rawBinaryPlist({{0x4F, 0x13, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}}, 0);
  EXPECT_EQ(openFailure(hugeData),
            "Object 0 of the binary property list declares more than the file holds");
}

TEST_F(KeyedUnarchiverTest, KeysAndObjectsOfADictionaryMustPair) {
  plist_t dictionary = plist_new_dict();
  plist_dict_set_item(dictionary, "NS.keys", uidArray({2, 2}));
  plist_dict_set_item(dictionary, "NS.objects", uidArray({2}));
  plist_dict_set_item(dictionary, "$class", plist_new_uid(3));
  auto unarchiver = open(archiveOf(
      {dictionary, plist_new_string("k"), classEntry("NSDictionary", {"NSDictionary"})}, 1));
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kBadObject);
  EXPECT_EQ(unarchiver->error()->message,
            "key \"root\": the NSDictionary has 2 keys but 1 objects");
}

TEST_F(KeyedUnarchiverTest, MalformedObjectsAreRefused) {
  struct Case {
    const char* name;
    std::vector<plist_t> objects;
    KeyedArchiveFailure failure;
  };
  auto withoutClass = [] {
    plist_t object = plist_new_dict();
    plist_dict_set_item(object, "NS.objects", uidArray({}));
    return object;
  };
  auto noClassName = [] {
    plist_t entry = plist_new_dict();
    plist_dict_set_item(entry, "$classes", plist_new_array());
    return entry;
  };
  auto numberElement = [] {
    plist_t object = plist_new_dict();
    plist_t elements = plist_new_array();
    plist_array_append_item(elements, plist_new_uint(1));
    plist_dict_set_item(object, "NS.objects", elements);
    plist_dict_set_item(object, "$class", plist_new_uid(2));
    return object;
  };
  auto noElements = [] {
    plist_t object = plist_new_dict();
    plist_dict_set_item(object, "$class", plist_new_uid(2));
    return object;
  };
  std::vector<Case> cases;
  cases.push_back({"no $class", {withoutClass()}, KeyedArchiveFailure::kBadObject});
  cases.push_back({"class entry without name",
                   {arrayObject({}, 2), noClassName()},
                   KeyedArchiveFailure::kBadObject});
  cases.push_back({"element that is no reference",
                   {numberElement(), classEntry("NSArray", {"NSArray"})},
                   KeyedArchiveFailure::kBadReference});
  cases.push_back({"array without NS.objects",
                   {noElements(), classEntry("NSArray", {"NSArray"})},
                   KeyedArchiveFailure::kBadObject});
  cases.push_back({"$null inside an array",
                   {arrayObject({0}, 2), classEntry("NSArray", {"NSArray"})},
                   KeyedArchiveFailure::kBadObject});
  cases.push_back(
      {"plain array as an object", {plist_new_array()}, KeyedArchiveFailure::kBadObject});
  cases.push_back({"reference as an object", {plist_new_uid(1)}, KeyedArchiveFailure::kBadObject});
  cases.push_back({"NSNumber as a dictionary",
                   {arrayObject({}, 2), classEntry("NSNumber", {"NSNumber"})},
                   KeyedArchiveFailure::kBadObject});
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto unarchiver = open(archiveOf(c.objects, 1));
    ASSERT_TRUE(unarchiver);
    EXPECT_FALSE(unarchiver->decodeRootObject());
    ASSERT_TRUE(unarchiver->error());
    EXPECT_EQ(unarchiver->error()->failure, c.failure);
    EXPECT_THAT(unarchiver->error()->message, HasSubstr("key \"root\""));
  }
}

TEST_F(KeyedUnarchiverTest, ManyReferencesToOneLargeObjectAreBounded) {
  // 1000 references to an array of 1000 references to 1 KiB of data would decode to 1 GB.
  std::vector<uint64_t> toMiddle(1000, 2);
  std::vector<uint64_t> toData(1000, 3);
  const std::vector<char> kilobyte(1024, 'x');
  const auto archive = archiveOf({arrayObject(toMiddle, 4), arrayObject(toData, 4),
                                  plist_new_data(kilobyte.data(), kilobyte.size()),
                                  classEntry("NSArray", {"NSArray", "NSObject"})},
                                 1);
  EXPECT_LT(archive.size(), 16000u);
  auto unarchiver = open(archive);
  EXPECT_FALSE(unarchiver->decodeRootObject());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_EQ(unarchiver->error()->failure, KeyedArchiveFailure::kTooMuch);
}

TEST_F(KeyedUnarchiverTest, InputOverTheSizeLimitIsRefusedUnread) {
  std::vector<uint8_t> huge(KeyedUnarchiver::kMaxArchiveBytes + 1, ' ');
  EXPECT_EQ(openFailure(huge), "The archive is 16777217 bytes; at most 16777216 are read");
}

TEST_F(KeyedUnarchiverTest, PropertyListsLibplistCannotReadSafelyAreRefused) {
  // Deep XML: libplist frees trees recursively.
  std::string xml = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
  for (int i = 0; i < 100000; ++i) xml += "<array>";
  for (int i = 0; i < 100000; ++i) xml += "</array>";
  xml += "</plist>";
  EXPECT_EQ(openFailure(std::vector<uint8_t>(xml.begin(), xml.end())),
            "The property list nests containers deeper than 32 levels");
  // A binary DAG of 30 levels, each array holding the next one twice: 2^30 copies in libplist.
  std::vector<std::vector<uint8_t>> objects;
  for (uint8_t i = 0; i < 30; ++i) objects.push_back({0xA2, uint8_t(i + 1), uint8_t(i + 1)});
  objects.push_back({0x51, 'x'});
  EXPECT_EQ(openFailure(rawBinaryPlist(objects, 0)),
            "The property list would take more than 67108864 bytes to read");
}

}  // namespace
}  // namespace premoov
