#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "header/quicktime_service_delegate.h"
#include "service/connection_context.h"
#include "service/wire/service_interface.h"
#include "service/wire/service_message.h"

namespace premoov {

// One client's connection to the service, on a connected stream socket. Set up by the
// listener's delegate, then resumed: from then on its own thread reads the client's messages
// one at a time, in order, and delivers each to the exported object; replies the exported object
// sends through remoteObjectProxy() go out before the next message is read. The connection owns
// its exported object and its socket.
class ServiceConnection final : public ZPRServiceConnection {
 public:
  ServiceConnection(int socket, uint64_t number, ConnectionContext& context);
  ~ServiceConnection() override;
  ServiceConnection(const ServiceConnection&) = delete;
  ServiceConnection& operator=(const ServiceConnection&) = delete;

  // setExportedInterface:
  void setExportedInterface(ServiceInterface interface) {
    exportedInterface_ = std::move(interface);
  }
  // exportedInterface
  ServiceInterface& exportedInterface() { return exportedInterface_; }
  // setExportedObject:
  void setExportedObject(std::shared_ptr<ZPRQuickTimeServiceProtocol> object) {
    exportedObject_ = std::move(object);
  }
  // setRemoteObjectInterface:
  void setRemoteObjectInterface(ServiceInterface interface) {
    remoteInterface_ = std::move(interface);
  }
  // resume — starts delivering messages, on the connection's own thread.
  void resume();

  // remoteObjectProxy: replies archived for the client's ZPRQuickTimeServiceDelegate.
  ZPRQuickTimeServiceDelegate* remoteObjectProxy() override { return &proxy_; }

  uint64_t number() const { return number_; }
  MainQueue& mainQueue() { return context_.mainQueue; }

  // Stops reading: the message being handled is finished and its reply sent, then the
  // connection ends.
  void stopReading();
  // invalidate — ends the connection now; a reply being sent is cut off.
  void invalidate();
  // Waits for the connection's thread (after it has called connectionFinished).
  void join();

 private:
  // Archives each reply for sending once the message that made it has been handled.
  class ReplyProxy final : public ZPRQuickTimeServiceDelegate {
   public:
    explicit ReplyProxy(ServiceConnection& connection) : connection_(connection) {}
    void didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
                         int64_t fileSize) override;
    void failedCreatingGrowingHeader(bool growing, std::string error) override;

   private:
    ServiceConnection& connection_;
  };

  void serve();
  // Handles one message; false when the connection must close.
  bool handle(std::span<const uint8_t> payload);
  void deliver(const ServiceMessage& message);
  void queueReply(ServiceMessage reply, std::string summary);
  // Sends the replies queued; false when the client cannot take them.
  bool sendReplies();
  void log(const std::string& what) const;

  const int socket_;
  const uint64_t number_;
  ConnectionContext& context_;
  ServiceInterface exportedInterface_;
  ServiceInterface remoteInterface_;
  std::shared_ptr<ZPRQuickTimeServiceProtocol> exportedObject_;
  ReplyProxy proxy_{*this};
  std::thread thread_;

  std::mutex outboxMutex_;
  std::vector<std::vector<uint8_t>> outbox_;  // archived replies not yet sent
  std::vector<std::string> sentSummaries_;    // what the message being handled replied
};

}  // namespace premoov
