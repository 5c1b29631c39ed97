#include "requests/settings_json.h"

#include <cstring>
#include <limits>

#include "header/header_settings.h"
#include "requests/audio_json.h"
#include "requests/metadata_items_json.h"
#include "requests/request_messages.h"

namespace premoov {

namespace {

// How the value under a settings key is written in a request file.
enum class SettingForm {
  kFourCharacterCode,  // "apch" or an integer
  kTime,               // {"value", "timescale"}: stored as the time dictionary
  kNumber,             // integer, or a real when written with a fraction
  kBoolean,
  kString,
  kStreamDescriptions,  // array: 40-byte data per audio track
  kChannelLayouts,      // array: channel layout data per audio track
  kExtensionAtoms,      // object: atom type to data
  kMetadataItems,       // array of metadata items
  kDimensions,          // [width, height]: 8-byte data
};

struct SettingKey {
  const char* key;
  SettingForm form;
};

// The settings keys in the order the movie creator reads them.
constexpr SettingKey kSettingKeys[] = {
    {settings_key::kVideoCodec, SettingForm::kFourCharacterCode},
    {settings_key::kVideoFrameDuration, SettingForm::kTime},
    {settings_key::kMaxVideoFrameSize, SettingForm::kNumber},
    {settings_key::kFirstFrameOverhead, SettingForm::kNumber},
    {settings_key::kIsLongGOP, SettingForm::kBoolean},
    {settings_key::kNumberOfFields, SettingForm::kNumber},
    {settings_key::kFieldOrder, SettingForm::kNumber},
    {settings_key::kHorizontalSpacing, SettingForm::kNumber},
    {settings_key::kVerticalSpacing, SettingForm::kNumber},
    {settings_key::kColorPrimaries, SettingForm::kNumber},
    {settings_key::kTransferFunction, SettingForm::kNumber},
    {settings_key::kMatrix, SettingForm::kNumber},
    {settings_key::kNumberOfAudioTracks, SettingForm::kNumber},
    {settings_key::kTimecodeIsDropFrame, SettingForm::kBoolean},
    {settings_key::kFormatName, SettingForm::kString},
    {settings_key::kReelName, SettingForm::kString},
    {settings_key::kAsbds, SettingForm::kStreamDescriptions},
    {settings_key::kLayouts, SettingForm::kChannelLayouts},
    {settings_key::kGlobalTimecode, SettingForm::kBoolean},
    {settings_key::kAddClosedCaptionTrack, SettingForm::kBoolean},
    {settings_key::kExtensionAtoms, SettingForm::kExtensionAtoms},
    {settings_key::kSoftware, SettingForm::kString},
    {settings_key::kMetadataItems, SettingForm::kMetadataItems},
    {settings_key::kVideoDimensions, SettingForm::kDimensions},
};

Result<Value> numberValueOf(const Json& value, std::string_view path) {
  if (value.is_number_float()) {
    auto real = numberOf(value, path);
    if (!real) return unexpected(real.error());
    return Value::real(*real);
  }
  if (!value.is_number_integer()) return keyError(path, kNotNumber);
  auto integer = integerIn(value, path, std::numeric_limits<int64_t>::min(),
                           std::numeric_limits<int64_t>::max());
  if (!integer) return unexpected(integer.error());
  return Value::integer(*integer);
}

// Two 32-bit signed integers, width then height, in host byte order.
Result<Value> dimensionsOf(const Json& value, std::string_view path) {
  if (isDataObject(value)) {
    auto bytes = dataOf(value, path);
    if (!bytes) return unexpected(bytes.error());
    return Value::data(std::move(*bytes));
  }
  if (!value.is_array() || value.size() != 2) return keyError(path, kNotDimensions);
  int32_t size[2] = {0, 0};
  for (size_t i = 0; i < 2; ++i) {
    auto integer = integerIn(value[i], path, std::numeric_limits<int32_t>::min(),
                             std::numeric_limits<int32_t>::max());
    if (!integer) return keyError(path, kNotDimensions);
    size[i] = static_cast<int32_t>(*integer);
  }
  std::vector<uint8_t> bytes(sizeof size);
  std::memcpy(bytes.data(), size, sizeof size);
  return Value::data(std::move(bytes));
}

template <typename Convert>
Result<Value> dataArrayOf(const Json& value, std::string_view path, Convert convert) {
  if (!value.is_array()) return keyError(path, kNotArray);
  Value array = Value::array();
  for (size_t i = 0; i < value.size(); ++i) {
    auto bytes = convert(value[i], elementPath(path, i));
    if (!bytes) return unexpected(bytes.error());
    array.append(Value::data(std::move(*bytes)));
  }
  return array;
}

Result<Value> extensionAtomsOf(const Json& value, std::string_view path) {
  if (!value.is_object()) return keyError(path, kNotObject);
  Value atoms = Value::dictionary();
  for (const auto& [type, atom] : value.items()) {
    auto bytes = dataOf(atom, memberPath(path, type));
    if (!bytes) return unexpected(bytes.error());
    atoms.setObject(type, Value::data(std::move(*bytes)));
  }
  return atoms;
}

Result<Value> settingValueOf(const Json& value, std::string_view path, SettingForm form) {
  switch (form) {
    case SettingForm::kFourCharacterCode: {
      auto code = fourCharacterCodeOf(value, path);
      if (!code) return unexpected(code.error());
      return Value::integer(*code);
    }
    case SettingForm::kTime: {
      auto time = cmTimeOf(value, path);
      if (!time) return unexpected(time.error());
      return CMTimeCopyAsDictionary(*time);
    }
    case SettingForm::kNumber: return numberValueOf(value, path);
    case SettingForm::kBoolean: {
      auto boolean = booleanOf(value, path);
      if (!boolean) return unexpected(boolean.error());
      return Value::boolean(*boolean);
    }
    case SettingForm::kString: {
      auto string = stringOf(value, path);
      if (!string) return unexpected(string.error());
      return Value::string(std::move(*string));
    }
    case SettingForm::kStreamDescriptions:
      return dataArrayOf(value, path, streamDescriptionBytesOf);
    case SettingForm::kChannelLayouts: return dataArrayOf(value, path, channelLayoutBytesOf);
    case SettingForm::kExtensionAtoms: return extensionAtomsOf(value, path);
    case SettingForm::kMetadataItems: return metadataItemsOf(value, path);
    case SettingForm::kDimensions: return dimensionsOf(value, path);
  }
  return Value();
}

}  // namespace

Result<Value> settingsFromJson(const Json& settings, std::string_view path) {
  if (!settings.is_object()) return keyError(path, kNotObject);
  Value dictionary = Value::dictionary();
  for (const SettingKey& setting : kSettingKeys) {
    const Json* value = memberOf(settings, setting.key);
    if (value == nullptr) continue;
    auto converted = settingValueOf(*value, memberPath(path, setting.key), setting.form);
    if (!converted) return unexpected(converted.error());
    dictionary.setObject(setting.key, std::move(*converted));
  }
  return dictionary;
}

}  // namespace premoov
