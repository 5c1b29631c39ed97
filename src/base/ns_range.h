#pragma once

#include <cstddef>

namespace premoov {

// A run of items: `length` of them from `location` on.
struct NSRange {
  size_t location = 0;
  size_t length = 0;
};

}  // namespace premoov
