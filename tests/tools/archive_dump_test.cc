#include "premoov/archive_dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plist/plist.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "naming/metadata_item.h"
#include "naming/token.h"
#include "naming/token_array.h"
#include "plist/keyed_archive.h"
#include "plist/keyed_plist_reader.h"
#include "plist/keyed_test_support.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

std::span<const uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// The dump of an archive that must be one, with no problems.
std::vector<std::string> linesOf(std::span<const uint8_t> archive) {
  auto dump = dumpKeyedArchive(archive);
  EXPECT_TRUE(dump) << (dump ? "" : dump.error());
  if (!dump) return {};
  EXPECT_THAT(dump->problems, IsEmpty());
  return dump->lines;
}

std::vector<std::string> linesOf(const Value& root) {
  return linesOf(KeyedArchiver::archivedDataWithRootObject(root));
}

// A reference as XML property lists spell it.
std::string uid(uint64_t n) {
  return "<dict><key>CF$UID</key><integer>" + std::to_string(n) + "</integer></dict>";
}

// An XML keyed archive with "$objects" = "$null" followed by `objects`, and the root `root`.
std::string xmlArchive(const std::string& objects, uint64_t root = 1) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\"><dict>"
         "<key>$archiver</key><string>NSKeyedArchiver</string>"
         "<key>$version</key><integer>100000</integer>"
         "<key>$top</key><dict><key>root</key>" +
         uid(root) +
         "</dict>"
         "<key>$objects</key><array><string>$null</string>" +
         objects + "</array></dict></plist>";
}

// A class entry naming `name`.
std::string classEntry(const std::string& name) {
  return "<dict><key>$classname</key><string>" + name +
         "</string><key>$classes</key><array><string>" + name +
         "</string><string>NSObject</string></array></dict>";
}

// An NSArray object of the given references, its class entry at `classUid`.
std::string xmlArray(const std::vector<uint64_t>& elements, uint64_t classUid) {
  std::string out = "<dict><key>NS.objects</key><array>";
  for (uint64_t element : elements) out += uid(element);
  return out + "</array><key>$class</key>" + uid(classUid) + "</dict>";
}

// A binary property list put together object by object, for shapes that XML cannot carry (a
// dictionary that repeats a key). Object references are one byte, offsets four.
class BinaryPlist {
 public:
  using Ref = uint8_t;

  Ref string(std::string_view text) {
    std::vector<uint8_t> object = marker(0x5, text.size());
    object.insert(object.end(), text.begin(), text.end());
    return add(std::move(object));
  }
  Ref uid(uint8_t value) { return add({0x80, value}); }
  Ref array(const std::vector<Ref>& elements) {
    std::vector<uint8_t> object = marker(0xA, elements.size());
    object.insert(object.end(), elements.begin(), elements.end());
    return add(std::move(object));
  }
  Ref dictionary(const std::vector<std::pair<Ref, Ref>>& entries) {
    std::vector<uint8_t> object = marker(0xD, entries.size());
    for (const auto& entry : entries) object.push_back(entry.first);
    for (const auto& entry : entries) object.push_back(entry.second);
    return add(std::move(object));
  }

  // The file, `top` its top object.
  std::vector<uint8_t> bytes(Ref top) const {
    std::vector<uint8_t> out = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
    std::vector<uint32_t> offsets;
    for (const auto& object : objects_) {
      offsets.push_back(static_cast<uint32_t>(out.size()));
      out.insert(out.end(), object.begin(), object.end());
    }
    const uint64_t table = out.size();
    for (uint32_t offset : offsets) appendBigEndian(out, offset, 4);
    out.insert(out.end(), 6, 0);
    out.push_back(4);  // offset width
    out.push_back(1);  // reference width
    appendBigEndian(out, objects_.size(), 8);
    appendBigEndian(out, top, 8);
    appendBigEndian(out, table, 8);
    return out;
  }

