#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace premoov {

// A path of its own under the test temporary folder (the process id keeps test programs that run
// side by side apart), removed when it goes out of scope.
class TempFile {
 public:
  explicit TempFile(std::string_view name)
      : path_(::testing::TempDir() + "premoov-test-" + std::to_string(::getpid()) + "-" +
              std::string(name)) {
    std::remove(path_.c_str());
  }
  ~TempFile() { std::remove(path_.c_str()); }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  const std::string& path() const { return path_; }
  const TempFile& write(std::string_view text) const {
    std::ofstream(path_, std::ios::binary) << text;
    return *this;
  }
  std::string read() const {
    std::ifstream in(path_, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  std::string path_;
};

// The keys of a JSON object in the order they were printed.
inline std::vector<std::string> keysOf(const nlohmann::ordered_json& json) {
  std::vector<std::string> keys;
  for (const auto& item : json.items()) keys.push_back(item.key());
  return keys;
}

inline std::string examplePath(std::string_view name) {
  return std::string(PREMOOV_SOURCE_DIR) + "/examples/" + std::string(name);
}

// A request the movie creator refuses: no codec and no frame size, so no frame size at all.
inline constexpr const char* kRefusedRequest = R"({
  "path": "/tmp/refused.mov", "newFile": true, "blockSize": 4096,
  "duration": {"value": 30030, "timescale": 30000}, "settings": {}})";

}  // namespace premoov
