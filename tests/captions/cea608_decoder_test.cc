// The CEA-608 decoder of the first caption channel: each caption style and each command, fed one
// pair a frame as a recording carries them.

#include "captions/cea608_decoder.h"

#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <string_view>
#include <vector>

namespace premoov {
namespace {

uint8_t withParity(uint8_t byte) {
  byte &= 0x7F;
  return std::popcount(byte) % 2 == 0 ? byte | 0x80 : byte;
}

CMTime frameTime(int64_t frame) { return CMTimeMake(frame, 30); }

CaptionCue cue(int64_t startFrame, int64_t endFrame, std::string text) {
  return {frameTime(startFrame), frameTime(endFrame), std::move(text)};
}

// Control codes of channel one (first byte, second byte).
constexpr std::array<uint8_t, 2> kRCL{0x14, 0x20}, kBS{0x14, 0x21}, kDER{0x14, 0x24},
    kRU2{0x14, 0x25}, kRU3{0x14, 0x26}, kRDC{0x14, 0x29}, kRTD{0x14, 0x2B}, kEDM{0x14, 0x2C},
    kCR{0x14, 0x2D}, kENM{0x14, 0x2E}, kEOC{0x14, 0x2F}, kTO1{0x17, 0x21}, kTO2{0x17, 0x22},
    kRow15{0x14, 0x60}, kRow14{0x14, 0x40}, kRow1{0x11, 0x40};

// A preamble address code of channel one: row 1 to 15, indent 0 to 28.
std::array<uint8_t, 2> pac(int row, int indent) {
  static constexpr std::array<std::array<uint8_t, 2>, 15> kRows{{{0x11, 0x40},
                                                                 {0x11, 0x60},
                                                                 {0x12, 0x40},
                                                                 {0x12, 0x60},
                                                                 {0x15, 0x40},
                                                                 {0x15, 0x60},
                                                                 {0x16, 0x40},
                                                                 {0x16, 0x60},
                                                                 {0x17, 0x40},
                                                                 {0x17, 0x60},
                                                                 {0x10, 0x40},
                                                                 {0x13, 0x40},
                                                                 {0x13, 0x60},
                                                                 {0x14, 0x40},
                                                                 {0x14, 0x60}}};
  auto code = kRows.at(row - 1);
  code[1] = static_cast<uint8_t>(code[1] + 0x10 + indent / 4 * 2);
  return code;
}

// Feeds pairs one a frame and keeps the captions answered.
class Stream {
 public:
  // One pair, parity added.
  void pair(uint8_t first, uint8_t second) { raw(withParity(first), withParity(second)); }
  // One pair as given.
  void raw(uint8_t first, uint8_t second) {
    const auto out = decoder.decodePair({first, second}, frameTime(frame++));
    EXPECT_LE(out.size(), 2u);
    cues.insert(cues.end(), out.begin(), out.end());
  }
  // A control code as streams send it: twice.
  void control(std::array<uint8_t, 2> code) {
    once(code);
    once(code);
  }
  void once(std::array<uint8_t, 2> code) { pair(code[0], code[1]); }
  // Text two characters a pair.
  void text(std::string_view characters) {
    for (size_t i = 0; i < characters.size(); i += 2) {
      pair(static_cast<uint8_t>(characters[i]),
           i + 1 < characters.size() ? static_cast<uint8_t>(characters[i + 1]) : 0);
    }
  }
  void skipTo(int64_t nextFrame) { frame = nextFrame; }
  // A pop-on caption of one row loaded, then shown by its end-of-caption.
  void popOn(std::string_view characters, std::array<uint8_t, 2> row = kRow15) {
    control(kRCL);
    control(row);
    text(characters);
    control(kEOC);
  }