 private:
  Ref add(std::vector<uint8_t> object) {
    objects_.push_back(std::move(object));
    return static_cast<Ref>(objects_.size() - 1);
  }
  // A kind's marker with its count: in its low four bits, or 0xF and a four-byte integer after.
  static std::vector<uint8_t> marker(uint8_t kind, size_t count) {
    if (count < 15) return {static_cast<uint8_t>(kind << 4 | count)};
    std::vector<uint8_t> out = {static_cast<uint8_t>(kind << 4 | 0xF), 0x12};
    appendBigEndian(out, count, 4);
    return out;
  }
  static void appendBigEndian(std::vector<uint8_t>& out, uint64_t value, int width) {
    for (int shift = (width - 1) * 8; shift >= 0; shift -= 8) {
      out.push_back(static_cast<uint8_t>(value >> shift));
    }
  }

  std::vector<std::vector<uint8_t>> objects_;
};

TEST(ArchiveDumpTest, DumpsAToken) {
  auto archive = KeyedArchiver::archivedDataWithRootObject(
      Value::object(ZPRToken::tokenWithCode("$$Day#EEE", "Day")));
  auto dump = dumpKeyedArchive(archive);
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_EQ(dump->version, 100000u);
  EXPECT_EQ(dump->objectCount, 6u);  // $null, the token, three strings, its class
  EXPECT_THAT(dump->problems, IsEmpty());
  EXPECT_THAT(dump->lines, ElementsAre("root: ZPRToken (object 1)",  //
                                       "  codeName: \"$$Day#EEE\"",  //
                                       "  displayName: \"Day\"",     //
                                       "  formatter: \"EEE\"",       //
                                       "  simpleString: $null"));
}

TEST(ArchiveDumpTest, DumpsAStringItem) {
  const Value value = Value::string("Take \"7\"");
  EXPECT_THAT(linesOf(Value::object(ZPRMetadataItem::initWithKey("com.example.take", &value))),
              ElementsAre("root: ZPRMetadataItem (object 1)",  //
                          "  key: \"com.example.take\"",       //
                          "  valueType: 0",                    //
                          "  stringValue: \"Take \\\"7\\\"\""));
}

TEST(ArchiveDumpTest, DumpsNumberItems) {
  const Value integer = Value::integer(-42);
  EXPECT_THAT(linesOf(Value::object(ZPRMetadataItem::initWithKey("n", &integer))),
              ElementsAre("root: ZPRMetadataItem (object 1)",  //
                          "  key: \"n\"",                      //
                          "  valueType: 1",                    //
                          "  numberValue: -42"));
  const Value real = Value::real(2.0);
  EXPECT_THAT(linesOf(Value::object(ZPRMetadataItem::initWithKey("n", &real))),
              ElementsAre("root: ZPRMetadataItem (object 1)",  //
                          "  key: \"n\"",                      //
                          "  valueType: 1",                    //
                          "  numberValue: 2.0"));
  const Value boolean = Value::boolean(true);
  EXPECT_EQ(linesOf(Value::object(ZPRMetadataItem::initWithKey("n", &boolean))).back(),
            "  numberValue: true");
}

TEST(ArchiveDumpTest, DumpsADateItemInUtc) {
  const Value date = Value::date(731336829.25);  // 2024-03-05 14:07:09.25 +01:00
  EXPECT_THAT(linesOf(Value::object(ZPRMetadataItem::initWithKey("d", &date))),
              ElementsAre("root: ZPRMetadataItem (object 1)",  //
                          "  key: \"d\"",                      //
                          "  valueType: 2",                    //
                          "  dateValue: NSDate (object 3): NS.time 731336829.25 = "
                          "2024-03-05T13:07:09.250Z"));
  const Value far = Value::date(1e12);
  EXPECT_EQ(linesOf(Value::object(ZPRMetadataItem::initWithKey("d", &far))).back(),
            "  dateValue: NSDate (object 3): NS.time 1e+12 = (outside the years 1 to 9999)");
}

