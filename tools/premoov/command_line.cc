#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/help_texts.h"

namespace premoov {

namespace {

// --json and --text, which exclude each other.
struct StyleFlags {
  bool json = false;
  bool text = false;
};

void addStyleFlags(CLI::App* command, StyleFlags& flags) {
  CLI::Option* json = command->add_flag(
      "--json", flags.json, "Print JSON (the default when the output is not a terminal).");
  command
      ->add_flag("--text", flags.text,
                 "Print readable text (the default on a terminal), even into a pipe.")
      ->excludes(json);
}

}  // namespace

int runCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                   bool outputIsTerminal) {
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
  StyleFlags writeStyle;
  addStyleFlags(writeCommand, writeStyle);

  RequestOptions request;
  CLI::App* requestCommand = app.add_subcommand(
      "request", "Write the header of a request as `write` does, through the header service.");
  requestCommand->add_option("request", request.write.requestPath, "The request file (JSON).")
      ->required();
  requestCommand->add_option("--socket", request.socketPath,
                             "The service's socket (default: its usual place in the session).");
  requestCommand->add_option("--header", request.write.headerPath,
                             "Write the header bytes to this file.");
  requestCommand->add_option("--file", request.write.filePath,
                             "Write a movie file: the header at offset 0, extended to the "
                             "reply's file size.");
  requestCommand->add_flag("--cancel-before", request.cancelBefore,
                           "Send cancel first: the service then replies nothing.");
  requestCommand->add_option("--repeat", request.repeat, "Send the request this many times.")
      ->check(CLI::Range(1, 100000));
  StyleFlags requestStyle;
  addStyleFlags(requestCommand, requestStyle);

  std::string planRequest;
  CLI::App* planCommand =
      app.add_subcommand("plan", "Print the sample layout of a request: the write map.");
  planCommand->add_option("request", planRequest, "The request file (JSON).")->required();

  InspectOptions inspect;
  CLI::App* inspectCommand =
      app.add_subcommand("inspect", "Print the tracks, metadata and atom tree of a movie file.");
  inspectCommand->add_option("file", inspect.moviePath, "The movie file; a header alone will do.")
      ->required();
  inspectCommand->add_flag("--atoms", inspect.atoms,
                           "Show the atom tree in the text view too (JSON always has it).");
  StyleFlags inspectStyle;
  addStyleFlags(inspectCommand, inspectStyle);

  CLI::App* tokensCommand =
      app.add_subcommand("tokens", "Naming tokens: their kinds, patterns and menus.");
  tokensCommand->require_subcommand(1);
  CLI::App* tokenKindsCommand =
      tokensCommand->add_subcommand("kinds", "Print every token kind with its menu.");
  std::vector<std::string> parseTexts;
  CLI::App* tokenParseCommand = tokensCommand->add_subcommand(
      "parse", "Make a naming pattern from its per-element texts and print its token string.");
  tokenParseCommand
      ->add_option("text", parseTexts,
                   "Per-element texts: \"$$Day#EEE\" makes a token, \" take \" stays a string.")
      ->required();
  TokensMenuOptions menu;
  std::string menuPick;
  CLI::App* tokenMenuCommand = tokensCommand->add_subcommand(
      "menu", "Print the formatter menu of a token, and the token after choosing an item.");
  tokenMenuCommand->add_option("code", menu.code, "The token's code, like $$Day.")->required();
  CLI::Option* menuPickOption =
      tokenMenuCommand->add_option("--pick", menuPick, "Choose the menu item with this title.");

  CLI::App* archiveCommand =
      app.add_subcommand("archive", "Keyed archives: dump one, or make one of a token or item.");
  archiveCommand->require_subcommand(1);
  std::string dumpPath;
  CLI::App* archiveDumpCommand =
      archiveCommand->add_subcommand("dump", "Print the object graph of a keyed archive.");
  archiveDumpCommand->add_option("file", dumpPath, "The archive (binary or XML property list).")
      ->required();
  ArchiveTokenOptions archiveToken;
  CLI::App* archiveTokenCommand =
      archiveCommand->add_subcommand("token", "Write the keyed archive of one token.");
  archiveTokenCommand->add_option("code", archiveToken.code, "The token's code, like $$Day#EEE.")
      ->required();
  archiveTokenCommand->add_option("--out", archiveToken.outPath, "The archive file to write.")
      ->required();
  ArchiveItemOptions archiveItem;
  std::string itemString, itemNumber, itemDate;
  std::vector<std::string> itemTokens;
  CLI::App* archiveItemCommand =
      archiveCommand->add_subcommand("item", "Write the keyed archive of one metadata item.");
  archiveItemCommand->add_option("--key", archiveItem.key, "The item's key.")->required();
  CLI::Option* itemStringOption = archiveItemCommand->add_option(
      "--string", itemString, "A string value, or the text of a token list.");
  CLI::Option* itemNumberOption = archiveItemCommand->add_option(
      "--number", itemNumber, "A number value: an integer (64-bit) or a fraction (double).");
  CLI::Option* itemDateOption = archiveItemCommand->add_option(
      "--date", itemDate, "A date value, ISO 8601 with its offset: 2024-03-05T14:07:09+01:00.");
  CLI::Option* itemTokensOption = archiveItemCommand->add_option(
      "--tokens", itemTokens, "A token list value: its per-element texts.");
  archiveItemCommand->add_option("--out", archiveItem.outPath, "The archive file to write.")
      ->required();

  CLI::App* captionsCommand = app.add_subcommand("captions", "Caption tracks and caption files.");
  captionsCommand->require_subcommand(1);
  CaptionsDumpOptions captionsDump;
  uint64_t captionsLimit = 0;
  CLI::App* captionsDumpCommand = captionsCommand->add_subcommand(
      "dump", "Print every sample of the caption tracks of a movie, one line each.");
  captionsDumpCommand->add_option("file", captionsDump.moviePath, "The movie file.")->required();
  CLI::Option* captionsLimitOption = captionsDumpCommand->add_option(
      "--limit", captionsLimit,
      "Read at most this many samples a track (default: a day at 60 fps).");
  captionsDumpCommand->add_flag(
      "--srt", captionsDump.srt,
      "Print the CC1 captions of the first caption track as SubRip instead, decoded from its "
      "line-21 field-1 pairs (pop-on, roll-up and paint-on).");
  captionsDumpCommand->footer(kCaptionsDumpFormat);
  CaptionsLine21Options line21;
  uint64_t line21Limit = 0;
  bool line21Pairs = false;
  CLI::App* captionsLine21Command = captionsCommand->add_subcommand(
      "line21", "Print the line-21 caption pair drawn into the top rows of each video frame.");
  captionsLine21Command->add_option("file", line21.moviePath, "The movie file.")->required();
  CLI::Option* line21PairsOption = captionsLine21Command->add_flag(
      "--pairs", line21Pairs,
      "Print each frame's pair and its meaning, one line a frame (the default).");
  CLI::Option* line21SrtOption = captionsLine21Command->add_flag(
      "--srt", line21.srt, "Print the CC1 captions as SubRip instead, at the frames' times.");
  line21SrtOption->excludes(line21PairsOption);
  captionsLine21Command
      ->add_flag("--json", line21.json, "Print the pairs as JSON, one object a line.")
      ->excludes(line21SrtOption);
  CLI::Option* line21LimitOption = captionsLine21Command->add_option(
      "--limit", line21Limit, "Read at most this many frames (default: a day at 60 fps).");
  captionsLine21Command->footer(kCaptionsLine21Format);
  CaptionsVancOptions vanc;
  uint64_t vancLimit = 0;
  CLI::App* captionsVancCommand = captionsCommand->add_subcommand(
      "vanc", "Print the caption packets of captured ancillary rows (SMPTE 334), frame by frame.");
  captionsVancCommand->add_option("file", vanc.rowsPath, "The raw rows, frame after frame.")
      ->required();
  captionsVancCommand->add_option("--format", vanc.format, "The rows' packing: v210 or 2vuy.")
      ->required()
      ->check(CLI::IsMember({"v210", "2vuy", "UYVY"}));
  captionsVancCommand->add_option("--bytes-per-row", vanc.bytesPerRow, "Bytes a row.")
      ->required()
      ->check(CLI::Range(1u, UINT32_MAX));
  captionsVancCommand
      ->add_option("--rows-per-frame", vanc.rowsPerFrame, "Rows a frame (default 1).")
      ->check(CLI::Range(1u, UINT32_MAX));
  captionsVancCommand->add_flag(
      "--recorder", vanc.recorder,
      "Make each frame's sample as a recorder does: a packet at a row's start only, unchecked.");
  captionsVancCommand->add_flag("--json", vanc.json, "Print one JSON object a frame.");
  captionsVancCommand->add_option(
      "--out", vanc.outPath,
      "Write each frame's first caption packet as a c708 sample, back to back.");
  CLI::Option* vancLimitOption =
      captionsVancCommand->add_option("--limit", vancLimit, "Read at most this many frames.");
  captionsVancCommand->footer(kCaptionsVancFormat);
  CaptionsSccOptions scc;
  int64_t sccFrames = 0;
  CLI::App* captionsSccCommand = captionsCommand->add_subcommand(
      "scc", "Write the c708 samples of an SCC file, one a frame, as a recorder's caption slots.");
  captionsSccCommand->add_option("file", scc.sccPath, "The SCC file.")->required();
  captionsSccCommand
      ->add_option("--frame-duration", scc.frameDuration,
                   "Seconds a frame as N/D: 1001/30000, 1/25, 1001/24000...")
      ->required();
  captionsSccCommand->add_option("--out", scc.outPath, "The samples file to write.")->required();
  captionsSccCommand->add_option("--start", scc.start,
                                 "The timecode of the first sample (default 00:00:00:00).");
  CLI::Option* sccFramesOption = captionsSccCommand->add_option(
      "--frames", sccFrames, "Exactly this many samples (default: through the last pair).");
  captionsSccCommand->add_flag("--with-service-info", scc.withServiceInfo,
                               "Write the builders' samples, 16 bytes larger than a slot.");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help answers 0; every other problem with the arguments is bad input.
    const int code = app.exit(error, out, err);
    return code == 0 ? kExitSuccess : kExitBadInput;
  }
  if (writeCommand->parsed()) {
    write.style = chooseOutputStyle(writeStyle.json, writeStyle.text, outputIsTerminal);
    return runWriteCommand(write, out, err);
  }
  if (requestCommand->parsed()) {
    request.write.style = chooseOutputStyle(requestStyle.json, requestStyle.text, outputIsTerminal);
    return runRequestCommand(request, out, err);
  }
  if (planCommand->parsed()) return runPlanCommand(planRequest, out, err);
  if (inspectCommand->parsed()) {
    inspect.style = chooseOutputStyle(inspectStyle.json, inspectStyle.text, outputIsTerminal);
    return runInspectCommand(inspect, out, err);
  }
  if (captionsDumpCommand->parsed()) {
    if (captionsLimitOption->count() > 0) captionsDump.sampleLimit = captionsLimit;
    return runCaptionsDumpCommand(captionsDump, out, err);
  }
  if (tokenKindsCommand->parsed()) return runTokensKindsCommand(out, err);
  if (tokenParseCommand->parsed()) return runTokensParseCommand(parseTexts, out, err);
  if (tokenMenuCommand->parsed()) {
    if (menuPickOption->count() > 0) menu.pick = menuPick;
    return runTokensMenuCommand(menu, out, err);
  }
  if (archiveDumpCommand->parsed()) return runArchiveDumpCommand(dumpPath, out, err);
  if (archiveTokenCommand->parsed()) return runArchiveTokenCommand(archiveToken, out, err);
  if (archiveItemCommand->parsed()) {
    if (itemStringOption->count() > 0) archiveItem.string = itemString;
    if (itemNumberOption->count() > 0) archiveItem.number = itemNumber;
    if (itemDateOption->count() > 0) archiveItem.date = itemDate;
    if (itemTokensOption->count() > 0) archiveItem.tokens = itemTokens;
    return runArchiveItemCommand(archiveItem, out, err);
  }
  if (captionsLine21Command->parsed()) {
    if (line21LimitOption->count() > 0) line21.frameLimit = line21Limit;
    return runCaptionsLine21Command(line21, out, err);
  }
  if (captionsVancCommand->parsed()) {
    if (vancLimitOption->count() > 0) vanc.frameLimit = vancLimit;
    return runCaptionsVancCommand(vanc, out, err);
  }
  if (captionsSccCommand->parsed()) {
    if (sccFramesOption->count() > 0) scc.frames = sccFrames;
    return runCaptionsSccCommand(scc, out, err);
  }
  return kExitBadInput;  // require_subcommand(1) leaves no other case
}

}  // namespace premoov
