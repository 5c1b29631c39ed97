// Runs the built command-line tool as a recorder's scripts would: exit codes, standard output and
// standard error of the real program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "support/test_files.h"

namespace premoov {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

std::string quoted(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

Outcome runTool(const std::vector<std::string>& arguments) {
  TempFile out("main-stdout.txt");
  TempFile err("main-stderr.txt");
  std::string command = quoted(PREMOOV_TOOL_PATH);
  for (const auto& argument : arguments) command += " " + quoted(argument);
  command += " >" + quoted(out.path()) + " 2>" + quoted(err.path());
  const int status = std::system(command.c_str());
  Outcome outcome;
  outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  outcome.out = out.read();
  outcome.err = err.read();
  return outcome;
}

uint64_t sizeOnDisk(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

TEST(MainTest, WritesAMovieFileOfTheReplysSize) {
  TempFile movie("main-movie.mov");
  const Outcome run =
      runTool({"write", examplePath("v210_2997i_2ch_tc_cc.json"), "--file", movie.path()});
  ASSERT_EQ(run.code, 0) << run.err;
  const auto answer = nlohmann::json::parse(run.out);
  ASSERT_TRUE(answer.is_object());
  EXPECT_EQ(answer.size(), 4u);
  EXPECT_EQ(answer["growing"], true);
  EXPECT_EQ(answer["headerRoom"], 4194304);
  EXPECT_EQ(sizeOnDisk(movie.path()), answer["fileSize"].get<uint64_t>());

  const Outcome inspect = runTool({"inspect", movie.path()});
  ASSERT_EQ(inspect.code, 0) << inspect.err;
  const auto tree = nlohmann::json::parse(inspect.out);
  EXPECT_EQ(tree["fileSize"], answer["fileSize"]);
  EXPECT_EQ(tree["tracks"].size(), 5u);
}

TEST(MainTest, WritesTheHeaderOfEveryExample) {
  for (const char* example : {"prores_hq_1080i2997_8ch_1h.json", "v210_2997i_2ch_tc_cc.json",
                              "2vuy_25p_global_tc.json", "2vuy_2997_mid_group.json"}) {
    TempFile header("main-header.bin");
    const Outcome run = runTool({"write", examplePath(example), "--header", header.path()});
    ASSERT_EQ(run.code, 0) << example << ": " << run.err;
    const auto answer = nlohmann::json::parse(run.out);
    EXPECT_EQ(sizeOnDisk(header.path()), answer["headerRoom"].get<uint64_t>()) << example;
    EXPECT_GT(answer["fileSize"].get<uint64_t>(), answer["headerRoom"].get<uint64_t>()) << example;
  }
}

TEST(MainTest, PlansTheShortExamples) {
  for (const char* example :
       {"v210_2997i_2ch_tc_cc.json", "2vuy_25p_global_tc.json", "2vuy_2997_mid_group.json"}) {
    const Outcome run = runTool({"plan", examplePath(example)});
    ASSERT_EQ(run.code, 0) << example << ": " << run.err;
    const auto plan = nlohmann::json::parse(run.out);
    EXPECT_FALSE(plan["references"].empty()) << example;
  }
}

TEST(MainTest, ARefusedRequestExitsTwoWithTheErrorOnStandardOutput) {
  TempFile request("main-refused.json");
  request.write(kRefusedRequest);
  TempFile header("main-refused.bin");
  const Outcome run = runTool({"write", request.path(), "--header", header.path()});
  EXPECT_EQ(run.code, 2);
  EXPECT_EQ(run.out, "{\"error\":\"Could not get max frame size\",\"growing\":true}\n");
  const Outcome plan = runTool({"plan", request.path()});
  EXPECT_EQ(plan.code, 2);
  EXPECT_EQ(plan.out, run.out);
}

TEST(MainTest, BadInputExitsOneNamingTheFileAndKey) {
  TempFile request("main-bad.json");
  request.write(R"({"path": "/tmp/x.mov", "newFile": true, "blockSize": 4096,
      "duration": {"value": 1, "timescale": 25}, "settings": {"videoDimensions": [1920]}})");
  const Outcome run = runTool({"plan", request.path()});
  EXPECT_EQ(run.code, 1);
  EXPECT_THAT(run.out, IsEmpty());
  EXPECT_EQ(run.err, request.path() +
                         ": \"settings.videoDimensions\" must be [width, height] of integers\n");

  request.write("{\"path\": [}");
  const Outcome malformed = runTool({"plan", request.path()});
  EXPECT_EQ(malformed.code, 1);
  EXPECT_THAT(malformed.err,
              StartsWith(request.path() + ": malformed JSON: parse error at line 1"));

  const Outcome missing = runTool({"plan", request.path() + ".none"});
  EXPECT_EQ(missing.code, 1);
  EXPECT_EQ(missing.err, request.path() + ".none: cannot read: No such file or directory\n");
}

TEST(MainTest, BadArgumentsExitOne) {
  EXPECT_EQ(runTool({}).code, 1);
  EXPECT_EQ(runTool({"write", examplePath("2vuy_25p_global_tc.json")}).code, 1);
  EXPECT_EQ(runTool({"inspect"}).code, 1);
  EXPECT_EQ(runTool({"--help"}).code, 0);
}

}  // namespace
}  // namespace premoov
