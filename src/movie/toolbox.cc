#include "movie/toolbox.h"

#include <limits>

#include "base/log.h"
#include "media/cm_time.h"
#include "movie/movie_serializer.h"

namespace premoov {

OSErr Toolbox::EnterMovies() { return noErr; }
OSErr Toolbox::EnterMoviesOnThread(uint32_t) { return noErr; }
OSErr Toolbox::ExitMoviesOnThread() { return noErr; }

OSErr Toolbox::NewMovie(uint32_t, std::unique_ptr<Movie>* movie) {
  *movie = std::make_unique<Movie>();
  return noErr;
}

void Toolbox::SetMovieTimeScale(Movie& movie, TimeScale timescale) { movie.timescale = timescale; }

void Toolbox::DisposeMovie(std::unique_ptr<Movie>& movie) { movie.reset(); }

OSErr Toolbox::NewMovieTrack(Movie& movie, Fixed width, Fixed height, ShortFixed volume,
                             Track** track) {
  auto made = std::make_unique<Track>();
  made->movie = &movie;
  made->trackID = movie.nextTrackID();
  made->width = width;
  made->height = height;
  made->volume = volume;
  *track = made.get();
  movie.tracks.push_back(std::move(made));
  return noErr;
}

OSErr Toolbox::NewTrackMedia(Track& track, OSType mediaType, TimeScale timescale,
                             const DataReference& dataRef, OSType dataRefType, Media** media) {
  if (timescale <= 0 || track.media) return paramErr;
  auto made = std::make_unique<Media>();
  made->type = mediaType;
  made->timescale = timescale;
  DataReference reference = dataRef;
  reference.type = dataRefType;
  made->dataReferences.push_back({std::move(reference), 0});
  track.media = std::move(made);
  *media = track.media.get();
  return noErr;
}

void Toolbox::SetMediaPreferredChunkSize(Media& media, int32_t bytes) {
  media.preferredChunkSize = bytes;
}

OSErr Toolbox::QTNewDataReferenceFromFullPathCFString(std::string_view path, int32_t, uint32_t,
                                                      DataReference* dataRef) {
  // A full path is needed to name the file once the movie is opened elsewhere.
  if (path.empty() || path.front() != '/') return paramErr;
  *dataRef = DataReference{AliasDataHandlerSubType, std::string(path), {}};
  return noErr;
}

OSErr Toolbox::AddMediaDataRef(Media& media, int16_t* index, const DataReference& dataRef,
                               OSType dataRefType) {
  if (media.dataReferences.size() >= static_cast<size_t>(std::numeric_limits<int16_t>::max())) {
    return badDataRefIndex;
  }
  DataReference reference = dataRef;
  reference.type = dataRefType;
  media.dataReferences.push_back({std::move(reference), 0});
  *index = static_cast<int16_t>(media.dataReferences.size());
  return noErr;
}

OSErr Toolbox::SetMediaDataRef(Media& media, int16_t index, const DataReference& dataRef,
                               OSType dataRefType) {
  if (index < 1 || static_cast<size_t>(index) > media.dataReferences.size()) {
    return badDataRefIndex;
  }
  DataReference reference = dataRef;
  reference.type = dataRefType;
  media.dataReferences[static_cast<size_t>(index) - 1].reference = std::move(reference);
  return noErr;
}

OSErr Toolbox::SetMediaDataRefAttributes(Media& media, int16_t index, int32_t attributes) {
  if (index < 1 || static_cast<size_t>(index) > media.dataReferences.size()) {
    return badDataRefIndex;
  }
  media.dataReferences[static_cast<size_t>(index) - 1].attributes = attributes;
  return noErr;
}

namespace {

// A run of `count` samples that together take `dataSize` bytes: each sample gets an equal share.
OSErr makeRun(uint64_t offset, uint64_t dataSize, uint64_t count, uint32_t duration,
              SampleRun* run) {
  if (count == 0) return noErr;
  if (count > std::numeric_limits<uint32_t>::max() || dataSize % count != 0) return paramErr;
  run->offset = offset;
  run->sampleSize = static_cast<uint32_t>(dataSize / count);
  run->count = static_cast<uint32_t>(count);
  run->decodeDuration = duration;
  return noErr;
}

}  // namespace

OSErr Toolbox::AddMediaSampleReferences64(Media& media, const SampleDescriptionHandle& description,
                                          uint32_t numberOfSamples,
                                          const SampleReference64Record* sampleRefs,
                                          TimeValue64* sampleTime) {
  if (!description || (numberOfSamples > 0 && sampleRefs == nullptr)) return paramErr;
  if (sampleTime) *sampleTime = media.duration();
  // Every reference is checked before any is recorded, so that a failed call leaves the media
  // as it was.
  bool anySamples = false;
  for (uint32_t i = 0; i < numberOfSamples; ++i) {
    const SampleReference64Record& ref = sampleRefs[i];
    SampleRun run;
    if (OSErr err = makeRun(ref.dataOffset, ref.dataSize, ref.numberOfSamples,
                            ref.durationPerSample, &run)) {
      return err;
    }
    anySamples |= run.count > 0;
  }
  if (!anySamples) return noErr;  // a reference to no samples records nothing
  const uint32_t descriptionIndex = media.indexOfDescription(description);
  for (uint32_t i = 0; i < numberOfSamples; ++i) {
    const SampleReference64Record& ref = sampleRefs[i];
    SampleRun run;
    (void)makeRun(ref.dataOffset, ref.dataSize, ref.numberOfSamples, ref.durationPerSample, &run);
    if (run.count == 0) continue;
    run.flags = ref.sampleFlags;
    run.descriptionIndex = descriptionIndex;
    media.runs.push_back(run);
  }
  return noErr;
}

OSErr Toolbox::QTSampleTableCreateMutable(TimeScale timescale,
                                          std::unique_ptr<SampleTable>* table) {
  if (timescale <= 0) return paramErr;
  *table = std::make_unique<SampleTable>();
  (*table)->timescale = timescale;
  return noErr;
}

OSErr Toolbox::QTSampleTableAddSampleDescription(SampleTable& table,
                                                 const SampleDescriptionHandle& description,
                                                 int32_t, int64_t* id) {
  if (!description) return paramErr;
  table.descriptions.push_back(description);
  *id = static_cast<int64_t>(table.descriptions.size());
  return noErr;
}

OSErr Toolbox::QTSampleTableAddSampleReferences(SampleTable& table, int64_t dataOffset,
                                                uint32_t dataSize, TimeValue64 decodeDuration,
                                                TimeValue64 displayOffset, int64_t numberOfSamples,
                                                uint32_t sampleFlags, int64_t descriptionID,
                                                int64_t* newSampleNum) {
  // A decode duration is a 'stts' delta (unsigned 32-bit), a display offset a 'ctts' one (signed).
  if (dataOffset < 0 || numberOfSamples < 0 || descriptionID < 1 ||
      descriptionID > static_cast<int64_t>(table.descriptions.size()) || decodeDuration < 0 ||
      decodeDuration > std::numeric_limits<uint32_t>::max() ||
      displayOffset < std::numeric_limits<int32_t>::min() ||
      displayOffset > std::numeric_limits<int32_t>::max()) {
    return paramErr;
  }
  // Here the size is that of each sample.
  SampleRun run;
  if (OSErr err = makeRun(static_cast<uint64_t>(dataOffset),
                          uint64_t{dataSize} * static_cast<uint64_t>(numberOfSamples),
                          static_cast<uint64_t>(numberOfSamples),
                          static_cast<uint32_t>(decodeDuration), &run)) {
    return err;
  }
  if (newSampleNum) *newSampleNum = table.sampleCount() + 1;
  if (run.count == 0) return noErr;
  run.displayOffset = static_cast<int32_t>(displayOffset);
  run.flags = sampleFlags;
  run.descriptionIndex = static_cast<uint32_t>(descriptionID);
  table.runs.push_back(run);
  return noErr;
}

int64_t Toolbox::QTSampleTableGetNumberOfSamples(const SampleTable& table) {
  return table.sampleCount();
}

OSErr Toolbox::AddSampleTableToMedia(Media& media, SampleTable& table, int64_t firstSample,
                                     int64_t numberOfSamples, TimeValue64* sampleTime) {
  if (table.timescale != media.timescale) return invalidSampleTable;
  const int64_t tableSamples = table.sampleCount();
  // Compared as "samples left after the first", which cannot overflow as a sum could.
  if (firstSample < 1 || numberOfSamples < 0 ||
      numberOfSamples > tableSamples - (firstSample - 1)) {
    return paramErr;
  }
  if (sampleTime) *sampleTime = media.duration();
  // The media's index of each table description, added to the media at its first use.
  std::vector<uint32_t> mediaIndexOf(table.descriptions.size(), 0);
  const auto renumber = [&](uint32_t id) {
    uint32_t& index = mediaIndexOf[id - 1];
    if (index == 0) index = media.indexOfDescription(table.descriptions[id - 1]);
    return index;
  };
  // The whole table into a medium without samples: its runs move over instead of being copied,
  // so the samples are never held twice. The table is left empty.
  if (firstSample == 1 && numberOfSamples == tableSamples && media.runs.empty()) {
    media.runs = std::move(table.runs);
    table.runs.clear();
    media.runs.renumberDescriptions(renumber);
    return noErr;
  }
  int64_t sampleNumber = 1;  // of the first sample of the current run
  const int64_t last = firstSample + numberOfSamples - 1;
  for (const SampleRun& run : table.runs) {
    const int64_t runLast = sampleNumber + run.count - 1;
    if (runLast >= firstSample && sampleNumber <= last) {
      const int64_t from = std::max(sampleNumber, firstSample);
      const int64_t to = std::min(runLast, last);
      SampleRun piece = run;
      piece.offset += static_cast<uint64_t>(from - sampleNumber) * run.sampleSize;
      piece.count = static_cast<uint32_t>(to - from + 1);
      piece.descriptionIndex = renumber(run.descriptionIndex);
      media.runs.push_back(piece);
    }
    sampleNumber = runLast + 1;
  }
  return noErr;
}

void Toolbox::QTSampleTableRelease(std::unique_ptr<SampleTable>& table) { table.reset(); }

TimeValue64 Toolbox::GetMediaDuration(const Media& media) { return media.duration(); }

OSErr Toolbox::InsertMediaIntoTrack(Track& track, TimeValue64 trackStart, TimeValue64 mediaTime,
                                    TimeValue64 mediaDuration, Fixed mediaRate) {
  if (!track.media || track.movie == nullptr) return invalidTrack;
  if (trackStart < 0 || mediaTime < 0 || mediaDuration < 0 || mediaRate <= 0) return paramErr;
  const int64_t available = track.media->duration();
  if (mediaTime > available || mediaDuration > available - mediaTime) return paramErr;
  // Edits are only appended: inserting inside the track would need its edits split.
  const int64_t trackEnd = track.duration();
  if (trackStart < trackEnd) return paramErr;
  const CMTime inMovie =
      CMTimeConvertScale(CMTimeMake(mediaDuration, track.media->timescale), track.movie->timescale,
                         CMTimeRoundingMethod::kCMTimeRoundingMethod_QuickTime);
  if (!inMovie.isValid() ||
      (inMovie.flags & (kCMTimeFlags_PositiveInfinity | kCMTimeFlags_NegativeInfinity)) != 0) {
    return paramErr;
  }
  // Media shorter than one unit of the movie's time scale rounds to nothing: an edit of no
  // duration would select no media, so nothing is inserted, as for an empty range.
  if (inMovie.value == 0) return noErr;
  // An empty stretch before the edit when it does not start where the track ends.
  if (trackStart > trackEnd) track.edits.push_back(Edit{trackStart - trackEnd, -1, kFixed1});
  track.edits.push_back(Edit{inMovie.value, mediaTime, mediaRate});
  return noErr;
}

OSErr Toolbox::AddTrackReference(Track& track, const Track& referenced, OSType refType,
                                 int32_t* index) {
  if (&track == &referenced || track.movie != referenced.movie) return invalidTrack;
  for (auto& reference : track.references) {
    if (reference.type == refType) {
      reference.trackIDs.push_back(referenced.trackID);
      if (index) *index = static_cast<int32_t>(reference.trackIDs.size());
      return noErr;
    }
  }
  track.references.push_back(TrackReference{refType, {referenced.trackID}});
  if (index) *index = 1;
  return noErr;
}

OSErr Toolbox::NewUserData(UserData* userData) {
  *userData = std::make_shared<UserDataRecord>();
  return noErr;
}

OSErr Toolbox::AddUserDataText(UserData& userData, std::string_view text, OSType udType,
                               int32_t index, int16_t regionCode) {
  if (!userData || index < 1) return paramErr;
  userData->texts.push_back(UserDataText{udType, std::string(text), regionCode});
  return noErr;
}

void Toolbox::DisposeUserData(UserData& userData) { userData.reset(); }

OSErr Toolbox::TCSetSourceRef(Media& timecodeMedia, const SampleDescriptionHandle& description,
                              const UserData& sourceRef) {
  if (timecodeMedia.type != TimeCodeMediaType || !description) return invalidMedia;
  // Copied: the caller disposes of its user data right after.
  timecodeMedia.timecodeSourceUserData =
      sourceRef ? std::make_shared<UserDataRecord>(*sourceRef) : nullptr;
  return noErr;
}

OSErr Toolbox::QTCopyMovieMetaData(Movie& movie, Movie** metaDataRef) {
  *metaDataRef = &movie;
  return noErr;
}

OSErr Toolbox::QTMetaDataAddItem(Movie& metaDataRef, OSType storageFormat, OSType keyFormat,
                                 const uint8_t* key, uint32_t keySize, const uint8_t* value,
                                 uint32_t valueSize, uint32_t dataType) {
  if ((keySize > 0 && key == nullptr) || (valueSize > 0 && value == nullptr) || keySize == 0) {
    return paramErr;
  }
  MetaDataItem item{
      storageFormat, keyFormat, std::vector<uint8_t>(key, key + keySize), {}, dataType};
  if (valueSize > 0) item.value.assign(value, value + valueSize);
  metaDataRef.metadata.push_back(std::move(item));
  return noErr;
}

void Toolbox::QTMetaDataRelease(Movie*) {}

OSErr Toolbox::PutMovieForDataRefIntoHandle(const Movie& movie, const DataReference& dataRef,
                                            OSType, Handle& handle) {
  // Written all the same, with the faulty values clamped or left out: the caller decides.
  OSErr err = noErr;
  if (auto problem = serializationProblem(movie, dataRef)) {
    NSLog("The movie is written with a fault: %s", problem->c_str());
    err = paramErr;
  }
  serializeMovie(movie, dataRef, handle);
  return err;
}

Toolbox& defaultToolbox() {
  static Toolbox toolbox;
  return toolbox;
}

}  // namespace premoov
