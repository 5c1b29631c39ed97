#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "premoov/commands.h"
#include "support/test_files.h"

namespace premoov {

// What one run of the tool answered.
struct ToolOutcome {
  int code = -1;
  std::string out;
  std::string err;
};

// The command line run in this process, "premoov" in front of `arguments`.
inline ToolOutcome runInProcess(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "premoov");
  std::vector<const char*> argv;
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  std::ostringstream out, err;
  ToolOutcome outcome;
  outcome.code = runCommandLine(static_cast<int>(argv.size()), argv.data(), out, err);
  outcome.out = out.str();
  outcome.err = err.str();
  return outcome;
}

// The built premoov program run by the shell, its output caught in files.
inline ToolOutcome runToolProgram(const std::vector<std::string>& arguments) {
  const auto quoted = [](const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
  };
  TempFile out("tool-runs-stdout.txt");
  TempFile err("tool-runs-stderr.txt");
  std::string command = quoted(PREMOOV_TOOL_PATH);
  for (const auto& argument : arguments) command += " " + quoted(argument);
  command += " >" + quoted(out.path()) + " 2>" + quoted(err.path());
  const int status = std::system(command.c_str());
  ToolOutcome outcome;
  outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  outcome.out = out.read();
  outcome.err = err.read();
  return outcome;
}

}  // namespace premoov
