#include "service/client/quicktime_service_client.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <variant>

#include "service/wire/frame_io.h"
#include "service/wire/service_interface.h"
#include "service/wire/service_message.h"

namespace premoov {
namespace {

// A reply carries a whole header room; the archive around it adds little.
KeyedUnarchiver::Options replyOptions() {
  KeyedUnarchiver::Options options = messageOptions();
  options.maxArchiveBytes = kMaxReplyPayload;
  options.maxDecodedBytes = size_t{kMaxReplyPayload} + (size_t{1} << 20);
  return options;
}

}  // namespace

Result<std::unique_ptr<QuickTimeServiceClient>> QuickTimeServiceClient::connect(
    ZPRQuickTimeServiceDelegate& delegate, const std::string& socketPath, ConnectionEnded ended) {
  const std::string path = socketPath.empty() ? defaultSocketPath() : socketPath;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    return unexpected("the socket path is too long: \"" + path + "\"");
  }
  path.copy(address.sun_path, path.size());
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return unexpected("cannot make a socket: " + std::generic_category().message(errno));
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    std::string why =
        "no service answers at " + path + ": " + std::generic_category().message(errno);
    ::close(fd);
    return unexpected(std::move(why));
  }
  return std::unique_ptr<QuickTimeServiceClient>(
      new QuickTimeServiceClient(fd, delegate, std::move(ended)));
}

QuickTimeServiceClient::QuickTimeServiceClient(int socket, ZPRQuickTimeServiceDelegate& delegate,
                                               ConnectionEnded ended)
    : socket_(socket), delegate_(delegate), ended_(std::move(ended)) {
  receiver_ = std::thread([this] { receive(); });
}

QuickTimeServiceClient::~QuickTimeServiceClient() {
  ::shutdown(socket_, SHUT_RDWR);
  if (receiver_.joinable()) receiver_.join();
  ::close(socket_);
}

QuickTimeServiceClient::SendFailure QuickTimeServiceClient::writeQuickTimeHeaderAtPath(
    const std::string& path, bool newFile, uint32_t blockSize, const Value& uniqueID,
    const CMTime& duration, const Value& settings) {
  return send(archivedMessage({selector::kWriteQuickTimeHeader,
                               {Value::string(path), Value::boolean(newFile),
                                Value::integer(blockSize, CFNumberType::kCFNumberSInt64Type),
                                uniqueID, CMTimeCopyAsDictionary(duration), settings}}));
}

QuickTimeServiceClient::SendFailure QuickTimeServiceClient::cancel() {
  return send(archivedMessage({selector::kCancel, {}}));
}

QuickTimeServiceClient::SendFailure QuickTimeServiceClient::send(
    const std::vector<uint8_t>& payload) {
  std::lock_guard lock(sendMutex_);
  if (finishedSending_) return "the client has finished sending";
  if (payload.size() > kMaxRequestPayload) {
    return "the request has " + std::to_string(payload.size()) +
           " bytes, more than the service reads (" + std::to_string(kMaxRequestPayload) + ")";
  }
  return writeFrame(socket_, payload);
}

void QuickTimeServiceClient::finishSending() {
  std::lock_guard lock(sendMutex_);
  if (finishedSending_) return;
  finishedSending_ = true;
  ::shutdown(socket_, SHUT_WR);
}

void QuickTimeServiceClient::waitUntilEnded() {
  std::unique_lock lock(endMutex_);
  endChanged_.wait(lock, [this] { return hasEnded_; });
}

bool QuickTimeServiceClient::hasEnded() const {
  std::lock_guard lock(endMutex_);
  return hasEnded_;
}

void QuickTimeServiceClient::receive() {
  const ServiceInterface replies =
      ServiceInterface::interfaceWithProtocol(quickTimeServiceDelegateProtocol());
  std::string reason;
  for (;;) {
    FrameRead frame = readFrame(socket_, kMaxReplyPayload, /*reserveAnnounced=*/true);
    if (frame.status == FrameStatus::kEnd) {
      if (!finishedSending_) reason = "the service closed the connection";
      break;
    }
    if (frame.status != FrameStatus::kFrame) {
      reason = std::string("the service sent ") + frameStatusText(frame.status);
      if (frame.status == FrameStatus::kFailed) {
        reason += ": " + std::generic_category().message(frame.error);
      }
      break;
    }
    auto decoded = unarchivedMessage(frame.payload, replies, replyOptions());
    frame.payload = {};
    if (auto* error = std::get_if<MessageError>(&decoded)) {
      reason = "the service sent a reply that cannot be read: " + error->message;
      break;
    }
    auto& message = std::get<ServiceMessage>(decoded);
    std::vector<Value>& a = message.arguments;
    if (message.selector == selector::kDidCreateHeader) {
      delegate_.didCreateHeader(a[0].takeBytes(), a[1].boolValue(), a[2].intValue(),
                                a[3].longLongValue());
    } else if (message.selector == selector::kFailedCreatingGrowingHeader) {
      delegate_.failedCreatingGrowingHeader(a[0].boolValue(), a[1].stringValue());
    }
  }
  if (ended_) ended_(reason);
  std::lock_guard lock(endMutex_);
  hasEnded_ = true;
  endChanged_.notify_all();
}

}  // namespace premoov
