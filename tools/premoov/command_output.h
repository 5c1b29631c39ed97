#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "base/result.h"
#include "premoov/commands.h"
#include "requests/header_request.h"

namespace premoov {

// Keys in the order the commands set them, which is the order a reader expects them in.
using OrderedJson = nlohmann::ordered_json;

// Compact JSON text; bytes that are not UTF-8 (a path, say) become U+FFFD rather than throwing.
std::string jsonText(const OrderedJson& json, int indent = -1);

// Whether `reply` carries a header. When not, prints {"error": ..., "growing": ...} (no
// "growing" when there was no reply at all) to `out`, or as text "Refused: ERROR": the answer of
// a refused request.
bool printRefusalUnlessCreated(const Result<HeaderReply>& reply, OutputStyle style,
                               std::ostream& out);

// Readable text on a terminal, JSON for scripts: --json and --text choose; otherwise text only
// when the output is a terminal, so that pipes keep the JSON they always had.
OutputStyle chooseOutputStyle(bool json, bool text, bool outputIsTerminal);

// "117,733,183,504": a count with its thousands grouped.
std::string groupedNumber(uint64_t value);

// "117.7 GB", "4.2 MB", "512 bytes": a byte count in decimal units, one decimal from kB up.
std::string byteSizeText(uint64_t bytes);

// Text read from a file, safe to print on a terminal: control bytes (a terminal's escape
// sequences among them) become "\xNN".
std::string visibleText(std::string_view text);

// "01:02:03.045" for a time in units of `timeScale`, milliseconds truncated; "--:--:--.---" when
// unknown.
std::string clockText(std::optional<uint64_t> time, uint32_t timeScale);

}  // namespace premoov
