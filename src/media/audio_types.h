#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/four_char_code.h"

namespace premoov {

// CoreAudio's stream format record: 40 bytes in host byte order when carried as data.
struct AudioStreamBasicDescription {
  double mSampleRate = 0;  // frames per second
  uint32_t mFormatID = 0;  // four-character code, 'lpcm' for linear PCM
  uint32_t mFormatFlags = 0;
  uint32_t mBytesPerPacket = 0;
  uint32_t mFramesPerPacket = 0;
  uint32_t mBytesPerFrame = 0;
  uint32_t mChannelsPerFrame = 0;
  uint32_t mBitsPerChannel = 0;
  uint32_t mReserved = 0;

  bool operator==(const AudioStreamBasicDescription&) const = default;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

enum AudioFormatFlags : uint32_t {
  kAudioFormatFlagIsFloat = 1u << 0,
  kAudioFormatFlagIsBigEndian = 1u << 1,
  kAudioFormatFlagIsSignedInteger = 1u << 2,
  kAudioFormatFlagIsPacked = 1u << 3,
  kAudioFormatFlagIsAlignedHigh = 1u << 4,
  kAudioFormatFlagIsNonInterleaved = 1u << 5,
  kAudioFormatFlagIsNonMixable = 1u << 6,
};

constexpr uint32_t kAudioFormatLinearPCM = FourCC("lpcm").value;

struct AudioChannelDescription {
  uint32_t mChannelLabel = 0;
  uint32_t mChannelFlags = 0;
  float mCoordinates[3] = {0, 0, 0};

  bool operator==(const AudioChannelDescription&) const = default;
};
static_assert(sizeof(AudioChannelDescription) == 20);

// CoreAudio's channel layout record: tag, bitmap, count, then `count` descriptions of 20 bytes.
struct AudioChannelLayout {
  uint32_t mChannelLayoutTag = 0;
  uint32_t mChannelBitmap = 0;
  std::vector<AudioChannelDescription> mChannelDescriptions;

  // 12 + 20 x the number of descriptions: the size the record has in memory.
  uint32_t byteSize() const;
  // Host-order bytes as the settings carry them.
  std::vector<uint8_t> hostBytes() const;
  // From host-order bytes; nothing when shorter than its own count says (the count is trusted
  // only as far as the bytes reach).
  static std::optional<AudioChannelLayout> fromHostBytes(std::span<const uint8_t> bytes);

  bool operator==(const AudioChannelLayout&) const = default;
};

constexpr uint32_t kAudioChannelLayoutTag_UseChannelDescriptions = 0;
constexpr uint32_t kAudioChannelLayoutTag_UseChannelBitmap = 1u << 16;
constexpr uint32_t kAudioChannelLayoutTag_Mono = (100u << 16) | 1;
constexpr uint32_t kAudioChannelLayoutTag_Stereo = (101u << 16) | 2;

std::vector<uint8_t> hostBytesOf(const AudioStreamBasicDescription& asbd);
// From the first 40 bytes (zeros where fewer are given).
AudioStreamBasicDescription asbdFromHostBytes(std::span<const uint8_t> bytes);

}  // namespace premoov
