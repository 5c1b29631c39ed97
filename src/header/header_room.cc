#include "header/header_room.h"

#include <algorithm>

#include "base/byte_writer.h"

namespace premoov {

uint32_t headerRoom(bool isLongGOP, int32_t fps) {
  if (!isLongGOP) return 4'194'304;
  return static_cast<uint32_t>(fps) * 10'485'760u / 25u;
}

uint64_t mediaDataAtomStart(uint32_t headerRoom, bool globalTimecode) {
  return headerRoom - kMdatHeaderSize - (globalTimecode ? kTimecodeSampleSize : 0);
}

void closeHeaderRoom(std::vector<uint8_t>& header, size_t movieSize, uint64_t mdatStart,
                     uint64_t mdatSize) {
  ByteWriter freeAtom;
  freeAtom.u32(static_cast<uint32_t>(mdatStart - movieSize));  // size
  freeAtom.fourCC(FourCC("free"));                             // type
  std::copy(freeAtom.data().begin(), freeAtom.data().end(),
            header.begin() + static_cast<std::ptrdiff_t>(movieSize));

  ByteWriter mdat;
  if (mdatSize < (uint64_t{1} << 32)) {
    mdat.u32(static_cast<uint32_t>(mdatSize));  // size
    mdat.fourCC(FourCC("mdat"));                // type
    mdat.u32(8);                                // 'wide' size
    mdat.fourCC(FourCC("wide"));                // 'wide' type, inside the media data
  } else {
    mdat.u32(1);                  // size: the 64-bit one follows
    mdat.fourCC(FourCC("mdat"));  // type
    mdat.u64(mdatSize);           // size, 64-bit
  }
  std::copy(mdat.data().begin(), mdat.data().end(),
            header.begin() + static_cast<std::ptrdiff_t>(mdatStart));
}

}  // namespace premoov
