#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "header_request_choice.h"
#include "media/cm_time.h"
#include "plist/value.h"

namespace premoov::fuzzing {

// One call of the header writer: its arguments, and whether the client cancels first.
struct HeaderRequest {
  std::string path;
  bool newFile = false;
  uint32_t blockSize = 0;
  CMTime duration;
  Value settings;
  bool cancelFirst = false;
};

HeaderRequest requestOf(const HeaderRequestChoice& choice);

// The tables the choices pick from, for describing seeds by value.
struct FrameDuration {
  int64_t value;
  int32_t timescale;
};
std::span<const FrameDuration> usualFrameDurations();
std::span<const int64_t> usualNumbers(NumberSetting setting);
std::span<const double> usualSampleRates();
std::span<const uint32_t> usualSampleBits();
std::span<const uint32_t> usualLayoutTags();
std::span<const char* const> usualTexts(TextSetting setting);

}  // namespace premoov::fuzzing
