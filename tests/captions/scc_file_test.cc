#include "captions/scc_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const CMTime kNtsc = CMTimeMake(1001, 30000);
const CMTime kPal = CMTimeMake(1, 25);

SccCaptions captionsOf(const std::string& text, const CMTime& frameDuration = kNtsc) {
  auto captions = readSccFile(text, frameDuration);
  if (!captions) {
    ADD_FAILURE() << captions.error();
    return {};
  }
  return *captions;
}

std::string problemOf(const std::string& text, const CMTime& frameDuration = kNtsc) {
  auto captions = readSccFile(text, frameDuration);
  if (captions) {
    ADD_FAILURE() << "taken: " << text;
    return {};
  }
  return captions.error();
}

std::vector<int64_t> framesOf(const SccCaptions& captions) {
  std::vector<int64_t> frames;
  for (const SccPair& pair : captions.pairs) frames.push_back(pair.frame);
  return frames;
}

TEST(SccFileTest, WordsGoOutOneAFrameFromTheirLinesFrame) {
  const SccCaptions captions = captionsOf(
      "Scenarist_SCC V1.0\n\n"
      "00:00:01;00\t9420 94AE c845 ecec\n\n"
      "00:01:00;02\t942f\n");
  EXPECT_THAT(captions.pairs, ElementsAre(SccPair{30, {0x94, 0x20}}, SccPair{31, {0x94, 0xAE}},
                                          SccPair{32, {0xC8, 0x45}}, SccPair{33, {0xEC, 0xEC}},
                                          SccPair{1800, {0x94, 0x2F}}));
  EXPECT_EQ(captions.captionLines, 2u);
  EXPECT_EQ(captions.delayedLines, 0u);
}

TEST(SccFileTest, DropAndNonDropLabelsAcrossMinuteBoundaries) {
  const SccCaptions captions = captionsOf(
      "Scenarist_SCC V1.0\n\n"
      "00:00:59;29\t8080\n\n"
      "00:01:00;02\t8080\n\n"
      "00:10:00;00\t8080\n\n"
      "00:10:00:00\t8080\n\n"
      "01:00:00;00\t8080\n\n"
      "01:00:00:00\t8080\n");
  EXPECT_THAT(framesOf(captions), ElementsAre(1799, 1800, 17982, 18000, 107892, 108000));
}

TEST(SccFileTest, At25FramesASecondLabelsCount25) {
  const SccCaptions captions =
      captionsOf("Scenarist_SCC V1.0\n\n00:00:01:00\t9420 9420\n\n00:01:00:24\t942c\n", kPal);
  EXPECT_THAT(framesOf(captions), ElementsAre(25, 26, 1524));
  EXPECT_EQ(problemOf("Scenarist_SCC V1.0\n\n00:00:01;00\t9420\n", kPal),
            "line 3, column 9: drop-frame timecode at a frame rate that has none");
}

TEST(SccFileTest, ALineThatStartsBeforeThePreviousWordsAreOutFollowsThem) {
  const SccCaptions captions = captionsOf(
      "Scenarist_SCC V1.0\n\n"
      "00:00:00;00\t9420 9420 94ae 94ae 9452\n\n"  // frames 0 to 4
      "00:00:00;02\t942f 942f\n\n"                 // due at 2: follows, at 5 and 6
      "00:00:00;07\t8080\n\n"                      // due at 7, the frame after: on time
      "00:00:00;10\t942c\n\n"                      // a gap stays a gap
      "00:00:00;05\t9420\n");                      // earlier than the last: follows at 11
  EXPECT_THAT(framesOf(captions), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 10, 11));
  EXPECT_EQ(captions.pairs[5].pair, (CEA608Pair{0x94, 0x2F}));
  EXPECT_EQ(captions.pairs[9].pair, (CEA608Pair{0x94, 0x20}));
  EXPECT_EQ(captions.captionLines, 5u);
  EXPECT_EQ(captions.delayedLines, 2u);
}

TEST(SccFileTest, BadWordsNameTheirLineAndColumn) {
  const std::string head = "Scenarist_SCC V1.0\n\n";
  EXPECT_EQ(problemOf(head + "00:00:00;00\t9420 zz12 9420\n"),
            "line 3, column 18: 'zz12' is not a caption word (four hexadecimal digits)");
  EXPECT_EQ(problemOf(head + "00:00:00;00\t942\n"),
            "line 3, column 13: '942' is not a caption word (four hexadecimal digits)");
  EXPECT_EQ(problemOf(head + "00:00:00;00\t94200\n"),
            "line 3, column 13: '94200' is not a caption word (four hexadecimal digits)");
  EXPECT_EQ(problemOf(head + "00:00:00;00\t9420,9420\n"),
            "line 3, column 13: '9420,9420' is not a caption word (four hexadecimal digits)");
  EXPECT_EQ(problemOf(head + "\n\n00:00:00;00 9420  0x94\n"),
            "line 5, column 19: '0x94' is not a caption word (four hexadecimal digits)");
  // Long or unprintable words are quoted short and readable.
  EXPECT_EQ(problemOf(head + "00:00:00;00\t" + std::string(40, 'a') + "\n"),
            "line 3, column 13: 'aaaaaaaaaaaaaaaa...' is not a caption word (four hexadecimal "
            "digits)");
  EXPECT_EQ(problemOf(head + "00:00:00;00\t94\x01\xFF\n"),
            "line 3, column 13: '94?"
            "?' is not a caption word (four hexadecimal digits)");
}

