// "c708" samples from the ancillary rows a capture device delivers, read as recorders read them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "captions/ancillary_rows.h"
#include "captions/cc_utilities.h"
#include "captions/sample_bytes.h"
#include "media/fault_injecting_core_media.h"

namespace premoov {
namespace {

using testing::AncillaryRows;
using testing::bytesOf;
using testing::countingCdp;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr FourCC k2vuy = kCVPixelFormatType_422YpCbCr8;
constexpr FourCC kV210 = kCVPixelFormatType_422YpCbCr10;
constexpr size_t k2vuyRow = 3840;  // 1920 pixels
constexpr size_t kV210Row = 5120;  // 1920 pixels: 40 groups of 48

const CMSampleTimingInfo kTiming{CMTimeMake(1001, 30000), CMTimeMake(3003, 30000),
                                 CMTimeMake(2002, 30000)};

// The sample the rows give: a 'ccdp' atom whose size keeps its low byte.
std::vector<uint8_t> expectedSample(const std::vector<uint8_t>& payload) {
  std::vector<uint8_t> sample{0,   0,   0,   static_cast<uint8_t>((payload.size() + 8) & 0xFF),
                              'c', 'c', 'd', 'p'};
  sample.insert(sample.end(), payload.begin(), payload.end());
  return sample;
}

class VancCaptionSampleTest : public ::testing::Test {
 protected:
  CMSampleBufferRef scan(const std::vector<uint8_t>& bytes, size_t bytesPerRow, FourCC format,
                         size_t size) {
    return utilities_.createClosedCaptionSampleFromCEA708DataBuffer(
        bytes.data(), static_cast<uint32_t>(size), static_cast<uint32_t>(bytesPerRow), format,
        kTiming);
  }
  CMSampleBufferRef scan(const AncillaryRows& rows, FourCC format) {
    return scan(rows.bytes(), rows.bytesPerRow(), format, rows.bytes().size());
  }

  testing::FaultInjectingCoreMedia media_;
  ZPRCCUtilities utilities_{defaultCoreVideo(), media_};
  LogCapture log_;
};

TEST_F(VancCaptionSampleTest, EightBitRowStartingWithACaptionPacketGivesItsCdp) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  const std::vector<uint8_t> cdp = countingCdp(0x49);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
  const CMSampleBufferRef sample = scan(rows, k2vuy);
  ASSERT_NE(sample, nullptr);
  const std::vector<uint8_t> bytes = bytesOf(sample);
  ASSERT_EQ(bytes.size(), 81u);
  EXPECT_EQ(bytes[3], 0x51);
  EXPECT_EQ(bytes[8], 0x96);
  EXPECT_EQ(bytes[9], 0x69);
  EXPECT_EQ(bytes, expectedSample(cdp));
  EXPECT_EQ(CMFormatDescriptionGetMediaType(CMSampleBufferGetFormatDescription(sample)),
            FourCC("clcp"));
  EXPECT_EQ(CMFormatDescriptionGetMediaSubType(CMSampleBufferGetFormatDescription(sample)),
            FourCC("c708"));
  EXPECT_EQ(CMSampleBufferGetNumSamples(sample), 1);
  EXPECT_EQ(CMSampleBufferGetTotalSampleSize(sample), 81u);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(VancCaptionSampleTest, TheTimingIsCopiedUnchanged) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(20));
  const CMSampleBufferRef sample = scan(rows, k2vuy);
  ASSERT_NE(sample, nullptr);
  CMSampleTimingInfo timing;
  ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample, 0, &timing), 0);
  EXPECT_EQ(timing.duration, kTiming.duration);
  EXPECT_EQ(timing.presentationTimeStamp, kTiming.presentationTimeStamp);
  EXPECT_EQ(timing.decodeTimeStamp, kTiming.decodeTimeStamp);
}

TEST_F(VancCaptionSampleTest, EightBitPathTakesCdpLengthNotTheDataCount) {
  // A data count of 30 around a cdp that says it is 12 bytes: 12 bytes are taken.
  std::vector<uint8_t> words = countingCdp(30);
  words[2] = 12;
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, words);
  const std::vector<uint8_t> bytes = bytesOf(scan(rows, k2vuy));
  EXPECT_EQ(bytes, expectedSample(std::vector<uint8_t>(words.begin(), words.begin() + 12)));
}

