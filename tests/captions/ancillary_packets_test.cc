// Our scanner of captured ancillary rows: packets anywhere, in any stream, checked.

#include "captions/ancillary_packets.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "captions/ancillary_rows.h"

namespace premoov {
namespace {

using testing::AncillaryRows;
using testing::ancillaryWord;
using testing::countingCdp;

constexpr FourCC k2vuy = kCVPixelFormatType_422YpCbCr8;
constexpr FourCC kV210 = kCVPixelFormatType_422YpCbCr10;

struct Layout {
  FourCC format;
  size_t bytesPerRow;
  std::string name;
};

std::string layoutName(const ::testing::TestParamInfo<Layout>& info) { return info.param.name; }

class AncillaryPacketsTest : public ::testing::TestWithParam<Layout> {
 protected:
  AncillaryRows rows(size_t count) const {
    return AncillaryRows(GetParam().format, GetParam().bytesPerRow, count);
  }
  std::vector<AncillaryPacket> scan(const AncillaryRows& r) const {
    return findAncillaryPackets(r.bytes(), r.bytesPerRow(), GetParam().format);
  }
  bool tenBit() const { return GetParam().format == kV210; }
};

TEST_P(AncillaryPacketsTest, BlankRowsHoldNoPacket) { EXPECT_TRUE(scan(rows(4)).empty()); }

TEST_P(AncillaryPacketsTest, CaptionPacketAtTheRowStart) {
  AncillaryRows r = rows(1);
  const std::vector<uint8_t> cdp = countingCdp(0x49);
  r.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
  const auto packets = scan(r);
  ASSERT_EQ(packets.size(), 1u);
  const AncillaryPacket& p = packets[0];
  EXPECT_EQ(p.row, 0u);
  EXPECT_EQ(p.stream, AncillaryStream::kLuma);
  EXPECT_EQ(p.position, 0u);
  EXPECT_EQ(p.did, 0x61);
  EXPECT_EQ(p.sdid, 0x01);
  EXPECT_EQ(p.dataCount, 0x49);
  EXPECT_EQ(p.userData, cdp);
  EXPECT_TRUE(p.checksumHolds);
  EXPECT_FALSE(p.cutShort);
  EXPECT_TRUE(p.isCaption());
  EXPECT_TRUE(p.ok());
  if (tenBit()) {
    EXPECT_EQ(p.parityHolds, true);
  } else {
    EXPECT_EQ(p.parityHolds, std::nullopt);
  }
}

TEST_P(AncillaryPacketsTest, PacketsAnywhereInARowAreFoundInOrder) {
  AncillaryRows r = rows(3);
  size_t next = r.putPacket(1, AncillaryStream::kLuma, 5, 0x60, 0x60, std::vector<uint8_t>(16, 7));
  const std::vector<uint8_t> cdp = countingCdp(40);
  r.putPacket(1, AncillaryStream::kLuma, next + 3, 0x61, 0x01, cdp);
  r.putPacket(2, AncillaryStream::kLuma, 100, 0x41, 0x05, std::vector<uint8_t>{1, 2, 3});
  const auto packets = scan(r);
  ASSERT_EQ(packets.size(), 3u);
  EXPECT_EQ(packets[0].row, 1u);
  EXPECT_EQ(packets[0].position, 5u);
  EXPECT_EQ(packets[0].did, 0x60);
  EXPECT_FALSE(packets[0].isCaption());
  EXPECT_EQ(packets[1].row, 1u);
  EXPECT_EQ(packets[1].position, next + 3);
  EXPECT_EQ(packets[1].userData, cdp);
  EXPECT_TRUE(packets[1].isCaption());
  EXPECT_EQ(packets[2].row, 2u);
  EXPECT_EQ(packets[2].position, 100u);
  EXPECT_EQ(packets[2].userData, (std::vector<uint8_t>{1, 2, 3}));
  for (const AncillaryPacket& p : packets) EXPECT_TRUE(p.ok());
}

TEST_P(AncillaryPacketsTest, PacketsInChromaAndInterleavedSamplesAreFoundWithTheirStream) {
  AncillaryRows r = rows(2);
  const std::vector<uint8_t> cdp = countingCdp(30);
  r.putPacket(0, AncillaryStream::kChroma, 2, 0x61, 0x01, cdp);
  r.putPacket(1, AncillaryStream::kInterleaved, 0, 0x61, 0x01, cdp);
  const auto packets = scan(r);
  ASSERT_EQ(packets.size(), 2u);
  EXPECT_EQ(packets[0].stream, AncillaryStream::kChroma);
  EXPECT_EQ(packets[0].position, 2u);
  EXPECT_EQ(packets[0].userData, cdp);
  EXPECT_EQ(packets[1].stream, AncillaryStream::kInterleaved);
  EXPECT_EQ(packets[1].row, 1u);
  EXPECT_EQ(packets[1].userData, cdp);
  EXPECT_TRUE(packets[0].ok() && packets[1].ok());
}

TEST_P(AncillaryPacketsTest, AWrongChecksumIsReported) {
  AncillaryRows r = rows(1);
  r.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(20), 1);
  const auto packets = scan(r);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_FALSE(packets[0].checksumHolds);
  EXPECT_FALSE(packets[0].ok());
  EXPECT_EQ(packets[0].userData, countingCdp(20));
}

TEST_P(AncillaryPacketsTest, APacketCutShortByTheRowEndKeepsWhatTheRowHolds) {
  // A packet of 20 user words starting 20 luma samples before the row's end: the row holds its
  // flag, header and 14 user words.
  AncillaryRows r = rows(1);
  const size_t start = r.samplesPerRow() / 2 - 20;
  r.set(0, AncillaryStream::kLuma, start, 0x000);
  r.set(0, AncillaryStream::kLuma, start + 1, 0x3FF);
  r.set(0, AncillaryStream::kLuma, start + 2, 0x3FF);
  r.set(0, AncillaryStream::kLuma, start + 3, ancillaryWord(0x41));
  r.set(0, AncillaryStream::kLuma, start + 4, ancillaryWord(0x05));
  r.set(0, AncillaryStream::kLuma, start + 5, ancillaryWord(20));
  for (size_t i = start + 6; i < start + 20; ++i) {
    r.set(0, AncillaryStream::kLuma, i, ancillaryWord(0x33));
  }
  const auto packets = scan(r);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_TRUE(packets[0].cutShort);
  EXPECT_FALSE(packets[0].ok());
  EXPECT_EQ(packets[0].position, start);
  EXPECT_EQ(packets[0].dataCount, 20);
  EXPECT_EQ(packets[0].userData, std::vector<uint8_t>(14, 0x33));
}

TEST_P(AncillaryPacketsTest, AHeaderCutShortByTheRowEndIsReported) {
  AncillaryRows r = rows(1);
  const size_t luma = r.samplesPerRow() / 2;
  r.set(0, AncillaryStream::kLuma, luma - 4, 0x000);
  r.set(0, AncillaryStream::kLuma, luma - 3, 0x3FF);
  r.set(0, AncillaryStream::kLuma, luma - 2, 0x3FF);
  r.set(0, AncillaryStream::kLuma, luma - 1, ancillaryWord(0x61));
  const auto packets = scan(r);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_TRUE(packets[0].cutShort);
  EXPECT_EQ(packets[0].position, luma - 4);
  EXPECT_EQ(packets[0].did, 0x61);
  EXPECT_TRUE(packets[0].userData.empty());
}

TEST_P(AncillaryPacketsTest, NothingForRowsOfNoBytesOrAnotherFormat) {
  AncillaryRows r = rows(1);
  r.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(20));
  EXPECT_TRUE(findAncillaryPackets(r.bytes(), 0, GetParam().format).empty());
  EXPECT_TRUE(findAncillaryPackets(r.bytes(), r.bytesPerRow(), kCVPixelFormatType_32BGRA).empty());
  EXPECT_TRUE(findAncillaryPackets(std::span(r.bytes()).first(r.bytesPerRow() - 1), r.bytesPerRow(),
                                   GetParam().format)
                  .empty());
}

