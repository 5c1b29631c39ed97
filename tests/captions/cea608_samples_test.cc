// "c608" samples and their conversion to the "c708" form caption tracks are written in.

#include <gtest/gtest.h>

#include <vector>

#include "captions/caption_sample.h"
#include "captions/cc_utilities.h"
#include "captions/sample_bytes.h"
#include "media/fault_injecting_core_media.h"

namespace premoov {
namespace {

const CMTime kNtsc = CMTimeMake(1001, 30000);
const CMTime kPts = CMTimeMake(6006, 30000);

using testing::bytesOf;

// A "c608" sample holding `bytes`, made as the builders make theirs.
CMSampleBufferRef c608Sample(const std::vector<uint8_t>& bytes) {
  CMSampleBufferRef sample = captionSample(bytes, FourCC("c608"), kPts, kNtsc, defaultCoreMedia());
  EXPECT_NE(sample, nullptr);
  return sample;
}

std::vector<uint8_t> firstTriplet(const CMSampleBufferRef& c708) {
  const auto bytes = bytesOf(c708);
  return {bytes.at(17), bytes.at(18), bytes.at(19)};
}

TEST(Cea608SamplesTest, AnEmptySampleIsTheNullPairAlone) {
  const auto sample = ZPRCCUtilities::emptyClosedCaption608SampleBufferWithPTS(kPts, kNtsc, 9);
  ASSERT_NE(sample, nullptr);
  EXPECT_EQ(bytesOf(sample), (std::vector<uint8_t>{0x80, 0x80}));
  EXPECT_EQ(CMSampleBufferGetTotalSampleSize(sample), 2u);
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(CMSampleBufferGetFormatDescription(sample)),
            FourCC("c608"));
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(sample), kPts);
  EXPECT_EQ(CMSampleBufferGetFirstSampleDuration(sample), kNtsc);
}

TEST(Cea608SamplesTest, AnEmptySampleThatCannotBeMadeIsNothing) {
  for (const char* call : {"CMBlockBufferCreateWithMemoryBlock", "CMBlockBufferGetDataPointer",
                           "CMFormatDescriptionCreate", "CMSampleBufferCreate"}) {
    testing::FaultInjectingCoreMedia media;
    media.failing = {call};
    EXPECT_EQ(ZPRCCUtilities::emptyClosedCaption608SampleBufferWithPTS(kPts, kNtsc, 0, media),
              nullptr)
        << call;
  }
}

TEST(Cea608SamplesTest, APairInACdatAtomBecomesTheFirstTripletOfAPacket) {
  const auto c608 = c608Sample({0, 0, 0, 10, 'c', 'd', 'a', 't', 0x94, 0x2C});
  const auto c708 = ZPRCCUtilities::conformSampleBufferToCEA708(c608, kNtsc);
  ASSERT_NE(c708, nullptr);
  EXPECT_NE(c708, c608);
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(CMSampleBufferGetFormatDescription(c708)),
            FourCC("c708"));
  EXPECT_EQ(firstTriplet(c708), (std::vector<uint8_t>{0xFC, 0x94, 0x2C}));
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(c708), kPts);
  EXPECT_EQ(CMSampleBufferGetTotalSampleSize(c708), 97u);
}

TEST(Cea608SamplesTest, ARawNullPairIsCarriedAsAValidTriplet) {
  const auto c708 = ZPRCCUtilities::conformSampleBufferToCEA708(c608Sample({0x80, 0x80}), kNtsc);
  EXPECT_EQ(firstTriplet(c708), (std::vector<uint8_t>{0xFC, 0x80, 0x80}));
}

TEST(Cea608SamplesTest, ACdatHeaderWithoutAPairIsReadFromTheStart) {
  const auto c708 = ZPRCCUtilities::conformSampleBufferToCEA708(
      c608Sample({1, 2, 3, 8, 'c', 'd', 'a', 't'}), kNtsc);
  EXPECT_EQ(firstTriplet(c708), (std::vector<uint8_t>{0xFC, 1, 2}));
}

TEST(Cea608SamplesTest, MissingPairBytesReadAsTheNullByte) {
  EXPECT_EQ(firstTriplet(ZPRCCUtilities::conformSampleBufferToCEA708(c608Sample({0x94}), kNtsc)),
            (std::vector<uint8_t>{0xFC, 0x94, 0x80}));
  EXPECT_EQ(firstTriplet(ZPRCCUtilities::conformSampleBufferToCEA708(c608Sample({}), kNtsc)),
            (std::vector<uint8_t>{0xFC, 0x80, 0x80}));
  EXPECT_EQ(firstTriplet(ZPRCCUtilities::conformSampleBufferToCEA708(
                c608Sample({0, 0, 0, 9, 'c', 'd', 'a', 't', 0x94}), kNtsc)),
            (std::vector<uint8_t>{0xFC, 0x94, 0x80}));
}

TEST(Cea608SamplesTest, OnlyTheFirstPairOfACdatAtomIsCarriedOver) {
  const auto c708 = ZPRCCUtilities::conformSampleBufferToCEA708(
      c608Sample({0, 0, 0, 12, 'c', 'd', 'a', 't', 0x94, 0x2C, 0x94, 0x2F}), kNtsc);
  const auto bytes = bytesOf(c708);
  EXPECT_EQ(firstTriplet(c708), (std::vector<uint8_t>{0xFC, 0x94, 0x2C}));
  EXPECT_EQ((std::vector<uint8_t>(bytes.begin() + 20, bytes.begin() + 23)),
            (std::vector<uint8_t>{0xF9, 0x80, 0x80}));
}

TEST(Cea608SamplesTest, AC708SampleComesBackAsTheVerySameObject) {
  const auto c708 = ZPRCCUtilities::emptyClosedCaption708SampleBufferWithPTS(kPts, kNtsc, 0);
  const long before = c708.use_count();
  const auto conformed = ZPRCCUtilities::conformSampleBufferToCEA708(c708, kNtsc);
  EXPECT_EQ(conformed, c708);
  EXPECT_EQ(c708.use_count(), before + 1);  // only the reference answered
}

TEST(Cea608SamplesTest, ConformingTo608AnswersAnySampleAsItIs) {
  const auto c708 = ZPRCCUtilities::emptyClosedCaption708SampleBufferWithPTS(kPts, kNtsc, 0);
  EXPECT_EQ(ZPRCCUtilities::conformSampleBufferToCEA608(c708, kNtsc), c708);
  const auto c608 = c608Sample({0x80, 0x80});
  EXPECT_EQ(ZPRCCUtilities::conformSampleBufferToCEA608(c608, kNtsc), c608);
  EXPECT_EQ(ZPRCCUtilities::conformSampleBufferToCEA708(nullptr, kNtsc), nullptr);
}

TEST(Cea608SamplesTest, AConversionThatCannotBeMadeIsNothing) {
  testing::FaultInjectingCoreMedia media;
  media.failing = {"CMFormatDescriptionCreate"};
  EXPECT_EQ(ZPRCCUtilities::conformSampleBufferToCEA708(c608Sample({0x80, 0x80}), kNtsc, media),
            nullptr);
}

}  // namespace
}  // namespace premoov
