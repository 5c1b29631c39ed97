#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "base/result.h"
#include "plist/value.h"

namespace premoov {

class KeyedArchiver;
class KeyedUnarchiver;

// One of our own classes that can be written to and read from a keyed archive. Its class entry
// in the archive names className() and then its superclasses (classHierarchy()).
class ArchivableObject : public ValueObject {
 public:
  // The class and its superclasses, most derived first: {"ZPRToken", "NSObject"}.
  virtual std::vector<std::string> classHierarchy() const = 0;
  // encodeWithCoder:
  virtual void encodeWithCoder(KeyedArchiver& coder) const = 0;
};

// Writes an object graph in the layout of Foundation's keyed archives: a property list with
// "$archiver" = "NSKeyedArchiver", "$version" = 100000, "$top" = {"root": UID} and "$objects",
// whose element 0 is "$null"; every object is stored once and referred to by UID, and class
// entries carry "$classname" and "$classes". Strings, numbers and data are stored as plain
// property-list values (numbers as Foundation stores an NSNumber: integers as integers, floats as
// 4-byte reals, doubles as 8-byte reals, booleans as booleans); dates, arrays, dictionaries and
// our own classes as dictionaries with a "$class" reference.
class KeyedArchiver {
 public:
  KeyedArchiver();
  ~KeyedArchiver();
  KeyedArchiver(const KeyedArchiver&) = delete;
  KeyedArchiver& operator=(const KeyedArchiver&) = delete;

  // The archive of `root` as a binary property list (archivedDataWithRootObject:).
  static std::vector<uint8_t> archivedDataWithRootObject(const Value& root);

  // For encodeWithCoder: implementations, on the object being encoded.
  // encodeObject:forKey: — nullptr is written as a reference to "$null".
  void encodeObject(const Value* object, const std::string& key);
  void encodeObject(const Value& object, const std::string& key) { encodeObject(&object, key); }
  // encodeInteger:forKey: / encodeInt64:forKey:
  void encodeInt64(int64_t value, const std::string& key);
  // encodeBool:forKey:
  void encodeBool(bool value, const std::string& key);
  // encodeDouble:forKey:
  void encodeDouble(double value, const std::string& key);

  // finishEncoding and encodedData: the archive of everything encoded so far on the top level
  // (encodeObject(root, "root") makes what archivedDataWithRootObject makes). The archiver takes
  // nothing more after it.
  std::vector<uint8_t> encodedData();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The kinds of failure decoding can meet, so that callers and tests need not match texts.
// (fromData answers why an archive cannot be opened at all with a message alone.)
enum class KeyedArchiveFailure {
  kBadReference,      // a UID outside "$objects", or something else where a UID belongs
  kBadObject,         // an archived object or class entry of the wrong shape
  kCycle,             // an object that contains itself
  kTooDeep,           // objects nested deeper than KeyedUnarchiver::kMaxObjectDepth
  kTooMuch,           // more decoded than KeyedUnarchiver::kMaxDecodedBytes allows
  kClassNotAllowed,   // secure decoding met a class outside the allowed set
  kUnknownClass,      // a class name neither built in nor registered
  kInsecureDecoding,  // decodeObject or decodeRootObject while secure coding is required
  kFailedByClass,     // a class factory failed the coder, made nothing or made another class
};

// Why an archive could not be read, for a person: names the key or object at fault.
struct KeyedArchiveError {
  std::string message;
  KeyedArchiveFailure failure = KeyedArchiveFailure::kFailedByClass;
};

// Reads archives in that layout. Every count and reference is checked against the archive
// itself: decoding hostile or truncated data fails with a message, never reads out of bounds,
// never recurses without bound (cycles and deep nesting are refused) and never allocates from a
// count it has not checked. Work is linear in the archive: each archived object is decoded once
// however many references name it, and each dictionary's keys are read in one pass.
//
// An object is made of the class its class entry resolves to: the first name of the entry's
// "$classes" that is built in or registered ("$classname" when there is no list). Secure
// decoding checks that class and its superclasses, as the class itself declares them, against
// the allowed set: the names an archive lists cannot make an object of one class pass as another.
class KeyedUnarchiver {
 public:
  // A class of ours the unarchiver can make, from the coder positioned on its archived object
  // (initWithCoder:). Answers nothing when the object cannot be made (the coder's error says why,
  // or the class decided so).
  using ClassFactory =
      std::function<std::shared_ptr<const ArchivableObject>(KeyedUnarchiver& coder)>;

