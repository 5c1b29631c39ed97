#pragma once

#include <cstdint>

namespace premoov {

// Conversion between 8-bit RGB and video-range Y'CbCr of 8 or 10 bits, with the BT.601 matrix
// at every picture size (the pictures drawn here are grey, where every matrix agrees). Levels
// are scaled the usual way: Y' = 16 + 219 x luma / 255 and chroma 128 + 224 x difference / 255
// at 8 bits, four times that at 10 bits. Each result is rounded to the nearest code (grey levels
// never fall half-way) and kept to the legal range of its size.
struct RGBPixel {
  uint8_t r = 0;
  uint8_t g = 0;
  uint8_t b = 0;
  bool operator==(const RGBPixel&) const = default;
};

struct ChromaCodes {
  uint16_t cb = 0;
  uint16_t cr = 0;
};

// Y' of one pixel, `bits` 8 or 10: a grey level L gives 16 + round(219 L / 255) at 8 bits.
uint16_t lumaCode(RGBPixel pixel, int bits);
// Cb and Cr of a pixel pair of 4:2:2, from the mean of the two; grey gives the mid codes.
ChromaCodes chromaCodes(RGBPixel first, RGBPixel second, int bits);
// The RGB of a video-range pixel; with chroma at its mid code, the grey level
// round(255 (Y' - 16) / 219) at 8 bits, clamped to 0..255.
RGBPixel rgbFromVideoRange(uint16_t luma, uint16_t cb, uint16_t cr, int bits);

}  // namespace premoov
