#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/result.h"
#include "service/connection_context.h"
#include "service/service_connection.h"

namespace premoov {

class ServiceListener;

// NSXPCListenerDelegate: decides on every new connection and sets it up.
class ServiceListenerDelegate {
 public:
  virtual ~ServiceListenerDelegate() = default;
  // listener:shouldAcceptNewConnection:
  virtual bool shouldAcceptNewConnection(ServiceListener& listener,
                                         ServiceConnection& newConnection) = 0;
};

// The service's listening socket and its main loop. resume() runs the loop on the calling (main)
// thread: it accepts connections, hands each to the delegate, runs the work other threads send
// to the main queue, and reaps connections that have ended. stop() ends it cleanly: no new
// connection is accepted, messages being handled finish and their replies go out, then resume()
// returns.
class ServiceListener {
 public:
  // A listener on a Unix domain socket bound at `path`. Its directory is made if missing
  // (mode 0700), the socket is made mode 0600, and a stale socket left by a service that is gone
  // is replaced; a path where a service still answers is refused.
  static Result<std::unique_ptr<ServiceListener>> listenerOnPath(const std::string& path,
                                                                 ServiceOptions options);
  // A listener on a socket that is already bound and listening (handed over by the system).
  static Result<std::unique_ptr<ServiceListener>> listenerOnSocket(int socket,
                                                                   ServiceOptions options);
  ~ServiceListener();
  ServiceListener(const ServiceListener&) = delete;
  ServiceListener& operator=(const ServiceListener&) = delete;

  // setDelegate: — not owned.
  void setDelegate(ServiceListenerDelegate* delegate) { delegate_ = delegate; }
  // resume — serves until stop().
  void resume();
  // Safe to call from a signal handler and from any thread.
  void stop();

  MainQueue& mainQueue() { return context_->mainQueue; }
  const ServiceOptions& options() const { return context_->options; }
  // Connections open now (tests and logs).
  size_t connectionCount();

 private:
  ServiceListener(int socket, std::string boundPath, ServiceOptions options);
  void acceptOne(bool* paused);
  void reapFinished();
  void drain();

  int socket_;
  std::string boundPath_;  // unlinked when the listener goes; empty for a socket handed over
  int stopRead_ = -1;
  int stopWrite_ = -1;
  int reapRead_ = -1;
  int reapWrite_ = -1;
  ServiceListenerDelegate* delegate_ = nullptr;
  std::unique_ptr<ConnectionContext> context_;
  uint64_t nextNumber_ = 1;

  std::mutex connectionsMutex_;
  std::map<uint64_t, std::unique_ptr<ServiceConnection>> connections_;
  std::vector<uint64_t> finished_;
};

}  // namespace premoov
