#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "premoov/commands.h"
#include "support/test_files.h"
#include "tools/line21_movie.h"
#include "tools/tool_runs.h"

namespace premoov {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A pop-on caption "HI": load, place on row 15, the text, show it, clear it.
const std::vector<CEA608Pair> kPopOn = {{0x94, 0x20}, {0x94, 0x20}, {0x94, 0x70}, {0xC8, 0x49},
                                        {0x94, 0x2F}, {0x80, 0x80}, {0x94, 0x2C}, {0x80, 0x80}};

// The lines every uncompressed format gives for kPopOn: the sample of each frame, its second byte
// ORed with 0x80, then the meaning of the pair.
const std::vector<std::string> kPopOnLines = {
    "#0 00:00:00.000: 94 A0 80 00 CC1 RCL",
    "#1 00:00:00.033: 94 A0 80 00 CC1 RCL",
    "#2 00:00:00.066: 94 F0 80 00 CC1 PAC row 15 col 0",
    "#3 00:00:00.100: C8 C9 80 00 \"HI\"",
    "#4 00:00:00.133: 94 AF 80 00 CC1 EOC",
    "#5 00:00:00.166: 80 80 80 00 null",
    "#6 00:00:00.200: 94 AC 80 00 CC1 EDM",
    "#7 00:00:00.233: 80 80 80 00 null",
};

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

class CaptionsLine21CommandTest : public ::testing::TestWithParam<const char*> {
 protected:
  ToolOutcome run(std::vector<std::string> options) {
    options.insert(options.begin(), {"captions", "line21", movie_.path()});
    return runInProcess(options);
  }

  TempFile movie_{"captions-line21.mov"};
};

TEST_P(CaptionsLine21CommandTest, PrintsThePairOfEveryFrame) {
  testing::Line21Movie{.format = *FourCC::fromString(GetParam()), .pairs = kPopOn}.write(
      movie_.path());
  const ToolOutcome outcome = run({"--pairs"});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_THAT(outcome.err, IsEmpty());
  std::vector<std::string> expected = kPopOnLines;
  expected.insert(expected.begin(), std::string("track 1: ") + GetParam() +
                                        " 720 x 5, 8 frames, time scale 30000, duration "
                                        "00:00:00.266");
  expected.push_back("track 1: 8 read, 0 with errors, 0 missing");
  EXPECT_EQ(linesOf(outcome.out), expected);
}

// The pair "HI" is sent as C8 49: without its parity restored, the sample's C9 would fail the
// decoder's check and the caption would lose its text.
TEST_P(CaptionsLine21CommandTest, DecodesTheCC1CaptionsToSubRip) {
  testing::Line21Movie{.format = *FourCC::fromString(GetParam()), .pairs = kPopOn}.write(
      movie_.path());
  const ToolOutcome outcome = run({"--srt"});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_THAT(outcome.err, IsEmpty());
  EXPECT_EQ(outcome.out, "1\n00:00:00,133 --> 00:00:00,200\nHI\n\n");
}

INSTANTIATE_TEST_SUITE_P(Formats, CaptionsLine21CommandTest,
                         ::testing::Values("2vuy", "v210", "yuvs"),
                         [](const ::testing::TestParamInfo<const char*>& format) {
                           return std::string(format.param);
                         });

class CaptionsLine21ProblemsTest : public ::testing::Test {
 protected:
  ToolOutcome run(std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"captions", "line21", movie_.path()});
    return runInProcess(options);
  }

  TempFile movie_{"captions-line21-problems.mov"};
};

TEST_F(CaptionsLine21ProblemsTest, PrintsEachFrameAsJson) {
  testing::Line21Movie{.pairs = {{0x94, 0x2C}, {0xC8, 0x49}}, .framesWritten = 1}.write(
      movie_.path());
  const ToolOutcome outcome = run({"--json"});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  const auto lines = linesOf(outcome.out);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0],
            R"({"track":1,"format":"2vuy","width":720,"height":5,"frames":2,"timeScale":30000,)"
            R"("duration":2002})");
  EXPECT_EQ(lines[1], R"({"frame":0,"time":0,"sample":"94AC8000","pair":"942C","parityOk":true,)"
                      R"("channel":1,"meaning":"EDM","nullRow":true})");
  EXPECT_EQ(lines[2], R"({"frame":1,"time":1001,"count":1,"missing":true})");
  EXPECT_EQ(lines[3], R"({"read":1,"withErrors":0,"missing":1})");
  for (const std::string& line : lines) EXPECT_TRUE(nlohmann::json::accept(line)) << line;
}

TEST_F(CaptionsLine21ProblemsTest, SaysWhichFramesAGrowingFileDoesNotHoldYet) {
  testing::Line21Movie{.pairs = kPopOn, .framesWritten = 3}.write(movie_.path());
  const ToolOutcome outcome = run();
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  const auto lines = linesOf(outcome.out);
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[3], kPopOnLines[2]);
  EXPECT_EQ(lines[4], "#3-7 00:00:00.100: 5 frames missing, past the end of the file");
  EXPECT_EQ(lines[5], "track 1: 3 read, 0 with errors, 5 missing");

  const ToolOutcome srt = run({"--srt"});
  EXPECT_EQ(srt.code, kExitSuccess);
  EXPECT_EQ(srt.out, "");  // the caption was loaded, never shown
  EXPECT_EQ(srt.err, movie_.path() + ": 5 frames missing, past the end of the file\n");
}

