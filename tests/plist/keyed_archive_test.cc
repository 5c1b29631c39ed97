#include "plist/keyed_archive.h"

#include <gtest/gtest.h>

#include <memory>

#include "plist/keyed_test_support.h"

namespace premoov {
namespace {

TEST(KeyedArchiveTest, ArchivedClassNameOfEachKind) {
  EXPECT_EQ(archivedClassNameOf(Value::string("s")), "NSString");
  EXPECT_EQ(archivedClassNameOf(Value::integer(1)), "NSNumber");
  EXPECT_EQ(archivedClassNameOf(Value::real(1.5)), "NSNumber");
  EXPECT_EQ(archivedClassNameOf(Value::boolean(true)), "NSNumber");
  EXPECT_EQ(archivedClassNameOf(Value::data({1})), "NSData");
  EXPECT_EQ(archivedClassNameOf(Value::date(0)), "NSDate");
  EXPECT_EQ(archivedClassNameOf(Value::array()), "NSArray");
  EXPECT_EQ(archivedClassNameOf(Value::dictionary()), "NSDictionary");
  EXPECT_EQ(archivedClassNameOf(Value::object(std::make_shared<keyed_test::TestItem>())),
            "PremoovTestItem");
  EXPECT_EQ(archivedClassNameOf(Value::object(nullptr)), "nil");
}

TEST(KeyedArchiveTest, ClassNameConstantsAreThePlatformNames) {
  EXPECT_STREQ(archived_class::kNSString, "NSString");
  EXPECT_STREQ(archived_class::kNSNumber, "NSNumber");
  EXPECT_STREQ(archived_class::kNSData, "NSData");
  EXPECT_STREQ(archived_class::kNSDate, "NSDate");
  EXPECT_STREQ(archived_class::kNSArray, "NSArray");
  EXPECT_STREQ(archived_class::kNSDictionary, "NSDictionary");
}

}  // namespace
}  // namespace premoov
