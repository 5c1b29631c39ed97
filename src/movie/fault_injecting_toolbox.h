#pragma once

#include <optional>
#include <string>
#include <vector>

#include "movie/toolbox.h"

namespace premoov {

// A toolbox that behaves like the default one but answers a chosen status from chosen calls, so
// that tests can reach every failure path of the header writer. It also records the name of
// every fallible call in order.
class FaultInjectingToolbox : public Toolbox {
 public:
  // Makes the `occurrence`-th call named `call` answer `status` without doing anything. With a
  // media type, only calls on media of that type are counted.
  void failCall(std::string call, OSErr status, std::optional<FourCC> mediaType = std::nullopt,
                int occurrence = 1);
  const std::vector<std::string>& calls() const { return calls_; }
  int callCount(const std::string& call) const;

  OSErr EnterMoviesOnThread(uint32_t flags) override;
  OSErr ExitMoviesOnThread() override;
  OSErr NewMovie(uint32_t flags, std::unique_ptr<Movie>* movie) override;
  OSErr NewMovieTrack(Movie& movie, Fixed width, Fixed height, ShortFixed volume,
                      Track** track) override;
  OSErr NewTrackMedia(Track& track, OSType mediaType, TimeScale timescale,
                      const DataReference& dataRef, OSType dataRefType, Media** media) override;
  OSErr QTNewDataReferenceFromFullPathCFString(std::string_view path, int32_t pathStyle,
                                               uint32_t flags, DataReference* dataRef) override;
  OSErr AddMediaDataRef(Media& media, int16_t* index, const DataReference& dataRef,
                        OSType dataRefType) override;
  OSErr SetMediaDataRef(Media& media, int16_t index, const DataReference& dataRef,
                        OSType dataRefType) override;
  OSErr SetMediaDataRefAttributes(Media& media, int16_t index, int32_t attributes) override;
  OSErr AddMediaSampleReferences64(Media& media, const SampleDescriptionHandle& description,
                                   uint32_t numberOfSamples,
                                   const SampleReference64Record* sampleRefs,
                                   TimeValue64* sampleTime) override;
  OSErr QTSampleTableCreateMutable(TimeScale timescale,
                                   std::unique_ptr<SampleTable>* table) override;
  OSErr QTSampleTableAddSampleDescription(SampleTable& table,
                                          const SampleDescriptionHandle& description,
                                          int32_t mediaDescriptionIndex, int64_t* id) override;
  OSErr QTSampleTableAddSampleReferences(SampleTable& table, int64_t dataOffset, uint32_t dataSize,
                                         TimeValue64 decodeDuration, TimeValue64 displayOffset,
                                         int64_t numberOfSamples, uint32_t sampleFlags,
                                         int64_t descriptionID, int64_t* newSampleNum) override;
  OSErr AddSampleTableToMedia(Media& media, SampleTable& table, int64_t firstSample,
                              int64_t numberOfSamples, TimeValue64* sampleTime) override;
  OSErr InsertMediaIntoTrack(Track& track, TimeValue64 trackStart, TimeValue64 mediaTime,
                             TimeValue64 mediaDuration, Fixed mediaRate) override;
  OSErr AddTrackReference(Track& track, const Track& referenced, OSType refType,
                          int32_t* index) override;
  OSErr SetTrackApertureModeDimensionsUsingSampleDescription(
      Track& track, const SampleDescriptionHandle& description) override;
  OSErr QTSoundDescriptionCreate(const AudioStreamBasicDescription& asbd,
                                 const AudioChannelLayout* layout, uint32_t layoutSize,
                                 const void* magicCookie, uint32_t magicCookieSize,
                                 OSType descriptionKind,
                                 SampleDescriptionHandle* description) override;
  OSErr NewUserData(UserData* userData) override;
  OSErr AddUserDataText(UserData& userData, std::string_view text, OSType udType, int32_t index,
                        int16_t regionCode) override;
  OSErr TCSetSourceRef(Media& timecodeMedia, const SampleDescriptionHandle& description,
                       const UserData& sourceRef) override;
  OSErr QTCopyMovieMetaData(Movie& movie, Movie** metaDataRef) override;
  OSErr QTMetaDataAddItem(Movie& metaDataRef, OSType storageFormat, OSType keyFormat,
                          const uint8_t* key, uint32_t keySize, const uint8_t* value,
                          uint32_t valueSize, uint32_t dataType) override;
  OSErr PutMovieForDataRefIntoHandle(const Movie& movie, const DataReference& dataRef,
                                     OSType dataRefType, Handle& handle) override;

 private:
  struct Fault {
    std::string call;
    OSErr status;
    std::optional<FourCC> mediaType;
    int occurrence;
    int seen = 0;
  };
  // Records the call, counts it for every fault on it (of `mediaType`, the type of the media the
  // call is about, when the fault names one) and answers the status of the first fault whose
  // occurrence it is, or noErr to go ahead.
  OSErr injected(const std::string& call, std::optional<FourCC> mediaType = std::nullopt);

  std::vector<Fault> faults_;
  std::vector<std::string> calls_;
};

}  // namespace premoov
