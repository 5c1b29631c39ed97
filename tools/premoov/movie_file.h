#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/result.h"
#include "movie/atom_tree.h"

namespace premoov {

// The most bytes the tool reads of a movie besides its media data: the header atoms of any
// recording fit well within this.
inline constexpr uint64_t kMovieAtomsLimit = 512ull * 1024 * 1024;

// A movie file's atoms, read without its media data.
struct MovieAtoms {
  std::string bytes;      // from offset 0: every atom except 'mdat' whole, 'mdat' its header
  uint64_t fileSize = 0;  // the file's size on disk
  uint64_t atomsEnd = 0;  // the file's size, or the end of its 'mdat' when the media data is
                          // not written yet
  AtomTree tree;

  std::span<const uint8_t> data() const {
    return {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
  }
  // A header written before the recording: its media data atom reaches past the file's end.
  bool headerOnly() const { return atomsEnd > fileSize; }
};

// Reads and parses the atoms of the movie at `path`. Fails with a message naming the file when it
// cannot be read or its atoms outside the media data are larger than kMovieAtomsLimit; atoms
// that make no sense are the tree's error, not a failure.
Result<MovieAtoms> readMovieAtoms(const std::string& path);

}  // namespace premoov
