#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "premoov/commands.h"
#include "support/test_files.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using OrderedJson = nlohmann::ordered_json;

uint64_t sizeOnDisk(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

TEST(WriteCommandTest, WritesTheHeaderAndTheMovieFileARecorderStartsFrom) {
  TempFile header("write-header.bin");
  TempFile movie("write-movie.mov");
  std::ostringstream out, err;
  const int code = runWriteCommand({.requestPath = examplePath("v210_2997i_2ch_tc_cc.json"),
                                    .headerPath = header.path(),
                                    .filePath = movie.path()},
                                   out, err);
  ASSERT_EQ(code, kExitSuccess) << err.str();
  EXPECT_THAT(err.str(), IsEmpty());

  const auto answer = OrderedJson::parse(out.str());
  EXPECT_THAT(keysOf(answer), ElementsAre("growing", "frameSize", "fileSize", "headerRoom"));
  EXPECT_EQ(answer["growing"], true);
  EXPECT_EQ(answer["frameSize"], 5529600);  // 1080 rows of 5,120 bytes of v210
  EXPECT_EQ(answer["headerRoom"], 4194304);
  EXPECT_EQ(sizeOnDisk(header.path()), answer["headerRoom"].get<uint64_t>());
  EXPECT_EQ(sizeOnDisk(movie.path()), answer["fileSize"].get<uint64_t>());

  std::ifstream in(movie.path(), std::ios::binary);
  std::string start(answer["headerRoom"].get<size_t>(), '\0');
  in.read(start.data(), static_cast<std::streamsize>(start.size()));
  EXPECT_EQ(start, header.read());
  EXPECT_EQ(start.substr(4, 4), "moov");
}

TEST(WriteCommandTest, WritesEitherOutputAlone) {
  TempFile header("write-header-only.bin");
  std::ostringstream out, err;
  ASSERT_EQ(runWriteCommand({.requestPath = examplePath("2vuy_25p_global_tc.json"),
                             .headerPath = header.path()},
                            out, err),
            kExitSuccess)
      << err.str();
  EXPECT_EQ(sizeOnDisk(header.path()), 4194304u);

  TempFile movie("write-movie-only.mov");
  std::ostringstream out2, err2;
  ASSERT_EQ(runWriteCommand(
                {.requestPath = examplePath("2vuy_25p_global_tc.json"), .filePath = movie.path()},
                out2, err2),
            kExitSuccess)
      << err2.str();
  EXPECT_EQ(sizeOnDisk(movie.path()), OrderedJson::parse(out2.str())["fileSize"].get<uint64_t>());
  EXPECT_EQ(out.str(), out2.str());
}

TEST(WriteCommandTest, PrintsTheRefusalAndWritesNothing) {
  TempFile request("write-refused.json");
  request.write(kRefusedRequest);
  TempFile header("write-refused.bin");
  std::ostringstream out, err;
  EXPECT_EQ(runWriteCommand({.requestPath = request.path(), .headerPath = header.path()}, out, err),
            kExitRefused);
  EXPECT_EQ(out.str(), "{\"error\":\"Could not get max frame size\",\"growing\":true}\n");
  EXPECT_THAT(err.str(), IsEmpty());
  EXPECT_EQ(sizeOnDisk(header.path()), 0u);
}

TEST(WriteCommandTest, NamesTheFileAndKeyOfABadRequest) {
  TempFile request("write-bad.json");
  request.write(R"({"path": "/tmp/x.mov", "newFile": "yes"})");
  TempFile header("write-bad.bin");
  std::ostringstream out, err;
  EXPECT_EQ(runWriteCommand({.requestPath = request.path(), .headerPath = header.path()}, out, err),
            kExitBadInput);
  EXPECT_THAT(out.str(), IsEmpty());
  EXPECT_EQ(err.str(), request.path() + ": \"newFile\" must be true or false\n");
}

TEST(WriteCommandTest, AsksForAnOutput) {
  std::ostringstream out, err;
  EXPECT_EQ(runWriteCommand({.requestPath = examplePath("2vuy_25p_global_tc.json")}, out, err),
            kExitBadInput);
  EXPECT_EQ(err.str(), "premoov write: give --header OUT, --file OUT.mov or both\n");
  EXPECT_THAT(out.str(), IsEmpty());
}

TEST(WriteCommandTest, NamesAnOutputThatCannotBeWritten) {
  const std::string folder = ::testing::TempDir() + "premoov-no-such-folder/";
  std::ostringstream out, err;
  EXPECT_EQ(runWriteCommand({.requestPath = examplePath("2vuy_25p_global_tc.json"),
                             .filePath = folder + "x.mov"},
                            out, err),
            kExitBadInput);
  EXPECT_EQ(err.str(), folder + "x.mov: cannot write: No such file or directory\n");
  EXPECT_THAT(out.str(), IsEmpty());
}

}  // namespace
}  // namespace premoov
