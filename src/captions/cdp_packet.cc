#include "captions/cdp_packet.h"

#include <algorithm>
#include <numeric>

#include "base/byte_writer.h"

namespace premoov {
namespace {

constexpr uint16_t kCdpIdentifier = 0x9669;
constexpr uint8_t kCcdataId = 0x72;
constexpr uint8_t kCcsvcinfoId = 0x73;
constexpr uint8_t kCdpFooterId = 0x74;
// time_code_present 0; ccdata_present, svcinfo_present, svc_info_start, svc_info_change,
// svc_info_complete, caption_service_active and the reserved bit 1.
constexpr uint8_t kCdpFlags = 0x7F;
// reserved 1, svc_info_start 1, svc_info_change 1, svc_info_complete 1, svc_count 2.
constexpr uint8_t kServiceInfoHeader = 0xF2;
// Service 1: caption service 0, language three spaces, line 21 (digital_cc 0), field 1.
// Service 2: caption service 1, language "eng", digital (digital_cc 1), caption_service_number 1.
constexpr uint8_t kServices[14] = {0xE0, 0x20, 0x20, 0x20, 0x7E, 0x3F, 0xFF,
                                   0xE1, 0x65, 0x6E, 0x67, 0xC1, 0x3F, 0xFF};
// The cdp's bytes, from cdp_identifier on, before the cc_data triplets and after them up to the
// checksum.
constexpr size_t kCdpStart = 8;
constexpr uint8_t kCdpBytesBesideTriplets = 29;

// cc_data triplet heads: five marker bits, cc_valid, cc_type.
constexpr uint8_t kField1Valid = 0xFC;
constexpr uint8_t kField1Invalid = 0xF8;
constexpr uint8_t kField2Invalid = 0xF9;
constexpr uint8_t kDtvccInvalid = 0xFA;

}  // namespace

std::vector<uint8_t> ccdpSample(const CdpPacket& packet) {
  const size_t tripletBytes = size_t{3} * packet.ccCount;
  ByteWriter w;
  w.reserve(tripletBytes + kCcdpSampleOverhead);
  w.u32(static_cast<uint8_t>(tripletBytes + kCcdpSampleOverhead));
  w.fourCC(FourCC("ccdp"));
  w.u16(kCdpIdentifier);
  w.u8(static_cast<uint8_t>(tripletBytes + kCdpBytesBesideTriplets));
  w.u8(static_cast<uint8_t>((packet.frameRateCode << 4) | 0x0F));
  w.u8(kCdpFlags);
  w.u16(packet.sequence);
  w.u8(kCcdataId);
  w.u8(static_cast<uint8_t>(0xE0 | packet.ccCount));
  const size_t copied = std::min(tripletBytes, packet.ccData.size());
  w.bytes(packet.ccData.first(copied));
  w.zeros(tripletBytes - copied);
  w.u8(kCcsvcinfoId);
  w.u8(kServiceInfoHeader);
  w.bytes(kServices);
  w.u8(kCdpFooterId);
  w.u16(packet.sequence);
  const auto& bytes = w.data();
  const auto sum =
      std::accumulate(bytes.begin() + kCdpStart, bytes.end(), uint8_t{0},
                      [](uint8_t s, uint8_t b) { return static_cast<uint8_t>(s + b); });
  w.u8(static_cast<uint8_t>(-sum));
  return w.take();
}

std::vector<uint8_t> cea608Triplets(const uint8_t* pair) {
  if (pair) return {kField1Valid, pair[0], pair[1], kField2Invalid, 0x80, 0x80};
  return {kField1Invalid, 0x80, 0x80, kField2Invalid, 0x80, 0x80};
}

void appendPaddingTriplets(std::vector<uint8_t>& triplets, size_t count) {
  for (size_t i = 0; i < count; ++i) triplets.insert(triplets.end(), {kDtvccInvalid, 0x00, 0x00});
}

}  // namespace premoov
