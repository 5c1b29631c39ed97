#include "requests/metadata_items_json.h"

#include <gtest/gtest.h>

#include "naming/metadata_item.h"

namespace premoov {
namespace {

std::shared_ptr<const ZPRMetadataItem> onlyItem(const char* json) {
  auto items = metadataItemsOf(Json::parse(json), "settings.metadataItems");
  EXPECT_TRUE(items) << (items ? "" : items.error());
  if (!items || items->elements().size() != 1) return nullptr;
  return std::dynamic_pointer_cast<const ZPRMetadataItem>(items->elements()[0].objectValue());
}

std::string errorOf(const char* json) {
  auto items = metadataItemsOf(Json::parse(json), "settings.metadataItems");
  return items ? "" : items.error();
}

TEST(MetadataItemsJsonTest, StringItem) {
  const auto item = onlyItem(R"([{"key": "com.example.take", "string": "Take 7"}])");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->key(), "com.example.take");
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeString);
  EXPECT_EQ(item->stringValue(), "Take 7");
}

TEST(MetadataItemsJsonTest, IntegersDefaultToInt64AndFractionsToDouble) {
  auto item = onlyItem(R"([{"key": "n", "number": 42}])");
  ASSERT_NE(item, nullptr);
  ASSERT_TRUE(item->numberValue());
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeNumber);
  EXPECT_EQ(item->numberValue()->numberType(), CFNumberType::kCFNumberSInt64Type);
  EXPECT_EQ(item->numberValue()->longLongValue(), 42);
  item = onlyItem(R"([{"key": "n", "number": 2.5}])");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->numberValue()->numberType(), CFNumberType::kCFNumberDoubleType);
  EXPECT_EQ(item->numberValue()->doubleValue(), 2.5);
}

TEST(MetadataItemsJsonTest, NumberTypeNamesTheCoreFoundationType) {
  const std::pair<const char*, CFNumberType> cases[] = {
      {"int32", CFNumberType::kCFNumberSInt32Type},
      {"int64", CFNumberType::kCFNumberSInt64Type},
      {"float32", CFNumberType::kCFNumberFloat32Type},
      {"float64", CFNumberType::kCFNumberFloat64Type},
      {"float", CFNumberType::kCFNumberFloatType},
      {"double", CFNumberType::kCFNumberDoubleType},
  };
  for (const auto& [name, type] : cases) {
    const std::string json =
        std::string(R"([{"key": "n", "number": 2, "numberType": ")") + name + "\"}]";
    const auto item = onlyItem(json.c_str());
    ASSERT_NE(item, nullptr) << name;
    EXPECT_EQ(item->numberValue()->numberType(), type) << name;
    EXPECT_EQ(item->numberValue()->doubleValue(), 2.0) << name;
  }
}

TEST(MetadataItemsJsonTest, DateWithItsOffsetBecomesSecondsSince2001) {
  const auto item = onlyItem(R"([{"key": "d", "date": "2024-03-05T15:07:09+01:00"}])");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeDate);
  // 2024-03-05 14:07:09 UTC.
  EXPECT_EQ(item->dateValue()->timeIntervalSinceReferenceDate(), 731'340'429.0);
}

TEST(MetadataItemsJsonTest, ParsesISO8601Forms) {
  EXPECT_EQ(secondsSinceReferenceDateOf("2001-01-01T00:00:00Z"), 0.0);
  EXPECT_EQ(secondsSinceReferenceDateOf("2000-12-31T23:00:00-01:00"), 0.0);
  EXPECT_EQ(secondsSinceReferenceDateOf("2001-01-01T00:00:01.25Z"), 1.25);
  EXPECT_EQ(secondsSinceReferenceDateOf("2001-01-01T05:30:00+0530"), 0.0);
  EXPECT_EQ(secondsSinceReferenceDateOf("2024-02-29T00:00:00Z"), 730'857'600.0);
  EXPECT_FALSE(secondsSinceReferenceDateOf("2023-02-29T00:00:00Z"));  // no such day
  EXPECT_FALSE(secondsSinceReferenceDateOf("2024-03-05T15:07:09"));   // no offset
  EXPECT_FALSE(secondsSinceReferenceDateOf("2024-03-05"));
  EXPECT_FALSE(secondsSinceReferenceDateOf("2024-03-05T25:00:00Z"));
  EXPECT_FALSE(secondsSinceReferenceDateOf("2024-03-05T15:07:09Zjunk"));
  EXPECT_FALSE(secondsSinceReferenceDateOf(""));
}

TEST(MetadataItemsJsonTest, TokensKeepTheirTextFormAndOptionalString) {
  const auto item = onlyItem(
      R"([{"key": "name", "tokens": ["$$Day#EEE", "-", "$$Counter.3"], "string": "Tue-007"}])");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->valueType(), ZPRMetadataValueTypeTokens);
  ASSERT_TRUE(item->tokenValues());
  EXPECT_EQ(*item->tokenValues(), Value::array({Value::string("$$Day#EEE"), Value::string("-"),
                                                Value::string("$$Counter.3")}));
  EXPECT_EQ(item->stringValue(), "Tue-007");
  EXPECT_FALSE(onlyItem(R"([{"key": "name", "tokens": []}])")->stringValue());
}

TEST(MetadataItemsJsonTest, AnyOtherFormIsAnErrorNamingItsIndex) {
  const std::string expected =
      R"("settings.metadataItems[1]" must be {"key": string} with exactly one of "string", )"
      R"("number" (and "numberType"), "date" or "tokens" (and "string"))";
  EXPECT_EQ(errorOf(R"([{"key": "a", "string": "x"}, {"key": "b"}])"), expected);
  EXPECT_EQ(errorOf(R"([{"key": "a", "string": "x"}, {"key": "b", "string": "x", "number": 1}])"),
            expected);
  EXPECT_EQ(errorOf(R"([{"key": "a", "string": "x"}, {"key": "b", "value": 1}])"), expected);
  EXPECT_EQ(errorOf(R"([{"key": "a", "string": "x"}, 7])"), expected);
  EXPECT_EQ(
      errorOf(
          R"([{"key": "a", "string": "x"}, {"key": "b", "string": "x", "numberType": "int32"}])"),
      expected);
  EXPECT_EQ(errorOf(R"([{"string": "x"}])"), R"("settings.metadataItems[0].key" is missing)");
  EXPECT_EQ(errorOf(R"([{"key": 3, "string": "x"}])"),
            R"("settings.metadataItems[0].key" must be a string)");
  EXPECT_EQ(errorOf(R"([{"key": "n", "number": 2.5, "numberType": "int32"}])"),
            R"("settings.metadataItems[0].number" must be an integer for its number type)");
  EXPECT_EQ(errorOf(R"([{"key": "n", "number": 1, "numberType": "long"}])"),
            R"("settings.metadataItems[0].numberType" must be one of "int32", "int64", )"
            R"("float32", "float64", "float", "double")");
  EXPECT_EQ(errorOf(R"([{"key": "d", "date": "yesterday"}])"),
            R"("settings.metadataItems[0].date" must be an ISO 8601 date and time with its )"
            R"(offset, like "2024-03-05T14:07:09+01:00")");
  EXPECT_EQ(errorOf(R"([{"key": "t", "tokens": ["$$Day", 4]}])"),
            R"("settings.metadataItems[0].tokens[1]" must be a string)");
}

}  // namespace
}  // namespace premoov
