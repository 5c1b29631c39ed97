#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "base/log.h"
#include "captions/cea608_decoder.h"
#include "captions/srt_writer.h"
#include "premoov/caption_sample_text.h"
#include "premoov/caption_tracks.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"

namespace premoov {

namespace {

// Where a sample lies: its time, its frame (its time in its own durations) and its number.
std::string placeText(const CaptionTrackInfo& track, const CaptionTrackSample& sample) {
  std::string text = clockText(sample.time, track.timeScale);
  if (sample.time && sample.duration && *sample.duration != 0) {
    text += " f" + std::to_string(*sample.time / *sample.duration);
  }
  text += " #" + std::to_string(sample.first);
  if (sample.count > 1) text += "-" + std::to_string(sample.first + sample.count - 1);
  return text + stringWithFormat(" @%llu", static_cast<unsigned long long>(sample.offset));
}

// Prints one line a sample, a line a track before and after its samples.
class DumpPrinter final : public CaptionTrackVisitor {
 public:
  explicit DumpPrinter(std::ostream& out) : out_(out) {}

  void beginTrack(const CaptionTrackInfo& track) override {
    out_ << "track " << track.trackID << ": "
         << (track.format ? track.format->toString() : std::string("no format")) << ", "
         << track.sampleCount << " samples, time scale " << track.timeScale << ", duration "
         << clockText(track.duration, track.timeScale) << '\n';
  }

  void sample(const CaptionTrackInfo& track, const CaptionTrackSample& sample) override {
    // Blank samples come in long runs in a file extended before its recording: one line a run.
    if (sample.blank) {
      if (blankRun_ && blankRun_->first + blankRun_->count == sample.first) {
        ++blankRun_->count;
      } else {
        flushBlankRun(track);
        blankRun_ = sample;
      }
      return;
    }
    flushBlankRun(track);
    std::string line = placeText(track, sample);
    if (sample.missing) {
      line += ": " + std::to_string(sample.count) + (sample.count == 1 ? " sample" : " samples") +
              " missing, past the end of the file";
    } else if (!sample.contents) {
      line += " " + std::to_string(sample.size) + " B: unreadable, " + sample.unreadable;
    } else {
      line += " " + std::to_string(sample.size) + " B: " + captionContentsText(*sample.contents);
    }
    out_ << line << '\n';
  }

  void endTrack(const CaptionTrackInfo& track, const CaptionTrackEnd& end) override {
    flushBlankRun(track);
    out_ << "track " << track.trackID << ": " << end.samplesRead << " read, "
         << end.samplesWithErrors << " with errors, " << end.samplesBlank << " blank, "
         << end.samplesMissing << " missing";
    if (!end.stoppedBecause.empty()) out_ << "; " << end.stoppedBecause;
    out_ << '\n';
  }

 private:
  void flushBlankRun(const CaptionTrackInfo& track) {
    if (!blankRun_) return;
    out_ << placeText(track, *blankRun_) << ": " << blankRun_->count
         << (blankRun_->count == 1 ? " sample" : " samples") << " blank, all bytes zero\n";
    blankRun_.reset();
  }

  std::ostream& out_;
  std::optional<CaptionTrackSample> blankRun_;
};

// Names what was wrong with the movie's atoms and samples; answers the exit code.
int reportProblems(const std::string& moviePath, const CaptionReadSummary& summary,
                   std::ostream& err) {
  for (const std::string& problem : summary.problems) err << moviePath << ": " << problem << '\n';
  if (summary.samplesWithErrors != 0) {
    err << moviePath << ": " << summary.samplesWithErrors << " caption samples with errors\n";
  }
  return summary.problems.empty() && summary.samplesWithErrors == 0 ? kExitSuccess : kExitBadInput;
}

// The CC1 captions of the first caption track, as SubRip.
int printSubRip(const CaptionsDumpOptions& options, std::ostream& out, std::ostream& err) {
  CEA608Decoder decoder;
  std::vector<CaptionCue> cues;
  std::optional<uint32_t> decodedTrack;
  bool otherTracks = false;
  CaptionReadOptions read;
  if (options.sampleLimit) read.sampleLimit = *options.sampleLimit;
  auto summary = forEachField1Pair(
      options.moviePath,
      [&](const TimedField1Pair& pair) {
        if (!decodedTrack) decodedTrack = pair.trackID;
        if (pair.trackID != *decodedTrack) {
          otherTracks = true;
          return;
        }
        for (CaptionCue& cue : decoder.decodePair(pair.bytes, pair.time)) {
          cues.push_back(std::move(cue));
        }
      },
      read);
  if (!summary) {
    err << summary.error() << '\n';
    return kExitBadInput;
  }
  if (auto last = decoder.finish()) cues.push_back(std::move(*last));
  out << srtFromCues(cues);
  if (summary->captionTracks == 0) err << options.moviePath << ": no caption track\n";
  if (otherTracks) {
    err << options.moviePath << ": only the captions of track " << *decodedTrack
        << " are decoded\n";
  }
  return reportProblems(options.moviePath, *summary, err);
}

}  // namespace

int runCaptionsDumpCommand(const CaptionsDumpOptions& options, std::ostream& out,
                           std::ostream& err) {
  if (options.srt) return printSubRip(options, out, err);
  DumpPrinter printer(out);
  CaptionReadOptions read;
  if (options.sampleLimit) read.sampleLimit = *options.sampleLimit;
  auto summary = readCaptionTracks(options.moviePath, printer, read);
  if (!summary) {
    err << summary.error() << '\n';
    return kExitBadInput;
  }
  if (summary->captionTracks == 0) out << "no caption track\n";
  return reportProblems(options.moviePath, *summary, err);
}

}  // namespace premoov