TEST_F(VancCaptionSampleTest, EightBitCdpLengthReachesBeyondThePacketIntoTheRow) {
  // cdp_length 40 in a packet of 10 words: the luma bytes after the packet are taken too.
  std::vector<uint8_t> words = countingCdp(10);
  words[2] = 40;
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, words);
  const std::vector<uint8_t> bytes = bytesOf(scan(rows, k2vuy));
  ASSERT_EQ(bytes.size(), 48u);
  for (size_t i = 0; i < 40; ++i) EXPECT_EQ(bytes[8 + i], rows.bytes()[13 + 2 * i]) << i;
}

TEST_F(VancCaptionSampleTest, AnotherPacketFirstIsSkippedByItsLengthInEightBitRows) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  const std::vector<uint8_t> other{1, 2, 3, 4, 5};
  const size_t next = rows.putPacket(0, AncillaryStream::kLuma, 0, 0x41, 0x05, other);
  EXPECT_EQ(next, 12u);  // 14 + 2 x 5 bytes
  const std::vector<uint8_t> cdp = countingCdp(0x49);
  rows.putPacket(0, AncillaryStream::kLuma, next, 0x61, 0x01, cdp);
  EXPECT_EQ(bytesOf(scan(rows, k2vuy)), expectedSample(cdp));
}

TEST_F(VancCaptionSampleTest, TheSdidMustMatchToo) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  const size_t next = rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x02, countingCdp(9));
  const std::vector<uint8_t> cdp = countingCdp(11);
  rows.putPacket(0, AncillaryStream::kLuma, next, 0x61, 0x01, cdp);
  EXPECT_EQ(bytesOf(scan(rows, k2vuy)), expectedSample(cdp));
}

TEST_F(VancCaptionSampleTest, ARowNotStartingWithTheFlagIsGivenUpForTheNext) {
  for (FourCC format : {k2vuy, kV210}) {
    SCOPED_TRACE(format.toString());
    const size_t bytesPerRow = format == k2vuy ? k2vuyRow : kV210Row;
    AncillaryRows rows(format, bytesPerRow, 3);
    // Row 0: a caption packet, but behind a blank sample, where no packet starts.
    rows.putPacket(0, AncillaryStream::kLuma, 1, 0x61, 0x01, countingCdp(30));
    // Row 1: blank. Row 2: a caption packet at its start.
    const std::vector<uint8_t> cdp = countingCdp(21);
    rows.putPacket(2, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
    EXPECT_EQ(bytesOf(scan(rows, format)), expectedSample(cdp));
  }
}

TEST_F(VancCaptionSampleTest, AFlagInTheChromaSamplesIsNoPacket) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  rows.putPacket(0, AncillaryStream::kChroma, 0, 0x61, 0x01, countingCdp(30));
  EXPECT_EQ(scan(rows, k2vuy), nullptr);
}

TEST_F(VancCaptionSampleTest, SdRowsInterleavingChromaAndLumaWordsAreNotRead) {
  // SD rows carry a packet in all samples in order: the luma bytes hold 0xFF where the flag's
  // first word should be 0x00, so the row is given up.
  AncillaryRows rows(k2vuy, 1440, 1);
  rows.putPacket(0, AncillaryStream::kInterleaved, 0, 0x61, 0x01, countingCdp(30));
  EXPECT_EQ(scan(rows, k2vuy), nullptr);
}

TEST_F(VancCaptionSampleTest, BytesPerRowLargerThanSizeGivesNothing) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(30));
  EXPECT_EQ(scan(rows.bytes(), k2vuyRow + 1, k2vuy, k2vuyRow), nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(VancCaptionSampleTest, OnlyWholeRowsAreScanned) {
  // 1.5 rows: the half row holds a caption packet, and is not a row.
  AncillaryRows rows(k2vuy, 64, 2);
  rows.putPacket(1, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(8));
  EXPECT_NE(scan(rows.bytes(), 64, k2vuy, 128), nullptr);
  EXPECT_EQ(scan(rows.bytes(), 64, k2vuy, 96), nullptr);
}

TEST_F(VancCaptionSampleTest, AnyOtherFormatGivesNothing) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(30));
  EXPECT_EQ(scan(rows, kCVPixelFormatType_422YpCbCr8_yuvs), nullptr);
  EXPECT_EQ(scan(rows, kCVPixelFormatType_32BGRA), nullptr);
  EXPECT_NE(scan(rows, k2vuy), nullptr);
}

