#include "service/wire/service_interface.h"

#include "base/log.h"
#include "plist/keyed_archive.h"

namespace premoov {

const char* argumentKindName(ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::kString: return "a string";
    case ArgumentKind::kBoolean: return "a boolean";
    case ArgumentKind::kUnsigned32: return "an integer from 0 to 4294967295";
    case ArgumentKind::kInt32: return "a 32-bit integer";
    case ArgumentKind::kInt64: return "an integer";
    case ArgumentKind::kTime: return "a time dictionary";
    case ArgumentKind::kDictionary: return "a dictionary";
    case ArgumentKind::kData: return "data";
    case ArgumentKind::kObject: return "an object";
  }
  return "an argument";
}

const ServiceProtocol& quickTimeServiceProtocol() {
  static const ServiceProtocol protocol{
      "ZPRQuickTimeServiceProtocol",
      {{selector::kWriteQuickTimeHeader,
        {ArgumentKind::kString, ArgumentKind::kBoolean, ArgumentKind::kUnsigned32,
         ArgumentKind::kObject, ArgumentKind::kTime, ArgumentKind::kDictionary}},
       {selector::kCancel, {}}}};
  return protocol;
}

const ServiceProtocol& quickTimeServiceDelegateProtocol() {
  static const ServiceProtocol protocol{
      "ZPRQuickTimeServiceDelegate",
      {{selector::kDidCreateHeader,
        {ArgumentKind::kData, ArgumentKind::kBoolean, ArgumentKind::kInt32, ArgumentKind::kInt64}},
       {selector::kFailedCreatingGrowingHeader, {ArgumentKind::kBoolean, ArgumentKind::kString}}}};
  return protocol;
}

ServiceInterface ServiceInterface::interfaceWithProtocol(const ServiceProtocol& protocol) {
  ServiceInterface interface;
  interface.protocol_ = &protocol;
  return interface;
}

void ServiceInterface::setClasses(std::set<std::string> classes, const std::string& selector,
                                  size_t argumentIndex, bool ofReply) {
  const MethodSignature* signature = method(selector);
  if (ofReply || !signature || argumentIndex >= signature->arguments.size()) {
    NSLog("setClasses: no argument %zu of %s%s in %s", argumentIndex, selector.c_str(),
          ofReply ? "'s reply" : "", protocol_->name.c_str());
    return;
  }
  for (DeclaredClasses& declared : declared_) {
    if (declared.selector == selector && declared.argumentIndex == argumentIndex) {
      declared.classes = std::move(classes);
      return;
    }
  }
  declared_.push_back({selector, argumentIndex, std::move(classes)});
}

const MethodSignature* ServiceInterface::method(const std::string& selector) const {
  for (const MethodSignature& signature : protocol_->methods) {
    if (signature.selector == selector) return &signature;
  }
  return nullptr;
}

const std::set<std::string>& ServiceInterface::classesForArgument(const std::string& selector,
                                                                  size_t argumentIndex) const {
  for (const DeclaredClasses& declared : declared_) {
    if (declared.selector == selector && declared.argumentIndex == argumentIndex) {
      return declared.classes;
    }
  }
  return plainClasses();
}

const std::set<std::string>& ServiceInterface::plainClasses() {
  using namespace archived_class;
  static const std::set<std::string> classes{kNSString, kNSNumber, kNSData,
                                             kNSDate,   kNSArray,  kNSDictionary};
  return classes;
}

}  // namespace premoov
