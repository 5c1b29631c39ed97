#include "media/core_video.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "media/pixel_formats.h"

namespace premoov {
namespace {

TEST(CoreVideoTest, ANewPictureIsZeroFilledWithRowsAsLongAsItsFormatNeeds) {
  CVPixelBufferRef picture;
  ASSERT_EQ(defaultCoreVideo().CVPixelBufferCreate(720, 3, kCVPixelFormatType_32BGRA, &picture),
            kCVReturnSuccess);
  EXPECT_EQ(CVPixelBufferGetWidth(picture), 720u);
  EXPECT_EQ(CVPixelBufferGetHeight(picture), 3u);
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(picture), 2880u);
  EXPECT_EQ(CVPixelBufferGetDataSize(picture), 8640u);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(picture), kCVPixelFormatType_32BGRA);
  for (size_t i = 0; i < CVPixelBufferGetDataSize(picture); ++i) {
    ASSERT_EQ(CVPixelBufferGetBaseAddress(picture)[i], 0) << i;
  }
}

TEST(CoreVideoTest, PicturesThatCannotBeMadeAreRefusedWithAStatus) {
  CVPixelBufferRef picture =
      std::make_shared<CVPixelBuffer>(kCVPixelFormatType_32BGRA, 1, 1, 4, std::vector<uint8_t>(4));
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferCreate(0, 3, kCVPixelFormatType_32BGRA, &picture),
            kCVReturnInvalidSize);
  EXPECT_EQ(picture, nullptr);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferCreate(720, 0, kCVPixelFormatType_32BGRA, &picture),
            kCVReturnInvalidSize);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferCreate(720, 3, FourCC("avc1"), &picture),
            kCVReturnInvalidPixelFormat);
  const size_t huge = std::numeric_limits<size_t>::max() / 16;
  EXPECT_NE(defaultCoreVideo().CVPixelBufferCreate(huge, huge, kCVPixelFormatType_32BGRA, &picture),
            kCVReturnSuccess);
  EXPECT_NE(
      defaultCoreVideo().CVPixelBufferCreate(1u << 30, 64, kCVPixelFormatType_32BGRA, &picture),
      kCVReturnSuccess);
  EXPECT_EQ(picture, nullptr);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferCreate(4, 4, kCVPixelFormatType_32BGRA, nullptr),
            kCVReturnInvalidArgument);
}

TEST(CoreVideoTest, AWrapperPointsIntoTheMemoryItWasGivenWithoutCopying) {
  std::vector<uint8_t> frame(1440 * 4);
  CVPixelBufferRef wrapper;
  ASSERT_EQ(defaultCoreVideo().CVPixelBufferCreateWithBytes(720, 2, kCVPixelFormatType_422YpCbCr8,
                                                            frame.data() + 1440, 1440, &wrapper),
            kCVReturnSuccess);
  EXPECT_EQ(CVPixelBufferGetBaseAddress(wrapper), frame.data() + 1440);
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(wrapper), 1440u);
  CVPixelBufferGetBaseAddress(wrapper)[0] = 0x42;
  EXPECT_EQ(frame[1440], 0x42);
}

TEST(CoreVideoTest, AWrapperIsRefusedWhenItsRowsCannotHoldItsWidth) {
  std::vector<uint8_t> frame(4096);
  CVPixelBufferRef wrapper;
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferCreateWithBytes(720, 2, kCVPixelFormatType_422YpCbCr8,
                                                            frame.data(), 1439, &wrapper),
            kCVReturnInvalidSize);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferCreateWithBytes(720, 2, kCVPixelFormatType_422YpCbCr8,
                                                            nullptr, 1440, &wrapper),
            kCVReturnInvalidArgument);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferCreateWithBytes(720, 2, FourCC("apcn"), frame.data(),
                                                            1440, &wrapper),
            kCVReturnInvalidPixelFormat);
  EXPECT_EQ(wrapper, nullptr);
}

TEST(CoreVideoTest, LocksAreCountedAndAnUnmatchedUnlockIsRefused) {
  CVPixelBufferRef picture;
  ASSERT_EQ(defaultCoreVideo().CVPixelBufferCreate(4, 1, kCVPixelFormatType_32BGRA, &picture), 0);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferLockBaseAddress(picture, 0), kCVReturnSuccess);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferLockBaseAddress(picture, kCVPixelBufferLock_ReadOnly),
            kCVReturnSuccess);
  EXPECT_EQ(picture->lockCount(), 2);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferUnlockBaseAddress(picture, 0), kCVReturnSuccess);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferUnlockBaseAddress(picture, 0), kCVReturnSuccess);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferUnlockBaseAddress(picture, 0),
            kCVReturnInvalidArgument);
  EXPECT_EQ(defaultCoreVideo().CVPixelBufferLockBaseAddress(nullptr, 0), kCVReturnInvalidArgument);
}

TEST(CoreVideoTest, ATransferNeedsASessionAndTwoPictures) {
  CVPixelBufferRef picture;
  ASSERT_EQ(defaultCoreVideo().CVPixelBufferCreate(4, 1, kCVPixelFormatType_32BGRA, &picture), 0);
  VTPixelTransferSessionRef session;
  ASSERT_EQ(defaultCoreVideo().VTPixelTransferSessionCreate(&session), 0);
  ASSERT_NE(session, nullptr);
  EXPECT_EQ(defaultCoreVideo().VTPixelTransferSessionTransferImage(nullptr, picture, picture),
            kVTInvalidSessionErr);
  EXPECT_EQ(defaultCoreVideo().VTPixelTransferSessionTransferImage(session, nullptr, picture),
            kVTParameterErr);
  EXPECT_EQ(defaultCoreVideo().VTPixelTransferSessionTransferImage(session, picture, picture), 0);
}

}  // namespace
}  // namespace premoov
