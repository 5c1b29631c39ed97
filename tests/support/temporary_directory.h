#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace premoov::testing {

// A private directory under the system's temporary directory, removed with everything in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "premoovd-test-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data()) ? pattern : "";
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace premoov::testing
