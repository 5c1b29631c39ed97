// Feeds arbitrary ancillary rows to both readers of caption packets, the recorder's and our
// scanner, and checks what each promises whatever the rows: no read outside the buffer (which is
// exactly the bytes given, so that the sanitizer sees any byte past it), bounded work, a sample
// that is a 'ccdp' atom of its payload plus 8 bytes with the size's low byte, packets whose user
// data is their data count unless cut short; and that both agree on a well-formed caption packet
// at the start of the first row, which the recorder reads correctly.
//
// Input: a header of four bytes, then the rows.
//   [0]     format: modulo 4, '2vuy', 'v210', 'yuvs' (not handled) or 'BGRA' (not handled)
//   [1, 2]  bytes per row, big-endian (0 and more than the rows are allowed)
//   [3]     bytes cut from the end of the buffer, so that the size need not be whole rows

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "base/log.h"
#include "captions/ancillary_packets.h"
#include "captions/cc_utilities.h"
#include "media/core_media.h"
#include "media/pixel_formats.h"

namespace {

using namespace premoov;

constexpr size_t kHeaderBytes = 4;
constexpr size_t kCdpLengthWord = 2;  // the cdp's third byte

[[noreturn]] void fail() { __builtin_trap(); }

std::vector<uint8_t> sampleBytes(const CMSampleBufferRef& sample) {
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample);
  std::vector<uint8_t> bytes(CMBlockBufferGetDataLength(block));
  if (CMBlockBufferCopyDataBytes(block, 0, bytes) != 0) fail();
  return bytes;
}

// What the recorder must give for a checked caption packet that starts the first row: the cdp
// (its cdp_length bytes in 8-bit rows, when the packet holds them), or the data count's bytes in
// 10-bit rows. Nothing when the recorder is not bound to find it.
bool expectedPayload(const AncillaryPacket& packet, bool tenBit, std::vector<uint8_t>& payload) {
  if (packet.row != 0 || packet.stream != AncillaryStream::kLuma || packet.position != 0 ||
      !packet.isCaption() || !packet.ok()) {
    return false;
  }
  if (tenBit) {
    payload = packet.userData;
    return true;
  }
  if (packet.userData.size() <= kCdpLengthWord) return false;
  const size_t length = packet.userData[kCdpLengthWord];
  if (length > packet.userData.size()) return false;
  payload.assign(packet.userData.begin(), packet.userData.begin() + length);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The log lines of rows that run past the buffer would flood the run.
  setLogSink([](const std::string&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < kHeaderBytes) return 0;
  static const FourCC kFormats[] = {kCVPixelFormatType_422YpCbCr8, kCVPixelFormatType_422YpCbCr10,
                                    kCVPixelFormatType_422YpCbCr8_yuvs, kCVPixelFormatType_32BGRA};
  const FourCC format = kFormats[data[0] % 4];
  const uint32_t bytesPerRow = uint32_t(data[1]) << 8 | data[2];
  size_t rowsSize = size - kHeaderBytes;
  rowsSize -= data[3] < rowsSize ? data[3] : rowsSize;
  // An allocation of exactly the rows, so that any read past them is seen.
  std::unique_ptr<uint8_t[]> rows(new uint8_t[rowsSize ? rowsSize : 1]);
  if (rowsSize) std::memcpy(rows.get(), data + kHeaderBytes, rowsSize);

  ZPRCCUtilities utilities;
  const CMSampleTimingInfo timing{CMTimeMake(1001, 30000), CMTimeMake(7007, 30000), kCMTimeInvalid};
  const CMSampleBufferRef sample = utilities.createClosedCaptionSampleFromCEA708DataBuffer(
      rowsSize ? rows.get() : nullptr, static_cast<uint32_t>(rowsSize), bytesPerRow, format,
      timing);
  std::vector<uint8_t> fromRecorder;
  if (sample) {
    fromRecorder = sampleBytes(sample);
    if (fromRecorder.size() < 8 || fromRecorder.size() > 255 + 8) fail();
    if (fromRecorder[0] || fromRecorder[1] || fromRecorder[2] ||
        fromRecorder[3] != (fromRecorder.size() & 0xFF) ||
        std::memcmp(&fromRecorder[4], "ccdp", 4) != 0) {
      fail();
    }
    if (CMSampleBufferGetPresentationTimeStamp(sample) != timing.presentationTimeStamp) fail();
  }

  const std::vector<AncillaryPacket> packets =
      findAncillaryPackets(std::span(rows.get(), rowsSize), bytesPerRow, format);
  const bool tenBit = format == kCVPixelFormatType_422YpCbCr10;
  for (const AncillaryPacket& packet : packets) {
    if (packet.userData.size() > packet.dataCount) fail();
    if (!packet.cutShort && packet.userData.size() != packet.dataCount) fail();
    if (packet.parityHolds.has_value() != tenBit) fail();
    if (packet.row >= (bytesPerRow ? rowsSize / bytesPerRow : 0)) fail();
  }
  std::vector<uint8_t> payload;
  if (!packets.empty() && expectedPayload(packets.front(), tenBit, payload)) {
    if (!sample) fail();
    if (!std::equal(payload.begin(), payload.end(), fromRecorder.begin() + 8, fromRecorder.end()) ||
        fromRecorder.size() != payload.size() + 8) {
      fail();
    }
  }
  return 0;
}