TEST_F(VancCaptionSampleTest, NoCaptionPacketGivesNothing) {
  AncillaryRows rows(kV210, kV210Row, 4);
  rows.putPacket(1, AncillaryStream::kLuma, 0, 0x60, 0x60, std::vector<uint8_t>(16, 0x55));
  EXPECT_EQ(scan(rows, kV210), nullptr);
}

TEST_F(VancCaptionSampleTest, TenBitRowStartingWithACaptionPacketGivesWhatEightBitsGive) {
  const std::vector<uint8_t> cdp = countingCdp(0x49);
  AncillaryRows eight(k2vuy, k2vuyRow, 1);
  eight.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
  AncillaryRows ten(kV210, kV210Row, 1);
  ten.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
  const std::vector<uint8_t> fromTen = bytesOf(scan(ten, kV210));
  EXPECT_EQ(fromTen, expectedSample(cdp));
  EXPECT_EQ(fromTen, bytesOf(scan(eight, k2vuy)));
}

TEST_F(VancCaptionSampleTest, TenBitWordsAreReadAsTheLayoutSays) {
  // Words 0-3: flag, DID 0x161, SDID 0x101, DC 0x203 (3 with parity); payload in the luma
  // samples of word 4 (bits 10-19) and word 5 (bits 0-9, then bits 20-29).
  std::vector<uint8_t> bytes(64, 0);
  auto put = [&](size_t word, uint32_t value) { writeV210Word(&bytes[4 * word], value); };
  put(0, 0x200u | (0x000u << 10) | (0x200u << 20));
  put(1, 0x3FFu | (0x200u << 10) | (0x3FFu << 20));
  put(2, 0x200u | (0x161u << 10) | (0x200u << 20));
  put(3, 0x101u | (0x200u << 10) | (0x203u << 20));
  put(4, 0x2AAu | (0x1C5u << 10) | (0x3BBu << 20));
  put(5, 0x2D6u | (0x1EEu << 10) | (0x177u << 20));
  const CMSampleBufferRef sample = scan(bytes, 64, kV210, 64);
  ASSERT_NE(sample, nullptr);
  // Low 8 bits of 0x1C5, 0x2D6, 0x177; the other samples are not read.
  EXPECT_THAT(bytesOf(sample), ElementsAre(0, 0, 0, 11, 'c', 'c', 'd', 'p', 0xC5, 0xD6, 0x77));
}

TEST_F(VancCaptionSampleTest, TenBitPathNeedsTheParityBitsOfDidAndSdid) {
  std::vector<uint8_t> bytes(64, 0);
  auto put = [&](size_t word, uint32_t value) { writeV210Word(&bytes[4 * word], value); };
  put(0, 0x000u << 10);
  put(1, 0x3FFu | (0x3FFu << 20));
  put(2, 0x061u << 10);  // DID without its parity bits
  put(3, 0x101u | (0x203u << 20));
  EXPECT_EQ(scan(bytes, 64, kV210, 64), nullptr);
  put(2, 0x161u << 10);
  put(3, 0x001u | (0x203u << 20));  // SDID without its parity bits
  EXPECT_EQ(scan(bytes, 64, kV210, 64), nullptr);
  put(3, 0x101u | (0x203u << 20));
  EXPECT_NE(scan(bytes, 64, kV210, 64), nullptr);
}

TEST_F(VancCaptionSampleTest, TenBitPathTakesTheDataCountNotCdpLength) {
  std::vector<uint8_t> words = countingCdp(30);
  words[2] = 12;
  AncillaryRows rows(kV210, kV210Row, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, words);
  EXPECT_EQ(bytesOf(scan(rows, kV210)), expectedSample(words));
}

TEST_F(VancCaptionSampleTest, TenBitCaptionPacketBehindAnotherIsReadFromTheFifthWord) {
  // The first packet has 14 data words and ends at luma sample 20. The scan steps 14 words on, to
  // word 14, whose luma samples start at sample 21, where the caption packet is; its payload is
  // read from word 4 on, inside the first packet: recorders have always read these rows so.
  AncillaryRows rows(kV210, kV210Row, 1);
  std::vector<uint8_t> other(14);
  for (size_t i = 0; i < other.size(); ++i) other[i] = static_cast<uint8_t>(0xA1 + i);
  EXPECT_EQ(rows.putPacket(0, AncillaryStream::kLuma, 0, 0x41, 0x05, other), 21u);
  rows.putPacket(0, AncillaryStream::kLuma, 21, 0x61, 0x01, countingCdp(4));
  EXPECT_THAT(bytesOf(scan(rows, kV210)),
              ElementsAre(0, 0, 0, 12, 'c', 'c', 'd', 'p', 0xA1, 0xA2, 0xA3, 0xA4));
}

