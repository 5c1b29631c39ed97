#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "captions/cc_utilities.h"
#include "captions/line21_frames.h"
#include "captions/line21_waveform.h"

// A pair drawn into a frame reads back from it, in every frame format, at the widths a recorder
// feeds (720 to 3840), with rows packed and padded; only the pixels of the three caption rows
// change.

namespace premoov {
namespace {

using testing::captionBlock;
using testing::sampleBytes;
using testing::videoSample;

using Bytes = std::vector<uint8_t>;

constexpr size_t kNarrowest = 720;
constexpr size_t kWidest = 3840;
constexpr size_t kFrameRows = 4;

// Pairs that between them set and clear every bit of both bytes: all clear, all set,
// alternating both ways, a control code with its parity bits, and the top and bottom bits alone.
// Every 7th frame is drawn with each of these.
const std::vector<CEA608Pair> kEveryFramePairs{{0x00, 0x00}, {0xFF, 0xFF}, {0x55, 0xAA},
                                               {0xAA, 0x55}, {0x94, 0x2C}, {0x80, 0x01},
                                               {0x01, 0x80}};

// One bit set or cleared alone, at each position of each byte: one of these a frame, in turn.
std::vector<CEA608Pair> loneBitPairs() {
  std::vector<CEA608Pair> pairs;
  for (int bit = 0; bit < 8; ++bit) {
    const auto one = static_cast<uint8_t>(1u << bit);
    pairs.push_back({one, static_cast<uint8_t>(~one)});
    pairs.push_back({static_cast<uint8_t>(~one), one});
  }
  return pairs;
}

// What the reading answers for a pair drawn with the null pair below it: the caption row's
// second byte and the null row's first share the second byte.
Bytes expectedSample(const CEA608Pair& pair) {
  return {pair[0], static_cast<uint8_t>(pair[1] | line21::kNullByte), line21::kNullByte, 0x00};
}

std::string hex(const Bytes& bytes) {
  std::string text;
  for (const uint8_t b : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x ", b);
    text += digits;
  }
  if (!text.empty()) text.pop_back();
  return text;
}

enum class RowLayout { packed, padded };

// Packed: the bytes the format needs. Padded: aligned to 64 bytes with at least one byte to
// spare, as capture cards lay out their rows.
size_t bytesPerRow(FourCC format, size_t width, RowLayout layout) {
  const size_t packed = *minimumBytesPerRow(format, width);
  return layout == RowLayout::packed ? packed : (packed + 64) / 64 * 64;
}

// A frame holding a picture: every byte differs from its neighbours and from the rows above
// and below, so that any byte written outside the caption rows shows.
struct PictureFrame {
  std::vector<uint8_t> memory;
  CVPixelBufferRef pixels;
  size_t bytesPerRow;