  CEA608Decoder decoder;
  std::vector<CaptionCue> cues;
  int64_t frame = 0;
};

// The one caption a stream answered, ended by an erase of the display; empty when not one.
std::string onlyText(Stream& stream) {
  stream.control(kEDM);
  EXPECT_EQ(stream.cues.size(), 1u);
  return stream.cues.size() == 1 ? stream.cues[0].text : std::string();
}

TEST(CEA608DecoderTest, APopOnCaptionLastsFromItsEndOfCaptionToTheNext) {
  Stream stream;
  stream.popOn("HELLO");  // RCL 0-1, PAC 2-3, text 4-6, EOC 7-8
  EXPECT_TRUE(stream.cues.empty());
  stream.skipTo(100);
  stream.popOn("WORLD");  // EOC at 107
  ASSERT_EQ(stream.cues.size(), 1u);
  EXPECT_EQ(stream.cues[0], cue(7, 107, "HELLO"));
  stream.skipTo(200);
  stream.control(kEDM);
  ASSERT_EQ(stream.cues.size(), 2u);
  EXPECT_EQ(stream.cues[1], cue(107, 200, "WORLD"));
  EXPECT_EQ(stream.decoder.finish(), std::nullopt);
}

TEST(CEA608DecoderTest, APopOnCaptionOfSeveralRowsKeepsThemInOrder) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("bottom");
  stream.control(kRow1);
  stream.text("top");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "top\nbottom");
}

TEST(CEA608DecoderTest, ThePopOnCaptionOnDisplayAtTheEndLastsAsLongAsTheChangeBefore) {
  Stream stream;
  stream.popOn("one");  // EOC at 6
  stream.skipTo(50);
  stream.popOn("two");  // EOC at 56
  ASSERT_EQ(stream.cues.size(), 1u);
  EXPECT_EQ(stream.decoder.finish(), cue(56, 106, "two"));
  EXPECT_EQ(stream.decoder.finish(), std::nullopt);
}

TEST(CEA608DecoderTest, APopOnCaptionWithNoEarlierChangeGetsTwentyMillisecondsAByte) {
  CEA608Decoder decoder;
  const CMTime time = CMTimeMake(5000, 1000);
  for (std::array<uint8_t, 2> code : {kRCL, kRow15, std::array<uint8_t, 2>{'H', 'i'}, kEOC}) {
    EXPECT_TRUE(decoder.decodePair({withParity(code[0]), withParity(code[1])}, time).empty());
  }
  EXPECT_EQ(decoder.finish(), (CaptionCue{time, CMTimeMake(5040, 1000), "Hi"}));
}

TEST(CEA608DecoderTest, TheNextCaptionIsLoadedIntoABlankMemory) {
  Stream stream;
  stream.popOn("a long first caption");
  stream.popOn("short");
  EXPECT_EQ(stream.cues.at(0).text, "a long first caption");
  EXPECT_EQ(stream.decoder.finish()->text, "short");
}

TEST(CEA608DecoderTest, EraseNonDisplayedMemoryDropsWhatWasLoaded) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow14);
  stream.text("dropped");
  stream.control(kENM);
  stream.control(kRow15);
  stream.text("kept");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "kept");
}

TEST(CEA608DecoderTest, RollUpAnswersTheDisplayAtEachCarriageReturn) {
  Stream stream;
  stream.control(kRU2);
  stream.control(kCR);  // at 2: nothing on display yet
  stream.control(kRow15);
  stream.text("first");  // 6-8
  stream.control(kCR);   // 9
  EXPECT_EQ(stream.cues, (std::vector<CaptionCue>{cue(2, 9, "first")}));
  stream.skipTo(60);
  stream.text("second");
  stream.control(kCR);  // 63
  stream.skipTo(120);
  stream.text("third");
  stream.control(kCR);  // 123
  stream.skipTo(200);
  stream.control(kEDM);
  EXPECT_EQ(stream.cues,
            (std::vector<CaptionCue>{cue(2, 9, "first"), cue(9, 63, "first\nsecond"),
                                     cue(63, 123, "second\nthird"), cue(123, 200, "third")}));
}

