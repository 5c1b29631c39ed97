#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "base/atom_writer.h"
#include "base/byte_writer.h"
#include "movie/toolbox.h"

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

// The fields of a video sample description after its 16-byte header, up to its extension atoms.
void writeImageFields(ByteWriter& w, uint16_t width, uint16_t height) {
  w.u16(0);           // version
  w.u16(0);           // revision level
  w.u32(0);           // vendor
  w.u32(0);           // temporal quality
  w.u32(0x200);       // spatial quality
  w.u16(width);       // width, pixels
  w.u16(height);      // height, pixels
  w.u32(0x00480000);  // horizontal resolution, 72 dpi 16.16
  w.u32(0x00480000);  // vertical resolution
  w.u32(0);           // data size
  w.u16(1);           // frame count
  w.zeros(32);        // compressor name, Pascal string
  w.u16(24);          // depth
  w.i16(-1);          // colour table ID: none
}

void writePixelAspect(ByteWriter& w, uint32_t horizontal, uint32_t vertical) {
  AtomScope pasp(w, FourCC("pasp"));
  w.u32(horizontal);  // horizontal spacing
  w.u32(vertical);    // vertical spacing
}

void writeCleanAperture(ByteWriter& w, uint32_t widthN, uint32_t widthD, uint32_t heightN,
                        uint32_t heightD) {
  AtomScope clap(w, FourCC("clap"));
  w.u32(widthN);   // aperture width numerator
  w.u32(widthD);   // aperture width denominator
  w.u32(heightN);  // aperture height numerator
  w.u32(heightD);  // aperture height denominator
  w.u32(0);        // horizontal offset numerator
  w.u32(1);        // horizontal offset denominator
  w.u32(0);        // vertical offset numerator
  w.u32(1);        // vertical offset denominator
}

SampleDescriptionHandle describe(ByteWriter& w, FourCC format = FourCC("2vuy")) {
  return std::make_shared<SampleDescription>(SampleDescription{format, 1, w.take()});
}

// A track to set the aperture of: the call reads nothing else of it.
class ApertureTest : public ::testing::Test {
 protected:
  OSErr apply(const SampleDescriptionHandle& description) {
    return toolbox_.SetTrackApertureModeDimensionsUsingSampleDescription(track_, description);
  }

  Toolbox toolbox_;
  Track track_;
};

// DVCPRO HD 1080: 1280 encoded pixels a line, each 3:2 wide, shown as 1920.
TEST_F(ApertureTest, DVCPROHDWidensTheCleanAndProductionApertures) {
  ByteWriter w;
  writeImageFields(w, 1280, 1080);
  {
    AtomScope fiel(w, FourCC("fiel"));
    w.u8(1);  // fields
    w.u8(0);  // detail
  }
  writePixelAspect(w, 3, 2);
  writeCleanAperture(w, 1280, 1, 1080, 1);
  w.zeros(24);  // room the header writer sized the description for but did not use
  ASSERT_EQ(apply(describe(w, FourCC("dvh6"))), noErr);
  ASSERT_TRUE(track_.aperture.has_value());
  const ApertureDimensions& a = *track_.aperture;
  EXPECT_EQ(a.cleanWidth, IntToFixed(1920));
  EXPECT_EQ(a.cleanHeight, IntToFixed(1080));
  EXPECT_EQ(a.productionWidth, IntToFixed(1920));
  EXPECT_EQ(a.productionHeight, IntToFixed(1080));
  EXPECT_EQ(a.encodedWidth, IntToFixed(1280));
  EXPECT_EQ(a.encodedHeight, IntToFixed(1080));
}

TEST_F(ApertureTest, WithoutAspectOrApertureEveryDimensionIsTheFrame) {
  ByteWriter w;
  writeImageFields(w, 1920, 1080);
  ASSERT_EQ(apply(describe(w)), noErr);
  ASSERT_TRUE(track_.aperture.has_value());
  const ApertureDimensions& a = *track_.aperture;
  for (Fixed width : {a.cleanWidth, a.productionWidth, a.encodedWidth}) {
    EXPECT_EQ(width, IntToFixed(1920));
  }
  for (Fixed height : {a.cleanHeight, a.productionHeight, a.encodedHeight}) {
    EXPECT_EQ(height, IntToFixed(1080));
  }
}

