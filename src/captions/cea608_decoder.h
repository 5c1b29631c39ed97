#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "captions/cc_utilities.h"
#include "media/cm_time.h"

namespace premoov {

// One caption as it was on display: its rows, top to bottom, joined with '\n' (UTF-8).
struct CaptionCue {
  CMTime start;
  CMTime end;
  std::string text;
  bool operator==(const CaptionCue&) const = default;
};

// Decodes the first caption channel (CC1) of CEA-608 field-1 byte pairs into timed captions, one
// pair at a time, as a recording carries one pair per video frame.
//
// A caption is timed from one change of the display to the next, as FFmpeg's decoder times it, so
// that our captions and FFmpeg's agree on the same stream:
// - pop-on: a caption goes on display at its end-of-caption and is answered when the next change
//   (the next end-of-caption, an erase of the display) takes it off;
// - roll-up and paint-on: each carriage return and each erase of the display answers what was on
//   display then, timed from the change before it;
// - at the end of the stream, `finish()` answers the pop-on caption still on display.
// Where FFmpeg's decoder departs from CEA-608 in ways that change the text, CEA-608 is followed:
// a third identical control pair counts again; the second channel's pairs are not shown;
// backspace and erase of non-displayed memory act; text-mode data is not shown; an erased or
// rolled-off row holds nothing (FFmpeg can show characters left behind); a change to roll-up
// or paint-on style ends a pop-on caption on display; a carriage return in pop-on style leaves
// the display alone; the first caption is timed from the stream's first pair rather than zero.
// Memory is fixed (two caption memories of 15 rows of 32 columns) whatever the input.
class CEA608Decoder {
 public:
  static constexpr int kRows = 15;
  static constexpr int kColumns = 32;

  enum class Colour : uint8_t { white, green, blue, cyan, red, yellow, magenta, black };
  // The pen set by the last preamble address or mid-row code. Captions are answered as plain
  // text, so it changes no text.
  struct Pen {
    Colour colour = Colour::white;
    bool italics = false;
    bool underline = false;
    bool operator==(const Pen&) const = default;
  };

  // Feeds one pair, parity bits included, shown at `time`; answers the captions it completed (at
  // most two). Times are expected in order; they are taken as given.
  std::vector<CaptionCue> decodePair(const CEA608Pair& pair, const CMTime& time);
  // The pop-on caption still on display at the end of the stream, if any. It is given as long a
  // time on display as the change before it lasted (FFmpeg's rule), so it keeps a duration.
  std::optional<CaptionCue> finish();

  const Pen& pen() const { return pen_; }

 private:
  enum class Style : uint8_t { popOn, paintOn, rollUp, text };
  // Which character set a cell's code belongs to.
  enum class CharacterSet : uint8_t { none, basic, special, extSpanishFrench, extPortugueseGerman };
  struct Cell {
    uint8_t code = 0;
    CharacterSet set = CharacterSet::none;  // none: an empty cell, where the row's text ends
  };
  struct Row {
    std::array<Cell, kColumns> cells{};
    bool inUse = false;
  };
  using Memory = std::array<Row, kRows>;
  // The text last taken from the display, and when.
  struct Capture {
    std::string text;
    bool shown = false;  // some row was in use
    CMTime time;
    bool heldPopOn = false;  // a pop-on caption on display, answered at the next change
  };

  void actOnControl(uint8_t first, uint8_t second, const CMTime& time,
                    std::vector<CaptionCue>& cues);
  void actOnMiscellaneous(uint8_t second, const CMTime& time, std::vector<CaptionCue>& cues);
  void preambleAddress(uint8_t first, uint8_t second);
  void midRow();
  void tabOffset(int columns);
  void printable(uint8_t first, uint8_t second);
  void specialCharacter(uint8_t second);
  void extendedCharacter(CharacterSet set, uint8_t second);
  void backspace();
  void deleteToEndOfRow();
  void carriageReturn(const CMTime& time, std::vector<CaptionCue>& cues);
  void endOfCaption(const CMTime& time, std::vector<CaptionCue>& cues);
  void eraseDisplayedMemory(const CMTime& time, std::vector<CaptionCue>& cues);

  // Writes one cell at the cursor and moves it right; nothing beyond the last column.
  void put(uint8_t code, CharacterSet set);
  // Ends the row at the cursor: the cells from it on are emptied.
  void endRowAtCursor();
  Memory& writingMemory();
  Memory& displayedMemory() { return memories_[displayed_]; }
  // Takes the display's text at `time` and answers the caption that this change completes.
  void captureDisplay(const CMTime& time, std::vector<CaptionCue>& cues);
  std::string displayText() const;
  // Roll-up and paint-on show their displayed memory; a pop-on caption is held from the moment
  // it goes on display, its memory already blank.
  bool displayShowsText() const;
  bool popOnCaptionOnDisplay() const;

  std::array<Memory, 2> memories_{};
  int displayed_ = 0;
  Style style_ = Style::rollUp;  // a stream that starts without a style command rolls up
  int rollUpRows_ = 2;
  int row_ = 10;  // cursor, from 0 (top row)
  int column_ = 0;
  bool channelOne_ = true;
  std::optional<std::array<uint8_t, 2>> lastControl_;
  std::optional<Capture> last_;
  CMTime previousTime_;  // of the capture before last_
  Pen pen_;
};

}  // namespace premoov
