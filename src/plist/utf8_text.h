#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace premoov {

// The length of the well-formed UTF-8 sequence at the start of `s` (no overlong forms, no
// surrogates, nothing past U+10FFFF), 0 when there is none.
size_t utf8SequenceLength(std::string_view s);

// `s` as UTF-16 code units, as a binary property list stores text that is not ASCII: a byte that
// starts no well-formed sequence becomes U+FFFD.
std::vector<uint16_t> utf16Units(std::string_view s);

}  // namespace premoov
