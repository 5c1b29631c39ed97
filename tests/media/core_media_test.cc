#include "media/core_media.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "media/core_video.h"
#include "media/fault_injecting_core_media.h"
#include "media/pixel_formats.h"

namespace premoov {
namespace {

TEST(CoreMediaTest, AFormatDescriptionKeepsItsTypeAndSubtype) {
  CMFormatDescriptionRef format;
  ASSERT_EQ(defaultCoreMedia().CMFormatDescriptionCreate(FourCC("clcp"), FourCC("c708"), &format),
            0);
  EXPECT_EQ(CMFormatDescriptionGetMediaType(format), FourCC("clcp"));
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(format), FourCC("c708"));
  EXPECT_EQ(CMFormatDescriptionGetMediaType(nullptr), FourCC());
}

TEST(CoreMediaTest, ABlockBufferIsZeroFilledAndItsBytesAreWritableInPlace) {
  CMBlockBufferRef block;
  ASSERT_EQ(defaultCoreMedia().CMBlockBufferCreateWithMemoryBlock(40, &block), 0);
  size_t atOffset = 0, total = 0;
  uint8_t* data = nullptr;
  ASSERT_EQ(defaultCoreMedia().CMBlockBufferGetDataPointer(block, 0, &atOffset, &total, &data), 0);
  EXPECT_EQ(atOffset, 40u);
  EXPECT_EQ(total, 40u);
  for (size_t i = 0; i < 40; ++i) EXPECT_EQ(data[i], 0) << i;
  data[0] = 0x96;
  data[39] = 0x69;
  std::array<uint8_t, 2> ends{};
  ASSERT_EQ(CMBlockBufferCopyDataBytes(block, 0, std::span(ends).first(1)), 0);
  ASSERT_EQ(CMBlockBufferCopyDataBytes(block, 39, std::span(ends).last(1)), 0);
  EXPECT_EQ(ends, (std::array<uint8_t, 2>{0x96, 0x69}));
  EXPECT_EQ(CMBlockBufferGetDataLength(block), 40u);
}

TEST(CoreMediaTest, ABlockLargerThanMemoryIsRefusedWithAStatus) {
  CMBlockBufferRef block = std::make_shared<CMBlockBuffer>(1);
  EXPECT_EQ(defaultCoreMedia().CMBlockBufferCreateWithMemoryBlock(SIZE_MAX, &block),
            kCMBlockBufferBlockAllocationFailedErr);
  EXPECT_EQ(block, nullptr);
}

TEST(CoreMediaTest, CopyingPastTheEndOfABlockCopiesNothing) {
  CMBlockBufferRef block;
  ASSERT_EQ(defaultCoreMedia().CMBlockBufferCreateWithMemoryBlock(4, &block), 0);
  std::array<uint8_t, 3> out{7, 7, 7};
  EXPECT_EQ(CMBlockBufferCopyDataBytes(block, 2, out), kCMBlockBufferBadLengthParameterErr);
  EXPECT_EQ(CMBlockBufferCopyDataBytes(block, 5, std::span(out).first(0)),
            kCMBlockBufferBadOffsetParameterErr);
  EXPECT_EQ(out, (std::array<uint8_t, 3>{7, 7, 7}));
  EXPECT_EQ(CMBlockBufferCopyDataBytes(nullptr, 0, out), kCMBlockBufferBadOffsetParameterErr);
  uint8_t* data = nullptr;
  EXPECT_EQ(defaultCoreMedia().CMBlockBufferGetDataPointer(block, 4, nullptr, nullptr, &data),
            kCMBlockBufferBadOffsetParameterErr);
}

TEST(CoreMediaTest, ASampleBufferHoldsItsFormatBytesTimingAndSizes) {
  CoreMedia& media = defaultCoreMedia();
  CMFormatDescriptionRef format;
  CMBlockBufferRef block;
  ASSERT_EQ(media.CMFormatDescriptionCreate(FourCC("clcp"), FourCC("c708"), &format), 0);
  ASSERT_EQ(media.CMBlockBufferCreateWithMemoryBlock(43, &block), 0);
  const CMSampleTimingInfo timing{CMTimeMake(1001, 30000), CMTimeMake(3003, 30000), kCMTimeInvalid};
  const size_t size = 43;
  CMSampleBufferRef sample;
  ASSERT_EQ(media.CMSampleBufferCreate(block, format, 1, std::span(&timing, 1), std::span(&size, 1),
                                       &sample),
            0);
  EXPECT_EQ(CMSampleBufferGetDataBuffer(sample), block);  // the same block, not a copy
  EXPECT_EQ(CMSampleBufferGetFormatDescription(sample), format);
  EXPECT_EQ(CMSampleBufferGetNumSamples(sample), 1);
  EXPECT_EQ(CMSampleBufferGetTotalSampleSize(sample), 43u);
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(sample), CMTimeMake(3003, 30000));
  EXPECT_EQ(CMSampleBufferGetFirstSampleDuration(sample), CMTimeMake(1001, 30000));
  EXPECT_EQ(CMSampleBufferGetDecodeTimeStamp(sample), kCMTimeInvalid);
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(nullptr), kCMTimeInvalid);
}

