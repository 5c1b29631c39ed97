// The readable views of `write` and `inspect` against golden files, and their JSON, which scripts
// read, unchanged by them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "premoov/command_output.h"
#include "premoov/sparse_file.h"
#include "premoov/text_table.h"
#include "support/golden_file.h"
#include "support/test_files.h"
#include "tool_runs.h"

namespace premoov {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// Every occurrence of `from` in `text` replaced by `to`: temporary paths out of golden text.
std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// The header alone of an example request, written to `header` by `premoov write`.
::testing::AssertionResult wroteHeader(const std::string& example, const TempFile& header) {
  const ToolOutcome run =
      runInProcess({"write", examplePath(example + ".json"), "--header", header.path()});
  if (run.code == kExitSuccess) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "premoov write " << example << ": " << run.err;
}

const std::vector<std::string> kExamples = {"prores_hq_1080i2997_8ch_1h", "v210_2997i_2ch_tc_cc",
                                            "2vuy_25p_global_tc", "2vuy_2997_mid_group",
                                            "metadata_items"};

TEST(TextViewsTest, WriteSaysWhatItWroteInOneLine) {
  for (const std::string& example : kExamples) {
    SCOPED_TRACE(example);
    TempFile header("text-views.header");
    TempFile movie("text-views.mov");
    const ToolOutcome run = runInProcess({"write", examplePath(example + ".json"), "--header",
                                          header.path(), "--file", movie.path(), "--text"});
    EXPECT_EQ(run.code, kExitSuccess) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    const std::string text =
        replaced(replaced(run.out, header.path(), "HEADER"), movie.path(), "MOVIE");
    EXPECT_TRUE(matchesGoldenFile("tools/golden/write_" + example + ".txt", text));
  }
}

TEST(TextViewsTest, InspectShowsTheTracksOfEachExampleAsATable) {
  for (const std::string& example : kExamples) {
    SCOPED_TRACE(example);
    TempFile header("text-views.header");
    ASSERT_TRUE(wroteHeader(example, header));
    const ToolOutcome run = runInProcess({"inspect", header.path(), "--text"});
    EXPECT_EQ(run.code, kExitSuccess) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_TRUE(matchesGoldenFile("tools/golden/inspect_" + example + ".txt",
                                  replaced(run.out, header.path(), "HEADER")));
  }
}

TEST(TextViewsTest, InspectShowsTheAtomTreeOnAsking) {
  TempFile header("text-views.header");
  ASSERT_TRUE(wroteHeader("2vuy_25p_global_tc", header));
  const ToolOutcome run = runInProcess({"inspect", header.path(), "--text", "--atoms"});
  EXPECT_EQ(run.code, kExitSuccess) << run.err;
  EXPECT_TRUE(matchesGoldenFile("tools/golden/inspect_atoms_2vuy_25p_global_tc.txt",
                                replaced(run.out, header.path(), "HEADER")));
}

// The JSON of `inspect` as it was before the text view existed (the golden file was checked
// byte for byte against the tool of that time): --json and a pipe both give it.
TEST(TextViewsTest, InspectJsonIsTheJsonScriptsAlwaysHad) {
  TempFile header("text-views.header");
  ASSERT_TRUE(wroteHeader("2vuy_25p_global_tc", header));
  const ToolOutcome asked = runInProcess({"inspect", header.path(), "--json"});
  const ToolOutcome piped = runInProcess({"inspect", header.path()});
  EXPECT_EQ(asked.code, kExitSuccess);
  EXPECT_EQ(asked.out, piped.out);
  EXPECT_TRUE(matchesGoldenFile("tools/golden/inspect_2vuy_25p_global_tc.json",
                                replaced(asked.out, header.path(), "HEADER")));
}

TEST(TextViewsTest, WriteJsonIsTheJsonScriptsAlwaysHad) {
  TempFile header("text-views.header");
  const std::string request = examplePath("prores_hq_1080i2997_8ch_1h.json");
  const ToolOutcome asked = runInProcess({"write", request, "--header", header.path(), "--json"});
  const ToolOutcome piped = runInProcess({"write", request, "--header", header.path()});
  EXPECT_EQ(asked.out,
            "{\"growing\":true,\"frameSize\":1052640,\"fileSize\":117733183504,"
            "\"headerRoom\":4194304}\n");
  EXPECT_EQ(piped.out, asked.out);
}

TEST(TextViewsTest, ATerminalGetsTextAndAPipeJsonUnlessAsked) {
  EXPECT_EQ(chooseOutputStyle(false, false, true), OutputStyle::kText);
  EXPECT_EQ(chooseOutputStyle(false, false, false), OutputStyle::kJson);
  EXPECT_EQ(chooseOutputStyle(true, false, true), OutputStyle::kJson);
  EXPECT_EQ(chooseOutputStyle(false, true, false), OutputStyle::kText);

  // The program itself, its output caught in a file: JSON.
  TempFile header("text-views.header");
  const ToolOutcome run =
      runToolProgram({"write", examplePath("2vuy_25p_global_tc.json"), "--header", header.path()});
  EXPECT_EQ(run.code, kExitSuccess) << run.err;
  EXPECT_EQ(run.out.front(), '{') << run.out;
}

TEST(TextViewsTest, JsonAndTextExcludeEachOther) {
  const ToolOutcome run =
      runInProcess({"inspect", examplePath("metadata_items.json"), "--json", "--text"});
  EXPECT_EQ(run.code, kExitBadInput);
  EXPECT_THAT(run.err, HasSubstr("excludes"));
}

TEST(TextViewsTest, ARefusalIsOneLineOfText) {
  TempFile request("text-views-refused.json");
  request.write(kRefusedRequest);
  TempFile header("text-views.header");
  const ToolOutcome text =
      runInProcess({"write", request.path(), "--header", header.path(), "--text"});
  const ToolOutcome json = runInProcess({"write", request.path(), "--header", header.path()});
  EXPECT_EQ(text.code, kExitRefused);
  EXPECT_EQ(json.code, kExitRefused);
  const std::string error = nlohmann::json::parse(json.out).at("error").get<std::string>();
  EXPECT_EQ(text.out, "Refused: " + error + "\n");
}

// A movie extended to its final size holds nothing past its header until recorded; once the
// recorder has written the timecode sample, its start is shown.
TEST(TextViewsTest, InspectSaysWhatIsRecordedOfAMovie) {
  TempFile movie("text-views.mov");
  ASSERT_EQ(
      runInProcess({"write", examplePath("2vuy_25p_global_tc.json"), "--file", movie.path()}).code,
      kExitSuccess);
  if (writtenFrom(movie.path(), 5'000'000) != false) {
    GTEST_SKIP() << "the file system of " << movie.path() << " does not report holes";
  }
  const ToolOutcome before = runInProcess({"inspect", movie.path(), "--text"});
  EXPECT_EQ(before.code, kExitSuccess) << before.err;
  EXPECT_THAT(before.out, HasSubstr("QuickTime movie of 67.0 MB (66,986,004 bytes), "));
  EXPECT_THAT(before.out, HasSubstr("nothing recorded yet"));
  EXPECT_THAT(before.out, HasSubstr("start not recorded yet"));

  // The recorder writes the global timecode sample, in the 4 bytes before the media data
  // (frame 100 at 25 fps), and the first video frame after it.
  {
    std::fstream file(movie.path(), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4'194'304 - 4);
    file.write("\x00\x00\x00\x64", 4);
    file.write(std::string(829'440, '\x80').data(), 829'440);
  }
  const ToolOutcome after = runInProcess({"inspect", movie.path(), "--text"});
  EXPECT_THAT(after.out, HasSubstr("starts at 00:00:04:00; non-drop frame; reel \"B002\""));
  EXPECT_THAT(after.out, Not(HasSubstr("nothing recorded yet")));
}

TEST(TextTableTest, PadsColumnsAndAlignsNumbersRight) {
  TextTable table(
      {{"ID", TextTable::Align::kRight}, {"kind"}, {"bytes", TextTable::Align::kRight}});
  table.addRow({"1", "video", "1,052,640"});
  table.addRow({"10", "captions"});
  std::ostringstream out;
  table.print(out, "  ");
  EXPECT_EQ(out.str(),
            "  ID  kind          bytes\n"
            "   1  video     1,052,640\n"
            "  10  captions\n");
}

// Hostile bytes anywhere in the header, or a header cut anywhere, give a view and an exit code,
// never a fault (the sanitizers watch this test).
TEST(TextViewsTest, InspectViewsEveryCutAndEveryDamagedByteOfAHeader) {
  TempFile header("text-views.header");
  ASSERT_TRUE(wroteHeader("v210_2997i_2ch_tc_cc", header));
  const std::string whole = header.read();
  const size_t moovSize = 2'972;  // the header's atoms; the rest is padding
  TempFile damaged("text-views-damaged.header");
  size_t views = 0;
  const auto view = [&](const std::string& bytes) {
    damaged.write(bytes);
    const ToolOutcome run = runInProcess({"inspect", damaged.path(), "--text", "--atoms"});
    EXPECT_TRUE(run.code == kExitSuccess || run.code == kExitBadInput) << run.code;
    if (!run.out.empty()) ++views;
  };
  // Every fourth byte keeps the test quick; the fuzz target of the sample tables reads the same
  // descriptions byte by byte.
  for (size_t cut = 0; cut <= moovSize; cut += 29) view(whole.substr(0, cut));
  for (size_t at = 0; at < moovSize; at += 4) {
    std::string bytes = whole.substr(0, moovSize + 64);
    bytes[at] = static_cast<char>(0xFF);
    view(bytes);
  }
  EXPECT_GT(views, moovSize / 4);  // most damaged headers still show something
}

}  // namespace
}  // namespace premoov
