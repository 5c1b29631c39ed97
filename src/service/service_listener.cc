#include "service/service_listener.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "base/log.h"

namespace premoov {
namespace {

std::string errnoText() { return std::generic_category().message(errno); }

bool makePipe(int* readEnd, int* writeEnd) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  *readEnd = fds[0];
  *writeEnd = fds[1];
  return true;
}

void drainPipe(int fd) {
  char bytes[64];
  while (::read(fd, bytes, sizeof bytes) > 0) {
  }
}

void closeIfOpen(int fd) {
  if (fd >= 0) ::close(fd);
}

Result<sockaddr_un> socketAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    return unexpected(stringWithFormat("the socket path must have 1 to %zu bytes: \"%s\"",
                                       sizeof address.sun_path - 1, path.c_str()));
  }
  path.copy(address.sun_path, path.size());
  return address;
}

// True when a service answers at `address`.
bool someoneListens(const sockaddr_un& address) {
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return false;
  const bool answered =
      ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(probe);
  return answered;
}

// Makes the socket's own directory, private to the user, when it is missing. A directory that
// exists is left as it is: it may be shared (/tmp).
Result<bool> prepareDirectory(const std::string& path) {
  const std::filesystem::path directory = std::filesystem::path(path).parent_path();
  if (directory.empty()) return true;
  if (::mkdir(directory.c_str(), 0700) == 0 || errno == EEXIST) return true;
  return unexpected("cannot make the socket's directory " + directory.string() + ": " +
                    errnoText());
}

}  // namespace

Result<std::unique_ptr<ServiceListener>> ServiceListener::listenerOnPath(const std::string& path,
                                                                         ServiceOptions options) {
  auto address = socketAddress(path);
  if (!address) return unexpected(address.error());
  if (auto directory = prepareDirectory(path); !directory) return unexpected(directory.error());

  struct stat existing {};
  if (::lstat(path.c_str(), &existing) == 0) {
    if (!S_ISSOCK(existing.st_mode)) {
      return unexpected(path + " exists and is not a socket; it is left alone");
    }
    if (someoneListens(*address)) return unexpected("a service already answers at " + path);
    ::unlink(path.c_str());  // left by a service that is gone
  }

  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return unexpected("cannot make a socket: " + errnoText());
  // Only the user may connect: the socket is made 0600 from the start, not after.
  const mode_t previousMask = ::umask(0177);
  const int bound = ::bind(fd, reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
  ::umask(previousMask);
  if (bound != 0 || ::listen(fd, SOMAXCONN) != 0) {
    std::string why = "cannot listen at " + path + ": " + errnoText();
    ::close(fd);
    return unexpected(std::move(why));
  }
  return std::unique_ptr<ServiceListener>(new ServiceListener(fd, path, options));
}

Result<std::unique_ptr<ServiceListener>> ServiceListener::listenerOnSocket(int socket,
                                                                           ServiceOptions options) {
  struct stat st {};
  int listening = 0;
  socklen_t length = sizeof listening;
  if (::fstat(socket, &st) != 0 || !S_ISSOCK(st.st_mode) ||
      ::getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &listening, &length) != 0 || !listening) {
    return unexpected(stringWithFormat("descriptor %i is not a listening socket", socket));
  }
  ::fcntl(socket, F_SETFD, FD_CLOEXEC);
  return std::unique_ptr<ServiceListener>(new ServiceListener(socket, "", options));
}

ServiceListener::ServiceListener(int socket, std::string boundPath, ServiceOptions options)
    : socket_(socket),
      boundPath_(std::move(boundPath)),
      context_(std::make_unique<ConnectionContext>(options)) {
  if (!makePipe(&stopRead_, &stopWrite_) || !makePipe(&reapRead_, &reapWrite_)) {
    NSLog("cannot make the listener's wake pipes: %s", errnoText().c_str());
  }
  context_->connectionFinished = [this](uint64_t number) {
    {
      std::lock_guard lock(connectionsMutex_);
      finished_.push_back(number);
    }
    const char wake = 1;
    [[maybe_unused]] ssize_t n = ::write(reapWrite_, &wake, 1);
  };
}

