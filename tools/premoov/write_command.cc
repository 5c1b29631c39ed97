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

int answerHeaderReply(const Result<HeaderReply>& reply, const WriteOptions& options,
                      std::ostream& out, std::ostream& err) {
  if (!printRefusalUnlessCreated(reply, out)) return kExitRefused;

  const int64_t headerRoom = static_cast<int64_t>(reply->header.size());
  if (!options.filePath.empty() && reply->fileSize < headerRoom) {
    // A file cut to this size would lose part of its header: report the reply, write nothing.
    OrderedJson refusal;
    refusal["error"] = std::string(kFileSizeBelowHeader) + std::to_string(reply->fileSize) + " < " +
                       std::to_string(headerRoom);
    refusal["growing"] = reply->growing;
    out << jsonText(refusal) << '\n';
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

  OrderedJson answer;
  answer["growing"] = reply->growing;
  answer["frameSize"] = reply->frameSize;
  answer["fileSize"] = reply->fileSize;
  answer["headerRoom"] = headerRoom;
  out << jsonText(answer) << '\n';
  return kExitSuccess;
}

}  // namespace premoov