TEST(CEA608DecoderTest, RollUpOfThreeRowsKeepsThree) {
  Stream stream;
  stream.control(kRU3);
  stream.control(kRow15);
  for (const char* line : {"a", "b", "c", "d"}) {
    stream.text(line);
    stream.control(kCR);
  }
  ASSERT_EQ(stream.cues.size(), 4u);
  EXPECT_EQ(stream.cues[2].text, "a\nb\nc");
  EXPECT_EQ(stream.cues[3].text, "b\nc\nd");
}

TEST(CEA608DecoderTest, RollUpRowsRollUpFromTheRowOfThePreamble) {
  // With the base row at the top there is no row to roll into: each line replaces the last.
  Stream stream;
  stream.control(kRU2);
  stream.control(kRow1);
  stream.text("a");
  stream.control(kCR);
  stream.text("b");
  stream.control(kCR);
  ASSERT_EQ(stream.cues.size(), 2u);
  EXPECT_EQ(stream.cues[1].text, "b");
}

TEST(CEA608DecoderTest, ABlankRowRolledUpIsNotInUse) {
  Stream stream;
  stream.control(kRU2);
  stream.control(kRow15);
  stream.text("a");
  stream.control(kCR);
  stream.control(kDER);  // nothing typed on the new row
  stream.control(kCR);
  stream.text("b");
  stream.control(kCR);
  ASSERT_EQ(stream.cues.size(), 3u);
  EXPECT_EQ(stream.cues[1].text, "a");
  EXPECT_EQ(stream.cues[2].text, "b");
}

TEST(CEA608DecoderTest, AStreamWithoutAStyleCommandRollsUpTwoRows) {
  Stream stream;
  for (const char* line : {"x", "y", "z"}) {
    stream.text(line);
    stream.control(kCR);
  }
  ASSERT_EQ(stream.cues.size(), 3u);
  EXPECT_EQ(stream.cues[2].text, "y\nz");
}

TEST(CEA608DecoderTest, PaintOnTextIsAnsweredWhenTheDisplayIsErased) {
  Stream stream;
  stream.skipTo(30);
  stream.control(kRDC);  // the first pair: the caption is timed from it
  stream.control(kRow15);
  stream.text("painted");
  EXPECT_TRUE(stream.cues.empty());
  stream.skipTo(90);
  stream.control(kEDM);
  EXPECT_EQ(stream.cues, (std::vector<CaptionCue>{cue(30, 90, "painted")}));
  EXPECT_EQ(stream.decoder.finish(), std::nullopt);
}

TEST(CEA608DecoderTest, PaintOnRowsRollAtACarriageReturn) {
  Stream stream;
  stream.control(kRDC);
  stream.control(kRow15);
  stream.text("one");
  stream.control(kCR);
  stream.text("two");
  stream.control(kEDM);
  ASSERT_EQ(stream.cues.size(), 2u);
  EXPECT_EQ(stream.cues[0].text, "one");
  EXPECT_EQ(stream.cues[1].text, "one\ntwo");
}

TEST(CEA608DecoderTest, RollUpAfterPopOnEndsThePopOnCaption) {
  Stream stream;
  stream.popOn("shown");  // EOC at 7
  stream.skipTo(40);
  stream.control(kRU2);
  EXPECT_EQ(stream.cues, (std::vector<CaptionCue>{cue(7, 40, "shown")}));
  EXPECT_EQ(stream.decoder.finish(), std::nullopt);
}

// The display emptied by the erase stays empty as roll-up begins: the first roll-up caption is
// timed from the erase, as FFmpeg times it.
TEST(CEA608DecoderTest, RollUpAfterAnErasedPopOnCaptionIsTimedFromTheErase) {
  Stream stream;
  stream.popOn("shown");  // EOC at 7
  stream.skipTo(20);
  stream.control(kEDM);  // 20
  stream.skipTo(50);
  stream.control(kRU2);
  stream.control(kRow15);
  stream.text("rolled");  // 54 to 56
  stream.control(kCR);    // 57
  EXPECT_EQ(stream.cues, (std::vector<CaptionCue>{cue(7, 20, "shown"), cue(20, 57, "rolled")}));
}

