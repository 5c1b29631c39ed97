#include "plist/binary_plist_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "plist/keyed_plist_node.h"
#include "plist/keyed_plist_reader.h"
#include "plist/keyed_test_support.h"

namespace premoov {
namespace {

using keyed_test::describePlist;
using keyed_test::parseBinary;

std::vector<uint8_t> written(plist_t root, const std::unordered_set<plist_t>& floats = {}) {
  return binaryPropertyList(root, floats);
}

// The object bytes of a file: between the header and the offset table.
std::vector<uint8_t> objectBytes(const std::vector<uint8_t>& file) {
  const size_t tableOffset = file[file.size() - 1] | file[file.size() - 2] << 8;
  return std::vector<uint8_t>(file.begin() + 8, file.begin() + static_cast<long>(tableOffset));
}

TEST(BinaryPlistWriterTest, WritesHeaderObjectsOffsetTableAndTrailer) {
  PlistNode array(plist_new_array());
  plist_array_append_item(array.get(), plist_new_uint(1));
  plist_array_append_item(array.get(), plist_new_string("a"));
  const std::vector<uint8_t> expected{
      'b',  'p',  'l',  'i', 's', 't', '0', '0',
      0xA2, 0x01, 0x02,                          // object 0: array of objects 1 and 2
      0x10, 0x01,                                // object 1: integer 1, one byte
      0x51, 'a',                                 // object 2: ASCII string "a"
      0x08, 0x0B, 0x0D,                          // offset table, one byte per offset
      0,    0,    0,    0,   0,   0,             // unused, sort version
      0x01,                                      // offset width
      0x01,                                      // reference width
      0,    0,    0,    0,   0,   0,   0,   3,   // object count
      0,    0,    0,    0,   0,   0,   0,   0,   // top object
      0,    0,    0,    0,   0,   0,   0,   15,  // offset table position
  };
  EXPECT_EQ(written(array.get()), expected);
}

TEST(BinaryPlistWriterTest, IntegersTakeTheFewestBytesAndNegativeOnesEight) {
  PlistNode array(plist_new_array());
  for (uint64_t v : {uint64_t{0xFF}, uint64_t{0x100}, uint64_t{0x10000}, uint64_t{1} << 32,
                     static_cast<uint64_t>(int64_t{-1})}) {
    plist_array_append_item(array.get(), plist_new_uint(v));
  }
  const std::vector<uint8_t> expected{
      0xA5, 1,    2,    3,    4,    5,    0x10, 0xFF, 0x11, 0x01, 0x00, 0x12,
      0x00, 0x01, 0x00, 0x00, 0x13, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00,
      0x00, 0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
  };
  const auto file = written(array.get());
  EXPECT_EQ(objectBytes(file), expected);
  EXPECT_EQ(describePlist(parseBinary(file).get()), "[255,256,65536,4294967296,-1]");
}

TEST(BinaryPlistWriterTest, RealsAreDoublesUnlessMarkedSinglePrecision) {
  PlistNode array(plist_new_array());
  plist_t half = plist_new_real(0.5);
  plist_t tenth = plist_new_real(0.1);
  plist_array_append_item(array.get(), half);
  plist_array_append_item(array.get(), tenth);
  const std::vector<uint8_t> doubles{
      0xA2, 1,    2,    0x23, 0x3F, 0xE0, 0x00, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x23, 0x3F, 0xB9, 0x99, 0x99, 0x99, 0x99, 0x99, 0x9A,
  };
  EXPECT_EQ(objectBytes(written(array.get())), doubles);
  const std::vector<uint8_t> floats{
      0xA2, 1, 2, 0x22, 0x3F, 0x00, 0x00, 0x00, 0x22, 0x3D, 0xCC, 0xCC, 0xCD,
  };
  EXPECT_EQ(objectBytes(written(array.get(), {half, tenth})), floats);
}

TEST(BinaryPlistWriterTest, DictionaryWritesKeysThenValuesAndSharesEqualScalars) {
  PlistNode dictionary(plist_new_dict());
  plist_dict_set_item(dictionary.get(), "b", plist_new_string("a"));
  plist_dict_set_item(dictionary.get(), "a", plist_new_bool(1));
  const std::vector<uint8_t> expected{
      0xD2, 1,   2,    2,   3,  // keys "b", "a"; values "a", true
      0x51, 'b', 0x51, 'a',     // the key "a" and the string "a" are one object
      0x09,
  };
  const auto file = written(dictionary.get());
  EXPECT_EQ(objectBytes(file), expected);
  EXPECT_EQ(describePlist(parseBinary(file).get()), "{\"b\":\"a\",\"a\":true}");
}

TEST(BinaryPlistWriterTest, TextThatIsNotAsciiIsUtf16) {
  PlistNode string(plist_new_string("caf\xC3\xA9"));
  const std::vector<uint8_t> expected{0x64, 0x00, 'c', 0x00, 'a', 0x00, 'f', 0x00, 0xE9};
  const auto file = written(string.get());
  EXPECT_EQ(objectBytes(file), expected);
  EXPECT_EQ(plistString(parseBinary(file).get()), "caf\xC3\xA9");
}

TEST(BinaryPlistWriterTest, UidsDataAndDates) {
  PlistNode array(plist_new_array());
  plist_array_append_item(array.get(), plist_new_uid(2));
  plist_array_append_item(array.get(), plist_new_uid(0x1234));
  plist_array_append_item(array.get(), plist_new_data("\x01\x02", 2));
  plist_array_append_item(array.get(), plist_new_date(1, 500000));
  const std::vector<uint8_t> expected{
      0xA4, 1,    2,    3,    4,    0x80, 0x02, 0x81, 0x12, 0x34, 0x42,
      0x01, 0x02, 0x33, 0x3F, 0xF8, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
  };
  const auto file = written(array.get());
  EXPECT_EQ(objectBytes(file), expected);
  EXPECT_EQ(describePlist(parseBinary(file).get()), "[UID(2),UID(4660),<0102>,?]");
}

TEST(BinaryPlistWriterTest, LongContainersAndManyObjectsWidenCountsReferencesAndOffsets) {
  PlistNode array(plist_new_array());
  for (uint64_t i = 0; i < 300; ++i) plist_array_append_item(array.get(), plist_new_uint(i));
  const auto file = written(array.get());
  // 0xAF, then the count as a two-byte integer object; 301 objects need two-byte references.
  ASSERT_GT(file.size(), 12u);
  EXPECT_EQ(std::vector<uint8_t>(file.begin() + 8, file.begin() + 12),
            (std::vector<uint8_t>{0xAF, 0x11, 0x01, 0x2C}));
  EXPECT_EQ(file[file.size() - 26], 2);  // offset width: the table starts past 255
  EXPECT_EQ(file[file.size() - 25], 2);  // reference width
  auto shape = measureBinaryPlist(file);
  ASSERT_TRUE(shape) << shape.error();
  PlistNode back = parseBinary(file);
  ASSERT_EQ(plist_array_get_size(back.get()), 300u);
  EXPECT_EQ(plistUnsigned(plist_array_get_item(back.get(), 299)), 299u);
}

}  // namespace
}  // namespace premoov
