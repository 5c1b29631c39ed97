#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

#include "base/ns_range.h"
#include "media/cm_time.h"
#include "media/core_media.h"
#include "media/core_video.h"

namespace premoov {

// Packet numbers of the caption builders, for the whole process. Meant for one caption stream
// driven from one thread; atomic so that callers on several threads get repeated numbers at
// worst, never a data race.
// gSequenceCounter: the next packet's sequence value (the test builder counts its calls in it).
extern std::atomic<int32_t> gSequenceCounter;
// gCEA708PacketCounter: the test builder's next DTVCC test packet (0: none).
extern std::atomic<int32_t> gCEA708PacketCounter;

// A CEA-608 byte pair as sent on line 21, parity bits included.
using CEA608Pair = std::array<uint8_t, 2>;

// The caption operations: timing per frame rate, and caption samples of one video frame each
// (class operations); line-21 captions drawn into and read from video frames (an instance).
class ZPRCCUtilities {
 public:
  // init: the three pixel runs made, no lines buffer and no transfer session yet. The calls that
  // make pictures and samples go through `video` and `media`.
  explicit ZPRCCUtilities(CoreVideo& video = defaultCoreVideo(),
                          CoreMedia& media = defaultCoreMedia());
  ZPRCCUtilities(const ZPRCCUtilities&) = delete;
  ZPRCCUtilities& operator=(const ZPRCCUtilities&) = delete;

  // Caption timing per video frame duration: the numbers every caption sample depends on. Only
  // the duration's value and timescale are read.
  // The CEA-708 cdp_frame_rate code, 1 (23.976) to 8 (60); 0 for any other rate.
  static uint8_t cdpFrameRateForFrameDuration(const CMTime& frameDuration);
  // cc_data triplets per frame: 600 a second (CEA-708's 9600 bit/s) over the frame rate, kept to
  // its low 8 bits.
  static uint8_t ccCountForFrameDuration(const CMTime& frameDuration);
  // The room a caption sample gets in a movie: 3 x cc_count + 21 (the 'ccdp' atom header and a cdp
  // with header, cc_data head and footer, without the 16-byte service information section that
  // written packets also carry).
  static int32_t closedCaptionMaxSampleSizeForFrameDuration(const CMTime& frameDuration);

  // "c708" samples: one 'ccdp' atom holding a caption distribution packet of 3 x cc_count + 37
  // bytes, timed at `pts` for `frameDuration`. The regular builders number their packets from
  // gSequenceCounter and ignore `sequenceCounter`. Each answers a new sample the caller holds, or
  // nothing when a media object cannot be made (through `media`).

  // closedCaption708SampleBufferWithPTS:frameDuration:sequenceCounter:cea608Bytes:
  // The field-1 pair (nullptr: none) copied as given.
  static CMSampleBufferRef closedCaption708SampleBufferWithPTS(
      const CMTime& pts, const CMTime& frameDuration, uint16_t sequenceCounter,
      const CEA608Pair* cea608Bytes, CoreMedia& media = defaultCoreMedia());
  // closedCaption708SampleBufferWithPTS:frameDuration:sequenceCounter:a53Data:
  // A/53 cc_data: exactly 60 bytes (20 triplets) are copied, as far as the packet's cc_data
  // reaches; any other length (none included) leaves the triplets zero. A zero frame duration or
  // cc_count makes nothing and takes no number.
  static CMSampleBufferRef closedCaption708SampleBufferWithPTS(
      const CMTime& pts, const CMTime& frameDuration, uint16_t sequenceCounter,
      std::span<const uint8_t> a53Data, CoreMedia& media = defaultCoreMedia());
  // emptyClosedCaption708SampleBufferWithPTS:frameDuration:sequenceCounter:
  static CMSampleBufferRef emptyClosedCaption708SampleBufferWithPTS(
      const CMTime& pts, const CMTime& frameDuration, uint16_t sequenceCounter,
      CoreMedia& media = defaultCoreMedia());
  // TESTclosedCaption708SampleBufferWithPTS:frameDuration:sequenceCounter:cea608Bytes:
  // The regular packet numbered `sequenceCounter`, carrying the next DTVCC test packet of a fixed
  // schedule (logged as it is sent).
  static CMSampleBufferRef TESTclosedCaption708SampleBufferWithPTS(
      const CMTime& pts, const CMTime& frameDuration, uint16_t sequenceCounter,
      const CEA608Pair* cea608Bytes, CoreMedia& media = defaultCoreMedia());

