#pragma once

#include <string>

namespace premoov {

// Where the service listens unless told otherwise: $XDG_RUNTIME_DIR/premoov/premoov.sock, or
// /tmp/premoov-UID/premoov.sock when the session has no runtime directory.
std::string defaultSocketPath();

}  // namespace premoov
