#pragma once

#include <optional>
#include <string>

#include "header/movie_tracks.h"
#include "movie/toolbox.h"
#include "plist/value.h"

namespace premoov {

// The key of the recording software's name among the movie's metadata.
inline constexpr const char* kSoftwareMetadataKey = "com.apple.quicktime.software";

// Stores the recording software's name, the growing-file flag (user data 'fgff') and the
// request's metadata items in the movie. Only a failure to store the software's name fails the
// request; the others are logged and the header is still made.
Failure writeMovieMetadata(Toolbox& toolbox, Movie& movie,
                           const std::optional<std::string>& software, bool growing,
                           const std::optional<Value>& metadataItems);

}  // namespace premoov
