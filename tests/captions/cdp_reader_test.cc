#include "captions/cdp_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "captions/cdp_packet.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Code = CaptionSampleProblemCode;

// A packet of 29.97 frames a second (cc_count 20) carrying `pair` on field 1, as the builders
// write it: 97 bytes with the service information section, 81 without.
std::vector<uint8_t> packetBytes(bool slot, const uint8_t* pair = nullptr, uint16_t sequence = 7) {
  std::vector<uint8_t> triplets = cea608Triplets(pair);
  appendPaddingTriplets(triplets, 18);
  const CdpPacket packet{
      .ccCount = 20, .frameRateCode = 4, .sequence = sequence, .ccData = triplets};
  return slot ? ccdpSlotSample(packet) : ccdpSample(packet);
}

std::vector<Code> codesOf(const CaptionSampleContents& contents) {
  std::vector<Code> codes;
  for (const auto& problem : contents.problems) codes.push_back(problem.code);
  return codes;
}

// Makes the cdp of `sample` sum to zero again after a test changed it.
void fixChecksum(std::vector<uint8_t>& sample) {
  const size_t length = sample[10];
  uint8_t sum = 0;
  for (size_t i = 8; i + 1 < 8 + length; ++i) sum = static_cast<uint8_t>(sum + sample[i]);
  sample[8 + length - 1] = static_cast<uint8_t>(-sum);
}

TEST(CdpReaderTest, ReadsEveryFieldOfABuiltPacket) {
  const uint8_t pair[2] = {0x94, 0x2C};
  const auto sample = packetBytes(false, pair, 0x1234);
  ASSERT_EQ(sample.size(), 97u);
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  EXPECT_TRUE(contents.ok());
  EXPECT_THAT(contents.problems, IsEmpty());
  ASSERT_TRUE(contents.cdp);
  const CdpFields& cdp = *contents.cdp;
  EXPECT_EQ(cdp.identifier, 0x9669);
  EXPECT_EQ(cdp.length, 89);
  EXPECT_EQ(cdp.frameRateCode, 4);
  EXPECT_EQ(cdpFrameRateName(cdp.frameRateCode), "29.97");
  EXPECT_FALSE(cdp.timeCodePresent);
  EXPECT_TRUE(cdp.ccdataPresent);
  EXPECT_TRUE(cdp.svcinfoPresent);
  EXPECT_TRUE(cdp.svcInfoStart);
  EXPECT_TRUE(cdp.svcInfoChange);
  EXPECT_TRUE(cdp.svcInfoComplete);
  EXPECT_TRUE(cdp.captionServiceActive);
  EXPECT_EQ(cdp.headerSequence, 0x1234);
  EXPECT_FALSE(cdp.timeCode);
  EXPECT_EQ(cdp.ccCount, 20);
  ASSERT_EQ(cdp.triplets.size(), 20u);
  EXPECT_TRUE(cdp.triplets[0].valid);
  EXPECT_EQ(cdp.triplets[0].type, 0);
  EXPECT_THAT(cdp.triplets[0].data, ElementsAre(0x94, 0x2C));
  EXPECT_FALSE(cdp.triplets[1].valid);
  EXPECT_EQ(cdp.triplets[1].type, 1);
  EXPECT_EQ(cdp.triplets[19].type, 2);
  ASSERT_TRUE(cdp.serviceInfo);
  EXPECT_EQ(cdp.serviceInfo->count, 2);
  ASSERT_EQ(cdp.serviceInfo->services.size(), 2u);
  const auto& line21 = cdp.serviceInfo->services[0];
  EXPECT_EQ(line21.serviceNumber, 0);
  EXPECT_THAT(line21.language, ElementsAre(' ', ' ', ' '));
  EXPECT_FALSE(line21.digital);
  EXPECT_EQ(line21.line21Field, 0);
  const auto& digital = cdp.serviceInfo->services[1];
  EXPECT_EQ(digital.serviceNumber, 1);
  EXPECT_THAT(digital.language, ElementsAre('e', 'n', 'g'));
  EXPECT_TRUE(digital.digital);
  EXPECT_EQ(digital.digitalService, 1);
  EXPECT_FALSE(digital.easyReader);
  EXPECT_FALSE(digital.wideAspectRatio);
  EXPECT_EQ(cdp.footerSequence, 0x1234);
  EXPECT_TRUE(cdp.countersAgree());
  EXPECT_EQ(cdp.checksumHolds, true);

  ASSERT_EQ(contents.pairs.size(), 2u);
  EXPECT_EQ(contents.pairs[0].field, 1);
  EXPECT_TRUE(contents.pairs[0].valid);
  EXPECT_THAT(contents.pairs[0].bytes, ElementsAre(0x94, 0x2C));
  EXPECT_EQ(contents.pairs[1].field, 2);
  EXPECT_FALSE(contents.pairs[1].valid);
}

