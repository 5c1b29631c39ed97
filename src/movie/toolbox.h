#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "media/audio_types.h"
#include "movie/movie.h"
#include "movie/movie_types.h"

namespace premoov {

using Handle = std::vector<uint8_t>;

// The movie toolbox the header writer talks to: movies, tracks, media, data references, sample
// references and tables, user data, metadata and serialisation. Calls that can fail answer a
// status (0 is success) so that callers can report which call failed and why. Every call is
// virtual so that tests can stand in a toolbox that fails any named call (FaultInjectingToolbox).
class Toolbox {
 public:
  virtual ~Toolbox() = default;

  // Process-wide and per-thread set-up; kept for the order of calls, they hold no state here.
  virtual OSErr EnterMovies();
  virtual OSErr EnterMoviesOnThread(uint32_t flags);
  virtual OSErr ExitMoviesOnThread();

  virtual OSErr NewMovie(uint32_t flags, std::unique_ptr<Movie>* movie);
  virtual void SetMovieTimeScale(Movie& movie, TimeScale timescale);
  virtual void DisposeMovie(std::unique_ptr<Movie>& movie);

  // width and height 16.16, volume 8.8.
  virtual OSErr NewMovieTrack(Movie& movie, Fixed width, Fixed height, ShortFixed volume,
                              Track** track);
  virtual OSErr NewTrackMedia(Track& track, OSType mediaType, TimeScale timescale,
                              const DataReference& dataRef, OSType dataRefType, Media** media);
  virtual void SetMediaPreferredChunkSize(Media& media, int32_t bytes);

  // An 'alis' data reference to the file at `path` (pathStyle -1 is the native style).
  virtual OSErr QTNewDataReferenceFromFullPathCFString(std::string_view path, int32_t pathStyle,
                                                       uint32_t flags, DataReference* dataRef);
  virtual OSErr AddMediaDataRef(Media& media, int16_t* index, const DataReference& dataRef,
                                OSType dataRefType);
  virtual OSErr SetMediaDataRef(Media& media, int16_t index, const DataReference& dataRef,
                                OSType dataRefType);
  virtual OSErr SetMediaDataRefAttributes(Media& media, int16_t index, int32_t attributes);

  virtual OSErr AddMediaSampleReferences64(Media& media, const SampleDescriptionHandle& description,
                                           uint32_t numberOfSamples,
                                           const SampleReference64Record* sampleRefs,
                                           TimeValue64* sampleTime);

  virtual OSErr QTSampleTableCreateMutable(TimeScale timescale,
                                           std::unique_ptr<SampleTable>* table);
  virtual OSErr QTSampleTableAddSampleDescription(SampleTable& table,
                                                  const SampleDescriptionHandle& description,
                                                  int32_t mediaDescriptionIndex, int64_t* id);
  virtual OSErr QTSampleTableAddSampleReferences(SampleTable& table, int64_t dataOffset,
                                                 uint32_t dataSize, TimeValue64 decodeDuration,
                                                 TimeValue64 displayOffset, int64_t numberOfSamples,
                                                 uint32_t sampleFlags, int64_t descriptionID,
                                                 int64_t* newSampleNum);
  virtual int64_t QTSampleTableGetNumberOfSamples(const SampleTable& table);
  // Samples `firstSample` (1-based) and on of `table` into `media`. The whole table into a medium
  // that holds no samples yet is moved rather than copied and leaves the table empty.
  virtual OSErr AddSampleTableToMedia(Media& media, SampleTable& table, int64_t firstSample,
                                      int64_t numberOfSamples, TimeValue64* sampleTime);
  virtual void QTSampleTableRelease(std::unique_ptr<SampleTable>& table);

  virtual TimeValue64 GetMediaDuration(const Media& media);
  // Edits the media's [mediaTime, mediaTime + mediaDuration) into the track at trackStart (movie
  // time scale). 64-bit times, so that recordings of many hours do not wrap. Edits are appended:
  // a start inside the track is refused, one past its end leaves an empty edit first, and a range
  // shorter than one unit of the movie's time scale inserts nothing.
  virtual OSErr InsertMediaIntoTrack(Track& track, TimeValue64 trackStart, TimeValue64 mediaTime,
                                     TimeValue64 mediaDuration, Fixed mediaRate);
  virtual OSErr AddTrackReference(Track& track, const Track& referenced, OSType refType,
                                  int32_t* index);
  virtual OSErr SetTrackApertureModeDimensionsUsingSampleDescription(
      Track& track, const SampleDescriptionHandle& description);

  // A sound description for `asbd` with an optional channel layout of `layoutSize` bytes.
  virtual OSErr QTSoundDescriptionCreate(const AudioStreamBasicDescription& asbd,
                                         const AudioChannelLayout* layout, uint32_t layoutSize,
                                         const void* magicCookie, uint32_t magicCookieSize,
                                         OSType descriptionKind,
                                         SampleDescriptionHandle* description);

  virtual OSErr NewUserData(UserData* userData);
  virtual OSErr AddUserDataText(UserData& userData, std::string_view text, OSType udType,
                                int32_t index, int16_t regionCode);
  virtual void DisposeUserData(UserData& userData);
  // The timecode media handler's source reference: the reel name travels in the description.
  virtual OSErr TCSetSourceRef(Media& timecodeMedia, const SampleDescriptionHandle& description,
                               const UserData& sourceRef);

  virtual OSErr QTCopyMovieMetaData(Movie& movie, Movie** metaDataRef);
  virtual OSErr QTMetaDataAddItem(Movie& metaDataRef, OSType storageFormat, OSType keyFormat,
                                  const uint8_t* key, uint32_t keySize, const uint8_t* value,
                                  uint32_t valueSize, uint32_t dataType);
  virtual void QTMetaDataRelease(Movie* metaDataRef);

  // Serialises `movie` as a 'moov' atom into `handle`; references equal to `dataRef` become
  // references to the file that holds the movie itself.
  virtual OSErr PutMovieForDataRefIntoHandle(const Movie& movie, const DataReference& dataRef,
                                             OSType dataRefType, Handle& handle);
};

// The toolbox of the process (the one this library builds).
Toolbox& defaultToolbox();

}  // namespace premoov
