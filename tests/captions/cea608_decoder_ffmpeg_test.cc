// Our decoding of caption files against FFmpeg's (its SCC reader and CEA-608 decoder, through
// `ffmpeg -i IN.scc OUT.srt`), on files of one word a line at its own frame, as a recording
// carries one pair a frame. The files and the script that writes them are in data/.
//
// Our SubRip text equals FFmpeg's byte for byte once FFmpeg's own additions are taken out:
// - its style markup: the <font face="Monospace"> around each caption, the {\an7} placement, and
//   the <i>, <u> and <font color> tags of the pen (we answer plain text);
// - "\r\n" between the rows of a caption, where we write "\n";
// - "\h", its hard space for a leading space, where we write a space;
// - the characters of the codes where our character sets deliberately differ from FFmpeg's
//   (kCharacterDifferences).

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "captions/cea608_decoder.h"
#include "captions/scc_pairs.h"
#include "captions/srt_writer.h"

namespace premoov {
namespace {

namespace fs = std::filesystem;

enum class Set { basic, special, extSpanishFrench, extPortugueseGerman };

struct CharacterDifference {
  Set set;
  uint8_t code;
  const char* ffmpeg;
  const char* ours;
};

// Codes whose character in our sets is not the one FFmpeg shows.
const std::vector<CharacterDifference> kCharacterDifferences{
    {Set::basic, 0x27, "\u2019", "'"},
    {Set::special, 0x37, "\u266A", "\u266B"},
    {Set::extSpanishFrench, 0x29, "\u2018", "'"},
    {Set::extSpanishFrench, 0x2D, "\u00B7", "\u2022"},
    {Set::extSpanishFrench, 0x2E, "\u201C", "\""},
    {Set::extSpanishFrench, 0x2F, "\u201D", "\""},
    {Set::extPortugueseGerman, 0x36, "\u00A4", " "},
    {Set::extPortugueseGerman, 0x3C, "\u250C", ""},
    {Set::extPortugueseGerman, 0x3D, "\u2510", ""},
    {Set::extPortugueseGerman, 0x3E, "\u2514", ""},
    {Set::extPortugueseGerman, 0x3F, "\u2518", ""},
};

const fs::path kData = fs::path(PREMOOV_SOURCE_DIR) / "tests/captions/data";

std::string contentsOf(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

bool haveFfmpeg() { return std::system("ffmpeg -version > /dev/null 2>&1") == 0; }

// FFmpeg's SubRip text of an SCC file of data/.
std::string ffmpegSrt(const std::string& name) {
  const fs::path out = fs::path(::testing::TempDir()) / ("ffmpeg_" + name + ".srt");
  const std::string command = "ffmpeg -nostdin -v error -y -i '" + (kData / name).string() +
                              "' -f srt '" + out.string() + "'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return contentsOf(out);
}

std::vector<CaptionCue> ourCues(const std::string& name) {
  const auto pairs = testing::readSccPairs(contentsOf(kData / name));
  EXPECT_TRUE(pairs.has_value()) << name;
  std::vector<CaptionCue> cues;
  CEA608Decoder decoder;
  for (const auto& [time, pair] : pairs.value_or(std::vector<testing::TimedPair>{})) {
    const auto out = decoder.decodePair(pair, time);
    cues.insert(cues.end(), out.begin(), out.end());
  }
  if (auto last = decoder.finish()) cues.push_back(*last);
  return cues;
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

// FFmpeg's SubRip text without its markup (see the top of the file).
std::string withoutMarkup(std::string srt) {
  for (const char* tag :
       {"<font face=\"Monospace\">", "{\\an7}", "<i>", "</i>", "<u>", "</u>", "</font>"}) {
    replaceAll(srt, tag, "");
  }
  for (size_t at = srt.find("<font color=\""); at != std::string::npos;
       at = srt.find("<font color=\"", at)) {
    srt.erase(at, srt.find('>', at) + 1 - at);
  }
  replaceAll(srt, "\r\n", "\n");
  replaceAll(srt, "\\h", " ");
  return srt;
}

std::string inOurCharacters(std::string text) {
  for (const auto& difference : kCharacterDifferences) {
    replaceAll(text, difference.ffmpeg, difference.ours);
  }
  return text;
}

// The caption texts of SubRip text, in order.
std::vector<std::string> cueTexts(const std::string& srt) {
  std::vector<std::string> texts;
  size_t at = 0;
  while (at < srt.size()) {
    size_t end = srt.find("\n\n", at);
    if (end == std::string::npos) end = srt.size();
    const std::string block = srt.substr(at, end - at);
    size_t textStart = block.find('\n', block.find('\n') + 1);  // past the number and the times
    texts.push_back(textStart == std::string::npos ? "" : block.substr(textStart + 1));
    at = end + 2;
  }
  return texts;
}

TEST(SccPairsTest, EveryWordOfALineTakesItsTimeAsFFmpegReadsIt) {
  const auto pairs = testing::readSccPairs(
      "Scenarist_SCC V1.0\n\n00:00:01;15\t9420 942c\n\n01:00:00:00\tc8e9\r\n");
  ASSERT_TRUE(pairs.has_value());
  ASSERT_EQ(pairs->size(), 3u);
  EXPECT_EQ((*pairs)[0].time, CMTimeMake(1495, 1000));  // 15 frames of 33 ms
  EXPECT_EQ((*pairs)[1].time, CMTimeMake(1495, 1000));
  EXPECT_EQ((*pairs)[1].pair, (CEA608Pair{0x94, 0x2C}));
  EXPECT_EQ((*pairs)[2].time, CMTimeMake(3600000, 1000));
  EXPECT_EQ((*pairs)[2].pair, (CEA608Pair{0xC8, 0xE9}));
}

TEST(SccPairsTest, AMalformedFileIsNothing) {
  EXPECT_FALSE(testing::readSccPairs("00:00:00;00\t9420\n").has_value());
  EXPECT_FALSE(testing::readSccPairs("Scenarist_SCC V1.0\n00:00:00;00\t94\n").has_value());
  EXPECT_FALSE(testing::readSccPairs("Scenarist_SCC V1.0\n00:00:00;00\t94zz\n").has_value());
  EXPECT_FALSE(testing::readSccPairs("Scenarist_SCC V1.0\n00-00:00;00\t9420\n").has_value());
}

class CEA608DecoderFFmpegTest : public ::testing::TestWithParam<std::pair<const char*, size_t>> {
 protected:
  void SetUp() override {
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
  }
};

TEST_P(CEA608DecoderFFmpegTest, OurSubRipIsFFmpegs) {
  const auto [name, cueCount] = GetParam();
  const auto cues = ourCues(name);
  EXPECT_EQ(cues.size(), cueCount);
  EXPECT_EQ(srtFromCues(cues), inOurCharacters(withoutMarkup(ffmpegSrt(name))));
}

INSTANTIATE_TEST_SUITE_P(Styles, CEA608DecoderFFmpegTest,
                         ::testing::Values(std::pair{"pop_on.scc", size_t{8}},
                                           std::pair{"roll_up.scc", size_t{12}},
                                           std::pair{"paint_on.scc", size_t{4}}),
                         [](const auto& test) {
                           std::string name = test.param.first;
                           return name.substr(0, name.find('.'));
                         });

// all_characters.scc holds every code of every set, each as a caption "x", the character, "x":
// the basic set from 0x20, the special set from 0x30, then both extended sets from 0x20.
TEST(CEA608DecoderFFmpegCharactersTest, TheSetsDifferFromFFmpegsOnlyInTheKnownCodes) {
  if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
  std::vector<std::pair<Set, uint8_t>> codes;
  for (unsigned code = 0x20; code < 0x80; ++code) codes.emplace_back(Set::basic, code);
  for (unsigned code = 0x30; code < 0x40; ++code) codes.emplace_back(Set::special, code);
  for (Set set : {Set::extSpanishFrench, Set::extPortugueseGerman}) {
    for (unsigned code = 0x20; code < 0x40; ++code) codes.emplace_back(set, code);
  }
  const auto cues = ourCues("all_characters.scc");
  const std::string ffmpeg = withoutMarkup(ffmpegSrt("all_characters.scc"));
  const auto theirs = cueTexts(ffmpeg);
  ASSERT_EQ(cues.size(), codes.size());
  ASSERT_EQ(theirs.size(), codes.size());

  std::set<std::pair<Set, uint8_t>> differing;
  for (size_t i = 0; i < codes.size(); ++i) {
    if (cues[i].text != theirs[i]) differing.insert(codes[i]);
  }
  std::set<std::pair<Set, uint8_t>> known;
  for (const auto& difference : kCharacterDifferences) {
    known.emplace(difference.set, difference.code);
    const size_t i =
        std::find(codes.begin(), codes.end(), std::pair{difference.set, difference.code}) -
        codes.begin();
    EXPECT_EQ(theirs.at(i), std::string("x") + difference.ffmpeg + "x");
    EXPECT_EQ(cues.at(i).text, std::string("x") + difference.ours + "x");
  }
  EXPECT_EQ(differing, known);
  // Apart from those characters, the files are the same, times included.
  EXPECT_EQ(srtFromCues(cues), inOurCharacters(ffmpeg));
}

}  // namespace
}  // namespace premoov