TEST_F(VancCaptionSampleTest, TenBitScanComparesWordIndexWithBytesPerRowAndRunsIntoLaterRows) {
  // Rows of 56 bytes (14 words). Row 0 is one packet of 14 data words: the scan steps to word 14,
  // which is the start of row 1, finds the caption packet there, and reads its payload from word
  // 4 of row 0.
  AncillaryRows rows(kV210, 56, 2);
  std::vector<uint8_t> other(14);
  for (size_t i = 0; i < other.size(); ++i) other[i] = static_cast<uint8_t>(0xB0 + i);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x41, 0x05, other);
  rows.putPacket(1, AncillaryStream::kLuma, 0, 0x61, 0x01, std::vector<uint8_t>{0xC1, 0xC2});
  EXPECT_THAT(bytesOf(scan(rows, kV210)), ElementsAre(0, 0, 0, 10, 'c', 'c', 'd', 'p', 0xB0, 0xB1));
}

TEST_F(VancCaptionSampleTest, TenBitRowsStepByBytesPerRowRoundedDownToWords) {
  // 70 bytes a row: rows start every 68 bytes, and there are 140 / 70 = 2 of them.
  AncillaryRows packed(kV210, 68, 3);
  const std::vector<uint8_t> cdp = countingCdp(5);
  packed.putPacket(1, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
  EXPECT_EQ(bytesOf(scan(packed.bytes(), 70, kV210, 140)), expectedSample(cdp));
}

TEST_F(VancCaptionSampleTest, AZeroDataCountInTenBitRowsEndsTheRowInsteadOfLoopingForever) {
  AncillaryRows rows(kV210, kV210Row, 2);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x41, 0x05, {});
  const std::vector<uint8_t> cdp = countingCdp(7);
  rows.putPacket(1, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
  EXPECT_EQ(bytesOf(scan(rows, kV210)), expectedSample(cdp));
  EXPECT_THAT(log_.lines(),
              ElementsAre("CEA708: the ancillary packet at word 0 of row 0 has no data words; the "
                          "rest of the row is skipped"));
}

TEST_F(VancCaptionSampleTest, AZeroDataCountInEightBitRowsStepsOverTheHeader) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  const size_t next = rows.putPacket(0, AncillaryStream::kLuma, 0, 0x41, 0x05, {});
  EXPECT_EQ(next, 7u);
  const std::vector<uint8_t> cdp = countingCdp(7);
  rows.putPacket(0, AncillaryStream::kLuma, next, 0x61, 0x01, cdp);
  EXPECT_EQ(bytesOf(scan(rows, k2vuy)), expectedSample(cdp));
}

TEST_F(VancCaptionSampleTest, AnEmptyCdpGivesTheAtomHeaderAlone) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  std::vector<uint8_t> words = countingCdp(3);
  words[2] = 0;
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, words);
  EXPECT_THAT(bytesOf(scan(rows, k2vuy)), ElementsAre(0, 0, 0, 8, 'c', 'c', 'd', 'p'));
}

TEST_F(VancCaptionSampleTest, TheAtomSizeKeepsOnlyItsLowByte) {
  AncillaryRows rows(kV210, kV210Row, 1);
  const std::vector<uint8_t> cdp = countingCdp(250);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
  const std::vector<uint8_t> bytes = bytesOf(scan(rows, kV210));
  ASSERT_EQ(bytes.size(), 258u);
  EXPECT_EQ(bytes[3], 0x02);
  EXPECT_EQ(bytes, expectedSample(cdp));
}

TEST_F(VancCaptionSampleTest, ACaptionPacketRunningPastTheBufferIsNotRead) {
  // An 8-bit buffer that ends inside the cdp its packet announces: nothing past it is read.
  AncillaryRows rows(k2vuy, 200, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(0x49));
  EXPECT_EQ(scan(rows.bytes(), 100, k2vuy, 100), nullptr);
  EXPECT_THAT(log_.lines(), ElementsAre("CEA708: the caption packet at byte 0 of row 0 runs past "
                                        "the end of the 100-byte buffer"));
}

