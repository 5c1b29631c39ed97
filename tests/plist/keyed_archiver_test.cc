#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/log.h"
#include "plist/keyed_archive.h"
#include "plist/keyed_test_support.h"

namespace premoov {
namespace {

using keyed_test::describePlist;
using keyed_test::parseBinary;
using keyed_test::TestItem;
using ::testing::HasSubstr;

// The archive of `root`, parsed back with libplist.
PlistNode archiveTree(const Value& root) {
  return parseBinary(KeyedArchiver::archivedDataWithRootObject(root));
}

std::string objectsOf(const Value& root) {
  PlistNode tree = archiveTree(root);
  return describePlist(plist_dict_get_item(tree.get(), "$objects"));
}

TEST(KeyedArchiverTest, WritesABinaryPropertyList) {
  const std::vector<uint8_t> data = KeyedArchiver::archivedDataWithRootObject(Value::string("a"));
  ASSERT_GE(data.size(), 8u);
  EXPECT_EQ(std::string(data.begin(), data.begin() + 8), "bplist00");
}

TEST(KeyedArchiverTest, TopLevelHasArchiverVersionTopAndObjects) {
  PlistNode tree = archiveTree(Value::array({Value::string("a"), Value::integer(1)}));
  EXPECT_EQ(describePlist(tree.get()),
            "{\"$version\":100000,"
            "\"$archiver\":\"NSKeyedArchiver\","
            "\"$top\":{\"root\":UID(1)},"
            "\"$objects\":["
            "\"$null\","
            "{\"NS.objects\":[UID(2),UID(3)],\"$class\":UID(4)},"
            "\"a\","
            "1,"
            "{\"$classname\":\"NSArray\",\"$classes\":[\"NSArray\",\"NSObject\"]}]}");
}

TEST(KeyedArchiverTest, DictionaryWritesKeysThenObjectsThenItsClass) {
  EXPECT_EQ(objectsOf(Value::dictionary({{"b", Value::integer(2)}, {"a", Value::string("x")}})),
            "[\"$null\","
            "{\"NS.keys\":[UID(2),UID(3)],\"NS.objects\":[UID(4),UID(5)],\"$class\":UID(6)},"
            "\"a\","
            "\"b\","
            "\"x\","
            "2,"
            "{\"$classname\":\"NSDictionary\",\"$classes\":[\"NSDictionary\",\"NSObject\"]}]");
}

TEST(KeyedArchiverTest, DateIsTimeSinceReferenceDateWithItsClass) {
  EXPECT_EQ(objectsOf(Value::date(-1.5)),
            "[\"$null\","
            "{\"NS.time\":-1.5,\"$class\":UID(2)},"
            "{\"$classname\":\"NSDate\",\"$classes\":[\"NSDate\",\"NSObject\"]}]");
}

TEST(KeyedArchiverTest, PlainValuesArePropertyListValues) {
  EXPECT_EQ(objectsOf(Value::string("hello")), "[\"$null\",\"hello\"]");
  EXPECT_EQ(objectsOf(Value::integer(-7)), "[\"$null\",-7]");
  EXPECT_EQ(objectsOf(Value::integer(INT64_MAX)), "[\"$null\",9223372036854775807]");
  EXPECT_EQ(objectsOf(Value::real(0.1)), "[\"$null\",0.1]");
  EXPECT_EQ(objectsOf(Value::boolean(true)), "[\"$null\",true]");
  EXPECT_EQ(objectsOf(Value::boolean(false)), "[\"$null\",false]");
  EXPECT_EQ(objectsOf(Value::data({0x00, 0x01, 0xFF})), "[\"$null\",<0001ff>]");
}

TEST(KeyedArchiverTest, KindOfNumberDecidesIntegerOrReal) {
  PlistNode tree = archiveTree(Value::array({Value::integer(3, CFNumberType::kCFNumberSInt32Type),
                                             Value::real(3, CFNumberType::kCFNumberFloat32Type)}));
  plist_t objects = plist_dict_get_item(tree.get(), "$objects");
  EXPECT_EQ(plist_get_node_type(plist_array_get_item(objects, 2)), PLIST_UINT);
  EXPECT_EQ(plist_get_node_type(plist_array_get_item(objects, 3)), PLIST_REAL);
}

// Whether `data` holds `pattern` anywhere.
bool contains(const std::vector<uint8_t>& data, const std::vector<uint8_t>& pattern) {
  return std::search(data.begin(), data.end(), pattern.begin(), pattern.end()) != data.end();
}

TEST(KeyedArchiverTest, DoublesAreWrittenAsEightByteReals) {
  // 0.5 fits a float, but a double is written in full, as Foundation writes it: marker 0x23 and
  // the big-endian IEEE double 0x3FE0000000000000.
  const auto data = KeyedArchiver::archivedDataWithRootObject(Value::real(0.5));
  EXPECT_TRUE(contains(data, {0x23, 0x3F, 0xE0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
  EXPECT_FALSE(contains(data, {0x22, 0x3F, 0x00, 0x00, 0x00}));
  const auto float64 = KeyedArchiver::archivedDataWithRootObject(
      Value::real(0.5, CFNumberType::kCFNumberFloat64Type));
  EXPECT_TRUE(contains(float64, {0x23, 0x3F, 0xE0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
}

TEST(KeyedArchiverTest, FloatsAreWrittenAsFourByteReals) {
  for (CFNumberType type : {CFNumberType::kCFNumberFloat32Type, CFNumberType::kCFNumberFloatType}) {
    SCOPED_TRACE(static_cast<int>(type));
    const auto data = KeyedArchiver::archivedDataWithRootObject(Value::real(0.5, type));
    EXPECT_TRUE(contains(data, {0x22, 0x3F, 0x00, 0x00, 0x00}));
    EXPECT_FALSE(contains(data, {0x23, 0x3F, 0xE0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
  }
}

TEST(KeyedArchiverTest, TimesAndEncodedDoublesAreEightByteReals) {
  KeyedArchiver archiver;
  archiver.encodeDouble(0.5, "d");
  archiver.encodeObject(Value::date(1.5), "root");
  const auto data = archiver.encodedData();
  EXPECT_TRUE(contains(data, {0x23, 0x3F, 0xE0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
  EXPECT_TRUE(contains(data, {0x23, 0x3F, 0xF8, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
}

TEST(KeyedArchiverTest, EqualStringsShareOneEntry) {
  const Value root = Value::array({Value::string("x"), Value::string("y"), Value::string("x"),
                                   Value::dictionary({{"x", Value::string("x")}})});
  EXPECT_EQ(objectsOf(root),
            "[\"$null\","
            "{\"NS.objects\":[UID(2),UID(3),UID(2),UID(4)],\"$class\":UID(6)},"
            "\"x\","
            "\"y\","
            "{\"NS.keys\":[UID(2)],\"NS.objects\":[UID(2)],\"$class\":UID(5)},"
            "{\"$classname\":\"NSDictionary\",\"$classes\":[\"NSDictionary\",\"NSObject\"]},"
            "{\"$classname\":\"NSArray\",\"$classes\":[\"NSArray\",\"NSObject\"]}]");
}

TEST(KeyedArchiverTest, EachClassEntryIsWrittenOnce) {
  const Value root = Value::array({Value::date(1), Value::date(2), Value::array()});
  EXPECT_EQ(objectsOf(root),
            "[\"$null\","
            "{\"NS.objects\":[UID(2),UID(4),UID(5)],\"$class\":UID(6)},"
            "{\"NS.time\":1,\"$class\":UID(3)},"
            "{\"$classname\":\"NSDate\",\"$classes\":[\"NSDate\",\"NSObject\"]},"
            "{\"NS.time\":2,\"$class\":UID(3)},"
            "{\"NS.objects\":[],\"$class\":UID(6)},"
            "{\"$classname\":\"NSArray\",\"$classes\":[\"NSArray\",\"NSObject\"]}]");
}

TEST(KeyedArchiverTest, OurObjectIsItsKeysAndItsClassHierarchy) {
  auto item = std::make_shared<TestItem>();
  item->name = "n";
  item->count = 5;
  item->enabled = true;
  item->ratio = 0.5;
  EXPECT_EQ(objectsOf(Value::object(item)),
            "[\"$null\","
            "{\"name\":UID(2),\"count\":5,\"enabled\":true,\"ratio\":0.5,"
            "\"payload\":UID(0),\"child\":UID(0),\"$class\":UID(3)},"
            "\"n\","
            "{\"$classname\":\"PremoovTestItem\","
            "\"$classes\":[\"PremoovTestItem\",\"PremoovTestBase\",\"NSObject\"]}]");
}

TEST(KeyedArchiverTest, OurObjectsAreSharedByIdentityNotByContents) {
  auto item = std::make_shared<TestItem>();
  auto twin = std::make_shared<TestItem>();
  const Value root = Value::array({Value::object(item), Value::object(item), Value::object(twin)});
  PlistNode tree = archiveTree(root);
  plist_t objects = plist_dict_get_item(tree.get(), "$objects");
  EXPECT_EQ(describePlist(plist_dict_get_item(plist_array_get_item(objects, 1), "NS.objects")),
            "[UID(2),UID(2),UID(5)]");
  // The one class entry serves both items.
  EXPECT_EQ(describePlist(plist_dict_get_item(plist_array_get_item(objects, 5), "$class")),
            "UID(4)");
}

// An object that stores itself under one of its keys, and a key that starts with '$'.
class SelfReferring : public ArchivableObject {
 public:
  std::string className() const override { return "PremoovSelfReferring"; }
  std::vector<std::string> classHierarchy() const override {
    return {"PremoovSelfReferring", "NSObject"};
  }
  void encodeWithCoder(KeyedArchiver& coder) const override {
    coder.encodeObject(Value::object(self_.lock()), "self");
    coder.encodeInt64(1, "$class");
  }
  std::weak_ptr<const SelfReferring> self_;
};

TEST(KeyedArchiverTest, ObjectReferringToItselfPointsBackAtItsOwnEntry) {
  auto object = std::make_shared<SelfReferring>();
  object->self_ = object;
  EXPECT_EQ(objectsOf(Value::object(object)),
            "[\"$null\","
            "{\"self\":UID(1),\"$$class\":1,\"$class\":UID(2)},"
            "{\"$classname\":\"PremoovSelfReferring\","
            "\"$classes\":[\"PremoovSelfReferring\",\"NSObject\"]}]");
}

TEST(KeyedArchiverTest, NilObjectIsAReferenceToNull) {
  KeyedArchiver archiver;
  archiver.encodeObject(nullptr, "root");
  PlistNode tree = parseBinary(archiver.encodedData());
  EXPECT_EQ(describePlist(plist_dict_get_item(tree.get(), "$top")), "{\"root\":UID(0)}");
  EXPECT_EQ(describePlist(plist_dict_get_item(tree.get(), "$objects")), "[\"$null\"]");
}

TEST(KeyedArchiverTest, ScalarsAreWrittenUnderTheirKeys) {
  KeyedArchiver archiver;
  archiver.encodeInt64(-2, "i");
  archiver.encodeBool(true, "b");
  archiver.encodeDouble(2.5, "d");
  PlistNode tree = parseBinary(archiver.encodedData());
  EXPECT_EQ(describePlist(plist_dict_get_item(tree.get(), "$top")),
            "{\"i\":-2,\"b\":true,\"d\":2.5}");
}

TEST(KeyedArchiverTest, FinishedArchiverTakesNothingMore) {
  KeyedArchiver archiver;
  archiver.encodeInt64(1, "i");
  EXPECT_FALSE(archiver.encodedData().empty());
  archiver.encodeInt64(2, "j");
  EXPECT_TRUE(archiver.encodedData().empty());
}

TEST(KeyedArchiverTest, TextIsWrittenAsLibplistCanReadItBack) {
  // libplist 2.2 writes C strings and converts them to UTF-16: text ends at a NUL, and a byte
  // that is not UTF-8 becomes U+FFFD. Strings are shared by what is written.
  LogCapture log;
  const Value root = Value::array({Value::string(std::string("a\0b", 3)), Value::string("a"),
                                   Value::string("x\xFFy"), Value::string("\xE2\x9C\x93")});
  EXPECT_EQ(objectsOf(root),
            "[\"$null\","
            "{\"NS.objects\":[UID(2),UID(2),UID(3),UID(4)],\"$class\":UID(5)},"
            "\"a\","
            "\"x\xEF\xBF\xBDy\","
            "\"\xE2\x9C\x93\","
            "{\"$classname\":\"NSArray\",\"$classes\":[\"NSArray\",\"NSObject\"]}]");
  EXPECT_EQ(log.lines().size(), 2u);
}

class NotArchivable : public ValueObject {
 public:
  std::string className() const override { return "PremoovNotArchivable"; }
};

TEST(KeyedArchiverTest, ObjectThatCannotArchiveItselfIsWrittenAsNullAndLogged) {
  LogCapture log;
  PlistNode tree = archiveTree(Value::object(std::make_shared<NotArchivable>()));
  EXPECT_EQ(describePlist(plist_dict_get_item(tree.get(), "$top")), "{\"root\":UID(0)}");
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_THAT(log.lines()[0], HasSubstr("PremoovNotArchivable"));
}

}  // namespace
}  // namespace premoov
