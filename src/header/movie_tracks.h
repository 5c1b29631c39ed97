#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "header/header_settings.h"
#include "movie/toolbox.h"

namespace premoov {

// A failure message for the client, or nothing on success.
using Failure = std::optional<std::string>;

inline constexpr int kMaxAudioTracks = 16;

// The tracks of one request with their media and sample descriptions.
struct MovieTracks {
  Track* video = nullptr;
  Media* videoMedia = nullptr;
  SampleDescriptionHandle videoDescription;
  std::vector<Track*> audio;
  std::vector<Media*> audioMedia;
  std::vector<SampleDescriptionHandle> audioDescriptions;  // may hold nulls (logged failures)
  Track* closedCaption = nullptr;
  Media* closedCaptionMedia = nullptr;
  SampleDescriptionHandle closedCaptionDescription;
  Track* timecode = nullptr;
  Media* timecodeMedia = nullptr;
  SampleDescriptionHandle timecodeDescription;
  DataReference fileReference;
};

// addMediaDataRef:forMedia:trackType:error:
// Gives `media` the file reference (after its placeholder, or in its place) with attribute 1.
bool addMediaDataRef(Toolbox& toolbox, const DataReference& dataRef, Media& media,
                     const std::string& trackType, std::string* error);

// Creates the video, audio, closed-caption and timecode tracks in that order, with their media,
// placeholder and file data references, descriptions and the timecode's reel name.
Failure makeTracks(Toolbox& toolbox, Movie& movie, const HeaderSettings& settings,
                   const std::string& path, const SampleDescriptionHandle& videoDescription,
                   const std::vector<SampleDescriptionHandle>& soundDescriptions,
                   MovieTracks& tracks);

// Edits each medium into its track over its whole duration, ties the video to the timecode and
// sets the aperture of DVCPRO HD video.
Failure insertMediaIntoTracks(Toolbox& toolbox, const HeaderSettings& settings,
                              MovieTracks& tracks);

}  // namespace premoov