// NTSC 4:3: 704x480 of the 720x486 frame is clean, pixels 10:11 wide.
TEST_F(ApertureTest, TheCleanApertureIsScaledByThePixelAspect) {
  ByteWriter w;
  writeImageFields(w, 720, 486);
  writeCleanAperture(w, 7040, 10, 480, 1);
  writePixelAspect(w, 10, 11);
  ASSERT_EQ(apply(describe(w)), noErr);
  ASSERT_TRUE(track_.aperture.has_value());
  const ApertureDimensions& a = *track_.aperture;
  EXPECT_EQ(a.cleanWidth, IntToFixed(640));
  EXPECT_EQ(a.cleanHeight, IntToFixed(480));
  // 654.5454... pixels, to the nearest 1/65536.
  EXPECT_EQ(a.productionWidth, 42'896'291);
  EXPECT_EQ(a.productionHeight, IntToFixed(486));
  EXPECT_EQ(a.encodedWidth, IntToFixed(720));
  EXPECT_EQ(a.encodedHeight, IntToFixed(486));
}

TEST_F(ApertureTest, ZeroSpacingsAndDenominatorsAreIgnored) {
  ByteWriter w;
  writeImageFields(w, 1280, 720);
  writePixelAspect(w, 0, 1);
  writeCleanAperture(w, 1200, 0, 700, 0);
  ASSERT_EQ(apply(describe(w)), noErr);
  ASSERT_TRUE(track_.aperture.has_value());
  EXPECT_EQ(track_.aperture->cleanWidth, IntToFixed(1280));
  EXPECT_EQ(track_.aperture->cleanHeight, IntToFixed(720));
  EXPECT_EQ(track_.aperture->productionWidth, IntToFixed(1280));
}

TEST_F(ApertureTest, ExtensionsAfterAMalformedAtomAreNotRead) {
  for (uint32_t badSize : {4u, 1000u}) {
    ByteWriter w;
    writeImageFields(w, 1280, 1080);
    w.u32(badSize);
    w.fourCC(FourCC("junk"));
    writePixelAspect(w, 3, 2);
    ASSERT_EQ(apply(describe(w)), noErr) << badSize;
    ASSERT_TRUE(track_.aperture.has_value());
    EXPECT_EQ(track_.aperture->productionWidth, IntToFixed(1280)) << badSize;
  }
}

TEST_F(ApertureTest, AShortPixelAspectIsIgnored) {
  ByteWriter w;
  writeImageFields(w, 1280, 1080);
  {
    AtomScope pasp(w, FourCC("pasp"));
    w.u32(3);  // horizontal spacing, and no vertical spacing
  }
  ASSERT_EQ(apply(describe(w)), noErr);
  EXPECT_EQ(track_.aperture->productionWidth, IntToFixed(1280));
}

TEST_F(ApertureTest, ATooShortDescriptionIsRefused) {
  ByteWriter w;
  writeImageFields(w, 1280, 1080);
  Bytes body = w.take();
  body.pop_back();
  const auto description =
      std::make_shared<SampleDescription>(SampleDescription{FourCC("dvh6"), 1, body});
  EXPECT_EQ(apply(description), paramErr);
  EXPECT_EQ(apply(nullptr), paramErr);
  EXPECT_FALSE(track_.aperture.has_value());
}

// 16.16 holds widths below 32768: beyond, the dimensions cannot be set.
TEST_F(ApertureTest, DimensionsBeyondSixteenDotSixteenAreRefused) {
  ByteWriter wide;
  writeImageFields(wide, 40000, 1080);
  EXPECT_EQ(apply(describe(wide)), paramErr);

  ByteWriter stretched;
  writeImageFields(stretched, 1280, 1080);
  writePixelAspect(stretched, 100'000, 1);
  EXPECT_EQ(apply(describe(stretched)), paramErr);

  // A negative spacing written as a signed field reads as a huge unsigned one.
  ByteWriter negative;
  writeImageFields(negative, 1280, 1080);
  writePixelAspect(negative, static_cast<uint32_t>(-3), 2);
  EXPECT_EQ(apply(describe(negative)), paramErr);
  EXPECT_FALSE(track_.aperture.has_value());
}

TEST_F(ApertureTest, TheLargestWidthThatFitsIsKept) {
  ByteWriter w;
  writeImageFields(w, 32767, 1);
  ASSERT_EQ(apply(describe(w)), noErr);
  EXPECT_EQ(track_.aperture->encodedWidth, IntToFixed(32767));
}

TEST_F(ApertureTest, ASecondCallReplacesTheDimensions) {
  ByteWriter first;
  writeImageFields(first, 1280, 1080);
  writePixelAspect(first, 3, 2);
  ASSERT_EQ(apply(describe(first)), noErr);
  ByteWriter second;
  writeImageFields(second, 1440, 1080);
  writePixelAspect(second, 4, 3);
  ASSERT_EQ(apply(describe(second)), noErr);
  EXPECT_EQ(track_.aperture->productionWidth, IntToFixed(1920));
  EXPECT_EQ(track_.aperture->encodedWidth, IntToFixed(1440));
}

}  // namespace
}  // namespace premoov
