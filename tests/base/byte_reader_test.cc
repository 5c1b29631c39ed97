#include "base/byte_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

namespace premoov {
namespace {

TEST(ByteReaderTest, ReadsEveryUnsignedWidthBigEndian) {
  const std::vector<uint8_t> bytes{
      0x01,                                            // u8
      0x02, 0x03,                                      // u16
      0x04, 0x05, 0x06,                                // u24
      0x07, 0x08, 0x09, 0x0A,                          // u32
      0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11, 0x12,  // u64
  };
  ByteReader r(bytes);
  EXPECT_EQ(r.u8(), 0x01u);
  EXPECT_EQ(r.u16(), 0x0203u);
  EXPECT_EQ(r.u24(), 0x040506u);
  EXPECT_EQ(r.u32(), 0x0708090Au);
  EXPECT_EQ(r.u64(), 0x0B0C0D0E0F101112u);
  EXPECT_TRUE(r.atEnd());
  EXPECT_EQ(r.position(), bytes.size());
  EXPECT_EQ(r.remaining(), 0u);
}

TEST(ByteReaderTest, ReadsSignedWidths) {
  const std::vector<uint8_t> bytes{
      0xFF, 0xFE,                                      // i16 -2
      0x80, 0x00, 0x00, 0x00,                          // i32 min
      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  // i64 -1
      0x7F, 0xFF,                                      // i16 max
  };
  ByteReader r(bytes);
  EXPECT_EQ(r.i16(), int16_t{-2});
  EXPECT_EQ(r.i32(), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(r.i64(), int64_t{-1});
  EXPECT_EQ(r.i16(), std::numeric_limits<int16_t>::max());
  EXPECT_TRUE(r.atEnd());
}

TEST(ByteReaderTest, ReadsFourCCAndByteRuns) {
  const std::vector<uint8_t> bytes{
      't',  'r',  'a',  'k',  // fourCC
      0xAA, 0xBB, 0xCC,       // bytes(3)
      0xDD,                   // skipped
      0xEE,                   // u8
  };
  ByteReader r(bytes);
  EXPECT_EQ(r.fourCC(), FourCC("trak"));
  const auto run = r.bytes(3);
  ASSERT_TRUE(run.has_value());
  ASSERT_EQ(run->size(), 3u);
  EXPECT_EQ((*run)[0], 0xAA);
  EXPECT_EQ((*run)[2], 0xCC);
  EXPECT_EQ(run->data(), bytes.data() + 4);  // a view into the input, not a copy
  EXPECT_TRUE(r.skip(1));
  EXPECT_EQ(r.u8(), 0xEEu);
  EXPECT_TRUE(r.atEnd());
}

TEST(ByteReaderTest, ZeroLengthReadsSucceedAtTheEnd) {
  ByteReader r(std::span<const uint8_t>{});
  EXPECT_TRUE(r.atEnd());
  const auto run = r.bytes(0);
  ASSERT_TRUE(run.has_value());
  EXPECT_TRUE(run->empty());
  EXPECT_TRUE(r.skip(0));
  EXPECT_EQ(r.position(), 0u);
}

// Every read past the end answers nothing and leaves the position where it was, so a caller can
// report the short field and the reader is still usable.
TEST(ByteReaderTest, ReadsPastTheEndAnswerNothingWithoutMoving) {
  const std::array<uint8_t, 3> bytes{0x01, 0x02, 0x03};
  ByteReader r(bytes);
  ASSERT_EQ(r.u8(), 0x01u);
  ASSERT_EQ(r.position(), 1u);

  EXPECT_FALSE(r.u24().has_value());
  EXPECT_FALSE(r.u32().has_value());
  EXPECT_FALSE(r.u64().has_value());
  EXPECT_FALSE(r.i32().has_value());
  EXPECT_FALSE(r.i64().has_value());
  EXPECT_FALSE(r.fourCC().has_value());
  EXPECT_FALSE(r.bytes(3).has_value());
  EXPECT_FALSE(r.bytes(std::numeric_limits<size_t>::max()).has_value());
  EXPECT_FALSE(r.skip(3));
  EXPECT_FALSE(r.skip(std::numeric_limits<size_t>::max()));
  EXPECT_EQ(r.position(), 1u);
  EXPECT_EQ(r.remaining(), 2u);

  // What is left can still be read.
  EXPECT_EQ(r.u16(), 0x0203u);
  EXPECT_TRUE(r.atEnd());
  EXPECT_FALSE(r.u8().has_value());
  EXPECT_FALSE(r.i16().has_value());
  EXPECT_FALSE(r.u16().has_value());
  EXPECT_EQ(r.position(), 3u);
}

TEST(ByteReaderTest, EmptyInputAnswersNothing) {
  ByteReader r(std::span<const uint8_t>{});
  EXPECT_FALSE(r.u8().has_value());
  EXPECT_FALSE(r.u16().has_value());
  EXPECT_FALSE(r.bytes(1).has_value());
  EXPECT_EQ(r.position(), 0u);
}

}  // namespace
}  // namespace premoov