TEST(ArchiveDumpTest, DumpsATokenListItem) {
  const Value list =
      Value::array({Value::string("$$Day#EEE"), Value::string(" take "), Value::string("$$Dash")});
  auto item = ZPRMetadataItem::initWithKey("com.example.name", &list);
  item->setStringValue("Mon take -");
  EXPECT_THAT(linesOf(Value::object(item)),
              ElementsAre("root: ZPRMetadataItem (object 1)",               //
                          "  key: \"com.example.name\"",                    //
                          "  valueType: 3",                                 //
                          "  tokenValues: NSArray (object 3), 3 elements",  //
                          "    [0]: \"$$Day#EEE\"",                         //
                          "    [1]: \" take \"",                            //
                          "    [2]: \"$$Dash\"",                            //
                          "  stringValue: \"Mon take -\""));
}

TEST(ArchiveDumpTest, DumpsNestedArraysAndSharedObjects) {
  const auto token = ZPRToken::tokenWithCode("$$Counter", "Counter");
  const Value root = Value::array({
      Value::array({Value::string("a"), Value::integer(1)}),
      Value::array(),
      Value::object(token),
      Value::object(token),
  });
  // The token is stored once and written out at each reference to it: neither is inside the
  // other, so neither is a back-reference.
  EXPECT_THAT(linesOf(root), ElementsAre("root: NSArray (object 1), 4 elements",   //
                                         "  [0]: NSArray (object 2), 2 elements",  //
                                         "    [0]: \"a\"",                         //
                                         "    [1]: 1",                             //
                                         "  [1]: NSArray (object 6), 0 elements",  //
                                         "  [2]: ZPRToken (object 7)",             //
                                         "    codeName: \"$$Counter\"",            //
                                         "    displayName: \"Counter\"",           //
                                         "    formatter: \"1\"",                   //
                                         "    simpleString: $null",                //
                                         "  [3]: ZPRToken (object 7)",             //
                                         "    codeName: \"$$Counter\"",            //
                                         "    displayName: \"Counter\"",           //
                                         "    formatter: \"1\"",                   //
                                         "    simpleString: $null"));
}

TEST(ArchiveDumpTest, DumpsDictionariesAndData) {
  std::vector<uint8_t> long_(100);
  for (size_t i = 0; i < long_.size(); ++i) long_[i] = static_cast<uint8_t>(i);
  const Value root = Value::dictionary({
      {"b", Value::real(2.5)},
      {"a", Value::data({0x01, 0x02, 0xFE})},
      {"$c", Value::data(long_)},
      {"d", Value::dictionary({{"e", Value::string("f")}})},
  });
  EXPECT_THAT(linesOf(root),
              ElementsAre("root: NSDictionary (object 1), 4 entries",  //
                          "  \"$c\": data (100 bytes) "
                          "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"
                          "202122232425262728292a2b2c2d2e2f303132333435363738393a3b3c3d3e3f...",
                          "  \"a\": data (3 bytes) 0102fe",             //
                          "  \"b\": 2.5",                               //
                          "  \"d\": NSDictionary (object 9), 1 entry",  //
                          "    \"e\": \"f\""));
}

TEST(ArchiveDumpTest, DumpsEveryKeyOfTheTopLevel) {
  KeyedArchiver archiver;
  archiver.encodeObject(Value::string("first"), "root");
  archiver.encodeInt64(7, "count");
  archiver.encodeBool(false, "$flag");  // written "$$flag", and shown as written
  EXPECT_THAT(linesOf(archiver.encodedData()),
              ElementsAre("root: \"first\"", "count: 7", "$$flag: false"));
}

TEST(ArchiveDumpTest, ReadsXmlAsItReadsBinary) {
  const Value list = Value::array({Value::string("$$Year"), Value::string("-")});
  const auto binary = KeyedArchiver::archivedDataWithRootObject(
      Value::object(ZPRMetadataItem::initWithKey("k", &list)));
  plist_t tree = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(binary.data()), static_cast<uint32_t>(binary.size()),
                 &tree);
  ASSERT_NE(tree, nullptr);
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(tree, &xml, &length);
  plist_free(tree);
  ASSERT_NE(xml, nullptr);
  const std::string text(xml, length);
  std::free(xml);
  ASSERT_THAT(text, StartsWith("<?xml"));
  const auto lines = linesOf(bytesOf(text));
  EXPECT_EQ(lines, linesOf(binary));
  EXPECT_EQ(lines.size(), 7u);
}

