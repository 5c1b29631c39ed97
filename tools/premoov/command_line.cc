#include <CLI/CLI.hpp>

#include "premoov/commands.h"

namespace premoov {

int runCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app{"QuickTime movie headers for growing files, from JSON header requests.", "premoov"};
  app.require_subcommand(1);

  WriteOptions write;
  CLI::App* writeCommand =
      app.add_subcommand("write", "Write the header of a request, alone and/or as a movie file.");
  writeCommand->add_option("request", write.requestPath, "The request file (JSON).")->required();
  writeCommand->add_option("--header", write.headerPath, "Write the header bytes to this file.");
  writeCommand->add_option("--file", write.filePath,
                           "Write a movie file: the header at offset 0, extended to the reply's "
                           "file size.");

  std::string planRequest;
  CLI::App* planCommand =
      app.add_subcommand("plan", "Print the sample layout of a request: the write map.");
  planCommand->add_option("request", planRequest, "The request file (JSON).")->required();

  std::string inspectPath;
  CLI::App* inspectCommand =
      app.add_subcommand("inspect", "Print the atom tree and the tracks of a movie file.");
  inspectCommand->add_option("file", inspectPath, "The movie file; a header alone will do.")
      ->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help answers 0; every other problem with the arguments is bad input.
    const int code = app.exit(error, out, err);
    return code == 0 ? kExitSuccess : kExitBadInput;
  }
  if (writeCommand->parsed()) return runWriteCommand(write, out, err);
  if (planCommand->parsed()) return runPlanCommand(planRequest, out, err);
  if (inspectCommand->parsed()) return runInspectCommand(inspectPath, out, err);
  return kExitBadInput;  // require_subcommand(1) leaves no other case
}

}  // namespace premoov
