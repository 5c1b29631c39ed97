#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "base/four_char_code.h"
#include "captions/ancillary_packet_ids.h"

namespace premoov {

// Where in a row of 4:2:2 samples (Cb Y Cr Y ...) a packet was found. HD rows carry ancillary
// packets in the luma samples, and may in the chroma samples; SD rows carry them in all samples
// in order.
enum class AncillaryStream : uint8_t { kLuma, kChroma, kInterleaved };

// "luma", "chroma", "interleaved".
std::string_view ancillaryStreamName(AncillaryStream stream);

// One SMPTE 291 ancillary packet found in a row.
struct AncillaryPacket {
  size_t row = 0;
  AncillaryStream stream = AncillaryStream::kLuma;
  size_t position = 0;  // of the flag's first sample, counted in the row's samples of `stream`
  uint8_t did = 0;      // the words' low 8 bits: parity bits are checked, not kept
  uint8_t sdid = 0;
  uint8_t dataCount = 0;
  std::vector<uint8_t> userData;    // dataCount bytes; fewer when cut short
  std::optional<bool> parityHolds;  // 10-bit rows: every header and user word has even parity
                                    // in bit 8 and its inverse in bit 9; 8-bit rows carry none
  bool checksumHolds = false;       // 8-bit rows: the low 8 bits of the checksum
  bool cutShort = false;            // the row ends before the packet's checksum word

  bool isCaption() const { return did == kCaptionDid && sdid == kCaptionSdid; }
  bool ok() const { return !cutShort && checksumHolds && parityHolds.value_or(true); }
};

// Our scanner of captured ancillary rows, for the checks a recorder's own reading skips: every
// packet anywhere in every row, in each of the three sample streams, with its parity bits and
// checksum checked and its user data read where the packet itself lies. `rows` holds as many
// whole rows of `bytesPerRow` bytes as it can ('2vuy' or 'v210'; a 'v210' row is read in whole
// words). Packets come row by row, luma before chroma before interleaved, each stream in order.
// Work and memory grow with the bytes given; nothing for another format or a zero row length.
std::vector<AncillaryPacket> findAncillaryPackets(std::span<const uint8_t> rows, size_t bytesPerRow,
                                                  FourCC format);

}  // namespace premoov
