#include "media/pixel_rows.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "media/pixel_formats.h"
#include "media/v210_words.h"

namespace premoov {
namespace {

// Caption rows are grey from end to end, so grey pixels take their codes from tables made once
// by the very conversions that colour pixels go through: the same codes, without the arithmetic.
struct GreyTables {
  std::array<uint8_t, 256> luma8{};
  std::array<uint16_t, 256> luma10{};
  std::array<uint8_t, 256> level8{};
  std::array<uint8_t, 1024> level10{};
};

// Made when the program starts, from nothing but arithmetic.
const GreyTables kGreyTables = [] {
  GreyTables t;
  for (int level = 0; level < 256; ++level) {
    const auto l = static_cast<uint8_t>(level);
    t.luma8[level] = static_cast<uint8_t>(lumaCode({l, l, l}, 8));
    t.luma10[level] = lumaCode({l, l, l}, 10);
    t.level8[level] = rgbFromVideoRange(l, 128, 128, 8).g;
  }
  for (int code = 0; code < 1024; ++code) {
    t.level10[code] = rgbFromVideoRange(static_cast<uint16_t>(code), 512, 512, 10).g;
  }
  return t;
}();

bool isGrey(RGBPixel p) { return p.r == p.g && p.g == p.b; }

RGBPixel grey(uint8_t level) { return {level, level, level}; }

uint16_t luma(RGBPixel p, int bits) {
  if (!isGrey(p)) return lumaCode(p, bits);
  return bits == 10 ? kGreyTables.luma10[p.g] : kGreyTables.luma8[p.g];
}

// Two grey pixels have no colour difference, whatever their levels: chroma at the mid code.
ChromaCodes chroma(RGBPixel first, RGBPixel second, int bits) {
  if (!isGrey(first) || !isGrey(second)) return chromaCodes(first, second, bits);
  const uint16_t mid = bits == 10 ? 512 : 128;
  return {mid, mid};
}

RGBPixel rgb(uint16_t y, uint16_t cb, uint16_t cr, int bits) {
  const uint16_t mid = bits == 10 ? 512 : 128;
  if (cb != mid || cr != mid) return rgbFromVideoRange(y, cb, cr, bits);
  return grey(bits == 10 ? kGreyTables.level10[y & 0x3FF] : kGreyTables.level8[y & 0xFF]);
}

// Where the parts of a two-pixel 8-bit 4:2:2 unit sit.
struct PairLayout {
  size_t cb, firstLuma, cr, secondLuma;
};
constexpr PairLayout k2vuyLayout{0, 1, 2, 3};
constexpr PairLayout kYuvsLayout{1, 0, 3, 2};

void readPairs(const PairLayout& layout, const uint8_t* row, std::span<RGBPixel> pixels) {
  for (size_t x = 0; x < pixels.size(); x += 2) {
    const uint8_t* unit = row + x * 2;
    pixels[x] = rgb(unit[layout.firstLuma], unit[layout.cb], unit[layout.cr], 8);
    if (x + 1 < pixels.size()) {
      pixels[x + 1] = rgb(unit[layout.secondLuma], unit[layout.cb], unit[layout.cr], 8);
    }
  }
}

void writePairs(const PairLayout& layout, std::span<const RGBPixel> pixels, uint8_t* row) {
  for (size_t x = 0; x < pixels.size(); x += 2) {
    const RGBPixel first = pixels[x];
    const RGBPixel second = x + 1 < pixels.size() ? pixels[x + 1] : first;
    const ChromaCodes codes = chroma(first, second, 8);
    uint8_t* unit = row + x * 2;
    unit[layout.cb] = static_cast<uint8_t>(codes.cb);
    unit[layout.firstLuma] = static_cast<uint8_t>(luma(first, 8));
    unit[layout.cr] = static_cast<uint8_t>(codes.cr);
    unit[layout.secondLuma] = static_cast<uint8_t>(luma(second, 8));
  }
}

// 'v210' packs three 10-bit codes into each little-endian 32-bit word (bits 0-9, 10-19, 20-29);
// four words carry six pixels in the order Cb0 Y0 Cr0 | Y1 Cb2 Y2 | Cr2 Y3 Cb4 | Y4 Cr4 Y5.
// The order of the twelve codes of a group, as (kind, pixel): kind 0 luma, 1 Cb, 2 Cr.
struct V210Code {
  uint8_t kind;
  uint8_t pixel;
};
constexpr std::array<V210Code, 12> kV210Order{{{1, 0},
                                               {0, 0},
                                               {2, 0},
                                               {0, 1},
                                               {1, 2},
                                               {0, 2},
                                               {2, 2},
                                               {0, 3},
                                               {1, 4},
                                               {0, 4},
                                               {2, 4},
                                               {0, 5}}};
constexpr size_t kV210GroupPixels = 6;
constexpr size_t kV210GroupBytes = 16;

using GroupCodes = std::array<std::array<uint16_t, kV210GroupPixels>, 3>;  // [kind][pixel]

GroupCodes unpackGroup(const uint8_t* group) {
  GroupCodes codes{};
  for (size_t i = 0; i < kV210Order.size(); ++i) {
    const uint32_t word = readV210Word(group + 4 * (i / 3));
    codes[kV210Order[i].kind][kV210Order[i].pixel] = v210Sample(word, static_cast<unsigned>(i % 3));
  }
  return codes;
}

void packGroup(const GroupCodes& codes, uint8_t* group) {
  std::array<uint32_t, 4> words{};
  for (size_t i = 0; i < kV210Order.size(); ++i) {
    words[i / 3] |= uint32_t(codes[kV210Order[i].kind][kV210Order[i].pixel]) << (10 * (i % 3));
  }
  for (size_t w = 0; w < words.size(); ++w) writeV210Word(group + 4 * w, words[w]);
}

void readV210(const uint8_t* row, std::span<RGBPixel> pixels) {
  for (size_t start = 0; start < pixels.size(); start += kV210GroupPixels) {
    const GroupCodes codes = unpackGroup(row + start / kV210GroupPixels * kV210GroupBytes);
    for (size_t i = 0; i < kV210GroupPixels && start + i < pixels.size(); ++i) {
      const size_t pairStart = i & ~size_t{1};  // chroma sits with the even pixel of a pair
      pixels[start + i] = rgb(codes[0][i], codes[1][pairStart], codes[2][pairStart], 10);
    }
  }
}

void writeV210(std::span<const RGBPixel> pixels, uint8_t* row) {
  // Whole 48-pixel groups, as the row is laid out; the pixels past the width repeat the last.
  const size_t groups = (pixels.size() + 47) / 48 * 8;
  for (size_t g = 0; g < groups; ++g) {
    GroupCodes codes{};
    for (size_t i = 0; i < kV210GroupPixels; i += 2) {
      const size_t x = g * kV210GroupPixels + i;
      const RGBPixel first = pixels[std::min(x, pixels.size() - 1)];
      const RGBPixel second = pixels[std::min(x + 1, pixels.size() - 1)];
      codes[0][i] = luma(first, 10);
      codes[0][i + 1] = luma(second, 10);
      const ChromaCodes pairChroma = chroma(first, second, 10);
      codes[1][i] = pairChroma.cb;
      codes[2][i] = pairChroma.cr;
    }
    packGroup(codes, row + g * kV210GroupBytes);
  }
}

}  // namespace

void readPixelRow(FourCC format, const uint8_t* row, std::span<RGBPixel> pixels) {
  if (format == kCVPixelFormatType_32BGRA) {
    for (size_t x = 0; x < pixels.size(); ++x) {
      pixels[x] = {.r = row[4 * x + 2], .g = row[4 * x + 1], .b = row[4 * x]};
    }
  } else if (format == kCVPixelFormatType_422YpCbCr8) {
    readPairs(k2vuyLayout, row, pixels);
  } else if (format == kCVPixelFormatType_422YpCbCr8_yuvs) {
    readPairs(kYuvsLayout, row, pixels);
  } else if (format == kCVPixelFormatType_422YpCbCr10) {
    readV210(row, pixels);
  }
}

void writePixelRow(FourCC format, std::span<const RGBPixel> pixels, uint8_t* row) {
  if (pixels.empty()) return;
  if (format == kCVPixelFormatType_32BGRA) {
    for (size_t x = 0; x < pixels.size(); ++x) {
      uint8_t* p = row + 4 * x;
      p[0] = pixels[x].b;
      p[1] = pixels[x].g;
      p[2] = pixels[x].r;
      p[3] = 0xFF;
    }
  } else if (format == kCVPixelFormatType_422YpCbCr8) {
    writePairs(k2vuyLayout, pixels, row);
  } else if (format == kCVPixelFormatType_422YpCbCr8_yuvs) {
    writePairs(kYuvsLayout, pixels, row);
  } else if (format == kCVPixelFormatType_422YpCbCr10) {
    writeV210(pixels, row);
  }
}

}  // namespace premoov
