#include "header/movie_tracks.h"

#include "base/log.h"
#include "header/sample_descriptions.h"

namespace premoov {
namespace {

constexpr int32_t kVideoPreferredChunkSize = 10'485'760;
constexpr int32_t kAudioPreferredChunkSize = 3'072'000;
constexpr int32_t kFileDataRefAttributes = 1;
constexpr int32_t kNativePathStyle = -1;

// Every medium starts on a reference to memory, a placeholder until the file is added.
DataReference handleDataReference() {
  return DataReference{HandleDataHandlerSubType, {}, std::vector<uint8_t>(4, 0)};
}

// A medium lists its sample description from the start, so that a track that gets no sample
// (a frame rate without a chunk table lays out no video) still describes its media: readers
// refuse a file with an empty description table.
void keepDescription(Media& media, const SampleDescriptionHandle& description) {
  if (description) media.indexOfDescription(description);
}

Failure newTrackWithMedia(Toolbox& toolbox, Movie& movie, const char* trackType, Fixed width,
                          Fixed height, ShortFixed volume, OSType mediaType, TimeScale timescale,
                          Track** track, Media** media) {
  if (OSErr err = toolbox.NewMovieTrack(movie, width, height, volume, track)) {
    return stringWithFormat("NewMovieTrack (%s) failed (%i)", trackType, err);
  }
  if (OSErr err = toolbox.NewTrackMedia(**track, mediaType, timescale, handleDataReference(),
                                        HandleDataHandlerSubType, media)) {
    return stringWithFormat("NewTrackMedia (%s) failed (%i)", trackType, err);
  }
  return std::nullopt;
}

// The reel name as a Pascal string in ASCII: at most 255 characters, all of them ASCII.
std::optional<std::string> pascalASCII(const std::string& name) {
  if (name.size() > 255) return std::nullopt;
  for (unsigned char c : name) {
    if (c > 0x7F) return std::nullopt;
  }
  return name;
}

// The text handle is as long as the Pascal length byte read as a signed number, as recorders have
// always made it: a name of 128 to 255 characters gives a negative length, no handle, and so no
// reel name.
bool fitsTextHandle(const std::string& pascalName) {
  return static_cast<int8_t>(static_cast<uint8_t>(pascalName.size())) >= 0;
}

// Attaches the reel name to the timecode description. Every failure here is silent: the header
// is still good without a reel.
void setReelName(Toolbox& toolbox, const std::optional<std::string>& reelName, Media& media,
                 const SampleDescriptionHandle& description) {
  UserData userData;
  if (toolbox.NewUserData(&userData) != noErr) return;
  const auto name = pascalASCII(reelName.value_or("001"));
  if (!name) return;
  if (!fitsTextHandle(*name)) {
    NSLog("Reel name of %zu characters: its text handle cannot be made; no reel name",
          name->size());
    toolbox.DisposeUserData(userData);
    return;
  }
  if (toolbox.AddUserDataText(userData, *name, FourCC("name"), 1, 0) == noErr) {
    toolbox.TCSetSourceRef(media, description, userData);
  }
  toolbox.DisposeUserData(userData);
}

}  // namespace

bool addMediaDataRef(Toolbox& toolbox, const DataReference& dataRef, Media& media,
                     const std::string& trackType, std::string* error) {
  int16_t index = 1;
  OSErr err = toolbox.AddMediaDataRef(media, &index, dataRef, AliasDataHandlerSubType);
  if (err != noErr) {
    // Put the file in place of the placeholder instead.
    err = toolbox.SetMediaDataRef(media, 1, dataRef, AliasDataHandlerSubType);
    index = 1;
    if (err == couldNotResolveDataRef) {
      NSLog("AddMediaDataRef (Error -2000)");
    } else if (err != noErr) {
      *error = stringWithFormat("AddMediaDataRef (%s) failed (%i)", trackType.c_str(), err);
      return false;
    }
  }
  err = toolbox.SetMediaDataRefAttributes(media, index, kFileDataRefAttributes);
  if (err != noErr) {
    *error = stringWithFormat("SetMediaDataRefAttributes (%s) failed (%i)", trackType.c_str(), err);
    return false;
  }
  return true;
}

Failure makeTracks(Toolbox& toolbox, Movie& movie, const HeaderSettings& settings,
                   const std::string& path, const SampleDescriptionHandle& videoDescription,
                   const std::vector<SampleDescriptionHandle>& soundDescriptions,
                   MovieTracks& tracks) {
  const TimeScale videoScale = settings.videoFrameDuration.timescale;
  const Fixed width = IntToFixed(settings.videoDimensions.width);
  const Fixed height = IntToFixed(settings.videoDimensions.height);
  std::string error;

  if (auto failure = newTrackWithMedia(toolbox, movie, "Video", width, height, 0, VideoMediaType,
                                       videoScale, &tracks.video, &tracks.videoMedia)) {
    return failure;
  }
  toolbox.SetMediaPreferredChunkSize(*tracks.videoMedia, kVideoPreferredChunkSize);
  tracks.videoDescription = videoDescription;
  keepDescription(*tracks.videoMedia, videoDescription);

  if (OSErr err = toolbox.QTNewDataReferenceFromFullPathCFString(path, kNativePathStyle, 0,
                                                                 &tracks.fileReference)) {
    return stringWithFormat("QTNewDataReferenceFromFullPathCFString failed (%i) - %s", err,
                            path.c_str());
  }
  if (!addMediaDataRef(toolbox, tracks.fileReference, *tracks.videoMedia, "Video", &error)) {
    return error;
  }

  for (size_t i = 0; i < soundDescriptions.size(); ++i) {
    Track* track = nullptr;
    Media* media = nullptr;
    const auto rate = static_cast<TimeScale>(settings.asbds[i].mSampleRate);
    if (auto failure = newTrackWithMedia(toolbox, movie, "Audio", 0, 0, kShortFixed1,
                                         SoundMediaType, rate, &track, &media)) {
      return failure;
    }
    toolbox.SetMediaPreferredChunkSize(*media, kAudioPreferredChunkSize);
    keepDescription(*media, soundDescriptions[i]);
    if (!addMediaDataRef(toolbox, tracks.fileReference, *media, "Audio", &error)) return error;
    tracks.audio.push_back(track);
    tracks.audioMedia.push_back(media);
    tracks.audioDescriptions.push_back(soundDescriptions[i]);
  }

  if (settings.addClosedCaptionTrack) {
    // The caption track carries the video size and full volume, as recorders have always made it.
    if (auto failure = newTrackWithMedia(toolbox, movie, "ClosedCaption", width, height,
                                         kShortFixed1, ClosedCaptionMediaType, videoScale,
                                         &tracks.closedCaption, &tracks.closedCaptionMedia)) {
      return failure;
    }
    tracks.closedCaptionDescription = makeClosedCaptionDescription();
    keepDescription(*tracks.closedCaptionMedia, tracks.closedCaptionDescription);
    if (!addMediaDataRef(toolbox, tracks.fileReference, *tracks.closedCaptionMedia, "ClosedCaption",
                         &error)) {
      return error;
    }
  }

  if (auto failure =
          newTrackWithMedia(toolbox, movie, "TimeCode", 0, 0, kShortFixed1, TimeCodeMediaType,
                            videoScale, &tracks.timecode, &tracks.timecodeMedia)) {
    return failure;
  }
  tracks.timecodeDescription =
      makeTimecodeDescription(settings.timecodeIsDropFrame, settings.videoFrameDuration);
  keepDescription(*tracks.timecodeMedia, tracks.timecodeDescription);
  setReelName(toolbox, settings.reelName, *tracks.timecodeMedia, tracks.timecodeDescription);
  if (!addMediaDataRef(toolbox, tracks.fileReference, *tracks.timecodeMedia, "TimeCode", &error)) {
    return error;
  }
  return std::nullopt;
}

Failure insertMediaIntoTracks(Toolbox& toolbox, const HeaderSettings& settings,
                              MovieTracks& tracks) {
  auto insert = [&](Track& track, const Media& media) {
    return toolbox.InsertMediaIntoTrack(track, 0, 0, toolbox.GetMediaDuration(media), kFixed1);
  };
  if (OSErr err = insert(*tracks.timecode, *tracks.timecodeMedia)) {
    return stringWithFormat("InsertMediaIntoTrack (TimeCode) failed (%i)", err);
  }
  if (OSErr err = insert(*tracks.video, *tracks.videoMedia)) {
    return stringWithFormat("InsertMediaIntoTrack (Video) failed (%i)", err);
  }
  if (OSErr err =
          toolbox.AddTrackReference(*tracks.video, *tracks.timecode, TimeCodeMediaType, nullptr)) {
    return stringWithFormat("AddTrackReference (TimeCode) failed (%i)", err);
  }
  if (isDVCPROHD(settings.formatName)) {
    // The result is ignored: the movie plays without the aperture setting.
    (void)toolbox.SetTrackApertureModeDimensionsUsingSampleDescription(*tracks.video,
                                                                       tracks.videoDescription);
  }
  for (size_t i = 0; i < tracks.audio.size(); ++i) {
    if (OSErr err = insert(*tracks.audio[i], *tracks.audioMedia[i])) {
      return stringWithFormat("InsertMediaIntoTrack (Audio) failed (%i)", err);
    }
  }
  if (tracks.closedCaption != nullptr) {
    if (OSErr err = insert(*tracks.closedCaption, *tracks.closedCaptionMedia)) {
      return stringWithFormat("InsertMediaIntoTrack (ClosedCaption) failed (%i)", err);
    }
  }
  return std::nullopt;
}

}  // namespace premoov
