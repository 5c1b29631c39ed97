#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "captions/cc_utilities.h"
#include "media/fault_injecting_core_media.h"
#include "media/fault_injecting_core_video.h"
#include "media/pixel_formats.h"

namespace premoov::testing {

// A video frame in memory the test owns, rows packed as the format needs plus `padding` bytes,
// every byte `fill`.
struct TestFrame {
  std::vector<uint8_t> memory;
  CVPixelBufferRef pixels;
  size_t bytesPerRow = 0;
  const uint8_t* row(size_t index) const { return memory.data() + index * bytesPerRow; }
  uint8_t* row(size_t index) { return memory.data() + index * bytesPerRow; }
};

inline TestFrame makeFrame(FourCC format, size_t width, size_t height, uint8_t fill = 0x5A,
                           size_t padding = 0) {
  TestFrame frame;
  frame.bytesPerRow = *minimumBytesPerRow(format, width) + padding;
  frame.memory.assign(frame.bytesPerRow * height, fill);
  frame.pixels = std::make_shared<CVPixelBuffer>(format, width, height, frame.bytesPerRow,
                                                 frame.memory.data());
  return frame;
}

inline CMBlockBufferRef captionBlock(std::initializer_list<uint8_t> bytes) {
  auto block = std::make_shared<CMBlockBuffer>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), block->data());
  return block;
}

inline CMSampleBufferRef videoSample(const CVPixelBufferRef& pixels,
                                     const CMSampleTimingInfo* timing) {
  CMFormatDescriptionRef format;
  defaultCoreMedia().CMFormatDescriptionCreate(FourCC("vide"), pixels->pixelFormat(), &format);
  CMSampleBufferRef sample;
  defaultCoreMedia().CMSampleBufferCreateReadyWithImageBuffer(pixels, format, timing, &sample);
  return sample;
}

inline std::vector<uint8_t> sampleBytes(const CMSampleBufferRef& sample) {
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample);
  if (!block) return {};
  return {block->data(), block->data() + block->length()};
}

// The grey levels of one clock cycle of the run-in: (sin + 1) x 63.5, truncated.
inline constexpr uint8_t kClockCycleLevels[27] = {63,  78,  91, 104, 114, 121, 126, 126, 124,
                                                  118, 109, 98, 85,  70,  56,  41,  28,  17,
                                                  8,   2,   0,  0,   5,   12,  22,  35,  48};

// The grey levels of a line carrying `first` and `second`, `width` pixels: 13 black, seven
// clock cycles, 46 black, 26 high, sixteen 27-pixel bits least significant first, then black.
inline std::vector<uint8_t> lineLevels(uint8_t first, uint8_t second, size_t width) {
  std::vector<uint8_t> levels(13, 0);
  for (int cycle = 0; cycle < 7; ++cycle) {
    levels.insert(levels.end(), std::begin(kClockCycleLevels), std::end(kClockCycleLevels));
  }
  levels.insert(levels.end(), 46, 0);
  levels.insert(levels.end(), 26, 0x7F);
  for (uint8_t byte : {first, second}) {
    for (int bit = 0; bit < 8; ++bit) levels.insert(levels.end(), 27, (byte >> bit) & 1 ? 0x7F : 0);
  }
  levels.resize(width, 0);
  return levels;
}

// The luma of each pixel of a row, and its chroma codes (two per pixel pair), read straight
// from the packed bytes.
struct RowCodes {
  std::vector<uint16_t> luma;
  std::vector<uint16_t> chroma;
};

inline RowCodes rowCodes(FourCC format, const uint8_t* row, size_t width) {
  RowCodes codes;
  if (format == kCVPixelFormatType_422YpCbCr8 || format == kCVPixelFormatType_422YpCbCr8_yuvs) {
    const bool lumaFirst = format == kCVPixelFormatType_422YpCbCr8_yuvs;
    for (size_t x = 0; x < width; ++x) codes.luma.push_back(row[2 * x + (lumaFirst ? 0 : 1)]);
    for (size_t x = 0; x < width; ++x) codes.chroma.push_back(row[2 * x + (lumaFirst ? 1 : 0)]);
  } else if (format == kCVPixelFormatType_422YpCbCr10) {
    std::vector<uint16_t> all;  // the codes in stored order: Cb Y Cr Y Cb Y Cr Y ...
    for (size_t w = 0; w < (width + 5) / 6 * 4; ++w) {
      const uint32_t word = row[4 * w] | (row[4 * w + 1] << 8) | (row[4 * w + 2] << 16) |
                            (uint32_t(row[4 * w + 3]) << 24);
      for (int i = 0; i < 3; ++i) all.push_back((word >> (10 * i)) & 0x3FF);
    }
    for (size_t x = 0; x < width; ++x) codes.luma.push_back(all[2 * x + 1]);
    for (size_t x = 0; x < width; ++x) codes.chroma.push_back(all[2 * x]);
  } else {
    for (size_t x = 0; x < width; ++x) {
      codes.luma.push_back(row[4 * x]);
      codes.chroma.push_back(row[4 * x + 3]);  // the alpha of 'BGRA'
    }
  }
  return codes;
}

// What a grey level becomes in `format`: video range for 4:2:2, the level itself in 'BGRA'.
inline uint16_t expectedLuma(FourCC format, uint8_t level) {
  if (format == kCVPixelFormatType_32BGRA) return level;
  if (format == kCVPixelFormatType_422YpCbCr10) return uint16_t(64 + (876 * level + 127) / 255);
  return uint16_t(16 + (219 * level + 127) / 255);
}

inline uint16_t expectedChroma(FourCC format) {
  if (format == kCVPixelFormatType_32BGRA) return 0xFF;  // opaque
  return format == kCVPixelFormatType_422YpCbCr10 ? 512 : 128;
}

inline std::string formatName(FourCC format) { return format.toString(); }

// A media or picture call made to fail (by the fault-injecting doubles), and the log lines the
// operation under test must print then.
struct FailureCase {
  const char* name;
  const char* call;
  bool usesCoreMedia;
  std::vector<std::string> log;

  void inject(FaultInjectingCoreVideo& video, FaultInjectingCoreMedia& media) const {
    (usesCoreMedia ? media.failing : video.failing).insert(call);
  }
};

}  // namespace premoov::testing

namespace premoov {
// Test names and messages show a format as its four characters.
inline void PrintTo(FourCC format, std::ostream* out) { *out << format.toString(); }
}  // namespace premoov
