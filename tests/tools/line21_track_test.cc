#include "premoov/line21_track.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <vector>

#include "media/fault_injecting_core_media.h"
#include "media/fault_injecting_core_video.h"
#include "support/test_files.h"
#include "tools/line21_movie.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Keeps what it is told.
class Recorder final : public Line21FrameVisitor {
 public:
  void beginTrack(const Line21TrackInfo& track) override { tracks.push_back(track); }
  void frame(const Line21TrackInfo&, const Line21Frame& frame) override { frames.push_back(frame); }
  std::vector<Line21TrackInfo> tracks;
  std::vector<Line21Frame> frames;
};

class Line21TrackTest : public ::testing::Test {
 protected:
  TempFile movie_{"line21-track.mov"};
  Recorder recorder_;
};

TEST(OddParityTest, SetsTheTopBitExactlyWhenTheCodeHasAnEvenNumberOfOnes) {
  EXPECT_EQ(withOddParity(0x00), 0x80);
  EXPECT_EQ(withOddParity(0x80), 0x80);
  EXPECT_EQ(withOddParity(0x2C), 0x2C);  // three ones
  EXPECT_EQ(withOddParity(0xAC), 0x2C);
  EXPECT_EQ(withOddParity(0x20), 0x20);
  EXPECT_EQ(withOddParity(0xC9), 0x49);
  EXPECT_EQ(withOddParity(0x48), 0xC8);
  EXPECT_EQ(withOddParity(0x7F), 0x7F);
  EXPECT_EQ(withOddParity(0xFF), 0x7F);
  // Every code comes out with odd parity and its low seven bits kept.
  for (int byte = 0; byte < 256; ++byte) {
    const uint8_t out = withOddParity(static_cast<uint8_t>(byte));
    EXPECT_EQ(std::popcount(out) % 2, 1) << byte;
    EXPECT_EQ(out & 0x7F, byte & 0x7F) << byte;
  }
}

TEST_F(Line21TrackTest, DescribesTheTrackAndTimesEachFrame) {
  testing::Line21Movie{
      .format = FourCC("v210"), .width = 1920, .pairs = {{0x94, 0x2C}, {0xC8, 0x49}}}
      .write(movie_.path());
  auto summary = readLine21Frames(movie_.path(), recorder_);
  ASSERT_TRUE(summary) << summary.error();
  EXPECT_EQ(summary->trackID, 1u);
  EXPECT_EQ(summary->framesRead, 2u);
  EXPECT_THAT(summary->problems, IsEmpty());
  ASSERT_EQ(recorder_.tracks.size(), 1u);
  const Line21TrackInfo& track = recorder_.tracks[0];
  EXPECT_EQ(track.format, FourCC("v210"));
  EXPECT_EQ(track.width, 1920);
  EXPECT_EQ(track.height, 5);
  EXPECT_EQ(track.bytesPerRow, 40u * 128);  // 1920 pixels are 40 groups of 48
  EXPECT_EQ(track.timeScale, 30000u);
  EXPECT_EQ(track.sampleCount, 2u);
  ASSERT_EQ(recorder_.frames.size(), 2u);
  EXPECT_EQ(recorder_.frames[1].time, 1001u);
  EXPECT_EQ(recorder_.frames[1].duration, 1001u);
  EXPECT_EQ(recorder_.frames[1].offset - recorder_.frames[0].offset, 40u * 128 * 5);
  EXPECT_EQ(recorder_.frames[0].sample, (Line21Sample{0x94, 0xAC, 0x80, 0x00}));
  EXPECT_EQ(recorder_.frames[1].sample, (Line21Sample{0xC8, 0xC9, 0x80, 0x00}));
}

