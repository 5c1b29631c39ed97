#include "header/movie_metadata.h"

#include <gtest/gtest.h>

#include <cstring>

#include "base/log.h"
#include "movie/fault_injecting_toolbox.h"
#include "naming/metadata_item.h"

namespace premoov {
namespace {

std::vector<uint8_t> bytesOf(std::string_view s) { return {s.begin(), s.end()}; }

Value itemOf(const std::string& key, const Value& value) {
  return Value::object(ZPRMetadataItem::initWithKey(key, &value));
}

struct Written {
  Failure failure;
  std::vector<std::string> log;
  std::vector<MetaDataItem> items;
};

Written write(Toolbox& toolbox, const std::optional<std::string>& software, bool growing,
              const std::optional<Value>& items) {
  LogCapture log;
  Movie movie;
  Written out;
  out.failure = writeMovieMetadata(toolbox, movie, software, growing, items);
  out.log = log.lines();
  out.items = movie.metadata;
  return out;
}

TEST(MovieMetadataTest, SoftwareAndGrowingFlagComeFirst) {
  FaultInjectingToolbox toolbox;
  const auto w = write(toolbox, "premoov", true, std::nullopt);
  EXPECT_FALSE(w.failure);
  ASSERT_EQ(w.items.size(), 2u);
  EXPECT_EQ(w.items[0].storageFormat, FourCC("mdta"));
  EXPECT_EQ(w.items[0].keyFormat, FourCC("mdta"));
  EXPECT_EQ(w.items[0].key, bytesOf("com.apple.quicktime.software"));
  EXPECT_EQ(w.items[0].value, bytesOf("premoov"));
  EXPECT_EQ(w.items[0].dataType, 1u);
  EXPECT_EQ(w.items[1].storageFormat, FourCC("udta"));
  EXPECT_EQ(w.items[1].keyFormat, FourCC("udta"));
  EXPECT_EQ(w.items[1].key, bytesOf("fgff"));
  EXPECT_EQ(w.items[1].value, (std::vector<uint8_t>{0, 0, 0, 1}));  // big-endian 1
  EXPECT_EQ(w.items[1].dataType, 21u);
  EXPECT_TRUE(w.log.empty());
}

TEST(MovieMetadataTest, NotGrowingIsZero) {
  FaultInjectingToolbox toolbox;
  const auto w = write(toolbox, "premoov", false, std::nullopt);
  ASSERT_EQ(w.items.size(), 2u);
  EXPECT_EQ(w.items[1].value, (std::vector<uint8_t>{0, 0, 0, 0}));
}

TEST(MovieMetadataTest, NoSoftwareIsAnEmptyValue) {
  FaultInjectingToolbox toolbox;
  const auto w = write(toolbox, std::nullopt, true, std::nullopt);
  ASSERT_EQ(w.items.size(), 2u);
  EXPECT_TRUE(w.items[0].value.empty());
}

TEST(MovieMetadataTest, RefusedSoftwareItemFailsTheRequest) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("QTMetaDataAddItem", -2155);
  const auto w = write(toolbox, std::nullopt, true, std::nullopt);
  EXPECT_EQ(w.failure, "Could not write metadata (-2155)");
  EXPECT_TRUE(w.items.empty());
}

TEST(MovieMetadataTest, NoMetadataReferenceSkipsEverythingSilently) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("QTCopyMovieMetaData", -50);
  const auto w = write(toolbox, "premoov", true, std::nullopt);
  EXPECT_FALSE(w.failure);
  EXPECT_TRUE(w.items.empty());
  EXPECT_TRUE(w.log.empty());
}

TEST(MovieMetadataTest, RefusedGrowingFlagIsLoggedOnly) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("QTMetaDataAddItem", -50, std::nullopt, 2);
  const auto w = write(toolbox, "premoov", true, std::nullopt);
  EXPECT_FALSE(w.failure);
  EXPECT_EQ(w.log, std::vector<std::string>{"Error: -50"});
  EXPECT_EQ(w.items.size(), 1u);
}

