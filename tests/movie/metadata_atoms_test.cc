#include "movie/metadata_atoms.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes userDataOf(const std::vector<MetaDataItem>& metadata) {
  ByteWriter w;
  writeUserDataAtom(w, metadata);
  return w.take();
}

Bytes metadataOf(const std::vector<MetaDataItem>& metadata) {
  ByteWriter w;
  writeMetadataAtom(w, metadata);
  return w.take();
}

TEST(MetadataAtomsTest, WritesKeyedItemsAndUserData) {
  std::vector<MetaDataItem> metadata;
  const auto bytesOf = [](std::string_view s) { return Bytes(s.begin(), s.end()); };
  metadata.push_back(
      {FourCC("mdta"), FourCC("mdta"), bytesOf("com.example.take"), bytesOf("7"), 1});
  metadata.push_back(
      {FourCC("udta"), FourCC("udta"), Bytes{0xA9, 'n', 'a', 'm'}, bytesOf("Take"), 1});
  metadata.push_back({FourCC("mdta"), FourCC("mdta"), bytesOf("com.example.rate"),
                      Bytes{0x40, 0x49, 0, 0, 0, 0, 0, 0}, 24});
  metadata.push_back(
      {FourCC("mdta"), FourCC("mdta"), bytesOf("com.example.take"), bytesOf("8"), 1});
  const Bytes udta = {
      0,    0,   0,   24,   // udta size
      'u',  'd', 't', 'a',  // type
      0,    0,   0,   16,   // item size
      0xA9, 'n', 'a', 'm',  // type
      0,    4,              // text length
      0,    0,              // language
      'T',  'a', 'k', 'e',  // text
  };
  EXPECT_EQ(userDataOf(metadata), udta);
  const Bytes meta = {
      0,    0,    0,   0xC3,  // meta size
      'm',  'e',  't', 'a',   // type
      0,    0,    0,   33,    // hdlr size
      'h',  'd',  'l', 'r',   // type
      0,    0,    0,   0,     // version, flags
      0,    0,    0,   0,     // predefined
      'm',  'd',  't', 'a',   // handler type
      0,    0,    0,   0,     // reserved
      0,    0,    0,   0,     // reserved
      0,    0,    0,   0,     // reserved
      0,                      // name
      0,    0,    0,   64,    // keys size
      'k',  'e',  'y', 's',   // type
      0,    0,    0,   0,     // version, flags
      0,    0,    0,   2,     // entry count
      0,    0,    0,   24,    // key size
      'm',  'd',  't', 'a',   // key namespace
      'c',  'o',  'm', '.',  'e', 'x', 'a', 'm', 'p', 'l', 'e', '.', 't', 'a', 'k', 'e',  // key
      0,    0,    0,   24,   // key size
      'm',  'd',  't', 'a',  // key namespace
      'c',  'o',  'm', '.',  'e', 'x', 'a', 'm', 'p', 'l', 'e', '.', 'r', 'a', 't', 'e',  // key
      0,    0,    0,   90,                      // ilst size
      'i',  'l',  's', 't',                     // type
      0,    0,    0,   25,                      // item size
      0,    0,    0,   1,                       // key index
      0,    0,    0,   17,                      // data size
      'd',  'a',  't', 'a',                     // type
      0,    0,    0,   1,                       // data type: UTF-8
      0,    0,    0,   0,                       // locale
      '7',                                      // value
      0,    0,    0,   32,                      // item size
      0,    0,    0,   2,                       // key index
      0,    0,    0,   24,                      // data size
      'd',  'a',  't', 'a',                     // type
      0,    0,    0,   24,                      // data type: 64-bit float
      0,    0,    0,   0,                       // locale
      0x40, 0x49, 0,   0,    0,   0,   0,   0,  // value 50.0
      0,    0,    0,   25,                      // item size
      0,    0,    0,   1,                       // key index
      0,    0,    0,   17,                      // data size
      'd',  'a',  't', 'a',                     // type
      0,    0,    0,   1,                       // data type: UTF-8
      0,    0,    0,   0,                       // locale
      '8',                                      // value
  };
  EXPECT_EQ(metadataOf(metadata), meta);
}

TEST(MetadataAtomsTest, NothingWithoutItemsOfTheKind) {
  EXPECT_TRUE(userDataOf({}).empty());
  EXPECT_TRUE(metadataOf({}).empty());
  const std::vector<MetaDataItem> keyedOnly = {
      {FourCC("mdta"), FourCC("mdta"), Bytes{'k'}, Bytes{'v'}, 1}};
  EXPECT_TRUE(userDataOf(keyedOnly).empty());
  EXPECT_FALSE(metadataOf(keyedOnly).empty());
}

// Only QuickTime's text types take the length and language; others hold the bare value.
TEST(MetadataAtomsTest, OtherUserDataTypesHoldTheirValue) {
  const std::vector<MetaDataItem> metadata = {
      {FourCC("udta"), FourCC("udta"), Bytes{'T', 'A', 'K', 'E'}, Bytes{0, 7}, 21},
      {FourCC("udta"), FourCC("udta"), Bytes{'b', 'a', 'd'}, Bytes{1}, 1},
  };
  const Bytes expected = {
      0,   0,   0,   18,   // udta size
      'u', 'd', 't', 'a',  // type
      0,   0,   0,   10,   // item size
      'T', 'A', 'K', 'E',  // type
      0,   7,              // value
  };
  EXPECT_EQ(userDataOf(metadata), expected);
}

TEST(MetadataAtomsTest, ProblemsNameTheItem) {
  EXPECT_EQ(metadataItemProblem({FourCC("mdta"), FourCC("mdta"), Bytes{'k'}, {}, 1}), std::nullopt);
  EXPECT_EQ(metadataItemProblem({FourCC("udta"), FourCC("udta"), Bytes{'a', 'b', 'c', 'd'}, {}, 1}),
            std::nullopt);
  EXPECT_EQ(metadataItemProblem({FourCC("udta"), FourCC("udta"), Bytes{'a', 'b'}, {}, 1}),
            "a user data item's key is 2 bytes, not 4");
  EXPECT_EQ(metadataItemProblem({FourCC("itsk"), FourCC("itsk"), Bytes{'a'}, {}, 1}),
            "a metadata item has storage format itsk");
}

}  // namespace
}  // namespace premoov
