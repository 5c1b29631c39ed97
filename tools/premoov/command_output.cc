#include "premoov/command_output.h"

#include "base/log.h"

namespace premoov {

std::string jsonText(const OrderedJson& json, int indent) {
  return json.dump(indent, ' ', false, OrderedJson::error_handler_t::replace);
}

bool printRefusalUnlessCreated(const Result<HeaderReply>& reply, std::ostream& out) {
  if (reply && reply->created) return true;
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

std::string clockText(std::optional<uint64_t> time, uint32_t timeScale) {
  if (!time || timeScale == 0) return "--:--:--.---";
  const auto seconds = static_cast<unsigned long long>(*time / timeScale);
  const auto ms = static_cast<unsigned long long>(*time % timeScale * 1000 / timeScale);
  return stringWithFormat("%02llu:%02llu:%02llu.%03llu", seconds / 3600, seconds / 60 % 60,
                          seconds % 60, ms);
}

}  // namespace premoov
