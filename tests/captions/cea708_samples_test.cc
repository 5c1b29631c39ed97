// The "c708" caption sample builders: their packets, counters and failure paths.

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "base/log.h"
#include "captions/cc_utilities.h"
#include "captions/sample_bytes.h"
#include "media/fault_injecting_core_media.h"

namespace premoov {
namespace {

const CMTime kNtsc = CMTimeMake(1001, 30000);
const CMTime kPts = CMTimeMake(3003, 30000);

using testing::bytesOf;

uint16_t headerSequence(const std::vector<uint8_t>& s) {
  return static_cast<uint16_t>(s.at(13) << 8 | s.at(14));
}
uint16_t footerSequence(const std::vector<uint8_t>& s) {
  return static_cast<uint16_t>(s.at(s.size() - 3) << 8 | s.at(s.size() - 2));
}

class Cea708SamplesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gSequenceCounter = 0;
    gCEA708PacketCounter = 0;
  }
};

TEST_F(Cea708SamplesTest, APairAt2997IsA97ByteC708SampleTimedAtItsFrame) {
  const CEA608Pair pair{0x94, 0x2C};
  const CMSampleBufferRef sample =
      ZPRCCUtilities::closedCaption708SampleBufferWithPTS(kPts, kNtsc, 999, &pair);
  ASSERT_NE(sample, nullptr);
  const auto format = CMSampleBufferGetFormatDescription(sample);
  EXPECT_EQ(CMFormatDescriptionGetMediaType(format), FourCC("clcp"));
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(format), FourCC("c708"));
  EXPECT_EQ(CMSampleBufferGetNumSamples(sample), 1);
  EXPECT_EQ(CMSampleBufferGetTotalSampleSize(sample), 97u);
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(sample), kPts);
  EXPECT_EQ(CMSampleBufferGetFirstSampleDuration(sample), kNtsc);
  EXPECT_EQ(CMSampleBufferGetDecodeTimeStamp(sample), kCMTimeInvalid);
  const auto bytes = bytesOf(sample);
  ASSERT_EQ(bytes.size(), 97u);
  EXPECT_EQ(bytes[3], 97);
  EXPECT_EQ(bytes[10], 0x59);
  EXPECT_EQ(bytes[11], 0x4F);
  EXPECT_EQ(bytes[16], 0xF4);
  EXPECT_EQ((std::vector<uint8_t>(bytes.begin() + 17, bytes.begin() + 20)),
            (std::vector<uint8_t>{0xFC, 0x94, 0x2C}));
}

TEST_F(Cea708SamplesTest, RegularPacketsAreNumberedByTheProcessNotByTheirArgument) {
  const auto first =
      bytesOf(ZPRCCUtilities::emptyClosedCaption708SampleBufferWithPTS(kPts, kNtsc, 500));
  const auto second =
      bytesOf(ZPRCCUtilities::emptyClosedCaption708SampleBufferWithPTS(kPts, kNtsc, 500));
  EXPECT_EQ(headerSequence(first), 0);
  EXPECT_EQ(headerSequence(second), 1);
  EXPECT_EQ(footerSequence(second), 1);
  EXPECT_EQ(gSequenceCounter.load(), 2);
  EXPECT_EQ((std::vector<uint8_t>(first.begin() + 17, first.begin() + 20)),
            (std::vector<uint8_t>{0xF8, 0x80, 0x80}));
}

TEST_F(Cea708SamplesTest, TheSixteenBitSequenceWrapsWhileTheCounterGoesOn) {
  gSequenceCounter = 65535;
  const auto last =
      bytesOf(ZPRCCUtilities::emptyClosedCaption708SampleBufferWithPTS(kPts, kNtsc, 0));
  const auto wrapped =
      bytesOf(ZPRCCUtilities::emptyClosedCaption708SampleBufferWithPTS(kPts, kNtsc, 0));
  EXPECT_EQ(headerSequence(last), 65535);
  EXPECT_EQ(headerSequence(wrapped), 0);
  EXPECT_EQ(gSequenceCounter.load(), 65537);
}

TEST_F(Cea708SamplesTest, AFailedSampleStillUsesItsNumber) {
  for (const char* call : {"CMBlockBufferCreateWithMemoryBlock", "CMBlockBufferGetDataPointer",
                           "CMFormatDescriptionCreate", "CMSampleBufferCreate"}) {
    SCOPED_TRACE(call);
    testing::FaultInjectingCoreMedia media;
    media.failing = {call};
    const int32_t before = gSequenceCounter.load();
    EXPECT_EQ(ZPRCCUtilities::closedCaption708SampleBufferWithPTS(kPts, kNtsc, 0, nullptr, media),
              nullptr);
    EXPECT_EQ(gSequenceCounter.load(), before + 1);
  }
}

TEST_F(Cea708SamplesTest, A53DataOfSixtyBytesIsCopiedAndAnyOtherLengthLeavesZeros) {
  std::vector<uint8_t> a53(60);
  std::iota(a53.begin(), a53.end(), uint8_t{1});
  const auto copied =
      bytesOf(ZPRCCUtilities::closedCaption708SampleBufferWithPTS(kPts, kNtsc, 0, a53));
  EXPECT_EQ((std::vector<uint8_t>(copied.begin() + 17, copied.begin() + 77)), a53);
  for (size_t length : {size_t{0}, size_t{59}, size_t{61}}) {
    std::vector<uint8_t> other(length, 0xAB);
    const auto zeros =
        bytesOf(ZPRCCUtilities::closedCaption708SampleBufferWithPTS(kPts, kNtsc, 0, other));
    EXPECT_EQ((std::vector<uint8_t>(zeros.begin() + 17, zeros.begin() + 77)),
              std::vector<uint8_t>(60, 0))
        << length;
  }
}

