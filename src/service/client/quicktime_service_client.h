#pragma once

// The client of the premoov header service: what a recording application links against
// (CMake target premoov_service_client).
//
//   class Recorder : public premoov::ZPRQuickTimeServiceDelegate {
//     void didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
//                          int64_t fileSize) override { /* write header at offset 0 */ }
//     void failedCreatingGrowingHeader(bool growing, std::string error) override { ... }
//   };
//   Recorder recorder;
//   auto client = premoov::QuickTimeServiceClient::connect(recorder);
//   if (!client) fail(client.error());
//   (*client)->writeQuickTimeHeaderAtPath(path, true, 4096, premoov::Value::string(id),
//                                         duration, settings);
//
// Requests are handled one at a time, in the order sent; each gets exactly one reply, in the same
// order, unless cancel() was sent before it. Replies are delivered on the client's own thread.
// The wire protocol is docs/protocol.md.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "base/result.h"
#include "header/quicktime_service_delegate.h"
#include "media/cm_time.h"
#include "plist/value.h"
#include "service/wire/socket_path.h"

namespace premoov {

class QuickTimeServiceClient {
 public:
  // Why the connection ended: empty when the service closed it after the client finished
  // sending (finishSending()), otherwise what happened.
  using ConnectionEnded = std::function<void(const std::string& reason)>;

  // Connects to the service listening at `socketPath` (defaultSocketPath() when empty). The
  // delegate receives every reply, on the client's thread, until the connection ends; then
  // `ended` (may be empty) is called once, on that thread. The delegate must outlive the client.
  static Result<std::unique_ptr<QuickTimeServiceClient>> connect(
      ZPRQuickTimeServiceDelegate& delegate, const std::string& socketPath = "",
      ConnectionEnded ended = {});

  // Closes the connection (replies not yet received are not delivered) and waits for the
  // client's thread.
  ~QuickTimeServiceClient();
  QuickTimeServiceClient(const QuickTimeServiceClient&) = delete;
  QuickTimeServiceClient& operator=(const QuickTimeServiceClient&) = delete;

  // Nothing when the message was sent; otherwise why it could not be.
  using SendFailure = std::optional<std::string>;

  // writeQuickTimeHeaderAtPath:newFile:blockSize:uniqueID:duration:settings:
  // `uniqueID` may be any string, number, data, date, array or dictionary; the service does not
  // look at it. The settings dictionary is described in the README.
  SendFailure writeQuickTimeHeaderAtPath(const std::string& path, bool newFile, uint32_t blockSize,
                                         const Value& uniqueID, const CMTime& duration,
                                         const Value& settings);
  // cancel — the service sends no reply on this connection from now on.
  SendFailure cancel();

  // Tells the service that nothing more will be sent: it answers what it has received, then
  // closes the connection (and `ended` is called with an empty reason).
  void finishSending();
  // Waits until the connection has ended and every reply has been delivered.
  void waitUntilEnded();
  bool hasEnded() const;

 private:
  QuickTimeServiceClient(int socket, ZPRQuickTimeServiceDelegate& delegate, ConnectionEnded ended);
  SendFailure send(const std::vector<uint8_t>& payload);
  void receive();

  const int socket_;
  ZPRQuickTimeServiceDelegate& delegate_;
  ConnectionEnded ended_;
  std::mutex sendMutex_;
  std::atomic<bool> finishedSending_{false};
  mutable std::mutex endMutex_;
  std::condition_variable endChanged_;
  bool hasEnded_ = false;
  std::thread receiver_;
};

}  // namespace premoov