TEST(MovieMetadataTest, StringDateAndTokenItemsAreUTF8Text) {
  FaultInjectingToolbox toolbox;
  Value tokens = itemOf("name", Value::array({Value::string("$$Day"), Value::string("-7")}));
  std::const_pointer_cast<ZPRMetadataItem>(
      std::dynamic_pointer_cast<const ZPRMetadataItem>(tokens.objectValue()))
      ->setStringValue("Tue-7");
  const auto w =
      write(toolbox, "premoov", true,
            Value::array({itemOf("com.example.take", Value::string("Take \xE2\x91\xA6")), tokens}));
  ASSERT_EQ(w.items.size(), 4u);
  EXPECT_EQ(w.items[2].key, bytesOf("com.example.take"));
  EXPECT_EQ(w.items[2].value, bytesOf("Take \xE2\x91\xA6"));
  EXPECT_EQ(w.items[2].dataType, 1u);
  EXPECT_EQ(w.items[3].value, bytesOf("Tue-7"));
  EXPECT_EQ(w.items[3].dataType, 1u);
}

TEST(MovieMetadataTest, DoubleNumbersAre8BytesOfType24InHostOrder) {
  FaultInjectingToolbox toolbox;
  const auto w =
      write(toolbox, "premoov", true,
            Value::array({itemOf("d", Value::real(2.5, CFNumberType::kCFNumberDoubleType))}));
  ASSERT_EQ(w.items.size(), 3u);
  std::vector<uint8_t> expected(8);
  const double v = 2.5;
  std::memcpy(expected.data(), &v, 8);
  EXPECT_EQ(w.items[2].value, expected);
  EXPECT_EQ(w.items[2].dataType, 24u);
}

TEST(MovieMetadataTest, Float64NumbersTakeTheIntegerPath) {
  FaultInjectingToolbox toolbox;
  const auto w =
      write(toolbox, "premoov", true,
            Value::array({itemOf("f", Value::real(2.5, CFNumberType::kCFNumberFloat64Type)),
                          itemOf("i", Value::integer(-2))}));
  ASSERT_EQ(w.items.size(), 4u);
  EXPECT_EQ(w.items[2].value, (std::vector<uint8_t>{2, 0, 0, 0}));  // host order, not big-endian
  EXPECT_EQ(w.items[2].dataType, 21u);
  EXPECT_EQ(w.items[3].value, (std::vector<uint8_t>{0xFE, 0xFF, 0xFF, 0xFF}));
}

TEST(MovieMetadataTest, RefusedItemIsLoggedAndTheOthersFollow) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("QTMetaDataAddItem", -2155, std::nullopt, 3);
  const auto w =
      write(toolbox, "premoov", true,
            Value::array({itemOf("a", Value::string("x")), itemOf("b", Value::string("y"))}));
  EXPECT_FALSE(w.failure);
  EXPECT_EQ(w.log, std::vector<std::string>{"Could not write metadata 'a' (-2155)"});
  ASSERT_EQ(w.items.size(), 3u);
  EXPECT_EQ(w.items[2].key, bytesOf("b"));
}

TEST(MovieMetadataTest, ItemOfUnknownTypeRepeatsTheLastFailure) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("QTMetaDataAddItem", -50, std::nullopt, 2);  // the growing flag
  auto odd = ZPRMetadataItem::initWithKey("odd", nullptr);
  Value strange = itemOf("strange", Value::string("x"));
  std::const_pointer_cast<ZPRMetadataItem>(
      std::dynamic_pointer_cast<const ZPRMetadataItem>(strange.objectValue()))
      ->setValueType(7);
  const auto w = write(toolbox, "premoov", true, Value::array({strange}));
  EXPECT_EQ(w.log,
            (std::vector<std::string>{"Error: -50", "Could not write metadata 'strange' (-50)"}));
  EXPECT_EQ(w.items.size(), 1u);  // the software only
  EXPECT_EQ(odd, nullptr);
}

TEST(MovieMetadataTest, ItemOfUnknownTypeAfterASuccessIsSilent) {
  FaultInjectingToolbox toolbox;
  Value strange = itemOf("strange", Value::string("x"));
  std::const_pointer_cast<ZPRMetadataItem>(
      std::dynamic_pointer_cast<const ZPRMetadataItem>(strange.objectValue()))
      ->setValueType(7);
  const auto w = write(toolbox, "premoov", true, Value::array({strange}));
  EXPECT_TRUE(w.log.empty());
  EXPECT_EQ(w.items.size(), 2u);
}

TEST(MovieMetadataTest, ElementsThatAreNoItemsArePassedOverAndLogged) {
  FaultInjectingToolbox toolbox;
  const auto w = write(toolbox, "premoov", true, Value::array({Value::string("title")}));
  EXPECT_FALSE(w.failure);
  EXPECT_EQ(w.items.size(), 2u);
  ASSERT_EQ(w.log.size(), 1u);
}

}  // namespace
}  // namespace premoov
