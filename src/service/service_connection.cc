#include "service/service_connection.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <variant>

#include "base/log.h"
#include "media/cm_time.h"
#include "service/wire/frame_io.h"

namespace premoov {
namespace {

// Holds one of the header builds that may run at once, for as long as it lives.
class BuildSlot {
 public:
  explicit BuildSlot(std::counting_semaphore<4096>& builds) : builds_(builds) { builds_.acquire(); }
  ~BuildSlot() { builds_.release(); }
  BuildSlot(const BuildSlot&) = delete;
  BuildSlot& operator=(const BuildSlot&) = delete;

 private:
  std::counting_semaphore<4096>& builds_;
};

bool booleanArgument(const Value& v) {
  return v.kind() == Value::Kind::Boolean ? v.boolValue() : v.longLongValue() != 0;
}

void setSendTimeout(int socket, std::chrono::milliseconds timeout) {
  timeval tv{};
  tv.tv_sec = static_cast<time_t>(timeout.count() / 1000);
  tv.tv_usec = static_cast<suseconds_t>((timeout.count() % 1000) * 1000);
  if (::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv) != 0) {
    NSLog("cannot limit the time a reply may wait: %s",
          std::generic_category().message(errno).c_str());
  }
}

}  // namespace

ServiceConnection::ServiceConnection(int socket, uint64_t number, ConnectionContext& context)
    : socket_(socket), number_(number), context_(context) {
  setSendTimeout(socket_, context_.options.replyTimeout);
}

ServiceConnection::~ServiceConnection() {
  join();
  exportedObject_.reset();  // the creator goes before the socket it replies through
  ::close(socket_);
}

void ServiceConnection::resume() {
  thread_ = std::thread([this] {
    serve();
    context_.connectionFinished(number_);
  });
}

void ServiceConnection::stopReading() { ::shutdown(socket_, SHUT_RD); }

void ServiceConnection::invalidate() { ::shutdown(socket_, SHUT_RDWR); }

void ServiceConnection::join() {
  if (thread_.joinable()) thread_.join();
}

void ServiceConnection::log(const std::string& what) const {
  NSLog("connection %llu: %s", static_cast<unsigned long long>(number_), what.c_str());
}

void ServiceConnection::serve() {
  if (context_.options.verbose) log("accepted");
  for (;;) {
    FrameRead frame = readFrame(socket_, kMaxRequestPayload);
    if (frame.status == FrameStatus::kEnd) {
      if (context_.options.verbose) log("closed by the client");
      break;
    }
    if (frame.status != FrameStatus::kFrame) {
      std::string why = frameStatusText(frame.status);
      if (frame.status == FrameStatus::kTooLarge) {
        why += stringWithFormat(" (%u bytes announced, at most %u)", frame.announced,
                                kMaxRequestPayload);
      } else if (frame.status == FrameStatus::kTruncated) {
        why += stringWithFormat(
            " (%zu bytes received of %u announced)",
            frame.received > kFrameLengthBytes ? frame.received - kFrameLengthBytes : 0,
            frame.announced);
      } else if (frame.status == FrameStatus::kFailed) {
        why += ": " + std::generic_category().message(frame.error);
      }
      log("closing after " + why);
      break;
    }
    if (!handle(frame.payload)) break;
  }
  ::shutdown(socket_, SHUT_RDWR);
}

bool ServiceConnection::handle(std::span<const uint8_t> payload) {
  auto decoded = unarchivedMessage(payload, exportedInterface_);
  if (const auto* error = std::get_if<MessageError>(&decoded)) {
    if (error->fault == MessageFault::kClassNotAllowed) {
      log("message refused, no reply: " + error->message);
      return true;
    }
    log("closing after a malformed message: " + error->message);
    return false;
  }
  deliver(std::get<ServiceMessage>(decoded));
  return sendReplies();
}

void ServiceConnection::deliver(const ServiceMessage& message) {
  if (!exportedObject_) {
    log("no exported object: " + message.selector + " dropped");
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  if (message.selector == selector::kWriteQuickTimeHeader) {
    const std::vector<Value>& a = message.arguments;
    BuildSlot slot(context_.builds);
    exportedObject_->writeQuickTimeHeaderAtPath(a[0].stringValue(), booleanArgument(a[1]),
                                                a[2].unsignedLongValue(), a[3],
                                                CMTimeMakeFromDictionary(&a[4]), a[5]);
  } else if (message.selector == selector::kCancel) {
    exportedObject_->cancel();
  }
  if (!context_.options.verbose) return;
  const double ms =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  std::string result;
  {
    std::lock_guard lock(outboxMutex_);
    for (const std::string& summary : sentSummaries_)
      result += (result.empty() ? "" : "; ") + summary;
    sentSummaries_.clear();
  }
  log(stringWithFormat("%s %.1f ms: %s", message.selector.c_str(), ms,
                       result.empty() ? "no reply" : result.c_str()));
}

void ServiceConnection::queueReply(ServiceMessage reply, std::string summary) {
  std::vector<uint8_t> payload = archivedMessage(reply);
  std::lock_guard lock(outboxMutex_);
  outbox_.push_back(std::move(payload));
  if (context_.options.verbose) sentSummaries_.push_back(std::move(summary));
}

bool ServiceConnection::sendReplies() {
  std::vector<std::vector<uint8_t>> replies;
  {
    std::lock_guard lock(outboxMutex_);
    replies.swap(outbox_);
  }
  for (const std::vector<uint8_t>& payload : replies) {
    if (auto failed = writeFrame(socket_, payload)) {
      log("closing, the reply could not be sent: " + *failed);
      return false;
    }
  }
  return true;
}

void ServiceConnection::ReplyProxy::didCreateHeader(std::vector<uint8_t> header, bool growing,
                                                    int32_t frameSize, int64_t fileSize) {
  std::string summary =
      stringWithFormat("didCreateHeader %zu bytes, frame size %i, file size %lld", header.size(),
                       frameSize, static_cast<long long>(fileSize));
  connection_.queueReply({selector::kDidCreateHeader,
                          {Value::data(std::move(header)), Value::boolean(growing),
                           Value::integer(frameSize, CFNumberType::kCFNumberSInt32Type),
                           Value::integer(fileSize, CFNumberType::kCFNumberSInt64Type)}},
                         std::move(summary));
}

void ServiceConnection::ReplyProxy::failedCreatingGrowingHeader(bool growing, std::string error) {
  std::string summary = "failedCreatingGrowingHeader \"" + error + "\"";
  connection_.queueReply({selector::kFailedCreatingGrowingHeader,
                          {Value::boolean(growing), Value::string(std::move(error))}},
                         std::move(summary));
}

}  // namespace premoov
