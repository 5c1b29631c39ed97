// `premoov request` against a real premoovd: the same answers and bytes as `premoov write`.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "premoov/commands.h"
#include "service/service_process.h"
#include "tools/tool_runs.h"

namespace premoov::testing {
namespace {

std::vector<std::string> exampleRequests() {
  std::vector<std::string> paths;
  for (const char* folder : {"/examples", "/tests/readers/requests"}) {
    for (const auto& entry :
         std::filesystem::directory_iterator(PREMOOV_SOURCE_DIR + std::string(folder))) {
      if (entry.path().extension() == ".json") paths.push_back(entry.path().string());
    }
  }
  std::sort(paths.begin(), paths.end());
#ifdef PREMOOV_UNDER_TSAN
  // ThreadSanitizer checks the service's threads, which every request crosses alike, and makes
  // each header ten times slower to build: every third request will do there. The sanitizer build
  // compares them all.
  std::vector<std::string> some;
  for (size_t i = 0; i < paths.size(); i += 3) some.push_back(paths[i]);
  return some;
#else
  return paths;
#endif
}

TEST(RequestCommandTest, GivesTheHeaderWriteGivesForEveryExampleRequest) {
  ServiceProcess service;
  ASSERT_TRUE(service.ready()) << service.log();
  TempFile viaService("service.header");
  TempFile inProcess("write.header");
  const auto requests = exampleRequests();
  ASSERT_GE(requests.size(), 3u);
  for (const std::string& request : requests) {
    SCOPED_TRACE(request);
    const ToolOutcome served = runInProcess(
        {"request", request, "--socket", service.socketPath(), "--header", viaService.path()});
    const ToolOutcome written = runInProcess({"write", request, "--header", inProcess.path()});
    EXPECT_EQ(served.code, written.code) << served.err;
    EXPECT_EQ(served.out, written.out);
    const std::string header = viaService.read();
    EXPECT_GT(header.size(), 0u);
    EXPECT_TRUE(header == inProcess.read()) << "the headers differ";
  }
}

TEST(RequestCommandTest, RepeatsOnOneConnectionAndAnswersEachRequest) {
  ServiceProcess service;
  TempFile header("repeated.header");
  const std::string request = examplePath("2vuy_25p_global_tc.json");
  const ToolOutcome once = runInProcess({"write", request, "--header", header.path()});
  const ToolOutcome thrice = runInProcess({"request", request, "--socket", service.socketPath(),
                                           "--header", header.path(), "--repeat", "3"});
  EXPECT_EQ(thrice.code, kExitSuccess) << thrice.err;
  EXPECT_EQ(thrice.out, once.out + once.out + once.out);
}

TEST(RequestCommandTest, ACancelBeforeTheRequestLeavesItUnanswered) {
  ServiceProcess service;
  const ToolOutcome run = runInProcess({"request", examplePath("2vuy_25p_global_tc.json"),
                                        "--socket", service.socketPath(), "--cancel-before"});
  EXPECT_EQ(run.code, kExitSuccess) << run.err;
  EXPECT_EQ(run.out, "{\"cancelled\":true,\"replies\":0}\n");
}

TEST(RequestCommandTest, AnswersInTextAsWriteDoes) {
  ServiceProcess service;
  TempFile header("text.header");
  const std::string request = examplePath("2vuy_25p_global_tc.json");
  const ToolOutcome served = runInProcess(
      {"request", request, "--socket", service.socketPath(), "--header", header.path(), "--text"});
  const ToolOutcome written = runInProcess({"write", request, "--header", header.path(), "--text"});
  EXPECT_EQ(served.code, kExitSuccess) << served.err;
  EXPECT_EQ(served.out, "Header of 4,194,304 bytes written to " + header.path() +
                            "; the recording will be 67.0 MB; frame size 829,440 bytes\n");
  EXPECT_EQ(served.out, written.out);

  const ToolOutcome cancelled = runInProcess(
      {"request", request, "--socket", service.socketPath(), "--cancel-before", "--text"});
  EXPECT_EQ(cancelled.code, kExitSuccess) << cancelled.err;
  EXPECT_EQ(cancelled.out,
            "Cancelled before the request: the service replied nothing, as it should\n");
}

TEST(RequestCommandTest, ARefusedRequestAnswersAsWriteDoes) {
  ServiceProcess service;
  TempFile request("refused.json");
  request.write(kRefusedRequest);
  TempFile header("refused.header");
  const ToolOutcome served = runInProcess(
      {"request", request.path(), "--socket", service.socketPath(), "--header", header.path()});
  const ToolOutcome written = runInProcess({"write", request.path(), "--header", header.path()});
  EXPECT_EQ(served.code, kExitRefused);
  EXPECT_EQ(served.out, "{\"error\":\"Could not get max frame size\",\"growing\":true}\n");
  EXPECT_EQ(served.out, written.out);
}

TEST(RequestCommandTest, SaysSoWhenNoServiceAnswers) {
  TemporaryDirectory nowhere;
  const ToolOutcome run =
      runInProcess({"request", examplePath("2vuy_25p_global_tc.json"), "--socket",
                    nowhere.path() + "/none.sock", "--header", nowhere.path() + "/h"});
  EXPECT_EQ(run.code, kExitNoService);
  EXPECT_NE(run.err.find("no service answers at " + nowhere.path() + "/none.sock"),
            std::string::npos)
      << run.err;
  EXPECT_TRUE(run.out.empty());
}

}  // namespace
}  // namespace premoov::testing
