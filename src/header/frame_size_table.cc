#include "header/frame_size_table.h"

#include <algorithm>
#include <array>
#include <limits>

namespace premoov {
namespace {

// How a row turns frame dimensions into bytes.
enum class SizeRule : uint8_t {
  // Always `bytes`: the format fixes the frame size (DV, DNxHD).
  kFixed,
  // Uncompressed rows of ceil(width / groupPixels) groups of groupBytes each, times height.
  kPackedRows,
  // ProRes: bytesPerMacroblock for each 16x16 macroblock, in tiers by macroblock count. A frame
  // past a tier's top keeps that tier's full size as a floor, so the answer never shrinks as the
  // frame grows.
  kMacroblocks,
  // DNxHR: macroblocks * scaleNumerator / scaleDenominator bytes, rounded to the nearest 4,096,
  // at least 8,192 (the frame size every DNxHR encoder pads to).
  kDnxhr,
};

struct FrameSizeRow {
  FourCC codec;
  SizeRule rule = SizeRule::kFixed;
  // The frames the row applies to, in pixels, inclusive.
  int32_t minWidth = 1;
  int32_t maxWidth = std::numeric_limits<int16_t>::max();
  int32_t minHeight = 1;
  int32_t maxHeight = std::numeric_limits<int16_t>::max();
  // kFixed: the frame size.
  int32_t bytes = 0;
  // kPackedRows: each row is whole groups of groupPixels pixels, groupBytes bytes each.
  int32_t groupPixels = 0;
  int32_t groupBytes = 0;
  // kMacroblocks: the tier holds macroblock counts above macroblocksAbove, up to and including
  // macroblocksUpTo.
  int32_t macroblocksAbove = 0;
  int32_t macroblocksUpTo = std::numeric_limits<int32_t>::max();
  int32_t bytesPerMacroblock = 0;
  // kDnxhr: bytes per macroblock as a fraction.
  int32_t scaleNumerator = 0;
  int32_t scaleDenominator = 1;
};

constexpr int32_t kNtscMaxLines = 486;  // 525-line systems carry 480 or 486 active lines
constexpr int32_t kPalMaxLines = 576;   // 625-line systems carry 576
constexpr int32_t kNoLimit = std::numeric_limits<int32_t>::max();

// Row builders, so each row of the table below reads on one line.
constexpr FrameSizeRow packedRows(FourCC codec, int32_t groupPixels, int32_t groupBytes) {
  return {.codec = codec,
          .rule = SizeRule::kPackedRows,
          .groupPixels = groupPixels,
          .groupBytes = groupBytes};
}
constexpr FrameSizeRow fixedByLines(FourCC codec, int32_t minHeight, int32_t maxHeight,
                                    int32_t bytes) {
  return {.codec = codec, .minHeight = minHeight, .maxHeight = maxHeight, .bytes = bytes};
}
constexpr FrameSizeRow fixedRaster(FourCC codec, int32_t width, int32_t height, int32_t bytes) {
  return {.codec = codec,
          .minWidth = width,
          .maxWidth = width,
          .minHeight = height,
          .maxHeight = height,
          .bytes = bytes};
}
constexpr FrameSizeRow dnxhrScale(FourCC codec, int32_t numerator, int32_t denominator) {
  return {.codec = codec,
          .rule = SizeRule::kDnxhr,
          .scaleNumerator = numerator,
          .scaleDenominator = denominator};
}
constexpr FrameSizeRow proResTier(FourCC codec, int32_t macroblocksAbove, int32_t macroblocksUpTo,
                                  int32_t bytesPerMacroblock) {
  return {.codec = codec,
          .rule = SizeRule::kMacroblocks,
          .macroblocksAbove = macroblocksAbove,
          .macroblocksUpTo = macroblocksUpTo,
          .bytesPerMacroblock = bytesPerMacroblock};
}

// Every codec's largest frame. A frame's answer is the largest over the rows that apply to it.
//
// ProRes tiers: up to 1,620 macroblocks (720x576), up to 6,120 (1440x1080), up to 8,704
// (2048x1080), and beyond. Each tier's rate is the smallest whole number of bytes that covers,
// for every frame in the tier: Apple's per-frame target (Apple ProRes white paper, "Target Data
// Rates", taken at the 1000/1001 rate) plus 5%; GStreamer qtmux's prefill frame size for the
// full-width frame of each height (gst/isomp4/gstqtmux.c, prefill_get_sample_size); and FFmpeg
// prores_ks's bits-per-macroblock budget (proresenc_kostya.c, br_tab) / 8 plus 2 bytes for slice
// headers. Rows count ceil(height / 32) macroblocks per field, two fields, so interlaced frames
// are covered. Rates exclude an alpha channel, whose lossless coding has no target.
constexpr auto kFrameSizeRows = std::to_array<FrameSizeRow>({
    // Uncompressed 4:2:2, 8 bits: 4 bytes per pixel pair (Apple TN2162; GStreamer video-info.c
    // gives UYVY/YUY2 rows as GST_ROUND_UP_4(width * 2), the same for any width).
    packedRows("2vuy", 2, 4),
    packedRows("yuv2", 2, 4),
    packedRows("yuvs", 2, 4),
    // 4:2:2, 10 bits: 128 bytes per 48 pixels, rows padded to a whole block (FFmpeg v210enc.c:
    // stride = FFALIGN(width, 48) * 8 / 3; GStreamer video-info.c: ((width + 47) / 48) * 128).
    packedRows("v210", 48, 128),
    // 4:2:2, 16 bits: 8 bytes per pixel pair (GStreamer video-info.c: GST_ROUND_UP_8(width * 4)).
    packedRows("v216", 2, 8),
    // 4:4:4, 10 bits in one 32-bit word per pixel (FFmpeg v410enc.c: width * height * 4).
    packedRows("v410", 1, 4),
    // RGB 10 bits in one 32-bit word per pixel, rows padded to 64 pixels (FFmpeg r210enc.c:
    // FFALIGN(width, 64) * 4 bytes per row).
    packedRows("r210", 64, 256),
    // 8-bit B, G, R, A: 4 bytes per pixel.
    packedRows("BGRA", 1, 4),

    // DV frames are fixed by the line system, which the height tells apart (FFmpeg
    // dv_profile.c: 525/60 120,000 and 625/50 144,000 bytes, IEC 61834 / SMPTE 314M).
    fixedByLines("dvc ", 1, kNtscMaxLines, 120000),
    fixedByLines("dvc ", kNtscMaxLines + 1, kPalMaxLines, 144000),
    fixedByLines("dvcp", 1, kNtscMaxLines, 120000),
    fixedByLines("dvcp", kNtscMaxLines + 1, kPalMaxLines, 144000),
    // DVCPRO 4:1:1, 625/50 only (FFmpeg dv_profile.c, SMPTE 314M: 144,000; isom.c 'dvpp').
    fixedByLines("dvpp", 1, kPalMaxLines, 144000),
    // DVCPRO50 (FFmpeg dv_profile.c, SMPTE 314M 50 Mb/s: 525/60 240,000; 625/50 288,000).
    fixedByLines("dv5n", 1, kNtscMaxLines, 240000),
    fixedByLines("dv5p", 1, kPalMaxLines, 288000),
    // DVCPRO HD, SMPTE 370M (FFmpeg dv_profile.c sizes; isom.c names 'dvh5' 50i, 'dvh6' 60i,
    // 'dvhq' 720p50, 'dvhp' 720p60).
    fixedByLines("dvh5", 1, 1080, 576000),  // 1080i50
    fixedByLines("dvh6", 1, 1080, 480000),  // 1080i60
    fixedByLines("dvhq", 1, 720, 288000),   // 720p50
    fixedByLines("dvhp", 1, 720, 240000),   // 720p60

    // DNxHD compression IDs with a fixed raster and frame size (FFmpeg dnxhddata.c,
    // ff_dnxhd_cid_table; SMPTE ST 2019-1). Interlaced IDs give the size of both fields.
    fixedRaster("AVdn", 1920, 1080, 917504),   // CID 1235, 1238, 1241, 1243
    fixedRaster("AVdn", 1920, 1080, 606208),   // CID 1237, 1242
    fixedRaster("AVdn", 1920, 1080, 188416),   // CID 1253
    fixedRaster("AVdn", 1920, 1080, 1835008),  // CID 1256 (4:4:4)
    fixedRaster("AVdn", 1440, 1080, 606208),   // CID 1244 (interlaced)
    fixedRaster("AVdn", 1440, 1080, 417792),   // CID 1259
    fixedRaster("AVdn", 1440, 1080, 835584),   // CID 1260 (interlaced)
    fixedRaster("AVdn", 1280, 720, 458752),    // CID 1250, 1251
    fixedRaster("AVdn", 1280, 720, 303104),    // CID 1252
    fixedRaster("AVdn", 960, 720, 212992),     // CID 1258
    // DNxHR compression IDs fit any raster; their frame size scales with the macroblock count
    // (FFmpeg dnxhddata.c packet_scale and ff_dnxhd_get_hr_frame_size).
    dnxhrScale("AVdn", 57344, 255),  // CID 1270 (444)
    dnxhrScale("AVdn", 28672, 255),  // CID 1271 (HQX), 1272 (HQ)
    dnxhrScale("AVdn", 18944, 255),  // CID 1273 (SQ)
    dnxhrScale("AVdn", 5888, 255),   // CID 1274 (LB)

    // ProRes 422 Proxy.
    // qtmux 'apco' up to 576 lines: 100,000 at 720x576 (1,620 MB) = 61.7 B/MB.
    proResTier("apco", 0, 1620, 62),
    // qtmux 'apco' up to 720 lines: 150,000 at 1280x720 (3,680 MB) = 40.8 B/MB.
    proResTier("apco", 1620, 6120, 41),
    // qtmux 'apco' up to 1080 lines: 250,000 at 1920x1080 (8,160 MB) = 30.6 B/MB.
    proResTier("apco", 6120, 8704, 31),
    // qtmux 'apco' above 2160 lines: 3,600,000 at 7680x4320 (129,600 MB) = 27.8 B/MB.
    proResTier("apco", 8704, kNoLimit, 28),
    // ProRes 422 LT.
    // qtmux 'apcs' up to 576 lines: 200,000 at 720x576 (1,620 MB) = 123.5 B/MB.
    proResTier("apcs", 0, 1620, 124),
    // prores_ks LT up to 2,700 MB: 560 bits/MB = 70 B/MB, + 2.
    proResTier("apcs", 1620, 6120, 72),
    // qtmux 'apcs' up to 1080 lines: 500,000 at 1920x1080 (8,160 MB) = 61.3 B/MB.
    proResTier("apcs", 6120, 8704, 62),
    // qtmux 'apcs' up to 2160 lines: 2,800,000 at 3840x2160 (32,400 MB) = 86.4 B/MB; above
    // 2160 lines 11,200,000 at 7680x4320 the same. (qtmux gives LT its 422 sizes here.)
    proResTier("apcs", 8704, kNoLimit, 87),
    // ProRes 422.
    // qtmux 'apcn' up to 576 lines: 250,000 at 720x576 (1,620 MB) = 154.3 B/MB.
    proResTier("apcn", 0, 1620, 155),
    // prores_ks standard up to 2,700 MB: 808 bits/MB = 101 B/MB, + 2.
    proResTier("apcn", 1620, 6120, 103),
    // qtmux 'apcn' up to 1080 lines: 700,000 at 1920x1080 (8,160 MB) = 85.8 B/MB.
    proResTier("apcn", 6120, 8704, 86),
    // qtmux 'apcn' up to 2160 lines: 2,800,000 at 3840x2160 (32,400 MB) = 86.4 B/MB.
    proResTier("apcn", 8704, kNoLimit, 87),
    // ProRes 422 HQ.
    // qtmux 'apch' up to 480 lines: 300,000 at 720x480 (1,350 MB) = 222.2 B/MB.
    proResTier("apch", 0, 1620, 223),
    // prores_ks HQ up to 2,700 MB: 1,216 bits/MB = 152 B/MB, + 2.
    proResTier("apch", 1620, 6120, 154),
    // qtmux 'apch' up to 1080 lines: 1,050,000 at 1920x1080 (8,160 MB) = 128.7 B/MB.
    proResTier("apch", 6120, 8704, 129),
    // qtmux 'apch' above 2160 lines: 16,600,000 at 7680x4320 (129,600 MB) = 128.1 B/MB.
    proResTier("apch", 8704, kNoLimit, 129),
    // ProRes 4444 (qtmux has no 4444 sizes).
    // White paper 720x576 25p: 92 Mb/s = 460,000 B, + 5%, / 1,620 MB = 298.1 B/MB.
    proResTier("ap4h", 0, 1620, 299),
    // prores_ks 4444 up to 2,700 MB: 1,828 bits/MB = 228.5 B/MB, + 2.
    proResTier("ap4h", 1620, 6120, 231),
    // White paper 2048x1080 25p: 315 Mb/s = 1,575,000 B, + 5%, / 8,704 MB = 190.0 B/MB.
    proResTier("ap4h", 6120, 8704, 190),
    // prores_ks 4444 above 6,075 MB: 1,425 bits/MB = 178.1 B/MB, + 2.
    proResTier("ap4h", 8704, kNoLimit, 181),
    // ProRes 4444 XQ.
    // White paper 720x576 25p: 138 Mb/s = 690,000 B, + 5%, / 1,620 MB = 447.2 B/MB.
    proResTier("ap4x", 0, 1620, 448),
    // prores_ks 4444XQ up to 2,700 MB: 2,742 bits/MB = 342.75 B/MB, + 2.
    proResTier("ap4x", 1620, 6120, 345),
    // White paper 2048x1080 23.98p: 453 Mb/s = 2,361,734 B, + 5%, / 8,704 MB = 284.9 B/MB.
    proResTier("ap4x", 6120, 8704, 285),
    // prores_ks 4444XQ above 6,075 MB: 2,137 bits/MB = 267.1 B/MB, + 2.
    proResTier("ap4x", 8704, kNoLimit, 270),
});

int64_t ceilDiv(int64_t a, int64_t b) { return (a + b - 1) / b; }

// Bytes for a frame of `width` x `height` (both positive, 16-bit) under `row`.
int64_t rowFrameSize(const FrameSizeRow& row, int64_t width, int64_t height) {
  switch (row.rule) {
    case SizeRule::kFixed: return row.bytes;
    case SizeRule::kPackedRows: return ceilDiv(width, row.groupPixels) * row.groupBytes * height;
    case SizeRule::kMacroblocks: {
      const int64_t macroblocks = ceilDiv(width, 16) * 2 * ceilDiv(height, 32);
      if (macroblocks <= row.macroblocksAbove) return 0;
      return std::min<int64_t>(macroblocks, row.macroblocksUpTo) * row.bytesPerMacroblock;
    }
    case SizeRule::kDnxhr: {
      const int64_t macroblocks = ceilDiv(width, 16) * ceilDiv(height, 16);
      const int64_t scaled = macroblocks * row.scaleNumerator / row.scaleDenominator;
      return std::max<int64_t>((scaled + 2048) / 4096 * 4096, 8192);
    }
  }
  return 0;
}

}  // namespace

int32_t maxCompressedFrameSize(FourCC codec, int32_t width, int32_t height) {
  const int32_t w = static_cast<int16_t>(width);
  const int32_t h = static_cast<int16_t>(height);
  if (w <= 0 || h <= 0) return 0;
  int64_t largest = 0;
  for (const FrameSizeRow& row : kFrameSizeRows) {
    if (row.codec != codec || w < row.minWidth || w > row.maxWidth || h < row.minHeight ||
        h > row.maxHeight) {
      continue;
    }
    largest = std::max(largest, rowFrameSize(row, w, h));
  }
  if (largest > std::numeric_limits<int32_t>::max()) return 0;
  return static_cast<int32_t>(largest);
}

}  // namespace premoov
