#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "captions/cc_utilities.h"
#include "captions/line21_waveform.h"
#include "floors.h"
#include "media/pixel_formats.h"
#include "median_keeper.h"

namespace premoov::bench {
namespace {

constexpr int kRepetitions = 9;
constexpr size_t kWidth = 1920;
constexpr size_t kHeight = 1080;

const FourCC kFormats[] = {kCVPixelFormatType_422YpCbCr8, kCVPixelFormatType_422YpCbCr8_yuvs,
                           kCVPixelFormatType_422YpCbCr10, kCVPixelFormatType_32BGRA};

// A 1920 x 1080 frame in `format`, rows packed, holding a mid-grey picture.
struct Frame {
  std::vector<uint8_t> memory;
  CVPixelBufferRef pixels;

  explicit Frame(FourCC format) {
    const size_t bytesPerRow = *minimumBytesPerRow(format, kWidth);
    memory.assign(bytesPerRow * kHeight, 0x80);
    pixels = std::make_shared<CVPixelBuffer>(format, kWidth, kHeight, bytesPerRow, memory.data());
  }
};

CMBlockBufferRef pairBlock(uint8_t first, uint8_t second) {
  auto block = std::make_shared<CMBlockBuffer>(2);
  block->data()[0] = first;
  block->data()[1] = second;
  return block;
}

CMSampleBufferRef videoSample(const CVPixelBufferRef& pixels) {
  CMFormatDescriptionRef format;
  defaultCoreMedia().CMFormatDescriptionCreate(FourCC("vide"), pixels->pixelFormat(), &format);
  const CMSampleTimingInfo timing{CMTimeMake(1001, 30000), CMTimeMake(0, 30000),
                                  CMTimeMake(0, 30000)};
  CMSampleBufferRef sample;
  defaultCoreMedia().CMSampleBufferCreateReadyWithImageBuffer(pixels, format, &timing, &sample);
  return sample;
}

std::vector<uint8_t> sampleBytes(const CMSampleBufferRef& sample) {
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample);
  if (!block) return {};
  return {block->data(), block->data() + block->length()};
}

// The least a frame's caption rows can cost: copying the bytes of its three top rows once, in
// the frame's format, between buffers made beforehand.
void floorCopy(benchmark::State& state, FourCC format) {
  premoov::bench::copyFloor(state, line21::kRows * *minimumBytesPerRow(format, kWidth));
}

// A pair drawn into each frame by one instance, as a recorder draws into its stream; the lines
// buffer and session are made before the timing starts.
void overlay(benchmark::State& state, FourCC format) {
  Frame frame(format);
  ZPRCCUtilities utilities;
  const CMBlockBufferRef block = pairBlock(0x94, 0x2C);
  utilities.overlayCEA608FromBlockBuffer(block, frame.pixels);
  if (sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(
          videoSample(frame.pixels))) != std::vector<uint8_t>{0x94, 0xAC, 0x80, 0x00}) {
    state.SkipWithError("the pair does not read back");
    return;
  }
  for (auto _ : state) {
    utilities.overlayCEA608FromBlockBuffer(block, frame.pixels);
    benchmark::DoNotOptimize(frame.memory.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

// The caption sample read from each frame, made and released as a recorder would.
void extraction(benchmark::State& state, FourCC format) {
  Frame frame(format);
  ZPRCCUtilities utilities;
  utilities.overlayCEA608FromBlockBuffer(pairBlock(0x94, 0x2C), frame.pixels);
  const CMSampleBufferRef video = videoSample(frame.pixels);
  for (auto _ : state) {
    const CMSampleBufferRef sample =
        utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(video);
    if (!sample) {
      state.SkipWithError("no caption sample");
      return;
    }
    benchmark::DoNotOptimize(sample.get());
  }
  if (sampleBytes(utilities.createClosedCaptionSampleFromCEA608VideoSampleBuffer(video)) !=
      std::vector<uint8_t>{0x94, 0xAC, 0x80, 0x00}) {
    state.SkipWithError("the pair does not read back");
  }
  state.SetItemsProcessed(state.iterations());
}

std::string floorName(FourCC format) { return "Floor/memcpy-3-rows/" + format.toString(); }
std::string runName(const char* operation, FourCC format) {
  return std::string("Line21/") + operation + "/" + format.toString();
}

}  // namespace
}  // namespace premoov::bench

int main(int argc, char** argv) {
  using namespace premoov::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  for (const premoov::FourCC format : kFormats) {
    registerRepeated(floorName(format), floorCopy, format, kRepetitions);
    registerRepeated(runName("overlay", format), overlay, format, kRepetitions);
    registerRepeated(runName("extraction", format), extraction, format, kRepetitions);
  }
  MedianKeeper reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\nMedians of %d repetitions, %zu x %zu frames\n", kRepetitions, kWidth, kHeight);
  printFrameTableHeader("line 21");
  for (const premoov::FourCC format : kFormats) {
    for (const char* operation : {"overlay", "extraction"}) {
      printFrameTableRow(reporter, runName(operation, format), floorName(format));
    }
  }
  std::printf(
      "x floor: median CPU time a frame over the median of a memcpy of the frame's three top rows "
      "in its format, same run; frames/s: one thread, from the median wall time\n");
  return 0;
}
