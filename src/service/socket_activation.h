#pragma once

#include <optional>

#include "base/result.h"

namespace premoov {

// The first descriptor the system hands a socket-activated service.
inline constexpr int kFirstActivatedDescriptor = 3;

// The listening socket the system passed this process, as socket activation passes it
// (LISTEN_PID naming this process, LISTEN_FDS counting the descriptors from 3): nothing when the
// process was started without one. The variables are removed so that no child takes them for its
// own. More than one socket is refused: the service listens on one.
Result<std::optional<int>> activatedListeningSocket();

}  // namespace premoov
