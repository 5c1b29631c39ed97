#include "plist/keyed_archive.h"

namespace premoov {

std::string archivedClassNameOf(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::String: return archived_class::kNSString;
    case Value::Kind::Number:
    case Value::Kind::Boolean: return archived_class::kNSNumber;
    case Value::Kind::Data: return archived_class::kNSData;
    case Value::Kind::Date: return archived_class::kNSDate;
    case Value::Kind::Array: return archived_class::kNSArray;
    case Value::Kind::Dictionary: return archived_class::kNSDictionary;
    case Value::Kind::Object:
      return value.objectValue() ? value.objectValue()->className() : std::string("nil");
  }
  return std::string();
}

}  // namespace premoov
