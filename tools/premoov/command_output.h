#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "base/result.h"
#include "requests/header_request.h"

namespace premoov {

// Keys in the order the commands set them, which is the order a reader expects them in.
using OrderedJson = nlohmann::ordered_json;

// Compact JSON text; bytes that are not UTF-8 (a path, say) become U+FFFD rather than throwing.
std::string jsonText(const OrderedJson& json, int indent = -1);

// Whether `reply` carries a header. When not, prints {"error": ..., "growing": ...} (no
// "growing" when there was no reply at all) to `out`: the answer of a refused request.
bool printRefusalUnlessCreated(const Result<HeaderReply>& reply, std::ostream& out);

// "01:02:03.045" for a time in units of `timeScale`, milliseconds truncated; "--:--:--.---" when
// unknown.
std::string clockText(std::optional<uint64_t> time, uint32_t timeScale);

}  // namespace premoov
