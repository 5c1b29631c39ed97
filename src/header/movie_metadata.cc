#include "header/movie_metadata.h"

#include <array>
#include <cstring>
#include <vector>

#include "base/byte_writer.h"
#include "base/log.h"
#include "naming/metadata_item.h"

namespace premoov {
namespace {

constexpr FourCC kMetadataStorage("mdta");
constexpr FourCC kUserDataStorage("udta");
constexpr FourCC kGrowingFileUserDataType("fgff");

// QuickTime's well-known metadata data types.
constexpr uint32_t kUTF8DataType = 1;
constexpr uint32_t kSignedIntegerDataType = 21;  // big-endian
constexpr uint32_t kFloat64DataType = 24;        // big-endian

struct ItemValue {
  std::vector<uint8_t> bytes;
  uint32_t dataType = 0;
};

std::vector<uint8_t> utf8Bytes(const std::optional<std::string>& text) {
  if (!text) return {};
  return std::vector<uint8_t>(text->begin(), text->end());
}

// A value's bytes in the host's byte order. The data types declare big-endian, but number items
// have always been stored this way, and files already recorded carry it.
template <typename T>
std::vector<uint8_t> hostOrderBytes(T value) {
  std::vector<uint8_t> bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

std::optional<ItemValue> valueOf(const ZPRMetadataItem& item) {
  switch (item.valueType()) {
    case ZPRMetadataValueTypeString:
    case ZPRMetadataValueTypeDate:
    case ZPRMetadataValueTypeTokens: return ItemValue{utf8Bytes(item.stringValue()), kUTF8DataType};
    case ZPRMetadataValueTypeNumber: {
      const std::optional<Value>& number = item.numberValue();
      if (!number) {
        NSLog("Metadata item '%s' has no number; 0 is stored", item.key().value_or("").c_str());
      }
      const auto type = number ? number->numberType() : CFNumberType::kCFNumberSInt32Type;
      // Only CoreFoundation's float and double types take the floating path; the 32- and 64-bit
      // float types count as integers here.
      if (type == CFNumberType::kCFNumberFloatType || type == CFNumberType::kCFNumberDoubleType) {
        return ItemValue{hostOrderBytes(number->doubleValue()), kFloat64DataType};
      }
      const int64_t longValue = number ? number->longLongValue() : 0;
      return ItemValue{hostOrderBytes(static_cast<int32_t>(longValue)), kSignedIntegerDataType};
    }
    default: return std::nullopt;
  }
}

OSErr addItem(Toolbox& toolbox, Movie& metadata, FourCC storage, const std::vector<uint8_t>& key,
              const ItemValue& value) {
  return toolbox.QTMetaDataAddItem(metadata, storage, storage, key.data(),
                                   static_cast<uint32_t>(key.size()), value.bytes.data(),
                                   static_cast<uint32_t>(value.bytes.size()), value.dataType);
}

}  // namespace

Failure writeMovieMetadata(Toolbox& toolbox, Movie& movie,
                           const std::optional<std::string>& software, bool growing,
                           const std::optional<Value>& metadataItems) {
  Movie* metadata = nullptr;
  if (toolbox.QTCopyMovieMetaData(movie, &metadata) != noErr || metadata == nullptr) {
    return std::nullopt;  // a movie without metadata is still a movie
  }

  const std::string softwareKey = kSoftwareMetadataKey;
  OSErr err = addItem(toolbox, *metadata, kMetadataStorage,
                      std::vector<uint8_t>(softwareKey.begin(), softwareKey.end()),
                      {utf8Bytes(software), kUTF8DataType});
  if (err != noErr) {
    toolbox.QTMetaDataRelease(metadata);
    return stringWithFormat("Could not write metadata (%i)", err);
  }

  ByteWriter flagKey;
  flagKey.fourCC(kGrowingFileUserDataType);
  ByteWriter flag;
  flag.u32(growing ? 1 : 0);  // the one value stored big-endian, as its type says
  err = addItem(toolbox, *metadata, kUserDataStorage, flagKey.data(),
                {flag.data(), kSignedIntegerDataType});
  if (err != noErr) NSLog("Error: %i", err);

  if (metadataItems && metadataItems->isArray()) {
    for (const Value& element : metadataItems->elements()) {
      const auto item =
          element.isObject()
              ? std::dynamic_pointer_cast<const ZPRMetadataItem>(element.objectValue())
              : nullptr;
      if (!item) {
        NSLog("A %s among the metadata items is no metadata item; it is passed over",
              kindName(element.kind()));
        continue;
      }
      const std::string key = item->key().value_or("");
      if (auto value = valueOf(*item)) {
        err = addItem(toolbox, *metadata, kMetadataStorage,
                      std::vector<uint8_t>(key.begin(), key.end()), *value);
      }
      // The result of the last add is kept: an item of unknown type repeats an earlier
      // failure's line under its own key, as recorders' logs have always shown.
      if (err != noErr) {
        NSLog("Could not write metadata '%s' (%i)", item->key() ? key.c_str() : "(null)", err);
      }
    }
  }
  toolbox.QTMetaDataRelease(metadata);
  return std::nullopt;
}

}  // namespace premoov
