#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "header/quicktime_movie_creator.h"
#include "movie/toolbox.h"
#include "plist/value.h"

namespace premoov {

struct ImageDescriptionSettings {
  uint32_t codec = 0;
  std::optional<std::string> formatName;
  VideoDimensions dimensions;
  int16_t colorPrimaries = 0;
  int16_t transferFunction = 0;
  int16_t matrix = 0;
  uint8_t numberOfFields = 0;
  uint8_t fieldOrder = 0;
  int32_t horizontalSpacing = 0;
  int32_t verticalSpacing = 0;
  const Value* extensionAtoms = nullptr;  // atom type -> data; may be null or lack keys
};

// The video sample description: the image description record (kept in the big-endian form it
// takes in the file) followed by its extension atoms: the codec's own 'ACLR', 'APRG' and 'ARES'
// when given, then 'colr', 'fiel', 'pasp', and 'clap' for DVCPRO HD.
SampleDescriptionHandle makeImageDescription(const ImageDescriptionSettings& settings);

// The size the image description block is given, from the codec and format name alone: 298 for
// 'AVdn', 170 for a "DVCPRO HD" format name, else 130.
uint32_t imageDescriptionSize(uint32_t codec, const std::optional<std::string>& formatName);

// True for format names that begin with "DVCPRO HD" (case-sensitive).
bool isDVCPROHD(const std::optional<std::string>& formatName);

// A sound description for one audio track, or null (logged) when the toolbox cannot make one.
SampleDescriptionHandle makeSoundDescription(Toolbox& toolbox,
                                             const AudioStreamBasicDescription& asbd,
                                             const AudioChannelLayout* layout);

// The 16-byte closed-caption description ('c708') and the 38-byte timecode description.
SampleDescriptionHandle makeClosedCaptionDescription();
SampleDescriptionHandle makeTimecodeDescription(bool dropFrame, const CMTime& frameDuration);

}  // namespace premoov
