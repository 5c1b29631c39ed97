#include <gtest/gtest.h>

#include <vector>

#include "base/log.h"
#include "captions/cc_utilities.h"
#include "captions/line21_frames.h"
#include "media/fault_injecting_core_media.h"
#include "media/fault_injecting_core_video.h"

namespace premoov {
namespace {

using testing::captionBlock;
using testing::lineLevels;
using testing::makeFrame;
using testing::sampleBytes;
using testing::TestFrame;
using testing::videoSample;

using Bytes = std::vector<uint8_t>;

const CMSampleTimingInfo kFrameTiming{CMTimeMake(1001, 30000), CMTimeMake(3003, 30000),
                                      CMTimeMake(3003, 30000)};

// Writes grey levels into row `row` of a 'BGRA' frame.
void drawLevels(TestFrame& frame, size_t row, const Bytes& levels) {
  for (size_t x = 0; x < levels.size(); ++x) {
    uint8_t* p = frame.row(row) + 4 * x;
    p[0] = p[1] = p[2] = levels[x];
    p[3] = 0xFF;
  }
}

TEST(Line21ExtractionTest, TheSecondCaptionByteSharesItsByteWithTheNullRowsFirst) {
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 4, 0);
  drawLevels(frame, 1, lineLevels(0x94, 0x2C, 720));
  drawLevels(frame, 2, lineLevels(0x80, 0x80, 720));
  ZPRCCUtilities utilities;
  const CMSampleBufferRef sample = utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
      videoSample(frame.pixels, &kFrameTiming));
  ASSERT_NE(sample, nullptr);
  EXPECT_EQ(sampleBytes(sample), (Bytes{0x94, 0xAC, 0x80, 0x00}));
}

TEST(Line21ExtractionTest, TheSampleIsAFourByteC608SampleWithTheFramesTiming) {
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 3);
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0xC1, 0xC2}), frame.pixels);
  const CMSampleBufferRef sample = utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
      videoSample(frame.pixels, &kFrameTiming));
  ASSERT_NE(sample, nullptr);
  EXPECT_EQ(sampleBytes(sample), (Bytes{0xC1, 0xC2, 0x80, 0x00}));
  EXPECT_EQ(CMFormatDescriptionGetMediaType(CMSampleBufferGetFormatDescription(sample)),
            FourCC("clcp"));
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(CMSampleBufferGetFormatDescription(sample)),
            FourCC("c608"));
  EXPECT_EQ(CMSampleBufferGetNumSamples(sample), 1);
  EXPECT_EQ(CMSampleBufferGetTotalSampleSize(sample), 4u);
  CMSampleTimingInfo timing{};
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample, 0, &timing), 0);
  EXPECT_EQ(timing.duration, kFrameTiming.duration);
  EXPECT_EQ(timing.presentationTimeStamp, kFrameTiming.presentationTimeStamp);
  EXPECT_EQ(timing.decodeTimeStamp, kFrameTiming.decodeTimeStamp);
  EXPECT_EQ(frame.pixels->lockCount(), 0);
  EXPECT_EQ(utilities.cea608LinesPixelBuffer()->lockCount(), 0);
}

TEST(Line21ExtractionTest, AFrameWithoutTimingGivesAnAllZeroTiming) {
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 3);
  ZPRCCUtilities utilities;
  const CMSampleBufferRef sample = utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
      videoSample(frame.pixels, nullptr));
  ASSERT_NE(sample, nullptr);
  CMSampleTimingInfo timing{};
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample, 0, &timing), 0);
  EXPECT_EQ(timing.duration, CMTime{});
  EXPECT_EQ(timing.presentationTimeStamp, CMTime{});
  EXPECT_EQ(timing.decodeTimeStamp, CMTime{});
}

TEST(Line21ExtractionTest, RowsOf1152BytesOrShorterReadAsZero) {
  // 288 'BGRA' pixels are 1152 bytes: the first sample would be the byte after the row.
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 288, 3, 0xFF);
  ZPRCCUtilities utilities;
  EXPECT_EQ(sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                videoSample(frame.pixels, nullptr))),
            (Bytes{0, 0, 0, 0}));
  // One pixel more and bit 0 of each row is read: the first bits of the first two bytes.
  TestFrame wider = makeFrame(kCVPixelFormatType_32BGRA, 289, 3, 0xFF);
  EXPECT_EQ(sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                videoSample(wider.pixels, nullptr))),
            (Bytes{0x01, 0x01, 0, 0}));
}

