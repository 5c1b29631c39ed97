// Reads line-21 captions from an arbitrary frame, draws a pair into it and reads it back, and
// checks what the caption operations promise whatever the frame: no read or write outside its
// memory (which is exactly what its geometry needs, so that the sanitizer sees any byte past
// it); a caption sample is four bytes with a zero last byte; reading never changes the frame;
// drawing changes nothing but the pixels of the top three rows, and nothing at all in a frame
// it cannot draw into; a pair drawn into a frame of a handled format at least 706 pixels wide
// (a whole line) reads back.
//
// Input: a header of seven bytes, then the pixel bytes, repeated to fill the frame.
//   [0]     format: modulo 5, '2vuy', 'yuvs', 'v210', 'BGRA', or 'RGBA' (not handled)
//   [1, 2]  width, big-endian, modulo 4097
//   [3]     height, modulo 8
//   [4]     row padding, signed: bytes per row = the format's row bytes + padding (at least 0),
//           so that rows may also be shorter than their pixels need
//   [5, 6]  the pair to draw
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/log.h"
#include "captions/cc_utilities.h"
#include "captions/line21_waveform.h"
#include "media/core_media.h"
#include "media/pixel_formats.h"

namespace {

using premoov::FourCC;
namespace line21 = premoov::line21;

void check(bool condition) {
  if (!condition) std::abort();
}

constexpr size_t kHeaderBytes = 7;
constexpr size_t kMaxWidth = 4096;
constexpr size_t kMaxHeight = 7;

const FourCC kFormats[] = {
    premoov::kCVPixelFormatType_422YpCbCr8, premoov::kCVPixelFormatType_422YpCbCr8_yuvs,
    premoov::kCVPixelFormatType_422YpCbCr10, premoov::kCVPixelFormatType_32BGRA, FourCC("RGBA")};

using Bytes = std::vector<uint8_t>;

// The sample's bytes, checked for the shape every caption sample of a frame has.
Bytes checkedSampleBytes(const premoov::CMSampleBufferRef& sample) {
  if (!sample) return {};
  const premoov::CMBlockBufferRef block = premoov::CMSampleBufferGetDataBuffer(sample);
  check(premoov::CMBlockBufferGetDataLength(block) == 4);
  check(premoov::CMSampleBufferGetNumSamples(sample) == 1);
  Bytes bytes(block->data(), block->data() + block->length());
  check(bytes[3] == 0);
  return bytes;
}

premoov::CMSampleBufferRef videoSample(const premoov::CVPixelBufferRef& pixels) {
  premoov::CMFormatDescriptionRef format;
  premoov::defaultCoreMedia().CMFormatDescriptionCreate(FourCC("vide"), pixels->pixelFormat(),
                                                        &format);
  premoov::CMSampleBufferRef sample;
  premoov::defaultCoreMedia().CMSampleBufferCreateReadyWithImageBuffer(pixels, format, nullptr,
                                                                       &sample);
  check(sample != nullptr);
  return sample;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = [] {
    premoov::setLogSink([](const std::string&) {});  // refused frames are logged
    return true;
  }();
  (void)quiet;
  if (size < kHeaderBytes) return 0;
  const std::span<const uint8_t> input(data, size);
  const FourCC format = kFormats[input[0] % std::size(kFormats)];
  const size_t width = ((size_t{input[1]} << 8) | input[2]) % (kMaxWidth + 1);
  const size_t height = input[3] % (kMaxHeight + 1);
  const auto padding = static_cast<int8_t>(input[4]);
  const std::array<uint8_t, 2> pair{input[5], input[6]};
  const std::span<const uint8_t> pixelBytes = input.subspan(kHeaderBytes);

  const auto needed = premoov::minimumBytesPerRow(format, width);
  const size_t rowBytes = needed.value_or(width * 4);
  const size_t bytesPerRow =
      static_cast<size_t>(std::max<ptrdiff_t>(0, static_cast<ptrdiff_t>(rowBytes) + padding));
  // At most 7 rows of 16 KiB and some: the frame's memory stays well under a megabyte.
  Bytes memory(bytesPerRow * height);
  // Whole copies, not a loop of bytes: every comparison in this file is traced for the fuzzer.
  for (size_t at = 0; at < memory.size() && !pixelBytes.empty(); at += pixelBytes.size()) {
    std::memcpy(memory.data() + at, pixelBytes.data(),
                std::min(pixelBytes.size(), memory.size() - at));
  }
  const auto pixels =
      std::make_shared<premoov::CVPixelBuffer>(format, width, height, bytesPerRow, memory.data());
  const premoov::CMSampleBufferRef sample = videoSample(pixels);

  premoov::ZPRCCUtilities utilities;
  const Bytes picture = memory;
  checkedSampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(sample));
  check(memory == picture);

  const auto block = std::make_shared<premoov::CMBlockBuffer>(2);
  std::copy(pair.begin(), pair.end(), block->data());
  utilities.overlayCEA608FromBlockBuffer(block, pixels);
  const bool wholeRows = needed && *needed <= bytesPerRow && height >= line21::kRows;
  // Lines-buffer rows no longer than the run-in are not drawn.
  const bool drawn = wholeRows && width * line21::kBytesPerPixel > line21::kRunInBytes;
  // Beyond the pixels of the top three rows (and in every byte of a frame that cannot take the
  // rows) the picture is as it was.
  for (size_t row = 0; row < height; ++row) {
    const size_t from = row * bytesPerRow + (drawn && row < line21::kRows ? *needed : 0);
    const size_t to = (row + 1) * bytesPerRow;
    check(to == from || std::memcmp(memory.data() + from, picture.data() + from, to - from) == 0);
  }

  const Bytes withCaption = memory;
  const Bytes read =
      checkedSampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(sample));
  check(memory == withCaption);
  if (wholeRows && width >= line21::kLinePixels) {
    const Bytes expected{pair[0], static_cast<uint8_t>(pair[1] | line21::kNullByte),
                         line21::kNullByte, 0x00};
    if (read != expected) __builtin_trap();
  }
  return 0;
}
