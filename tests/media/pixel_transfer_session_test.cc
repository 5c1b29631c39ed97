#include "media/pixel_transfer_session.h"

#include <gtest/gtest.h>

#include <vector>

#include "media/core_video.h"
#include "media/pixel_formats.h"

namespace premoov {
namespace {

CVPixelBufferRef makePicture(FourCC format, size_t width, size_t height) {
  CVPixelBufferRef picture;
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferCreate(width, height, format, &picture), 0);
  return picture;
}

// Row `row` of a 'BGRA' picture, grey level `level` + the pixel's column.
void fillBgraRow(const CVPixelBufferRef& picture, size_t row, uint8_t level) {
  uint8_t* p = picture->baseAddress() + row * picture->bytesPerRow();
  for (size_t x = 0; x < picture->width(); ++x) {
    const auto l = static_cast<uint8_t>(level + x);
    p[4 * x] = p[4 * x + 1] = p[4 * x + 2] = l;
    p[4 * x + 3] = 0xFF;
  }
}

uint8_t bgraBlue(const CVPixelBufferRef& picture, size_t row, size_t x) {
  return picture->baseAddress()[row * picture->bytesPerRow() + 4 * x];
}

TEST(PixelTransferSessionTest, TwoRowsFitIntoThreeAsTheFirstRowTwiceThenTheSecond) {
  const auto source = makePicture(kCVPixelFormatType_32BGRA, 8, 2);
  fillBgraRow(source, 0, 10);
  fillBgraRow(source, 1, 100);
  const auto destination = makePicture(kCVPixelFormatType_32BGRA, 8, 3);
  VTPixelTransferSession session;
  ASSERT_EQ(session.transferImage(*source, *destination), 0);
  EXPECT_EQ(bgraBlue(destination, 0, 3), 13);
  EXPECT_EQ(bgraBlue(destination, 1, 3), 13);
  EXPECT_EQ(bgraBlue(destination, 2, 3), 103);
}

TEST(PixelTransferSessionTest, ThreeRowsFitIntoTwoByDroppingTheMiddleOne) {
  const auto source = makePicture(kCVPixelFormatType_32BGRA, 4, 3);
  for (size_t row = 0; row < 3; ++row) fillBgraRow(source, row, static_cast<uint8_t>(50 * row));
  const auto destination = makePicture(kCVPixelFormatType_32BGRA, 4, 2);
  VTPixelTransferSession session;
  ASSERT_EQ(session.transferImage(*source, *destination), 0);
  EXPECT_EQ(bgraBlue(destination, 0, 0), 0);   // floor(0 x 3 / 2)
  EXPECT_EQ(bgraBlue(destination, 1, 0), 50);  // floor(1 x 3 / 2)
}

TEST(PixelTransferSessionTest, ColumnsFitNearestFromTheLeft) {
  const auto source = makePicture(kCVPixelFormatType_32BGRA, 4, 1);
  fillBgraRow(source, 0, 20);  // 20 21 22 23
  const auto wider = makePicture(kCVPixelFormatType_32BGRA, 8, 1);
  VTPixelTransferSession session;
  ASSERT_EQ(session.transferImage(*source, *wider), 0);
  for (size_t x = 0; x < 8; ++x) EXPECT_EQ(bgraBlue(wider, 0, x), 20 + x / 2) << x;
  const auto narrower = makePicture(kCVPixelFormatType_32BGRA, 3, 1);
  ASSERT_EQ(session.transferImage(*source, *narrower), 0);
  EXPECT_EQ(bgraBlue(narrower, 0, 0), 20);
  EXPECT_EQ(bgraBlue(narrower, 0, 1), 21);  // floor(1 x 4 / 3)
  EXPECT_EQ(bgraBlue(narrower, 0, 2), 22);  // floor(2 x 4 / 3)
}

TEST(PixelTransferSessionTest, GreyBgraBecomesVideoRangeTwoVuyAndComesBack) {
  const auto source = makePicture(kCVPixelFormatType_32BGRA, 4, 1);
  uint8_t* p = source->baseAddress();
  const uint8_t levels[] = {0, 0x7F, 255, 0x30};
  for (size_t x = 0; x < 4; ++x) {
    p[4 * x] = p[4 * x + 1] = p[4 * x + 2] = levels[x];
    p[4 * x + 3] = 0xFF;
  }
  const auto frame = makePicture(kCVPixelFormatType_422YpCbCr8, 4, 1);
  VTPixelTransferSession session;
  ASSERT_EQ(session.transferImage(*source, *frame), 0);
  const std::vector<uint8_t> expected{0x80, 16, 0x80, 125, 0x80, 235, 0x80, 57};
  EXPECT_EQ(std::vector<uint8_t>(frame->baseAddress(), frame->baseAddress() + 8), expected);

  const auto back = makePicture(kCVPixelFormatType_32BGRA, 4, 1);
  ASSERT_EQ(session.transferImage(*frame, *back), 0);
  for (size_t x = 0; x < 4; ++x) EXPECT_EQ(bgraBlue(back, 0, x), levels[x]) << x;
}

TEST(PixelTransferSessionTest, RowsOfTheSameFormatAndWidthAreCopiedAsTheyAre) {
  const auto source = makePicture(kCVPixelFormatType_422YpCbCr10, 6, 1);
  for (size_t i = 0; i < source->bytesPerRow(); ++i) source->baseAddress()[i] = uint8_t(i * 7);
  const auto destination = makePicture(kCVPixelFormatType_422YpCbCr10, 6, 2);
  VTPixelTransferSession session;
  ASSERT_EQ(session.transferImage(*source, *destination), 0);
  for (size_t row = 0; row < 2; ++row) {
    for (size_t i = 0; i < destination->bytesPerRow(); ++i) {
      EXPECT_EQ(destination->baseAddress()[row * destination->bytesPerRow() + i], uint8_t(i * 7));
    }
  }
}

TEST(PixelTransferSessionTest, RefusesFormatsItDoesNotConvertAndWritesNothing) {
  std::vector<uint8_t> memory(64, 0xAB);
  CVPixelBuffer compressed(FourCC("apch"), 4, 1, 64, memory.data());
  const auto destination = makePicture(kCVPixelFormatType_32BGRA, 4, 1);
  VTPixelTransferSession session;
  EXPECT_EQ(session.transferImage(compressed, *destination), kVTPixelTransferNotSupportedErr);
  EXPECT_EQ(session.transferImage(*destination, compressed), kVTPixelTransferNotSupportedErr);
  for (uint8_t byte : memory) EXPECT_EQ(byte, 0xAB);
}

TEST(PixelTransferSessionTest, RefusesPicturesWhoseRowsCannotHoldTheirWidth) {
  std::vector<uint8_t> memory(64, 0xAB);
  CVPixelBuffer shortRows(kCVPixelFormatType_32BGRA, 20, 1, 64, memory.data());
  CVPixelBuffer noMemory(kCVPixelFormatType_32BGRA, 4, 1, 16, nullptr);
  const auto other = makePicture(kCVPixelFormatType_32BGRA, 4, 1);
  VTPixelTransferSession session;
  EXPECT_EQ(session.transferImage(*other, shortRows), kVTParameterErr);
  EXPECT_EQ(session.transferImage(noMemory, *other), kVTParameterErr);
  for (uint8_t byte : memory) EXPECT_EQ(byte, 0xAB);
}

}  // namespace
}  // namespace premoov
