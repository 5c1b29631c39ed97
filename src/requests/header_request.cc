#include "requests/header_request.h"

#include "header/quicktime_movie_creator.h"
#include "requests/request_messages.h"

namespace premoov {

void HeaderReplies::didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
                                    int64_t fileSize) {
  HeaderReply reply;
  reply.created = true;
  reply.growing = growing;
  reply.header = std::move(header);
  reply.frameSize = frameSize;
  reply.fileSize = fileSize;
  replies_.push_back(std::move(reply));
}

void HeaderReplies::failedCreatingGrowingHeader(bool growing, std::string error) {
  HeaderReply reply;
  reply.growing = growing;
  reply.error = std::move(error);
  replies_.push_back(std::move(reply));
}

Result<HeaderReply> HeaderReplies::onlyReply() && {
  if (replies_.empty()) return unexpected(std::string(kNoReply));
  if (replies_.size() > 1) {
    return unexpected(std::string(kSeveralReplies) + std::to_string(replies_.size()));
  }
  return std::move(replies_.front());
}

Result<HeaderReply> requestHeader(const RequestFile& request, SampleLayoutObserver* observer,
                                  Toolbox& toolbox) {
  HeaderReplies replies;
  ZPRQuickTimeMovieCreator creator(toolbox);
  creator.setXPCConnection(&replies);
  creator.setSampleLayoutObserver(observer);
  creator.writeQuickTimeHeaderAtPath(request.path, request.newFile, request.blockSize,
                                     request.uniqueID, request.duration, request.settings);
  return std::move(replies).onlyReply();
}

}  // namespace premoov
