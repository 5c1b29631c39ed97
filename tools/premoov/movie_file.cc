#include "premoov/movie_file.h"

#include <algorithm>

#include "base/byte_reader.h"
#include "premoov/messages.h"
#include "requests/file_io.h"

namespace premoov {

namespace {

// What to read of a movie file: everything but the media data payload.
struct FileExtent {
  uint64_t bytesToRead = 0;  // from offset 0: every atom except 'mdat' whole, 'mdat' its header
  uint64_t atomsEnd = 0;     // the file's size, or the end of its 'mdat' when the media data
                             // is not written yet; no other atom may reach past the file
};

// Walks the top-level atom headers of the file without reading the media data. A header that
// makes no sense stops the walk; the parser then reads it and names the problem.
Result<FileExtent> extentOf(const std::string& path, uint64_t fileSize) {
  FileExtent extent{.bytesToRead = 0, .atomsEnd = fileSize};
  uint64_t at = 0;
  while (at < fileSize) {
    auto header = readFileRange(path, at, 16);
    if (!header) return unexpected(header.error());
    const auto* data = reinterpret_cast<const uint8_t*>(header->data());
    ByteReader reader(std::span<const uint8_t>(data, header->size()));
    const auto size32 = reader.u32();
    const auto type = reader.fourCC();
    if (!size32 || !type) break;
    uint64_t size = *size32;
    uint64_t headerSize = 8;
    if (*size32 == 1) {
      const auto size64 = reader.u64();
      if (!size64) break;
      size = *size64;
      headerSize = 16;
    } else if (*size32 == 0) {
      if (type->value == 0) {
        // Zeros to the end: what follows the media data of a file extended to the reply's file
        // size (which counts the 'mdat' header twice). Nothing to read there.
        extent.atomsEnd = at;
        at = fileSize;
        break;
      }
      size = fileSize - at;
    }
    if (size < headerSize || size > UINT64_MAX - at) break;
    const bool media = *type == FourCC("mdat");
    extent.bytesToRead = std::max(extent.bytesToRead, at + (media ? headerSize : size));
    if (media) extent.atomsEnd = std::max(extent.atomsEnd, at + size);
    at += size;
  }
  // Whatever follows the last sensible header is read too, so that the parser reports it.
  if (at < fileSize) extent.bytesToRead = std::max(extent.bytesToRead, std::min(fileSize, at + 16));
  extent.bytesToRead = std::min(extent.bytesToRead, fileSize);
  return extent;
}

}  // namespace

Result<MovieAtoms> readMovieAtoms(const std::string& path) {
  auto fileSize = fileSizeOf(path);
  if (!fileSize) return unexpected(fileSize.error());
  auto extent = extentOf(path, *fileSize);
  if (!extent) return unexpected(extent.error());
  if (extent->bytesToRead > kMovieAtomsLimit) {
    return unexpected(path + ": " + std::string(kHeaderAtomsTooLarge) +
                      std::to_string(kMovieAtomsLimit) + " bytes");
  }
  auto text = readFileRange(path, 0, static_cast<size_t>(extent->bytesToRead));
  if (!text) return unexpected(text.error());
  MovieAtoms movie;
  movie.bytes = std::move(*text);
  movie.fileSize = *fileSize;
  movie.atomsEnd = extent->atomsEnd;
  movie.tree = parseAtomTree(movie.data(), movie.atomsEnd);
  return movie;
}

}  // namespace premoov