TEST_F(CaptionsLine21ProblemsTest, NamesFramesSmallerThanThreeRows) {
  // 2vuy rows of 720 pixels are 1440 bytes: three take 4320.
  testing::Line21Movie{.pairs = kPopOn, .sampleSize = 4319}.write(movie_.path());
  const ToolOutcome outcome = run();
  EXPECT_EQ(outcome.code, kExitBadInput);
  const auto lines = linesOf(outcome.out);
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[1],
            "#0 00:00:00.000 4319 B: unreadable, smaller than the 3 rows line 21 takes: 4319 "
            "bytes");
  EXPECT_EQ(lines[9], "track 1: 8 read, 8 with errors, 0 missing");
  EXPECT_EQ(outcome.err, movie_.path() + ": 8 frames with errors\n");
}

TEST_F(CaptionsLine21ProblemsTest, ReadsFramesOfExactlyThreeRows) {
  testing::Line21Movie{.height = 3, .pairs = kPopOn}.write(movie_.path());
  const ToolOutcome outcome = run();
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  const auto lines = linesOf(outcome.out);
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[4], kPopOnLines[3]);
}

TEST_F(CaptionsLine21ProblemsTest, RefusesADescriptionOfFewerThanThreeRows) {
  testing::Line21Movie{.height = 2, .pairs = kPopOn}.write(movie_.path());
  const ToolOutcome outcome = run();
  EXPECT_EQ(outcome.code, kExitBadInput);
  EXPECT_THAT(outcome.out, IsEmpty());
  EXPECT_EQ(outcome.err, movie_.path() +
                             ": track 1: '2vuy' frames of 720 x 2 rows: fewer than the 3 rows "
                             "line 21 takes\n");
}

TEST_F(CaptionsLine21ProblemsTest, NamesTheCompressedVideoTracks) {
  testing::Line21Movie{.format = FourCC("apch"), .pairs = kPopOn, .sampleSize = 100000}.write(
      movie_.path());
  const ToolOutcome outcome = run({"--srt"});
  EXPECT_EQ(outcome.code, kExitBadInput);
  EXPECT_THAT(outcome.out, IsEmpty());
  EXPECT_EQ(outcome.err, movie_.path() +
                             ": no video track of '2vuy', 'v210' or 'yuvs' frames to read line "
                             "21 from; track 1 holds 'apch'\n");
}

TEST_F(CaptionsLine21ProblemsTest, TakesTheFirstUncompressedVideoTrack) {
  testing::Line21Movie movie{.pairs = {{0x94, 0x2C}}};
  movie.tracksBefore = {{.trackID = 4, .handler = FourCC("clcp"), .format = FourCC("c608")},
                        {.trackID = 2, .handler = FourCC("vide"), .format = FourCC("avc1")}};
  movie.write(movie_.path());
  const ToolOutcome outcome = run();
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("#0 00:00:00.000: 94 AC 80 00 CC1 EDM\n"));
}

TEST_F(CaptionsLine21ProblemsTest, RefusesAMovieWithoutVideo) {
  testing::Line21Movie{.pairs = kPopOn, .handler = FourCC("soun")}.write(movie_.path());
  const ToolOutcome outcome = run();
  EXPECT_EQ(outcome.code, kExitBadInput);
  EXPECT_EQ(outcome.err, movie_.path() + ": no video track\n");
}

TEST_F(CaptionsLine21ProblemsTest, RefusesAFileThatIsNoMovie) {
  movie_.write("no movie here");
  const ToolOutcome outcome = run();
  EXPECT_EQ(outcome.code, kExitBadInput);
  EXPECT_THAT(outcome.err, HasSubstr("holds no 'moov' atom"));
}

TEST_F(CaptionsLine21ProblemsTest, SaysWhereAFrameWithoutAWaveformHasNoNullPair) {
  testing::Line21Movie{.pairs = {{0x94, 0x2C}}}.write(movie_.path());
  // Blank the frame's rows after the movie and media data headers: no waveform at all.
  std::string bytes = movie_.read();
  const size_t frameStart = bytes.size() - 720 * 2 * 5;
  std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(frameStart), bytes.end(), '\x10');
  movie_.write(bytes);
  const ToolOutcome outcome = run();
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_THAT(
      outcome.out,
      HasSubstr("#0 00:00:00.000: 00 00 00 00 parity-error null | no null pair on row 2\n"));
}

TEST_F(CaptionsLine21ProblemsTest, StopsAtTheFrameLimit) {
  testing::Line21Movie{.pairs = kPopOn}.write(movie_.path());
  const ToolOutcome outcome = run({"--limit", "2"});
  EXPECT_EQ(outcome.code, kExitBadInput);
  EXPECT_EQ(linesOf(outcome.out).size(), 4u);
  EXPECT_EQ(outcome.err, movie_.path() + ": track 1: stopped after the most frames read: 2\n");
}

TEST_F(CaptionsLine21ProblemsTest, RefusesSrtWithPairsOrJson) {
  testing::Line21Movie{.pairs = kPopOn}.write(movie_.path());
  EXPECT_EQ(run({"--srt", "--pairs"}).code, kExitBadInput);
  EXPECT_EQ(run({"--srt", "--json"}).code, kExitBadInput);
  const ToolOutcome help = runInProcess({"captions", "line21", "--help"});
  EXPECT_EQ(help.code, kExitSuccess);
  EXPECT_THAT(help.out, HasSubstr("frames missing, past the end of the file"));
}

TEST_F(CaptionsLine21ProblemsTest, RunsAsAProgram) {
  testing::Line21Movie{.format = FourCC("v210"), .pairs = kPopOn}.write(movie_.path());
  const ToolOutcome outcome = runToolProgram({"captions", "line21", movie_.path(), "--srt"});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_EQ(outcome.out, "1\n00:00:00,133 --> 00:00:00,200\nHI\n\n");
}

}  // namespace
}  // namespace premoov