TEST(CdpReaderTest, ReadsTheSlotSizedPacketWithoutServiceInformation) {
  const auto sample = packetBytes(true);
  ASSERT_EQ(sample.size(), 81u);
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  EXPECT_THAT(codesOf(contents), IsEmpty());
  ASSERT_TRUE(contents.cdp);
  EXPECT_EQ(contents.cdp->length, 73);
  EXPECT_FALSE(contents.cdp->svcinfoPresent);
  EXPECT_FALSE(contents.cdp->serviceInfo);
  EXPECT_EQ(contents.cdp->checksumHolds, true);
  EXPECT_FALSE(contents.pairs[0].valid);
}

TEST(CdpReaderTest, TrustsTheSampleSizeOverTheAtomSize) {
  auto sample = packetBytes(false);
  sample[2] = 0x01;  // 0x161: a size whose low byte alone is right
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  ASSERT_THAT(codesOf(contents), ElementsAre(Code::kAtomSizeDiffers));
  EXPECT_TRUE(contents.ok());
  EXPECT_EQ(contents.problems[0].message(),
            "the 'ccdp' atom size is 353 where the sample holds 97 bytes (the sample size is "
            "used) at offset 0");
  EXPECT_EQ(contents.cdp->checksumHolds, true);
}

TEST(CdpReaderTest, SaysWhereTheChecksumFails) {
  auto sample = packetBytes(false);
  sample[17 + 1] ^= 0x01;  // a byte of the first triplet
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  ASSERT_THAT(codesOf(contents), ElementsAre(Code::kChecksumWrong));
  EXPECT_FALSE(contents.ok());
  EXPECT_EQ(contents.cdp->checksumHolds, false);
  EXPECT_EQ(contents.problems[0].offset, 96u);
  EXPECT_EQ(contents.problems[0].found, 0x01u);
}

TEST(CdpReaderTest, SaysWhenTheCountersDisagree) {
  auto sample = packetBytes(false, nullptr, 5);
  sample[94] = 0x00;
  sample[95] = 0x06;  // footer sequence 6
  fixChecksum(sample);
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  ASSERT_THAT(codesOf(contents), ElementsAre(Code::kCountersDisagree));
  EXPECT_EQ(contents.problems[0].message(),
            "footer sequence counter 6 differs from the header's 5 at offset 94");
  EXPECT_FALSE(contents.cdp->countersAgree());
  EXPECT_EQ(contents.cdp->checksumHolds, true);
}

TEST(CdpReaderTest, StopsAtAWrongIdentifier) {
  auto sample = packetBytes(false);
  sample[9] = 0x68;
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  ASSERT_THAT(codesOf(contents), ElementsAre(Code::kWrongIdentifier));
  EXPECT_EQ(contents.problems[0].message(), "cdp_identifier 0x9668 is not 0x9669 at offset 8");
  EXPECT_FALSE(contents.cdp);
  EXPECT_THAT(contents.pairs, IsEmpty());
}

TEST(CdpReaderTest, ReadsNoFurtherThanTheSampleWhenCdpLengthRunsPastIt) {
  auto sample = packetBytes(false);
  sample.resize(60);  // cut in the middle of the cc_data triplets
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  EXPECT_THAT(codesOf(contents), ElementsAre(Code::kAtomSizeDiffers, Code::kCdpLengthPastSample,
                                             Code::kSectionCutShort, Code::kNoFooter));
  EXPECT_EQ(contents.problems[1].message(),
            "cdp_length 89 runs past the sample, which holds 52 bytes of cdp at offset 10");
  EXPECT_EQ(contents.problems[2].message(),
            "section 0x72 runs past the end of the cdp at offset 15");
  ASSERT_TRUE(contents.cdp);
  EXPECT_FALSE(contents.cdp->checksumHolds);
  EXPECT_EQ(contents.cdp->triplets.size(), 14u);  // (60 - 17) / 3 whole triplets
}

TEST(CdpReaderTest, SaysACdpLengthShorterThanItsSectionsCutsThemShort) {
  auto sample = packetBytes(true);
  sample[10] = 40;  // cdp_length: ends inside the triplets
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  EXPECT_THAT(codesOf(contents), ElementsAre(Code::kBytesAfterCdp, Code::kChecksumWrong,
                                             Code::kSectionCutShort, Code::kNoFooter));
  EXPECT_EQ(contents.problems[0].message(), "33 bytes follow the cdp in the sample at offset 48");
}