  PictureFrame(FourCC format, size_t width, RowLayout layout)
      : memory(premoov::bytesPerRow(format, width, layout) * kFrameRows),
        bytesPerRow(premoov::bytesPerRow(format, width, layout)) {
    for (size_t i = 0; i < memory.size(); ++i) {
      memory[i] = static_cast<uint8_t>(i * 37 + (i / bytesPerRow) * 101 + 0x21);
    }
    pixels = std::make_shared<CVPixelBuffer>(format, width, kFrameRows, bytesPerRow, memory.data());
  }
};

// Draws `pair` into `frame` and reads it back with `utilities`; answers what went wrong, or
// nothing. `picture` is the frame's memory before any drawing.
std::string drawAndRead(ZPRCCUtilities& utilities, PictureFrame& frame, const Bytes& picture,
                        const CEA608Pair& pair) {
  utilities.overlayCEA608FromBlockBuffer(captionBlock({pair[0], pair[1]}), frame.pixels);
  const size_t width = CVPixelBufferGetWidth(frame.pixels);
  if (CVPixelBufferGetWidth(utilities.cea608LinesPixelBuffer()) != width ||
      utilities.cea608PixelBufferWidth() != static_cast<float>(width)) {
    return "the lines buffer was not made for the frame's width";
  }
  const size_t pictureBytes =
      *minimumBytesPerRow(CVPixelBufferGetPixelFormatType(frame.pixels), width);
  for (size_t row = 0; row < kFrameRows; ++row) {
    // Rows 3 and below are the picture's, and so are the bytes that pad a caption row.
    const size_t from = row < line21::kRows ? pictureBytes : 0;
    for (size_t i = row * frame.bytesPerRow + from; i < (row + 1) * frame.bytesPerRow; ++i) {
      if (frame.memory[i] != picture[i]) {
        return "picture byte " + std::to_string(i % frame.bytesPerRow) + " of row " +
               std::to_string(row) + " changed";
      }
    }
  }
  const Bytes drawn = frame.memory;
  const CMSampleBufferRef sample = utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
      videoSample(frame.pixels, nullptr));
  if (!sample) return "no caption sample";
  if (frame.memory != drawn) return "reading changed the frame";
  const Bytes read = sampleBytes(sample);
  const Bytes expected = expectedSample(pair);
  if (read != expected) return "read " + hex(read) + ", expected " + hex(expected);
  return {};
}

struct WidthRange {
  FourCC format;
  size_t first;
  size_t last;
};

std::string rangeName(const WidthRange& range) {
  return range.format.toString() + "_" + std::to_string(range.first) + "To" +
         std::to_string(range.last);
}

void PrintTo(const WidthRange& range, std::ostream* out) { *out << rangeName(range); }

class Line21RoundTripTest : public ::testing::TestWithParam<WidthRange> {};

// Every width of the range, each with one pair in turn from those that between them set and clear
// every bit, rows packed and padded in turn, all through one instance, so that every frame comes
// with a new width and the lines buffer is made anew each time. Every 7th width (which over the
// range still meets every remainder of a pixel pair and of a 48-pixel 'v210' block) also takes
// every one of the first pairs, and a fresh instance must read the same.
TEST_P(Line21RoundTripTest, DrawnPairsReadBackAndOnlyTheCaptionRowsChange) {
  const WidthRange& range = GetParam();
  const std::vector<CEA608Pair> lonePairs = loneBitPairs();
  std::vector<CEA608Pair> allPairs = kEveryFramePairs;
  allPairs.insert(allPairs.end(), lonePairs.begin(), lonePairs.end());
  ZPRCCUtilities reused;
  std::vector<std::string> failures;
  for (size_t width = range.first; width <= range.last; ++width) {
    const size_t turn = width - kNarrowest;
    const RowLayout layout = turn % 2 == 0 ? RowLayout::packed : RowLayout::padded;
    PictureFrame frame(range.format, width, layout);
    const Bytes picture = frame.memory;
    const auto check = [&](ZPRCCUtilities& utilities, const CEA608Pair& pair, const char* whose) {
      frame.memory = picture;
      const std::string failure = drawAndRead(utilities, frame, picture, pair);
      if (!failure.empty()) {
        failures.push_back("width " + std::to_string(width) +
                           (layout == RowLayout::packed ? " packed" : " padded") + ", pair " +
                           hex({pair[0], pair[1]}) + whose + ": " + failure);
      }
    };
    check(reused, allPairs[turn % allPairs.size()], "");
    if (turn % 7 == 0) {
      for (const CEA608Pair& pair : kEveryFramePairs) check(reused, pair, "");
      ZPRCCUtilities fresh;
      check(fresh, allPairs[(turn / 7) % allPairs.size()], " (fresh instance)");
    }
    if (failures.size() >= 20) break;  // enough to see what is wrong
  }
  std::string report;
  for (const std::string& failure : failures) report += "\n  " + failure;
  EXPECT_TRUE(failures.empty()) << failures.size() << " failures:" << report;
}

// Every width in every format, in bands that run in parallel.
std::vector<WidthRange> widthRanges() {
  constexpr size_t kBand = 1600;
  std::vector<WidthRange> ranges;
  for (const FourCC format : {kCVPixelFormatType_422YpCbCr8, kCVPixelFormatType_422YpCbCr8_yuvs,
                              kCVPixelFormatType_422YpCbCr10, kCVPixelFormatType_32BGRA}) {
    for (size_t first = kNarrowest; first <= kWidest; first += kBand) {
      ranges.push_back({format, first, std::min(first + kBand - 1, kWidest)});
    }
  }
  return ranges;
}

INSTANTIATE_TEST_SUITE_P(Widths, Line21RoundTripTest, ::testing::ValuesIn(widthRanges()),
                         [](const auto& p) { return rangeName(p.param); });

}  // namespace
}  // namespace premoov
