#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace premoov {

// The bytes of a "c708" caption sample besides its cc_data triplets: the 'ccdp' atom header
// (8), the cdp header and cc_data head (9), the service information section (16) and the
// footer (4).
inline constexpr size_t kCcdpSampleOverhead = 37;
// The same without the service information section: the room a caption sample gets in a movie.
inline constexpr size_t kCcdpSlotSampleOverhead = 21;

// One caption distribution packet, in a 'ccdp' atom, as the builders write it: frame rate code,
// sequence value (the same in header and footer), cc_count triplets of cc_data, two services
// announced (a line-21 service on field 1 and digital service 1 in English), and the checksum
// that makes the packet sum to zero.
struct CdpPacket {
  uint8_t ccCount = 0;
  uint8_t frameRateCode = 0;
  uint16_t sequence = 0;
  // The cc_data section: its first 3 x ccCount bytes, zeros for any it lacks. What reaches past
  // the section is not written, as the service information written after it would cover it.
  std::span<const uint8_t> ccData;
};

// The sample: 3 x ccCount + 37 bytes. The atom size keeps only its low byte (bytes 0 to 2 are
// zero), and cdp_length its low 8 bits, as recorders have always written them.
std::vector<uint8_t> ccdpSample(const CdpPacket& packet);

// Our addition: the same packet without the service information section (svcinfo_present 0 and
// the svc_info flags 0), 3 x ccCount + 21 bytes. The header gives a caption sample exactly this
// room, while the builders' packets are 16 bytes longer: a recorder fills its caption slots with
// these.
std::vector<uint8_t> ccdpSlotSample(const CdpPacket& packet);

// The cc_data triplets of a packet carrying a field-1 CEA-608 pair (or none: an invalid triplet),
// then an invalid field-2 triplet. Padding adds `count` invalid DTVCC triplets.
std::vector<uint8_t> cea608Triplets(const uint8_t* pair);
void appendPaddingTriplets(std::vector<uint8_t>& triplets, size_t count);

}  // namespace premoov
