#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "media/pixel_buffer.h"
#include "media/video_range.h"

namespace premoov {

using VTStatus = int32_t;
inline constexpr VTStatus kVTParameterErr = -12902;
inline constexpr VTStatus kVTInvalidSessionErr = -12903;
inline constexpr VTStatus kVTAllocationFailedErr = -12904;
inline constexpr VTStatus kVTPixelTransferNotSupportedErr = -12905;

// Copies one picture into another, converting between the supported pixel formats and fitting
// the source to the destination's size. The fit is nearest-neighbour, top- and left-aligned:
// destination row d shows source row floor(d x source height / destination height), and likewise
// for columns. So two source rows fitted to three destination rows give rows 0, 0 and 1: the
// second and third destination rows are the two source rows in order, which is where line-21
// reading samples them. A session keeps its working row between transfers; one session serves
// one thread.
class VTPixelTransferSession {
 public:
  // Answers 0, or a status saying why nothing was written: a missing or empty picture, a picture
  // without memory, or a format the session does not convert.
  VTStatus transferImage(const CVPixelBuffer& source, CVPixelBuffer& destination);

 private:
  std::vector<RGBPixel> sourceRow_;
  std::vector<RGBPixel> destinationRow_;
};
using VTPixelTransferSessionRef = std::shared_ptr<VTPixelTransferSession>;

}  // namespace premoov
