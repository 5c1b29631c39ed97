#include "header/sample_layout.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/log.h"
#include "captions/cc_utilities.h"
#include "header/header_room.h"

namespace premoov {
namespace {

// Long-GOP sample flags: the top byte says how the frame depends on others.
constexpr uint32_t kFirstFrameFlags = 0x44000000;
constexpr uint32_t kKeyFrameFlags = 0x44010001;
constexpr uint32_t kForwardPredictedFlags = 0x44000001;
constexpr uint32_t kBidirectionalFlags = 0x08000001;

// Group-of-pictures shape by time scale: 30000-based scales get 15-frame GOPs, others 12. Only
// the low byte of (scale mod 30000) is tested, which is what sorts 30000 and 60000 from 24000,
// 25000 and 50000.
struct GopShape {
  int64_t length;
  double forwardRatio;
  double bidirectionalRatio;
};

GopShape gopShapeFor(TimeScale timescale) {
  const auto z = static_cast<uint8_t>(timescale % 30000);
  if (z == 0) return {15, 0.75, 0.5};
  return {12, 0.8, 0.55};
}

// Whole frames in one interleave group: ceil(timescale / value). 0 when the frame duration gives
// no positive finite rate.
int64_t groupLength(const CMTime& frameDuration) {
  const double g = std::ceil(static_cast<double>(frameDuration.timescale) /
                             static_cast<double>(frameDuration.value));
  if (!std::isfinite(g) || g < 1 || g > 1e9) return 0;
  return static_cast<int64_t>(g);
}

class Layout {
 public:
  Layout(Toolbox& toolbox, const SampleLayoutInput& input, MovieTracks& tracks)
      : toolbox_(toolbox),
        in_(input),
        s_(*input.settings),
        tracks_(tracks),
        frameDuration_(s_.videoFrameDuration) {}

  SampleLayoutResult run();

 private:
  bool cancelled() const { return in_.cancelled && in_.cancelled->load(std::memory_order_relaxed); }
  // Bytes the sample tables of every medium (and of the long-GOP table) take in the header: a
  // lower bound of its size. Counted once at the start, then kept up to date reference by
  // reference, so that the test below costs nothing per group.
  uint64_t sampleTableBytes() const;
  // The header can no longer end before the media data header: laying out more would only spend
  // time and memory on a request that is refused anyway.
  bool headerCannotFit() const {
    return tableBytes_ > mediaDataAtomStart(in_.headerRoom, s_.globalTimecode);
  }

  Failure reference(Media& media, const SampleDescriptionHandle& description, const char* track,
                    const char* failureFormat, uint64_t dataSize, uint32_t count, int64_t duration,
                    uint16_t flags = 0);
  Failure tableReference(uint32_t dataSize, uint32_t flags, int64_t displayOffset);
  Failure videoFrames(int64_t frames, bool withOverhead);
  Failure longGOPFrames(int64_t frames);
  Failure audioRuns(uint32_t samples, bool checked);
  Failure timecodeAndCaptionRuns(uint32_t frames);
  void align(bool always);
  SampleLayoutResult tooLong() const;

