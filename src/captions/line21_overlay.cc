#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "base/log.h"
#include "captions/cc_utilities.h"
#include "captions/line21_waveform.h"
#include "media/pixel_formats.h"

namespace premoov {
namespace {

using namespace line21;

void appendPixels(std::vector<uint8_t>& run, size_t count, uint8_t level) {
  for (size_t i = 0; i < count; ++i) run.insert(run.end(), {level, level, level, kOpaque});
}

// Writes `run` at `*position` of a row of `bytesPerRow` bytes, clipped at the row's end.
void putRun(uint8_t* row, size_t bytesPerRow, size_t* position, std::span<const uint8_t> run) {
  const size_t count = std::min(run.size(), bytesPerRow - std::min(*position, bytesPerRow));
  std::memcpy(row + *position, run.data(), count);
  *position += count;
}

// Black from `position`, a pixel boundary, to the row's end; a row's last bytes that make no
// whole pixel are left alone.
void fillBlack(uint8_t* row, size_t bytesPerRow, size_t position) {
  constexpr uint8_t kBlackPixel[kBytesPerPixel] = {kBlackLevel, kBlackLevel, kBlackLevel, kOpaque};
  for (; position + kBytesPerPixel <= bytesPerRow; position += kBytesPerPixel) {
    std::memcpy(row + position, kBlackPixel, kBytesPerPixel);
  }
}

}  // namespace

ZPRCCUtilities::ZPRCCUtilities(CoreVideo& video, CoreMedia& media)
    : video_(video),
      media_(media),
      cea608RunInData_(generateCEA608RunIn()),
      cea608BitOnOneData_(generateCEA608BitWithValue(1)),
      cea608BitOnZeroData_(generateCEA608BitWithValue(0)) {}

std::vector<uint8_t> ZPRCCUtilities::generateCEA608RunIn() {
  std::vector<uint8_t> run;
  run.reserve(kRunInBytes);
  appendPixels(run, kLeadingBlackPixels, kBlackLevel);
  constexpr double kPhaseStep = 2 * std::numbers::pi / kClockCyclePixels;
  for (size_t cycle = 0; cycle < kClockCycles; ++cycle) {
    for (size_t i = 0; i < kClockCyclePixels; ++i) {
      const double level = (std::sin(static_cast<double>(i) * kPhaseStep) + 1) * 0.5 * 127.0;
      appendPixels(run, 1, static_cast<uint8_t>(level));
    }
  }
  appendPixels(run, kZeroStartBitsPixels, kBlackLevel);
  appendPixels(run, kOneStartBitPixels, kHighLevel);
  return run;
}

std::vector<uint8_t> ZPRCCUtilities::generateCEA608BitWithValue(int8_t value) {
  std::vector<uint8_t> run;
  run.reserve(kBitBytes);
  appendPixels(run, kBitPixels, value != 0 ? kHighLevel : kBlackLevel);
  return run;
}

void ZPRCCUtilities::updateCEA608PixelTransferSessionAndPixelBufferWithWidth(float width) {
  // A NaN never equals the stored width, so it always counts as a change.
  if (width != cea608PixelBufferWidth_) cea608LinesPixelBuffer_.reset();
  if (!cea608LinesPixelBuffer_) {
    cea608PixelBufferWidth_ = width;
    // A width that is no picture size (negative, NaN, beyond any size) asks for an empty picture,
    // which is refused like any other that cannot be made.
    const bool drawable = width >= 1 && width < 16777216.0f;
    video_.CVPixelBufferCreate(drawable ? static_cast<size_t>(width) : 0, kRows,
                               kCVPixelFormatType_32BGRA, &cea608LinesPixelBuffer_);
  }
  if (!transferSession_) {
    const VTStatus status = video_.VTPixelTransferSessionCreate(&transferSession_);
    if (status != 0) {
      NSLog("CEA608:VTPixelTransferSessionCreate Error: %i", status);
      transferSession_.reset();
    }
  }
}

void ZPRCCUtilities::overlayCEA608FromBlockBuffer(const CMBlockBufferRef& blockBuffer,
                                                  const CVPixelBufferRef& videoPixelBuffer) {
  size_t captionLength = 0;
  uint8_t* captionBytes = nullptr;
  if (media_.CMBlockBufferGetDataPointer(blockBuffer, 0, nullptr, &captionLength, &captionBytes) !=
          0 ||
      !captionBytes) {
    return;
  }
  updateCEA608PixelTransferSessionAndPixelBufferWithWidth(
      static_cast<float>(CVPixelBufferGetWidth(videoPixelBuffer)));
  if (!cea608LinesPixelBuffer_ || !transferSession_) return;

  if (video_.CVPixelBufferLockBaseAddress(cea608LinesPixelBuffer_, 0) != kCVReturnSuccess) return;
  uint8_t* lines = CVPixelBufferGetBaseAddress(cea608LinesPixelBuffer_);
  const size_t dataSize = CVPixelBufferGetDataSize(cea608LinesPixelBuffer_);
  const size_t bytesPerRow = CVPixelBufferGetBytesPerRow(cea608LinesPixelBuffer_);
  if (lines && bytesPerRow <= dataSize / kRows && bytesPerRow > cea608RunInData_.size() &&
      captionLength >= 2) {
    drawCEA608Rows(lines, bytesPerRow, captionBytes[0], captionBytes[1]);
    transferRowsIntoFrame(videoPixelBuffer);
  }
  video_.CVPixelBufferUnlockBaseAddress(cea608LinesPixelBuffer_, 0);
}

void ZPRCCUtilities::drawCEA608Rows(uint8_t* base, size_t bytesPerRow, uint8_t first,
                                    uint8_t second) const {
  fillBlack(base, bytesPerRow, 0);
  const auto drawLine = [&](size_t rowIndex, uint8_t a, uint8_t b) {
    uint8_t* row = base + rowIndex * bytesPerRow;
    size_t position = 0;
    putRun(row, bytesPerRow, &position, cea608RunInData_);
    for (const uint8_t byte : {a, b}) {
      for (int bit = 0; bit < 8; ++bit) {
        putRun(row, bytesPerRow, &position,
               (byte >> bit) & 1 ? cea608BitOnOneData_ : cea608BitOnZeroData_);
      }
    }
    fillBlack(row, bytesPerRow, position);
  };
  drawLine(kCaptionRow, first, second);
  drawLine(kNullRow, kNullByte, kNullByte);
}

void ZPRCCUtilities::transferRowsIntoFrame(const CVPixelBufferRef& videoPixelBuffer) {
  if (video_.CVPixelBufferLockBaseAddress(videoPixelBuffer, 0) != kCVReturnSuccess) return;
  const size_t frameRows = CVPixelBufferGetHeight(videoPixelBuffer);
  if (frameRows < kRows) {
    // Wrapping three rows of a shorter frame would write past its memory.
    NSLog("CEA608: a frame of %zu rows has no room for the three line-21 rows", frameRows);
  } else {
    CVPixelBufferRef frameRowsWrapper;
    if (video_.CVPixelBufferCreateWithBytes(CVPixelBufferGetWidth(videoPixelBuffer), kRows,
                                            CVPixelBufferGetPixelFormatType(videoPixelBuffer),
                                            CVPixelBufferGetBaseAddress(videoPixelBuffer),
                                            CVPixelBufferGetBytesPerRow(videoPixelBuffer),
                                            &frameRowsWrapper) == kCVReturnSuccess) {
      video_.VTPixelTransferSessionTransferImage(transferSession_, cea608LinesPixelBuffer_,
                                                 frameRowsWrapper);
    }
  }
  video_.CVPixelBufferUnlockBaseAddress(videoPixelBuffer, 0);
}

}  // namespace premoov