TEST(ArchiveDumpTest, WritesACycleAsABackReference) {
  // Object 1 is an array holding itself and a string.
  const std::string archive =
      xmlArchive(xmlArray({1, 3}, 2) + classEntry("NSArray") + "<string>leaf</string>");
  EXPECT_THAT(linesOf(bytesOf(archive)),
              ElementsAre("root: NSArray (object 1), 2 elements",         //
                          "  [0]: back-reference to NSArray (object 1)",  //
                          "  [1]: \"leaf\""));
  // Two objects of our own classes that name each other.
  const std::string pair =
      xmlArchive("<dict><key>other</key>" + uid(2) + "<key>$class</key>" + uid(3) + "</dict>" +
                 "<dict><key>other</key>" + uid(1) + "<key>$class</key>" + uid(3) + "</dict>" +
                 classEntry("ZPRToken"));
  EXPECT_THAT(linesOf(bytesOf(pair)),
              ElementsAre("root: ZPRToken (object 1)",     //
                          "  other: ZPRToken (object 2)",  //
                          "    other: back-reference to ZPRToken (object 1)"));
}

TEST(ArchiveDumpTest, StopsAtTheDepthLimit) {
  // 100 arrays, each holding the next; the last holds a string.
  constexpr uint64_t kArrays = 100;
  std::string objects;
  for (uint64_t i = 1; i <= kArrays; ++i) objects += xmlArray({i + 1}, kArrays + 2);
  objects += "<string>bottom</string>" + classEntry("NSArray");
  auto dump = dumpKeyedArchive(bytesOf(xmlArchive(objects)));
  ASSERT_TRUE(dump) << dump.error();
  ASSERT_EQ(dump->lines.size(), kDumpMaxDepth + 1);
  EXPECT_EQ(dump->lines[0], "root: NSArray (object 1), 1 element");
  EXPECT_EQ(dump->lines[1], "  [0]: NSArray (object 2), 1 element");
  EXPECT_EQ(dump->lines[kDumpMaxDepth - 1],
            std::string(2 * (kDumpMaxDepth - 1), ' ') + "[0]: NSArray (object 64), 1 element");
  EXPECT_EQ(dump->lines[kDumpMaxDepth], std::string(2 * kDumpMaxDepth, ' ') + "[0]: ...");
  EXPECT_THAT(dump->problems, ElementsAre("the dump stops at nesting depth 64"));
}

TEST(ArchiveDumpTest, StopsAfterTheLineLimit) {
  // Each of 30 arrays holds the next one twice: 2^31 lines if every reference were written out.
  constexpr uint64_t kArrays = 30;
  std::string objects;
  for (uint64_t i = 1; i <= kArrays; ++i) objects += xmlArray({i + 1, i + 1}, kArrays + 2);
  objects += "<string>leaf</string>" + classEntry("NSArray");
  auto dump = dumpKeyedArchive(bytesOf(xmlArchive(objects)));
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_EQ(dump->lines.size(), kDumpMaxLines);
  EXPECT_THAT(dump->problems, ElementsAre("the dump stops after this many lines: 10000"));
}

TEST(ArchiveDumpTest, StopsAfterTheByteLimit) {
  // 9000 references to one string of 2000 bytes: 1024 of them shown on each line.
  std::string references;
  for (int i = 0; i < 9000; ++i) references += uid(3);
  const std::string archive = xmlArchive(
      "<dict><key>NS.objects</key><array>" + references + "</array><key>$class</key>" + uid(2) +
      "</dict>" + classEntry("NSArray") + "<string>" + std::string(2000, 'x') + "</string>");
  auto dump = dumpKeyedArchive(bytesOf(archive));
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_EQ(dump->lines[1], "  [0]: \"" + std::string(1024, 'x') + "...\" (2000 bytes)");
  size_t bytes = 0;
  for (const std::string& line : dump->lines) bytes += line.size();
  EXPECT_GE(bytes, kDumpMaxBytes);
  EXPECT_LT(bytes, kDumpMaxBytes + 2000);
  EXPECT_LT(dump->lines.size(), 9000u);
  EXPECT_THAT(dump->problems, ElementsAre("the dump stops after this many bytes: 8388608"));
}