INSTANTIATE_TEST_SUITE_P(Formats, AncillaryPacketsTest,
                         ::testing::Values(Layout{k2vuy, 3840, "UYVY1920"},
                                           Layout{kV210, 5120, "v210_1920"},
                                           Layout{k2vuy, 1440, "UYVY720"},
                                           Layout{kV210, 1920, "v210_720"}),
                         layoutName);

TEST(AncillaryPacketsTenBitTest, AWordWithoutItsParityBitsIsReported) {
  for (uint16_t bad : {uint16_t{0x033}, uint16_t{0x333}, uint16_t{0x133}}) {
    SCOPED_TRACE(bad);
    // 0x33 has four bits set: its word is 0x233. Bit 9 alone, bit 8 alone or both wrong.
    AncillaryRows r(kV210, 5120, 1);
    r.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, std::vector<uint8_t>{0x33, 0x33});
    r.set(0, AncillaryStream::kLuma, 7, bad);
    const auto packets = findAncillaryPackets(r.bytes(), 5120, kV210);
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].parityHolds, false);
    EXPECT_EQ(packets[0].userData, (std::vector<uint8_t>{0x33, 0x33}));
    // Bit 8 counts in the checksum; bit 9 does not.
    EXPECT_EQ(packets[0].checksumHolds, (bad & 0x100) == 0);
  }
}

