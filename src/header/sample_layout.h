#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

#include "header/header_settings.h"
#include "header/movie_tracks.h"
#include "header/sample_layout_observer.h"
#include "movie/toolbox.h"

namespace premoov {

struct SampleLayoutInput {
  const HeaderSettings* settings = nullptr;
  CMTime duration;
  uint32_t blockSize = 0;
  int32_t frameSize = 0;
  uint32_t headerRoom = 0;
  std::vector<int32_t> chunkTable;  // empty for an unsupported rate: groups carry no video
  const std::atomic<bool>* cancelled = nullptr;
  SampleLayoutObserver* observer = nullptr;  // may be null
};

struct SampleLayoutResult {
  Failure failure;
  uint64_t end = 0;  // file offset just past the laid-out media data
  // Set when the layout stopped because the header can no longer fit before the media data: the
  // bytes its sample tables already take, a lower bound of the whole header's size.
  std::optional<uint64_t> headerTooLong;
};

// References every sample of the recording where the recorder writes it: one-second interleave
// groups of video chunks, each audio track's run, the timecode run and the caption run, each
// group aligned to the block size, then a tail group for the frames left over. The work and the
// memory spent follow the header the references make, not the duration asked for: the layout
// stops as soon as the sample tables outgrow the header room, and skips the full groups that
// would reference nothing.
SampleLayoutResult layOutSamples(Toolbox& toolbox, const SampleLayoutInput& input,
                                 MovieTracks& tracks);

}  // namespace premoov
