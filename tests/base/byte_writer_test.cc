#include "base/byte_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(ByteWriterTest, StartsEmpty) {
  ByteWriter w;
  EXPECT_EQ(w.size(), 0u);
  EXPECT_TRUE(w.data().empty());
}

TEST(ByteWriterTest, UnsignedFieldsAreBigEndian) {
  ByteWriter w;
  w.u8(0x01);
  w.u16(0x0203);
  w.u24(0x040506);
  w.u32(0x0708090A);
  w.u64(0x0B0C0D0E0F101112);
  const Bytes expected{
      0x01,                                            // u8
      0x02, 0x03,                                      // u16
      0x04, 0x05, 0x06,                                // u24
      0x07, 0x08, 0x09, 0x0A,                          // u32
      0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11, 0x12,  // u64
  };
  EXPECT_EQ(w.data(), expected);
  EXPECT_EQ(w.size(), 18u);
}

TEST(ByteWriterTest, U24KeepsOnlyTheLow24Bits) {
  ByteWriter w;
  w.u24(0xFFABCDEF);
  const Bytes expected{
      0xAB, 0xCD, 0xEF,  // u24 of 0xFFABCDEF
  };
  EXPECT_EQ(w.data(), expected);
}

TEST(ByteWriterTest, SignedFieldsAreTwosComplementBigEndian) {
  ByteWriter w;
  w.i8(-2);
  w.i16(-2);
  w.i32(-2);
  w.i64(-2);
  w.i16(std::numeric_limits<int16_t>::min());
  w.i32(std::numeric_limits<int32_t>::max());
  const Bytes expected{
      0xFE,                                            // i8 -2
      0xFF, 0xFE,                                      // i16 -2
      0xFF, 0xFF, 0xFF, 0xFE,                          // i32 -2
      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE,  // i64 -2
      0x80, 0x00,                                      // i16 min
      0x7F, 0xFF, 0xFF, 0xFF,                          // i32 max
  };
  EXPECT_EQ(w.data(), expected);
}

TEST(ByteWriterTest, DoubleIsIeee754BigEndian) {
  ByteWriter w;
  w.f64(1.0);
  w.f64(-2.5);
  const Bytes expected{
      0x3F, 0xF0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // 1.0
      0xC0, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // -2.5
  };
  EXPECT_EQ(w.data(), expected);
}

TEST(ByteWriterTest, FourCCTextBytesAndZeros) {
  ByteWriter w;
  w.fourCC(FourCC("moov"));
  w.text("ab");
  const uint8_t raw[] = {0xDE, 0xAD};
  w.bytes(raw);
  w.zeros(3);
  w.text("");
  w.bytes({});
  w.zeros(0);
  const Bytes expected{
      'm',  'o',  'o',  'v',  // fourCC
      'a',  'b',              // text, no terminator
      0xDE, 0xAD,             // bytes
      0x00, 0x00, 0x00,       // zeros(3)
  };
  EXPECT_EQ(w.data(), expected);
}

TEST(ByteWriterTest, AppendsAfterInitialBytes) {
  ByteWriter w(Bytes{0xAA, 0xBB});
  w.u16(0x0102);
  const Bytes expected{
      0xAA, 0xBB,  // initial
      0x01, 0x02,  // u16
  };
  EXPECT_EQ(w.data(), expected);
}

TEST(ByteWriterTest, PatchU32OverwritesInPlace) {
  ByteWriter w;
  w.u8(0x11);
  w.u32(0);
  w.u8(0x22);
  w.patchU32(1, 0xCAFEBABE);
  const Bytes expected{
      0x11,                    // u8
      0xCA, 0xFE, 0xBA, 0xBE,  // patched u32
      0x22,                    // u8
  };
  EXPECT_EQ(w.data(), expected);
  EXPECT_EQ(w.size(), 6u);
}

TEST(ByteWriterTest, PatchU32AtTheVeryEnd) {
  ByteWriter w;
  w.u32(0);
  w.patchU32(0, 0x01020304);
  const Bytes expected{
      0x01, 0x02, 0x03, 0x04,  // patched u32
  };
  EXPECT_EQ(w.data(), expected);
}

// Patching a field that was never written is a programming error: it must be refused without
// touching memory outside the buffer, even when position + 3 would wrap around.
TEST(ByteWriterTest, PatchU32OutsideTheBufferIsRefused) {
  ByteWriter w;
  w.u64(0);
  const Bytes before = w.data();
  EXPECT_THROW(w.patchU32(5, 1), std::out_of_range);
  EXPECT_THROW(w.patchU32(8, 1), std::out_of_range);
  EXPECT_THROW(w.patchU32(std::numeric_limits<size_t>::max() - 1, 1), std::out_of_range);
  EXPECT_THROW(w.patchU32(std::numeric_limits<size_t>::max(), 1), std::out_of_range);
  EXPECT_EQ(w.data(), before);
}

TEST(ByteWriterTest, TakeHandsOverTheBytes) {
  ByteWriter w;
  w.u16(0xBEEF);
  const Bytes taken = w.take();
  const Bytes expected{
      0xBE, 0xEF,  // u16
  };
  EXPECT_EQ(taken, expected);
}

}  // namespace
}  // namespace premoov
