#include "media/video_range.h"

#include <algorithm>
#include <cmath>

namespace premoov {
namespace {

constexpr double kRedWeight = 0.299;
constexpr double kGreenWeight = 0.587;
constexpr double kBlueWeight = 0.114;
// Chroma differences are scaled by these to span -0.5..0.5 (BT.601).
constexpr double kBlueDifferenceScale = 1.772;
constexpr double kRedDifferenceScale = 1.402;

double luma(RGBPixel p) { return kRedWeight * p.r + kGreenWeight * p.g + kBlueWeight * p.b; }

double codeScale(int bits) { return bits == 10 ? 4.0 : 1.0; }

uint16_t roundedCode(double value, int bits) {
  const double largest = bits == 10 ? 1023.0 : 255.0;
  return static_cast<uint16_t>(std::lround(std::clamp(value, 0.0, largest)));
}

uint8_t roundedLevel(double value) {
  return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

}  // namespace

uint16_t lumaCode(RGBPixel pixel, int bits) {
  return roundedCode((16.0 + 219.0 * luma(pixel) / 255.0) * codeScale(bits), bits);
}

ChromaCodes chromaCodes(RGBPixel first, RGBPixel second, int bits) {
  const double l = (luma(first) + luma(second)) / 2.0;
  const double blue = (first.b + second.b) / 2.0;
  const double red = (first.r + second.r) / 2.0;
  const double cb = 128.0 + 224.0 * (blue - l) / kBlueDifferenceScale / 255.0;
  const double cr = 128.0 + 224.0 * (red - l) / kRedDifferenceScale / 255.0;
  return {roundedCode(cb * codeScale(bits), bits), roundedCode(cr * codeScale(bits), bits)};
}

RGBPixel rgbFromVideoRange(uint16_t luma, uint16_t cb, uint16_t cr, int bits) {
  const double scale = codeScale(bits);
  const double l = (luma / scale - 16.0) * 255.0 / 219.0;
  const double blueDifference = (cb / scale - 128.0) * 255.0 / 224.0 * kBlueDifferenceScale;
  const double redDifference = (cr / scale - 128.0) * 255.0 / 224.0 * kRedDifferenceScale;
  const double red = l + redDifference;
  const double blue = l + blueDifference;
  const double green = (l - kRedWeight * red - kBlueWeight * blue) / kGreenWeight;
  return {roundedLevel(red), roundedLevel(green), roundedLevel(blue)};
}

}  // namespace premoov
