#include "movie/fault_injecting_toolbox.h"

namespace premoov {

void FaultInjectingToolbox::failCall(std::string call, OSErr status,
                                     std::optional<FourCC> mediaType, int occurrence) {
  faults_.push_back(Fault{std::move(call), status, mediaType, occurrence});
}

int FaultInjectingToolbox::callCount(const std::string& call) const {
  int n = 0;
  for (const auto& c : calls_) n += c == call;
  return n;
}

namespace {

std::optional<FourCC> mediaTypeOf(const Track& track) {
  if (!track.media) return std::nullopt;
  return track.media->type;
}

}  // namespace

OSErr FaultInjectingToolbox::injected(const std::string& call, std::optional<FourCC> mediaType) {
  calls_.push_back(call);
  // Every fault on the call counts it, so that the n-th call means the same for all of them.
  OSErr status = noErr;
  for (auto& fault : faults_) {
    if (fault.call != call) continue;
    if (fault.mediaType && mediaType != fault.mediaType) continue;
    if (++fault.seen == fault.occurrence && status == noErr) status = fault.status;
  }
  return status;
}

OSErr FaultInjectingToolbox::EnterMoviesOnThread(uint32_t flags) {
  if (OSErr err = injected("EnterMoviesOnThread")) return err;
  return Toolbox::EnterMoviesOnThread(flags);
}

OSErr FaultInjectingToolbox::ExitMoviesOnThread() {
  if (OSErr err = injected("ExitMoviesOnThread")) return err;
  return Toolbox::ExitMoviesOnThread();
}

OSErr FaultInjectingToolbox::NewMovie(uint32_t flags, std::unique_ptr<Movie>* movie) {
  if (OSErr err = injected("NewMovie")) return err;
  return Toolbox::NewMovie(flags, movie);
}

OSErr FaultInjectingToolbox::NewMovieTrack(Movie& movie, Fixed width, Fixed height,
                                           ShortFixed volume, Track** track) {
  if (OSErr err = injected("NewMovieTrack")) return err;
  return Toolbox::NewMovieTrack(movie, width, height, volume, track);
}

OSErr FaultInjectingToolbox::NewTrackMedia(Track& track, OSType mediaType, TimeScale timescale,
                                           const DataReference& dataRef, OSType dataRefType,
                                           Media** media) {
  if (OSErr err = injected("NewTrackMedia", mediaType)) return err;
  return Toolbox::NewTrackMedia(track, mediaType, timescale, dataRef, dataRefType, media);
}

OSErr FaultInjectingToolbox::QTNewDataReferenceFromFullPathCFString(std::string_view path,
                                                                    int32_t pathStyle,
                                                                    uint32_t flags,
                                                                    DataReference* dataRef) {
  if (OSErr err = injected("QTNewDataReferenceFromFullPathCFString")) return err;
  return Toolbox::QTNewDataReferenceFromFullPathCFString(path, pathStyle, flags, dataRef);
}

OSErr FaultInjectingToolbox::AddMediaDataRef(Media& media, int16_t* index,
                                             const DataReference& dataRef, OSType dataRefType) {
  if (OSErr err = injected("AddMediaDataRef", media.type)) return err;
  return Toolbox::AddMediaDataRef(media, index, dataRef, dataRefType);
}

OSErr FaultInjectingToolbox::SetMediaDataRef(Media& media, int16_t index,
                                             const DataReference& dataRef, OSType dataRefType) {
  if (OSErr err = injected("SetMediaDataRef", media.type)) return err;
  return Toolbox::SetMediaDataRef(media, index, dataRef, dataRefType);
}

OSErr FaultInjectingToolbox::SetMediaDataRefAttributes(Media& media, int16_t index,
                                                       int32_t attributes) {
  if (OSErr err = injected("SetMediaDataRefAttributes", media.type)) return err;
  return Toolbox::SetMediaDataRefAttributes(media, index, attributes);
}

OSErr FaultInjectingToolbox::AddMediaSampleReferences64(Media& media,
                                                        const SampleDescriptionHandle& description,
                                                        uint32_t numberOfSamples,
                                                        const SampleReference64Record* sampleRefs,
                                                        TimeValue64* sampleTime) {
  if (OSErr err = injected("AddMediaSampleReferences64", media.type)) return err;
  return Toolbox::AddMediaSampleReferences64(media, description, numberOfSamples, sampleRefs,
                                             sampleTime);
}

OSErr FaultInjectingToolbox::QTSampleTableCreateMutable(TimeScale timescale,
                                                        std::unique_ptr<SampleTable>* table) {
  if (OSErr err = injected("QTSampleTableCreateMutable")) return err;
  return Toolbox::QTSampleTableCreateMutable(timescale, table);
}

OSErr FaultInjectingToolbox::QTSampleTableAddSampleDescription(
    SampleTable& table, const SampleDescriptionHandle& description, int32_t mediaDescriptionIndex,
    int64_t* id) {
  if (OSErr err = injected("QTSampleTableAddSampleDescription")) return err;
  return Toolbox::QTSampleTableAddSampleDescription(table, description, mediaDescriptionIndex, id);
}

OSErr FaultInjectingToolbox::QTSampleTableAddSampleReferences(
    SampleTable& table, int64_t dataOffset, uint32_t dataSize, TimeValue64 decodeDuration,
    TimeValue64 displayOffset, int64_t numberOfSamples, uint32_t sampleFlags, int64_t descriptionID,
    int64_t* newSampleNum) {
  if (OSErr err = injected("QTSampleTableAddSampleReferences")) return err;
  return Toolbox::QTSampleTableAddSampleReferences(table, dataOffset, dataSize, decodeDuration,
                                                   displayOffset, numberOfSamples, sampleFlags,
                                                   descriptionID, newSampleNum);
}

OSErr FaultInjectingToolbox::AddSampleTableToMedia(Media& media, SampleTable& table,
                                                   int64_t firstSample, int64_t numberOfSamples,
                                                   TimeValue64* sampleTime) {
  if (OSErr err = injected("AddSampleTableToMedia", media.type)) return err;
  return Toolbox::AddSampleTableToMedia(media, table, firstSample, numberOfSamples, sampleTime);
}

OSErr FaultInjectingToolbox::InsertMediaIntoTrack(Track& track, TimeValue64 trackStart,
                                                  TimeValue64 mediaTime, TimeValue64 mediaDuration,
                                                  Fixed mediaRate) {
  if (OSErr err = injected("InsertMediaIntoTrack", mediaTypeOf(track))) return err;
  return Toolbox::InsertMediaIntoTrack(track, trackStart, mediaTime, mediaDuration, mediaRate);
}

OSErr FaultInjectingToolbox::AddTrackReference(Track& track, const Track& referenced,
                                               OSType refType, int32_t* index) {
  if (OSErr err = injected("AddTrackReference", mediaTypeOf(track))) return err;
  return Toolbox::AddTrackReference(track, referenced, refType, index);
}

OSErr FaultInjectingToolbox::SetTrackApertureModeDimensionsUsingSampleDescription(
    Track& track, const SampleDescriptionHandle& description) {
  if (OSErr err =
          injected("SetTrackApertureModeDimensionsUsingSampleDescription", mediaTypeOf(track)))
    return err;
  return Toolbox::SetTrackApertureModeDimensionsUsingSampleDescription(track, description);
}

OSErr FaultInjectingToolbox::QTSoundDescriptionCreate(const AudioStreamBasicDescription& asbd,
                                                      const AudioChannelLayout* layout,
                                                      uint32_t layoutSize, const void* magicCookie,
                                                      uint32_t magicCookieSize,
                                                      OSType descriptionKind,
                                                      SampleDescriptionHandle* description) {
  if (OSErr err = injected("QTSoundDescriptionCreate")) return err;
  return Toolbox::QTSoundDescriptionCreate(asbd, layout, layoutSize, magicCookie, magicCookieSize,
                                           descriptionKind, description);
}

OSErr FaultInjectingToolbox::NewUserData(UserData* userData) {
  if (OSErr err = injected("NewUserData")) return err;
  return Toolbox::NewUserData(userData);
}

OSErr FaultInjectingToolbox::AddUserDataText(UserData& userData, std::string_view text,
                                             OSType udType, int32_t index, int16_t regionCode) {
  if (OSErr err = injected("AddUserDataText")) return err;
  return Toolbox::AddUserDataText(userData, text, udType, index, regionCode);
}

OSErr FaultInjectingToolbox::TCSetSourceRef(Media& timecodeMedia,
                                            const SampleDescriptionHandle& description,
                                            const UserData& sourceRef) {
  if (OSErr err = injected("TCSetSourceRef", timecodeMedia.type)) return err;
  return Toolbox::TCSetSourceRef(timecodeMedia, description, sourceRef);
}

OSErr FaultInjectingToolbox::QTCopyMovieMetaData(Movie& movie, Movie** metaDataRef) {
  if (OSErr err = injected("QTCopyMovieMetaData")) return err;
  return Toolbox::QTCopyMovieMetaData(movie, metaDataRef);
}

OSErr FaultInjectingToolbox::QTMetaDataAddItem(Movie& metaDataRef, OSType storageFormat,
                                               OSType keyFormat, const uint8_t* key,
                                               uint32_t keySize, const uint8_t* value,
                                               uint32_t valueSize, uint32_t dataType) {
  if (OSErr err = injected("QTMetaDataAddItem")) return err;
  return Toolbox::QTMetaDataAddItem(metaDataRef, storageFormat, keyFormat, key, keySize, value,
                                    valueSize, dataType);
}

OSErr FaultInjectingToolbox::PutMovieForDataRefIntoHandle(const Movie& movie,
                                                          const DataReference& dataRef,
                                                          OSType dataRefType, Handle& handle) {
  if (OSErr err = injected("PutMovieForDataRefIntoHandle")) return err;
  return Toolbox::PutMovieForDataRefIntoHandle(movie, dataRef, dataRefType, handle);
}

}  // namespace premoov
