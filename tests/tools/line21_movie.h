#pragma once

#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/atom_writer.h"
#include "base/byte_writer.h"
#include "base/log.h"
#include "captions/cc_utilities.h"
#include "media/pixel_formats.h"
#include "movie/track_atoms.h"

namespace premoov::testing {

// A movie of one video track of uncompressed frames at 29.97, each with one caption pair drawn
// into its top rows by the line-21 overlay, as a recorder that draws captions writes it: the
// movie atom, then a media data atom holding the frames back to back in one chunk.
struct Line21Movie {
  FourCC format = FourCC("2vuy");
  uint16_t width = 720;
  uint16_t height = 5;
  std::vector<CEA608Pair> pairs{};
  // Frames in the file; the rest are not written yet, though the media data atom counts them
  // (a growing file). All when unset.
  std::optional<size_t> framesWritten{};
  // The size 'stsz' gives each frame; the frame's own size when unset.
  std::optional<uint32_t> sampleSize{};
  // Tracks before the video track.
  std::vector<TrackAtoms> tracksBefore{};
  FourCC handler = FourCC("vide");

  size_t bytesPerRow() const { return minimumBytesPerRow(format, width).value_or(0); }
  uint32_t frameSize() const {
    return sampleSize.value_or(static_cast<uint32_t>(bytesPerRow() * height));
  }

  // One frame: a flat grey picture (for formats the overlay draws into) with the pair drawn.
  std::vector<uint8_t> frameBytes(const CEA608Pair& pair, ZPRCCUtilities& overlay) const {
    std::vector<uint8_t> frame(std::max<size_t>(frameSize(), bytesPerRow() * height), 0x5A);
    if (bytesPerRow() != 0) {
      auto pixels =
          std::make_shared<CVPixelBuffer>(format, width, height, bytesPerRow(), frame.data());
      auto block = std::make_shared<CMBlockBuffer>(2);
      block->data()[0] = pair[0];
      block->data()[1] = pair[1];
      overlay.overlayCEA608FromBlockBuffer(block, pixels);
    }
    frame.resize(frameSize());
    return frame;
  }

  TrackAtoms videoTrack(uint64_t firstFrameOffset) const {
    const auto count = static_cast<uint32_t>(pairs.size());
    return {.trackID = 1,
            .handler = handler,
            .format = format,
            .timeScale = 30000,
            .duration = uint64_t{count} * 1001,
            .timeToSample = {{count, 1001}},
            .constantSize = frameSize(),
            .sampleCount = count,
            .sampleToChunk = {{1, count, 1}},
            .chunkOffsets = {firstFrameOffset},
            .descriptionFields = videoDescriptionFields(width, height)};
  }

  std::vector<uint8_t> movieAtom(uint64_t firstFrameOffset) const {
    std::vector<TrackAtoms> tracks = tracksBefore;
    tracks.push_back(videoTrack(firstFrameOffset));
    return movieBytes(tracks);
  }

  void write(const std::string& path) const {
    // The movie atom's size does not depend on the offset it holds.
    const uint64_t moovSize = movieAtom(0).size();
    const uint64_t first = moovSize + 8;
    std::vector<uint8_t> bytes = movieAtom(first);
    ByteWriter mdat;
    mdat.u32(static_cast<uint32_t>(8 + uint64_t{frameSize()} * pairs.size()));
    mdat.fourCC(FourCC("mdat"));
    const std::vector<uint8_t> header = mdat.take();
    bytes.insert(bytes.end(), header.begin(), header.end());
    ZPRCCUtilities overlay;
    LogCapture overlayLog;  // frames too short for line 21 are drawn on purpose, and logged
    const size_t written = framesWritten.value_or(pairs.size());
    for (size_t i = 0; i < written; ++i) {
      const std::vector<uint8_t> frame = frameBytes(pairs[i], overlay);
      bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
};

}  // namespace premoov::testing
