#include "naming/naming_classes.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

#include "naming/metadata_item.h"
#include "naming/token.h"
#include "plist/keyed_archive.h"
#include "plist/value.h"

namespace premoov {
namespace {

TEST(NamingClassesTest, RegisteredClassesAreMadeFromAnArchive) {
  registerNamingClasses();
  registerNamingClasses();  // a second call changes nothing

  auto token = std::make_shared<ZPRToken>("Day", "$$Day");
  auto item = std::make_shared<ZPRMetadataItem>();
  item->setKey("title");
  item->setStringValue("Interview");
  const Value root = Value::array({Value::object(token), Value::object(item)});

  auto coder = KeyedUnarchiver::fromData(KeyedArchiver::archivedDataWithRootObject(root));
  ASSERT_TRUE(coder.has_value()) << coder.error();
  const std::optional<Value> back = (*coder)->decodeRootObject();
  ASSERT_TRUE(back.has_value()) << ((*coder)->error() ? (*coder)->error()->message : "");
  ASSERT_TRUE(back->isArray());
  ASSERT_EQ(back->elements().size(), 2u);

  const auto* tokenBack = dynamic_cast<const ZPRToken*>(back->elements()[0].objectValue().get());
  ASSERT_NE(tokenBack, nullptr);
  EXPECT_EQ(tokenBack->codeName(), "$$Day");
  EXPECT_EQ(tokenBack->formatter(), "dd");

  const auto* itemBack =
      dynamic_cast<const ZPRMetadataItem*>(back->elements()[1].objectValue().get());
  ASSERT_NE(itemBack, nullptr);
  EXPECT_EQ(itemBack->key(), "title");
  EXPECT_EQ(itemBack->stringValue(), "Interview");
}

}  // namespace
}  // namespace premoov
