#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/messages.h"
#include "requests/file_io.h"
#include "requests/header_request.h"
#include "requests/request_file.h"

namespace premoov {

int runWriteCommand(const WriteOptions& options, std::ostream& out, std::ostream& err) {
  if (options.headerPath.empty() && options.filePath.empty()) {
    err << kWriteNeedsOutput << '\n';
    return kExitBadInput;
  }
  auto request = readRequestFile(options.requestPath);
  if (!request) {
    err << request.error() << '\n';
    return kExitBadInput;
  }
  return answerHeaderReply(requestHeader(*request, nullptr), options, out, err);
}

namespace {

// "Header of 4,194,304 bytes written to PATH; the recording will be 117.7 GB (sparse until
// recorded); frame size 1,052,640 bytes".
std::string writtenText(const HeaderReply& reply, const WriteOptions& options) {
  std::string text = "Header of " + groupedNumber(reply.header.size()) + " bytes written to ";
  if (!options.filePath.empty()) text += options.filePath;
  if (!options.filePath.empty() && !options.headerPath.empty()) text += " and to ";
  if (!options.headerPath.empty()) text += options.headerPath;
  text += "; the recording will be " + byteSizeText(static_cast<uint64_t>(reply.fileSize));
  if (!options.filePath.empty()) text += " (sparse until recorded)";
  text += "; frame size " + groupedNumber(static_cast<uint32_t>(reply.frameSize)) + " bytes";
  if (!reply.growing) text += "; not marked as a new, growing file";
  return text;
}

}  // namespace

int answerHeaderReply(const Result<HeaderReply>& reply, const WriteOptions& options,
                      std::ostream& out, std::ostream& err) {
  if (!printRefusalUnlessCreated(reply, options.style, out)) return kExitRefused;

  const int64_t headerRoom = static_cast<int64_t>(reply->header.size());
  if (!options.filePath.empty() && reply->fileSize < headerRoom) {
    // A file cut to this size would lose part of its header: report the reply, write nothing.
    OrderedJson refusal;
    refusal["error"] = std::string(kFileSizeBelowHeader) + std::to_string(reply->fileSize) + " < " +
                       std::to_string(headerRoom);
    refusal["growing"] = reply->growing;
    out << (options.style == OutputStyle::kText ? "Refused: " + refusal["error"].get<std::string>()
                                                : jsonText(refusal))
        << '\n';
    return kExitRefused;
  }
  if (!options.headerPath.empty()) {
    auto written = writeFileAtStart(options.headerPath, reply->header, 0);
    if (!written) {
      err << written.error() << '\n';
      return kExitBadInput;
    }
  }
  if (!options.filePath.empty()) {
    auto written =
        writeFileAtStart(options.filePath, reply->header, static_cast<uint64_t>(reply->fileSize));
    if (!written) {
      err << written.error() << '\n';
      return kExitBadInput;
    }
  }

  if (options.style == OutputStyle::kText) {
    out << writtenText(*reply, options) << '\n';
    return kExitSuccess;
  }
  OrderedJson answer;
  answer["growing"] = reply->growing;
  answer["frameSize"] = reply->frameSize;
  answer["fileSize"] = reply->fileSize;
  answer["headerRoom"] = headerRoom;
  out << jsonText(answer) << '\n';
  return kExitSuccess;
}

}  // namespace premoov
