#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/result.h"
#include "header/quicktime_service_delegate.h"
#include "header/sample_layout_observer.h"
#include "movie/toolbox.h"
#include "requests/request_file.h"

namespace premoov {

// The one reply of a header request: the header, or the failure message.
struct HeaderReply {
  bool created = false;  // didCreateHeader rather than failedCreatingGrowingHeader
  bool growing = false;
  std::vector<uint8_t> header;  // the header room: the bytes for offset 0 of the file
  int32_t frameSize = 0;        // bytes
  int64_t fileSize = 0;         // bytes
  std::string error;            // the failure message when not created
};

// The caller's end of a movie creator's connection, in process or through the service: keeps
// every reply it is sent.
class HeaderReplies final : public ZPRServiceConnection, public ZPRQuickTimeServiceDelegate {
 public:
  ZPRQuickTimeServiceDelegate* remoteObjectProxy() override { return this; }
  void didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
                       int64_t fileSize) override;
  void failedCreatingGrowingHeader(bool growing, std::string error) override;

  // The reply, or why there is none: a request is answered exactly once, so a header that was
  // never sent is never reported.
  Result<HeaderReply> onlyReply() &&;
  // Every reply, in the order sent.
  std::vector<HeaderReply> allReplies() && { return std::move(replies_); }

 private:
  std::vector<HeaderReply> replies_;
};

// Runs `request` through a movie creator in this process, with `observer` (may be null)
// watching the sample layout, and answers its only reply.
Result<HeaderReply> requestHeader(const RequestFile& request, SampleLayoutObserver* observer,
                                  Toolbox& toolbox = defaultToolbox());

}  // namespace premoov
