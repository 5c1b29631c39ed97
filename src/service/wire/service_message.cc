#include "service/wire/service_message.h"

#include <limits>
#include <set>

#include "base/log.h"
#include "naming/naming_classes.h"

namespace premoov {
namespace {

constexpr const char* kSelectorKey = "selector";
constexpr const char* kArgumentsKey = "arguments";

MessageError malformed(std::string message) {
  return {MessageFault::kMalformed, std::move(message)};
}

// Every class an argument of `interface` may hold: what the root is decoded against, before each
// argument is checked against its own set.
std::set<std::string> everyAllowedClass(const ServiceInterface& interface) {
  std::set<std::string> classes = ServiceInterface::plainClasses();
  for (const MethodSignature& method : interface.protocol().methods) {
    for (size_t i = 0; i < method.arguments.size(); ++i) {
      const auto& declared = interface.classesForArgument(method.selector, i);
      classes.insert(declared.begin(), declared.end());
    }
  }
  return classes;
}

bool isInteger(const Value& v) { return v.kind() == Value::Kind::Number && !v.isFloatingNumber(); }

bool fitsKind(const Value& v, ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::kString: return v.isString();
    case ArgumentKind::kBoolean: return v.kind() == Value::Kind::Boolean || isInteger(v);
    case ArgumentKind::kUnsigned32:
      return isInteger(v) && v.longLongValue() >= 0 &&
             v.longLongValue() <= std::numeric_limits<uint32_t>::max();
    case ArgumentKind::kInt32:
      return isInteger(v) && v.longLongValue() >= std::numeric_limits<int32_t>::min() &&
             v.longLongValue() <= std::numeric_limits<int32_t>::max();
    case ArgumentKind::kInt64: return isInteger(v);
    case ArgumentKind::kTime:
    case ArgumentKind::kDictionary: return v.isDictionary();
    case ArgumentKind::kData: return v.isData();
    case ArgumentKind::kObject: return true;
  }
  return false;
}

// The first object inside `v`, `v` included, of a class outside `allowed`: its class name, or
// nothing. Arrays and dictionaries are walked; our own objects checked their insides as they
// were decoded.
std::optional<std::string> disallowedClassIn(const Value& v, const std::set<std::string>& allowed) {
  const std::string name = archivedClassNameOf(v);
  if (allowed.count(name) == 0) return name;
  if (v.isArray()) {
    for (const Value& element : v.elements()) {
      if (auto found = disallowedClassIn(element, allowed)) return found;
    }
  } else if (v.isDictionary()) {
    for (const auto& [key, element] : v.entries()) {
      if (allowed.count(archived_class::kNSString) == 0) return archived_class::kNSString;
      if (auto found = disallowedClassIn(element, allowed)) return found;
    }
  }
  return std::nullopt;
}

bool refusesMessageOnly(KeyedArchiveFailure failure) {
  return failure == KeyedArchiveFailure::kClassNotAllowed ||
         failure == KeyedArchiveFailure::kUnknownClass ||
         failure == KeyedArchiveFailure::kFailedByClass;
}

}  // namespace

KeyedUnarchiver::Options messageOptions() {
  KeyedUnarchiver::Options options;
  options.realsAsSent = true;
  return options;
}

std::vector<uint8_t> archivedMessage(const ServiceMessage& message) {
  Value::Array arguments(message.arguments.begin(), message.arguments.end());
  Value root = Value::dictionary({{kSelectorKey, Value::string(message.selector)},
                                  {kArgumentsKey, Value::array(std::move(arguments))}});
  return KeyedArchiver::archivedDataWithRootObject(root);
}

std::variant<ServiceMessage, MessageError> unarchivedMessage(
    std::span<const uint8_t> payload, const ServiceInterface& interface,
    const KeyedUnarchiver::Options& options) {
  registerNamingClasses();
  auto unarchiver = KeyedUnarchiver::fromData(payload, options);
  if (!unarchiver) return malformed("not a keyed archive: " + unarchiver.error());
  (*unarchiver)->setRequiresSecureCoding(true);
  std::optional<Value> root =
      (*unarchiver)->decodeTopLevelObjectOfClasses(everyAllowedClass(interface));
  if (const auto& error = (*unarchiver)->error()) {
    return MessageError{refusesMessageOnly(error->failure) ? MessageFault::kClassNotAllowed
                                                           : MessageFault::kMalformed,
                        error->message};
  }
  if (!root || !root->isDictionary()) return malformed("the root object is not a dictionary");
  const Value* selector = root->objectForKey(kSelectorKey);
  const Value* arguments = root->objectForKey(kArgumentsKey);
  if (!selector || !selector->isString()) return malformed("no \"selector\" string");
  if (!arguments || !arguments->isArray()) return malformed("no \"arguments\" array");
  if (root->entries().size() != 2) {
    return malformed("the root holds keys besides \"selector\" and \"arguments\"");
  }

  ServiceMessage message{selector->stringValue(), arguments->elements()};
  const MethodSignature* method = interface.method(message.selector);
  if (!method) {
    return malformed("unknown selector \"" + message.selector + "\" for " +
                     interface.protocol().name);
  }
  if (message.arguments.size() != method->arguments.size()) {
    return malformed(stringWithFormat("%s takes %zu arguments, not %zu", method->selector.c_str(),
                                      method->arguments.size(), message.arguments.size()));
  }
  for (size_t i = 0; i < message.arguments.size(); ++i) {
    const Value& argument = message.arguments[i];
    const ArgumentKind kind = method->arguments[i];
    if (!fitsKind(argument, kind)) {
      return malformed(stringWithFormat("argument %zu of %s must be %s, not %s", i,
                                        method->selector.c_str(), argumentKindName(kind),
                                        kindName(argument.kind())));
    }
    if (auto refused =
            disallowedClassIn(argument, interface.classesForArgument(method->selector, i))) {
      return MessageError{MessageFault::kClassNotAllowed,
                          stringWithFormat("argument %zu of %s holds an object of class %s, "
                                           "which it does not allow",
                                           i, method->selector.c_str(), refused->c_str())};
    }
  }
  return message;
}

}  // namespace premoov
