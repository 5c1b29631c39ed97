#include "header/frame_size_table.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace premoov {
namespace {

TEST(FrameSizeTableTest, UncompressedFourTwoTwoEightBitIsFourBytesPerPixelPair) {
  // 1920 * 2 * 1080.
  EXPECT_EQ(maxCompressedFrameSize("2vuy", 1920, 1080), 4147200);
  EXPECT_EQ(maxCompressedFrameSize("yuv2", 1920, 1080), 4147200);
  EXPECT_EQ(maxCompressedFrameSize("yuvs", 1920, 1080), 4147200);
  // 720 * 2 * 486.
  EXPECT_EQ(maxCompressedFrameSize("2vuy", 720, 486), 699840);
  // An odd width still holds a whole pair: 361 pairs of 4 bytes.
  EXPECT_EQ(maxCompressedFrameSize("2vuy", 721, 1), 1444);
}

TEST(FrameSizeTableTest, V210RowsArePaddedToWholeBlocksOf48Pixels) {
  // 40 blocks of 128 bytes = 5,120 bytes per row, 1080 rows.
  EXPECT_EQ(maxCompressedFrameSize("v210", 1920, 1080), 5529600);
  // 1280 pixels need 27 blocks (1,296 pixels): 3,456 bytes per row.
  EXPECT_EQ(maxCompressedFrameSize("v210", 1280, 720), 2488320);
  // 720 pixels are 15 whole blocks: 1,920 bytes per row.
  EXPECT_EQ(maxCompressedFrameSize("v210", 720, 486), 933120);
  // One pixel still takes a whole block.
  EXPECT_EQ(maxCompressedFrameSize("v210", 1, 1), 128);
}

TEST(FrameSizeTableTest, FourBytesPerPixelFormats) {
  EXPECT_EQ(maxCompressedFrameSize("v216", 1920, 1080), 8294400);
  EXPECT_EQ(maxCompressedFrameSize("v410", 1920, 1080), 8294400);
  EXPECT_EQ(maxCompressedFrameSize("BGRA", 1920, 1080), 8294400);
  EXPECT_EQ(maxCompressedFrameSize("BGRA", 720, 486), 1399680);
  // 'v216' keeps pixel pairs whole: 3 pixels take 2 pairs of 8 bytes.
  EXPECT_EQ(maxCompressedFrameSize("v216", 3, 1), 16);
  EXPECT_EQ(maxCompressedFrameSize("v410", 3, 1), 12);
}

TEST(FrameSizeTableTest, R210RowsArePaddedTo64Pixels) {
  // 1920 is 30 * 64: no padding, 7,680 bytes per row.
  EXPECT_EQ(maxCompressedFrameSize("r210", 1920, 1080), 8294400);
  // 720 pixels pad to 768: 3,072 bytes per row.
  EXPECT_EQ(maxCompressedFrameSize("r210", 720, 486), 1492992);
  EXPECT_EQ(maxCompressedFrameSize("r210", 1280, 720), 3686400);
}

TEST(FrameSizeTableTest, DvFramesFollowTheLineSystem) {
  EXPECT_EQ(maxCompressedFrameSize("dvc ", 720, 480), 120000);
  EXPECT_EQ(maxCompressedFrameSize("dvc ", 720, 486), 120000);
  EXPECT_EQ(maxCompressedFrameSize("dvc ", 720, 576), 144000);
  EXPECT_EQ(maxCompressedFrameSize("dvcp", 720, 576), 144000);
  EXPECT_EQ(maxCompressedFrameSize("dvcp", 720, 480), 120000);
  EXPECT_EQ(maxCompressedFrameSize("dvpp", 720, 576), 144000);
  // No DV raster has more than 576 lines.
  EXPECT_EQ(maxCompressedFrameSize("dvc ", 720, 720), 0);
  EXPECT_EQ(maxCompressedFrameSize("dvcp", 1920, 1080), 0);
}

TEST(FrameSizeTableTest, DvcproFiftyFramesAreFixedByTag) {
  EXPECT_EQ(maxCompressedFrameSize("dv5n", 720, 480), 240000);
  EXPECT_EQ(maxCompressedFrameSize("dv5p", 720, 576), 288000);
  // A 525-line tag cannot carry 576 lines.
  EXPECT_EQ(maxCompressedFrameSize("dv5n", 720, 576), 0);
}

TEST(FrameSizeTableTest, DvcproHdFramesAreFixedByTag) {
  EXPECT_EQ(maxCompressedFrameSize("dvh5", 1440, 1080), 576000);
  EXPECT_EQ(maxCompressedFrameSize("dvh5", 1920, 1080), 576000);
  EXPECT_EQ(maxCompressedFrameSize("dvh6", 1280, 1080), 480000);
  EXPECT_EQ(maxCompressedFrameSize("dvhq", 960, 720), 288000);
  EXPECT_EQ(maxCompressedFrameSize("dvhp", 960, 720), 240000);
  EXPECT_EQ(maxCompressedFrameSize("dvhp", 1920, 1080), 0);
  EXPECT_EQ(maxCompressedFrameSize("dvh6", 1920, 1088), 0);
}

TEST(FrameSizeTableTest, DnxhdTakesTheLargestCompressionIdThatFits) {
  // CID 1256 and DNxHR 444 both give 1,835,008 at 1920x1080.
  EXPECT_EQ(maxCompressedFrameSize("AVdn", 1920, 1080), 1835008);
  // DNxHR 444 at 3,600 macroblocks: 3600 * 57344 / 255 = 809,562, to 198 * 4096. Larger than
  // CID 1250's 458,752.
  EXPECT_EQ(maxCompressedFrameSize("AVdn", 1280, 720), 811008);
  // 6,120 macroblocks: 1,376,301 to 336 * 4096; larger than CID 1260's 835,584.
  EXPECT_EQ(maxCompressedFrameSize("AVdn", 1440, 1080), 1376256);
  // 32,400 macroblocks: 7,286,061 to 1779 * 4096.
  EXPECT_EQ(maxCompressedFrameSize("AVdn", 3840, 2160), 7286784);
  // One macroblock gives 224 bytes, which rounds to nothing: the 8,192-byte floor.
  EXPECT_EQ(maxCompressedFrameSize("AVdn", 16, 16), 8192);
}

TEST(FrameSizeTableTest, ProResCoversGStreamerPrefillSizes) {
  // gst/isomp4/gstqtmux.c prefill_get_sample_size, at the full-width frame of each height band.
  struct Case {
    const char* codec;
    int32_t width;
    int32_t height;
    int32_t prefillBytes;
  };
  const Case cases[] = {
      {"apch", 720, 480, 300000},    {"apch", 720, 576, 350000},    {"apch", 1280, 720, 525000},
      {"apch", 1920, 1080, 1050000}, {"apch", 3840, 2160, 4150000}, {"apch", 7680, 4320, 16600000},
      {"apcn", 720, 480, 200000},    {"apcn", 720, 576, 250000},    {"apcn", 1280, 720, 350000},
      {"apcn", 1920, 1080, 700000},  {"apcn", 3840, 2160, 2800000}, {"apcn", 7680, 4320, 11200000},
      {"apcs", 720, 480, 150000},    {"apcs", 720, 576, 200000},    {"apcs", 1280, 720, 250000},
      {"apcs", 1920, 1080, 500000},  {"apcs", 3840, 2160, 2800000}, {"apcs", 7680, 4320, 11200000},
      {"apco", 720, 480, 80000},     {"apco", 720, 576, 100000},    {"apco", 1280, 720, 150000},
      {"apco", 1920, 1080, 250000},  {"apco", 3840, 2160, 900000},  {"apco", 7680, 4320, 3600000},
  };
  for (const Case& c : cases) {
    const auto codec = FourCC::fromString(c.codec);
    ASSERT_TRUE(codec.has_value());
    EXPECT_GE(maxCompressedFrameSize(*codec, c.width, c.height), c.prefillBytes)
        << c.codec << " " << c.width << "x" << c.height;
  }
}

TEST(FrameSizeTableTest, ProResCoversApplesTargetFrameSizes) {
  // Apple ProRes white paper, target data rates, per frame at the 1000/1001 rate where the
  // column is 24, 30 or 60 (Mb/s * 10^6 / 8 / fps).
  struct Case {
    const char* codec;
    int32_t width;
    int32_t height;
    int32_t targetBytes;
  };
  const Case cases[] = {
      {"apco", 1920, 1080, 190000},    // 38 Mb/s at 25p
      {"apcs", 1920, 1080, 425425},    // 102 Mb/s at 29.97
      {"apcn", 1920, 1080, 613113},    // 147 Mb/s at 29.97
      {"apch", 1920, 1080, 917584},    // 220 Mb/s at 29.97
      {"apch", 2048, 1080, 1050000},   // 210 Mb/s at 25p
      {"apch", 1280, 1080, 788288},    // 189 Mb/s at 29.97 (60i)
      {"ap4h", 720, 576, 460000},      // 92 Mb/s at 25p
      {"ap4h", 1920, 1080, 1376375},   // 330 Mb/s at 29.97
      {"ap4h", 4096, 2160, 5901729},   // 1,415 Mb/s at 29.97
      {"ap4x", 720, 486, 588088},      // 141 Mb/s at 29.97
      {"ap4x", 1920, 1080, 2065000},   // 826 Mb/s at 50p
      {"ap4x", 8192, 4320, 35390000},  // 14,156 Mb/s at 50p
  };
  for (const Case& c : cases) {
    const auto codec = FourCC::fromString(c.codec);
    ASSERT_TRUE(codec.has_value());
    EXPECT_GE(maxCompressedFrameSize(*codec, c.width, c.height), c.targetBytes)
        << c.codec << " " << c.width << "x" << c.height;
  }
}

TEST(FrameSizeTableTest, ProResTiersByMacroblockCount) {
  // 1920x1080: 120 * 68 = 8,160 macroblocks at 129 bytes.
  EXPECT_EQ(maxCompressedFrameSize("apch", 1920, 1080), 1052640);
  // 720x480: 45 * 30 = 1,350 macroblocks at 223 bytes.
  EXPECT_EQ(maxCompressedFrameSize("apch", 720, 480), 301050);
  // 720x486 counts two fields of 16 macroblock rows: 45 * 32 = 1,440 at 223 bytes.
  EXPECT_EQ(maxCompressedFrameSize("apch", 720, 486), 321120);
  // 736x576 is 46 * 36 = 1,656 macroblocks, past the first tier: 1,656 * 154 = 255,024 is less
  // than the first tier's full 1,620 * 223 = 361,260, which stays the floor.
  EXPECT_EQ(maxCompressedFrameSize("apch", 736, 576), 361260);
  EXPECT_EQ(maxCompressedFrameSize("ap4x", 1920, 1080), 2325600);
}

TEST(FrameSizeTableTest, ProResNeverShrinksAsTheFrameGrows) {
  const FourCC codecs[] = {"apco", "apcs", "apcn", "apch", "ap4h", "ap4x"};
  for (const FourCC codec : codecs) {
    int32_t previous = 0;
    for (int32_t width = 16; width <= 8192; width += 16) {
      const int32_t size = maxCompressedFrameSize(codec, width, 1080);
      EXPECT_GE(size, previous) << codec.toString() << " width " << width;
      previous = size;
    }
  }
}

TEST(FrameSizeTableTest, DimensionsAreCutTo16BitCoordinates) {
  EXPECT_EQ(maxCompressedFrameSize("v210", 65536 + 1920, 1080), 5529600);
  EXPECT_EQ(maxCompressedFrameSize("v210", 1920, 65536 + 1080), 5529600);
  // 40,000 becomes -25,536 as a 16-bit coordinate.
  EXPECT_EQ(maxCompressedFrameSize("v210", 40000, 1080), 0);
  EXPECT_EQ(maxCompressedFrameSize("dvc ", 720, 32768), 0);
  // The largest coordinate is still a frame.
  EXPECT_EQ(maxCompressedFrameSize("v210", 1920, 32767), 167767040);
}

TEST(FrameSizeTableTest, NonPositiveDimensionsAnswerZero) {
  EXPECT_EQ(maxCompressedFrameSize("v210", 0, 1080), 0);
  EXPECT_EQ(maxCompressedFrameSize("v210", 1920, 0), 0);
  EXPECT_EQ(maxCompressedFrameSize("apch", -1920, 1080), 0);
  EXPECT_EQ(maxCompressedFrameSize("dvc ", 720, -480), 0);
}

TEST(FrameSizeTableTest, FramesBeyond31BitsAnswerZero) {
  // 32767 * 4 * 32767 bytes is more than 2^31 - 1.
  EXPECT_EQ(maxCompressedFrameSize("BGRA", 32767, 32767), 0);
}

TEST(FrameSizeTableTest, UnknownCodecAnswersZero) {
  EXPECT_EQ(maxCompressedFrameSize("avc1", 1920, 1080), 0);
  EXPECT_EQ(maxCompressedFrameSize(FourCC(), 1920, 1080), 0);
  EXPECT_EQ(maxCompressedFrameSize("APCH", 1920, 1080), 0);
}

}  // namespace
}  // namespace premoov