TEST(SccFileTest, BadTimecodesNameTheirLineAndColumn) {
  const std::string head = "Scenarist_SCC V1.0\n\n";
  EXPECT_EQ(problemOf(head + "00:00:00;30\t9420\n"),
            "line 3, column 10: frames 30 out of range: 00 to 29");
  EXPECT_EQ(problemOf(head + "24:00:00;00\t9420\n"),
            "line 3, column 1: hours 24 out of range: 00 to 23");
  EXPECT_EQ(problemOf(head + "00:61:00;00\t9420\n"),
            "line 3, column 4: minutes 61 out of range: 00 to 59");
  EXPECT_EQ(problemOf(head + "00:00:99;00\t9420\n"),
            "line 3, column 7: seconds 99 out of range: 00 to 59");
  EXPECT_EQ(problemOf(head + "00:01:00;01\t9420\n"),
            "line 3, column 10: 00:01:00;01 is skipped by drop-frame counting");
  EXPECT_EQ(problemOf(head + "9420 9420\n"),
            "line 3, column 3: '9420' is not a timecode (HH:MM:SS:FF or HH:MM:SS;FF)");
  EXPECT_EQ(problemOf(head + "  00:00:00;0x\t9420\n"),
            "line 3, column 13: '00:00:00;0x' is not a timecode (HH:MM:SS:FF or HH:MM:SS;FF)");
}

TEST(SccFileTest, TheHeaderLineComesFirst) {
  const std::string missing = "line 1, column 1: the file does not start with 'Scenarist_SCC V1.0'";
  EXPECT_EQ(problemOf(""), missing);
  EXPECT_EQ(problemOf("00:00:00;00\t9420\n"), missing);
  EXPECT_EQ(problemOf("Scenarist_SCC V2.0\n\n00:00:00;00\t9420\n"), missing);
  EXPECT_EQ(problemOf("\nScenarist_SCC V1.0\n"), missing);
  EXPECT_EQ(problemOf(" Scenarist_SCC V1.0\n"), missing);
  // Trailing spaces and a byte order mark are taken.
  EXPECT_EQ(captionsOf("\xEF\xBB\xBFScenarist_SCC V1.0 \t\n\n00:00:00;01\t9420\n").pairs,
            (std::vector<SccPair>{{1, {0x94, 0x20}}}));
}

TEST(SccFileTest, AHeaderAloneHoldsNoPairs) {
  for (const std::string text :
       {"Scenarist_SCC V1.0", "Scenarist_SCC V1.0\n", "Scenarist_SCC V1.0\n\n\n  \t\n"}) {
    const SccCaptions captions = captionsOf(text);
    EXPECT_THAT(captions.pairs, IsEmpty());
    EXPECT_EQ(captions.captionLines, 0u);
  }
  // A timecode without words is a caption line of no pairs.
  const SccCaptions bare = captionsOf("Scenarist_SCC V1.0\n\n00:00:05;00  \n");
  EXPECT_THAT(bare.pairs, IsEmpty());
  EXPECT_EQ(bare.captionLines, 1u);
}

TEST(SccFileTest, CrlfAndLoneCrLineEndsReadAsLf) {
  const std::string lf =
      "Scenarist_SCC V1.0\n\n00:00:00;00\t9420 9420\n\n00:00:02;00\t942c 942c\n\n00:00:03;00\t"
      "942f\n";
  std::string crlf, cr;
  for (char c : lf) {
    crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    cr += c == '\n' ? '\r' : c;
  }
  const SccCaptions expected = captionsOf(lf);
  ASSERT_EQ(expected.pairs.size(), 5u);
  EXPECT_EQ(captionsOf(crlf).pairs, expected.pairs);
  EXPECT_EQ(captionsOf(cr).pairs, expected.pairs);
  // Lines are counted the same way: the problem is on line 5 in each.
  const std::string bad = "Scenarist_SCC V1.0\r\n\r\n00:00:00;00\t9420\r\n\r\n00:00:00;00\tqq\r\n";
  EXPECT_THAT(problemOf(bad), ::testing::StartsWith("line 5, column 13: 'qq'"));
}

TEST(SccFileTest, ALateTimecodeMakesNoLargeVector) {
  const SccCaptions captions = captionsOf("Scenarist_SCC V1.0\n\n23:59:59;29\t9420 9420\n");
  EXPECT_THAT(framesOf(captions), ElementsAre(2589407, 2589408));
  EXPECT_LE(captions.pairs.capacity(), 8u);
}

TEST(SccFileTest, PairsStayWithinTheFilesSize) {
  std::string text = "Scenarist_SCC V1.0\n\n00:00:00;00";
  for (int i = 0; i < 10000; ++i) text += " 8080";
  const SccCaptions captions = captionsOf(text);
  EXPECT_EQ(captions.pairs.size(), 10000u);
  EXPECT_LE(captions.pairs.size(), text.size() / 5);
  EXPECT_EQ(captions.pairs.back().frame, 9999);
}

TEST(SccFileTest, OnlyCaptionFrameRatesAreTaken) {
  EXPECT_EQ(problemOf("Scenarist_SCC V1.0\n", CMTimeMake(1001, 48000)),
            "frame duration 1001/48000 is not a caption frame rate");
  EXPECT_EQ(problemOf("Scenarist_SCC V1.0\n", CMTimeMake(0, 30000)),
            "frame duration 0/30000 is not a caption frame rate");
}

}  // namespace
}  // namespace premoov
