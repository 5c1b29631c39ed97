#include <cstdio>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "base/byte_writer.h"
#include "base/log.h"
#include "captions/ancillary_packet_ids.h"
#include "captions/cc_utilities.h"
#include "media/pixel_formats.h"
#include "media/v210_words.h"

namespace premoov {
namespace {

constexpr size_t kCcdpHeaderBytes = 8;

// '2vuy' rows, Cb Y Cr Y: the packet's words are the luma bytes, at odd offsets from its start.
constexpr size_t kFlagBytes[] = {1, 3, 5};
constexpr size_t kDidByte = 7;
constexpr size_t kSdidByte = 9;
constexpr size_t kDataCountByte = 11;
constexpr size_t kFirstUserWordByte = 13;
constexpr size_t kCdpLengthByte = 17;  // user data word 2
// The header (flag, DID, SDID, data count: 6 words) and the checksum, 2 bytes a word.
constexpr size_t kPacketOverheadBytes = 14;

// 'v210' rows: a packet's flag, DID, SDID and data count lie in the luma samples of its first four
// words; the payload's luma samples are read from the fifth word of the row.
constexpr size_t kFirstPayloadWord = 4;
constexpr uint16_t kTenBitFlagFirst = 0x000;
constexpr uint16_t kTenBitFlagOther = 0x3FF;
constexpr uint16_t kTenBitCaptionDid = 0x161;   // 0x61 with its parity bits
constexpr uint16_t kTenBitCaptionSdid = 0x101;  // 0x01 with its parity bits

// Wraps a found packet in a sample. Answers the sample to return (nothing when it could not be
// made), or no answer at all when the block's memory could not be had: the scan goes on.
class CaptionSampleMaker {
 public:
  CaptionSampleMaker(CoreMedia& media, CMFormatDescriptionRef format,
                     const CMSampleTimingInfo& timing)
      : media_(media), format_(std::move(format)), timing_(timing) {}

  std::optional<CMSampleBufferRef> make(std::span<const uint8_t> payload) const {
    const size_t total = payload.size() + kCcdpHeaderBytes;
    CMBlockBufferRef block;
    media_.CMBlockBufferCreateWithMemoryBlock(total, &block);
    uint8_t* data = nullptr;
    size_t totalLength = 0;
    if (!block || media_.CMBlockBufferGetDataPointer(block, 0, nullptr, &totalLength, &data) != 0 ||
        !data || totalLength < total) {
      return std::nullopt;
    }
    // The atom size keeps only its low byte, as recorders have always written it.
    ByteWriter atom;
    atom.reserve(total);
    atom.u24(0);
    atom.u8(static_cast<uint8_t>(total & 0xFF));
    atom.fourCC(FourCC("ccdp"));
    atom.bytes(payload);
    std::memcpy(data, atom.data().data(), total);
    CMSampleBufferRef sample;
    const OSStatus status = media_.CMSampleBufferCreate(block, format_, 1, std::span(&timing_, 1),
                                                        std::span(&total, 1), &sample);
    if (status != 0) {
      std::printf("Invalid could not create CEA708 sample buffer description (Error = %i\n",
                  static_cast<int>(status));
      std::fflush(stdout);
      return CMSampleBufferRef{};
    }
    return sample;
  }

 private:
  CoreMedia& media_;
  CMFormatDescriptionRef format_;
  CMSampleTimingInfo timing_;
};

void logPastTheBuffer(const char* what, size_t at, size_t row, size_t size) {
  NSLog("CEA708: %s %zu of row %zu runs past the end of the %zu-byte buffer", what, at, row,
        size);
}

CMSampleBufferRef scanEightBitRows(std::span<const uint8_t> buffer, size_t bytesPerRow,
                                   const CaptionSampleMaker& maker) {
  const size_t rows = buffer.size() / bytesPerRow;
  std::vector<uint8_t> payload;
  for (size_t row = 0; row < rows; ++row) {
    const size_t rowStart = row * bytesPerRow;
    for (size_t u = 0; u < bytesPerRow;) {
      const size_t packet = rowStart + u;
      if (packet + kFlagBytes[2] >= buffer.size()) {
        logPastTheBuffer("the ancillary packet at byte", u, row, buffer.size());
        break;
      }
      if (buffer[packet + kFlagBytes[0]] != 0x00 || buffer[packet + kFlagBytes[1]] != 0xFF ||
          buffer[packet + kFlagBytes[2]] != 0xFF) {
        break;
      }
      if (packet + kDataCountByte >= buffer.size()) {
        logPastTheBuffer("the ancillary packet at byte", u, row, buffer.size());
        break;
      }
      if (buffer[packet + kDidByte] == kCaptionDid && buffer[packet + kSdidByte] == kCaptionSdid) {
        if (packet + kCdpLengthByte >= buffer.size()) {
          logPastTheBuffer("the caption packet at byte", u, row, buffer.size());
          break;
        }
        const size_t length = buffer[packet + kCdpLengthByte];
        if (length > 0 && packet + kFirstUserWordByte + 2 * (length - 1) >= buffer.size()) {
          logPastTheBuffer("the caption packet at byte", u, row, buffer.size());
          break;
        }
        payload.resize(length);
        for (size_t i = 0; i < length; ++i)
          payload[i] = buffer[packet + kFirstUserWordByte + 2 * i];
        if (auto sample = maker.make(payload)) return *sample;
      }
      u += kPacketOverheadBytes + 2 * size_t{buffer[packet + kDataCountByte]};
    }
  }
  return nullptr;
}

// The words of one 'v210' row, read no further than the buffer's end.
class TenBitRow {
 public:
  TenBitRow(std::span<const uint8_t> buffer, size_t start) : buffer_(buffer), start_(start) {}

