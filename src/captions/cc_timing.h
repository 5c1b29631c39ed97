#pragma once

#include <cstdint>

#include "media/cm_time.h"

namespace premoov {

// Caption timing per video frame duration: the numbers every caption sample depends on. Only the
// duration's value and timescale are read.
class ZPRCCUtilities {
 public:
  // The CEA-708 cdp_frame_rate code, 1 (23.976) to 8 (60); 0 for any other rate.
  static uint8_t cdpFrameRateForFrameDuration(const CMTime& frameDuration);
  // cc_data triplets per frame: 600 a second (CEA-708's 9600 bit/s) over the frame rate, kept to
  // its low 8 bits.
  static uint8_t ccCountForFrameDuration(const CMTime& frameDuration);
  // The room a caption sample gets in a movie: 3 x cc_count + 21 (the 'ccdp' atom header and a cdp
  // with header, cc_data head and footer, without the 16-byte service information section that
  // written packets also carry).
  static int32_t closedCaptionMaxSampleSizeForFrameDuration(const CMTime& frameDuration);
};

}  // namespace premoov