TEST(AncillaryPacketsTenBitTest, TheChecksumNeedsItsInverseBit) {
  AncillaryRows r(kV210, 5120, 1);
  const size_t end = r.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, countingCdp(10));
  auto packets = findAncillaryPackets(r.bytes(), 5120, kV210);
  ASSERT_EQ(packets.size(), 1u);
  ASSERT_TRUE(packets[0].checksumHolds);
  // The same nine bits with bit 9 flipped.
  const uint16_t checksum = r.get(0, AncillaryStream::kLuma, end - 1);
  r.set(0, AncillaryStream::kLuma, end - 1, static_cast<uint16_t>(checksum ^ 0x200));
  packets = findAncillaryPackets(r.bytes(), 5120, kV210);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_FALSE(packets[0].checksumHolds);
}

TEST(AncillaryPacketsEightBitTest, TheChecksumIsItsLowByte) {
  // DID 0x61, SDID 0x01, DC 2, words 0x96 0x69: the nine-bit sum of 0x161, 0x101, 0x102, 0x096
  // and 0x069 is 0x063, and an 8-bit row keeps its low byte.
  std::vector<uint8_t> row(32, 0x10);
  const uint8_t words[] = {0x00, 0xFF, 0xFF, 0x61, 0x01, 0x02, 0x96, 0x69, 0x63};
  for (size_t i = 0; i < sizeof(words); ++i) row[2 * i + 1] = words[i];
  auto packets = findAncillaryPackets(row, 32, k2vuy);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_TRUE(packets[0].checksumHolds);
  EXPECT_EQ(packets[0].userData, (std::vector<uint8_t>{0x96, 0x69}));
  row[17] = 0x64;
  packets = findAncillaryPackets(row, 32, k2vuy);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_FALSE(packets[0].checksumHolds);
}

TEST(AncillaryPacketsStreamNameTest, NamesEachStream) {
  EXPECT_EQ(ancillaryStreamName(AncillaryStream::kLuma), "luma");
  EXPECT_EQ(ancillaryStreamName(AncillaryStream::kChroma), "chroma");
  EXPECT_EQ(ancillaryStreamName(AncillaryStream::kInterleaved), "interleaved");
}

}  // namespace
}  // namespace premoov
