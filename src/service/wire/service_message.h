#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "plist/keyed_archive.h"
#include "plist/value.h"
#include "service/wire/service_interface.h"

namespace premoov {

// One message across a connection: a selector and its arguments in declaration order. On the
// wire it is a keyed archive whose root is the dictionary {"selector": …, "arguments": […]}.
struct ServiceMessage {
  std::string selector;
  std::vector<Value> arguments;
};

// The payload of a message: its keyed archive as a binary property list.
std::vector<uint8_t> archivedMessage(const ServiceMessage& message);

// How messages are read: within the unarchiver's limits, numbers as the sender made them.
KeyedUnarchiver::Options messageOptions();

// Why a payload is no message of an interface.
enum class MessageFault {
  // Not a message at all, an unknown selector, or arguments of the wrong kind or count: the
  // connection cannot be trusted to stay in step and is closed.
  kMalformed,
  // A well-formed message holding an object of a class its argument does not allow: the message
  // is dropped and the connection goes on.
  kClassNotAllowed,
};

struct MessageError {
  MessageFault fault = MessageFault::kMalformed;
  std::string message;  // for the log: names the selector, argument and what was wrong
};

// Reads a message of `interface` from `payload`: every object must be of a class its argument
// allows (declared with setClasses, or the plain classes), and every argument of its kind.
std::variant<ServiceMessage, MessageError> unarchivedMessage(
    std::span<const uint8_t> payload, const ServiceInterface& interface,
    const KeyedUnarchiver::Options& options = messageOptions());

}  // namespace premoov
