#include "premoov/command_output.h"

#include <iterator>

#include "base/log.h"

namespace premoov {

std::string jsonText(const OrderedJson& json, int indent) {
  return json.dump(indent, ' ', false, OrderedJson::error_handler_t::replace);
}

bool printRefusalUnlessCreated(const Result<HeaderReply>& reply, OutputStyle style,
                               std::ostream& out) {
  if (reply && reply->created) return true;
  if (style == OutputStyle::kText) {
    out << "Refused: " << (reply ? reply->error : reply.error()) << '\n';
    return false;
  }
  OrderedJson refusal;
  if (!reply) {
    refusal["error"] = reply.error();
  } else {
    refusal["error"] = reply->error;
    refusal["growing"] = reply->growing;
  }
  out << jsonText(refusal) << '\n';
  return false;
}

OutputStyle chooseOutputStyle(bool json, bool text, bool outputIsTerminal) {
  if (json) return OutputStyle::kJson;
  if (text || outputIsTerminal) return OutputStyle::kText;
  return OutputStyle::kJson;
}

std::string groupedNumber(uint64_t value) {
  std::string digits = std::to_string(value);
  for (size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, ",");
  return digits;
}

std::string byteSizeText(uint64_t bytes) {
  static constexpr const char* kUnits[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
  if (bytes < 1000) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  double size = static_cast<double>(bytes) / 1000;
  size_t unit = 0;
  while (size >= 999.95 && unit + 1 < std::size(kUnits)) {
    size /= 1000;
    ++unit;
  }
  return stringWithFormat("%.1f %s", size, kUnits[unit]);
}

std::string visibleText(std::string_view text) {
  std::string visible;
  visible.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      visible += stringWithFormat("\\x%02X", byte);
    } else {
      visible += c;
    }
  }
  return visible;
}

std::string clockText(std::optional<uint64_t> time, uint32_t timeScale) {
  if (!time || timeScale == 0) return "--:--:--.---";
  const auto seconds = static_cast<unsigned long long>(*time / timeScale);
  const auto ms = static_cast<unsigned long long>(*time % timeScale * 1000 / timeScale);
  return stringWithFormat("%02llu:%02llu:%02llu.%03llu", seconds / 3600, seconds / 60 % 60,
                          seconds % 60, ms);
}

}  // namespace premoov
