// Feeds arbitrary pair sequences to the CEA-608 decoder and checks what it promises whatever the
// stream: at most two captions a pair; a caption's text is UTF-8 of at most 15 rows of 32
// characters; a caption never ends before it starts when the pairs come in time order; the
// caption left at the end is answered once; the SubRip text of the captions is written.
//
// Input: records of three bytes, the pair (parity bits included) and the frames since the pair
// before (0 to 255, at 29.97 frames a second).
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "captions/cea608_decoder.h"
#include "captions/srt_writer.h"

namespace {

using premoov::CaptionCue;
using premoov::CEA608Decoder;

void check(bool condition) {
  if (!condition) std::abort();
}

// Each character is at most 3 bytes of UTF-8 in the caption sets.
constexpr size_t kMaxTextBytes =
    CEA608Decoder::kRows * CEA608Decoder::kColumns * 3 + (CEA608Decoder::kRows - 1);

bool isUtf8(const std::string& text) {
  size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<uint8_t>(text[i]);
    const size_t length = lead < 0x80 ? 1 : (lead >> 5) == 6 ? 2 : (lead >> 4) == 14 ? 3 : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (size_t k = 1; k < length; ++k) {
      if ((static_cast<uint8_t>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

void checkCue(const CaptionCue& cue) {
  check(cue.text.size() <= kMaxTextBytes);
  check(isUtf8(cue.text));
  size_t rows = 1;
  for (char c : cue.text) rows += c == '\n';
  check(rows <= static_cast<size_t>(CEA608Decoder::kRows));
  check(cue.start.isValid() && cue.end.isValid());
  check(cue.start.timescale == 30000 && cue.end.timescale == 30000);
  check(cue.start.value <= cue.end.value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::span<const uint8_t> input(data, size);
  CEA608Decoder decoder;
  std::vector<CaptionCue> cues;
  int64_t frame = 0;
  for (size_t at = 0; at + 3 <= input.size(); at += 3) {
    frame += input[at + 2];
    const auto out =
        decoder.decodePair({input[at], input[at + 1]}, premoov::CMTimeMake(frame * 1001, 30000));
    check(out.size() <= 2);
    for (const CaptionCue& cue : out) checkCue(cue);
    cues.insert(cues.end(), out.begin(), out.end());
  }
  if (const auto last = decoder.finish()) {
    checkCue(*last);
    cues.push_back(*last);
  }
  check(!decoder.finish().has_value());
  check(premoov::srtFromCues(cues).empty() == cues.empty());
  return 0;
}
