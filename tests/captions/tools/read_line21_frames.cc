// Reads the line-21 pair of each raw video frame through the line-21 extraction and prints one
// JSON line a frame: {"frame": n, "sample": "94ac8000"}, the four bytes of its "c608" sample,
// or {"frame": n, "unreadable": "..."} when no sample could be made. Rows are packed as
// QuickTime stores uncompressed frames (see draw_line21_frames).
//
//   read_line21_frames FRAMES.raw --format 2vuy|yuvs|v210|BGRA --width W --height H

#include <CLI/CLI.hpp>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "captions/cc_utilities.h"
#include "media/pixel_formats.h"

int main(int argc, char** argv) {
  CLI::App app{"Reads the line-21 pair of each raw video frame."};
  std::string path, formatText;
  size_t width = 0, height = 0;
  app.add_option("frames", path)->required();
  app.add_option("--format", formatText, "2vuy, yuvs, v210 or BGRA")->required();
  app.add_option("--width", width)->required();
  app.add_option("--height", height)->required();
  CLI11_PARSE(app, argc, argv);

  const auto format = premoov::FourCC::fromString(formatText);
  const auto rowBytes = format ? premoov::minimumBytesPerRow(*format, width) : std::nullopt;
  if (!rowBytes || height == 0 || height > (size_t{1} << 16)) {
    std::cerr << "read_line21_frames: no " << formatText << " frames of " << width << " x "
              << height << "\n";
    return 2;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::cerr << "read_line21_frames: cannot open " << path << "\n";
    return 1;
  }

  premoov::ZPRCCUtilities utilities;
  premoov::CMFormatDescriptionRef videoFormat;
  premoov::defaultCoreMedia().CMFormatDescriptionCreate(premoov::FourCC("vide"), *format,
                                                        &videoFormat);
  std::vector<uint8_t> frame(*rowBytes * height);
  for (size_t n = 0; in.read(reinterpret_cast<char*>(frame.data()),
                             static_cast<std::streamsize>(frame.size()));
       ++n) {
    auto pixels =
        std::make_shared<premoov::CVPixelBuffer>(*format, width, height, *rowBytes, frame.data());
    const premoov::CMSampleTimingInfo timing{premoov::CMTimeMake(1001, 30000),
                                             premoov::CMTimeMake(static_cast<int64_t>(n) * 1001,
                                                                 30000),
                                             premoov::kCMTimeInvalid};
    premoov::CMSampleBufferRef video;
    premoov::defaultCoreMedia().CMSampleBufferCreateReadyWithImageBuffer(pixels, videoFormat,
                                                                          &timing, &video);
    const premoov::CMSampleBufferRef sample =
        utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(video);
    const premoov::CMBlockBufferRef block = premoov::CMSampleBufferGetDataBuffer(sample);
    if (!block || block->length() != 4) {
      std::printf("{\"frame\": %zu, \"unreadable\": \"no sample\"}\n", n);
      continue;
    }
    const uint8_t* b = block->data();
    std::printf("{\"frame\": %zu, \"sample\": \"%02x%02x%02x%02x\"}\n", n, b[0], b[1], b[2], b[3]);
  }
  return 0;
}