TEST_F(Cea708SamplesTest, A53DataWritesOnlyWhatFitsTheSection) {
  std::vector<uint8_t> a53(60, 0x11);
  // 59.94 frames a second: 10 triplets, the 60 bytes reach 30 past them.
  const auto at5994 = bytesOf(
      ZPRCCUtilities::closedCaption708SampleBufferWithPTS(kPts, CMTimeMake(1001, 60000), 0, a53));
  ASSERT_EQ(at5994.size(), 67u);
  EXPECT_EQ(at5994[47], 0x73);  // the service information follows the 10 triplets
  // 25 frames a second: 24 triplets, the last 4 stay zero.
  const auto at25 =
      bytesOf(ZPRCCUtilities::closedCaption708SampleBufferWithPTS(kPts, CMTimeMake(1, 25), 0, a53));
  ASSERT_EQ(at25.size(), 3u * 24 + 37);
  EXPECT_EQ(at25[76], 0x11);
  EXPECT_EQ((std::vector<uint8_t>(at25.begin() + 77, at25.begin() + 89)),
            std::vector<uint8_t>(12, 0));
}

TEST_F(Cea708SamplesTest, A53WithoutAFrameRateMakesNothingAndTakesNoNumber) {
  std::vector<uint8_t> a53(60);
  EXPECT_EQ(ZPRCCUtilities::closedCaption708SampleBufferWithPTS(kPts, CMTimeMake(0, 30000), 0, a53),
            nullptr);
  EXPECT_EQ(gSequenceCounter.load(), 0);
}

TEST_F(Cea708SamplesTest, TheTestBuilderSendsItsScheduleAndCountsEveryCall) {
  LogCapture log;
  gSequenceCounter = 135;
  const auto packet2 =
      bytesOf(ZPRCCUtilities::TESTclosedCaption708SampleBufferWithPTS(kPts, kNtsc, 42, nullptr));
  EXPECT_EQ(headerSequence(packet2), 42);
  EXPECT_EQ(footerSequence(packet2), 42);
  EXPECT_EQ((std::vector<uint8_t>(packet2.begin() + 23, packet2.begin() + 35)),
            (std::vector<uint8_t>{0xFF, 0x44, 0x24, 0xFE, 0x8A, 0xFF, 0xFE, 0x8B, 0x00, 0xFE, 0x00,
                                  0x00}));
  EXPECT_EQ((std::vector<uint8_t>(packet2.begin() + 35, packet2.begin() + 38)),
            (std::vector<uint8_t>{0xFA, 0x00, 0x00}));
  EXPECT_EQ(gCEA708PacketCounter.load(), 3);
  const auto packet3 =
      bytesOf(ZPRCCUtilities::TESTclosedCaption708SampleBufferWithPTS(kPts, kNtsc, 43, nullptr));
  EXPECT_EQ(packet3[23], 0xFF);
  EXPECT_EQ(packet3[24], 0x8C);
  EXPECT_EQ(packet3.size(), 97u);  // 2 + 11 + 1 + 6 padding = 20 triplets
  EXPECT_EQ(packet3[17 + 3 * 13], 0xFA);
  const auto packet4 =
      bytesOf(ZPRCCUtilities::TESTclosedCaption708SampleBufferWithPTS(kPts, kNtsc, 44, nullptr));
  EXPECT_EQ(packet4[24], 0xC7);
  EXPECT_EQ(gCEA708PacketCounter.load(), 0);
  const auto none =
      bytesOf(ZPRCCUtilities::TESTclosedCaption708SampleBufferWithPTS(kPts, kNtsc, 45, nullptr));
  EXPECT_EQ((std::vector<uint8_t>(none.begin() + 23, none.begin() + 26)),
            (std::vector<uint8_t>{0xFA, 0x00, 0x00}));
  EXPECT_EQ(gSequenceCounter.load(), 139);
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"Sending CC Packet 2", "Sending CC Packet 3",
                                                   "Sending CC Packet 4"}));
}

TEST_F(Cea708SamplesTest, AfterPacketSixTheScheduleStaysDone) {
  LogCapture log;
  gSequenceCounter = 250;
  ASSERT_NE(ZPRCCUtilities::TESTclosedCaption708SampleBufferWithPTS(kPts, kNtsc, 0, nullptr),
            nullptr);
  EXPECT_EQ(gCEA708PacketCounter.load(), 7);
  const auto next =
      bytesOf(ZPRCCUtilities::TESTclosedCaption708SampleBufferWithPTS(kPts, kNtsc, 0, nullptr));
  EXPECT_EQ(next[23], 0xFA);
  EXPECT_EQ(gCEA708PacketCounter.load(), 7);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Sending CC Packet 6"});
}

TEST_F(Cea708SamplesTest, AFailedTestSampleIsStillCounted) {
  testing::FaultInjectingCoreMedia media;
  media.failing = {"CMSampleBufferCreate"};
  EXPECT_EQ(ZPRCCUtilities::TESTclosedCaption708SampleBufferWithPTS(kPts, kNtsc, 0, nullptr, media),
            nullptr);
  EXPECT_EQ(gSequenceCounter.load(), 1);
}

}  // namespace
}  // namespace premoov
