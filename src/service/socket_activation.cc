#include "service/socket_activation.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "base/log.h"

namespace premoov {
namespace {

// The decimal number in `text`, or nothing.
std::optional<long long> decimal(const char* text) {
  if (!text || !*text) return std::nullopt;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text, &end, 10);
  if (errno != 0 || *end != '\0') return std::nullopt;
  return value;
}

}  // namespace

Result<std::optional<int>> activatedListeningSocket() {
  const char* pidText = std::getenv("LISTEN_PID");
  const char* countText = std::getenv("LISTEN_FDS");
  if (!pidText && !countText) return std::optional<int>{};
  const auto pid = decimal(pidText);
  const auto count = decimal(countText);
  ::unsetenv("LISTEN_PID");
  ::unsetenv("LISTEN_FDS");
  ::unsetenv("LISTEN_FDNAMES");
  if (!pid || *pid != ::getpid()) {
    // Meant for another process (a parent that did not clear them): not ours.
    return std::optional<int>{};
  }
  if (!count || *count < 1) {
    return unexpected(
        stringWithFormat("LISTEN_FDS is \"%s\": no socket was passed", countText ? countText : ""));
  }
  if (*count > 1) {
    return unexpected(
        stringWithFormat("LISTEN_FDS is %lld: the service listens on one socket", *count));
  }
  return std::optional<int>{kFirstActivatedDescriptor};
}

}  // namespace premoov
