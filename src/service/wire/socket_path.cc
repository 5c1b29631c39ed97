#include "service/wire/socket_path.h"

#include <unistd.h>

#include <cstdlib>

namespace premoov {

std::string defaultSocketPath() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  const std::string directory = runtime && *runtime ? std::string(runtime) + "/premoov"
                                                    : "/tmp/premoov-" + std::to_string(::getuid());
  return directory + "/premoov.sock";
}

}  // namespace premoov