TEST(ArchiveDumpTest, StopsAfterLookingAtTooManyKeys) {
  // An object that repeats "$class" 200000 times, referred to ten times: nothing to write for
  // those keys, but two million of them to look at.
  BinaryPlist plist;
  const auto classKey = plist.string("$class");
  const auto classNameKey = plist.string("$classname");
  const auto arrayClass = plist.dictionary({{classNameKey, plist.string("NSArray")}});
  const auto junkClass = plist.dictionary({{classNameKey, plist.string("Junk")}});
  const auto junkUid = plist.uid(3);
  const auto array = plist.dictionary({
      {plist.string("NS.objects"), plist.array(std::vector<BinaryPlist::Ref>(10, junkUid))},
      {classKey, plist.uid(2)},
  });
  const auto junk = plist.dictionary(
      std::vector<std::pair<BinaryPlist::Ref, BinaryPlist::Ref>>(200000, {classKey, plist.uid(4)}));
  const auto objects = plist.array({plist.string("$null"), array, arrayClass, junk, junkClass});
  const auto top = plist.dictionary({
      {plist.string("$archiver"), plist.string("NSKeyedArchiver")},
      {plist.string("$top"), plist.dictionary({{plist.string("root"), plist.uid(1)}})},
      {plist.string("$objects"), objects},
  });
  auto dump = dumpKeyedArchive(plist.bytes(top));
  ASSERT_TRUE(dump) << dump.error();
  ASSERT_GE(dump->lines.size(), 2u);
  EXPECT_EQ(dump->lines[0], "root: NSArray (object 1), 10 elements");
  EXPECT_EQ(dump->lines[1], "  [0]: Junk (object 3)");
  EXPECT_EQ(dump->lines.size(), 1u + 5u);  // each Junk costs 200000 looks
  EXPECT_THAT(dump->problems,
              ElementsAre("the dump stops after looking at this many keys and elements: 1000000"));
}

TEST(ArchiveDumpTest, ReadsAClassEntrySharedByManyObjectsOnce) {
  // 8,000 dates whose one class entry has 60,000 junk keys before "$classname": read again for
  // every date, that is 5 * 10^8 key comparisons (13 s under the sanitizers); read once, 1 s.
  constexpr size_t kDates = 8000;
  keyed_test::RawPlist plist;
  std::vector<uint64_t> objects{plist.string("$null")};
  const uint32_t classUid = kDates + 2;
  const uint64_t time = plist.real64(0);
  const uint64_t toClass = plist.uid(classUid);
  std::vector<uint64_t> toDates;
  for (uint32_t i = 0; i < kDates; ++i) toDates.push_back(plist.uid(i + 2));
  objects.push_back(plist.dictionary(std::vector<std::pair<std::string, uint64_t>>{
      {"NS.objects", plist.array(toDates)}, {"$class", plist.uid(classUid + 1)}}));
  for (size_t i = 0; i < kDates; ++i) {
    objects.push_back(plist.dictionary(
        std::vector<std::pair<std::string, uint64_t>>{{"NS.time", time}, {"$class", toClass}}));
  }
  std::vector<std::pair<std::string, uint64_t>> entry;
  const uint64_t junk = plist.integer(0);
  for (size_t i = 0; i < 60000; ++i) entry.emplace_back("k" + std::to_string(i), junk);
  entry.emplace_back("$classname", plist.string("NSDate"));
  objects.push_back(plist.dictionary(entry));
  objects.push_back(plist.dictionary(
      std::vector<std::pair<std::string, uint64_t>>{{"$classname", plist.string("NSArray")}}));
  const auto data = plist.keyedArchive(objects, 1);

  const auto start = std::chrono::steady_clock::now();
  auto dump = dumpKeyedArchive(data);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_THAT(dump->problems, IsEmpty());
  ASSERT_EQ(dump->lines.size(), kDates + 1);
  EXPECT_EQ(dump->lines[1], "  [0]: NSDate (object 2): NS.time 0.0 = 2001-01-01T00:00:00Z");
  EXPECT_LT(seconds, 5.0) << seconds;
}

