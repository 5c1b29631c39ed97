// `premoov request` against a real premoovd: the same answers and bytes as `premoov write`.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "premoov/commands.h"
#include "service/service_process.h"

namespace premoov::testing {
namespace {

struct ToolRun {
  int code = -1;
  std::string out;
  std::string err;
};

ToolRun premoov(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "premoov");
  std::vector<const char*> argv;
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  std::ostringstream out, err;
  ToolRun run;
  run.code = runCommandLine(static_cast<int>(argv.size()), argv.data(), out, err);
  run.out = out.str();
  run.err = err.str();
  return run;
}

std::string contents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

std::vector<std::string> exampleRequests() {
  std::vector<std::string> paths;
  for (const char* folder : {"/examples", "/tests/readers/requests"}) {
    for (const auto& entry :
         std::filesystem::directory_iterator(PREMOOV_SOURCE_DIR + std::string(folder))) {
      if (entry.path().extension() == ".json") paths.push_back(entry.path().string());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

TEST(RequestCommandTest, GivesTheHeaderWriteGivesForEveryExampleRequest) {
  ServiceProcess service;
  ASSERT_TRUE(service.ready()) << service.log();
  TemporaryDirectory out;
  const auto requests = exampleRequests();
  ASSERT_GE(requests.size(), 5u);
  for (const std::string& request : requests) {
    SCOPED_TRACE(request);
    const std::string viaService = out.path() + "/service.header";
    const std::string inProcess = out.path() + "/write.header";
    const ToolRun served =
        premoov({"request", request, "--socket", service.socketPath(), "--header", viaService});
    const ToolRun written = premoov({"write", request, "--header", inProcess});
    EXPECT_EQ(served.code, written.code) << served.err;
    EXPECT_EQ(served.out, written.out);
    const std::string header = contents(viaService);
    EXPECT_GT(header.size(), 0u);
    EXPECT_TRUE(header == contents(inProcess)) << "the headers differ";
  }
}

TEST(RequestCommandTest, RepeatsOnOneConnectionAndAnswersEachRequest) {
  ServiceProcess service;
  TemporaryDirectory out;
  const std::string request = PREMOOV_SOURCE_DIR "/examples/2vuy_25p_global_tc.json";
  const ToolRun once = premoov({"write", request, "--header", out.path() + "/h"});
  const ToolRun thrice = premoov({"request", request, "--socket", service.socketPath(), "--header",
                                  out.path() + "/h", "--repeat", "3"});
  EXPECT_EQ(thrice.code, kExitSuccess) << thrice.err;
  EXPECT_EQ(thrice.out, once.out + once.out + once.out);
}

TEST(RequestCommandTest, ACancelBeforeTheRequestLeavesItUnanswered) {
  ServiceProcess service;
  const ToolRun run = premoov({"request", PREMOOV_SOURCE_DIR "/examples/2vuy_25p_global_tc.json",
                               "--socket", service.socketPath(), "--cancel-before"});
  EXPECT_EQ(run.code, kExitSuccess) << run.err;
  EXPECT_EQ(run.out, "{\"cancelled\":true,\"replies\":0}\n");
}

TEST(RequestCommandTest, ARefusedRequestAnswersAsWriteDoes) {
  ServiceProcess service;
  TemporaryDirectory out;
  const std::string request = out.path() + "/refused.json";
  std::ofstream(request) << R"({"path": "/tmp/x.mov", "newFile": false, "blockSize": 4096,
    "duration": {"value": 1, "timescale": 1}, "settings": {}})";
  const ToolRun served = premoov(
      {"request", request, "--socket", service.socketPath(), "--header", out.path() + "/h"});
  EXPECT_EQ(served.code, kExitRefused);
  EXPECT_EQ(served.out, "{\"error\":\"Could not get max frame size\",\"growing\":false}\n");
}

TEST(RequestCommandTest, SaysSoWhenNoServiceAnswers) {
  TemporaryDirectory nowhere;
  const ToolRun run =
      premoov({"request", PREMOOV_SOURCE_DIR "/examples/2vuy_25p_global_tc.json", "--socket",
               nowhere.path() + "/none.sock", "--header", nowhere.path() + "/h"});
  EXPECT_EQ(run.code, kExitNoService);
  EXPECT_NE(run.err.find("no service answers at " + nowhere.path() + "/none.sock"),
            std::string::npos)
      << run.err;
  EXPECT_TRUE(run.out.empty());
}

}  // namespace
}  // namespace premoov::testing