TEST(Line21ExtractionTest, ALevelOf0x30ReadsAsZeroAnd0x31AsOne) {
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 3, 0);
  // Bit k of row 1 is read from the blue byte of pixel 288 + 27 k.
  frame.row(1)[4 * 288] = 0x30;
  frame.row(1)[4 * (288 + 27)] = 0x31;
  ZPRCCUtilities utilities;
  EXPECT_EQ(sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                videoSample(frame.pixels, nullptr))),
            (Bytes{0x02, 0, 0, 0}));
}

TEST(Line21ExtractionTest, OnlyTheMiddlePixelOfEachBitIsRead) {
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 3, 0);
  for (size_t k = 0; k < 16; ++k) {
    // Every pixel of bit k high but its middle, and the green and red of the middle too.
    for (size_t x = 274 + 27 * k; x < 274 + 27 * (k + 1); ++x) {
      frame.row(2)[4 * x] = x == 288 + 27 * k ? 0 : 0xFF;
      frame.row(2)[4 * x + 1] = frame.row(2)[4 * x + 2] = 0xFF;
    }
  }
  ZPRCCUtilities utilities;
  EXPECT_EQ(sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                videoSample(frame.pixels, nullptr))),
            (Bytes{0, 0, 0, 0}));
}

TEST(Line21ExtractionTest, BitsPastSixteenAreDroppedAndRowsZeroAndThreeAreNotRead) {
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 1920, 4, 0xFF);
  drawLevels(frame, 1, lineLevels(0x00, 0x00, 720));
  drawLevels(frame, 2, lineLevels(0x00, 0x01, 720));
  // Beyond pixel 706 both rows are white: bits 16 and on would read as ones.
  ZPRCCUtilities utilities;
  EXPECT_EQ(sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                videoSample(frame.pixels, nullptr))),
            (Bytes{0x00, 0x00, 0x01, 0x00}));
}

class Line21ExtractionFormatTest : public ::testing::TestWithParam<FourCC> {};

TEST_P(Line21ExtractionFormatTest, ReadsBackWhatTheOverlayDrewIntoTheFrame) {
  const FourCC format = GetParam();
  ZPRCCUtilities utilities;
  for (const auto& [first, second] : std::vector<std::pair<uint8_t, uint8_t>>{
           {0x94, 0x2C}, {0x00, 0x00}, {0xFF, 0xFF}, {0x55, 0xAA}, {0x80, 0x01}, {0x14, 0x20}}) {
    TestFrame frame = makeFrame(format, 720, 5, 0x3C, 32);
    utilities.overlayCEA608FromBlockBuffer(captionBlock({first, second}), frame.pixels);
    EXPECT_EQ(sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                  videoSample(frame.pixels, &kFrameTiming))),
              (Bytes{first, uint8_t(second | 0x80), 0x80, 0x00}))
        << std::hex << int(first) << " " << int(second);
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, Line21ExtractionFormatTest,
                         ::testing::Values(kCVPixelFormatType_32BGRA, kCVPixelFormatType_422YpCbCr8,
                                           kCVPixelFormatType_422YpCbCr8_yuvs,
                                           kCVPixelFormatType_422YpCbCr10),
                         [](const auto& p) { return testing::formatName(p.param); });

TEST(Line21ExtractionTest, RowsAreWrappedInPlaceWithoutCopying) {
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr10, 1920, 6, 0, 128);
  ZPRCCUtilities utilities;
  const CMSampleBufferRef video = videoSample(frame.pixels, nullptr);
  const CVPixelBufferRef rows = utilities.pixelBufferWithRows({.location = 1, .length = 2}, video);
  ASSERT_NE(rows, nullptr);
  EXPECT_EQ(CVPixelBufferGetBaseAddress(rows), frame.row(1));
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(rows), frame.bytesPerRow);
  EXPECT_EQ(CVPixelBufferGetWidth(rows), 1920u);
  EXPECT_EQ(CVPixelBufferGetHeight(rows), 2u);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(rows), kCVPixelFormatType_422YpCbCr10);
  EXPECT_EQ(frame.pixels->lockCount(), 0);
  EXPECT_NE(utilities.pixelBufferWithRows({.location = 4, .length = 2}, video), nullptr);
}

