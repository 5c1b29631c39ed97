#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "base/result.h"
#include "requests/header_request.h"

namespace premoov {

// Exit codes of the tool.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitBadInput = 1;   // unreadable or malformed input, bad arguments
inline constexpr int kExitRefused = 2;    // the movie creator refused the request
inline constexpr int kExitNoService = 3;  // no service answered, or it ended the connection

// Each command prints its answer to `out` and problems with its input to `err`, and answers its
// exit code. None throws for bad input.

// How `write`, `request` and `inspect` print their answer: a readable text, or the JSON scripts
// read (command_output.h chooses).
enum class OutputStyle { kText, kJson };

struct WriteOptions {
  std::string requestPath{};
  std::string headerPath{};  // empty: no header file
  std::string filePath{};    // empty: no movie file
  OutputStyle style = OutputStyle::kJson;
};
// `premoov write REQUEST.json [--header OUT] [--file OUT.mov] [--json|--text]`: the header bytes
// alone, and/or a movie file that holds them at offset 0 and is extended (sparse) to the reply's
// file size, the file a recorder starts from. Prints {"growing", "frameSize", "fileSize",
// "headerRoom"}, or as text one line that says what was written.
int runWriteCommand(const WriteOptions& options, std::ostream& out, std::ostream& err);
// What `write` does with a reply: prints the refusal, or writes the files and prints the answer.
int answerHeaderReply(const Result<HeaderReply>& reply, const WriteOptions& options,
                      std::ostream& out, std::ostream& err);

struct RequestOptions {
  WriteOptions write{};
  std::string socketPath{};  // empty: the service's default socket
  bool cancelBefore = false;
  int repeat = 1;
};
// `premoov request REQUEST.json [--socket PATH] [--header OUT] [--file OUT.mov] [--cancel-before]
// [--repeat N]`: `write`, through the header service. Each of the N requests, sent on one
// connection, is answered as `write` answers (one line each; the files are written from each
// header in turn). With --cancel-before, `cancel` goes first and no reply may come: prints
// {"cancelled": true, "replies": 0}.
int runRequestCommand(const RequestOptions& options, std::ostream& out, std::ostream& err);

// `premoov plan REQUEST.json`: the recorder's write map, every sample reference in the order the
// layout made it, with the header room, the media data start and end and the reply's sizes.
int runPlanCommand(const std::string& requestPath, std::ostream& out, std::ostream& err);

struct InspectOptions {
  std::string moviePath{};
  OutputStyle style = OutputStyle::kJson;
  bool atoms = false;  // the text view with the atom tree
};
// `premoov inspect FILE.mov [--atoms] [--json|--text]`: per track its kind, codec, sample count,
// duration and the positions of its first and last samples, the metadata items and the atom tree.
// The text view shows the file and its tracks as a table, the tree only with --atoms. A
// header-only file is accepted.
int runInspectCommand(const InspectOptions& options, std::ostream& out, std::ostream& err);

struct CaptionsDumpOptions {
  std::string moviePath{};
  std::optional<uint64_t> sampleLimit{};  // the most samples read a track
  bool srt = false;                       // the CC1 text as SubRip instead
};
// `premoov captions dump FILE.mov [--limit N] [--srt]`: every sample of every caption track, one
// line each (the line format is in the command's help); with --srt, the CC1 captions of the first
// caption track decoded to SubRip (pop-on, roll-up and paint-on). Exits 0 when every sample present
// reads without error, 1 when the file, a table or a sample is bad.
int runCaptionsDumpCommand(const CaptionsDumpOptions& options, std::ostream& out,
                           std::ostream& err);

// `premoov tokens kinds`: every token kind in declaration order, with its code, display name,
// default formatter and menu.
int runTokensKindsCommand(std::ostream& out, std::ostream& err);

// `premoov tokens parse TEXT...`: the naming pattern made from its per-element text form, its
// elements, and its token string form again ("$$Day#EEE" comes back as "$$Day#EEE.EEE").
int runTokensParseCommand(const std::vector<std::string>& texts, std::ostream& out,
                          std::ostream& err);

struct TokensMenuOptions {
  std::string code{};
  std::optional<std::string> pick{};  // a menu title
};
// `premoov tokens menu CODE [--pick TITLE]`: the menu of the token made from CODE, and the token
// after choosing the item titled TITLE.
int runTokensMenuCommand(const TokensMenuOptions& options, std::ostream& out, std::ostream& err);

// `premoov archive dump FILE`: the object graph of a keyed archive (binary or XML property list)
// from its root, one line per key or element, references resolved.
int runArchiveDumpCommand(const std::string& archivePath, std::ostream& out, std::ostream& err);

struct ArchiveTokenOptions {
  std::string code{};
  std::string outPath{};
};
// `premoov archive token CODE --out FILE`: the keyed archive of the token made from CODE.
int runArchiveTokenCommand(const ArchiveTokenOptions& options, std::ostream& out,
                           std::ostream& err);

struct ArchiveItemOptions {
  std::string key{};
  std::optional<std::string> string{};
  std::optional<std::string> number{};  // as typed: an integer or a number with a fraction
  std::optional<std::string> date{};    // ISO 8601 with its offset
  std::optional<std::vector<std::string>> tokens{};  // per-element texts
  std::string outPath{};
};
// `premoov archive item --key K (--string S | --number N | --date ISO | --tokens T... [--string
// S]) --out FILE`: the keyed archive of one metadata item.
int runArchiveItemCommand(const ArchiveItemOptions& options, std::ostream& out, std::ostream& err);

struct CaptionsSccOptions {
  std::string sccPath{};
  std::string frameDuration{};  // "N/D": seconds a frame
  std::string outPath{};
  std::string start = "00:00:00:00";
  std::optional<int64_t> frames{};
  bool withServiceInfo = false;
};
// `premoov captions scc IN.scc --frame-duration N/D --out SAMPLES [--start HH:MM:SS:FF] [--frames
// N]
// [--with-service-info]`: one "c708" sample per frame, back to back, sample k for the frame
// labelled --start + k, carrying that frame's SCC pair on field 1 and sequence value k: the raw
// stream a recorder copies into its caption slots. Slot-sized samples (3 x cc_count + 21 bytes),
// or the builders' (+ 37) with --with-service-info. Without --frames, through the last pair's
// frame. Prints {"samples", "sampleSize", "pairs", "firstPairFrame", "lastPairFrame"}, the frames
// counted from --start (null without pairs).
int runCaptionsSccCommand(const CaptionsSccOptions& options, std::ostream& out, std::ostream& err);

struct CaptionsLine21Options {
  std::string moviePath{};
  std::optional<uint64_t> frameLimit{};  // the most frames read
  bool srt = false;                      // the CC1 text as SubRip instead of the pairs
  bool json = false;                     // the pairs as JSON, one object a line
};
// `premoov captions line21 FILE.mov [--pairs | --srt] [--json] [--limit N]`: the line-21 caption
// pair drawn into the top rows of each frame of the first video track of '2vuy', 'v210' or 'yuvs'
// frames, read by line-21 extraction; one line a frame (the line format is in the command's
// help), or with --srt the CC1 captions decoded to SubRip at the frames' times. Only the three
// top rows of a frame are read. Exits 0 when every frame present reads, 1 otherwise.
int runCaptionsLine21Command(const CaptionsLine21Options& options, std::ostream& out,
                             std::ostream& err);

struct CaptionsVancOptions {
  std::string rowsPath{};
  std::string format{};  // "v210", "2vuy" (or "UYVY")
  uint32_t bytesPerRow = 0;
  uint32_t rowsPerFrame = 1;
  bool recorder = false;  // the recorder's own reading instead of the full scan
  bool json = false;      // one object a frame
  std::string outPath{};  // the "c708" samples, back to back; empty: none written
  std::optional<uint64_t> frameLimit{};
};
// `premoov captions vanc ROWS.raw --format v210|2vuy --bytes-per-row N [--rows-per-frame K]
// [--recorder] [--json] [--out SAMPLES] [--limit N]`: the ancillary packets of each frame of
// captured ancillary rows (K rows of N bytes a frame), the caption packets with their cdp and
// line-21 pairs; or, with --recorder, the "c708" sample a recorder makes of each frame. With
// --out, each frame's first caption packet as a "c708" sample, back to back. Exits 0 when every
// packet checks out, 1 for bad input, a packet with errors or a partial last frame.
int runCaptionsVancCommand(const CaptionsVancOptions& options, std::ostream& out,
                           std::ostream& err);

// The whole command line, argv[0] included.
// `outputIsTerminal`: whether `out` is a terminal, where `write`, `request` and `inspect` print
// text rather than JSON.
int runCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                   bool outputIsTerminal = false);

}  // namespace premoov
