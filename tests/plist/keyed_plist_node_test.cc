#include "plist/keyed_plist_node.h"

#include <gtest/gtest.h>

namespace premoov {
namespace {

TEST(KeyedPlistNodeTest, ReferenceIsAUidOrTheXmlSpellingOfOne) {
  PlistNode uid(plist_new_uid(7));
  EXPECT_EQ(plistReference(uid.get()), 7u);

  PlistNode xmlSpelling(plist_new_dict());
  plist_dict_set_item(xmlSpelling.get(), "CF$UID", plist_new_uint(9));
  EXPECT_EQ(plistReference(xmlSpelling.get()), 9u);

  plist_dict_set_item(xmlSpelling.get(), "other", plist_new_uint(1));
  EXPECT_EQ(plistReference(xmlSpelling.get()), std::nullopt);
  PlistNode integer(plist_new_uint(7));
  EXPECT_EQ(plistReference(integer.get()), std::nullopt);
  EXPECT_EQ(plistReference(nullptr), std::nullopt);
}

TEST(KeyedPlistNodeTest, TypedLooksAnswerNothingForOtherKinds) {
  PlistNode string(plist_new_string("text"));
  PlistNode integer(plist_new_uint(5));
  EXPECT_EQ(plistString(string.get()), "text");
  EXPECT_EQ(plistString(integer.get()), std::nullopt);
  EXPECT_EQ(plistUnsigned(integer.get()), 5u);
  EXPECT_EQ(plistUnsigned(string.get()), std::nullopt);
  EXPECT_EQ(plistArrayItems(string.get()), std::nullopt);
  EXPECT_EQ(plistDictItem(string.get(), "k"), nullptr);
}

TEST(KeyedPlistNodeTest, ArrayItemsInOrder) {
  PlistNode array(plist_new_array());
  for (uint64_t i = 0; i < 300; ++i) plist_array_append_item(array.get(), plist_new_uint(i));
  auto items = plistArrayItems(array.get());
  ASSERT_TRUE(items);
  ASSERT_EQ(items->size(), 300u);
  for (uint64_t i = 0; i < 300; ++i) EXPECT_EQ(plistUnsigned((*items)[i]), i);
  PlistNode empty(plist_new_array());
  EXPECT_EQ(plistArrayItems(empty.get())->size(), 0u);
}

TEST(KeyedPlistNodeTest, DictItemByKey) {
  PlistNode dict(plist_new_dict());
  plist_dict_set_item(dict.get(), "$class", plist_new_uid(3));
  EXPECT_EQ(plistReference(plistDictItem(dict.get(), "$class")), 3u);
  EXPECT_EQ(plistDictItem(dict.get(), "absent"), nullptr);
}

}  // namespace
}  // namespace premoov
