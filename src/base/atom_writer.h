#pragma once

#include <cstddef>
#include <cstdint>

#include "base/byte_writer.h"

namespace premoov {

// Opens an atom on construction (32-bit size placeholder, type) and writes its size when it goes
// out of scope, so sizes are never counted by hand:
//   { AtomScope moov(w, FourCC("moov")); { AtomScope mvhd(w, FourCC("mvhd")); ... } }
class AtomScope {
 public:
  AtomScope(ByteWriter& writer, FourCC type);
  // A full atom: version and 24-bit flags follow the type.
  AtomScope(ByteWriter& writer, FourCC type, uint8_t version, uint32_t flags);
  ~AtomScope();
  AtomScope(const AtomScope&) = delete;
  AtomScope& operator=(const AtomScope&) = delete;

 private:
  ByteWriter& writer_;
  size_t start_;
};

}  // namespace premoov
