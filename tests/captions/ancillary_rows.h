#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "captions/ancillary_packets.h"
#include "media/pixel_formats.h"
#include "media/v210_words.h"

namespace premoov::testing {

// An ancillary data word of 10 bits: the byte, bit 8 making bits 0-8 even, bit 9 its inverse.
inline uint16_t ancillaryWord(uint8_t byte) {
  const uint16_t parity = std::popcount(unsigned(byte)) % 2 == 1 ? 0x100 : 0;
  return static_cast<uint16_t>(byte | parity | (parity ? 0 : 0x200));
}

// Captured ancillary rows of '2vuy' or 'v210', blank (luma black, chroma neutral) until packets
// are put into them. Samples are addressed as the scanner counts them: in a row's luma, chroma or
// interleaved stream, at full depth (an 8-bit row keeps a sample's low 8 bits).
class AncillaryRows {
 public:
  AncillaryRows(FourCC format, size_t bytesPerRow, size_t rows)
      : format_(format), bytesPerRow_(bytesPerRow), bytes_(bytesPerRow * rows) {
    const size_t samples = samplesPerRow();
    for (size_t r = 0; r < rows; ++r) {
      for (size_t j = 0; j < samples; ++j)
        setInterleaved(r, j, j % 2 == 1 ? lumaBlack() : chromaZero());
    }
  }

  bool tenBit() const { return format_ == kCVPixelFormatType_422YpCbCr10; }
  uint16_t lumaBlack() const { return tenBit() ? 0x040 : 0x10; }
  uint16_t chromaZero() const { return tenBit() ? 0x200 : 0x80; }
  size_t samplesPerRow() const { return tenBit() ? bytesPerRow_ / 4 * 3 : bytesPerRow_; }
  size_t bytesPerRow() const { return bytesPerRow_; }
  std::vector<uint8_t>& bytes() { return bytes_; }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

  uint16_t get(size_t row, AncillaryStream stream, size_t index) const {
    switch (stream) {
      case AncillaryStream::kLuma: return getInterleaved(row, 2 * index + 1);
      case AncillaryStream::kChroma: return getInterleaved(row, 2 * index);
      case AncillaryStream::kInterleaved: break;
    }
    return getInterleaved(row, index);
  }

  void set(size_t row, AncillaryStream stream, size_t index, uint16_t value) {
    switch (stream) {
      case AncillaryStream::kLuma: return setInterleaved(row, 2 * index + 1, value);
      case AncillaryStream::kChroma: return setInterleaved(row, 2 * index, value);
      case AncillaryStream::kInterleaved: return setInterleaved(row, index, value);
    }
  }

  // A SMPTE 291 packet from `position` on; answers the position after its checksum word.
  // `checksumError` is added to the checksum word.
  size_t putPacket(size_t row, AncillaryStream stream, size_t position, uint8_t did, uint8_t sdid,
                   std::span<const uint8_t> userData, uint16_t checksumError = 0) {
    size_t at = position;
    set(row, stream, at++, 0x000);
    set(row, stream, at++, 0x3FF);
    set(row, stream, at++, 0x3FF);
    unsigned sum = 0;
    auto word = [&](uint8_t byte) {
      const uint16_t w = ancillaryWord(byte);
      sum += w & 0x1FF;
      set(row, stream, at++, w);
    };
    word(did);
    word(sdid);
    word(static_cast<uint8_t>(userData.size()));
    for (uint8_t byte : userData) word(byte);
    uint16_t checksum = static_cast<uint16_t>(sum & 0x1FF);
    if ((checksum & 0x100) == 0) checksum |= 0x200;
    set(row, stream, at++, static_cast<uint16_t>(checksum + checksumError));
    return at;
  }

 private:
  uint16_t getInterleaved(size_t row, size_t j) const {
    const uint8_t* base = bytes_.data() + row * bytesPerRow_;
    if (!tenBit()) return base[j];
    return v210Sample(readV210Word(base + j / 3 * 4), unsigned(j % 3));
  }

  void setInterleaved(size_t row, size_t j, uint16_t value) {
    uint8_t* base = bytes_.data() + row * bytesPerRow_;
    if (!tenBit()) {
      base[j] = static_cast<uint8_t>(value);
      return;
    }
    uint8_t* wordBytes = base + j / 3 * 4;
    const unsigned shift = 10 * unsigned(j % 3);
    uint32_t w = readV210Word(wordBytes);
    w = (w & ~(kV210SampleMask << shift)) | (uint32_t(value & kV210SampleMask) << shift);
    writeV210Word(wordBytes, w);
  }

  FourCC format_;
  size_t bytesPerRow_;
  std::vector<uint8_t> bytes_;
};

// A caption distribution packet of `length` bytes (cdp_length = length): identifier, length,
// then bytes counting up, so that any byte read from the wrong place shows.
inline std::vector<uint8_t> countingCdp(uint8_t length) {
  std::vector<uint8_t> cdp(length);
  for (size_t i = 0; i < cdp.size(); ++i) cdp[i] = static_cast<uint8_t>(0x10 + i);
  if (length > 0) cdp[0] = 0x96;
  if (length > 1) cdp[1] = 0x69;
  if (length > 2) cdp[2] = length;
  return cdp;
}

}  // namespace premoov::testing
