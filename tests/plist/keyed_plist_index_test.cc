#include "plist/keyed_plist_index.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "plist/keyed_plist_node.h"
#include "plist/keyed_test_support.h"

namespace premoov {
namespace {

// A dictionary of `count` keys "k0", "k1", ..., each holding its number, read by libplist from a
// binary property list (libplist's own dictionary setter looks every key up first).
PlistNode dictionaryOf(const std::vector<std::string>& keys) {
  keyed_test::RawPlist plist;
  std::vector<std::pair<std::string, uint64_t>> entries;
  for (size_t i = 0; i < keys.size(); ++i) entries.emplace_back(keys[i], plist.integer(i));
  const uint64_t top = plist.dictionary(entries);
  return keyed_test::parseBinary(plist.bytes(top));
}

std::vector<std::string> numberedKeys(size_t count) {
  std::vector<std::string> keys;
  for (size_t i = 0; i < count; ++i) keys.push_back("k" + std::to_string(i));
  return keys;
}

TEST(PlistDictionaryIndexTest, FindsEveryKeyOfSmallAndLargeDictionaries) {
  for (size_t count : {0, 1, 5, 8, 9, 100, 5000}) {
    SCOPED_TRACE(count);
    PlistNode dictionary = dictionaryOf(numberedKeys(count));
    ASSERT_TRUE(dictionary);
    const PlistDictionaryIndex index(dictionary.get());
    EXPECT_EQ(index.size(), count);
    for (size_t i = 0; i < count; ++i) {
      const std::string key = "k" + std::to_string(i);
      EXPECT_EQ(index.find(key), plist_dict_get_item(dictionary.get(), key.c_str()));
      EXPECT_EQ(plistUnsigned(index.find(key)), i);
    }
    EXPECT_EQ(index.find("absent"), nullptr);
    EXPECT_EQ(index.find(""), nullptr);
    EXPECT_EQ(index.find("k"), nullptr);
  }
}

TEST(PlistDictionaryIndexTest, FirstOfRepeatedKeysAnswersAsInLibplist) {
  // A binary property list may repeat a key; libplist keeps both and finds the first.
  for (size_t filler : {0, 20}) {
    SCOPED_TRACE(filler);
    std::vector<std::string> keys = numberedKeys(filler);
    keys.insert(keys.begin() + static_cast<long>(filler / 2), "twice");
    keys.push_back("twice");
    PlistNode dictionary = dictionaryOf(keys);
    ASSERT_TRUE(dictionary);
    const PlistDictionaryIndex index(dictionary.get());
    EXPECT_EQ(index.find("twice"), plist_dict_get_item(dictionary.get(), "twice"));
    EXPECT_EQ(plistUnsigned(index.find("twice")), filler / 2);
  }
}

TEST(PlistDictionaryIndexTest, NodeThatIsNoDictionaryHasNoKeys) {
  PlistNode array(plist_new_array());
  EXPECT_EQ(PlistDictionaryIndex(array.get()).size(), 0u);
  EXPECT_EQ(PlistDictionaryIndex(array.get()).find("k"), nullptr);
  EXPECT_EQ(PlistDictionaryIndex(nullptr).find("k"), nullptr);
  EXPECT_EQ(PlistDictionaryIndex().find(""), nullptr);
}

}  // namespace
}  // namespace premoov