  bool has(size_t word) const { return start_ + 4 * word + 4 <= buffer_.size(); }
  uint32_t operator[](size_t word) const { return readV210Word(&buffer_[start_ + 4 * word]); }

 private:
  std::span<const uint8_t> buffer_;
  size_t start_;
};

CMSampleBufferRef scanTenBitRows(std::span<const uint8_t> buffer, size_t bytesPerRow,
                                 const CaptionSampleMaker& maker) {
  const size_t rows = buffer.size() / bytesPerRow;
  const size_t rowStride = bytesPerRow / 4 * 4;
  std::vector<uint8_t> payload;
  for (size_t row = 0; row < rows; ++row) {
    const TenBitRow words(buffer, row * rowStride);
    // The word index is compared with the row's byte count and stepped by the packet's data
    // count: recorders have always scanned these rows so.
    for (size_t w = 0; w < bytesPerRow;) {
      if (!words.has(w + 3)) {
        logPastTheBuffer("the ancillary packet at word", w, row, buffer.size());
        break;
      }
      if (v210Sample(words[w], 1) != kTenBitFlagFirst ||
          v210Sample(words[w + 1], 0) != kTenBitFlagOther ||
          v210Sample(words[w + 1], 2) != kTenBitFlagOther) {
        break;
      }
      const uint8_t dataCount = static_cast<uint8_t>(v210Sample(words[w + 3], 2));
      if (v210Sample(words[w + 2], 1) == kTenBitCaptionDid &&
          v210Sample(words[w + 3], 0) == kTenBitCaptionSdid) {
        // Payload byte i: i mod 3 = 0 is the middle sample of a word, 1 the first sample of the
        // next word and 2 its last, so three bytes take two words.
        const size_t lastWord =
            kFirstPayloadWord +
            (dataCount == 0 ? 0 : (dataCount - 1) / 3 * 2 + ((dataCount - 1) % 3 != 0));
        if (dataCount > 0 && !words.has(lastWord)) {
          logPastTheBuffer("the caption packet at word", w, row, buffer.size());
          break;
        }
        payload.resize(dataCount);
        size_t word = kFirstPayloadWord;
        for (size_t i = 0; i < dataCount; ++i) {
          switch (i % 3) {
            case 0: payload[i] = static_cast<uint8_t>(v210Sample(words[word++], 1)); break;
            case 1: payload[i] = static_cast<uint8_t>(v210Sample(words[word], 0)); break;
            default: payload[i] = static_cast<uint8_t>(v210Sample(words[word++], 2)); break;
          }
        }
        if (auto sample = maker.make(payload)) return *sample;
      }
      if (dataCount == 0) {
        // Stepping by a zero data count would find the same packet again, forever.
        NSLog(
            "CEA708: the ancillary packet at word %zu of row %zu has no data words; the rest of "
            "the row is skipped",
            w, row);
        break;
      }
      w += dataCount;
    }
  }
  return nullptr;
}

}  // namespace

CMSampleBufferRef ZPRCCUtilities::createClosedCaptionSampleFromCEA708DataBuffer(
    const uint8_t* dataBuffer, uint32_t size, uint32_t bytesPerRow, FourCC bufferFormat,
    CMSampleTimingInfo timingInfo) {
  CMFormatDescriptionRef format;
  if (media_.CMFormatDescriptionCreate(FourCC("clcp"), FourCC("c708"), &format) != 0 || !format) {
    return nullptr;
  }
  if (bytesPerRow > size) return nullptr;
  if (bytesPerRow == 0) {
    NSLog("CEA708: rows of 0 bytes hold no ancillary data");
    return nullptr;
  }
  if (!dataBuffer) {
    NSLog("CEA708: no ancillary data buffer for %u bytes", size);
    return nullptr;
  }
  const std::span<const uint8_t> buffer(dataBuffer, size);
  const CaptionSampleMaker maker(media_, std::move(format), timingInfo);
  if (bufferFormat == kCVPixelFormatType_422YpCbCr8) {
    return scanEightBitRows(buffer, bytesPerRow, maker);
  }
  if (bufferFormat == kCVPixelFormatType_422YpCbCr10) {
    return scanTenBitRows(buffer, bytesPerRow, maker);
  }
  return nullptr;
}

}  // namespace premoov
