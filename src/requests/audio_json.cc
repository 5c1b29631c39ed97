#include "requests/audio_json.h"

#include <cmath>
#include <limits>

#include "media/audio_types.h"
#include "requests/request_messages.h"

namespace premoov {

namespace {

Result<uint32_t> requiredUnsigned32(const Json& object, std::string_view path,
                                    std::string_view key) {
  auto member = requiredMemberOf(object, path, key);
  if (!member) return unexpected(member.error());
  return unsigned32(**member, memberPath(path, key));
}

Result<uint32_t> optionalUnsigned32(const Json& object, std::string_view path,
                                    std::string_view key) {
  const Json* member = memberOf(object, key);
  if (member == nullptr) return uint32_t{0};
  return unsigned32(*member, memberPath(path, key));
}

Result<AudioChannelDescription> channelDescriptionOf(const Json& value, std::string_view path) {
  if (!value.is_object()) return keyError(path, kNotObject);
  AudioChannelDescription description;
  auto label = requiredUnsigned32(value, path, "label");
  if (!label) return unexpected(label.error());
  description.mChannelLabel = *label;
  auto flags = optionalUnsigned32(value, path, "flags");
  if (!flags) return unexpected(flags.error());
  description.mChannelFlags = *flags;
  if (const Json* coordinates = memberOf(value, "coordinates")) {
    const std::string coordinatesPath = memberPath(path, "coordinates");
    if (!coordinates->is_array() || coordinates->size() != 3) {
      return keyError(coordinatesPath, kNotCoordinates);
    }
    for (size_t i = 0; i < 3; ++i) {
      const Json& coordinate = (*coordinates)[i];
      // Coordinates are 32-bit floats; a larger number would not convert.
      if (!coordinate.is_number() ||
          std::fabs(coordinate.get<double>()) > std::numeric_limits<float>::max()) {
        return keyError(coordinatesPath, kNotCoordinates);
      }
      description.mCoordinates[i] = static_cast<float>(coordinate.get<double>());
    }
  }
  return description;
}

}  // namespace

Result<std::vector<uint8_t>> streamDescriptionBytesOf(const Json& value, std::string_view path) {
  if (isDataObject(value)) return dataOf(value, path);
  if (!value.is_object()) return keyError(path, kNotStreamDescription);

  AudioStreamBasicDescription asbd;
  auto sampleRate = requiredMemberOf(value, path, "sampleRate");
  if (!sampleRate) return unexpected(sampleRate.error());
  auto rate = numberOf(**sampleRate, memberPath(path, "sampleRate"));
  if (!rate) return unexpected(rate.error());
  asbd.mSampleRate = *rate;

  auto formatID = requiredMemberOf(value, path, "formatID");
  if (!formatID) return unexpected(formatID.error());
  auto code = fourCharacterCodeOf(**formatID, memberPath(path, "formatID"));
  if (!code) return unexpected(code.error());
  asbd.mFormatID = *code;

  const struct {
    const char* key;
    uint32_t AudioStreamBasicDescription::*field;
  } kRequired[] = {
      {"formatFlags", &AudioStreamBasicDescription::mFormatFlags},
      {"bytesPerPacket", &AudioStreamBasicDescription::mBytesPerPacket},
      {"framesPerPacket", &AudioStreamBasicDescription::mFramesPerPacket},
      {"bytesPerFrame", &AudioStreamBasicDescription::mBytesPerFrame},
      {"channelsPerFrame", &AudioStreamBasicDescription::mChannelsPerFrame},
      {"bitsPerChannel", &AudioStreamBasicDescription::mBitsPerChannel},
  };
  for (const auto& field : kRequired) {
    auto number = requiredUnsigned32(value, path, field.key);
    if (!number) return unexpected(number.error());
    asbd.*field.field = *number;
  }
  auto reserved = optionalUnsigned32(value, path, "reserved");
  if (!reserved) return unexpected(reserved.error());
  asbd.mReserved = *reserved;
  return hostBytesOf(asbd);
}

Result<std::vector<uint8_t>> channelLayoutBytesOf(const Json& value, std::string_view path) {
  if (isDataObject(value)) return dataOf(value, path);
  if (!value.is_object()) return keyError(path, kNotChannelLayout);

  AudioChannelLayout layout;
  auto tag = requiredUnsigned32(value, path, "tag");
  if (!tag) return unexpected(tag.error());
  layout.mChannelLayoutTag = *tag;
  auto bitmap = optionalUnsigned32(value, path, "bitmap");
  if (!bitmap) return unexpected(bitmap.error());
  layout.mChannelBitmap = *bitmap;
  if (const Json* descriptions = memberOf(value, "descriptions")) {
    const std::string descriptionsPath = memberPath(path, "descriptions");
    if (!descriptions->is_array()) return keyError(descriptionsPath, kNotArray);
    for (size_t i = 0; i < descriptions->size(); ++i) {
      auto description = channelDescriptionOf((*descriptions)[i], elementPath(descriptionsPath, i));
      if (!description) return unexpected(description.error());
      layout.mChannelDescriptions.push_back(*description);
    }
  }
  return layout.hostBytes();
}

}  // namespace premoov