TEST_F(VancCaptionSampleTest, ATenBitCaptionPacketRunningPastTheBufferIsNotRead) {
  AncillaryRows rows(kV210, 512, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(0x49));
  // 73 bytes take words 4 to 52: 212 bytes.
  EXPECT_NE(scan(rows.bytes(), 212, kV210, 212), nullptr);
  EXPECT_EQ(scan(rows.bytes(), 208, kV210, 208), nullptr);
  EXPECT_THAT(log_.lines(), ElementsAre("CEA708: the caption packet at word 0 of row 0 runs past "
                                        "the end of the 208-byte buffer"));
}

TEST_F(VancCaptionSampleTest, APacketHeaderRunningPastTheBufferEndsTheRow) {
  // One row of 20 bytes: a packet of no data words (14 bytes), then another whose flag fits but
  // whose data count would lie at byte 25.
  std::vector<uint8_t> bytes(20, 0x10);
  for (size_t at : {size_t{0}, size_t{14}}) {
    bytes[at + 1] = 0x00;
    bytes[at + 3] = 0xFF;
    bytes[at + 5] = 0xFF;
  }
  bytes[7] = 0x41;
  bytes[9] = 0x05;
  bytes[11] = 0x00;
  EXPECT_EQ(scan(bytes, 20, k2vuy, 20), nullptr);
  // With one data word the second packet starts at byte 16, and its flag would end at byte 21.
  bytes[11] = 0x01;
  EXPECT_EQ(scan(bytes, 20, k2vuy, 20), nullptr);
  EXPECT_THAT(log_.lines(),
              ElementsAre("CEA708: the ancillary packet at byte 14 of row 0 runs past the end of "
                          "the 20-byte buffer",
                          "CEA708: the ancillary packet at byte 16 of row 0 runs past the end of "
                          "the 20-byte buffer"));
  // 10-bit: a row of 12 bytes holds three words of a packet's four.
  std::vector<uint8_t> words(12, 0);
  writeV210Word(&words[4], 0x3FFu | (0x3FFu << 20));
  LogCapture tenBitLog;
  EXPECT_EQ(scan(words, 12, kV210, 12), nullptr);
  EXPECT_THAT(tenBitLog.lines(), ElementsAre("CEA708: the ancillary packet at word 0 of row 0 runs "
                                             "past the end of the 12-byte buffer"));
}

TEST_F(VancCaptionSampleTest, RowsOfNoBytesOrNoBufferGiveNothingAndSaySo) {
  std::vector<uint8_t> bytes(16, 0);
  EXPECT_EQ(scan(bytes, 0, k2vuy, 16), nullptr);
  EXPECT_EQ(
      utilities_.createClosedCaptionSampleFromCEA708DataBuffer(nullptr, 16, 8, k2vuy, kTiming),
      nullptr);
  EXPECT_THAT(log_.lines(), ElementsAre("CEA708: rows of 0 bytes hold no ancillary data",
                                        "CEA708: no ancillary data buffer for 16 bytes"));
}

TEST_F(VancCaptionSampleTest, NoFormatDescriptionGivesNothing) {
  AncillaryRows rows(k2vuy, k2vuyRow, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(30));
  media_.failing = {"CMFormatDescriptionCreate"};
  EXPECT_EQ(scan(rows, k2vuy), nullptr);
}

TEST_F(VancCaptionSampleTest, ABlockWithoutMemoryIsDroppedAndTheScanGoesOn) {
  for (const char* call : {"CMBlockBufferGetDataPointer", "CMBlockBufferCreateWithMemoryBlock"}) {
    SCOPED_TRACE(call);
    AncillaryRows rows(k2vuy, k2vuyRow, 1);
    const size_t next = rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(9));
    const std::vector<uint8_t> second = countingCdp(15);
    rows.putPacket(0, AncillaryStream::kLuma, next, 0x61, 0x01, second);
    media_.failingOnce = {call};
    EXPECT_EQ(bytesOf(scan(rows, k2vuy)), expectedSample(second));
    media_.failing = {call};
    EXPECT_EQ(scan(rows, k2vuy), nullptr);
    media_.failing.clear();
  }
}

TEST_F(VancCaptionSampleTest, ASampleThatCannotBeMadeIsPrintedAndEndsTheSearch) {
  AncillaryRows rows(k2vuy, k2vuyRow, 2);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(9));
  rows.putPacket(1, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(15));
  media_.failingOnce = {"CMSampleBufferCreate"};
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(scan(rows, k2vuy), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "Invalid could not create CEA708 sample buffer description (Error = -12345\n");
}

}  // namespace
}  // namespace premoov