ServiceListener::~ServiceListener() {
  {
    std::lock_guard lock(connectionsMutex_);
    for (auto& [number, connection] : connections_) connection->invalidate();
  }
  for (auto& [number, connection] : connections_) connection->join();
  connections_.clear();
  context_->mainQueue.close();
  closeIfOpen(socket_);
  if (!boundPath_.empty()) ::unlink(boundPath_.c_str());
  for (int fd : {stopRead_, stopWrite_, reapRead_, reapWrite_}) closeIfOpen(fd);
}

void ServiceListener::stop() {
  const char wake = 1;
  [[maybe_unused]] ssize_t n = ::write(stopWrite_, &wake, 1);
}

size_t ServiceListener::connectionCount() {
  std::lock_guard lock(connectionsMutex_);
  return connections_.size();
}

void ServiceListener::resume() {
  bool acceptPaused = false;
  for (;;) {
    pollfd fds[4] = {{stopRead_, POLLIN, 0},
                     {context_->mainQueue.wakeDescriptor(), POLLIN, 0},
                     {reapRead_, POLLIN, 0},
                     {acceptPaused ? -1 : socket_, POLLIN, 0}};
    const int ready = ::poll(fds, 4, acceptPaused ? 100 : -1);
    if (ready < 0 && errno != EINTR) {
      NSLog("the service loop cannot wait: %s", errnoText().c_str());
      break;
    }
    if (fds[0].revents) break;
    if (fds[1].revents) context_->mainQueue.runPending();
    if (fds[2].revents) reapFinished();
    acceptPaused = false;
    if (fds[3].revents) acceptOne(&acceptPaused);
  }
  drain();
}

void ServiceListener::acceptOne(bool* paused) {
  const int fd = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
  if (fd < 0) {
    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
      // Out of descriptors: wait for connections to end instead of spinning on the backlog.
      NSLog("cannot accept a connection now: %s", errnoText().c_str());
      *paused = true;
    }
    return;
  }
  auto connection = std::make_unique<ServiceConnection>(fd, nextNumber_++, *context_);
  if (!delegate_ || !delegate_->shouldAcceptNewConnection(*this, *connection)) return;
  std::lock_guard lock(connectionsMutex_);
  connections_.emplace(connection->number(), std::move(connection));
}

void ServiceListener::reapFinished() {
  drainPipe(reapRead_);
  std::vector<std::unique_ptr<ServiceConnection>> ended;
  {
    std::lock_guard lock(connectionsMutex_);
    for (uint64_t number : finished_) {
      auto it = connections_.find(number);
      if (it == connections_.end()) continue;
      ended.push_back(std::move(it->second));
      connections_.erase(it);
    }
    finished_.clear();
  }
  ended.clear();  // joins each thread, closes each socket
}

void ServiceListener::drain() {
  // New clients are turned away from now on.
  ::close(socket_);
  socket_ = -1;
  if (!boundPath_.empty()) {
    ::unlink(boundPath_.c_str());
    boundPath_.clear();
  }
  {
    std::lock_guard lock(connectionsMutex_);
    if (!connections_.empty()) {
      NSLog("stopping: finishing the messages of %zu connections", connections_.size());
    }
    for (auto& [number, connection] : connections_) connection->stopReading();
  }
  const auto deadline = std::chrono::steady_clock::now() + context_->options.stopGrace;
  bool forced = false;
  while (connectionCount() > 0) {
    pollfd fds[2] = {{context_->mainQueue.wakeDescriptor(), POLLIN, 0}, {reapRead_, POLLIN, 0}};
    ::poll(fds, 2, 50);
    context_->mainQueue.runPending();
    reapFinished();
    if (!forced && std::chrono::steady_clock::now() >= deadline) {
      std::lock_guard lock(connectionsMutex_);
      NSLog("stopping: closing %zu connections whose replies are not taken", connections_.size());
      for (auto& [number, connection] : connections_) connection->invalidate();
      forced = true;
    }
  }
  context_->mainQueue.close();
}

}  // namespace premoov
