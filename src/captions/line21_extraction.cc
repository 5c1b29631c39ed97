#include <array>
#include <cstring>

#include "base/log.h"
#include "captions/cc_utilities.h"
#include "captions/line21_waveform.h"

namespace premoov {
namespace {

using namespace line21;

constexpr size_t kSampleBytes = 4;

// Reads the bits of one lines-buffer row into `bytes`: bits 0 to 7 into the byte at `first`,
// bits 8 to 15 into the byte after it. Samples past the row's end read as zero.
void readLine(const uint8_t* row, size_t bytesPerRow, std::array<uint8_t, kSampleBytes>& bytes,
              size_t first) {
  if (bytesPerRow <= kFirstBitMiddleByte) return;
  for (size_t k = 0; k < kBitsPerLine; ++k) {
    const size_t offset = kFirstBitMiddleByte + kBitBytes * k;
    if (offset >= bytesPerRow) break;
    if (row[offset] > kOneThreshold) bytes[first + k / 8] |= uint8_t(1u << (k % 8));
  }
}

}  // namespace

CVPixelBufferRef ZPRCCUtilities::pixelBufferWithRows(NSRange rows,
                                                     const CMSampleBufferRef& fromSampleBuffer) {
  const CVPixelBufferRef frame = CMSampleBufferGetImageBuffer(fromSampleBuffer);
  if (!frame) return nullptr;
  if (video_.CVPixelBufferLockBaseAddress(frame, kCVPixelBufferLock_ReadOnly) != kCVReturnSuccess) {
    return nullptr;
  }
  const size_t height = CVPixelBufferGetHeight(frame);
  const size_t bytesPerRow = CVPixelBufferGetBytesPerRow(frame);
  CVPixelBufferRef wrapper;
  if (rows.location > height || rows.length > height - rows.location) {
    // Rows the frame does not have would be read from memory that is not the frame's.
    NSLog("CEA608: rows %zu to %zu are not in a frame of %zu rows", rows.location,
          rows.location + rows.length, height);
  } else {
    video_.CVPixelBufferCreateWithBytes(
        CVPixelBufferGetWidth(frame), rows.length, CVPixelBufferGetPixelFormatType(frame),
        CVPixelBufferGetBaseAddress(frame) + rows.location * bytesPerRow, bytesPerRow, &wrapper);
  }
  video_.CVPixelBufferUnlockBaseAddress(frame, kCVPixelBufferLock_ReadOnly);
  return wrapper;
}

CMSampleBufferRef ZPRCCUtilities::createClosedCaptionSampleFromCEA608VideoSampleBuffer(
    const CMSampleBufferRef& videoSampleBuffer) {
  CMFormatDescriptionRef format;
  if (media_.CMFormatDescriptionCreate(FourCC("clcp"), FourCC("c608"), &format) != 0) {
    return nullptr;
  }
  updateCEA608PixelTransferSessionAndPixelBufferWithWidth(
      static_cast<float>(CVPixelBufferGetWidth(CMSampleBufferGetImageBuffer(videoSampleBuffer))));
  const CVPixelBufferRef captionRows =
      pixelBufferWithRows({.location = kCaptionRow, .length = 2}, videoSampleBuffer);
  if (!captionRows || !cea608LinesPixelBuffer_ || !transferSession_) return nullptr;

  const VTStatus transferStatus = video_.VTPixelTransferSessionTransferImage(
      transferSession_, captionRows, cea608LinesPixelBuffer_);
  if (transferStatus != 0) {
    NSLog("CEA608:VTPixelTransferSessionTransferImage Error: %i", transferStatus);
    return nullptr;
  }

  if (video_.CVPixelBufferLockBaseAddress(cea608LinesPixelBuffer_, kCVPixelBufferLock_ReadOnly) !=
      kCVReturnSuccess) {
    return nullptr;
  }
  const uint8_t* lines = CVPixelBufferGetBaseAddress(cea608LinesPixelBuffer_);
  const size_t bytesPerRow = CVPixelBufferGetBytesPerRow(cea608LinesPixelBuffer_);
  const size_t dataSize = CVPixelBufferGetDataSize(cea608LinesPixelBuffer_);
  video_.CVPixelBufferUnlockBaseAddress(cea608LinesPixelBuffer_, kCVPixelBufferLock_ReadOnly);
  if (!lines || bytesPerRow > dataSize / kRows) {
    // Rows 1 and 2 of a lines buffer without three rows would be read past its memory.
    NSLog("CEA608: a lines buffer of %zu bytes does not hold three rows of %zu bytes", dataSize,
          bytesPerRow);
    return nullptr;
  }

  std::array<uint8_t, kSampleBytes> bytes{};
  for (size_t row = kCaptionRow; row <= kNullRow; ++row) {
    readLine(lines + row * bytesPerRow, bytesPerRow, bytes, row - 1);
  }

  CMBlockBufferRef block;
  if (media_.CMBlockBufferCreateWithMemoryBlock(kSampleBytes, &block) != 0 || !block) {
    return nullptr;
  }
  std::memcpy(block->data(), bytes.data(), kSampleBytes);

  CMSampleTimingInfo timing{};
  if (CMSampleBufferGetSampleTimingInfo(videoSampleBuffer, 0, &timing) != 0) timing = {};
  const size_t size = CMBlockBufferGetDataLength(block);
  CMSampleBufferRef sample;
  const OSStatus status = media_.CMSampleBufferCreate(block, format, 1, std::span(&timing, 1),
                                                      std::span(&size, 1), &sample);
  if (status != 0) {
    NSLog("CEA608:CMSampleBufferCreate Error: %i", status);
    return nullptr;
  }
  return sample;
}

}  // namespace premoov