  Toolbox& toolbox_;
  const SampleLayoutInput& in_;
  const HeaderSettings& s_;
  MovieTracks& tracks_;
  CMTime frameDuration_;
  std::unique_ptr<SampleTable> table_;
  int64_t descriptionID_ = 0;
  uint64_t offset_ = 0;
  uint64_t placed_ = 0;   // video frames referenced so far
  uint64_t samples_ = 0;  // samples of every medium referenced so far
  uint64_t tableBytes_ = 0;
};

uint64_t Layout::sampleTableBytes() const {
  uint64_t bytes = table_ ? table_->runs.summary().atomBytes() : 0;
  const auto add = [&](const Media* media) {
    if (media) bytes += media->runs.summary().atomBytes();
  };
  add(tracks_.videoMedia);
  for (const Media* media : tracks_.audioMedia) add(media);
  add(tracks_.closedCaptionMedia);
  add(tracks_.timecodeMedia);
  return bytes;
}

SampleLayoutResult Layout::tooLong() const {
  const uint64_t bytes = tableBytes_;
  NSLog(
      "The layout stops at %llu frames: its sample tables take %llu bytes, more than the header "
      "room of %u bytes holds",
      static_cast<unsigned long long>(placed_), static_cast<unsigned long long>(bytes),
      in_.headerRoom);
  return {std::nullopt, offset_, bytes};
}

Failure Layout::reference(Media& media, const SampleDescriptionHandle& description,
                          const char* track, const char* failureFormat, uint64_t dataSize,
                          uint32_t count, int64_t duration, uint16_t flags) {
  // The reference record holds 32-bit sizes and durations: what does not fit is refused as the
  // toolbox refuses a bad argument, rather than cut to a wrong value.
  if (dataSize > std::numeric_limits<uint32_t>::max() || duration < 0 ||
      duration > std::numeric_limits<uint32_t>::max()) {
    NSLog("A %s reference of %llu bytes, %lld per sample, does not fit a sample reference", track,
          static_cast<unsigned long long>(dataSize), static_cast<long long>(duration));
    return stringWithFormat(failureFormat, paramErr);
  }
  SampleReference64Record record;
  record.dataOffset = offset_;
  record.dataSize = static_cast<uint32_t>(dataSize);
  record.durationPerSample = static_cast<uint32_t>(duration);
  record.numberOfSamples = count;
  record.sampleFlags = flags;
  // A reference to no samples adds nothing to the tables: not counted.
  const uint64_t bytesBefore = count > 0 ? media.runs.summary().atomBytes() : 0;
  if (OSErr err = toolbox_.AddMediaSampleReferences64(media, description, 1, &record, nullptr)) {
    return stringWithFormat(failureFormat, err);
  }
  if (count > 0) tableBytes_ += media.runs.summary().atomBytes() - bytesBefore;
  if (in_.observer) {
    in_.observer->didReference({track, offset_, dataSize, count, duration, flags, std::nullopt});
  }
  samples_ += count;
  offset_ += dataSize;
  return std::nullopt;
}

Failure Layout::tableReference(uint32_t dataSize, uint32_t flags, int64_t displayOffset) {
  const uint64_t bytesBefore = table_->runs.summary().atomBytes();
  if (OSErr err = toolbox_.QTSampleTableAddSampleReferences(
          *table_, static_cast<int64_t>(offset_), dataSize, frameDuration_.value, displayOffset, 1,
          flags, descriptionID_, nullptr)) {
    return stringWithFormat("QTSampleTableAddSampleReferences (Video) failed (%i)", err);
  }
  tableBytes_ += table_->runs.summary().atomBytes() - bytesBefore;
  if (in_.observer) {
    in_.observer->didReference(
        {"video", offset_, dataSize, 1, frameDuration_.value, flags, displayOffset});
  }
  ++samples_;
  offset_ += dataSize;
  return std::nullopt;
}

// `frames` frames as one direct reference; the very first frame of the movie may carry extra
// room, in a reference of its own.
Failure Layout::videoFrames(int64_t frames, bool withOverhead) {
  const char* failure = "AddMediaSampleReferences64 (video) failed (%i)";
  Media& media = *tracks_.videoMedia;
  const auto& description = tracks_.videoDescription;
  const uint64_t frameSize = static_cast<uint32_t>(in_.frameSize);
  if (withOverhead && s_.firstFrameOverhead != 0 && placed_ == 0) {
    if (auto f = reference(media, description, "video", failure, frameSize + s_.firstFrameOverhead,
                           1, frameDuration_.value)) {
      return f;
    }
    // Made even for a one-frame chunk: a reference to no frames.
    const auto rest = static_cast<uint32_t>(frames - 1);
    if (auto f = reference(media, description, "video", failure, rest * frameSize, rest,
                           frameDuration_.value)) {
      return f;
    }
  } else {
    const auto count = static_cast<uint32_t>(frames);
    if (auto f = reference(media, description, "video", failure, count * frameSize, count,
                           frameDuration_.value)) {
      return f;
    }
  }
  placed_ += static_cast<uint64_t>(frames);
  return std::nullopt;
}

Failure Layout::longGOPFrames(int64_t frames) {
  const GopShape gop = gopShapeFor(frameDuration_.timescale);
  const double frameSize = static_cast<uint32_t>(in_.frameSize);
  const int64_t fd = frameDuration_.value;
  for (int64_t i = 0; i < frames; ++i) {
    const auto k = static_cast<int64_t>(placed_) + i;
    Failure f;
    if (k == 0) {
      f = tableReference(static_cast<uint32_t>(frameSize), kFirstFrameFlags, 2 * fd);
    } else if (k % 3 == 0 && k % gop.length == 0) {
      f = tableReference(static_cast<uint32_t>(frameSize), kKeyFrameFlags, 2 * fd);
    } else if (k % 3 == 0) {
      f = tableReference(static_cast<uint32_t>(gop.forwardRatio * frameSize),
                         kForwardPredictedFlags, 2 * fd);
    } else {
      f = tableReference(static_cast<uint32_t>(gop.bidirectionalRatio * frameSize),
                         kBidirectionalFlags, -fd);
    }
    if (f) return f;
  }
  placed_ += static_cast<uint64_t>(frames);
  return std::nullopt;
}

Failure Layout::audioRuns(uint32_t samples, bool checked) {
  for (size_t i = 0; i < tracks_.audioMedia.size(); ++i) {
    static constexpr const char* kTrackNames[kMaxAudioTracks] = {
        "audio1", "audio2",  "audio3",  "audio4",  "audio5",  "audio6",  "audio7",  "audio8",
        "audio9", "audio10", "audio11", "audio12", "audio13", "audio14", "audio15", "audio16"};
    const uint64_t size = uint64_t{samples} * s_.asbds[i].mBytesPerPacket;
    auto f = reference(*tracks_.audioMedia[i], tracks_.audioDescriptions[i], kTrackNames[i],
                       "AddMediaSampleReferences64 (Audio) failed (%i)", size, samples, 1);
    if (f && checked) return f;
    if (f) NSLog("%s; the layout goes on", f->c_str());
  }
  return std::nullopt;
}

// A group's timecode run (one 4-byte sample a frame, unless the timecode is global) and its
// caption run (one sample a frame, of the room a caption sample needs at this rate).
Failure Layout::timecodeAndCaptionRuns(uint32_t frames) {
  if (!s_.globalTimecode) {
    if (auto f = reference(*tracks_.timecodeMedia, tracks_.timecodeDescription, "timecode",
                           "AddMediaSampleReferences64 (TimeCode) failed (%i)",
                           uint64_t{kTimecodeSampleSize} * frames, frames, frameDuration_.value)) {
      return f;
    }
  }
  if (s_.addClosedCaptionTrack) {
    const auto captionSize = static_cast<uint32_t>(
        ZPRCCUtilities::closedCaptionMaxSampleSizeForFrameDuration(frameDuration_));
    if (auto f = reference(*tracks_.closedCaptionMedia, tracks_.closedCaptionDescription,
                           "captions", "AddMediaSampleReferences64 (ClosedCaption) failed (%i)",
                           uint64_t{captionSize} * frames, frames, frameDuration_.value)) {
      return f;
    }
  }
  return std::nullopt;
}

void Layout::align(bool always) {
  if (in_.blockSize == 0) return;  // no block to align to
  const uint64_t rest = offset_ % in_.blockSize;
  // A tail is padded even when it ends on a block boundary: recorders write that block too.
  if (always || rest != 0) offset_ += in_.blockSize - rest;
}

SampleLayoutResult Layout::run() {
  offset_ = in_.headerRoom;
  if (in_.blockSize == 0) NSLog("Block size 0: groups are not aligned");

  if (s_.globalTimecode) {
    offset_ -= kTimecodeSampleSize;
    const CMTime length = CMTimeConvertScale(in_.duration, frameDuration_.timescale,
                                             CMTimeRoundingMethod::kCMTimeRoundingMethod_QuickTime);
    if (auto f = reference(*tracks_.timecodeMedia, tracks_.timecodeDescription, "timecode",
                           "AddMediaSampleReferences64 (TimeCode) failed (%i)", kTimecodeSampleSize,
                           1, length.value)) {
      return {f, offset_, std::nullopt};
    }
  }

  // A frame duration of no positive rate, or of more than 10^9 frames a second, makes no
  // interleave group: nothing is laid out, not even a tail.
  const int64_t G = groupLength(frameDuration_);
  if (G == 0)
    NSLog("Frame duration %lld/%d gives no interleave group; no frames are laid out",
          static_cast<long long>(frameDuration_.value), frameDuration_.timescale);
  // The frame count is used as an unsigned 32-bit number, as recorders count it. G > 0 means a
  // positive frame duration value, so the division cannot trap.
  const auto F = static_cast<uint32_t>(G > 0 ? in_.duration.value / frameDuration_.value : 0);
  uint32_t A = 0;
  if (!tracks_.audioMedia.empty()) {
    // The first track's rate serves every track; the frame duration's value / 1000 is one group
    // in seconds for time scales of 1000 x G.
    const long double samples =
        static_cast<long double>(frameDuration_.value) / 1000.0L * s_.asbds[0].mSampleRate;
    A = samples > 0 && samples < 4294967295.0L ? static_cast<uint32_t>(samples) : 0;
  }

  if (OSErr err = toolbox_.QTSampleTableCreateMutable(frameDuration_.timescale, &table_)) {
    return {stringWithFormat("QTSampleTableCreateMutable (Video) failed (%i)", err), offset_,
            std::nullopt};
  }
  if (OSErr err = toolbox_.QTSampleTableAddSampleDescription(*table_, tracks_.videoDescription, 0,
                                                             &descriptionID_)) {
    toolbox_.QTSampleTableRelease(table_);
    return {stringWithFormat("QTSampleTableAddSampleDescription (Video) failed (%i)", err), offset_,
            std::nullopt};
  }

  tableBytes_ = sampleTableBytes();
  if (G == 0) {
    toolbox_.QTSampleTableRelease(table_);
    if (in_.observer) in_.observer->didEndLayout(offset_);
    return {std::nullopt, offset_, std::nullopt};
  }

  bool stoppedTooLong = false;
  Failure failure = [&]() -> Failure {
    uint64_t remaining = F;
    while (static_cast<uint64_t>(G) <= remaining) {
      if (cancelled()) return std::nullopt;
      if (headerCannotFit()) {
        stoppedTooLong = true;
        return std::nullopt;
      }
      const uint64_t samplesBefore = samples_;
      for (int32_t n : in_.chunkTable) {
        if (auto f = s_.isLongGOP ? longGOPFrames(n) : videoFrames(n, true)) return f;
      }
      if (auto f = audioRuns(A, true)) return f;
      if (auto f = timecodeAndCaptionRuns(static_cast<uint32_t>(G))) return f;
      align(false);
      remaining -= static_cast<uint64_t>(G);
      if (samples_ == samplesBefore && static_cast<uint64_t>(G) <= remaining) {
        // A group that references no sample leaves everything a later group depends on as it
        // was, and ends aligned: every later full group would reference nothing and move
        // nothing. Only the tail can differ.
        NSLog("Interleave groups reference no sample; %llu more full groups are skipped",
              static_cast<unsigned long long>(remaining / static_cast<uint64_t>(G)));
        remaining %= static_cast<uint64_t>(G);
      }
    }

    const auto R = static_cast<uint32_t>(remaining);
    if (R == 0 || cancelled()) return std::nullopt;
    if (headerCannotFit()) {
      stoppedTooLong = true;
      return std::nullopt;
    }
    int64_t left = R;
    for (int32_t n : in_.chunkTable) {
      if (left <= 0) break;
      const int64_t m = std::min<int64_t>(n, left);
      if (s_.isLongGOP) {
        if (auto f = longGOPFrames(m)) return f;
      } else if (m > 0) {
        if (auto f = videoFrames(m, false)) return f;
      }
      left -= m;
    }
    (void)audioRuns(static_cast<uint32_t>((uint64_t{A} * R) / static_cast<uint32_t>(G)), false);
    if (auto f = timecodeAndCaptionRuns(R)) return f;
    align(true);
    return std::nullopt;
  }();

  if (stoppedTooLong || (!failure && headerCannotFit())) {
    SampleLayoutResult result = tooLong();
    toolbox_.QTSampleTableRelease(table_);
    return result;
  }
  if (!failure && s_.isLongGOP) {
    const int64_t count = toolbox_.QTSampleTableGetNumberOfSamples(*table_);
    if (OSErr err =
            toolbox_.AddSampleTableToMedia(*tracks_.videoMedia, *table_, 1, count, nullptr)) {
      failure = stringWithFormat("AddSampleTableToMedia (Video) failed (%i)", err);
    }
  }
  toolbox_.QTSampleTableRelease(table_);
  if (in_.observer && !failure) in_.observer->didEndLayout(offset_);
  return {failure, offset_, std::nullopt};
}

}  // namespace

SampleLayoutResult layOutSamples(Toolbox& toolbox, const SampleLayoutInput& input,
                                 MovieTracks& tracks) {
  return Layout(toolbox, input, tracks).run();
}

}  // namespace premoov
