#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <variant>

#include "captions/caption_slot_stream.h"
#include "captions/scc_file.h"
#include "captions/timecode_label.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/messages.h"
#include "requests/file_io.h"

namespace premoov {
namespace {

// A day of captions at full density (a word every frame) is about 13 MB of SCC text; the pairs
// read take about 3 times the text.
constexpr size_t kSccFileLimit = size_t{32} << 20;

template <typename T>
bool parsedWhole(std::string_view text, T& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

// "N/D": N/D seconds a frame, both positive.
std::optional<CMTime> frameDurationOf(std::string_view text) {
  const size_t slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  CMTimeValue value = 0;
  CMTimeScale timescale = 0;
  if (!parsedWhole(text.substr(0, slash), value) ||
      !parsedWhole(text.substr(slash + 1), timescale) || value <= 0 || timescale <= 0) {
    return std::nullopt;
  }
  return CMTimeMake(value, timescale);
}

int badInput(std::ostream& err, const std::string& message) {
  err << kCaptionsScc << message << '\n';
  return kExitBadInput;
}

OrderedJson orNull(const std::optional<int64_t>& value) {
  return value ? OrderedJson(*value) : OrderedJson(nullptr);
}

}  // namespace

int runCaptionsSccCommand(const CaptionsSccOptions& options, std::ostream& out, std::ostream& err) {
  const std::optional<CMTime> frameDuration = frameDurationOf(options.frameDuration);
  if (!frameDuration) {
    return badInput(err, "'" + options.frameDuration + "'" + std::string(kNotFrameDuration));
  }
  const std::optional<TimecodeCounting> counting = timecodeCountingForFrameDuration(*frameDuration);
  if (!counting) {
    return badInput(err, options.frameDuration + std::string(kNotCaptionFrameRate));
  }
  const auto start = parseTimecodeLabel(options.start, *counting);
  if (const auto* problem = std::get_if<TimecodeProblem>(&start)) {
    return badInput(err, std::string(kBadStart) + problem->message);
  }
  const int64_t startFrame = frameIndexOfLabel(std::get<TimecodeLabel>(start), *counting);
  // The output is streamed, but its size follows --frames: keep it to what a recording can be.
  const int64_t frameLimit = framesPerDay(*counting, false);
  if (options.frames && (*options.frames < 0 || *options.frames > frameLimit)) {
    return badInput(err, std::string(kTooManyFrames) + std::to_string(frameLimit));
  }

  const auto text = readWholeFile(options.sccPath, kSccFileLimit);
  if (!text) return badInput(err, text.error());
  const auto captions = readSccFile(*text, *frameDuration);
  if (!captions) return badInput(err, options.sccPath + ": " + captions.error());

  const int64_t samples =
      options.frames ? *options.frames : samplesThroughLastPair(captions->pairs, startFrame);
  if (samples > frameLimit)
    return badInput(err, std::string(kTooManySamples) + std::to_string(frameLimit));
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(options.outPath.c_str(), "wb"),
                                                       &std::fclose);
  if (!file) {
    return badInput(err, options.outPath + std::string(kCannotWriteSamples) + std::strerror(errno));
  }
  CcdpSampleMaker maker(*frameDuration,
                        options.withServiceInfo ? CcdpForm::builders : CcdpForm::slot);
  const CaptionStreamCounts counts = writeCaptionStream(
      captions->pairs, startFrame, samples, maker, [&](std::span<const uint8_t> sample) {
        return std::fwrite(sample.data(), 1, sample.size(), file.get()) == sample.size();
      });
  if (counts.stopped || std::fflush(file.get()) != 0) {
    return badInput(err, options.outPath + std::string(kCannotWriteSamples) + std::strerror(errno));
  }

  if (captions->delayedLines > 0) {
    err << kCaptionsScc << captions->delayedLines << kLinesDelayed << '\n';
  }
  if (counts.pairsBefore > 0)
    err << kCaptionsScc << counts.pairsBefore << kPairsBeforeStart << '\n';
  if (counts.pairsAfter > 0) err << kCaptionsScc << counts.pairsAfter << kPairsPastFrames << '\n';

  OrderedJson answer;
  answer["samples"] = counts.samples;
  answer["sampleSize"] = maker.sampleSize();
  answer["pairs"] = counts.pairs;
  answer["firstPairFrame"] = orNull(counts.firstPairSample);
  answer["lastPairFrame"] = orNull(counts.lastPairSample);
  out << jsonText(answer) << '\n';
  return kExitSuccess;
}

}  // namespace premoov
