#include "captions/srt_writer.h"

#include "base/log.h"

namespace premoov {

std::string srtTimestamp(const CMTime& time) {
  const CMTime ms = CMTimeConvertScale(
      time, 1000, CMTimeRoundingMethod::kCMTimeRoundingMethod_RoundHalfAwayFromZero);
  const bool finite = (ms.flags & (kCMTimeFlags_PositiveInfinity | kCMTimeFlags_NegativeInfinity |
                                   kCMTimeFlags_Indefinite)) == 0;
  const int64_t total = ms.isValid() && finite && ms.value > 0 ? ms.value : 0;
  return stringWithFormat("%02lli:%02lli:%02lli,%03lli", static_cast<long long>(total / 3600000),
                          static_cast<long long>(total / 60000 % 60),
                          static_cast<long long>(total / 1000 % 60),
                          static_cast<long long>(total % 1000));
}

std::string srtFromCues(std::span<const CaptionCue> cues) {
  std::string srt;
  size_t number = 0;
  for (const CaptionCue& cue : cues) {
    srt += std::to_string(++number) + '\n';
    srt += srtTimestamp(cue.start) + " --> " + srtTimestamp(cue.end) + '\n';
    // A blank line would end the caption for SubRip readers: blank rows are left out.
    size_t at = 0;
    while (at <= cue.text.size()) {
      size_t end = cue.text.find('\n', at);
      if (end == std::string::npos) end = cue.text.size();
      if (end > at) srt.append(cue.text, at, end - at).push_back('\n');
      at = end + 1;
    }
    srt += '\n';
  }
  return srt;
}

}  // namespace premoov
