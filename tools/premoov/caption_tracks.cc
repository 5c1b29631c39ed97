#include "premoov/caption_tracks.h"

#include <algorithm>
#include <fstream>
#include <vector>

#include "movie/track_tables.h"
#include "premoov/limited_sample_walk.h"
#include "premoov/messages.h"
#include "premoov/movie_file.h"

namespace premoov {

namespace {

// No caption sample comes near this: a cdp is at most 255 bytes, and a c608 sample of a frame
// holds a few pairs.
constexpr uint32_t kCaptionSampleLimit = 64 * 1024;

void walkTrack(const TrackTables& tables, const CaptionTrackInfo& track, std::ifstream& file,
               uint64_t fileSize, const CaptionReadOptions& options, CaptionTrackVisitor& visitor,
               CaptionTrackEnd& end) {
  std::vector<uint8_t> buffer;
  const SampleWalkEnd walked =
      walkSamplesUpTo(tables, fileSize, options.sampleLimit, [&](const SampleStep& step) {
        CaptionTrackSample sample = recordOfStep<CaptionTrackSample>(step);
        if (step.missing) {
          end.samplesMissing += step.count;
          visitor.sample(track, sample);
          return;
        }
        if (step.size > kCaptionSampleLimit) {
          sample.unreadable =
              std::string(kCaptionSampleTooLarge) + std::to_string(kCaptionSampleLimit) + " bytes";
        } else {
          buffer.resize(step.size);
          file.clear();
          file.seekg(static_cast<std::streamoff>(step.offset));
          file.read(reinterpret_cast<char*>(buffer.data()),
                    static_cast<std::streamsize>(step.size));
          if (!file || static_cast<uint64_t>(file.gcount()) != step.size) {
            sample.unreadable = std::string(kCaptionSampleReadFailed);
          } else if (std::all_of(buffer.begin(), buffer.end(), [](uint8_t b) { return b == 0; }) &&
                     !buffer.empty()) {
            sample.blank = true;
          } else {
            sample.contents = readCaptionSample(track.format.value_or(FourCC()), buffer);
          }
        }
        ++end.samplesRead;
        if (sample.blank) {
          ++end.samplesBlank;
        } else if (!sample.contents || !sample.contents->ok()) {
          ++end.samplesWithErrors;
        }
        visitor.sample(track, sample);
      });
  if (walked.limitReached) {
    end.stoppedBecause =
        std::string(kCaptionSampleLimitReached) + std::to_string(options.sampleLimit);
  } else if (walked.error) {
    end.stoppedBecause = *walked.error;
  }
}

// Tells a sink the valid field-1 pairs of each sample.
class Field1PairVisitor final : public CaptionTrackVisitor {
 public:
  explicit Field1PairVisitor(const std::function<void(const TimedField1Pair&)>& sink)
      : sink_(sink) {}
  void beginTrack(const CaptionTrackInfo&) override {}
  void sample(const CaptionTrackInfo& track, const CaptionTrackSample& sample) override {
    if (!sample.contents) return;
    for (const LineTwentyOnePair& pair : sample.contents->pairs) {
      if (pair.field != 1 || !pair.valid) continue;
      TimedField1Pair timed;
      timed.trackID = track.trackID;
      timed.sample = sample.first;
      if (sample.time && track.timeScale != 0 && *sample.time <= INT64_MAX) {
        timed.time = CMTimeMake(static_cast<CMTimeValue>(*sample.time),
                                static_cast<CMTimeScale>(track.timeScale));
      }
      timed.bytes = pair.bytes;
      sink_(timed);
    }
  }
  void endTrack(const CaptionTrackInfo&, const CaptionTrackEnd&) override {}

 private:
  const std::function<void(const TimedField1Pair&)>& sink_;
};

}  // namespace

Result<CaptionReadSummary> readCaptionTracks(const std::string& path, CaptionTrackVisitor& visitor,
                                             const CaptionReadOptions& options) {
  auto movie = readMovieAtoms(path);
  if (!movie) return unexpected(movie.error());
  if (findAtom(movie->tree.atoms, "moov") == nullptr) {
    return unexpected(path + ": " + std::string(kNoMovieAtom));
  }
  CaptionReadSummary summary;
  summary.fileSize = movie->fileSize;
  summary.headerOnly = movie->headerOnly();
  if (movie->tree.error) summary.problems.push_back(movie->tree.error->message());

  std::ifstream file(path, std::ios::binary);
  for (const AtomNode* trak : findAtoms(movie->tree.atoms, "moov/trak")) {
    const TrackTables tables = readTrackTables(*trak, movie->data());
    if (tables.handler != FourCC("clcp")) continue;
    ++summary.captionTracks;
    CaptionTrackInfo track{.trackID = tables.trackID.value_or(0),
                           .format = tables.format,
                           .timeScale = tables.timeScale.value_or(0),
                           .duration = tables.duration.value_or(0),
                           .sampleCount = tables.sampleCount()};
    visitor.beginTrack(track);
    CaptionTrackEnd end;
    walkTrack(tables, track, file, movie->fileSize, options, visitor, end);
    summary.samplesWithErrors += end.samplesWithErrors;
    if (!end.stoppedBecause.empty()) {
      summary.problems.push_back("track " + std::to_string(track.trackID) + ": " +
                                 end.stoppedBecause);
    }
    visitor.endTrack(track, end);
  }
  return summary;
}

Result<CaptionReadSummary> forEachField1Pair(
    const std::string& path, const std::function<void(const TimedField1Pair&)>& sink,
    const CaptionReadOptions& options) {
  Field1PairVisitor visitor(sink);
  return readCaptionTracks(path, visitor, options);
}

}  // namespace premoov
