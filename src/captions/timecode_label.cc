#include "captions/timecode_label.h"

#include <array>
#include <numeric>

#include "base/log.h"
#include "captions/scc_messages.h"

namespace premoov {
namespace {

struct RateCounting {
  int64_t value;
  int64_t timescale;
  TimecodeCounting counting;
};

// The caption frame rates, as reduced fractions of a second per frame.
constexpr std::array<RateCounting, 8> kCountings{{
    {1001, 24000, {24, 0}},
    {1, 24, {24, 0}},
    {1, 25, {25, 0}},
    {1001, 30000, {30, 2}},
    {1, 30, {30, 0}},
    {1, 50, {50, 0}},
    {1001, 60000, {60, 4}},
    {1, 60, {60, 0}},
}};

constexpr int64_t kSecondsPerDay = 86'400;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

int32_t twoDigits(std::string_view text, size_t at) {
  return (text[at] - '0') * 10 + (text[at + 1] - '0');
}

// Frames in ten minutes and in one minute of drop-frame labels.
int64_t dropFramesPerTenMinutes(const TimecodeCounting& c) {
  return 600 * int64_t{c.labelsPerSecond} - 9 * int64_t{c.droppedPerMinute};
}
int64_t dropFramesPerMinute(const TimecodeCounting& c) {
  return 60 * int64_t{c.labelsPerSecond} - c.droppedPerMinute;
}

}  // namespace

std::optional<TimecodeCounting> timecodeCountingForFrameDuration(const CMTime& frameDuration) {
  if (frameDuration.value <= 0 || frameDuration.timescale <= 0) return std::nullopt;
  const int64_t divisor = std::gcd(frameDuration.value, int64_t{frameDuration.timescale});
  const int64_t value = frameDuration.value / divisor;
  const int64_t timescale = frameDuration.timescale / divisor;
  for (const RateCounting& rate : kCountings) {
    if (rate.value == value && rate.timescale == timescale) return rate.counting;
  }
  return std::nullopt;
}

std::variant<TimecodeLabel, TimecodeProblem> parseTimecodeLabel(std::string_view text,
                                                                const TimecodeCounting& counting) {
  constexpr std::string_view kShape = "00:00:00:00";
  for (size_t i = 0; i < kShape.size(); ++i) {
    const bool fits =
        i < text.size() &&
        (kShape[i] == '0' ? isDigit(text[i])
                          : (text[i] == ':' || (i == 8 && (text[i] == ';' || text[i] == '.'))));
    if (!fits) return TimecodeProblem{i, quotedInput(text) + std::string(kNotTimecode)};
  }
  if (text.size() != kShape.size()) {
    return TimecodeProblem{kShape.size(), quotedInput(text) + std::string(kNotTimecode)};
  }
  TimecodeLabel label{twoDigits(text, 0), twoDigits(text, 3), twoDigits(text, 6),
                      twoDigits(text, 9), text[8] != ':'};
  const auto outOfRange = [](size_t column, const char* field, int32_t value, int32_t last) {
    return TimecodeProblem{column, stringWithFormat("%s %02d", field, value) +
                                       std::string(kTimecodeOutOfRange) +
                                       stringWithFormat("00 to %02d", last)};
  };
  if (label.hours > 23) return outOfRange(0, "hours", label.hours, 23);
  if (label.minutes > 59) return outOfRange(3, "minutes", label.minutes, 59);
  if (label.seconds > 59) return outOfRange(6, "seconds", label.seconds, 59);
  if (label.frames >= counting.labelsPerSecond) {
    return outOfRange(9, "frames", label.frames, counting.labelsPerSecond - 1);
  }
  if (label.dropFrame) {
    if (counting.droppedPerMinute == 0) return TimecodeProblem{8, std::string(kNoDropFrameAtRate)};
    if (label.seconds == 0 && label.minutes % 10 != 0 && label.frames < counting.droppedPerMinute) {
      return TimecodeProblem{9, labelText(label) + std::string(kSkippedByDropFrame)};
    }
  }
  return label;
}

int64_t frameIndexOfLabel(const TimecodeLabel& label, const TimecodeCounting& counting) {
  const int64_t minutes = int64_t{label.hours} * 60 + label.minutes;
  const int64_t counted = (minutes * 60 + label.seconds) * counting.labelsPerSecond + label.frames;
  if (!label.dropFrame) return counted;
  return counted - int64_t{counting.droppedPerMinute} * (minutes - minutes / 10);
}

TimecodeLabel labelOfFrameIndex(int64_t frameIndex, const TimecodeCounting& counting,
                                bool dropFrame) {
  const bool drop = dropFrame && counting.droppedPerMinute > 0;
  const int64_t perDay = framesPerDay(counting, drop);
  int64_t counted = perDay > 0 ? ((frameIndex % perDay) + perDay) % perDay : 0;
  if (drop) {
    // Add back the label numbers skipped before this frame: 9 skips per whole ten minutes, and
    // one per whole minute after the first of the current ten.
    const int64_t dropped = counting.droppedPerMinute;
    const int64_t tens = counted / dropFramesPerTenMinutes(counting);
    const int64_t rest = counted % dropFramesPerTenMinutes(counting);
    counted += 9 * dropped * tens;
    if (rest > dropped) counted += dropped * ((rest - dropped) / dropFramesPerMinute(counting));
  }
  const int64_t perSecond = counting.labelsPerSecond > 0 ? counting.labelsPerSecond : 1;
  const int64_t seconds = counted / perSecond;
  return TimecodeLabel{static_cast<int32_t>(seconds / 3600),
                       static_cast<int32_t>(seconds / 60 % 60), static_cast<int32_t>(seconds % 60),
                       static_cast<int32_t>(counted % perSecond), drop};
}

std::string labelText(const TimecodeLabel& label) {
  return stringWithFormat("%02d:%02d:%02d%c%02d", label.hours, label.minutes, label.seconds,
                          label.dropFrame ? ';' : ':', label.frames);
}

int64_t framesPerDay(const TimecodeCounting& counting, bool dropFrame) {
  if (dropFrame && counting.droppedPerMinute > 0) {
    return kSecondsPerDay / 600 * dropFramesPerTenMinutes(counting);
  }
  return kSecondsPerDay * counting.labelsPerSecond;
}

}  // namespace premoov
