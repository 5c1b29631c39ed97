#pragma once

#include <span>
#include <string>

#include "captions/cea608_decoder.h"
#include "media/cm_time.h"

namespace premoov {

// A time as SubRip writes it, "hh:mm:ss,mmm", to the nearest millisecond. Hours take more digits
// past 99; a negative, infinite or invalid time is written as zero.
std::string srtTimestamp(const CMTime& time);

// Captions as a SubRip file: each numbered from 1, then "start --> end", its text (rows on lines
// of their own, blank rows left out) and a blank line.
std::string srtFromCues(std::span<const CaptionCue> cues);

}  // namespace premoov
