// premoovd: the header service. Serves header requests from recording applications on a Unix
// domain socket, one movie creator per connection.

#include <signal.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "base/log.h"
#include "service/quicktime_service_listener_delegate.h"
#include "service/service_listener.h"
#include "service/socket_activation.h"
#include "service/wire/socket_path.h"

namespace {

// A signal may come while the socket is being opened, before there is a listener to stop: it is
// remembered, and the listener stops as soon as it exists.
std::atomic<premoov::ServiceListener*> gStoppingListener{nullptr};
volatile std::sig_atomic_t gStopRequested = 0;

void stopOnSignal(int) {
  gStopRequested = 1;
  if (auto* listener = gStoppingListener.load()) listener->stop();
}

static_assert(std::atomic<premoov::ServiceListener*>::is_always_lock_free,
              "the signal handler reads the listener without a lock");

// Installed before the socket is opened: a SIGTERM that comes while the service starts stops it
// as cleanly as one that comes later. A parent may have blocked the stop signals while
// starting us; they are ours to take from here on.
void installStopSignals() {
  struct sigaction action {};
  action.sa_handler = stopOnSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  sigprocmask(SIG_UNBLOCK, &stopSignals, nullptr);
}

// Every client costs a descriptor: take all the system grants.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"premoovd: the header service of growing QuickTime movie files"};
  std::optional<std::string> socketPath;
  premoov::ServiceOptions options;
  double replyTimeoutSeconds = 30;
  app.add_option("--socket", socketPath,
                 "listen on this Unix socket (default " + premoov::defaultSocketPath() +
                     "; ignored when the system passes a socket)");
  app.add_flag("--verbose", options.verbose, "log one line per message");
  app.add_option("--jobs", options.concurrentBuilds, "header builds at once")
      ->check(CLI::Range(1u, 4096u));
  app.add_option("--reply-timeout", replyTimeoutSeconds,
                 "seconds a reply may wait for a client that does not read it")
      ->check(CLI::Range(0.001, 86400.0));
  CLI11_PARSE(app, argc, argv);
  options.replyTimeout =
      std::chrono::milliseconds(static_cast<long long>(replyTimeoutSeconds * 1000));

  raiseDescriptorLimit();
  installStopSignals();
  auto activated = premoov::activatedListeningSocket();
  if (!activated) {
    std::fprintf(stderr, "premoovd: %s\n", activated.error().c_str());
    return 1;
  }
  const std::string path = socketPath.value_or(premoov::defaultSocketPath());
  auto listener = *activated ? premoov::ServiceListener::listenerOnSocket(**activated, options)
                             : premoov::ServiceListener::listenerOnPath(path, options);
  if (!listener) {
    std::fprintf(stderr, "premoovd: %s\n", listener.error().c_str());
    return 1;
  }

  // The process entry: the listener, its delegate, then the main loop until stopped.
  auto delegate = std::make_unique<premoov::QuickTimeServiceDelegate>();
  (*listener)->setDelegate(delegate.get());
  gStoppingListener = listener->get();
  if (gStopRequested) (*listener)->stop();
  premoov::NSLog("listening on %s", *activated ? "the socket passed by the system" : path.c_str());
  (*listener)->resume();
  gStoppingListener = nullptr;
  premoov::NSLog("stopped");
  return 0;
}
