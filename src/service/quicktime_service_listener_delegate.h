#pragma once

#include "service/service_listener.h"

namespace premoov {

// The listener's delegate: accepts every connection, without looking at the peer, and gives it a
// movie creator of its own.
class QuickTimeServiceDelegate final : public ServiceListenerDelegate {
 public:
  // listener:shouldAcceptNewConnection:
  bool shouldAcceptNewConnection(ServiceListener& listener,
                                 ServiceConnection& newConnection) override;

  // The classes a request's settings may hold.
  static std::set<std::string> allowedSettingsClasses();
};

}  // namespace premoov