TEST(ArchiveDumpTest, RefusesAKeyHoldingANul) {
  // libplist stops the process when it hands out such a key, as the dump walks every key.
  keyed_test::RawPlist plist;
  const uint64_t object = plist.dictionary(std::vector<std::pair<uint64_t, uint64_t>>{
      {plist.raw({0x62, 0x00, 'a', 0x00, 0x00}), plist.string("v")}});
  auto dump = dumpKeyedArchive(plist.keyedArchive({plist.string("$null"), object}, 1));
  ASSERT_FALSE(dump);
  EXPECT_THAT(dump.error(), ::testing::HasSubstr("a dictionary key holding a NUL character"));
}

TEST(ArchiveDumpTest, QuotesKeysAndClassNamesThatAreNoPlainText) {
  const std::string archive = xmlArchive(
      "<dict><key>plain.key</key><integer>1</integer><key>two words</key><integer>2</integer>"
      "<key>line&#10;break</key><integer>3</integer><key>$class</key>" +
      uid(2) + "</dict>" + classEntry(std::string(300, 'C')));
  auto dump = dumpKeyedArchive(bytesOf(archive));
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_THAT(dump->lines,
              ElementsAre("root: \"" + std::string(256, 'C') + "...\" (300 bytes) (object 1)",
                          "  plain.key: 1", "  \"two words\": 2", "  \"line\\nbreak\": 3"));
}

TEST(ArchiveDumpTest, NamesReferencesOutsideTheObjects) {
  auto dump = dumpKeyedArchive(bytesOf(xmlArchive("<string>x</string>", 99)));
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_THAT(dump->lines, ElementsAre("root: reference 99 outside the 2 objects"));
  EXPECT_THAT(dump->problems, ElementsAre("$top: refers outside \"$objects\": 99 of 2 objects"));

  dump = dumpKeyedArchive(bytesOf(xmlArchive(xmlArray({1, 7}, 2) + classEntry("NSArray"))));
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_THAT(dump->lines, ElementsAre("root: NSArray (object 1), 2 elements",
                                       "  [0]: back-reference to NSArray (object 1)",
                                       "  [1]: reference 7 outside the 3 objects"));
  EXPECT_THAT(dump->problems, ElementsAre("object 1: refers outside \"$objects\": 7 of 3 objects"));
}

TEST(ArchiveDumpTest, DumpsObjectsWithoutClassKeyByKey) {
  const std::string archive = xmlArchive(
      "<dict><key>a</key><integer>5</integer><key>b</key><array><real>0.5</real>"
      "<true/></array></dict>");
  auto dump = dumpKeyedArchive(bytesOf(archive));
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_THAT(dump->lines, ElementsAre("root: dictionary without class (object 1)",  //
                                       "  a: 5",                                     //
                                       "  b: array, 2 elements",                     //
                                       "    [0]: 0.5",                               //
                                       "    [1]: true"));
  EXPECT_THAT(dump->problems, ElementsAre("object 1: has no \"$class\" naming a \"$classname\""));
}

TEST(ArchiveDumpTest, DumpsABuiltInClassOfTheWrongShapeKeyByKey) {
  // An NSDictionary whose keys and objects do not pair up.
  const std::string archive = xmlArchive(
      "<dict><key>NS.keys</key><array>" + uid(3) + "</array><key>NS.objects</key><array/>" +
      "<key>$class</key>" + uid(2) + "</dict>" + classEntry("NSDictionary") + "<string>k</string>");
  auto dump = dumpKeyedArchive(bytesOf(archive));
  ASSERT_TRUE(dump) << dump.error();
  EXPECT_THAT(dump->lines, ElementsAre("root: NSDictionary (object 1)",  //
                                       "  NS.keys: array, 1 element",    //
                                       "    [0]: \"k\"",                 //
                                       "  NS.objects: array, 0 elements"));
  EXPECT_THAT(dump->problems, ElementsAre("object 1: NS.keys and NS.objects differ in length"));
}

