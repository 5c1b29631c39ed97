#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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
using testing::TestFrame;

// The grey level of every pixel of a 'BGRA' run (blue, green and red must agree, alpha opaque).
std::vector<uint8_t> greyLevels(const uint8_t* bytes, size_t pixels) {
  std::vector<uint8_t> levels;
  for (size_t x = 0; x < pixels; ++x) {
    const uint8_t* p = bytes + 4 * x;
    EXPECT_TRUE(p[0] == p[1] && p[1] == p[2] && p[3] == 0xFF) << "pixel " << x;
    levels.push_back(p[0]);
  }
  return levels;
}

TEST(Line21OverlayTest, TheRunInIsBlackSevenClockCyclesAndTheStartBits) {
  const std::vector<uint8_t> runIn = ZPRCCUtilities::generateCEA608RunIn();
  ASSERT_EQ(runIn.size(), 1096u);
  const std::vector<uint8_t> levels = greyLevels(runIn.data(), 274);
  // The run-in is a line's first 274 pixels, whatever the line carries.
  EXPECT_EQ(levels, lineLevels(0, 0, 274));
  EXPECT_EQ(levels[13], 63);   // each cycle starts at the mid level
  EXPECT_EQ(levels[19], 126);  // and rises to the top
  EXPECT_EQ(levels[33], 0);    // then falls to black
  // Deliberately 46 pixels of black and 26 of high for the start bits.
  EXPECT_EQ(std::vector<uint8_t>(levels.begin() + 202, levels.begin() + 248),
            std::vector<uint8_t>(46, 0));
  EXPECT_EQ(std::vector<uint8_t>(levels.begin() + 248, levels.end()),
            std::vector<uint8_t>(26, 0x7F));
}

TEST(Line21OverlayTest, ABitIsTwentySevenPixelsHighForAnyNonzeroValue) {
  for (int8_t value : {int8_t{1}, int8_t{-1}, int8_t{0x7F}}) {
    const std::vector<uint8_t> bit = ZPRCCUtilities::generateCEA608BitWithValue(value);
    ASSERT_EQ(bit.size(), 108u);
    EXPECT_EQ(greyLevels(bit.data(), 27), std::vector<uint8_t>(27, 0x7F));
  }
  const std::vector<uint8_t> zero = ZPRCCUtilities::generateCEA608BitWithValue(0);
  ASSERT_EQ(zero.size(), 108u);
  EXPECT_EQ(greyLevels(zero.data(), 27), std::vector<uint8_t>(27, 0));
}

TEST(Line21OverlayTest, A720PixelFrameGetsTheWaveformAndFourteenBlackPixels) {
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 5);
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), frame.pixels);
  EXPECT_EQ(greyLevels(frame.row(0), 720), std::vector<uint8_t>(720, 0));
  EXPECT_EQ(greyLevels(frame.row(1), 720), lineLevels(0x94, 0x2C, 720));
  EXPECT_EQ(greyLevels(frame.row(2), 720), lineLevels(0x80, 0x80, 720));
  const std::vector<uint8_t> tail = greyLevels(frame.row(1) + 4 * 706, 14);
  EXPECT_EQ(tail, std::vector<uint8_t>(14, 0));
  for (size_t row = 3; row < 5; ++row) {
    for (size_t i = 0; i < frame.bytesPerRow; ++i) ASSERT_EQ(frame.row(row)[i], 0x5A) << row;
  }
  EXPECT_EQ(frame.pixels->lockCount(), 0);
  EXPECT_EQ(utilities.cea608LinesPixelBuffer()->lockCount(), 0);
}

TEST(Line21OverlayTest, ByteNinetyFourIsSentLeastSignificantBitFirst) {
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 3);
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x00}), frame.pixels);
  const std::vector<uint8_t> levels = greyLevels(frame.row(1), 720);
  const std::vector<int> expectedBits{0, 0, 1, 0, 1, 0, 0, 1};
  for (size_t k = 0; k < 8; ++k) {
    for (size_t x = 274 + 27 * k; x < 274 + 27 * (k + 1); ++x) {
      ASSERT_EQ(levels[x], expectedBits[k] ? 0x7F : 0) << "bit " << k << " pixel " << x;
    }
  }
}

TEST(Line21OverlayTest, BytesAreDrawnAsGivenWithoutAddingParity) {
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 3);
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x14, 0x2C, 0x99}), frame.pixels);
  EXPECT_EQ(greyLevels(frame.row(1), 720), lineLevels(0x14, 0x2C, 720));
}

class Line21OverlayFormatTest : public ::testing::TestWithParam<FourCC> {};

