#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace premoov {

// What one argument of a message must be on the wire.
enum class ArgumentKind {
  kString,      // a string
  kBoolean,     // a boolean, or an integer (non-zero is YES)
  kUnsigned32,  // an integer from 0 to 4294967295
  kInt32,       // an integer that fits 32 bits, signed
  kInt64,       // an integer
  kTime,        // a CMTime in its dictionary form
  kDictionary,  // a dictionary
  kData,        // data
  kObject,      // any object of the allowed classes
};

const char* argumentKindName(ArgumentKind kind);

struct MethodSignature {
  std::string selector;
  std::vector<ArgumentKind> arguments;
};

// The messages one side of a connection understands, in declaration order.
struct ServiceProtocol {
  std::string name;
  std::vector<MethodSignature> methods;
};

// ZPRQuickTimeServiceProtocol: the requests the service exports.
const ServiceProtocol& quickTimeServiceProtocol();
// ZPRQuickTimeServiceDelegate: the replies the client exports.
const ServiceProtocol& quickTimeServiceDelegateProtocol();

namespace selector {
inline constexpr const char* kWriteQuickTimeHeader =
    "writeQuickTimeHeaderAtPath:newFile:blockSize:uniqueID:duration:settings:";
inline constexpr const char* kCancel = "cancel";
inline constexpr const char* kDidCreateHeader = "didCreateHeader:growing:frameSize:fileSize:";
inline constexpr const char* kFailedCreatingGrowingHeader = "failedCreatingGrowingHeader:error:";
}  // namespace selector

// A protocol as a connection uses it: its methods and the classes each object argument may hold.
// An argument without a declared class set takes the plain classes of property lists.
class ServiceInterface {
 public:
  // interfaceWithProtocol:
  static ServiceInterface interfaceWithProtocol(const ServiceProtocol& protocol);

  // setClasses:forSelector:argumentIndex:ofReply: — our messages have no reply blocks, so
  // `ofReply` YES declares nothing (and is logged).
  void setClasses(std::set<std::string> classes, const std::string& selector, size_t argumentIndex,
                  bool ofReply);

  const ServiceProtocol& protocol() const { return *protocol_; }
  const MethodSignature* method(const std::string& selector) const;
  // The classes an argument may hold: the declared set, or the plain classes.
  const std::set<std::string>& classesForArgument(const std::string& selector,
                                                  size_t argumentIndex) const;

  // NSString, NSNumber, NSData, NSDate, NSArray, NSDictionary.
  static const std::set<std::string>& plainClasses();

 private:
  struct DeclaredClasses {
    std::string selector;
    size_t argumentIndex = 0;
    std::set<std::string> classes;
  };

  const ServiceProtocol* protocol_ = nullptr;
  std::vector<DeclaredClasses> declared_;
};

}  // namespace premoov
