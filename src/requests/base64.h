#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace premoov {

// Decodes standard base64 (RFC 4648 section 4: A-Z a-z 0-9 + /, '=' padding) strictly: the
// length must be a multiple of 4, padding only at the end, no white space, and the bits that
// padding leaves over must be zero, so that every byte string has exactly one accepted text.
std::optional<std::vector<uint8_t>> decodeBase64(std::string_view text);

}  // namespace premoov
