#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/four_char_code.h"
#include "base/result.h"
#include "media/core_media.h"
#include "media/core_video.h"

namespace premoov {

// The video track whose frames carry line-21 captions in their top rows: the first 'vide' track
// of uncompressed 4:2:2 frames.
struct Line21TrackInfo {
  uint32_t trackID = 0;
  FourCC format;  // '2vuy', 'v210' or 'yuvs'
  uint16_t width = 0;
  uint16_t height = 0;
  size_t bytesPerRow = 0;    // unpadded beyond the format's own grouping, as QuickTime stores rows
  uint32_t timeScale = 0;    // media time scale; 0 when unreadable
  uint64_t duration = 0;     // in the media time scale
  uint64_t sampleCount = 0;  // as 'stsz' counts them
};

// The "c608" sample that line-21 extraction makes of one frame's top rows: the caption pair, its
// second byte ORed with the null row's first (0x80), the null row's second byte, and zero.
using Line21Sample = std::array<uint8_t, 4>;

// One step through the frames: a frame read, a frame that could not be read, or a run of frames
// past the end of the file (a growing file not written that far).
struct Line21Frame {
  uint64_t first = 0;  // frame number (0-based), of the run's first when missing
  uint64_t count = 1;  // more than 1 only for a missing run
  bool missing = false;
  std::optional<uint64_t> time;      // decode time in the media time scale
  std::optional<uint32_t> duration;  // in the media time scale
  uint64_t offset = 0;
  uint32_t size = 0;
  std::optional<Line21Sample> sample{};  // when read
  std::string unreadable{};              // why it was not read, when not
};

// What a reader of the frames is told: the track once, then each frame in order.
class Line21FrameVisitor {
 public:
  virtual ~Line21FrameVisitor() = default;
  virtual void beginTrack(const Line21TrackInfo& track) = 0;
  virtual void frame(const Line21TrackInfo& track, const Line21Frame& frame) = 0;
};

struct Line21ReadOptions {
  // The most frames read; a day at 60 frames a second by default. Missing runs do not count: they
  // cost one step however long they are.
  uint64_t frameLimit = 24ull * 3600 * 60;
};

// How the walk through the frames ended.
struct Line21ReadSummary {
  uint32_t trackID = 0;  // of the track read
  uint64_t framesRead = 0;
  uint64_t framesWithErrors = 0;  // unreadable frames
  uint64_t framesMissing = 0;
  std::vector<std::string> problems = {};  // of the movie's atoms and the track's tables
};

// Reads the top three rows of every frame of the line-21 track of the movie at `path` (a growing
// file too), never more of a frame, and hands each frame's "c608" sample to `visitor`, made by one
// extraction instance through `video` and `media`. Fails with a message naming the file when it
// cannot be read, holds no movie atom, or has no video track of uncompressed frames at least three
// rows high.
Result<Line21ReadSummary> readLine21Frames(const std::string& path, Line21FrameVisitor& visitor,
                                           const Line21ReadOptions& options = {},
                                           CoreVideo& video = defaultCoreVideo(),
                                           CoreMedia& media = defaultCoreMedia());

// The second byte of a line-21 sample with its odd parity bit set again. Extraction ORs the null
// row's first byte (0x80) into it, so the bit as read is always set and says nothing of the pair.
uint8_t withOddParity(uint8_t byte);

}  // namespace premoov