// Likewise for paint-on after an erased pop-on caption.
TEST(CEA608DecoderTest, PaintOnAfterAnErasedPopOnCaptionIsTimedFromTheErase) {
  Stream stream;
  stream.popOn("shown");  // EOC at 7
  stream.skipTo(20);
  stream.control(kEDM);  // 20
  stream.skipTo(50);
  stream.control(kRDC);
  stream.control(kRow15);
  stream.text("painted");  // 54 to 57
  stream.control(kEDM);    // 58
  EXPECT_EQ(stream.cues, (std::vector<CaptionCue>{cue(7, 20, "shown"), cue(20, 58, "painted")}));
}

TEST(CEA608DecoderTest, ASecondIdenticalControlPairIsSkippedAndAThirdCountsAgain) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("a");
  stream.once(kTO1);
  stream.once(kTO1);  // skipped
  stream.once(kTO1);  // counts again
  stream.text("b");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "a  b");
}

TEST(CEA608DecoderTest, NullPairsDoNothingNotEvenSeparateARepeatedControlCode) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("a");
  stream.once(kTO1);
  stream.pair(0, 0);
  stream.once(kTO1);  // still the repeat of the first
  stream.text("b");
  stream.pair(0, 0);
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "a b");
}

TEST(CEA608DecoderTest, RepeatedCharacterPairsAreAllShown) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("nono");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "nono");
}

TEST(CEA608DecoderTest, TheIndentCommonToTheRowsIsDropped) {
  Stream stream;
  stream.control(kRCL);
  stream.control(pac(14, 8));
  stream.text("ab");
  stream.control(pac(15, 4));
  stream.text("cd");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "    ab\ncd");
}

TEST(CEA608DecoderTest, AnIndentAfterARowWithoutOneIsDroppedAsFFmpegDropsIt) {
  Stream stream;
  stream.control(kRCL);
  stream.control(pac(14, 0));
  stream.text("ab");
  stream.control(pac(15, 4));
  stream.text("cd");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "ab\ncd");
}

TEST(CEA608DecoderTest, PreambleAttributesSetThePenAndChangeNoText) {
  Stream stream;
  stream.control(kRCL);
  stream.control({0x14, 0x69});  // row 15, red, underlined
  EXPECT_EQ(stream.decoder.pen(), (CEA608Decoder::Pen{CEA608Decoder::Colour::red, false, true}));
  stream.text("red");
  stream.control({0x14, 0x6E});  // row 15, white italics
  EXPECT_EQ(stream.decoder.pen(), (CEA608Decoder::Pen{CEA608Decoder::Colour::white, true, false}));
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "red");
}

TEST(CEA608DecoderTest, AMidRowCodeSetsThePenAndTakesASpace) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("ab");
  stream.control({0x11, 0x2E});  // italics
  EXPECT_TRUE(stream.decoder.pen().italics);
  stream.text("cd");
  stream.control({0x11, 0x25});  // blue, underlined
  EXPECT_EQ(stream.decoder.pen(), (CEA608Decoder::Pen{CEA608Decoder::Colour::blue, false, true}));
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "ab cd ");
}

TEST(CEA608DecoderTest, ABlackForegroundCodeIsAMidRowCode) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("ab");
  stream.control({0x17, 0x2F});  // black, underlined
  EXPECT_EQ(stream.decoder.pen(), (CEA608Decoder::Pen{CEA608Decoder::Colour::black, false, true}));
  stream.control({0x14, 0x22});  // alarm off: no text
  stream.text("cd");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "ab cd");
}