TEST(CdpReaderTest, RefusesACdpLengthTooShortForHeaderAndFooter) {
  auto sample = packetBytes(true);
  sample[10] = 10;
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  ASSERT_THAT(codesOf(contents), ElementsAre(Code::kCdpLengthTooShort));
  EXPECT_EQ(contents.problems[0].message(),
            "cdp_length 10 is shorter than a cdp header and footer (11) at offset 10");
}

TEST(CdpReaderTest, NamesSectionsAgainstTheirFlags) {
  auto sample = packetBytes(true);
  sample[12] |= 0x20;  // svcinfo_present, with no section
  fixChecksum(sample);
  auto contents = readCaptionSample(FourCC("c708"), sample);
  ASSERT_THAT(codesOf(contents), ElementsAre(Code::kSectionNotFlagged));
  EXPECT_EQ(contents.problems[0].message(), "section 0x73 is flagged but absent at offset 12");

  sample = packetBytes(false);
  sample[12] &= static_cast<uint8_t>(~0x40);  // ccdata_present 0, with the section
  fixChecksum(sample);
  contents = readCaptionSample(FourCC("c708"), sample);
  ASSERT_THAT(codesOf(contents), ElementsAre(Code::kSectionNotFlagged));
  EXPECT_EQ(contents.problems[0].message(), "section 0x72 is present but not flagged at offset 12");
}

TEST(CdpReaderTest, ReadsATimeCodeSection) {
  // A hand-made cdp: header with time_code_present, 01:02:03;04 drop frame, empty ccdata, footer.
  std::vector<uint8_t> sample = {
      0x00, 0x00, 0x00, 0x1A, 'c',  'c', 'd', 'p',  // atom
      0x96, 0x69,                                   // cdp_identifier
      0x12,                                         // cdp_length 18
      0x4F,                                         // 29.97
      0xC3,                                         // time_code_present, ccdata_present
      0x00, 0x09,                                   // cdp_hdr_sequence_cntr
      0x71, 0xC1, 0x82, 0x03, 0x84,                 // time code
      0x72, 0xE0,                                   // ccdata, cc_count 0
      0x74, 0x00, 0x09,                             // footer
      0x00,                                         // checksum
  };
  fixChecksum(sample);
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  EXPECT_THAT(codesOf(contents), IsEmpty());
  ASSERT_TRUE(contents.cdp && contents.cdp->timeCode);
  const CdpTimeCode& tc = *contents.cdp->timeCode;
  EXPECT_EQ(tc.hours, 1);
  EXPECT_EQ(tc.minutes, 2);
  EXPECT_EQ(tc.seconds, 3);
  EXPECT_EQ(tc.frames, 4);
  EXPECT_TRUE(tc.dropFrame);
  EXPECT_FALSE(tc.fieldFlag);
  EXPECT_EQ(contents.cdp->ccCount, 0);
}

TEST(CdpReaderTest, NamesAnUnknownSectionAndReservedRate) {
  auto sample = packetBytes(true);
  sample[11] = 0x0F;  // cdp_frame_rate 0
  sample[15] = 0x70;  // where ccdata should start
  fixChecksum(sample);
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  EXPECT_THAT(codesOf(contents),
              ElementsAre(Code::kReservedFrameRate, Code::kUnknownSection, Code::kNoFooter));
  EXPECT_EQ(contents.problems[1].message(), "0x70 starts no cdp section at offset 15");
}

TEST(CdpReaderTest, StopsAtASectionSeenTwice) {
  // A slot-sized packet (cc_count 20) whose footer is replaced by a second, empty ccdata section.
  auto sample = packetBytes(true);
  sample[77] = 0x72;
  sample[78] = 0xE0;
  fixChecksum(sample);
  const auto contents = readCaptionSample(FourCC("c708"), sample);
  EXPECT_THAT(codesOf(contents), ElementsAre(Code::kSectionRepeated, Code::kNoFooter));
  EXPECT_EQ(contents.problems[0].message(), "section 0x72 appears a second time at offset 77");
  EXPECT_EQ(contents.cdp->ccCount, 20);
  EXPECT_EQ(contents.cdp->triplets.size(), 20u);
}