TEST(Line21ExtractionTest, RowsTheFrameDoesNotHaveAreNotWrapped) {
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 6);
  ZPRCCUtilities utilities;
  const CMSampleBufferRef video = videoSample(frame.pixels, nullptr);
  LogCapture log;
  EXPECT_EQ(utilities.pixelBufferWithRows({.location = 5, .length = 2}, video), nullptr);
  EXPECT_EQ(utilities.pixelBufferWithRows({.location = 7, .length = 0}, video), nullptr);
  EXPECT_EQ(utilities.pixelBufferWithRows({.location = 1, .length = SIZE_MAX}, video), nullptr);
  EXPECT_EQ(log.lines().size(), 3u);
  EXPECT_EQ(log.lines().front(), "CEA608: rows 5 to 7 are not in a frame of 6 rows");
  EXPECT_EQ(frame.pixels->lockCount(), 0);
  EXPECT_EQ(utilities.pixelBufferWithRows({.location = 1, .length = 2}, nullptr), nullptr);
}

TEST(Line21ExtractionTest, AFrameOfFewerThanThreeRowsGivesNoSample) {
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 2);
  ZPRCCUtilities utilities;
  LogCapture log;
  EXPECT_EQ(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                videoSample(frame.pixels, nullptr)),
            nullptr);
  EXPECT_EQ(log.lines(),
            std::vector<std::string>{"CEA608: rows 1 to 3 are not in a frame of 2 rows"});
}

TEST(Line21ExtractionTest, ASampleWithoutAPictureGivesNoSample) {
  ZPRCCUtilities utilities;
  EXPECT_EQ(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(nullptr), nullptr);
  const CMSampleBufferRef captions =
      ZPRCCUtilities::emptyClosedCaption608SampleBufferWithPTS(CMTimeMake(0, 30), {}, 0);
  EXPECT_EQ(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(captions), nullptr);
}

class Line21ExtractionFailureTest : public ::testing::TestWithParam<testing::FailureCase> {};

TEST_P(Line21ExtractionFailureTest, GivesNoSample) {
  const testing::FailureCase& failure = GetParam();
  testing::FaultInjectingCoreVideo video;
  testing::FaultInjectingCoreMedia media;
  failure.inject(video, media);
  ZPRCCUtilities utilities(video, media);
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 4);
  LogCapture log;
  EXPECT_EQ(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                videoSample(frame.pixels, &kFrameTiming)),
            nullptr);
  EXPECT_EQ(log.lines(), failure.log);
  EXPECT_EQ(frame.pixels->lockCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, Line21ExtractionFailureTest,
    ::testing::Values(
        testing::FailureCase{"NoFormatDescription", "CMFormatDescriptionCreate", true, {}},
        testing::FailureCase{"NoLinesBuffer", "CVPixelBufferCreate", false, {}},
        testing::FailureCase{"NoSession",
                             "VTPixelTransferSessionCreate",
                             false,
                             {"CEA608:VTPixelTransferSessionCreate Error: -6660"}},
        testing::FailureCase{"NoFrameLock", "CVPixelBufferLockBaseAddress", false, {}},
        testing::FailureCase{"NoWrapper", "CVPixelBufferCreateWithBytes", false, {}},
        testing::FailureCase{"NoTransfer",
                             "VTPixelTransferSessionTransferImage",
                             false,
                             {"CEA608:VTPixelTransferSessionTransferImage Error: -6660"}},
        testing::FailureCase{"NoBlock", "CMBlockBufferCreateWithMemoryBlock", true, {}},
        testing::FailureCase{"NoSampleBuffer",
                             "CMSampleBufferCreate",
                             true,
                             {"CEA608:CMSampleBufferCreate Error: -12345"}}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(Line21ExtractionTest, ALinesBufferWithoutThreeRowsIsNotReadPastItsEnd) {
  testing::FaultInjectingCoreVideo video;
  video.createdHeight = 2;
  ZPRCCUtilities utilities(video);
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 3);
  LogCapture log;
  EXPECT_EQ(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                videoSample(frame.pixels, nullptr)),
            nullptr);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"CEA608: a lines buffer of 5760 bytes does not "
                                                  "hold three rows of 2880 bytes"});
}

TEST(Line21ExtractionTest, OneInstanceServesFramesOfChangingWidths) {
  ZPRCCUtilities utilities;
  for (size_t width : {720u, 1920u, 1280u, 720u, 3840u}) {
    TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr10, width, 3);
    utilities.overlayCEA608FromBlockBuffer(captionBlock({0x97, 0xA1}), frame.pixels);
    EXPECT_EQ(sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
                  videoSample(frame.pixels, nullptr))),
              (Bytes{0x97, 0xA1, 0x80, 0x00}))
        << width;
    EXPECT_EQ(CVPixelBufferGetWidth(utilities.cea608LinesPixelBuffer()), width);
  }
}

}  // namespace
}  // namespace premoov
