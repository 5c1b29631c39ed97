#include "premoov/line21_track.h"

#include <bit>
#include <fstream>
#include <vector>

#include "captions/cc_utilities.h"
#include "media/pixel_formats.h"
#include "movie/track_tables.h"
#include "movie/video_description.h"
#include "premoov/limited_sample_walk.h"
#include "premoov/messages.h"
#include "premoov/movie_file.h"

namespace premoov {

namespace {

// Row 0 is black, row 1 carries the caption pair, row 2 the null pair.
constexpr size_t kLine21Rows = 3;

bool carriesLine21(FourCC format) {
  return format == kCVPixelFormatType_422YpCbCr8 || format == kCVPixelFormatType_422YpCbCr10 ||
         format == kCVPixelFormatType_422YpCbCr8_yuvs;
}

std::string quoted(FourCC format) { return "'" + format.toString() + "'"; }

// Makes the "c608" sample of one frame's top rows, or says why not.
class RowsReader {
 public:
  RowsReader(const Line21TrackInfo& track, CoreVideo& video, CoreMedia& media)
      : track_(track), video_(video), media_(media), utilities_(video, media) {
    rows_.resize(track.bytesPerRow * kLine21Rows);
    if (media_.CMFormatDescriptionCreate(FourCC("vide"), track.format, &format_) != 0) {
      format_.reset();
    }
  }

  void read(std::ifstream& file, Line21Frame& frame) {
    if (frame.size < rows_.size()) {
      frame.unreadable = std::string(kFrameTooSmall) + std::to_string(frame.size) + " bytes";
      return;
    }
    file.clear();
    file.seekg(static_cast<std::streamoff>(frame.offset));
    file.read(reinterpret_cast<char*>(rows_.data()), static_cast<std::streamsize>(rows_.size()));
    if (!file || static_cast<size_t>(file.gcount()) != rows_.size()) {
      frame.unreadable = std::string(kFrameReadFailed);
      return;
    }
    auto sample = extract(frame);
    if (!sample) {
      frame.unreadable = std::string(kFrameNotExtracted);
      return;
    }
    frame.sample = sample;
  }

 private:
  std::optional<Line21Sample> extract(const Line21Frame& frame) {
    if (!format_) return std::nullopt;
    CVPixelBufferRef pixels;
    if (video_.CVPixelBufferCreateWithBytes(track_.width, kLine21Rows, track_.format, rows_.data(),
                                            track_.bytesPerRow, &pixels) != kCVReturnSuccess ||
        !pixels) {
      return std::nullopt;
    }
    CMSampleTimingInfo timing{};
    if (frame.time && track_.timeScale != 0 && *frame.time <= INT64_MAX) {
      const auto scale = static_cast<CMTimeScale>(track_.timeScale);
      timing.presentationTimeStamp = CMTimeMake(static_cast<CMTimeValue>(*frame.time), scale);
      timing.decodeTimeStamp = timing.presentationTimeStamp;
      if (frame.duration) timing.duration = CMTimeMake(*frame.duration, scale);
    }
    CMSampleBufferRef videoSample;
    if (media_.CMSampleBufferCreateReadyWithImageBuffer(pixels, format_, &timing, &videoSample) !=
            0 ||
        !videoSample) {
      return std::nullopt;
    }
    const CMSampleBufferRef caption =
        utilities_.createClosedCaptionSampleFromCEA608VideoSampleBuffer(videoSample);
    Line21Sample bytes{};
    if (!caption ||
        CMBlockBufferCopyDataBytes(CMSampleBufferGetDataBuffer(caption), 0, bytes) != 0) {
      return std::nullopt;
    }
    return bytes;
  }

