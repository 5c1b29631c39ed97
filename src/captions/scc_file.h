#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "captions/cc_utilities.h"
#include "captions/timecode_label.h"

namespace premoov {

// One field-1 CEA-608 pair of an SCC file (parity bits as the file gave them) and the frame it
// goes out on, counted from the frame labelled 00:00:00:00.
struct SccPair {
  int64_t frame = 0;
  CEA608Pair pair{};

  bool operator==(const SccPair&) const = default;
};

struct SccCaptions {
  std::vector<SccPair> pairs;  // frames strictly increasing
  size_t captionLines = 0;     // lines with a timecode
  // Lines that began before the previous line's words were all out: their words followed those
  // instead of going out at their own timecode.
  size_t delayedLines = 0;
};

// Reads an SCC file (Scenarist's exchange format for line-21 captions):
//
//   Scenarist_SCC V1.0
//
//   00:00:01;02<TAB>9420 9420 94ae 94ae 9452 9452 97a1 97a1 c845 ecec 6f80 942f 942f
//
// after the header line, lines of a timecode (';' or '.' before the frames: drop-frame labels) and
// the words that go out from that frame on, one a frame, each a field-1 byte pair in four
// hexadecimal digits. Blank lines are skipped; CRLF line ends and a leading UTF-8 byte order mark
// are taken. A line whose timecode comes before the previous line's words are all out has its
// words follow them, one a frame, as caption encoders send a backlog, so that every pair keeps
// its own frame and the order of the file.
//
// `frameDuration` must be one of the caption frame rates (timecodeCountingForFrameDuration).
// Fails with "line N, column C: <why>" for the first problem found. Memory follows the file's
// size (at most one pair per 5 bytes of text), never a timecode's value.
Result<SccCaptions> readSccFile(std::string_view text, const CMTime& frameDuration);

}  // namespace premoov
