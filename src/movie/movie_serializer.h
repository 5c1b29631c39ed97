#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "movie/movie.h"
#include "movie/movie_types.h"

namespace premoov {

// Why `movie` cannot be written as a header whose samples all lie in the file `selfReference`
// names: a track without media, a media that refers to another file, a value too large for its
// field, a metadata item of unknown storage. Nothing when it can be written as it stands.
std::optional<std::string> serializationProblem(const Movie& movie,
                                                const DataReference& selfReference);

// The movie as one big-endian 'moov' atom: its header, a 'trak' per track with media, then its
// user data and metadata. Every sample description refers to the file that holds the movie
// itself (the one `selfReference` names) through a single self-referencing data reference.
// Durations that do not fit 32 bits take the 64-bit versions of their atoms. Values that
// serializationProblem() reports are clamped or left out, so the result is always well formed.
std::vector<uint8_t> serializeMovie(const Movie& movie, const DataReference& selfReference);
// The same into `out`, replacing what it held but keeping its capacity: a caller that reserved
// the room the header will take gets it without a copy.
void serializeMovie(const Movie& movie, const DataReference& selfReference,
                    std::vector<uint8_t>& out);

}  // namespace premoov
