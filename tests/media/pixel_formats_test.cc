#include "media/pixel_formats.h"

#include <gtest/gtest.h>

#include <limits>

namespace premoov {
namespace {

TEST(PixelFormatsTest, RowsHoldTheirPixelsWithoutPaddingBeyondTheFormatsOwnGrouping) {
  EXPECT_EQ(minimumBytesPerRow(kCVPixelFormatType_32BGRA, 720), 2880u);
  EXPECT_EQ(minimumBytesPerRow(kCVPixelFormatType_422YpCbCr8, 720), 1440u);
  EXPECT_EQ(minimumBytesPerRow(kCVPixelFormatType_422YpCbCr8_yuvs, 1920), 3840u);
  // An odd width still takes a whole pixel pair.
  EXPECT_EQ(minimumBytesPerRow(kCVPixelFormatType_422YpCbCr8, 721), 1444u);
  // 'v210' rows are whole groups of 48 pixels in 128 bytes.
  EXPECT_EQ(minimumBytesPerRow(kCVPixelFormatType_422YpCbCr10, 720), 1920u);
  EXPECT_EQ(minimumBytesPerRow(kCVPixelFormatType_422YpCbCr10, 1920), 5120u);
  EXPECT_EQ(minimumBytesPerRow(kCVPixelFormatType_422YpCbCr10, 1), 128u);
  EXPECT_EQ(minimumBytesPerRow(kCVPixelFormatType_422YpCbCr10, 1281), 3456u);
}

TEST(PixelFormatsTest, NoRowForAnEmptyOrImpossibleWidthOrAnUnknownFormat) {
  EXPECT_FALSE(minimumBytesPerRow(kCVPixelFormatType_32BGRA, 0));
  EXPECT_FALSE(minimumBytesPerRow(FourCC("apch"), 720));
  EXPECT_FALSE(minimumBytesPerRow(kCVPixelFormatType_32BGRA, std::numeric_limits<size_t>::max()));
  EXPECT_FALSE(isSupportedPixelFormat(FourCC("yuv2")));
  EXPECT_TRUE(isSupportedPixelFormat(FourCC("v210")));
}

}  // namespace
}  // namespace premoov
