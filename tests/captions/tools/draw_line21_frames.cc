// Draws line-21 caption pairs into raw video frames, one pair a frame, through the line-21
// overlay: the frames that the reader checks hand to other decoders, and that the recording test
// records. Each frame is a grey ramp (so that the three rows the overlay owns stand out) with
// the pair drawn over its top rows. Rows are packed without padding beyond the format's own
// ('v210': whole 48-pixel groups), as QuickTime stores uncompressed frames.
//
//   draw_line21_frames --format 2vuy|yuvs|v210|BGRA --width W --height H
//                      (--pairs 9420,942c,... | --pairs-file FILE) --out FRAMES.raw
//
// A pairs file holds one pair a line as four hex digits (blank lines: the null pair 8080).

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "captions/cc_utilities.h"
#include "media/pixel_formats.h"
#include "media/pixel_rows.h"

namespace {

using premoov::FourCC;

std::optional<premoov::CEA608Pair> parsePair(const std::string& text) {
  if (text.empty()) return premoov::CEA608Pair{0x80, 0x80};
  if (text.size() != 4) return std::nullopt;
  unsigned value = 0;
  if (std::sscanf(text.c_str(), "%4x", &value) != 1) return std::nullopt;
  return premoov::CEA608Pair{static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

std::vector<uint8_t> rampFrame(FourCC format, size_t width, size_t height, size_t bytesPerRow) {
  std::vector<uint8_t> frame(bytesPerRow * height);
  std::vector<premoov::RGBPixel> row(width);
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      const auto level = static_cast<uint8_t>(0x40 + (x + y) % 0x80);
      row[x] = {level, level, level};
    }
    premoov::writePixelRow(format, row, frame.data() + y * bytesPerRow);
  }
  return frame;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Draws line-21 caption pairs into raw video frames."};
  std::string formatText, pairsText, pairsFile, out;
  size_t width = 720, height = 486;
  app.add_option("--format", formatText, "2vuy, yuvs, v210 or BGRA")->required();
  app.add_option("--width", width)->required();
  app.add_option("--height", height)->required();
  app.add_option("--pairs", pairsText, "comma-separated pairs, four hex digits each");
  app.add_option("--pairs-file", pairsFile, "one pair a line");
  app.add_option("--out", out)->required();
  CLI11_PARSE(app, argc, argv);

  const auto format = FourCC::fromString(formatText);
  const auto rowBytes = format ? premoov::minimumBytesPerRow(*format, width) : std::nullopt;
  if (!rowBytes || height < 3) {
    std::cerr << "draw_line21_frames: no " << formatText << " frames of " << width << " x "
              << height << "\n";
    return 2;
  }

  std::vector<std::string> pairWords;
  if (!pairsFile.empty()) {
    std::ifstream in(pairsFile);
    for (std::string line; std::getline(in, line);) pairWords.push_back(line);
  } else {
    std::stringstream in(pairsText);
    for (std::string word; std::getline(in, word, ',');) pairWords.push_back(word);
  }

  premoov::ZPRCCUtilities utilities;
  std::ofstream output(out, std::ios::binary);
  const std::vector<uint8_t> ramp = rampFrame(*format, width, height, *rowBytes);
  for (const std::string& word : pairWords) {
    const auto pair = parsePair(word);
    if (!pair) {
      std::cerr << "draw_line21_frames: \"" << word << "\" is not a pair of four hex digits\n";
      return 2;
    }
    std::vector<uint8_t> frame = ramp;
    auto pixels =
        std::make_shared<premoov::CVPixelBuffer>(*format, width, height, *rowBytes, frame.data());
    auto block = std::make_shared<premoov::CMBlockBuffer>(2);
    block->data()[0] = (*pair)[0];
    block->data()[1] = (*pair)[1];
    utilities.overlayCEA608FromBlockBuffer(block, pixels);
    output.write(reinterpret_cast<const char*>(frame.data()),
                 static_cast<std::streamsize>(frame.size()));
  }
  if (!output) {
    std::cerr << "draw_line21_frames: cannot write " << out << "\n";
    return 1;
  }
  return 0;
}