  // The largest input read at all, in bytes.
  static constexpr size_t kMaxArchiveBytes = size_t{16} << 20;
  // How deeply archived objects may nest (an array in an array counts two).
  static constexpr size_t kMaxObjectDepth = 64;
  // A bound on what one unarchiver's decoded values may hold, in bytes (an estimate: sizeof(Value)
  // per value plus the bytes of its string or data). References let a small archive name one
  // object many times; decoded once, the object is still counted at every reference, so that
  // what the caller receives, walked element by element, stays within the bound.
  static constexpr size_t kMaxDecodedBytes = size_t{64} << 20;

  // Registers one of our classes for every unarchiver of the process, with the superclasses the
  // allowed-class check accepts it as: {"PremoovTestBase", "NSObject"}, say.
  static void registerClass(const std::string& className, ClassFactory factory,
                            std::vector<std::string> superclasses = {"NSObject"});

  struct Options {
    // What one unarchiver reads and makes at most. The defaults suit anything a request
    // carries; a client reading a header the size of a long-GOP header room raises them.
    size_t maxArchiveBytes = kMaxArchiveBytes;
    size_t maxDecodedBytes = kMaxDecodedBytes;
    // Reals as the sender's numbers were made: a 4-byte real a kCFNumberFloatType number and an
    // 8-byte one a kCFNumberDoubleType one (numberWithFloat:, numberWithDouble:), as a
    // connection delivers an NSNumber. Off, they read as a property-list file makes them
    // (kCFNumberFloat32Type, kCFNumberFloat64Type). The difference matters to metadata, which
    // stores only float and double numbers as reals.
    bool realsAsSent = false;
  };

  // Opens an archive (a binary or XML property list in the keyed archive layout).
  static Result<std::unique_ptr<KeyedUnarchiver>> fromData(std::span<const uint8_t> data) {
    return fromData(data, Options{});
  }
  static Result<std::unique_ptr<KeyedUnarchiver>> fromData(std::span<const uint8_t> data,
                                                           const Options& options);

  // With secure coding, every object decoded must be of a class allowed for its key: objects
  // inside arrays and dictionaries included.
  void setRequiresSecureCoding(bool required) { requiresSecureCoding_ = required; }
  bool requiresSecureCoding() const { return requiresSecureCoding_; }

  // The root object ("root" of "$top"): decodeObjectOfClasses:forKey: on the top level.
  std::optional<Value> decodeTopLevelObjectOfClasses(const std::set<std::string>& classes);
  // Plain decoding of the root: any class (refused when secure coding is required).
  std::optional<Value> decodeRootObject();

  // For initWithCoder: implementations, on the object being decoded.
  bool containsValueForKey(const std::string& key) const;
  // decodeObjectOfClasses:forKey: / decodeObjectOfClass:forKey: — nothing for an absent key or
  // "$null" (not an error); nothing and an error for a class outside `classes`.
  std::optional<Value> decodeObjectOfClasses(const std::set<std::string>& classes,
                                             const std::string& key);
  // decodeObjectForKey: — any class (refused when secure coding is required).
  std::optional<Value> decodeObject(const std::string& key);
  // decodeInt64ForKey: / decodeIntegerForKey: — any number: a real truncated toward zero, a
  // boolean as 0 or 1; 0 when absent or no number.
  int64_t decodeInt64(const std::string& key);
  bool decodeBool(const std::string& key);
  double decodeDouble(const std::string& key);

  // The first failure met, if any; decoding stops making objects after it.
  const std::optional<KeyedArchiveError>& error() const { return error_; }
  // failWithError: for factories; the failure is kFailedByClass. Only the first failure is kept.
  void failWithError(std::string message);
  void failWithError(KeyedArchiveFailure failure, std::string message);

  ~KeyedUnarchiver();

 private:
  KeyedUnarchiver();
  struct State;
  class Decoder;
  std::unique_ptr<State> state_;
  bool requiresSecureCoding_ = false;
  std::optional<KeyedArchiveError> error_;
};

// The class names of the platform's own value classes, as archives name them.
namespace archived_class {
inline constexpr const char* kNSString = "NSString";
inline constexpr const char* kNSNumber = "NSNumber";
inline constexpr const char* kNSData = "NSData";
inline constexpr const char* kNSDate = "NSDate";
inline constexpr const char* kNSArray = "NSArray";
inline constexpr const char* kNSDictionary = "NSDictionary";
}  // namespace archived_class

// The class a value belongs to, as secure decoding checks it ("NSString" for a string value,
// "NSNumber" for numbers and booleans, the object's class name for our own objects).
std::string archivedClassNameOf(const Value& value);

}  // namespace premoov
