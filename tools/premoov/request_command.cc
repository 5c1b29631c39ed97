#include <algorithm>
#include <string>
#include <vector>

#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/messages.h"
#include "requests/header_request.h"
#include "requests/request_file.h"
#include "service/client/quicktime_service_client.h"

namespace premoov {

int runRequestCommand(const RequestOptions& options, std::ostream& out, std::ostream& err) {
  if (options.write.headerPath.empty() && options.write.filePath.empty() && !options.cancelBefore) {
    err << kWriteNeedsOutput << '\n';
    return kExitBadInput;
  }
  auto request = readRequestFile(options.write.requestPath);
  if (!request) {
    err << request.error() << '\n';
    return kExitBadInput;
  }

  // The replies are read once the connection has ended: the client's thread is done with them.
  HeaderReplies replies;
  std::string endedBecause;
  auto client = QuickTimeServiceClient::connect(
      replies, options.socketPath, [&](const std::string& why) { endedBecause = why; });
  if (!client) {
    err << client.error() << '\n';
    return kExitNoService;
  }
  if (options.cancelBefore) {
    if (auto failed = (*client)->cancel()) {
      err << *failed << '\n';
      return kExitNoService;
    }
  }
  for (int i = 0; i < options.repeat; ++i) {
    if (auto failed = (*client)->writeQuickTimeHeaderAtPath(request->path, request->newFile,
                                                            request->blockSize, request->uniqueID,
                                                            request->duration, request->settings)) {
      err << *failed << '\n';
      return kExitNoService;
    }
  }
  (*client)->finishSending();
  (*client)->waitUntilEnded();
  std::vector<HeaderReply> answered = std::move(replies).allReplies();

  if (options.cancelBefore) {
    if (!answered.empty()) {
      err << kRepliesCancelled << answered.size() << '\n';
      return kExitNoService;
    }
    if (options.write.style == OutputStyle::kText) {
      out << "Cancelled before the request: the service replied nothing, as it should\n";
      return kExitSuccess;
    }
    OrderedJson answer;
    answer["cancelled"] = true;
    answer["replies"] = 0;
    out << jsonText(answer) << '\n';
    return kExitSuccess;
  }

  int worst = kExitSuccess;
  for (HeaderReply& reply : answered) {
    worst = std::max(
        worst, answerHeaderReply(Result<HeaderReply>(std::move(reply)), options.write, out, err));
  }
  if (answered.size() != static_cast<size_t>(options.repeat) || !endedBecause.empty()) {
    err << kRepliesMissing << answered.size() << " of " << options.repeat << " requests"
        << (endedBecause.empty() ? "" : ": " + endedBecause) << '\n';
    return kExitNoService;
  }
  return worst;
}

}  // namespace premoov