TEST(CdpReaderTest, SaysWhatIsWrongWithTheAtom) {
  const std::vector<uint8_t> tiny = {0x00, 0x00, 0x00};
  EXPECT_EQ(readCaptionSample(FourCC("c708"), tiny).problems.at(0).message(),
            "the sample holds 3 bytes, fewer than a 'ccdp' atom header at offset 0");
  const std::vector<uint8_t> other = {0, 0, 0, 8, 'c', 'd', 'a', 't'};
  EXPECT_EQ(readCaptionSample(FourCC("c708"), other).problems.at(0).message(),
            "the atom is 'cdat', not 'ccdp' at offset 4");
  auto headerOnly = packetBytes(true);
  headerOnly.resize(12);
  EXPECT_THAT(codesOf(readCaptionSample(FourCC("c708"), headerOnly)),
              ElementsAre(Code::kAtomSizeDiffers, Code::kCdpHeaderCutShort));
}

TEST(CdpReaderTest, ReadsTheEmptyC608SampleAsOneNullPair) {
  const std::vector<uint8_t> sample = {0x80, 0x80};
  const auto contents = readCaptionSample(FourCC("c608"), sample);
  EXPECT_THAT(contents.problems, IsEmpty());
  EXPECT_FALSE(contents.cdp);
  ASSERT_EQ(contents.pairs.size(), 1u);
  EXPECT_EQ(contents.pairs[0].field, 1);
  EXPECT_THAT(contents.pairs[0].bytes, ElementsAre(0x80, 0x80));
}

TEST(CdpReaderTest, ReadsCdatAndCdt2Atoms) {
  const std::vector<uint8_t> sample = {
      0, 0, 0, 12, 'c', 'd', 'a', 't', 0x94, 0x20, 0xC1, 0xC2,  // field 1: RCL, "AB"
      0, 0, 0, 10, 'c', 'd', 't', '2', 0x15, 0x2C,              // field 2
  };
  const auto contents = readCaptionSample(FourCC("c608"), sample);
  EXPECT_THAT(contents.problems, IsEmpty());
  ASSERT_EQ(contents.pairs.size(), 3u);
  EXPECT_EQ(contents.pairs[0].field, 1);
  EXPECT_THAT(contents.pairs[1].bytes, ElementsAre(0xC1, 0xC2));
  EXPECT_EQ(contents.pairs[2].field, 2);
  EXPECT_THAT(contents.pairs[2].bytes, ElementsAre(0x15, 0x2C));
}

TEST(CdpReaderTest, SaysWhatIsWrongWithC608Samples) {
  const std::vector<uint8_t> pastEnd = {0, 0, 0, 40, 'c', 'd', 'a', 't', 0x80, 0x80};
  auto contents = readCaptionSample(FourCC("c608"), pastEnd);
  ASSERT_THAT(codesOf(contents), ElementsAre(Code::kPairAtomSizeWrong));
  EXPECT_EQ(contents.problems[0].message(),
            "atom size 40 does not fit the 10 bytes left in the sample at offset 0");

  const std::vector<uint8_t> odd = {0,    0, 0, 11, 'c', 'd', 'a', 't', 0x80, 0x80,
                                    0x94, 0, 0, 0,  8,   'f', 'r', 'e', 'e'};
  contents = readCaptionSample(FourCC("c608"), odd);
  EXPECT_THAT(codesOf(contents), ElementsAre(Code::kOddPairBytes, Code::kUnknownPairAtom));
  EXPECT_EQ(contents.problems[0].offset, 10u);
  EXPECT_EQ(contents.problems[1].message(),
            "atom 'free' is neither 'cdat' nor 'cdt2'; skipped at offset 15");
  EXPECT_EQ(contents.pairs.size(), 1u);

  contents = readCaptionSample(FourCC("c608"), {});
  EXPECT_THAT(codesOf(contents), ElementsAre(Code::kEmptySample));
  EXPECT_TRUE(contents.ok());

  const std::vector<uint8_t> rawOdd = {0x80, 0x80, 0x80};
  EXPECT_THAT(codesOf(readCaptionSample(FourCC("c608"), rawOdd)), ElementsAre(Code::kOddPairBytes));
  EXPECT_THAT(codesOf(readCaptionSample(FourCC("tx3g"), rawOdd)),
              ElementsAre(Code::kUnknownFormat));
}

TEST(CdpReaderTest, ChecksParity) {
  EXPECT_TRUE(hasOddParity(0x80));
  EXPECT_TRUE(hasOddParity(0x94));
  EXPECT_FALSE(hasOddParity(0x14));
  EXPECT_FALSE(hasOddParity(0x00));
}

}  // namespace
}  // namespace premoov
