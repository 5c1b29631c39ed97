// A small reader of Scenarist caption files for the decoder's tests: the byte pairs of each line,
// timed as FFmpeg's SCC reader times them, so that our decoder and FFmpeg's see the same input.
#pragma once

#include <charconv>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "captions/cc_utilities.h"
#include "media/cm_time.h"

namespace premoov::testing {

struct TimedPair {
  CMTime time;
  CEA608Pair pair;
};

// The pairs of "Scenarist_SCC V1.0" text, each line "hh:mm:ss;ff" (or ':'), a tab and words of
// four hex digits. Every word of a line gets the line's time: hh:mm:ss plus 33 ms a frame, in
// milliseconds, which is how FFmpeg reads it (drop-frame or not). Nothing for a malformed line.
inline std::optional<std::vector<TimedPair>> readSccPairs(const std::string& text) {
  std::istringstream lines(text);
  std::string line;
  if (!std::getline(lines, line) || line.rfind("Scenarist_SCC V1.0", 0) != 0) return std::nullopt;
  std::vector<TimedPair> pairs;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    int hours = 0, minutes = 0, seconds = 0, frames = 0;
    char separator = 0;
    std::istringstream fields(line);
    char colon1 = 0, colon2 = 0;
    if (!(fields >> hours >> colon1 >> minutes >> colon2 >> seconds >> separator >> frames) ||
        colon1 != ':' || colon2 != ':' || (separator != ':' && separator != ';')) {
      return std::nullopt;
    }
    const CMTime time =
        CMTimeMake((hours * 3600LL + minutes * 60LL + seconds) * 1000LL + frames * 33LL, 1000);
    std::string word;
    while (fields >> word) {
      unsigned value = 0;
      const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value, 16);
      if (word.size() != 4 || error != std::errc() || end != word.data() + word.size()) {
        return std::nullopt;
      }
      pairs.push_back({time, {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)}});
    }
  }
  return pairs;
}

}  // namespace premoov::testing