// Each frame is extracted by one instance, through the calls it is given.
TEST_F(Line21TrackTest, UsesOneExtractionInstanceForAllFrames) {
  testing::Line21Movie{.pairs = {{0x94, 0x2C}, {0x94, 0x2C}, {0x94, 0x2C}}}.write(movie_.path());
  testing::FaultInjectingCoreVideo video;
  testing::FaultInjectingCoreMedia media;
  auto summary = readLine21Frames(movie_.path(), recorder_, {}, video, media);
  ASSERT_TRUE(summary) << summary.error();
  EXPECT_EQ(summary->framesWithErrors, 0u);
  EXPECT_EQ(video.calls.count("VTPixelTransferSessionCreate"), 1u);
  EXPECT_EQ(video.calls.count("CVPixelBufferCreate"), 1u);  // the lines buffer, made once
  EXPECT_EQ(video.calls.count("VTPixelTransferSessionTransferImage"), 3u);
}

class Line21TrackFaultTest : public Line21TrackTest,
                             public ::testing::WithParamInterface<const char*> {};

TEST_P(Line21TrackFaultTest, NamesAFrameWhoseSampleCannotBeMade) {
  testing::Line21Movie{.pairs = {{0x94, 0x2C}, {0x94, 0x2F}}}.write(movie_.path());
  testing::FaultInjectingCoreVideo video;
  testing::FaultInjectingCoreMedia media;
  video.failing.insert(GetParam());
  media.failing.insert(GetParam());
  LogCapture log;  // the extraction logs some of these failures; the frame names them all
  auto summary = readLine21Frames(movie_.path(), recorder_, {}, video, media);
  ASSERT_TRUE(summary) << summary.error();
  EXPECT_EQ(summary->framesRead, 2u);
  EXPECT_EQ(summary->framesWithErrors, 2u);
  ASSERT_EQ(recorder_.frames.size(), 2u);
  for (const Line21Frame& frame : recorder_.frames) {
    EXPECT_FALSE(frame.sample);
    EXPECT_EQ(frame.unreadable, "line-21 extraction made no caption sample of its rows");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Calls, Line21TrackFaultTest,
    ::testing::Values("CVPixelBufferCreateWithBytes", "CVPixelBufferCreate",
                      "VTPixelTransferSessionTransferImage", "CMFormatDescriptionCreate",
                      "CMSampleBufferCreateReadyWithImageBuffer", "CMSampleBufferCreate"),
    [](const ::testing::TestParamInfo<const char*>& call) { return std::string(call.param); });

TEST_F(Line21TrackTest, FailsWithoutAMovie) {
  auto summary = readLine21Frames(movie_.path() + ".absent", recorder_);
  ASSERT_FALSE(summary);
  EXPECT_THAT(summary.error(), ::testing::HasSubstr(movie_.path() + ".absent"));
  EXPECT_THAT(recorder_.tracks, IsEmpty());
}

TEST_F(Line21TrackTest, NamesEveryVideoTrackItPassedOver) {
  testing::Line21Movie movie{.format = FourCC("apcn"), .pairs = {{0x80, 0x80}}, .sampleSize = 10};
  movie.tracksBefore = {{.trackID = 2, .handler = FourCC("vide"), .format = FourCC("avc1")},
                        {.trackID = 3, .handler = FourCC("vide"), .withStsd = false}};
  movie.write(movie_.path());
  auto summary = readLine21Frames(movie_.path(), recorder_);
  ASSERT_FALSE(summary);
  EXPECT_EQ(summary.error(), movie_.path() +
                                 ": no video track of '2vuy', 'v210' or 'yuvs' frames to read "
                                 "line 21 from; track 2 holds 'avc1', track 3 holds no sample "
                                 "description, track 1 holds 'apcn'");
}

TEST_F(Line21TrackTest, NamesATrackWithoutDimensions) {
  testing::Line21Movie movie{.pairs = {{0x80, 0x80}}};
  // A '2vuy' track whose description stops after its data reference index comes first.
  movie.tracksBefore = {{.trackID = 9, .handler = FourCC("vide"), .format = FourCC("2vuy")}};
  movie.write(movie_.path());
  auto summary = readLine21Frames(movie_.path(), recorder_);
  ASSERT_FALSE(summary);
  EXPECT_EQ(summary.error(),
            movie_.path() + ": track 9: no video sample description with a width and height");
}

}  // namespace
}  // namespace premoov
