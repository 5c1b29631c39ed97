#pragma once

#include <ostream>
#include <string>

namespace premoov {

// Exit codes of the tool.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitBadInput = 1;  // unreadable or malformed input, bad arguments
inline constexpr int kExitRefused = 2;   // the movie creator refused the request

// Each command prints its JSON answer to `out` and problems with its input to `err`, and answers
// its exit code. None throws for bad input.

struct WriteOptions {
  std::string requestPath{};
  std::string headerPath{};  // empty: no header file
  std::string filePath{};    // empty: no movie file
};
// `premoov write REQUEST.json [--header OUT] [--file OUT.mov]`: the header bytes alone, and/or a
// movie file that holds them at offset 0 and is extended (sparse) to the reply's file size, the
// file a recorder starts from. Prints {"growing", "frameSize", "fileSize", "headerRoom"}.
int runWriteCommand(const WriteOptions& options, std::ostream& out, std::ostream& err);

// `premoov plan REQUEST.json`: the recorder's write map, every sample reference in the order the
// layout made it, with the header room, the media data start and end and the reply's sizes.
int runPlanCommand(const std::string& requestPath, std::ostream& out, std::ostream& err);

// `premoov inspect FILE.mov`: the atom tree and, per track, its kind, codec, sample count,
// duration and the positions of its first and last samples. A header-only file is accepted.
int runInspectCommand(const std::string& moviePath, std::ostream& out, std::ostream& err);

// The whole command line, argv[0] included.
int runCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace premoov