TEST(ArchiveDumpTest, RefusesWhatIsNoKeyedArchive) {
  const auto errorOf = [](const std::string& text) {
    auto dump = dumpKeyedArchive(bytesOf(text));
    return dump ? std::string("(dumped)") : dump.error();
  };
  // The reader's own message follows.
  EXPECT_EQ(errorOf(""), "is no property list premoov reads: " + readPropertyList({}).error());
  EXPECT_THAT(errorOf("hello"), StartsWith("is no property list premoov reads: "));
  EXPECT_THAT(errorOf(R"({"$archiver": "NSKeyedArchiver"})"),
              StartsWith("is no property list premoov reads: "));
  EXPECT_THAT(errorOf("bplist00"), StartsWith("is no property list premoov reads: "));
  EXPECT_EQ(errorOf("<plist><array/></plist>"),
            "is no keyed archive: its top object is no dictionary");
  EXPECT_EQ(errorOf("<plist><dict><key>$archiver</key><string>X</string></dict></plist>"),
            "is no keyed archive: \"$archiver\" is not \"NSKeyedArchiver\"");
  EXPECT_EQ(errorOf("<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
                    "</dict></plist>"),
            "is no keyed archive: \"$objects\" is missing or no array");
  EXPECT_EQ(errorOf("<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
                    "<key>$objects</key><array/><key>$top</key><array/></dict></plist>"),
            "is no keyed archive: \"$top\" is missing or no dictionary");
  EXPECT_EQ(errorOf("<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
                    "<key>$objects</key><array/><key>$top</key><dict><key>root</key>"
                    "<string>x</string></dict></dict></plist>"),
            "is no keyed archive: \"$top\" has no \"root\" reference");
}

TEST(ArchiveDumpTest, RefusesNestingDeeperThanTheReaderTakes) {
  std::string nested;
  for (int i = 0; i < 40; ++i) nested += "<array>";
  for (int i = 0; i < 40; ++i) nested += "</array>";
  auto dump = dumpKeyedArchive(bytesOf(xmlArchive(nested)));
  ASSERT_FALSE(dump);
  EXPECT_THAT(dump.error(), StartsWith("is no property list premoov reads: "));
}

TEST(ArchiveDumpTest, RefusesEveryCutOfAnArchive) {
  const Value list = Value::array({Value::string("$$Day"), Value::integer(3)});
  const auto archive = KeyedArchiver::archivedDataWithRootObject(
      Value::object(ZPRMetadataItem::initWithKey("k", &list)));
  ASSERT_TRUE(dumpKeyedArchive(archive));
  for (size_t size = 0; size < archive.size(); ++size) {
    auto dump = dumpKeyedArchive(std::span(archive).first(size));
    ASSERT_FALSE(dump) << size;
    EXPECT_THAT(dump.error(), StartsWith("is no property list premoov reads: ")) << size;
  }
}

TEST(ArchiveDumpTest, SurvivesEveryChangedByte) {
  const auto token = ZPRToken::tokenWithCode("$$Month#MMM", "Month");
  const auto archive = KeyedArchiver::archivedDataWithRootObject(
      Value::array({Value::object(token), Value::date(0), Value::object(token)}));
  size_t dumped = 0;
  for (size_t at = 0; at < archive.size(); ++at) {
    for (const uint8_t byte : std::array<uint8_t, 5>{0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      std::vector<uint8_t> changed = archive;
      changed[at] = byte;
      auto dump = dumpKeyedArchive(changed);
      // Whatever the change, the answer is a dump that starts at the root or a message.
      if (dump) {
        ASSERT_FALSE(dump->lines.empty()) << at;
        EXPECT_THAT(dump->lines[0], StartsWith("root: ")) << at;
        ++dumped;
      } else {
        EXPECT_FALSE(dump.error().empty()) << at;
      }
    }
  }
  EXPECT_GT(dumped, 0u);  // changes inside strings leave an archive
}

}  // namespace
}  // namespace premoov
