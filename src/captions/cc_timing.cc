#include <array>
#include <cmath>
#include <limits>

#include "captions/cc_utilities.h"

namespace premoov {
namespace {

double framesPerSecond(const CMTime& frameDuration) {
  return static_cast<double>(frameDuration.timescale) / static_cast<double>(frameDuration.value);
}

// Truncates toward zero like a C cast, but keeps infinities and NaN (a zero value gives an
// infinite rate) from being undefined: they answer 0.
int64_t truncated(double d) {
  if (!std::isfinite(d) || std::fabs(d) >= 9.2e18) return 0;
  return static_cast<int64_t>(d);
}

struct FrameRateCode {
  uint32_t hundredthsOfFps;  // the rate x 100, truncated
  uint8_t code;
};

// CEA-708 cdp_frame_rate codes; the keys are exact, with no tolerance band.
constexpr std::array<FrameRateCode, 8> kCdpFrameRates{{
    {2397, 1},  // 24000/1001
    {2400, 2},
    {2500, 3},
    {2997, 4},  // 30000/1001
    {3000, 5},
    {5000, 6},
    {5994, 7},  // 60000/1001
    {6000, 8},
}};

}  // namespace

uint8_t ZPRCCUtilities::cdpFrameRateForFrameDuration(const CMTime& frameDuration) {
  const auto key = static_cast<uint32_t>(truncated(framesPerSecond(frameDuration) * 100.0));
  for (const auto& entry : kCdpFrameRates) {
    if (entry.hundredthsOfFps == key) return entry.code;
  }
  return 0;
}

uint8_t ZPRCCUtilities::ccCountForFrameDuration(const CMTime& frameDuration) {
  const auto cc = static_cast<uint32_t>(truncated(600.0 / framesPerSecond(frameDuration)));
  return static_cast<uint8_t>(cc & 0xFF);
}

int32_t ZPRCCUtilities::closedCaptionMaxSampleSizeForFrameDuration(const CMTime& frameDuration) {
  return 3 * static_cast<int32_t>(ccCountForFrameDuration(frameDuration)) + 21;
}

}  // namespace premoov
