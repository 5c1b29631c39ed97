#pragma once

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "header/header_settings.h"
#include "header/quicktime_movie_creator.h"
#include "media/audio_types.h"
#include "media/cm_time.h"
#include "plist/value.h"

namespace premoov::testing {

// The client's end of a connection: keeps every reply it gets.
class RecordingClient : public ZPRServiceConnection, public ZPRQuickTimeServiceDelegate {
 public:
  struct Header {
    std::vector<uint8_t> bytes;
    bool growing;
    int32_t frameSize;
    int64_t fileSize;
  };
  struct Failure {
    bool growing;
    std::string error;
  };

  ZPRQuickTimeServiceDelegate* remoteObjectProxy() override { return this; }
  void didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
                       int64_t fileSize) override {
    headers.push_back({std::move(header), growing, frameSize, fileSize});
  }
  void failedCreatingGrowingHeader(bool growing, std::string error) override {
    failures.push_back({growing, std::move(error)});
  }
  size_t replies() const { return headers.size() + failures.size(); }

  std::vector<Header> headers;
  std::vector<Failure> failures;
};

// Keeps the write map of a request.
class RecordingObserver : public SampleLayoutObserver {
 public:
  void didPlanHeaderRoom(uint32_t room, uint64_t start) override {
    headerRoom = room;
    mdatStart = start;
  }
  void didReference(const PlannedReference& reference) override { references.push_back(reference); }
  void didEndLayout(uint64_t offset) override { end = offset; }

  std::vector<PlannedReference> of(const std::string& track) const {
    std::vector<PlannedReference> out;
    for (const auto& r : references) {
      if (r.track == track) out.push_back(r);
    }
    return out;
  }

  uint32_t headerRoom = 0;
  uint64_t mdatStart = 0;
  std::optional<uint64_t> end;
  std::vector<PlannedReference> references;
};

inline Value dimensionsData(int32_t width, int32_t height) {
  std::vector<uint8_t> bytes(8);
  std::memcpy(bytes.data(), &width, 4);
  std::memcpy(bytes.data() + 4, &height, 4);
  return Value::data(std::move(bytes));
}

inline AudioStreamBasicDescription pcmDescription(double rate, uint32_t channels, uint32_t bits) {
  AudioStreamBasicDescription asbd;
  asbd.mSampleRate = rate;
  asbd.mFormatID = kAudioFormatLinearPCM;
  asbd.mFormatFlags =
      kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
  asbd.mBytesPerPacket = channels * bits / 8;
  asbd.mFramesPerPacket = 1;
  asbd.mBytesPerFrame = channels * bits / 8;
  asbd.mChannelsPerFrame = channels;
  asbd.mBitsPerChannel = bits;
  return asbd;
}

inline AudioChannelLayout monoLayout() {
  return AudioChannelLayout{kAudioChannelLayoutTag_Mono, 0, {}};
}

// A typical request's settings: video of `codec` at `frameDuration`, `audioTracks` mono 24-bit
// 48 kHz tracks, timecode and (when asked) captions.
inline Value typicalSettings(FourCC codec, CMTime frameDuration, int audioTracks,
                             bool captions = true, int32_t width = 1920, int32_t height = 1080) {
  Value s = Value::dictionary();
  s.setObject(settings_key::kVideoCodec, Value::integer(codec.value));
  s.setObject(settings_key::kVideoFrameDuration, CMTimeCopyAsDictionary(frameDuration));
  s.setObject(settings_key::kVideoDimensions, dimensionsData(width, height));
  s.setObject(settings_key::kNumberOfAudioTracks, Value::integer(audioTracks));
  Value asbds = Value::array();
  Value layouts = Value::array();
  for (int i = 0; i < audioTracks; ++i) {
    asbds.append(Value::data(hostBytesOf(pcmDescription(48000, 1, 24))));
    layouts.append(Value::data(monoLayout().hostBytes()));
  }
  s.setObject(settings_key::kAsbds, asbds);
  s.setObject(settings_key::kLayouts, layouts);
  s.setObject(settings_key::kAddClosedCaptionTrack, Value::boolean(captions));
  s.setObject(settings_key::kNumberOfFields, Value::integer(1));
  s.setObject(settings_key::kHorizontalSpacing, Value::integer(1));
  s.setObject(settings_key::kVerticalSpacing, Value::integer(1));
  return s;
}

}  // namespace premoov::testing
