#pragma once

#include <cstdint>
#include <span>

#include "base/four_char_code.h"
#include "media/cm_time.h"
#include "media/core_media.h"

namespace premoov {

// A caption sample ("clcp" of `subtype`) holding `bytes`, made as every caption builder makes it:
// a block of exactly its size, zero-filled and written through its data pointer, then the format
// description, then a ready sample of one entry each of timing (the frame duration at `pts`, no
// decode time) and size. Nothing when a media object cannot be made.
CMSampleBufferRef captionSample(std::span<const uint8_t> bytes, FourCC subtype, const CMTime& pts,
                                const CMTime& frameDuration, CoreMedia& media);

}  // namespace premoov
