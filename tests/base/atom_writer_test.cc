#include "base/atom_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "base/byte_reader.h"

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(AtomScopeTest, EmptyAtomIsItsHeader) {
  ByteWriter w;
  { AtomScope free(w, FourCC("free")); }
  const Bytes expected{
      0x00, 0x00, 0x00, 0x08,  // size
      'f',  'r',  'e',  'e',   // type
  };
  EXPECT_EQ(w.data(), expected);
}

TEST(AtomScopeTest, FullAtomCarriesVersionAndFlags) {
  ByteWriter w;
  {
    AtomScope mvhd(w, FourCC("mvhd"), 1, 0x00ABCDEF);
    w.u32(0x11223344);
  }
  const Bytes expected{
      0x00, 0x00, 0x00, 0x10,  // size
      'm',  'v',  'h',  'd',   // type
      0x01,                    // version
      0xAB, 0xCD, 0xEF,        // flags
      0x11, 0x22, 0x33, 0x44,  // payload
  };
  EXPECT_EQ(w.data(), expected);
}

TEST(AtomScopeTest, FullAtomWithZeroVersionAndFlags) {
  ByteWriter w;
  { AtomScope stsd(w, FourCC("stsd"), 0, 0); }
  const Bytes expected{
      0x00, 0x00, 0x00, 0x0C,  // size
      's',  't',  's',  'd',   // type
      0x00,                    // version
      0x00, 0x00, 0x00,        // flags
  };
  EXPECT_EQ(w.data(), expected);
}

// Sizes are back-patched when each scope closes: the inner atoms first, then the outer one.
TEST(AtomScopeTest, NestedAtomsGetTheirOwnSizes) {
  ByteWriter w;
  w.u16(0xABCD);  // bytes before the first atom must not count in any size
  {
    AtomScope moov(w, FourCC("moov"));
    {
      AtomScope mvhd(w, FourCC("mvhd"), 0, 1);
      w.u8(0x7F);
    }
    {
      AtomScope trak(w, FourCC("trak"));
      {
        AtomScope tkhd(w, FourCC("tkhd"), 0, 0x000003);
        w.u16(0x0102);
      }
    }
  }
  w.u8(0xEE);  // bytes after the last atom must not count either
  const Bytes expected{
      0xAB, 0xCD,              // before
      0x00, 0x00, 0x00, 0x2B,  // moov size 43
      'm',  'o',  'o',  'v',   // moov type
      0x00, 0x00, 0x00, 0x0D,  // mvhd size 13
      'm',  'v',  'h',  'd',   // mvhd type
      0x00,                    // mvhd version
      0x00, 0x00, 0x01,        // mvhd flags
      0x7F,                    // mvhd payload
      0x00, 0x00, 0x00, 0x16,  // trak size 22
      't',  'r',  'a',  'k',   // trak type
      0x00, 0x00, 0x00, 0x0E,  // tkhd size 14
      't',  'k',  'h',  'd',   // tkhd type
      0x00,                    // tkhd version
      0x00, 0x00, 0x03,        // tkhd flags
      0x01, 0x02,              // tkhd payload
      0xEE,                    // after
  };
  EXPECT_EQ(w.data(), expected);
}

TEST(AtomScopeTest, SiblingsReadBackWithTheReader) {
  ByteWriter w;
  {
    AtomScope a(w, FourCC("aaaa"));
    w.zeros(100);
  }
  { AtomScope b(w, FourCC("bbbb"), 2, 0xFFFFFF); }
  ByteReader r(w.data());
  EXPECT_EQ(r.u32(), 108u);
  EXPECT_EQ(r.fourCC(), FourCC("aaaa"));
  EXPECT_TRUE(r.skip(100));
  EXPECT_EQ(r.u32(), 12u);
  EXPECT_EQ(r.fourCC(), FourCC("bbbb"));
  EXPECT_EQ(r.u8(), 2u);
  EXPECT_EQ(r.u24(), 0xFFFFFFu);
  EXPECT_TRUE(r.atEnd());
}

}  // namespace
}  // namespace premoov
