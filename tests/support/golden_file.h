#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace premoov {

// Compares `actual` with the golden file at `relativePath` under tests/. With
// PREMOOV_UPDATE_GOLDEN=1 in the environment the file is written instead and the test passes:
// review the change with git diff before committing it.
inline ::testing::AssertionResult matchesGoldenFile(const std::string& relativePath,
                                                    const std::string& actual) {
  const std::string path = std::string(PREMOOV_SOURCE_DIR) + "/tests/" + relativePath;
  const char* update = std::getenv("PREMOOV_UPDATE_GOLDEN");
  if (update != nullptr && std::string(update) == "1") {
    std::ofstream(path, std::ios::binary) << actual;
    return ::testing::AssertionSuccess() << "wrote " << path;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    return ::testing::AssertionFailure()
           << "no golden file " << path << " (PREMOOV_UPDATE_GOLDEN=1 writes it)";
  }
  const std::string expected((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
  if (expected == actual) return ::testing::AssertionSuccess();
  std::istringstream expectedLines(expected), actualLines(actual);
  std::string expectedLine, actualLine;
  for (int line = 1;; ++line) {
    const bool moreExpected = static_cast<bool>(std::getline(expectedLines, expectedLine));
    const bool moreActual = static_cast<bool>(std::getline(actualLines, actualLine));
    if (!moreExpected && !moreActual) break;
    if (moreExpected != moreActual || expectedLine != actualLine) {
      return ::testing::AssertionFailure()
             << path << " differs at line " << line
             << ":\n  expected: " << (moreExpected ? expectedLine : "(end of file)")
             << "\n  actual:   " << (moreActual ? actualLine : "(end of output)")
             << "\n(PREMOOV_UPDATE_GOLDEN=1 rewrites the file; review it with git diff)";
    }
  }
  return ::testing::AssertionFailure() << path << " differs in its line endings";
}

}  // namespace premoov
