#include <optional>
#include <string>
#include <vector>

#include "base/log.h"
#include "captions/cea608_decoder.h"
#include "captions/cea608_pair_names.h"
#include "captions/srt_writer.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/line21_track.h"

namespace premoov {

namespace {

// The null row's first byte, ORed into the sample's second, and its second byte, the sample's
// third: what a frame carrying a line-21 waveform gives whatever its caption pair.
constexpr uint8_t kNullByte = 0x80;

std::string framesText(uint64_t count) {
  return std::to_string(count) + (count == 1 ? " frame" : " frames");
}

// The caption pair of a sample as sent: its second byte with the parity bit the extraction's OR
// hid (see withOddParity).
CEA608Pair captionPair(const Line21Sample& sample) { return {sample[0], withOddParity(sample[1])}; }

// Prints one line a frame (one a run of missing frames), a line for the track before and after.
class PairsPrinter final : public Line21FrameVisitor {
 public:
  explicit PairsPrinter(std::ostream& out) : out_(out) {}

  void beginTrack(const Line21TrackInfo& track) override {
    out_ << "track " << track.trackID << ": " << track.format.toString() << " " << track.width
         << " x " << track.height << ", " << framesText(track.sampleCount) << ", time scale "
         << track.timeScale << ", duration " << clockText(track.duration, track.timeScale) << '\n';
  }

  void frame(const Line21TrackInfo& track, const Line21Frame& frame) override {
    std::string line = "#" + std::to_string(frame.first);
    if (frame.count > 1) line += "-" + std::to_string(frame.first + frame.count - 1);
    line += " " + clockText(frame.time, track.timeScale);
    if (frame.missing) {
      line += ": " + framesText(frame.count) + " missing, past the end of the file";
    } else if (!frame.sample) {
      line += " " + std::to_string(frame.size) + " B: unreadable, " + frame.unreadable;
    } else {
      const Line21Sample& s = *frame.sample;
      line += stringWithFormat(": %02X %02X %02X %02X", s[0], s[1], s[2], s[3]);
      const CEA608Pair pair = captionPair(s);
      const Cea608PairName name = nameCea608Pair(pair[0], pair[1]);
      if (!name.parityOk) line += " parity-error";
      if (name.channel != 0) line += " CC" + std::to_string(name.channel);
      line += " " + name.text;
      if (s[2] != kNullByte) line += " | no null pair on row 2";
    }
    out_ << line << '\n';
  }

 private:
  std::ostream& out_;
};

// The same, one JSON object a line: the track, each frame or missing run, then the totals.
class JsonPrinter final : public Line21FrameVisitor {
 public:
  explicit JsonPrinter(std::ostream& out) : out_(out) {}

  void beginTrack(const Line21TrackInfo& track) override {
    OrderedJson json;
    json["track"] = track.trackID;
    json["format"] = track.format.toString();
    json["width"] = track.width;
    json["height"] = track.height;
    json["frames"] = track.sampleCount;
    json["timeScale"] = track.timeScale;
    json["duration"] = track.duration;
    out_ << jsonText(json) << '\n';
  }

  void frame(const Line21TrackInfo&, const Line21Frame& frame) override {
    OrderedJson json;
    json["frame"] = frame.first;
    json["time"] = frame.time ? OrderedJson(*frame.time) : OrderedJson(nullptr);
    if (frame.missing) {
      json["count"] = frame.count;
      json["missing"] = true;
    } else if (!frame.sample) {
      json["offset"] = frame.offset;
      json["size"] = frame.size;
      json["error"] = frame.unreadable;
    } else {
      const Line21Sample& s = *frame.sample;
      const CEA608Pair pair = captionPair(s);
      const Cea608PairName name = nameCea608Pair(pair[0], pair[1]);
      json["sample"] = stringWithFormat("%02X%02X%02X%02X", s[0], s[1], s[2], s[3]);
      json["pair"] = stringWithFormat("%02X%02X", pair[0], pair[1]);
      json["parityOk"] = name.parityOk;
      json["channel"] = name.channel != 0 ? OrderedJson(name.channel) : OrderedJson(nullptr);
      json["meaning"] = name.text;
      json["nullRow"] = s[2] == kNullByte;
    }
    out_ << jsonText(json) << '\n';
  }

 private:
  std::ostream& out_;
};

// Feeds the CC1 decoder each frame's pair at the frame's time.
class SubRipDecoder final : public Line21FrameVisitor {
 public:
  void beginTrack(const Line21TrackInfo&) override {}

  void frame(const Line21TrackInfo& track, const Line21Frame& frame) override {
    if (!frame.sample) return;
    CMTime time;
    if (frame.time && track.timeScale != 0 && *frame.time <= INT64_MAX) {
      time = CMTimeMake(static_cast<CMTimeValue>(*frame.time),
                        static_cast<CMTimeScale>(track.timeScale));
    }
    // The decoder drops a pair whose second byte fails its parity check, and the extraction has
    // set that byte's top bit whatever the pair sent: its parity is restored, so that every pair
    // reads as sent.
    for (CaptionCue& cue : decoder_.decodePair(captionPair(*frame.sample), time)) {
      cues_.push_back(std::move(cue));
    }
  }

  std::string finish() {
    if (auto last = decoder_.finish()) cues_.push_back(std::move(*last));
    return srtFromCues(cues_);
  }

 private:
  CEA608Decoder decoder_;
  std::vector<CaptionCue> cues_;
};

// Names what went wrong on `err`; answers the exit code.
int reportProblems(const std::string& moviePath, const Line21ReadSummary& summary,
                   std::ostream& err) {
  for (const std::string& problem : summary.problems) err << moviePath << ": " << problem << '\n';
  if (summary.framesWithErrors != 0) {
    err << moviePath << ": " << framesText(summary.framesWithErrors) << " with errors\n";
  }
  return summary.problems.empty() && summary.framesWithErrors == 0 ? kExitSuccess : kExitBadInput;
}

}  // namespace

int runCaptionsLine21Command(const CaptionsLine21Options& options, std::ostream& out,
                             std::ostream& err) {
  Line21ReadOptions read;
  if (options.frameLimit) read.frameLimit = *options.frameLimit;
  if (options.srt) {
    SubRipDecoder decoder;
    auto summary = readLine21Frames(options.moviePath, decoder, read);
    if (!summary) {
      err << summary.error() << '\n';
      return kExitBadInput;
    }
    out << decoder.finish();
    if (summary->framesMissing != 0) {
      err << options.moviePath << ": " << framesText(summary->framesMissing)
          << " missing, past the end of the file\n";
    }
    return reportProblems(options.moviePath, *summary, err);
  }
  PairsPrinter text(out);
  JsonPrinter json(out);
  Line21FrameVisitor& printer = options.json ? static_cast<Line21FrameVisitor&>(json) : text;
  auto summary = readLine21Frames(options.moviePath, printer, read);
  if (!summary) {
    err << summary.error() << '\n';
    return kExitBadInput;
  }
  if (options.json) {
    OrderedJson end;
    end["read"] = summary->framesRead;
    end["withErrors"] = summary->framesWithErrors;
    end["missing"] = summary->framesMissing;
    out << jsonText(end) << '\n';
  } else {
    out << "track " << summary->trackID << ": " << summary->framesRead << " read, "
        << summary->framesWithErrors << " with errors, " << summary->framesMissing << " missing\n";
  }
  return reportProblems(options.moviePath, *summary, err);
}

}  // namespace premoov
