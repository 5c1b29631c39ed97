#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "media/cm_time.h"

namespace premoov {

// How timecode labels count the frames of a video frame duration: 30 labels a second at
// 30000/1001 and 30, 60 at 60000/1001 and 60, and so on. At the two NTSC rates drop-frame
// labels skip the first 2 (29.97) or 4 (59.94) frame numbers of every minute not divisible by 10,
// so that labels keep to the clock (SMPTE ST 12-1).
struct TimecodeCounting {
  int32_t labelsPerSecond = 0;
  int32_t droppedPerMinute = 0;  // 0: the rate has no drop-frame labels
};

// The counting of one of the caption frame rates (1001/24000, 1/24, 1/25, 1001/30000, 1/30, 1/50,
// 1001/60000, 1/60, as any multiple of these); nothing for any other duration.
std::optional<TimecodeCounting> timecodeCountingForFrameDuration(const CMTime& frameDuration);

// "HH:MM:SS:FF", or "HH:MM:SS;FF" (also "HH:MM:SS.FF") for drop-frame labels.
struct TimecodeLabel {
  int32_t hours = 0;
  int32_t minutes = 0;
  int32_t seconds = 0;
  int32_t frames = 0;
  bool dropFrame = false;

  bool operator==(const TimecodeLabel&) const = default;
};

// Why a text is not a label of a counting, and where: `column` is the 0-based offset in the text
// of the field at fault.
struct TimecodeProblem {
  size_t column = 0;
  std::string message;
};

// The label spelled by exactly the 11 characters of `text`, checked against `counting`: hours 0 to
// 23, minutes and seconds 0 to 59, frames below the labels a second, drop-frame labels only where
// the rate has them and never one that drop-frame counting skips.
std::variant<TimecodeLabel, TimecodeProblem> parseTimecodeLabel(std::string_view text,
                                                                const TimecodeCounting& counting);

// The frame a valid label names, counted from 00:00:00:00 (frame 0).
int64_t frameIndexOfLabel(const TimecodeLabel& label, const TimecodeCounting& counting);

// The label of frame `frameIndex` (0 up to a day of frames), drop-frame where asked and the rate
// has it; frames past a day wrap to 00:00:00:00.
TimecodeLabel labelOfFrameIndex(int64_t frameIndex, const TimecodeCounting& counting,
                                bool dropFrame);

// "HH:MM:SS:FF" or "HH:MM:SS;FF".
std::string labelText(const TimecodeLabel& label);

// The frames a day of labels holds: 86,400 x the labels a second, less the drop-frame skips.
int64_t framesPerDay(const TimecodeCounting& counting, bool dropFrame);

}  // namespace premoov