TEST_P(Line21OverlayFormatTest, TheRowsCarryTheLevelsInTheFramesOwnFormat) {
  const FourCC format = GetParam();
  TestFrame frame = makeFrame(format, 720, 6, 0x5A, 64);
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), frame.pixels);
  const std::vector<std::vector<uint8_t>> lines{
      std::vector<uint8_t>(720, 0), lineLevels(0x94, 0x2C, 720), lineLevels(0x80, 0x80, 720)};
  for (size_t row = 0; row < 3; ++row) {
    const testing::RowCodes codes = testing::rowCodes(format, frame.row(row), 720);
    for (size_t x = 0; x < 720; ++x) {
      ASSERT_EQ(codes.luma[x], testing::expectedLuma(format, lines[row][x]))
          << "row " << row << " pixel " << x;
      ASSERT_EQ(codes.chroma[x], testing::expectedChroma(format)) << "row " << row << " " << x;
    }
    // The row's padding is not the picture's: the transfer leaves it alone.
    for (size_t i = frame.bytesPerRow - 64; i < frame.bytesPerRow; ++i) {
      ASSERT_EQ(frame.row(row)[i], 0x5A) << "row " << row << " byte " << i;
    }
  }
  for (size_t row = 3; row < 6; ++row) {
    for (size_t i = 0; i < frame.bytesPerRow; ++i) ASSERT_EQ(frame.row(row)[i], 0x5A) << row;
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, Line21OverlayFormatTest,
                         ::testing::Values(kCVPixelFormatType_32BGRA, kCVPixelFormatType_422YpCbCr8,
                                           kCVPixelFormatType_422YpCbCr8_yuvs,
                                           kCVPixelFormatType_422YpCbCr10),
                         [](const auto& p) { return testing::formatName(p.param); });

TEST(Line21OverlayTest, ABlockOfOneByteLeavesTheFrameUnchanged) {
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 3);
  const std::vector<uint8_t> before = frame.memory;
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94}), frame.pixels);
  EXPECT_EQ(frame.memory, before);
  utilities.overlayCEA608FromBlockBuffer(nullptr, frame.pixels);
  EXPECT_EQ(frame.memory, before);
}

TEST(Line21OverlayTest, RowsNoLongerThanTheRunInLeaveTheFrameUnchanged) {
  // 274 'BGRA' pixels are 1096 bytes: exactly the run-in, so nothing is drawn.
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 274, 3);
  const std::vector<uint8_t> before = frame.memory;
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), frame.pixels);
  EXPECT_EQ(frame.memory, before);
  TestFrame narrower = makeFrame(kCVPixelFormatType_422YpCbCr8, 100, 3);
  const std::vector<uint8_t> narrowerBefore = narrower.memory;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), narrower.pixels);
  EXPECT_EQ(narrower.memory, narrowerBefore);
}

TEST(Line21OverlayTest, ALineLongerThanItsRowIsClippedAtTheRowEnd) {
  for (size_t width : {275u, 400u, 705u}) {
    TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, width, 3);
    ZPRCCUtilities utilities;
    utilities.overlayCEA608FromBlockBuffer(captionBlock({0xFF, 0xFF}), frame.pixels);
    EXPECT_EQ(greyLevels(frame.row(1), width), lineLevels(0xFF, 0xFF, width)) << width;
    EXPECT_EQ(greyLevels(frame.row(2), width), lineLevels(0x80, 0x80, width)) << width;
  }
}

TEST(Line21OverlayTest, ANewWidthMakesTheLinesBufferAnewAndKeepsTheSession) {
  ZPRCCUtilities utilities;
  EXPECT_EQ(utilities.cea608LinesPixelBuffer(), nullptr);
  EXPECT_EQ(utilities.transferSession(), nullptr);
  TestFrame sd = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 3);
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), sd.pixels);
  const CVPixelBufferRef first = utilities.cea608LinesPixelBuffer();
  const VTPixelTransferSessionRef session = utilities.transferSession();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(session, nullptr);
  EXPECT_EQ(CVPixelBufferGetWidth(first), 720u);
  EXPECT_EQ(CVPixelBufferGetHeight(first), 3u);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(first), kCVPixelFormatType_32BGRA);

  TestFrame hd = makeFrame(kCVPixelFormatType_422YpCbCr10, 1920, 3);
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), hd.pixels);
  EXPECT_NE(utilities.cea608LinesPixelBuffer(), first);
  EXPECT_EQ(CVPixelBufferGetWidth(utilities.cea608LinesPixelBuffer()), 1920u);
  EXPECT_EQ(utilities.cea608PixelBufferWidth(), 1920.0f);
  EXPECT_EQ(utilities.transferSession(), session);

  const CVPixelBufferRef second = utilities.cea608LinesPixelBuffer();
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), hd.pixels);
  EXPECT_EQ(utilities.cea608LinesPixelBuffer(), second);
}

TEST(Line21OverlayTest, ANaNWidthAlwaysCountsAsAChange) {
  testing::FaultInjectingCoreVideo video;
  ZPRCCUtilities utilities(video);
  utilities.updateCEA608PixelTransferSessionAndPixelBufferWithWidth(720);
  ASSERT_NE(utilities.cea608LinesPixelBuffer(), nullptr);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  utilities.updateCEA608PixelTransferSessionAndPixelBufferWithWidth(nan);
  EXPECT_EQ(utilities.cea608LinesPixelBuffer(), nullptr);  // no picture of no width
  EXPECT_TRUE(std::isnan(utilities.cea608PixelBufferWidth()));
  const size_t creations = video.calls.count("CVPixelBufferCreate");
  utilities.updateCEA608PixelTransferSessionAndPixelBufferWithWidth(nan);
  EXPECT_EQ(video.calls.count("CVPixelBufferCreate"), creations + 1);
  EXPECT_EQ(video.calls.count("VTPixelTransferSessionCreate"), 1u);
}

