#include "movie/movie.h"

#include <algorithm>

namespace premoov {

int64_t Media::duration() const { return runs.summary().totalDuration(); }

uint64_t Media::sampleCount() const { return runs.summary().samples(); }

uint32_t Media::indexOfDescription(const SampleDescriptionHandle& description) {
  auto it = std::find(descriptions.begin(), descriptions.end(), description);
  if (it == descriptions.end()) {
    descriptions.push_back(description);
    return static_cast<uint32_t>(descriptions.size());
  }
  return static_cast<uint32_t>(it - descriptions.begin()) + 1;
}

int64_t Track::duration() const {
  int64_t total = 0;
  for (const auto& edit : edits) total += edit.trackDuration;
  return total;
}

int64_t Movie::duration() const {
  int64_t longest = 0;
  for (const auto& track : tracks) longest = std::max(longest, track->duration());
  return longest;
}

}  // namespace premoov
