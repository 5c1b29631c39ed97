#pragma once

#include <cstddef>
#include <cstdint>

namespace premoov::line21 {

// The line-21 waveform as drawn into a frame's top rows and read back, in 8-bit BGRA pixels of
// grey level L (blue = green = red = L, alpha 0xFF).
inline constexpr size_t kBytesPerPixel = 4;
inline constexpr uint8_t kBlackLevel = 0;
inline constexpr uint8_t kHighLevel = 0x7F;
inline constexpr uint8_t kOpaque = 0xFF;

// The run-in: black, seven cycles of clock, two zero start bits and a one start bit. The start
// bits are 46 and 26 pixels, not 54 and 27: the line has always been drawn that way, and readers
// find the data bits 274 pixels in.
inline constexpr size_t kLeadingBlackPixels = 13;
inline constexpr size_t kClockCycles = 7;
inline constexpr size_t kClockCyclePixels = 27;
inline constexpr size_t kZeroStartBitsPixels = 46;
inline constexpr size_t kOneStartBitPixels = 26;
inline constexpr size_t kRunInPixels = kLeadingBlackPixels + kClockCycles * kClockCyclePixels +
                                       kZeroStartBitsPixels + kOneStartBitPixels;
inline constexpr size_t kRunInBytes = kRunInPixels * kBytesPerPixel;
static_assert(kRunInPixels == 274 && kRunInBytes == 1096);

// A data bit, sent least significant bit first, two bytes a line.
inline constexpr size_t kBitPixels = 27;
inline constexpr size_t kBitBytes = kBitPixels * kBytesPerPixel;
inline constexpr size_t kBitsPerLine = 16;
inline constexpr size_t kLinePixels = kRunInPixels + kBitsPerLine * kBitPixels;
static_assert(kLinePixels == 706);

// Reading samples the blue byte of the middle pixel of each bit, 288 + 27 k, and takes a level
// above 0x30 as a one.
inline constexpr size_t kFirstBitMiddleByte = (kRunInPixels + 14) * kBytesPerPixel;
static_assert(kFirstBitMiddleByte == 1152);
inline constexpr uint8_t kOneThreshold = 0x30;

// The frame rows: row 0 black, row 1 the caption pair, row 2 the null pair.
inline constexpr size_t kRows = 3;
inline constexpr size_t kCaptionRow = 1;
inline constexpr size_t kNullRow = 2;
inline constexpr uint8_t kNullByte = 0x80;

}  // namespace premoov::line21
