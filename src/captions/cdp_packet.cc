#include "captions/cdp_packet.h"

#include <algorithm>
#include <numeric>

#include "base/byte_writer.h"
#include "captions/cdp_layout.h"

namespace premoov {
namespace {

// time_code_present 0; ccdata_present, svcinfo_present, svc_info_start, svc_info_change,
// svc_info_complete, caption_service_active and the reserved bit 1.
constexpr uint8_t kCdpFlags = 0x7F;
// The same without a service information section: ccdata_present, caption_service_active and
// the reserved bit 1.
constexpr uint8_t kSlotCdpFlags = 0x43;
// reserved 1, svc_info_start 1, svc_info_change 1, svc_info_complete 1, svc_count 2.
constexpr uint8_t kServiceInfoHeader = 0xF2;
// Service 1: caption service 0, language three spaces, line 21 (digital_cc 0), field 1.
// Service 2: caption service 1, language "eng", digital (digital_cc 1), caption_service_number 1.
constexpr uint8_t kServices[14] = {0xE0, 0x20, 0x20, 0x20, 0x7E, 0x3F, 0xFF,
                                   0xE1, 0x65, 0x6E, 0x67, 0xC1, 0x3F, 0xFF};
// Where the cdp starts in the sample: after the atom header.
constexpr size_t kCdpStart = 8;

// cc_data triplet heads: five marker bits, cc_valid, cc_type.
constexpr uint8_t kField1Valid = 0xFC;
constexpr uint8_t kField1Invalid = 0xF8;
constexpr uint8_t kField2Invalid = 0xF9;
constexpr uint8_t kDtvccInvalid = 0xFA;

// The 'ccdp' atom around a cdp, with or without the service information section.
std::vector<uint8_t> writeCcdpSample(const CdpPacket& packet, bool serviceInformation) {
  const size_t tripletBytes = size_t{3} * packet.ccCount;
  const size_t sampleSize =
      tripletBytes + (serviceInformation ? kCcdpSampleOverhead : kCcdpSlotSampleOverhead);
  ByteWriter w;
  w.reserve(sampleSize);
  // The builders' atom size keeps only its low byte, as recorders have always written it; ours
  // is whole.
  w.u32(serviceInformation ? static_cast<uint8_t>(sampleSize) : static_cast<uint32_t>(sampleSize));
  w.fourCC(FourCC("ccdp"));
  w.u16(kCdpIdentifier);
  w.u8(static_cast<uint8_t>(sampleSize - kCdpStart));
  w.u8(static_cast<uint8_t>((packet.frameRateCode << 4) | 0x0F));
  w.u8(serviceInformation ? kCdpFlags : kSlotCdpFlags);
  w.u16(packet.sequence);
  w.u8(kCcdataId);
  w.u8(static_cast<uint8_t>(0xE0 | packet.ccCount));
  const size_t copied = std::min(tripletBytes, packet.ccData.size());
  w.bytes(packet.ccData.first(copied));
  w.zeros(tripletBytes - copied);
  if (serviceInformation) {
    w.u8(kCcsvcinfoId);
    w.u8(kServiceInfoHeader);
    w.bytes(kServices);
  }
  w.u8(kCdpFooterId);
  w.u16(packet.sequence);
  const auto& bytes = w.data();
  const auto sum =
      std::accumulate(bytes.begin() + kCdpStart, bytes.end(), uint8_t{0},
                      [](uint8_t s, uint8_t b) { return static_cast<uint8_t>(s + b); });
  w.u8(static_cast<uint8_t>(-sum));
  return w.take();
}

}  // namespace

std::vector<uint8_t> ccdpSample(const CdpPacket& packet) { return writeCcdpSample(packet, true); }

std::vector<uint8_t> ccdpSlotSample(const CdpPacket& packet) {
  return writeCcdpSample(packet, false);
}

std::vector<uint8_t> cea608Triplets(const uint8_t* pair) {
  if (pair) return {kField1Valid, pair[0], pair[1], kField2Invalid, 0x80, 0x80};
  return {kField1Invalid, 0x80, 0x80, kField2Invalid, 0x80, 0x80};
}

void appendPaddingTriplets(std::vector<uint8_t>& triplets, size_t count) {
  for (size_t i = 0; i < count; ++i) triplets.insert(triplets.end(), {kDtvccInvalid, 0x00, 0x00});
}

}  // namespace premoov