TEST(CEA608DecoderTest, TabOffsetsMoveOnBySpaces) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("a");
  stream.control(kTO2);
  stream.text("b");
  stream.control({0x17, 0x23});
  stream.text("c");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "a  b   c");
}

TEST(CEA608DecoderTest, BackspaceErasesTheCharacterBeforeTheCursor) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("abc");
  stream.control(kBS);
  stream.text("x");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "abx");
}

TEST(CEA608DecoderTest, DeleteToEndOfRowErasesFromTheCursor) {
  for (bool erase : {false, true}) {
    Stream stream;
    stream.control(kRCL);
    stream.control(kRow15);
    stream.text("abcdefgh");
    stream.control(pac(15, 4));  // the cursor back to column 4, over four spaces
    if (erase) stream.control(kDER);
    stream.control(kEOC);
    // The indent of the only row is dropped as common to all rows.
    EXPECT_EQ(onlyText(stream), erase ? "" : "efgh");
  }
}

TEST(CEA608DecoderTest, SpecialCharactersComeFromTheSpecialSet) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("a");
  stream.control({0x11, 0x37});  // the music note
  stream.control({0x11, 0x30});  // ®
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "a\u266B\u00AE");
}

TEST(CEA608DecoderTest, AnExtendedCharacterReplacesTheOneBeforeIt) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("Gru");
  stream.control({0x12, 0x25});  // ü
  stream.text("n");
  stream.text("xy");
  stream.control({0x13, 0x36});  // a plain space in our set
  stream.text("zw");
  stream.control({0x13, 0x3C});  // stands for nothing
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "Gr\u00FCnx z");
}

TEST(CEA608DecoderTest, BasicCharactersComeFromTheBasicSet) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("*\\^_`{|}~\x7F'");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "\u00E1\u00E9\u00ED\u00F3\u00FA\u00E7\u00F7\u00D1\u00F1\u2588'");
}

TEST(CEA608DecoderTest, TheSecondChannelsPairsAreNotTheFirsts) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("one");
  stream.control({0x1C, 0x20});  // channel two: resume caption loading
  stream.control({0x1C, 0x60});
  stream.text("two");
  stream.control({0x1C, 0x2F});  // channel two's end of caption
  EXPECT_TRUE(stream.cues.empty());
  stream.control(kRow14);  // channel one again
  stream.text("more");
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "more\none");
}

TEST(CEA608DecoderTest, APairWhoseSecondByteFailsParityIsDropped) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("ab");
  stream.raw(withParity('c'), withParity('d') ^ 0x80);
  stream.raw(withParity(kEOC[0]), withParity(kEOC[1]) ^ 0x80);  // dropped: the repeat acts
  stream.once(kEOC);
  EXPECT_EQ(onlyText(stream), "ab");
}

TEST(CEA608DecoderTest, AFirstByteThatFailsParityShowsASolidBlock) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("ab");
  stream.raw(withParity('c') ^ 0x80, withParity('d'));
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "ab\u2588d");
}

TEST(CEA608DecoderTest, ExtendedDataPairsAreNotCaptions) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text("ab");
  stream.pair(0x01, 0x03);
  stream.pair(0x00, 'x');
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), "ab");
}

TEST(CEA608DecoderTest, ARowHoldsThirtyTwoColumns) {
  Stream stream;
  stream.control(kRCL);
  stream.control(kRow15);
  stream.text(std::string(40, 'w'));
  stream.control(kEOC);
  EXPECT_EQ(onlyText(stream), std::string(32, 'w'));
}

TEST(CEA608DecoderTest, TextModeDataIsNotCaptionText) {
  Stream stream;
  stream.control(kRDC);
  stream.control(kRow15);
  stream.text("cap");
  stream.control(kRTD);
  stream.text("text service");
  stream.control(kCR);
  stream.control(kRDC);
  stream.text("tion");
  EXPECT_EQ(onlyText(stream), "caption");
}

}  // namespace
}  // namespace premoov
