#include "requests/file_io.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>

#include "support/test_files.h"

namespace premoov {
namespace {

class FileIoTest : public ::testing::Test {
 protected:
  TempFile file_{"file-io.bin"};
  const std::string& path_ = file_.path();
};

TEST_F(FileIoTest, ReadsAWholeFileWithinTheLimit) {
  {
    std::ofstream out(path_, std::ios::binary);
    out << std::string(200000, 'x') << "end";
  }
  auto text = readWholeFile(path_, 200003);
  ASSERT_TRUE(text) << text.error();
  EXPECT_EQ(text->size(), 200003u);
  EXPECT_EQ(text->substr(200000), "end");
  EXPECT_EQ(readWholeFile(path_, 200002).error(),
            path_ + ": is larger than the tool reads: 200002 bytes");
}

TEST_F(FileIoTest, ReadsAnEmptyFile) {
  { std::ofstream out(path_); }
  auto text = readWholeFile(path_, 10);
  ASSERT_TRUE(text) << text.error();
  EXPECT_TRUE(text->empty());
}

TEST_F(FileIoTest, ReadsARangeAndTheSize) {
  {
    std::ofstream out(path_, std::ios::binary);
    out << "0123456789";
  }
  EXPECT_EQ(*readFileRange(path_, 3, 4), "3456");
  EXPECT_EQ(*readFileRange(path_, 8, 4), "89");
  EXPECT_EQ(*readFileRange(path_, 20, 4), "");
  EXPECT_EQ(*fileSizeOf(path_), 10u);
  EXPECT_EQ(fileSizeOf(path_ + ".none").error(),
            path_ + ".none: cannot read: No such file or directory");
  EXPECT_EQ(readFileRange(path_ + ".none", 0, 1).error(),
            path_ + ".none: cannot read: No such file or directory");
}

TEST_F(FileIoTest, WritesAtTheStartAndExtendsTheFile) {
  {
    std::ofstream out(path_, std::ios::binary);
    out << std::string(100, 'o');  // an older, longer file is emptied first
  }
  const std::vector<uint8_t> header = {1, 2, 3, 4};
  auto length = writeFileAtStart(path_, header, 1 << 20);
  ASSERT_TRUE(length) << length.error();
  EXPECT_EQ(*length, 1u << 20);
  EXPECT_EQ(*fileSizeOf(path_), 1u << 20);
  EXPECT_EQ(*readFileRange(path_, 0, 6), std::string("\x01\x02\x03\x04\x00\x00", 6));
  struct stat status {};
  ASSERT_EQ(::stat(path_.c_str(), &status), 0);
  // The extension is a hole: far fewer 512-byte blocks than the length needs.
  EXPECT_LT(status.st_blocks * 512, 1 << 19);
}

TEST_F(FileIoTest, KeepsTheBytesWhenTheLengthIsShorter) {
  const std::vector<uint8_t> header(10, 7);
  auto length = writeFileAtStart(path_, header, 4);
  ASSERT_TRUE(length) << length.error();
  EXPECT_EQ(*length, 10u);
  EXPECT_EQ(*fileSizeOf(path_), 10u);
}

TEST_F(FileIoTest, NamesAFileThatCannotBeWritten) {
  const std::string path = ::testing::TempDir() + "no-such-folder/x.mov";
  EXPECT_EQ(writeFileAtStart(path, {}, 0).error(),
            path + ": cannot write: No such file or directory");
}

}  // namespace
}  // namespace premoov
