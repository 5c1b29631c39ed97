#include "media/audio_types.h"

#include <algorithm>
#include <cstring>

namespace premoov {

uint32_t AudioChannelLayout::byteSize() const {
  return static_cast<uint32_t>(12 + 20 * mChannelDescriptions.size());
}

std::vector<uint8_t> AudioChannelLayout::hostBytes() const {
  std::vector<uint8_t> out(byteSize());
  const auto count = static_cast<uint32_t>(mChannelDescriptions.size());
  std::memcpy(out.data(), &mChannelLayoutTag, 4);
  std::memcpy(out.data() + 4, &mChannelBitmap, 4);
  std::memcpy(out.data() + 8, &count, 4);
  if (count > 0) std::memcpy(out.data() + 12, mChannelDescriptions.data(), 20 * count);
  return out;
}

std::optional<AudioChannelLayout> AudioChannelLayout::fromHostBytes(
    std::span<const uint8_t> bytes) {
  if (bytes.size() < 12) return std::nullopt;
  AudioChannelLayout layout;
  uint32_t count = 0;
  std::memcpy(&layout.mChannelLayoutTag, bytes.data(), 4);
  std::memcpy(&layout.mChannelBitmap, bytes.data() + 4, 4);
  std::memcpy(&count, bytes.data() + 8, 4);
  if (count > (bytes.size() - 12) / 20) return std::nullopt;
  layout.mChannelDescriptions.resize(count);
  if (count > 0) std::memcpy(layout.mChannelDescriptions.data(), bytes.data() + 12, 20 * count);
  return layout;
}

std::vector<uint8_t> hostBytesOf(const AudioStreamBasicDescription& asbd) {
  std::vector<uint8_t> out(sizeof asbd);
  std::memcpy(out.data(), &asbd, sizeof asbd);
  return out;
}

AudioStreamBasicDescription asbdFromHostBytes(std::span<const uint8_t> bytes) {
  AudioStreamBasicDescription asbd;
  if (!bytes.empty()) std::memcpy(&asbd, bytes.data(), std::min(bytes.size(), sizeof asbd));
  return asbd;
}

}  // namespace premoov
