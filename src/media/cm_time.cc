#include "media/cm_time.h"

#include <limits>

namespace premoov {

const char* const kCMTimeValueKey = "value";
const char* const kCMTimeScaleKey = "timescale";
const char* const kCMTimeFlagsKey = "flags";
const char* const kCMTimeEpochKey = "epoch";

CMTime CMTimeMake(CMTimeValue value, CMTimeScale timescale) {
  return CMTime{value, timescale, kCMTimeFlags_Valid, 0};
}

CMTime CMTimeMakeFromDictionary(const Value* dictionary) {
  if (dictionary == nullptr || !dictionary->isDictionary()) return kCMTimeInvalid;
  const Value* value = dictionary->objectForKey(kCMTimeValueKey);
  const Value* timescale = dictionary->objectForKey(kCMTimeScaleKey);
  const Value* flags = dictionary->objectForKey(kCMTimeFlagsKey);
  const Value* epoch = dictionary->objectForKey(kCMTimeEpochKey);
  for (const Value* v : {value, timescale, flags, epoch}) {
    if (v == nullptr || v->kind() != Value::Kind::Number || v->isFloatingNumber()) {
      return kCMTimeInvalid;
    }
  }
  return CMTime{value->longLongValue(), static_cast<CMTimeScale>(timescale->longLongValue()),
                static_cast<uint32_t>(flags->longLongValue()), epoch->longLongValue()};
}

Value CMTimeCopyAsDictionary(const CMTime& time) {
  Value d = Value::dictionary();
  d.setObject(kCMTimeValueKey, Value::integer(time.value));
  d.setObject(kCMTimeScaleKey, Value::integer(time.timescale, CFNumberType::kCFNumberSInt32Type));
  d.setObject(kCMTimeFlagsKey, Value::integer(time.flags, CFNumberType::kCFNumberSInt32Type));
  d.setObject(kCMTimeEpochKey, Value::integer(time.epoch));
  return d;
}

namespace {

__extension__ typedef __int128 Wide;

// Divides a non-negative numerator by a positive denominator, rounding the magnitude.
Wide divideMagnitude(Wide numerator, Wide denominator, bool awayFromZero, bool halfAway) {
  Wide quotient = numerator / denominator;
  const Wide remainder = numerator % denominator;
  if (remainder != 0) {
    if (awayFromZero) {
      ++quotient;
    } else if (halfAway && remainder * 2 >= denominator) {
      ++quotient;
    }
  }
  return quotient;
}

}  // namespace

CMTime CMTimeConvertScale(const CMTime& time, CMTimeScale newTimescale,
                          CMTimeRoundingMethod method) {
  if (!time.isValid() || newTimescale <= 0 || time.timescale <= 0) return kCMTimeInvalid;
  if ((time.flags & (kCMTimeFlags_PositiveInfinity | kCMTimeFlags_NegativeInfinity |
                     kCMTimeFlags_Indefinite)) != 0) {
    return time;
  }
  if (newTimescale == time.timescale) return time;

  const bool negative = time.value < 0;
  const Wide magnitude = negative ? -static_cast<Wide>(time.value) : static_cast<Wide>(time.value);
  const Wide numerator = magnitude * newTimescale;
  const Wide denominator = time.timescale;

  bool away = false;
  bool halfAway = false;
  switch (method) {
    case CMTimeRoundingMethod::kCMTimeRoundingMethod_RoundHalfAwayFromZero: halfAway = true; break;
    case CMTimeRoundingMethod::kCMTimeRoundingMethod_RoundTowardZero: break;
    case CMTimeRoundingMethod::kCMTimeRoundingMethod_RoundAwayFromZero: away = true; break;
    case CMTimeRoundingMethod::kCMTimeRoundingMethod_QuickTime:
      away = newTimescale > time.timescale;
      break;
    case CMTimeRoundingMethod::kCMTimeRoundingMethod_RoundTowardPositiveInfinity:
      away = !negative;
      break;
    case CMTimeRoundingMethod::kCMTimeRoundingMethod_RoundTowardNegativeInfinity:
      away = negative;
      break;
  }
  Wide result = divideMagnitude(numerator, denominator, away, halfAway);
  if (method == CMTimeRoundingMethod::kCMTimeRoundingMethod_QuickTime && negative && result == 0 &&
      magnitude != 0) {
    result = 1;
  }
  CMTime out = time;
  out.timescale = newTimescale;
  if (numerator % denominator != 0) out.flags |= kCMTimeFlags_HasBeenRounded;
  if (result > std::numeric_limits<int64_t>::max()) {
    out.value = 0;
    out.flags |= negative ? kCMTimeFlags_NegativeInfinity : kCMTimeFlags_PositiveInfinity;
    return out;
  }
  out.value = negative ? -static_cast<int64_t>(result) : static_cast<int64_t>(result);
  return out;
}

}  // namespace premoov
