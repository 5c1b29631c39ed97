#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "header/quicktime_movie_creator.h"
#include "media/audio_types.h"
#include "media/cm_time.h"
#include "plist/value.h"

namespace premoov {

// Settings dictionary keys of a header request.
namespace settings_key {
inline constexpr const char* kVideoCodec = "videoCodec";
inline constexpr const char* kVideoFrameDuration = "videoFrameDuration";
inline constexpr const char* kMaxVideoFrameSize = "maxVideoFrameSize";
inline constexpr const char* kFirstFrameOverhead = "firstFrameOverhead";
inline constexpr const char* kIsLongGOP = "isLongGOP";
inline constexpr const char* kNumberOfFields = "numberOfFields";
inline constexpr const char* kFieldOrder = "fieldOrder";
inline constexpr const char* kHorizontalSpacing = "horizontalSpacing";
inline constexpr const char* kVerticalSpacing = "verticalSpacing";
inline constexpr const char* kColorPrimaries = "colorPrimaries";
inline constexpr const char* kTransferFunction = "transferFunction";
inline constexpr const char* kMatrix = "matrix";
inline constexpr const char* kNumberOfAudioTracks = "numberOfAudioTracks";
inline constexpr const char* kTimecodeIsDropFrame = "timecodeIsDropFrame";
inline constexpr const char* kFormatName = "formatName";
inline constexpr const char* kReelName = "reelName";
inline constexpr const char* kAsbds = "asbds";
inline constexpr const char* kLayouts = "layouts";
inline constexpr const char* kGlobalTimecode = "globalTimecode";
inline constexpr const char* kAddClosedCaptionTrack = "addClosedCaptionTrack";
inline constexpr const char* kExtensionAtoms = "extensionAtoms";
inline constexpr const char* kSoftware = "software";
inline constexpr const char* kMetadataItems = "metadataItems";
inline constexpr const char* kVideoDimensions = "videoDimensions";
}  // namespace settings_key

// The settings of one header request, read once, key by key, in this order. An absent key gives
// the zero of its type unless a default is named.
struct HeaderSettings {
  uint32_t videoCodec = 0;
  CMTime videoFrameDuration;  // invalid (all zero) when absent or malformed
  uint32_t maxVideoFrameSize = 0;
  uint32_t firstFrameOverhead = 0;
  bool isLongGOP = false;
  int32_t numberOfFields = 0;  // handed on as its low 8 bits
  int32_t fieldOrder = 0;      // handed on as its low 8 bits
  int32_t horizontalSpacing = 0;
  int32_t verticalSpacing = 0;
  int16_t colorPrimaries = 0;
  int16_t transferFunction = 0;
  int16_t matrix = 0;
  int32_t numberOfAudioTracks = 0;
  bool timecodeIsDropFrame = false;
  std::optional<std::string> formatName;
  std::optional<std::string> reelName;
  // One 40-byte slot per element of "asbds" (zero-filled, then the element's bytes).
  std::vector<AudioStreamBasicDescription> asbds;
  // One buffer per element of "layouts", exactly the element's bytes.
  std::vector<std::vector<uint8_t>> layouts;
  bool globalTimecode = false;
  bool addClosedCaptionTrack = false;
  std::optional<Value> extensionAtoms;
  std::optional<std::string> software;
  std::optional<Value> metadataItems;
  VideoDimensions videoDimensions;
};

HeaderSettings readHeaderSettings(const Value& settings);

// Whole frames a second: ceil(timescale / value) in double precision, truncated to 32 bits
// (30000/1001 gives 30). 0 for a time that gives no finite rate.
int32_t framesPerSecond(const CMTime& frameDuration);

}  // namespace premoov
