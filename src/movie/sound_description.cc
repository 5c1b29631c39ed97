#include <bit>
#include <cmath>

#include "base/atom_writer.h"
#include "base/byte_writer.h"
#include "movie/toolbox.h"

namespace premoov {
namespace {

constexpr FourCC kMovieSoundDescriptionAnyVersion("mvny");

bool isIntegerPCM(const AudioStreamBasicDescription& asbd) {
  return asbd.mFormatID == kAudioFormatLinearPCM &&
         (asbd.mFormatFlags & kAudioFormatFlagIsFloat) == 0;
}

// Version 0 holds 8- and 16-bit integer PCM of one or two interleaved channels at rates below
// 65536 Hz, and has no room for a channel layout. Its 16-bit formats ('twos', 'sowt') are signed:
// unsigned 16-bit samples keep their flags in version 2.
bool fitsVersion0(const AudioStreamBasicDescription& asbd, const AudioChannelLayout* layout) {
  const bool isSigned = (asbd.mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0;
  return layout == nullptr && isIntegerPCM(asbd) &&
         (asbd.mBitsPerChannel == 8 || (asbd.mBitsPerChannel == 16 && isSigned)) &&
         (asbd.mChannelsPerFrame == 1 || asbd.mChannelsPerFrame == 2) &&
         (asbd.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0 &&
         asbd.mBytesPerFrame == asbd.mChannelsPerFrame * asbd.mBitsPerChannel / 8 &&
         asbd.mSampleRate < 65536.0;
}

FourCC version0Format(const AudioStreamBasicDescription& asbd) {
  if (asbd.mBitsPerChannel == 8) {
    return (asbd.mFormatFlags & kAudioFormatFlagIsSignedInteger) ? FourCC("twos") : FourCC("raw ");
  }
  return (asbd.mFormatFlags & kAudioFormatFlagIsBigEndian) ? FourCC("twos") : FourCC("sowt");
}

// The channel layout atom: CoreAudio's record, big-endian.
void writeChannelLayout(ByteWriter& w, const AudioChannelLayout& layout) {
  AtomScope chan(w, FourCC("chan"), 0, 0);
  w.u32(layout.mChannelLayoutTag);                                   // layout tag
  w.u32(layout.mChannelBitmap);                                      // channel bitmap
  w.u32(static_cast<uint32_t>(layout.mChannelDescriptions.size()));  // description count
  for (const auto& d : layout.mChannelDescriptions) {
    w.u32(d.mChannelLabel);                                            // channel label
    w.u32(d.mChannelFlags);                                            // channel flags
    for (float c : d.mCoordinates) w.u32(std::bit_cast<uint32_t>(c));  // coordinates
  }
}

}  // namespace

OSErr Toolbox::QTSoundDescriptionCreate(const AudioStreamBasicDescription& asbd,
                                        const AudioChannelLayout* layout, uint32_t layoutSize,
                                        const void* magicCookie, uint32_t magicCookieSize,
                                        OSType descriptionKind,
                                        SampleDescriptionHandle* description) {
  *description = nullptr;
  if (descriptionKind != kMovieSoundDescriptionAnyVersion) return paramErr;
  if (!(asbd.mSampleRate > 0) || !std::isfinite(asbd.mSampleRate) || asbd.mFormatID == 0 ||
      asbd.mChannelsPerFrame == 0) {
    return paramErr;
  }
  if (isIntegerPCM(asbd) && (asbd.mBytesPerPacket == 0 || asbd.mFramesPerPacket != 1)) {
    return paramErr;
  }
  if (layout != nullptr && layoutSize != layout->byteSize()) return paramErr;
  if (magicCookieSize > 0 && magicCookie == nullptr) return paramErr;

  auto made = std::make_shared<SampleDescription>();
  ByteWriter w;
  if (fitsVersion0(asbd, layout) && magicCookieSize == 0) {
    made->format = version0Format(asbd);
    w.u16(0);                                                  // version
    w.u16(0);                                                  // revision level
    w.u32(0);                                                  // vendor
    w.u16(static_cast<uint16_t>(asbd.mChannelsPerFrame));      // number of channels
    w.u16(static_cast<uint16_t>(asbd.mBitsPerChannel));        // sample size, bits
    w.u16(0);                                                  // compression id
    w.u16(0);                                                  // packet size
    w.u32(static_cast<uint32_t>(asbd.mSampleRate * 65536.0));  // sample rate, 16.16
  } else {
    made->format = FourCC(asbd.mFormatID);
    w.u16(2);                       // version
    w.u16(0);                       // revision level
    w.u32(0);                       // vendor
    w.u16(3);                       // always 3
    w.u16(16);                      // always 16
    w.i16(-2);                      // always -2
    w.u16(0);                       // always 0
    w.u32(0x00010000);              // always 65536
    w.u32(72);                      // size of the version 2 fields
    w.f64(asbd.mSampleRate);        // sample rate, 64-bit float
    w.u32(asbd.mChannelsPerFrame);  // number of channels
    w.u32(0x7F000000);              // always 0x7F000000
    w.u32(asbd.mBitsPerChannel);    // bits per channel
    w.u32(asbd.mFormatFlags);       // format-specific flags
    w.u32(asbd.mBytesPerPacket);    // bytes per audio packet
    w.u32(asbd.mFramesPerPacket);   // frames per audio packet
    if (layout != nullptr) writeChannelLayout(w, *layout);
    if (magicCookieSize > 0) {
      AtomScope wave(w, FourCC("wave"));
      w.bytes({static_cast<const uint8_t*>(magicCookie), magicCookieSize});
    }
  }
  made->dataReferenceIndex = 1;
  made->body = w.take();
  *description = std::move(made);
  return noErr;
}

}  // namespace premoov
