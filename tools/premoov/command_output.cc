#include "premoov/command_output.h"

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

}  // namespace premoov