  const Line21TrackInfo& track_;
  CoreVideo& video_;
  CoreMedia& media_;
  // One instance for the whole track: it keeps its lines buffer and transfer session.
  ZPRCCUtilities utilities_;
  CMFormatDescriptionRef format_;
  std::vector<uint8_t> rows_;  // the three rows of the frame at hand, never more of it
};

// The track line 21 is read from, or the message saying why there is none.
Result<Line21TrackInfo> findLine21Track(const std::string& path, const MovieAtoms& movie,
                                        std::optional<TrackTables>& tablesOut) {
  std::string others;
  for (const AtomNode* trak : findAtoms(movie.tree.atoms, "moov/trak")) {
    TrackTables tables = readTrackTables(*trak, movie.data());
    if (tables.handler != FourCC("vide")) continue;
    const uint32_t trackID = tables.trackID.value_or(0);
    if (!tables.format || !carriesLine21(*tables.format)) {
      others += (others.empty() ? "" : ", ") + std::string("track ") + std::to_string(trackID) +
                " holds " + (tables.format ? quoted(*tables.format) : "no sample description");
      continue;
    }
    const std::string name = path + ": track " + std::to_string(trackID);
    const auto description = readVideoDescription(*trak, movie.data());
    if (!description) return unexpected(name + std::string(kNoVideoDescription));
    const auto bytesPerRow = minimumBytesPerRow(description->format, description->width);
    if (!bytesPerRow || description->height < kLine21Rows) {
      return unexpected(name + ": " + quoted(description->format) + " frames of " +
                        std::to_string(description->width) + " x " +
                        std::to_string(description->height) + std::string(kTooFewRows));
    }
    Line21TrackInfo track{.trackID = trackID,
                          .format = description->format,
                          .width = description->width,
                          .height = description->height,
                          .bytesPerRow = *bytesPerRow,
                          .timeScale = tables.timeScale.value_or(0),
                          .duration = tables.duration.value_or(0),
                          .sampleCount = tables.sampleCount()};
    tablesOut = std::move(tables);
    return track;
  }
  if (others.empty()) return unexpected(path + ": " + std::string(kNoVideoTrack));
  return unexpected(path + ": " + std::string(kNoUncompressedVideo) + others);
}

}  // namespace

uint8_t withOddParity(uint8_t byte) {
  const uint8_t code = byte & 0x7F;
  return std::popcount(code) % 2 == 0 ? static_cast<uint8_t>(code | 0x80) : code;
}

Result<Line21ReadSummary> readLine21Frames(const std::string& path, Line21FrameVisitor& visitor,
                                           const Line21ReadOptions& options, CoreVideo& video,
                                           CoreMedia& media) {
  auto movie = readMovieAtoms(path);
  if (!movie) return unexpected(movie.error());
  if (findAtom(movie->tree.atoms, "moov") == nullptr) {
    return unexpected(path + ": " + std::string(kNoMovieAtom));
  }
  std::optional<TrackTables> tables;
  auto track = findLine21Track(path, *movie, tables);
  if (!track) return unexpected(track.error());

  Line21ReadSummary summary{.trackID = track->trackID};
  if (movie->tree.error) summary.problems.push_back(movie->tree.error->message());
  visitor.beginTrack(*track);
  std::ifstream file(path, std::ios::binary);
  RowsReader reader(*track, video, media);
  const SampleWalkEnd walked =
      walkSamplesUpTo(*tables, movie->fileSize, options.frameLimit, [&](const SampleStep& step) {
        Line21Frame frame = recordOfStep<Line21Frame>(step);
        if (step.missing) {
          summary.framesMissing += step.count;
        } else {
          reader.read(file, frame);
          ++summary.framesRead;
          if (!frame.sample) ++summary.framesWithErrors;
        }
        visitor.frame(*track, frame);
      });
  const std::string trackName = "track " + std::to_string(track->trackID) + ": ";
  if (walked.limitReached) {
    summary.problems.push_back(trackName + std::string(kFrameLimitReached) +
                               std::to_string(options.frameLimit));
  } else if (walked.error) {
    summary.problems.push_back(trackName + *walked.error);
  }
  return summary;
}

}  // namespace premoov
