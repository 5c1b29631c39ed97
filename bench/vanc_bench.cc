// Caption packets found in one frame's ancillary rows (1920 pixels, 20 rows), by the recorder's
// reading and by our scanner, against reading the same bytes once.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "captions/ancillary_packets.h"
#include "captions/ancillary_rows.h"
#include "captions/cc_utilities.h"
#include "floors.h"
#include "median_keeper.h"

namespace premoov::bench {
namespace {

constexpr int kRepetitions = 9;
constexpr size_t kRows = 20;
constexpr size_t kCaptionRow = 9;

struct Layout {
  FourCC format;
  size_t bytesPerRow;  // 1920 pixels
};
const Layout kLayouts[] = {{kCVPixelFormatType_422YpCbCr10, 5120},
                           {kCVPixelFormatType_422YpCbCr8, 3840}};

// A captured frame's ancillary rows: a caption packet (a 73-byte cdp) starting row 9 with a
// timecode packet behind it, an active format packet in row 12, the other rows blank.
std::vector<uint8_t> frameRows(const Layout& layout) {
  testing::AncillaryRows rows(layout.format, layout.bytesPerRow, kRows);
  const size_t next = rows.putPacket(kCaptionRow, AncillaryStream::kLuma, 0, kCaptionDid,
                                     kCaptionSdid, testing::countingCdp(73));
  rows.putPacket(kCaptionRow, AncillaryStream::kLuma, next, 0x60, 0x60,
                 std::vector<uint8_t>(16, 0x44));
  rows.putPacket(12, AncillaryStream::kLuma, 0, 0x41, 0x05, std::vector<uint8_t>(8, 0x22));
  return rows.bytes();
}

void floorRead(benchmark::State& state, Layout layout) { readFloor(state, frameRows(layout)); }

void recorder(benchmark::State& state, Layout layout) {
  const std::vector<uint8_t> rows = frameRows(layout);
  ZPRCCUtilities utilities;
  const CMSampleTimingInfo timing{CMTimeMake(1001, 30000), CMTimeMake(0, 30000), kCMTimeInvalid};
  for (auto _ : state) {
    const CMSampleBufferRef sample = utilities.createClosedCaptionSampleFromCEA708DataBuffer(
        rows.data(), static_cast<uint32_t>(rows.size()), static_cast<uint32_t>(layout.bytesPerRow),
        layout.format, timing);
    if (!sample || CMSampleBufferGetTotalSampleSize(sample) != 81) {
      state.SkipWithError("no caption sample of 81 bytes");
      return;
    }
    benchmark::DoNotOptimize(sample.get());
  }
  state.SetItemsProcessed(state.iterations());
}

void scanner(benchmark::State& state, Layout layout) {
  const std::vector<uint8_t> rows = frameRows(layout);
  for (auto _ : state) {
    const std::vector<AncillaryPacket> packets =
        findAncillaryPackets(rows, layout.bytesPerRow, layout.format);
    if (packets.size() != 3 || !packets[0].isCaption() || !packets[0].ok()) {
      state.SkipWithError("not the three packets put in");
      return;
    }
    benchmark::DoNotOptimize(packets.data());
  }
  state.SetItemsProcessed(state.iterations());
}

std::string floorName(const Layout& layout) {
  return "Floor/read-once/" + layout.format.toString();
}
std::string runName(const char* reader, const Layout& layout) {
  return std::string("Vanc/") + reader + "/" + layout.format.toString();
}

}  // namespace
}  // namespace premoov::bench

int main(int argc, char** argv) {
  using namespace premoov::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  for (const Layout& layout : kLayouts) {
    registerRepeated(floorName(layout), floorRead, layout, kRepetitions);
    registerRepeated(runName("recorder", layout), recorder, layout, kRepetitions);
    registerRepeated(runName("scanner", layout), scanner, layout, kRepetitions);
  }
  MedianKeeper reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  std::printf("\nMedians of %d repetitions, %zu rows of 1920 pixels a frame\n", kRepetitions,
              kRows);
  printFrameTableHeader("reader");
  for (const Layout& layout : kLayouts) {
    for (const char* reader : {"recorder", "scanner"}) {
      printFrameTableRow(reporter, runName(reader, layout), floorName(layout));
    }
  }
  std::printf(
      "x floor: median CPU time a frame over the median of reading the frame's rows once (a sum "
      "of their 64-bit words), same run; frames/s: one thread, from the median wall time\n");
  return 0;
}
