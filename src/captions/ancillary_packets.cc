#include "captions/ancillary_packets.h"

#include <bit>

#include "media/pixel_formats.h"
#include "media/v210_words.h"

namespace premoov {
namespace {

// Ancillary data flag, header words (DID, SDID or DBN, DC) and checksum of a SMPTE 291 packet.
constexpr size_t kFlagWords = 3;
constexpr size_t kHeaderWords = kFlagWords + 3;
constexpr uint16_t kNineBits = 0x1FF;
constexpr uint16_t kParityBit = 0x100;
constexpr uint16_t kInverseBit = 0x200;

// The row's samples in order, Cb Y Cr Y ..., at their full depth.
struct RowSamples {
  std::vector<uint16_t> samples;
  uint16_t flagHigh = 0;  // the flag's second and third words: all ones
  bool tenBit = false;
};

void readRow(const uint8_t* row, size_t bytesPerRow, FourCC format, RowSamples& out) {
  out.samples.clear();
  if (format == kCVPixelFormatType_422YpCbCr10) {
    for (size_t byte = 0; byte + 4 <= bytesPerRow; byte += 4) {
      const uint32_t word = readV210Word(row + byte);
      for (unsigned i = 0; i < 3; ++i) out.samples.push_back(v210Sample(word, i));
    }
  } else {
    out.samples.assign(row, row + bytesPerRow);
  }
}

// Bit 8 makes bits 0-8 even, and bit 9 is its inverse.
bool wordParityHolds(uint16_t word) {
  const bool parity = (word & kParityBit) != 0;
  const bool inverse = (word & kInverseBit) != 0;
  return parity == (std::popcount(unsigned(word & 0xFF)) % 2 == 1) && inverse != parity;
}

// One stream of a row: every `stride`-th sample from `first`.
class StreamView {
 public:
  StreamView(const std::vector<uint16_t>& samples, size_t first, size_t stride)
      : samples_(samples),
        first_(first),
        stride_(stride),
        size_(samples.size() > first ? (samples.size() - first + stride - 1) / stride : 0) {}

  size_t size() const { return size_; }
  uint16_t operator[](size_t i) const { return samples_[first_ + i * stride_]; }

 private:
  const std::vector<uint16_t>& samples_;
  size_t first_, stride_, size_;
};

void scanStream(const StreamView& s, const RowSamples& row, size_t rowIndex, AncillaryStream stream,
                std::vector<AncillaryPacket>& packets) {
  for (size_t i = 0; i + kFlagWords <= s.size();) {
    if (s[i] != 0 || s[i + 1] != row.flagHigh || s[i + 2] != row.flagHigh) {
      ++i;
      continue;
    }
    AncillaryPacket packet;
    packet.row = rowIndex;
    packet.stream = stream;
    packet.position = i;
    if (i + kHeaderWords > s.size()) {
      packet.cutShort = true;
      if (i + 3 < s.size()) packet.did = static_cast<uint8_t>(s[i + 3]);
      if (i + 4 < s.size()) packet.sdid = static_cast<uint8_t>(s[i + 4]);
      packets.push_back(std::move(packet));
      return;
    }
    packet.did = static_cast<uint8_t>(s[i + 3]);
    packet.sdid = static_cast<uint8_t>(s[i + 4]);
    packet.dataCount = static_cast<uint8_t>(s[i + 5]);
    const size_t firstData = i + kHeaderWords;
    const size_t checksumAt = firstData + packet.dataCount;
    const size_t dataEnd = checksumAt < s.size() ? checksumAt : s.size();
    bool parity = true;
    unsigned sum = 0;
    for (size_t k = i + 3; k < dataEnd; ++k) {
      parity = parity && wordParityHolds(s[k]);
      sum += s[k] & kNineBits;
    }
    packet.userData.reserve(dataEnd - firstData);
    for (size_t k = firstData; k < dataEnd; ++k) packet.userData.push_back(uint8_t(s[k]));
    if (checksumAt >= s.size()) {
      packet.cutShort = true;
    } else {
      const uint16_t checksum = s[checksumAt];
      if (row.tenBit) {
        const bool inverse = (checksum & kInverseBit) != 0;
        const bool b8 = (checksum & kParityBit) != 0;
        packet.checksumHolds = (checksum & kNineBits) == (sum & kNineBits) && inverse != b8;
      } else {
        packet.checksumHolds = checksum == (sum & 0xFF);
      }
    }
    if (row.tenBit) packet.parityHolds = parity;
    packets.push_back(std::move(packet));
    if (checksumAt >= s.size()) return;
    i = checksumAt + 1;
  }
}

}  // namespace

std::string_view ancillaryStreamName(AncillaryStream stream) {
  switch (stream) {
    case AncillaryStream::kLuma: return "luma";
    case AncillaryStream::kChroma: return "chroma";
    case AncillaryStream::kInterleaved: return "interleaved";
  }
  return "?";
}

std::vector<AncillaryPacket> findAncillaryPackets(std::span<const uint8_t> rows, size_t bytesPerRow,
                                                  FourCC format) {
  std::vector<AncillaryPacket> packets;
  const bool tenBit = format == kCVPixelFormatType_422YpCbCr10;
  if (bytesPerRow == 0 || (!tenBit && format != kCVPixelFormatType_422YpCbCr8)) return packets;
  RowSamples row;
  row.tenBit = tenBit;
  row.flagHigh = tenBit ? 0x3FF : 0xFF;
  const size_t rowCount = rows.size() / bytesPerRow;
  for (size_t r = 0; r < rowCount; ++r) {
    readRow(rows.data() + r * bytesPerRow, bytesPerRow, format, row);
    scanStream(StreamView(row.samples, 1, 2), row, r, AncillaryStream::kLuma, packets);
    scanStream(StreamView(row.samples, 0, 2), row, r, AncillaryStream::kChroma, packets);
    scanStream(StreamView(row.samples, 0, 1), row, r, AncillaryStream::kInterleaved, packets);
  }
  return packets;
}

}  // namespace premoov
