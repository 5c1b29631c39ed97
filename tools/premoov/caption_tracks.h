#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/four_char_code.h"
#include "base/result.h"
#include "captions/cc_utilities.h"
#include "captions/cdp_reader.h"

namespace premoov {

// A caption track of a movie: media handler 'clcp'.
struct CaptionTrackInfo {
  uint32_t trackID = 0;
  std::optional<FourCC> format;  // of its first sample description: 'c608' or 'c708'
  uint32_t timeScale = 0;        // media time scale; 0 when unreadable
  uint64_t duration = 0;         // in the media time scale
  uint64_t sampleCount = 0;      // as 'stsz' counts them
};

// One step through a caption track: a sample read and taken apart, a sample that could not be
// read, or a run of samples past the end of the file (a growing file not written that far).
struct CaptionTrackSample {
  uint64_t first = 0;  // sample number (0-based), of the run's first when missing
  uint64_t count = 1;  // more than 1 only for a missing run
  bool missing = false;
  bool blank = false;  // read, and every byte zero: a slot of a file extended before recording
  std::optional<uint64_t> time;      // decode time in the media time scale
  std::optional<uint32_t> duration;  // in the media time scale
  uint64_t offset = 0;
  uint32_t size = 0;
  std::optional<CaptionSampleContents> contents{};  // when read
  std::string unreadable{};                         // why it was not read, when not
};

// How a track's walk ended.
struct CaptionTrackEnd {
  uint64_t samplesRead = 0;
  uint64_t samplesWithErrors = 0;  // read, with a problem other than a note, or unreadable
  uint64_t samplesMissing = 0;
  uint64_t samplesBlank = 0;   // read, all zero bytes; not taken apart
  std::string stoppedBecause;  // empty when every sample was walked
};

// What a reader of caption tracks is told, track by track and sample by sample in order.
class CaptionTrackVisitor {
 public:
  virtual ~CaptionTrackVisitor() = default;
  virtual void beginTrack(const CaptionTrackInfo& track) = 0;
  virtual void sample(const CaptionTrackInfo& track, const CaptionTrackSample& sample) = 0;
  virtual void endTrack(const CaptionTrackInfo& track, const CaptionTrackEnd& end) = 0;
};

struct CaptionReadOptions {
  // The most samples read per track; a day at 60 frames a second by default. Missing runs do not
  // count: they cost one step however long they are.
  uint64_t sampleLimit = 24ull * 3600 * 60;
};

// What the whole file gave.
struct CaptionReadSummary {
  uint64_t fileSize = 0;
  bool headerOnly = false;
  uint32_t captionTracks = 0;
  uint64_t samplesWithErrors = 0;
  std::vector<std::string> problems;  // of the movie's atoms and tracks
};

// Reads the caption tracks of the movie at `path` (a growing file too) and tells `visitor` each
// of their samples in order. Fails only when the file cannot be read or holds no movie atom.
Result<CaptionReadSummary> readCaptionTracks(const std::string& path, CaptionTrackVisitor& visitor,
                                             const CaptionReadOptions& options = {});

// One line-21 field-1 pair of a caption track with the time of its sample: what a CEA-608 decoder
// of CC1 and CC2 takes.
struct TimedField1Pair {
  uint32_t trackID = 0;
  uint64_t sample = 0;
  CMTime time;  // the sample's decode time in its media time scale; invalid when unknown
  CEA608Pair bytes{};
};

// Hands the valid field-1 pairs of every caption track to `sink`, in sample order.
Result<CaptionReadSummary> forEachField1Pair(
    const std::string& path, const std::function<void(const TimedField1Pair&)>& sink,
    const CaptionReadOptions& options = {});

}  // namespace premoov
