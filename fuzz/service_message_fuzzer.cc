// Feeds arbitrary bytes to the service's message decoding, as a frame's payload from any local
// process reaches it, against both interfaces (the requests the service reads, the replies a
// client reads), and checks what decoding promises:
// - a message that decodes names a method of its interface and carries exactly its arguments,
//   each of its kind, and nothing of a class its argument does not allow;
// - it archives again and reads back as a message of the same method, and from then on as the
//   same message, argument for argument;
// - the connection's conversions of a request's arguments (the duration's time) take any of them.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <variant>

#include "base/log.h"
#include "canonical_value.h"
#include "media/cm_time.h"
#include "plist/keyed_archive.h"
#include "service/wire/service_interface.h"
#include "service/wire/service_message.h"

namespace {

using premoov::ServiceInterface;
using premoov::ServiceMessage;
using premoov::Value;

void check(bool condition) {
  if (!condition) std::abort();
}

std::string canonical(const Value& value) {
  return premoov::fuzzing::canonicalValue(
      value, [](const Value& object) { return "object " + object.objectValue()->className(); });
}

std::string canonical(const ServiceMessage& message) {
  std::string out = message.selector + "(";
  for (const Value& argument : message.arguments) out += canonical(argument) + ";";
  return out + ")";
}

void decodeAgainst(std::span<const uint8_t> payload, const ServiceInterface& interface) {
  auto decoded = premoov::unarchivedMessage(payload, interface);
  const auto* message = std::get_if<ServiceMessage>(&decoded);
  if (!message) return;
  const premoov::MethodSignature* method = interface.method(message->selector);
  check(method != nullptr);
  check(method->arguments.size() == message->arguments.size());
  if (message->selector == premoov::selector::kWriteQuickTimeHeader) {
    const premoov::CMTime duration = premoov::CMTimeMakeFromDictionary(&message->arguments[4]);
    (void)duration;
  }

  // Archived again, it reads back as a message of the same method; from then on it stays the
  // same, argument for argument (texts settle in the first round: an archive's strings end at a
  // NUL and are UTF-8).
  auto second = premoov::unarchivedMessage(premoov::archivedMessage(*message), interface);
  const auto* settled = std::get_if<ServiceMessage>(&second);
  check(settled != nullptr && settled->selector == message->selector);
  auto third = premoov::unarchivedMessage(premoov::archivedMessage(*settled), interface);
  const auto* same = std::get_if<ServiceMessage>(&third);
  check(same != nullptr && canonical(*same) == canonical(*settled));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  premoov::setLogSink([](const std::string&) {});  // refusals are logged: keep the run quiet
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const ServiceInterface requests = [] {
    ServiceInterface interface =
        ServiceInterface::interfaceWithProtocol(premoov::quickTimeServiceProtocol());
    interface.setClasses({"ZPRMetadataItem", "ZPRToken", "NSArray", "NSDictionary", "NSString",
                          "NSNumber", "NSData"},
                         premoov::selector::kWriteQuickTimeHeader, 5, false);
    return interface;
  }();
  static const ServiceInterface replies =
      ServiceInterface::interfaceWithProtocol(premoov::quickTimeServiceDelegateProtocol());
  const std::span<const uint8_t> payload(data, size);
  decodeAgainst(payload, requests);
  decodeAgainst(payload, replies);
  return 0;
}
