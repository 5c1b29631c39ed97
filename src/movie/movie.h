#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "movie/movie_types.h"
#include "movie/sample_runs.h"

namespace premoov {

struct MediaDataReference {
  DataReference reference;
  int32_t attributes = 0;
};

struct Media {
  OSType type;
  TimeScale timescale = 0;
  int32_t preferredChunkSize = 0;
  std::vector<MediaDataReference> dataReferences;  // index 1 is the first
  std::vector<SampleDescriptionHandle> descriptions;
  SampleRuns runs;
  // Timecode media: the user data attached to the sample description (the reel name).
  UserData timecodeSourceUserData;

  // Sum of every sample's decode duration, in the media's time scale (saturating).
  int64_t duration() const;
  uint64_t sampleCount() const;
  // 1-based index of `description`, adding it when new.
  uint32_t indexOfDescription(const SampleDescriptionHandle& description);
};

struct Edit {
  int64_t trackDuration = 0;  // in the movie's time scale
  int64_t mediaTime = 0;      // in the media's time scale
  Fixed rate = kFixed1;
};

struct TrackReference {
  OSType type;
  std::vector<uint32_t> trackIDs;
};

// Clean, production and encoded aperture dimensions (16.16 fixed), width then height.
struct ApertureDimensions {
  Fixed cleanWidth = 0, cleanHeight = 0;
  Fixed productionWidth = 0, productionHeight = 0;
  Fixed encodedWidth = 0, encodedHeight = 0;
};

struct Movie;

struct Track {
  const Movie* movie = nullptr;  // the movie that owns the track
  uint32_t trackID = 0;
  Fixed width = 0;  // 16.16
  Fixed height = 0;
  ShortFixed volume = 0;  // 8.8
  bool enabled = true;
  std::unique_ptr<Media> media;
  std::vector<Edit> edits;
  std::vector<TrackReference> references;
  std::optional<ApertureDimensions> aperture;

  int64_t duration() const;  // in the movie's time scale
};

// A typed value of the movie's metadata: 'mdta' keyed items and 'udta' items.
struct MetaDataItem {
  OSType storageFormat;  // 'mdta' or 'udta'
  OSType keyFormat;
  std::vector<uint8_t> key;
  std::vector<uint8_t> value;
  uint32_t dataType = 0;  // well-known type: 1 UTF-8, 21 signed integer, 24 64-bit float
};

struct Movie {
  TimeScale timescale = 600;
  std::vector<std::unique_ptr<Track>> tracks;
  std::vector<MetaDataItem> metadata;

  int64_t duration() const;  // the longest track, in the movie's time scale
  uint32_t nextTrackID() const { return static_cast<uint32_t>(tracks.size()) + 1; }
};

// A sample table being built: samples of one or more descriptions, each with its own size,
// durations and flags (the long-GOP path).
struct SampleTable {
  TimeScale timescale = 0;
  std::vector<SampleDescriptionHandle> descriptions;  // ids are 1-based indexes
  SampleRuns runs;                                    // descriptionIndex is the id here

  int64_t sampleCount() const { return static_cast<int64_t>(runs.summary().samples()); }
};

}  // namespace premoov