TEST(CoreMediaTest, TimingAndSizesMustNameOneEntryOrOnePerSample) {
  CMSampleBufferRef sample;
  const std::array<size_t, 2> twoSizes{4, 4};
  EXPECT_EQ(defaultCoreMedia().CMSampleBufferCreate(nullptr, nullptr, 3, {}, twoSizes, &sample),
            kCMSampleBufferError_ArrayTooSmall);
  EXPECT_EQ(sample, nullptr);
  EXPECT_EQ(defaultCoreMedia().CMSampleBufferCreate(nullptr, nullptr, -1, {}, {}, &sample),
            kCMSampleBufferError_InvalidEntryCount);
  ASSERT_EQ(defaultCoreMedia().CMSampleBufferCreate(nullptr, nullptr, 3, {},
                                                    std::span(twoSizes).first(1), &sample),
            0);
  EXPECT_EQ(CMSampleBufferGetTotalSampleSize(sample), 12u);
}

TEST(CoreMediaTest, AFaultInjectingStandInFailsTheCallsItNamesAndMakesNothing) {
  testing::FaultInjectingCoreMedia media;
  media.failing = {"CMBlockBufferCreateWithMemoryBlock", "CMSampleBufferCreate"};
  CMBlockBufferRef block = std::make_shared<CMBlockBuffer>(1);
  EXPECT_EQ(media.CMBlockBufferCreateWithMemoryBlock(8, &block), media.status);
  EXPECT_EQ(block, nullptr);
  CMSampleBufferRef sample;
  EXPECT_EQ(media.CMSampleBufferCreate(nullptr, nullptr, 1, {}, {}, &sample), media.status);
  EXPECT_EQ(sample, nullptr);
  CMFormatDescriptionRef format;
  EXPECT_EQ(media.CMFormatDescriptionCreate(FourCC("clcp"), FourCC("c608"), &format), 0);
  EXPECT_NE(format, nullptr);
}

}  // namespace
}  // namespace premoov

namespace premoov {
namespace {

TEST(CoreMediaTest, AVideoSampleHoldsItsPictureAndItsOneTiming) {
  CVPixelBufferRef picture;
  ASSERT_EQ(defaultCoreVideo().CVPixelBufferCreate(4, 3, kCVPixelFormatType_422YpCbCr8, &picture),
            0);
  CMFormatDescriptionRef format;
  ASSERT_EQ(defaultCoreMedia().CMFormatDescriptionCreate(FourCC("vide"), FourCC("2vuy"), &format),
            0);
  const CMSampleTimingInfo timing{CMTimeMake(1001, 30000), CMTimeMake(5005, 30000), kCMTimeInvalid};
  CMSampleBufferRef sample;
  ASSERT_EQ(defaultCoreMedia().CMSampleBufferCreateReadyWithImageBuffer(picture, format, &timing,
                                                                        &sample),
            0);
  EXPECT_EQ(CMSampleBufferGetImageBuffer(sample), picture);
  EXPECT_EQ(CMSampleBufferGetNumSamples(sample), 1);
  CMSampleTimingInfo read{};
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample, 0, &read), 0);
  EXPECT_EQ(read.presentationTimeStamp, CMTimeMake(5005, 30000));
  EXPECT_EQ(read.duration, CMTimeMake(1001, 30000));
  EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(sample, 1, &read),
            kCMSampleBufferError_SampleIndexOutOfRange);
}

TEST(CoreMediaTest, AVideoSampleWithoutTimingSaysSoWhenAskedForIt) {
  CVPixelBufferRef picture;
  ASSERT_EQ(defaultCoreVideo().CVPixelBufferCreate(4, 3, kCVPixelFormatType_32BGRA, &picture), 0);
  CMFormatDescriptionRef format;
  ASSERT_EQ(defaultCoreMedia().CMFormatDescriptionCreate(FourCC("vide"), FourCC("BGRA"), &format),
            0);
  CMSampleBufferRef sample;
  ASSERT_EQ(defaultCoreMedia().CMSampleBufferCreateReadyWithImageBuffer(picture, format, nullptr,
                                                                        &sample),
            0);
  CMSampleTimingInfo read{};
  EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(sample, 0, &read),
            kCMSampleBufferError_BufferHasNoSampleTimingInfo);
  EXPECT_EQ(CMSampleBufferGetImageBuffer(nullptr), nullptr);
  EXPECT_EQ(defaultCoreMedia().CMSampleBufferCreateReadyWithImageBuffer(nullptr, format, nullptr,
                                                                        &sample),
            kCMSampleBufferError_RequiredParameterMissing);
  EXPECT_EQ(sample, nullptr);
}

}  // namespace
}  // namespace premoov