  // "c608" samples: CEA-608 byte pairs, raw or in a 'cdat' atom.

  // emptyClosedCaption608SampleBufferWithPTS:frameDuration:sequenceCounter:
  // The null pair 0x80 0x80 alone; `sequenceCounter` is not used.
  static CMSampleBufferRef emptyClosedCaption608SampleBufferWithPTS(
      const CMTime& pts, const CMTime& frameDuration, uint16_t sequenceCounter,
      CoreMedia& media = defaultCoreMedia());
  // conformSampleBufferToCEA708:frameDuration:
  // A "c708" sample is answered as it is (the very same object); a "c608" sample becomes a new
  // "c708" packet carrying its first pair (further pairs are dropped: one pair a frame, missing
  // bytes read as 0x80), timed at its presentation time; any other sample is answered as it is.
  static CMSampleBufferRef conformSampleBufferToCEA708(const CMSampleBufferRef& sample,
                                                       const CMTime& frameDuration,
                                                       CoreMedia& media = defaultCoreMedia());
  // conformSampleBufferToCEA608:frameDuration: — answers its sample as it is, whatever it holds.
  static CMSampleBufferRef conformSampleBufferToCEA608(const CMSampleBufferRef& sample,
                                                       const CMTime& frameDuration);
  // logSampleBuffer: — does nothing.
  static void logSampleBuffer(const CMSampleBufferRef& sample);

  // Caption character sets: the character one code stands for, as UTF-8 bytes that live as long
  // as the program. The caller has split the stream already and knows the set; 608 codes come
  // without their parity bit, and for a special or extended character only the pair's second
  // byte is passed. A code the set does not map gives no bytes, except in the basic 608 set,
  // which hands it back as the one byte it is.

  // dataWith608ASCIICharacter:
  static std::span<const uint8_t> dataWith608ASCIICharacter(uint8_t code);
  // dataWith608SpecialCharacter: — 0x30 to 0x3F.
  static std::span<const uint8_t> dataWith608SpecialCharacter(uint8_t code);
  // dataWith608ExtSpanishFrenchCharacter: — 0x20 to 0x3F.
  static std::span<const uint8_t> dataWith608ExtSpanishFrenchCharacter(uint8_t code);
  // dataWith608ExtPortugueseGermanDanishCharacter: — 0x20 to 0x3B.
  static std::span<const uint8_t> dataWith608ExtPortugueseGermanDanishCharacter(uint8_t code);
  // dataWith708G0Character: — 0x20 to 0x7F.
  static std::span<const uint8_t> dataWith708G0Character(uint8_t code);
  // dataWith708G1Character: — 0xA0 to 0xFF.
  static std::span<const uint8_t> dataWith708G1Character(uint8_t code);
  // dataWith708G2Character: — some of 0x20 to 0x3F, and 0x76 to 0x7F.
  static std::span<const uint8_t> dataWith708G2Character(uint8_t code);
  // dataWith708G3Character: — 0xA0, the caption logo.
  static std::span<const uint8_t> dataWith708G3Character(uint8_t code);

  // Line-21 captions in the top three rows of a frame, composed in a three-row 'BGRA' lines
  // buffer as wide as the frame and converted to and from the frame's format by a transfer
  // session. An instance serves one video stream from one thread.

