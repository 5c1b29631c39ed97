#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "base/byte_writer.h"
#include "service/reply_collector.h"
#include "service/service_process.h"
#include "service/service_requests.h"
#include "service/wire/frame_io.h"
#include "service/wire/service_message.h"

namespace premoov::testing {

// A client that says whatever a test makes it say, byte for byte: what a broken or hostile
// program sends the service.
class RawClient {
 public:
  explicit RawClient(const std::string& socketPath) {
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    if (fd_ >= 0 && ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      ::close(fd_);
      fd_ = -1;
    }
  }
  ~RawClient() { close(); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  bool connected() const { return fd_ >= 0; }
  int descriptor() const { return fd_; }

  bool sendBytes(const std::vector<uint8_t>& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) return false;
      sent += static_cast<size_t>(n);
    }
    return true;
  }
  bool sendFrame(const std::vector<uint8_t>& payload) { return !writeFrame(fd_, payload); }
  bool sendMessage(const ServiceMessage& message) { return sendFrame(archivedMessage(message)); }

  void shutdownWriting() { ::shutdown(fd_, SHUT_WR); }
  void close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

  // The next frame from the service, waiting at most `timeout`.
  FrameRead readFrame(std::chrono::milliseconds timeout = std::chrono::seconds(60)) {
    timeval tv{};
    tv.tv_sec = static_cast<time_t>(timeout.count() / 1000);
    tv.tv_usec = static_cast<suseconds_t>(timeout.count() % 1000 * 1000);
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    return premoov::readFrame(fd_, kMaxReplyPayload);
  }

  // True when the service ends the connection within `timeout`; frames before the end are
  // dropped.
  bool closedByService(std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
      const FrameRead frame = readFrame(std::chrono::milliseconds(500));
      if (frame.status == FrameStatus::kFailed &&
          (frame.error == EAGAIN || frame.error == EWOULDBLOCK)) {
        continue;
      }
      if (frame.status != FrameStatus::kFrame) return true;
    }
    return false;
  }

 private:
  int fd_ = -1;
};

// The payload of a frame: its length and then whatever a test gives.
inline std::vector<uint8_t> frameBytes(uint32_t announced, const std::vector<uint8_t>& payload) {
  ByteWriter w;
  w.u32(announced);
  w.bytes(payload);
  return w.take();
}

inline std::vector<Value> headerRequestArguments(const HeaderRequestArguments& a = {}) {
  return {Value::string(a.path),
          Value::boolean(a.newFile),
          Value::integer(a.blockSize),
          a.uniqueID,
          CMTimeCopyAsDictionary(a.duration),
          a.settings};
}

inline ServiceMessage headerRequest(const HeaderRequestArguments& a = {}) {
  return {selector::kWriteQuickTimeHeader, headerRequestArguments(a)};
}

// A reply read back from its frame; a test failure when it is none.
inline std::optional<ServiceMessage> replyIn(const FrameRead& frame) {
  if (frame.status != FrameStatus::kFrame) {
    ADD_FAILURE() << "no reply: " << frameStatusText(frame.status);
    return std::nullopt;
  }
  auto decoded = unarchivedMessage(
      frame.payload, ServiceInterface::interfaceWithProtocol(quickTimeServiceDelegateProtocol()),
      {kMaxReplyPayload, size_t{kMaxReplyPayload} + (1 << 20)});
  if (auto* error = std::get_if<MessageError>(&decoded)) {
    ADD_FAILURE() << error->message;
    return std::nullopt;
  }
  return std::get<ServiceMessage>(std::move(decoded));
}

// What the service holds: descriptors and threads.
struct ServiceResources {
  size_t descriptors = 0;
  size_t threads = 0;
};

inline ServiceResources resourcesOf(const ServiceProcess& service) {
  return {service.openDescriptors(), service.threads()};
}

// What the service holds once it has stayed the same for a moment: a connection whose end is
// logged may still be waiting for the loop to let go of it.
inline ServiceResources settledResources(const ServiceProcess& service) {
  ServiceResources last = resourcesOf(service);
  for (int unchanged = 0, attempt = 0; unchanged < 10 && attempt < 500; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const ServiceResources now = resourcesOf(service);
    unchanged =
        now.descriptors == last.descriptors && now.threads == last.threads ? unchanged + 1 : 0;
    last = now;
  }
  return last;
}

// Waits (at most `timeout`) until the service holds exactly what it held at `baseline`.
inline ::testing::AssertionResult returnsTo(
    const ServiceProcess& service, ServiceResources baseline,
    std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  ServiceResources now;
  for (;;) {
    now = resourcesOf(service);
    if (now.descriptors == baseline.descriptors && now.threads == baseline.threads) {
      return ::testing::AssertionSuccess();
    }
    if (std::chrono::steady_clock::now() >= deadline) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return ::testing::AssertionFailure()
         << "the service holds " << now.descriptors << " descriptors and " << now.threads
         << " threads, not " << baseline.descriptors << " and " << baseline.threads;
}

// Waits (at most `timeout`) until the service's log holds `text` `times` times.
inline ::testing::AssertionResult logs(
    const ServiceProcess& service, const std::string& text, size_t times = 1,
    std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  size_t found = 0;
  std::string log;
  for (;;) {
    log = service.log();
    found = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++found;
    if (found >= times) return ::testing::AssertionSuccess();
    if (std::chrono::steady_clock::now() >= deadline) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return ::testing::AssertionFailure()
         << "\"" << text << "\" logged " << found << " times, not " << times << ":\n"
         << log;
}

}  // namespace premoov::testing
