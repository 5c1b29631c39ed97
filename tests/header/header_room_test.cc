#include "header/header_room.h"

#include <gtest/gtest.h>

#include "base/byte_reader.h"

namespace premoov {
namespace {

TEST(HeaderRoomTest, IsFourMebibytesWithoutLongGOP) {
  EXPECT_EQ(headerRoom(false, 30), 4'194'304u);
  EXPECT_EQ(headerRoom(false, 60), 4'194'304u);
}

TEST(HeaderRoomTest, GrowsWithTheFrameRateForLongGOP) {
  EXPECT_EQ(headerRoom(true, 25), 10'485'760u);
  EXPECT_EQ(headerRoom(true, 30), 12'582'912u);
  EXPECT_EQ(headerRoom(true, 60), 25'165'824u);
}

TEST(HeaderRoomTest, LongGOPProductWrapsIn32Bits) {
  // 410 x 10,485,760 = 4,299,161,600 wraps to 4,194,304 before the division.
  EXPECT_EQ(headerRoom(true, 409), 409u * 10'485'760u / 25u);
  EXPECT_EQ(headerRoom(true, 410), 4'194'304u / 25u);
}

TEST(HeaderRoomTest, MediaDataAtomStartsSixteenOrTwentyBytesBeforeTheMedia) {
  EXPECT_EQ(mediaDataAtomStart(4'194'304, false), 4'194'288u);
  EXPECT_EQ(mediaDataAtomStart(4'194'304, true), 4'194'284u);
}

std::vector<uint8_t> closed(size_t movieSize, uint64_t mdatSize) {
  std::vector<uint8_t> header(64, 0xEE);
  closeHeaderRoom(header, movieSize, 48, mdatSize);
  return header;
}

TEST(HeaderRoomTest, ThirtyTwoBitMediaDataHeaderCarriesAWideAtom) {
  const auto header = closed(20, 0xFFFFFFFFull);
  const std::vector<uint8_t> freeAtom(header.begin() + 20, header.begin() + 28);
  EXPECT_EQ(freeAtom, (std::vector<uint8_t>{0, 0, 0, 28,  // size: up to the mdat header
                                            'f', 'r', 'e', 'e'}));
  const std::vector<uint8_t> mdat(header.begin() + 48, header.end());
  EXPECT_EQ(mdat, (std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF,  // size
                                        'm', 'd', 'a', 't',      // type
                                        0, 0, 0, 8,              // wide size
                                        'w', 'i', 'd', 'e'}));   // wide type
}

TEST(HeaderRoomTest, SixtyFourBitMediaDataHeaderFromFourGibibytes) {
  const auto header = closed(20, 0x100000000ull);
  const std::vector<uint8_t> mdat(header.begin() + 48, header.end());
  EXPECT_EQ(mdat, (std::vector<uint8_t>{0, 0, 0, 1,                 // size: 64-bit follows
                                        'm', 'd', 'a', 't',         // type
                                        0, 0, 0, 1, 0, 0, 0, 0}));  // 64-bit size
}

TEST(HeaderRoomTest, MediaDataHeaderWinsWhenTheRoomIsShort) {
  // Four bytes of room: the free header overlaps the mdat header, which is written last.
  const auto header = closed(44, 16);
  const std::vector<uint8_t> tail(header.begin() + 44, header.begin() + 56);
  EXPECT_EQ(tail, (std::vector<uint8_t>{0, 0, 0, 4,  // free size, partly overwritten next
                                        0, 0, 0, 16, 'm', 'd', 'a', 't'}));
}

TEST(HeaderRoomTest, NoRoomGivesAFreeAtomOfSizeZeroUnderTheMediaDataHeader) {
  const auto header = closed(48, 16);
  ByteReader r(std::span<const uint8_t>(header).subspan(48));
  EXPECT_EQ(r.u32(), 16u);
  EXPECT_EQ(r.fourCC(), FourCC("mdat"));
}

}  // namespace
}  // namespace premoov
