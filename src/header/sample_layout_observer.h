#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace premoov {

// One sample reference the layout made: `count` samples together `size` bytes at `offset`.
struct PlannedReference {
  std::string track;  // "video", "audio1".."audio16", "timecode", "captions"
  uint64_t offset = 0;
  uint64_t size = 0;
  uint32_t count = 0;
  int64_t duration = 0;  // per sample, in the track's media time scale
  uint32_t flags = 0;
  std::optional<int64_t> displayOffset;  // long-GOP video only
};

// Watches the sample layout of a header request: the recorder's write map.
class SampleLayoutObserver {
 public:
  virtual ~SampleLayoutObserver() = default;
  virtual void didPlanHeaderRoom(uint32_t headerRoom, uint64_t mdatStart) = 0;
  virtual void didReference(const PlannedReference& reference) = 0;
  // `end` is the file offset just past the laid-out media data.
  virtual void didEndLayout(uint64_t end) = 0;
};

}  // namespace premoov
