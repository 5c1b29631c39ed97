#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "premoov/commands.h"
#include "support/test_files.h"

namespace premoov {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

Outcome run(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "premoov");
  std::vector<const char*> argv;
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  std::ostringstream out, err;
  Outcome result;
  result.code = runCommandLine(static_cast<int>(argv.size()), argv.data(), out, err);
  result.out = out.str();
  result.err = err.str();
  return result;
}

TEST(CommandLineTest, RunsEachCommand) {
  TempFile header("command-line.bin");
  const Outcome write =
      run({"write", examplePath("2vuy_25p_global_tc.json"), "--header", header.path()});
  EXPECT_EQ(write.code, kExitSuccess) << write.err;
  EXPECT_EQ(nlohmann::json::parse(write.out)["headerRoom"], 4194304);

  const Outcome plan = run({"plan", examplePath("2vuy_25p_global_tc.json")});
  EXPECT_EQ(plan.code, kExitSuccess) << plan.err;
  EXPECT_TRUE(nlohmann::json::parse(plan.out).contains("references"));

  const Outcome inspect = run({"inspect", header.path()});
  EXPECT_EQ(inspect.code, kExitSuccess) << inspect.err;
  EXPECT_EQ(nlohmann::json::parse(inspect.out)["tracks"].size(), 3u);  // video, sound, timecode
}

TEST(CommandLineTest, HelpIsNoFailure) {
  const Outcome help = run({"--help"});
  EXPECT_EQ(help.code, kExitSuccess);
  EXPECT_THAT(help.out, HasSubstr("write"));
  EXPECT_THAT(help.out, HasSubstr("plan"));
  EXPECT_THAT(help.out, HasSubstr("inspect"));
  const Outcome writeHelp = run({"write", "--help"});
  EXPECT_EQ(writeHelp.code, kExitSuccess);
  EXPECT_THAT(writeHelp.out, HasSubstr("--header"));
}

TEST(CommandLineTest, BadArgumentsAreBadInput) {
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {},
           {"record"},
           {"write"},
           {"plan"},
           {"inspect"},
           {"plan", "a.json", "b.json"},
           {"write", "a.json", "--header"},
           {"write", "a.json", "--size", "3"},
       }) {
    const Outcome bad = run(arguments);
    EXPECT_EQ(bad.code, kExitBadInput) << ::testing::PrintToString(arguments);
    EXPECT_THAT(bad.err, Not(IsEmpty())) << ::testing::PrintToString(arguments);
    EXPECT_THAT(bad.out, IsEmpty()) << ::testing::PrintToString(arguments);
  }
}

TEST(CommandLineTest, WriteWantsAnOutput) {
  const Outcome bad = run({"write", examplePath("2vuy_25p_global_tc.json")});
  EXPECT_EQ(bad.code, kExitBadInput);
  EXPECT_EQ(bad.err, "premoov write: give --header OUT, --file OUT.mov or both\n");
}

}  // namespace
}  // namespace premoov
