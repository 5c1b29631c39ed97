#include "captions/cea608_decoder.h"

#include <algorithm>
#include <bit>
#include <span>

namespace premoov {
namespace {

bool hasOddParity(uint8_t byte) { return std::popcount(byte) % 2 == 1; }

// Row (from 0, top) of a preamble address code, by the bits that select it: bits 0 to 2 of the
// first byte and bit 5 of the second. -1: no row (0x10 with a second byte from 0x60).
constexpr std::array<int8_t, 16> kPreambleRows{10, -1, 0, 1, 2, 3, 11, 12,
                                               13, 14, 4, 5, 6, 7, 8,  9};

constexpr uint8_t kSpace = 0x20;

// Pen colours of preamble address and mid-row codes, in code order.
constexpr std::array<CEA608Decoder::Colour, 7> kColours{
    CEA608Decoder::Colour::white,  CEA608Decoder::Colour::green, CEA608Decoder::Colour::blue,
    CEA608Decoder::Colour::cyan,   CEA608Decoder::Colour::red,   CEA608Decoder::Colour::yellow,
    CEA608Decoder::Colour::magenta};

// `base` plus `value` units of 1/`timescale` s, in the base's timescale; the base itself when
// the sum cannot be had.
CMTime later(const CMTime& base, int64_t value, CMTimeScale timescale) {
  if (!base.isValid() || base.timescale <= 0) return base;
  const CMTime step =
      CMTimeConvertScale(CMTimeMake(value, timescale), base.timescale,
                         CMTimeRoundingMethod::kCMTimeRoundingMethod_RoundHalfAwayFromZero);
  CMTime sum = base;
  if (!step.isValid() || __builtin_add_overflow(base.value, step.value, &sum.value)) return base;
  return sum;
}

}  // namespace

std::vector<CaptionCue> CEA608Decoder::decodePair(const CEA608Pair& pair, const CMTime& time) {
  std::vector<CaptionCue> cues;
  if (!last_) last_ = Capture{.text = {}, .shown = false, .time = time, .heldPopOn = false};
  // A byte with a parity error: when it is the second, the whole pair is dropped (a control code
  // is sent twice, so its repeat still arrives); when only the first is wrong, the pair is taken
  // as characters and that one shows as a solid block, as CEA-608 asks of a character received
  // in error.
  if (!hasOddParity(pair[1])) return cues;
  uint8_t first = pair[0] & 0x7F;
  const uint8_t second = pair[1] & 0x7F;
  if (!hasOddParity(pair[0])) first = 0x7F;
  // Null pairs are padding: they do nothing, not even separate a control code from its repeat.
  if (first == 0 && second == 0) return cues;

  if (first >= 0x10 && first <= 0x1F) {
    // Control codes are sent twice in a row so that one survives an error: the second of two
    // identical pairs is skipped, and a third counts again.
    const std::array<uint8_t, 2> control{first, second};
    if (lastControl_ == control) {
      lastControl_.reset();
      return cues;
    }
    lastControl_ = control;
    // The channel bit of a control code selects the caption channel that the pairs after it
    // belong to, until a control code of the other channel comes.
    channelOne_ = (first & 0x08) == 0;
    if (channelOne_) actOnControl(first, second, time, cues);
    return cues;
  }
  lastControl_.reset();
  // 0x01 to 0x0F begin extended data service packets, not captions.
  if (first < kSpace || !channelOne_ || style_ == Style::text) return cues;
  printable(first, second);
  return cues;
}

void CEA608Decoder::actOnControl(uint8_t first, uint8_t second, const CMTime& time,
                                 std::vector<CaptionCue>& cues) {
  const uint8_t code = first & 0x17;  // the channel-one code
  // The second field's codes of miscellaneous commands (0x15) are taken as the first field's.
  if ((code == 0x14 || code == 0x15) && second >= 0x20 && second <= 0x2F) {
    actOnMiscellaneous(second, time, cues);
    return;
  }
  // Text-mode data is another service than captions.
  if (style_ == Style::text) return;
  if (second >= 0x40 && (code != 0x10 || second <= 0x5F)) {
    preambleAddress(code, second);
  } else if (code == 0x11 && second >= 0x20 && second <= 0x2F) {
    pen_ = {.colour = second >= 0x2E ? Colour::white : kColours[(second - 0x20) >> 1],
            .italics = second >= 0x2E,
            .underline = (second & 1) != 0};
    midRow();
  } else if (code == 0x17 && (second == 0x2E || second == 0x2F)) {
    pen_ = {.colour = Colour::black, .italics = false, .underline = second == 0x2F};
    midRow();
  } else if (code == 0x11 && second >= 0x30 && second <= 0x3F) {
    specialCharacter(second);
  } else if (code == 0x12 && second >= 0x20 && second <= 0x3F) {
    extendedCharacter(CharacterSet::extSpanishFrench, second);
  } else if (code == 0x13 && second >= 0x20 && second <= 0x3F) {
    extendedCharacter(CharacterSet::extPortugueseGerman, second);
  } else if (code == 0x17 && second >= 0x21 && second <= 0x23) {
    tabOffset(second - 0x20);
  }
  // Background attributes (0x10 0x20-0x2F, 0x17 0x2D) and the optional codes of 0x17 change no
  // text.
}

void CEA608Decoder::actOnMiscellaneous(uint8_t second, const CMTime& time,
                                       std::vector<CaptionCue>& cues) {
  const bool inText = style_ == Style::text;
  switch (second) {
    case 0x20:  // resume caption loading
      style_ = Style::popOn;
      break;
    case 0x21:
      if (!inText) backspace();
      break;
    case 0x24:
      if (!inText) deleteToEndOfRow();
      break;
    case 0x25:  // roll-up, 2 to 4 rows
    case 0x26:
    case 0x27:
      if (style_ == Style::popOn || style_ == Style::paintOn) {
        // Entering roll-up from another style erases both memories (and so ends what was on
        // display). An empty display does not change: the caption to come is timed from the
        // change that emptied it.
        if (style_ == Style::popOn ? popOnCaptionOnDisplay() : displayShowsText()) {
          captureDisplay(time, cues);
        }
        memories_ = {};
      }
      style_ = Style::rollUp;
      rollUpRows_ = second - 0x23;
      break;
    case 0x29:  // resume direct captioning
      // A pop-on caption on display ends as painting begins.
      if (style_ == Style::popOn && popOnCaptionOnDisplay()) captureDisplay(time, cues);
      style_ = Style::paintOn;
      break;
    case 0x2A:  // text restart
    case 0x2B:  // resume text display
      style_ = Style::text;
      break;
    case 0x2C: eraseDisplayedMemory(time, cues); break;
    case 0x2D:
      if (!inText) carriageReturn(time, cues);
      break;
    case 0x2E:  // erase non-displayed memory
      memories_[1 - displayed_] = {};
      break;
    case 0x2F: endOfCaption(time, cues); break;
    default:  // alarms, flash on: nothing to show in text
      break;
  }
}

void CEA608Decoder::preambleAddress(uint8_t first, uint8_t second) {
  const int row = kPreambleRows[((first << 1) & 0x0E) | ((second >> 5) & 1)];
  if (row < 0) return;
  const uint8_t attributes = second & 0x1F;
  const bool indented = (attributes & 0x10) != 0;
  const uint8_t style = (attributes & 0x0E) >> 1;
  pen_ = {.colour = indented || style == 7 ? Colour::white : kColours[style],
          .italics = !indented && style == 7,
          .underline = (attributes & 1) != 0};
  row_ = row;
  column_ = 0;
  // The indent is laid down as spaces, so that rows of one caption keep their alignment.
  const int indent = indented ? style * 4 : 0;
  for (int i = 0; i < indent; ++i) put(kSpace, CharacterSet::basic);
}

void CEA608Decoder::midRow() {
  // A mid-row code takes a cell of its own, shown as a space.
  writingMemory()[row_].inUse = true;
  put(kSpace, CharacterSet::basic);
}

void CEA608Decoder::tabOffset(int columns) {
  for (int i = 0; i < columns; ++i) {
    writingMemory()[row_].inUse = true;
    put(kSpace, CharacterSet::basic);
    endRowAtCursor();
  }
}

void CEA608Decoder::printable(uint8_t first, uint8_t second) {
  writingMemory()[row_].inUse = true;
  put(first, CharacterSet::basic);
  if (second >= kSpace) put(second, CharacterSet::basic);
  endRowAtCursor();
}

void CEA608Decoder::specialCharacter(uint8_t second) {
  writingMemory()[row_].inUse = true;
  put(second, CharacterSet::special);
  endRowAtCursor();
}

void CEA608Decoder::extendedCharacter(CharacterSet set, uint8_t second) {
  // An extended character follows the basic character that stands in for it on older decoders,
  // and replaces it.
  writingMemory()[row_].inUse = true;
  if (column_ > 0) --column_;
  put(second, set);
  endRowAtCursor();
}

void CEA608Decoder::backspace() {
  if (column_ == 0) return;
  --column_;
  writingMemory()[row_].cells[column_] = {};
}

void CEA608Decoder::deleteToEndOfRow() { endRowAtCursor(); }

void CEA608Decoder::carriageReturn(const CMTime& time, std::vector<CaptionCue>& cues) {
  // In pop-on style the display does not change: only the memory being loaded rolls.
  if (style_ != Style::popOn) captureDisplay(time, cues);
  Memory& memory = writingMemory();
  // The rows kept are the roll-up window that ends at the cursor's row; the others are erased,
  // the window moves up one row and the cursor's row starts blank.
  const int kept = std::min(row_ + 1, rollUpRows_);
  const int top = row_ - kept + 1;
  for (int row = 0; row < kRows; ++row) {
    if (row < top || row > row_) memory[row] = {};
  }
  for (int row = top; row < row_; ++row) memory[row] = memory[row + 1];
  memory[row_] = {};
  column_ = 0;
}

void CEA608Decoder::endOfCaption(const CMTime& time, std::vector<CaptionCue>& cues) {
  // The memories swap: the caption loaded goes on display. It is taken whole at once, and the
  // memory it was shown from is left blank, so the next caption starts from a blank memory
  // whether or not the stream erases it.
  displayed_ = 1 - displayed_;
  captureDisplay(time, cues);
  displayedMemory() = {};
  column_ = 0;
}

void CEA608Decoder::eraseDisplayedMemory(const CMTime& time, std::vector<CaptionCue>& cues) {
  captureDisplay(time, cues);
  displayedMemory() = {};
}

void CEA608Decoder::put(uint8_t code, CharacterSet set) {
  if (column_ >= kColumns) return;  // beyond the last column nothing is shown
  writingMemory()[row_].cells[column_] = {.code = code, .set = set};
  ++column_;
}

void CEA608Decoder::endRowAtCursor() {
  auto& cells = writingMemory()[row_].cells;
  for (int column = column_; column < kColumns; ++column) cells[column] = {};
}

CEA608Decoder::Memory& CEA608Decoder::writingMemory() {
  return style_ == Style::popOn ? memories_[1 - displayed_] : memories_[displayed_];
}

bool CEA608Decoder::displayShowsText() const {
  const Memory& display = memories_[displayed_];
  return std::any_of(display.begin(), display.end(), [](const Row& row) { return row.inUse; });
}

bool CEA608Decoder::popOnCaptionOnDisplay() const {
  return last_ && last_->heldPopOn && last_->shown;
}

void CEA608Decoder::captureDisplay(const CMTime& time, std::vector<CaptionCue>& cues) {
  const bool shown = displayShowsText();
  Capture capture{.text = displayText(), .shown = shown, .time = time, .heldPopOn = false};
  if (style_ == Style::popOn) {
    // A pop-on caption is complete once on display; it is answered when it leaves it.
    if (last_->heldPopOn && last_->shown) cues.push_back({last_->time, time, last_->text});
    capture.heldPopOn = true;
  } else if (shown) {
    cues.push_back({last_->time, time, capture.text});
  }
  previousTime_ = last_->time;
  last_ = std::move(capture);
}

std::string CEA608Decoder::displayText() const {
  const Memory& display = memories_[displayed_];
  auto leadingSpaces = [](const Row& row) {
    int count = 0;
    while (count < kColumns && row.cells[count].set == CharacterSet::basic &&
           row.cells[count].code == kSpace) {
      ++count;
    }
    return count;
  };
  // The indent common to the rows is dropped, counted as FFmpeg counts it: the smallest indent
  // among the rows from the last row that has none.
  int indent = 0;
  for (const Row& row : display) {
    if (!row.inUse) continue;
    const int spaces = leadingSpaces(row);
    if (indent == 0 || spaces < indent) indent = spaces;
  }
  std::string text;
  bool firstRow = true;
  for (const Row& row : display) {
    if (!row.inUse) continue;
    if (!firstRow) text += '\n';
    firstRow = false;
    for (int column = std::min(indent, leadingSpaces(row)); column < kColumns; ++column) {
      const Cell& cell = row.cells[column];
      std::span<const uint8_t> utf8;
      switch (cell.set) {
        case CharacterSet::none:
          column = kColumns;  // the row ends at its first empty cell
          continue;
        case CharacterSet::basic:
          utf8 = ZPRCCUtilities::dataWith608ASCIICharacter(cell.code);
          break;
        case CharacterSet::special:
          utf8 = ZPRCCUtilities::dataWith608SpecialCharacter(cell.code);
          break;
        case CharacterSet::extSpanishFrench:
          utf8 = ZPRCCUtilities::dataWith608ExtSpanishFrenchCharacter(cell.code);
          break;
        case CharacterSet::extPortugueseGerman:
          utf8 = ZPRCCUtilities::dataWith608ExtPortugueseGermanDanishCharacter(cell.code);
          break;
      }
      text.append(utf8.begin(), utf8.end());
    }
  }
  return text;
}

std::optional<CaptionCue> CEA608Decoder::finish() {
  if (!last_ || !last_->heldPopOn || !last_->shown) return std::nullopt;
  CaptionCue cue{.start = last_->time, .end = last_->time, .text = last_->text};
  last_->heldPopOn = false;
  const CMTime previous =
      CMTimeConvertScale(previousTime_, cue.start.timescale,
                         CMTimeRoundingMethod::kCMTimeRoundingMethod_RoundHalfAwayFromZero);
  int64_t lasted = 0;
  if (previous.isValid() && cue.start.isValid() &&
      !__builtin_sub_overflow(cue.start.value, previous.value, &lasted) && lasted > 0) {
    cue.end = later(cue.start, lasted, cue.start.timescale);
  } else {
    // No earlier change to measure by: 20 ms a byte of text, as FFmpeg gives such a caption.
    cue.end = later(cue.start, static_cast<int64_t>(cue.text.size()) * 20, 1000);
  }
  return cue;
}

}  // namespace premoov