TEST(Line21OverlayTest, TheSameWidthWithoutABufferTriesToMakeItAgain) {
  testing::FaultInjectingCoreVideo video;
  video.failing = {"CVPixelBufferCreate"};
  ZPRCCUtilities utilities(video);
  utilities.updateCEA608PixelTransferSessionAndPixelBufferWithWidth(720);
  EXPECT_EQ(utilities.cea608LinesPixelBuffer(), nullptr);
  video.failing.clear();
  utilities.updateCEA608PixelTransferSessionAndPixelBufferWithWidth(720);
  EXPECT_NE(utilities.cea608LinesPixelBuffer(), nullptr);
  EXPECT_EQ(video.calls.count("CVPixelBufferCreate"), 2u);
}

// Each call that can fail, failing, leaves the frame as it was; only a session that cannot be
// made is logged.
class Line21OverlayFailureTest : public ::testing::TestWithParam<testing::FailureCase> {};

TEST_P(Line21OverlayFailureTest, LeavesTheFrameUnchanged) {
  const testing::FailureCase& failure = GetParam();
  testing::FaultInjectingCoreVideo video;
  testing::FaultInjectingCoreMedia media;
  failure.inject(video, media);
  ZPRCCUtilities utilities(video, media);
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 4);
  const std::vector<uint8_t> before = frame.memory;
  LogCapture log;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), frame.pixels);
  EXPECT_EQ(frame.memory, before);
  EXPECT_EQ(log.lines(), failure.log);
  EXPECT_EQ(frame.pixels->lockCount(), 0);
  if (utilities.cea608LinesPixelBuffer()) {
    EXPECT_EQ(utilities.cea608LinesPixelBuffer()->lockCount(), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Calls, Line21OverlayFailureTest,
    ::testing::Values(
        testing::FailureCase{"NoDataPointer", "CMBlockBufferGetDataPointer", true, {}},
        testing::FailureCase{"NoLinesBuffer", "CVPixelBufferCreate", false, {}},
        testing::FailureCase{"NoSession",
                             "VTPixelTransferSessionCreate",
                             false,
                             {"CEA608:VTPixelTransferSessionCreate Error: -6660"}},
        testing::FailureCase{"NoLock", "CVPixelBufferLockBaseAddress", false, {}},
        testing::FailureCase{"NoWrapper", "CVPixelBufferCreateWithBytes", false, {}},
        testing::FailureCase{"NoTransfer", "VTPixelTransferSessionTransferImage", false, {}}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(Line21OverlayTest, ASessionThatCouldNotBeMadeIsTriedAgainOnTheNextFrame) {
  testing::FaultInjectingCoreVideo video;
  video.failing = {"VTPixelTransferSessionCreate"};
  ZPRCCUtilities utilities(video);
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 3);
  LogCapture log;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), frame.pixels);
  video.failing.clear();
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), frame.pixels);
  EXPECT_EQ(greyLevels(frame.row(1), 720), lineLevels(0x94, 0x2C, 720));
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST(Line21OverlayTest, ALinesBufferWithoutRoomForThreeRowsDrawsNothing) {
  testing::FaultInjectingCoreVideo video;
  video.createdHeight = 2;
  ZPRCCUtilities utilities(video);
  TestFrame frame = makeFrame(kCVPixelFormatType_32BGRA, 720, 3);
  const std::vector<uint8_t> before = frame.memory;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), frame.pixels);
  EXPECT_EQ(frame.memory, before);
  EXPECT_EQ(video.calls.count("VTPixelTransferSessionTransferImage"), 0u);
}

TEST(Line21OverlayTest, AFrameOfFewerThanThreeRowsIsLeftAloneAndLogged) {
  TestFrame frame = makeFrame(kCVPixelFormatType_422YpCbCr8, 720, 2);
  const std::vector<uint8_t> before = frame.memory;
  ZPRCCUtilities utilities;
  LogCapture log;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), frame.pixels);
  EXPECT_EQ(frame.memory, before);
  EXPECT_EQ(log.lines(), std::vector<std::string>{
                             "CEA608: a frame of 2 rows has no room for the three line-21 rows"});
  EXPECT_EQ(frame.pixels->lockCount(), 0);
}

TEST(Line21OverlayTest, AFrameOfAFormatThatCannotBeConvertedIsLeftAlone) {
  std::vector<uint8_t> memory(4096 * 3, 0x11);
  auto pixels = std::make_shared<CVPixelBuffer>(FourCC("apch"), 720, 3, 4096, memory.data());
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(captionBlock({0x94, 0x2C}), pixels);
  for (uint8_t byte : memory) ASSERT_EQ(byte, 0x11);
}

}  // namespace
}  // namespace premoov
