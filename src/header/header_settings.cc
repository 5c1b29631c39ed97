#include "header/header_settings.h"

#include <array>
#include <cmath>
#include <cstring>

#include "base/log.h"

namespace premoov {
namespace {

// The string under `key`; a value of another kind is treated as absent (and logged), where the
// system would have stopped on a message the object does not answer.
std::optional<std::string> stringFor(const Value& settings, const char* key) {
  const Value* v = settings.objectForKey(key);
  if (v == nullptr) return std::nullopt;
  if (!v->isString()) {
    NSLog("Setting \"%s\" is a %s, not a string; it is ignored", key, kindName(v->kind()));
    return std::nullopt;
  }
  return v->stringValue();
}

const Value* arrayFor(const Value& settings, const char* key) {
  const Value* v = settings.objectForKey(key);
  if (v != nullptr && !v->isArray()) {
    NSLog("Setting \"%s\" is a %s, not an array; it is ignored", key, kindName(v->kind()));
    return nullptr;
  }
  return v;
}

}  // namespace

HeaderSettings readHeaderSettings(const Value& settings) {
  using namespace settings_key;
  HeaderSettings s;
  s.videoCodec = unsignedLongValue(settings.objectForKey(kVideoCodec));
  s.videoFrameDuration = CMTimeMakeFromDictionary(settings.objectForKey(kVideoFrameDuration));
  s.maxVideoFrameSize = unsignedLongValue(settings.objectForKey(kMaxVideoFrameSize));
  s.firstFrameOverhead = unsignedLongValue(settings.objectForKey(kFirstFrameOverhead));
  s.isLongGOP = boolValue(settings.objectForKey(kIsLongGOP));
  s.numberOfFields = intValue(settings.objectForKey(kNumberOfFields));
  s.fieldOrder = intValue(settings.objectForKey(kFieldOrder));
  s.horizontalSpacing = intValue(settings.objectForKey(kHorizontalSpacing));
  s.verticalSpacing = intValue(settings.objectForKey(kVerticalSpacing));
  s.colorPrimaries = shortValue(settings.objectForKey(kColorPrimaries));
  s.transferFunction = shortValue(settings.objectForKey(kTransferFunction));
  s.matrix = shortValue(settings.objectForKey(kMatrix));
  s.numberOfAudioTracks = intValue(settings.objectForKey(kNumberOfAudioTracks));
  s.timecodeIsDropFrame = boolValue(settings.objectForKey(kTimecodeIsDropFrame));
  s.formatName = stringFor(settings, kFormatName);
  s.reelName = stringFor(settings, kReelName);
  if (const Value* asbds = arrayFor(settings, kAsbds)) {
    for (const Value& element : asbds->elements()) {
      std::array<uint8_t, sizeof(AudioStreamBasicDescription)> slot{};
      element.getBytes(slot);
      s.asbds.push_back(asbdFromHostBytes(slot));
    }
  }
  if (const Value* layouts = arrayFor(settings, kLayouts)) {
    for (const Value& element : layouts->elements()) {
      if (!element.isData()) NSLog("A channel layout is a %s, not data", kindName(element.kind()));
      s.layouts.push_back(element.isData() ? element.bytes() : std::vector<uint8_t>{});
    }
  }
  s.globalTimecode = boolValue(settings.objectForKey(kGlobalTimecode));
  s.addClosedCaptionTrack = boolValue(settings.objectForKey(kAddClosedCaptionTrack));
  if (const Value* atoms = settings.objectForKey(kExtensionAtoms)) s.extensionAtoms = *atoms;
  s.software = stringFor(settings, kSoftware);
  if (const Value* items = arrayFor(settings, kMetadataItems)) s.metadataItems = *items;

  std::array<uint8_t, 8> dimensions{};  // cleared first: a shorter object leaves zeros
  getBytes(settings.objectForKey(kVideoDimensions), dimensions);
  std::memcpy(&s.videoDimensions.width, dimensions.data(), 4);
  std::memcpy(&s.videoDimensions.height, dimensions.data() + 4, 4);
  return s;
}

int32_t framesPerSecond(const CMTime& frameDuration) {
  const double fps = std::ceil(static_cast<double>(frameDuration.timescale) /
                               static_cast<double>(frameDuration.value));
  if (!std::isfinite(fps) || fps > 2147483647.0 || fps < -2147483648.0) return 0;
  return static_cast<int32_t>(fps);
}

}  // namespace premoov
