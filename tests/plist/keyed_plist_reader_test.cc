#include "plist/keyed_plist_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plist/keyed_test_support.h"

namespace premoov {
namespace {

using keyed_test::rawBinaryPlist;

std::vector<uint8_t> bytesOf(const std::string& text) {
  return std::vector<uint8_t>(text.begin(), text.end());
}

std::string binaryProblem(const std::vector<uint8_t>& data) {
  auto shape = measureBinaryPlist(data);
  EXPECT_FALSE(shape.has_value());
  return shape ? std::string() : shape.error();
}

std::string xmlProblem(const std::string& text) {
  auto shape = measureXmlPlist(bytesOf(text));
  EXPECT_FALSE(shape.has_value());
  return shape ? std::string() : shape.error();
}

TEST(KeyedPlistReaderTest, MeasuresABinaryPropertyList) {
  // [["a", 1], "a"]: the shared "a" is counted at both places, as libplist copies it.
  const auto data = rawBinaryPlist({{0xA2, 1, 2}, {0xA2, 2, 3}, {0x51, 'a'}, {0x10, 0x01}}, 0);
  auto shape = measureBinaryPlist(data);
  ASSERT_TRUE(shape) << shape.error();
  EXPECT_EQ(shape->depth, 2u);
  EXPECT_EQ(shape->estimatedBytes, 5 * kPlistNodeCost + 2);
}

TEST(KeyedPlistReaderTest, MeasuresWhatLibplistWrites) {
  PlistNode tree(plist_new_dict());
  plist_t inner = plist_new_array();
  plist_array_append_item(inner, plist_new_string("abc"));
  plist_dict_set_item(tree.get(), "k", inner);
  auto shape = measureBinaryPlist(keyed_test::binaryOf(tree.get()));
  ASSERT_TRUE(shape) << shape.error();
  EXPECT_EQ(shape->depth, 2u);
  // The dictionary, its key, the array and the string.
  EXPECT_EQ(shape->estimatedBytes, 4 * kPlistNodeCost + 1 + 3);
}

TEST(KeyedPlistReaderTest, RefusesBrokenTrailersAndTables) {
  const auto good = rawBinaryPlist({{0x51, 'a'}}, 0);
  ASSERT_TRUE(measureBinaryPlist(good));

  EXPECT_EQ(binaryProblem(bytesOf("bplist00")),
            "The binary property list does not start with bplist00");
  auto wrongMagic = good;
  wrongMagic[7] = '1';
  EXPECT_EQ(binaryProblem(wrongMagic), "The binary property list does not start with bplist00");

  const size_t trailer = good.size() - 32;
  auto zeroWidth = good;
  zeroWidth[trailer + 6] = 0;
  EXPECT_EQ(binaryProblem(zeroWidth),
            "The binary property list's trailer is wrong: field widths outside 1 to 8 bytes");
  auto manyObjects = good;
  manyObjects[trailer + 8] = 0x01;  // the object count's top byte
  EXPECT_EQ(binaryProblem(manyObjects),
            "The binary property list's trailer is wrong: object count does not fit the offset "
            "table");
  auto farTable = good;
  farTable[trailer + 24] = 0x01;  // the offset table position's top byte
  EXPECT_EQ(binaryProblem(farTable),
            "The binary property list's trailer is wrong: offset table outside the file");
  auto topOutside = good;
  topOutside[trailer + 23] = 0x01;
  EXPECT_EQ(binaryProblem(topOutside),
            "The binary property list's trailer is wrong: top object outside the objects");
  auto objectOutside = good;
  objectOutside[trailer - 1] = 0xF0;  // the only offset, now past the objects
  EXPECT_EQ(binaryProblem(objectOutside),
            "Object 0 of the binary property list lies outside its objects");
}

TEST(KeyedPlistReaderTest, RefusesUnknownMarkersAndReferencesOutside) {
  EXPECT_EQ(binaryProblem(rawBinaryPlist({{0x70}}, 0)),
            "Object 0 of the binary property list has the unknown marker 0x70");
  EXPECT_EQ(binaryProblem(rawBinaryPlist({{0xA1, 7}}, 0)),
            "Object 0 of the binary property list refers to object 7 of only 1");
  EXPECT_EQ(binaryProblem(rawBinaryPlist({{0x53, 'a'}}, 0)),
            "Object 0 of the binary property list declares more than the file holds");
  // A count whose integer marker is no 1-, 2-, 4- or 8-byte integer.
  EXPECT_EQ(binaryProblem(rawBinaryPlist({{0x5F, 0x14, 0, 0}}, 0)),
            "Object 0 of the binary property list declares more than the file holds");
}

TEST(KeyedPlistReaderTest, RefusesCyclesAndDeepNesting) {
  EXPECT_EQ(binaryProblem(rawBinaryPlist({{0xA1, 1}, {0xA1, 0}}, 0)),
            "The property list nests containers deeper than 32 levels");
  std::vector<std::vector<uint8_t>> chain;
  for (uint8_t i = 0; i < 32; ++i) chain.push_back({0xA1, uint8_t(i + 1)});
  chain.push_back({0x09});
  auto atLimit = measureBinaryPlist(rawBinaryPlist(chain, 0));
  ASSERT_TRUE(atLimit) << atLimit.error();
  EXPECT_EQ(atLimit->depth, kMaxPlistDepth);
  chain.back() = {0xA0};
  EXPECT_EQ(binaryProblem(rawBinaryPlist(chain, 0)),
            "The property list nests containers deeper than 32 levels");
}

TEST(KeyedPlistReaderTest, SharedObjectMetDeeperLaterStillCountsItsDepth) {
  // Object 1 (a chain of 31 arrays) is met at depth 1 and again at depth 2 through object 33.
  std::vector<std::vector<uint8_t>> objects{{0xA2, 1, 33}};
  for (uint8_t i = 1; i <= 31; ++i) objects.push_back({0xA1, uint8_t(i + 1)});
  objects.push_back({0x09});
  objects.push_back({0xA1, 1});
  EXPECT_EQ(binaryProblem(rawBinaryPlist(objects, 0)),
            "The property list nests containers deeper than 32 levels");
}

// `levels` arrays, each holding the next twice, over one string: 2^levels copies of it.
std::vector<uint8_t> doublingArrays(uint8_t levels) {
  std::vector<std::vector<uint8_t>> objects;
  for (uint8_t i = 0; i < levels; ++i) objects.push_back({0xA2, uint8_t(i + 1), uint8_t(i + 1)});
  objects.push_back({0x51, 'x'});
  return rawBinaryPlist(objects, 0);
}

TEST(KeyedPlistReaderTest, RefusesExpansionBeyondTheBound) {
  // 2^18 - 1 arrays and 2^18 strings of one byte: 33.8 MB estimated.
  auto fits = measureBinaryPlist(doublingArrays(18));
  ASSERT_TRUE(fits) << fits.error();
  EXPECT_EQ(fits->estimatedBytes, ((size_t{1} << 19) - 1) * kPlistNodeCost + (size_t{1} << 18));
  EXPECT_EQ(fits->depth, 18u);
  // One level more doubles it past 64 MiB.
  EXPECT_EQ(binaryProblem(doublingArrays(19)),
            "The property list would take more than 67108864 bytes to read");
}

TEST(KeyedPlistReaderTest, MeasuresPlainXml) {
  const std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\"><dict><key>a</key><array><array/><true/></array></dict></plist>";
  auto shape = measureXmlPlist(bytesOf(xml));
  ASSERT_TRUE(shape) << shape.error();
  EXPECT_EQ(shape->depth, 2u);  // <array/> is empty and opens nothing
}

TEST(KeyedPlistReaderTest, RefusesXmlItCannotDelimitAsLibplistDoes) {
  EXPECT_EQ(xmlProblem("<plist><!-- </array> --></plist>"),
            "The XML property list holds a comment at offset 7, which is not read");
  EXPECT_EQ(xmlProblem("<plist><string><![CDATA[x]]></string></plist>"),
            "The XML property list holds a CDATA section at offset 15, which is not read");
  EXPECT_EQ(xmlProblem("<!DOCTYPE plist [ <!ENTITY a \"b\"> ]><plist/>"),
            "The XML property list's tag at offset 0 is malformed");
  EXPECT_EQ(xmlProblem("<!DOCTYPE plist [ ]><plist/>"),
            "The XML property list holds a DTD at offset 0, which is not read");
  EXPECT_EQ(xmlProblem("<plist a=\"</array>\"></plist>"),
            "The XML property list's tag at offset 0 is malformed");
  EXPECT_EQ(xmlProblem("<plist a=\">\"></plist>"),
            "The XML property list's tag at offset 0 is malformed");
  EXPECT_EQ(xmlProblem("<plist><array"), "The XML property list's tag at offset 7 is malformed");
  EXPECT_EQ(xmlProblem("<?xml version=\"1.0\"></plist>"),
            "The XML property list's tag at offset 0 is malformed");
  EXPECT_EQ(xmlProblem("<plist></array><array></plist>"),
            "The XML property list closes a container it never opened (offset 7)");
  EXPECT_EQ(xmlProblem(std::string("<plist>\0</plist>", 16)),
            "The XML property list holds a NUL byte at offset 7");
}

TEST(KeyedPlistReaderTest, RefusesDeepXml) {
  std::string atLimit;
  for (size_t i = 0; i < kMaxPlistDepth; ++i) atLimit += "<dict >";
  auto shape = measureXmlPlist(bytesOf(atLimit));
  ASSERT_TRUE(shape) << shape.error();
  EXPECT_EQ(shape->depth, kMaxPlistDepth);
  EXPECT_EQ(xmlProblem(atLimit + "<array>"),
            "The property list nests containers deeper than 32 levels");
}

TEST(KeyedPlistReaderTest, RefusesXmlWithTooManyElements) {
  std::string xml = "<plist><array>";
  const size_t elements = kMaxPlistReadBytes / kPlistNodeCost;
  xml.reserve(elements * 7 + 32);
  for (size_t i = 0; i < elements; ++i) xml += "<true/>";
  xml += "</array></plist>";
  EXPECT_EQ(xmlProblem(xml), "The property list would take more than 67108864 bytes to read");
}

TEST(KeyedPlistReaderTest, ReadsBothKindsWithLibplist) {
  PlistNode tree(plist_new_array());
  plist_array_append_item(tree.get(), plist_new_string("x"));
  for (const auto& data : {keyed_test::binaryOf(tree.get()), keyed_test::xmlOf(tree.get())}) {
    auto read = readPropertyList(data);
    ASSERT_TRUE(read) << read.error();
    EXPECT_EQ(keyed_test::describePlist(read->get()), "[\"x\"]");
  }
  auto unreadable = readPropertyList(bytesOf("<plist><array></plist>"));
  ASSERT_FALSE(unreadable);
  EXPECT_EQ(unreadable.error(), "The archive is no property list libplist can read");
}

TEST(KeyedPlistReaderTest, WidthsOfTheArchivedReals) {
  keyed_test::RawPlist plist;
  const std::vector<uint64_t> objects{plist.string("$null"), plist.real32(2.5f), plist.real64(2.5),
                                      plist.integer(2), plist.boolean(true)};
  EXPECT_EQ(archivedRealWidths(plist.keyedArchive(objects, 1)),
            (std::vector<uint8_t>{0, 4, 8, 0, 0}));
}

TEST(KeyedPlistReaderTest, WidthsFollowTheFirstObjectsKeyInEitherEncoding) {
  // "$objects" written in UTF-16, a second "$objects" after it, as libplist would read them.
  keyed_test::RawPlist plist;
  std::vector<uint8_t> utf16Key{0x68};
  for (char c : std::string("$objects")) utf16Key.insert(utf16Key.end(), {0, uint8_t(c)});
  const uint64_t first = plist.array({plist.real32(1.0f)});
  const uint64_t second = plist.array({plist.real64(1.0)});
  const uint64_t key = plist.raw(utf16Key);
  const uint64_t top = plist.dictionary(
      std::vector<std::pair<uint64_t, uint64_t>>{{key, first}, {plist.string("$objects"), second}});
  const auto data = plist.bytes(top);
  PlistNode tree = keyed_test::parseBinary(data);
  ASSERT_TRUE(tree);
  EXPECT_EQ(plist_array_get_size(plist_dict_get_item(tree.get(), "$objects")), 1u);
  EXPECT_EQ(archivedRealWidths(data), std::vector<uint8_t>{4});
}

TEST(KeyedPlistReaderTest, NoWidthsWithoutABinaryArchive) {
  EXPECT_TRUE(archivedRealWidths({}).empty());
  EXPECT_TRUE(archivedRealWidths(bytesOf("<plist><dict/></plist>")).empty());
  // A binary property list whose top object is no dictionary, or has no "$objects" array.
  EXPECT_TRUE(archivedRealWidths(rawBinaryPlist({{0x51, 'a'}}, 0)).empty());
  keyed_test::RawPlist plist;
  const uint64_t top = plist.dictionary(
      std::vector<std::pair<std::string, uint64_t>>{{"$objects", plist.integer(1)}});
  EXPECT_TRUE(archivedRealWidths(plist.bytes(top)).empty());
  // Every cut of a sound archive answers without reading past its end.
  keyed_test::RawPlist sound;
  const auto data = sound.keyedArchive({sound.string("$null"), sound.real32(1.0f)}, 1);
  for (size_t length = 0; length < data.size(); ++length) {
    const auto widths = archivedRealWidths(std::span<const uint8_t>(data.data(), length));
    EXPECT_TRUE(widths.empty() || widths == (std::vector<uint8_t>{0, 4})) << length;
  }
}

TEST(KeyedPlistReaderTest, RefusesUtf16DictionaryKeysHoldingANul) {
  // libplist asserts when it hands such a key out. In a value the NUL is harmless, and an ASCII
  // key libplist cuts at its NUL.
  const auto utf16Key =
      rawBinaryPlist({{0xD1, 1, 2}, {0x62, 0x00, 'a', 0x00, 0x00}, {0x51, 'v'}}, 0);
  EXPECT_EQ(binaryProblem(utf16Key),
            "Object 1 of the binary property list is a dictionary key holding a NUL character");
  EXPECT_TRUE(measureBinaryPlist(rawBinaryPlist({{0xA1, 1}, {0x62, 0x00, 'a', 0x00, 0x00}}, 0)));
  EXPECT_TRUE(
      readPropertyList(rawBinaryPlist({{0xD1, 1, 2}, {0x53, 'a', 0, 'b'}, {0x51, 'v'}}, 0)));
  // A unit with one zero byte is no NUL.
  EXPECT_TRUE(readPropertyList(
      rawBinaryPlist({{0xD1, 1, 2}, {0x62, 0x01, 0x00, 0x00, 'a'}, {0x51, 'v'}}, 0)));
}

}  // namespace
}  // namespace premoov
