#pragma once

#include <cstdint>

#include "plist/value.h"

namespace premoov {

using CMTimeValue = int64_t;
using CMTimeScale = int32_t;
using CMTimeEpoch = int64_t;

enum CMTimeFlags : uint32_t {
  kCMTimeFlags_Valid = 1u << 0,
  kCMTimeFlags_HasBeenRounded = 1u << 1,
  kCMTimeFlags_PositiveInfinity = 1u << 2,
  kCMTimeFlags_NegativeInfinity = 1u << 3,
  kCMTimeFlags_Indefinite = 1u << 4,
};

enum class CMTimeRoundingMethod : uint32_t {
  kCMTimeRoundingMethod_RoundHalfAwayFromZero = 1,
  kCMTimeRoundingMethod_RoundTowardZero = 2,
  kCMTimeRoundingMethod_RoundAwayFromZero = 3,
  // Toward zero into a coarser time scale, away from zero into a finer one; a negative time
  // never becomes zero but -1 of the new scale.
  kCMTimeRoundingMethod_QuickTime = 4,
  kCMTimeRoundingMethod_RoundTowardPositiveInfinity = 5,
  kCMTimeRoundingMethod_RoundTowardNegativeInfinity = 6,
};

// A rational media time: value / timescale seconds.
struct CMTime {
  CMTimeValue value = 0;
  CMTimeScale timescale = 0;
  uint32_t flags = 0;
  CMTimeEpoch epoch = 0;

  bool isValid() const { return (flags & kCMTimeFlags_Valid) != 0; }
  bool operator==(const CMTime&) const = default;
};

constexpr CMTime kCMTimeInvalid{};

CMTime CMTimeMake(CMTimeValue value, CMTimeScale timescale);

// The dictionary form: numbers under "value", "timescale", "flags" and "epoch". A missing or
// malformed entry gives the invalid all-zero time.
CMTime CMTimeMakeFromDictionary(const Value* dictionary);
Value CMTimeCopyAsDictionary(const CMTime& time);

// `time` in `newTimescale`, rounded by `method`. Invalid times, non-positive scales and infinite
// or indefinite times come back unchanged in kind; a result beyond 64 bits becomes infinite.
CMTime CMTimeConvertScale(const CMTime& time, CMTimeScale newTimescale,
                          CMTimeRoundingMethod method);

extern const char* const kCMTimeValueKey;  // "value"
extern const char* const kCMTimeScaleKey;  // "timescale"
extern const char* const kCMTimeFlagsKey;  // "flags"
extern const char* const kCMTimeEpochKey;  // "epoch"

}  // namespace premoov
