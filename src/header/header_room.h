#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace premoov {

inline constexpr uint32_t kMdatHeaderSize = 16;
inline constexpr uint32_t kTimecodeSampleSize = 4;  // a frame number, big-endian

// The header room: the bytes before the media data, where the movie, a 'free' atom and the 'mdat'
// header live. 4 MiB, or for long-GOP video fps x 10 MiB / 25 with the product formed in unsigned
// 32-bit arithmetic (it wraps from 410 fps on; recorders compute it the same way).
uint32_t headerRoom(bool isLongGOP, int32_t fps);

// Where the 16-byte 'mdat' header starts: just before the media, and 4 bytes earlier still when
// the single global timecode sample sits at the end of the room.
uint64_t mediaDataAtomStart(uint32_t headerRoom, bool globalTimecode);

// Writes the 'free' atom header at `movieSize` (it spans up to `mdatStart`) and the 'mdat'
// header at `mdatStart`, into a header already grown to its room. Media data of `mdatSize` bytes
// (the atom's size, header included) takes the 32-bit form followed by an 8-byte 'wide' atom,
// or from 2^32 on the 64-bit form: 16 bytes either way, so the media never moves. The 'mdat'
// header is written last and wins where the two overlap (less than 8 bytes of room).
void closeHeaderRoom(std::vector<uint8_t>& header, size_t movieSize, uint64_t mdatStart,
                     uint64_t mdatSize);

}  // namespace premoov
