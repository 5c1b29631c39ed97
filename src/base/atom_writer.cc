#include "base/atom_writer.h"

namespace premoov {

AtomScope::AtomScope(ByteWriter& writer, FourCC type) : writer_(writer), start_(writer.size()) {
  writer_.u32(0);
  writer_.fourCC(type);
}

AtomScope::AtomScope(ByteWriter& writer, FourCC type, uint8_t version, uint32_t flags)
    : AtomScope(writer, type) {
  writer_.u8(version);
  writer_.u24(flags);
}

AtomScope::~AtomScope() {
  writer_.patchU32(start_, static_cast<uint32_t>(writer_.size() - start_));
}

}  // namespace premoov
