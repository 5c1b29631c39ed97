#include "header/quicktime_movie_creator.h"

#include <algorithm>

#include "base/byte_writer.h"
#include "base/log.h"
#include "header/frame_size_table.h"
#include "header/header_room.h"
#include "header/header_settings.h"
#include "header/movie_metadata.h"
#include "header/movie_tracks.h"
#include "header/sample_descriptions.h"
#include "header/sample_layout.h"
#include "header/video_chunks_table.h"

namespace premoov {
namespace {

constexpr const char* kMovieTooLongFormat =
    "Movie is too long, please record a shorter duration(%li)";

// The sound descriptions of the audio tracks, from slot i and layout i. The loop keeps to the
// descriptions given: a request that announces more tracks than it describes gets only those.
std::vector<SampleDescriptionHandle> makeSoundDescriptions(Toolbox& toolbox,
                                                           const HeaderSettings& s) {
  int32_t count = std::max(s.numberOfAudioTracks, 0);
  if (count > kMaxAudioTracks) {
    NSLog("%d audio tracks asked for; only %d are made", count, kMaxAudioTracks);
    count = kMaxAudioTracks;
  }
  if (static_cast<size_t>(count) > s.asbds.size()) {
    NSLog("%d audio tracks asked for but %zu stream descriptions given; %zu tracks are made", count,
          s.asbds.size(), s.asbds.size());
    count = static_cast<int32_t>(s.asbds.size());
  }
  std::vector<SampleDescriptionHandle> descriptions;
  for (int32_t i = 0; i < count; ++i) {
    std::optional<AudioChannelLayout> layout;
    if (static_cast<size_t>(i) < s.layouts.size()) {
      layout = AudioChannelLayout::fromHostBytes(s.layouts[static_cast<size_t>(i)]);
      if (!layout) {
        NSLog("Channel layout %d is shorter than its own description count; it is left out", i);
      }
    }
    descriptions.push_back(makeSoundDescription(toolbox, s.asbds[static_cast<size_t>(i)],
                                                layout ? &*layout : nullptr));
  }
  return descriptions;
}

}  // namespace

ZPRQuickTimeMovieCreator::ZPRQuickTimeMovieCreator(Toolbox& toolbox) : toolbox_(toolbox) {}

int32_t ZPRQuickTimeMovieCreator::frameSizeForVideoCodec(uint32_t codec,
                                                         VideoDimensions dimensions) {
  return maxCompressedFrameSize(FourCC(codec), dimensions.width, dimensions.height);
}

std::optional<std::vector<int32_t>> ZPRQuickTimeMovieCreator::videoChunksTableForFrameSize(
    int32_t frameSize, const CMTime& frameDuration) {
  return videoChunksTable(frameSize, frameDuration);
}

void ZPRQuickTimeMovieCreator::cancel() {
  std::lock_guard lock(delegateSemaphore_);
  cancelled_.store(true, std::memory_order_relaxed);
}

void ZPRQuickTimeMovieCreator::failWithError(const std::string& message) {
  std::lock_guard lock(delegateSemaphore_);
  if (cancelled_.load(std::memory_order_relaxed)) return;
  if (connection_ == nullptr || connection_->remoteObjectProxy() == nullptr) {
    NSLog("No connection for the failure reply: %s", message.c_str());
    return;
  }
  connection_->remoteObjectProxy()->failedCreatingGrowingHeader(growing_, message);
}

void ZPRQuickTimeMovieCreator::writeQuickTimeHeaderAtPath(const std::string& path, bool newFile,
                                                          uint32_t blockSize, const Value&,
                                                          const CMTime& duration,
                                                          const Value& settings) {
  const HeaderSettings s = readHeaderSettings(settings);
  growing_ = newFile;
  const SampleDescriptionHandle videoDescription = makeImageDescription({
      .codec = s.videoCodec,
      .formatName = s.formatName,
      .dimensions = s.videoDimensions,
      .colorPrimaries = s.colorPrimaries,
      .transferFunction = s.transferFunction,
      .matrix = s.matrix,
      .numberOfFields = static_cast<uint8_t>(s.numberOfFields),
      .fieldOrder = static_cast<uint8_t>(s.fieldOrder),
      .horizontalSpacing = s.horizontalSpacing,
      .verticalSpacing = s.verticalSpacing,
      .extensionAtoms = s.extensionAtoms ? &*s.extensionAtoms : nullptr,
  });

  int32_t frameSize = static_cast<int32_t>(s.maxVideoFrameSize);
  if (frameSize == 0) frameSize = frameSizeForVideoCodec(s.videoCodec, s.videoDimensions);
  if (frameSize == 0) {
    failWithError("Could not get max frame size");
    return;
  }
  const auto chunkTable = videoChunksTableForFrameSize(frameSize, s.videoFrameDuration);
  const auto soundDescriptions = makeSoundDescriptions(toolbox_, s);

  const uint32_t room = headerRoom(s.isLongGOP, framesPerSecond(s.videoFrameDuration));
  if (room < kMdatHeaderSize + kTimecodeSampleSize) {
    // Only a wrapped long-GOP room can be this small: no place for the media data header.
    failWithError(stringWithFormat("Header room of %u bytes is too small", room));
    return;
  }
  const uint64_t mdatStart = mediaDataAtomStart(room, s.globalTimecode);

  mainQueue_([this] { toolbox_.EnterMovies(); });
  toolbox_.EnterMoviesOnThread(0);
  std::unique_ptr<Movie> movie;
  if (OSErr err = toolbox_.NewMovie(0, &movie)) {
    toolbox_.ExitMoviesOnThread();
    failWithError(stringWithFormat("NewMovie failed (%i)", err));
    return;
  }
  toolbox_.SetMovieTimeScale(*movie, s.videoFrameDuration.timescale);

  Failure failure = [&]() -> Failure {
    MovieTracks tracks;
    if (auto f =
            makeTracks(toolbox_, *movie, s, path, videoDescription, soundDescriptions, tracks)) {
      return f;
    }
    if (observer_) observer_->didPlanHeaderRoom(room, mdatStart);
    const SampleLayoutResult layout =
        layOutSamples(toolbox_,
                      {.settings = &s,
                       .duration = duration,
                       .blockSize = blockSize,
                       .frameSize = frameSize,
                       .headerRoom = room,
                       .chunkTable = chunkTable.value_or(std::vector<int32_t>{}),
                       .cancelled = &cancelled_,
                       .observer = observer_},
                      tracks);
    if (layout.failure) return layout.failure;
    if (layout.headerTooLong) {
      // Refused as soon as the sample tables alone outgrow the room: the figure is the size they
      // reached, which the whole header would only exceed.
      return stringWithFormat(kMovieTooLongFormat, static_cast<long>(*layout.headerTooLong));
    }
    if (auto f = insertMediaIntoTracks(toolbox_, s, tracks)) return f;
    if (auto f = writeMovieMetadata(toolbox_, *movie, s.software, newFile, s.metadataItems)) {
      return f;
    }

    // The header grows to the room: reserved once, so that it is never copied on the way.
    Handle header;
    header.reserve(room);
    (void)toolbox_.PutMovieForDataRefIntoHandle(*movie, tracks.fileReference,
                                                AliasDataHandlerSubType, header);
    const auto movieSize = static_cast<int64_t>(header.size());
    if (static_cast<int64_t>(mdatStart) - movieSize < 0) {
      return stringWithFormat(kMovieTooLongFormat, static_cast<long>(movieSize));
    }
    header.resize(room, 0);
    const uint64_t mdatSize = layout.end - mdatStart;
    closeHeaderRoom(header, static_cast<size_t>(movieSize), mdatStart, mdatSize);

    std::lock_guard lock(delegateSemaphore_);
    if (!cancelled_.load(std::memory_order_relaxed)) {
      if (connection_ == nullptr || connection_->remoteObjectProxy() == nullptr) {
        NSLog("No connection for the header reply");
      } else {
        connection_->remoteObjectProxy()->didCreateHeader(std::move(header), growing_, frameSize,
                                                          static_cast<int64_t>(room + mdatSize));
      }
    }
    return std::nullopt;
  }();
  if (failure) failWithError(*failure);

  toolbox_.DisposeMovie(movie);
  toolbox_.ExitMoviesOnThread();
}

}  // namespace premoov
