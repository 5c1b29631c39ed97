#include "media/pixel_rows.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "media/pixel_formats.h"

namespace premoov {
namespace {

RGBPixel grey(uint8_t level) { return {level, level, level}; }

TEST(PixelRowsTest, TwoVuyPacksCbFirstLumaCrLuma) {
  const std::array<RGBPixel, 2> pixels{grey(0), grey(255)};
  std::array<uint8_t, 4> row{};
  writePixelRow(kCVPixelFormatType_422YpCbCr8, pixels, row.data());
  EXPECT_EQ(row, (std::array<uint8_t, 4>{0x80, 0x10, 0x80, 0xEB}));
  std::array<RGBPixel, 2> back{};
  readPixelRow(kCVPixelFormatType_422YpCbCr8, row.data(), back);
  EXPECT_EQ(back, pixels);
}

TEST(PixelRowsTest, YuvsPacksLumaFirst) {
  const std::array<RGBPixel, 2> pixels{grey(0), grey(255)};
  std::array<uint8_t, 4> row{};
  writePixelRow(kCVPixelFormatType_422YpCbCr8_yuvs, pixels, row.data());
  EXPECT_EQ(row, (std::array<uint8_t, 4>{0x10, 0x80, 0xEB, 0x80}));
  std::array<RGBPixel, 2> back{};
  readPixelRow(kCVPixelFormatType_422YpCbCr8_yuvs, row.data(), back);
  EXPECT_EQ(back, pixels);
}

TEST(PixelRowsTest, AnOddWidthRepeatsItsLastPixelInThePairsSecondHalf) {
  const std::array<RGBPixel, 3> pixels{grey(0), grey(0), grey(255)};
  std::array<uint8_t, 8> row{};
  writePixelRow(kCVPixelFormatType_422YpCbCr8, pixels, row.data());
  EXPECT_EQ(row, (std::array<uint8_t, 8>{0x80, 0x10, 0x80, 0x10, 0x80, 0xEB, 0x80, 0xEB}));
}

TEST(PixelRowsTest, BgraIsWrittenOpaqueAndReadWithoutItsAlpha) {
  const std::array<RGBPixel, 1> pixels{RGBPixel{1, 2, 3}};
  std::array<uint8_t, 4> row{};
  writePixelRow(kCVPixelFormatType_32BGRA, pixels, row.data());
  EXPECT_EQ(row, (std::array<uint8_t, 4>{3, 2, 1, 0xFF}));
  row[3] = 0;
  std::array<RGBPixel, 1> back{};
  readPixelRow(kCVPixelFormatType_32BGRA, row.data(), back);
  EXPECT_EQ(back[0], (RGBPixel{1, 2, 3}));
}

// The four little-endian words of a 'v210' group.
std::array<uint32_t, 4> groupWords(const uint8_t* group) {
  std::array<uint32_t, 4> words{};
  for (int w = 0; w < 4; ++w) {
    for (int b = 0; b < 4; ++b) words[w] |= uint32_t(group[4 * w + b]) << (8 * b);
  }
  return words;
}

uint32_t word(uint32_t first, uint32_t second, uint32_t third) {
  return first | (second << 10) | (third << 20);
}

TEST(PixelRowsTest, V210PacksSixPixelsInFourWordsAndPadsItsGroupWithTheLastPixel) {
  // Six pixels: black, 0x7F, white, black, 0x7F, white; then the rest of the 48-pixel group.
  std::vector<RGBPixel> pixels{grey(0),    grey(0x7F), grey(255), grey(0),
                               grey(0x7F), grey(255),  grey(0)};
  std::vector<uint8_t> row(*minimumBytesPerRow(kCVPixelFormatType_422YpCbCr10, pixels.size()));
  ASSERT_EQ(row.size(), 128u);
  writePixelRow(kCVPixelFormatType_422YpCbCr10, pixels, row.data());
  // Cb0 Y0 Cr0 | Y1 Cb2 Y2 | Cr2 Y3 Cb4 | Y4 Cr4 Y5, chroma 512, luma 64, 500, 940.
  EXPECT_EQ(groupWords(row.data()),
            (std::array<uint32_t, 4>{word(512, 64, 512), word(500, 512, 940), word(512, 64, 512),
                                     word(500, 512, 940)}));
  // The second group holds pixel 6 (black) and repeats it to the group's end.
  EXPECT_EQ(groupWords(row.data() + 16),
            (std::array<uint32_t, 4>{word(512, 64, 512), word(64, 512, 64), word(512, 64, 512),
                                     word(64, 512, 64)}));
  EXPECT_EQ(groupWords(row.data() + 112), groupWords(row.data() + 16));
  std::vector<RGBPixel> back(pixels.size());
  readPixelRow(kCVPixelFormatType_422YpCbCr10, row.data(), back);
  EXPECT_EQ(back, pixels);
}

TEST(PixelRowsTest, V210ReadsChromaFromTheEvenPixelOfEachPair) {
  std::array<uint8_t, 16> group{};
  const std::array<uint32_t, 4> words{word(512, 64, 1023), word(940, 512, 64), word(512, 940, 512),
                                      word(64, 512, 940)};
  for (int w = 0; w < 4; ++w) {
    for (int b = 0; b < 4; ++b) group[4 * w + b] = static_cast<uint8_t>(words[w] >> (8 * b));
  }
  std::array<RGBPixel, 6> pixels{};
  readPixelRow(kCVPixelFormatType_422YpCbCr10, group.data(), pixels);
  // Pixels 0 and 1 share the full-red chroma; the rest are grey.
  EXPECT_GT(pixels[0].r, pixels[0].g);
  EXPECT_GT(pixels[1].r, pixels[1].g);
  EXPECT_EQ(pixels[2], grey(0));
  EXPECT_EQ(pixels[3], grey(255));
  EXPECT_EQ(pixels[4], grey(0));
  EXPECT_EQ(pixels[5], grey(255));
}

TEST(PixelRowsTest, EveryGreyLevelTakesTheCodesOfTheConversion) {
  std::vector<RGBPixel> pixels;
  for (int level = 0; level < 256; ++level) pixels.push_back(grey(static_cast<uint8_t>(level)));
  for (FourCC format : {kCVPixelFormatType_422YpCbCr8, kCVPixelFormatType_422YpCbCr10}) {
    const int bits = format == kCVPixelFormatType_422YpCbCr10 ? 10 : 8;
    std::vector<uint8_t> row(*minimumBytesPerRow(format, pixels.size()));
    writePixelRow(format, pixels, row.data());
    std::vector<RGBPixel> back(pixels.size());
    readPixelRow(format, row.data(), back);
    for (size_t level = 0; level < pixels.size(); ++level) {
      const uint16_t code = lumaCode(pixels[level], bits);
      const uint16_t mid = bits == 10 ? 512 : 128;
      EXPECT_EQ(back[level], rgbFromVideoRange(code, mid, mid, bits)) << bits << " " << level;
    }
    if (bits == 8) {
      for (size_t level = 0; level < pixels.size(); ++level) {
        EXPECT_EQ(row[2 * level + 1], lumaCode(pixels[level], 8)) << level;
      }
    }
  }
}

}  // namespace
}  // namespace premoov