  // generateCEA608RunIn: the 274-pixel run-in (1096 bytes of 'BGRA').
  static std::vector<uint8_t> generateCEA608RunIn();
  // generateCEA608BitWithValue: — one 27-pixel bit (108 bytes): high for nonzero, else black.
  static std::vector<uint8_t> generateCEA608BitWithValue(int8_t value);
  // updateCEA608PixelTransferSessionAndPixelBufferWithWidth:
  // Makes the lines buffer anew when the width changes (a NaN always counts as a change), and the
  // transfer session once.
  void updateCEA608PixelTransferSessionAndPixelBufferWithWidth(float width);
  // overlayCEA608FromBlockBuffer:videoPixelBuffer:
  // Draws the block's first two bytes (parity already in bit 7) into row 1 of the frame, the null
  // pair into row 2, black into row 0. Any failure leaves the frame as it was.
  void overlayCEA608FromBlockBuffer(const CMBlockBufferRef& blockBuffer,
                                    const CVPixelBufferRef& videoPixelBuffer);
  // pixelBufferWithRows:fromSampleBuffer:
  // A picture that wraps `rows` of the sample's frame without copying them, or nothing.
  CVPixelBufferRef pixelBufferWithRows(NSRange rows, const CMSampleBufferRef& fromSampleBuffer);
  // createClosedCaptionSampleFromCEA608VideoSampleBuffer:
  // A "c608" sample of the four bytes read from rows 1 and 2 of the frame, with the frame's
  // timing, or nothing. The second byte of the caption row and the first of the null row share
  // the second byte of the sample (ORed), the null row's second byte is the third, the fourth is
  // zero; parity bits are kept as read.
  CMSampleBufferRef createClosedCaptionSampleFromCEA608VideoSampleBuffer(
      const CMSampleBufferRef& videoSampleBuffer);

  // CEA-708 caption samples from the ancillary rows a capture device delivers beside the picture
  // (SMPTE 334 caption packets, DID 0x61 SDID 0x01, in SMPTE 291 packets).
  // createClosedCaptionSampleFromCEA708DataBuffer:size:bytesPerRow:bufferFormat:timingInfo:
  // A "c708" sample of the first caption packet in `size` bytes of rows ('2vuy' or 'v210'), with
  // `timingInfo` as given, or nothing. As recorders have always read these rows: a row is read
  // from its start and given up at the first word that starts no packet; '2vuy' takes the
  // packet's cdp_length bytes, 'v210' its data count from the fifth word of the row whatever the
  // packet's place, and steps over other packets by their data count in words. Nothing is read
  // past `size`: a packet that would run past it ends the scan of its row, logged.
  CMSampleBufferRef createClosedCaptionSampleFromCEA708DataBuffer(const uint8_t* dataBuffer,
                                                                  uint32_t size,
                                                                  uint32_t bytesPerRow,
                                                                  FourCC bufferFormat,
                                                                  CMSampleTimingInfo timingInfo);

  // The instance's state, for tests and tools that check it.
  const CVPixelBufferRef& cea608LinesPixelBuffer() const { return cea608LinesPixelBuffer_; }
  const VTPixelTransferSessionRef& transferSession() const { return transferSession_; }
  float cea608PixelBufferWidth() const { return cea608PixelBufferWidth_; }

 private:
  void drawCEA608Rows(uint8_t* base, size_t bytesPerRow, uint8_t first, uint8_t second) const;
  void transferRowsIntoFrame(const CVPixelBufferRef& videoPixelBuffer);

  CoreVideo& video_;
  CoreMedia& media_;
  VTPixelTransferSessionRef transferSession_;
  CVPixelBufferRef cea608LinesPixelBuffer_;
  float cea608PixelBufferWidth_ = 0;
  std::vector<uint8_t> cea608RunInData_;
  std::vector<uint8_t> cea608BitOnOneData_;
  std::vector<uint8_t> cea608BitOnZeroData_;
};

}  // namespace premoov
