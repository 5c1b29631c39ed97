#include <benchmark/benchmark.h>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "captions/caption_slot_stream.h"
#include "captions/cc_utilities.h"
#include "captions/scc_file.h"
#include "captions/timecode_label.h"
#include "floors.h"
#include "median_keeper.h"

namespace premoov::bench {
namespace {

constexpr int kRepetitions = 9;
const CMTime kNtsc = CMTimeMake(1001, 30000);
constexpr int64_t kHourOfFrames = 108'000;  // at 29.97, drop-frame labels: 01:00:00;18
constexpr size_t kBuilderSampleSize = 97;   // 3 x 20 + 37
constexpr size_t kSlotSampleSize = 81;      // 3 x 20 + 21

// A byte with its odd-parity bit set, as line 21 sends it.
uint8_t withParity(uint8_t code) {
  return static_cast<uint8_t>(std::popcount(unsigned(code & 0x7F)) % 2 ? code & 0x7F : code | 0x80);
}

std::string hexWord(uint8_t a, uint8_t b) {
  char word[5];
  std::snprintf(word, sizeof word, "%02x%02x", a, b);
  return word;
}

// An hour of pop-on captions as a captioning house delivers them: a caption every 3 seconds, two
// rows of 32 characters, each loaded (resume caption loading, erase the buffer, row addresses,
// the text two characters a word) before its end-of-caption, the control codes doubled.
std::string hourOfPopOnCaptions() {
  const auto counting = *timecodeCountingForFrameDuration(kNtsc);
  const std::string line = "THE QUICK BROWN FOX JUMPS OVER T";
  std::string text = "Scenarist_SCC V1.0\n";
  for (int64_t frame = 0; frame + 90 <= kHourOfFrames; frame += 90) {
    text += '\n';
    text += labelText(labelOfFrameIndex(frame, counting, true));
    text += '\t';
    text += "9420 9420 94ae 94ae 9452 9452";
    for (const char* rowAddress : {"", " 9470 9470"}) {
      text += rowAddress;
      for (size_t i = 0; i < line.size(); i += 2) {
        text += ' ';
        text += hexWord(withParity(uint8_t(line[i])), withParity(uint8_t(line[i + 1])));
      }
    }
    text += " 942f 942f\n";
  }
  return text;
}

// The least either output can cost: copying its bytes once, between buffers made beforehand.
void floorCopy(benchmark::State& state, size_t bytes) { premoov::bench::copyFloor(state, bytes); }

// An hour of packets through the builder, one a frame, a pair on one frame in three (the
// density of the captions above), each sample made and released as a recorder would.
void buildHourOfPackets(benchmark::State& state) {
  const CEA608Pair pair{0x94, 0x2C};
  for (auto _ : state) {
    size_t bytes = 0;
    for (int64_t frame = 0; frame < kHourOfFrames; ++frame) {
      const CMSampleBufferRef sample = ZPRCCUtilities::closedCaption708SampleBufferWithPTS(
          CMTimeMake(frame * 1001, 30000), kNtsc, 0, frame % 3 == 0 ? &pair : nullptr);
      bytes += CMSampleBufferGetTotalSampleSize(sample);
    }
    if (bytes != kHourOfFrames * kBuilderSampleSize) {
      state.SkipWithError("a packet is not 97 bytes");
      return;
    }
    benchmark::DoNotOptimize(bytes);
  }
  state.SetItemsProcessed(state.iterations() * kHourOfFrames);
}

// The SCC text of an hour read and turned into the slot-form stream, in memory.
void convertHourOfScc(benchmark::State& state, const std::string& scc) {
  std::vector<uint8_t> stream;
  stream.reserve(kHourOfFrames * kSlotSampleSize);
  size_t pairs = 0;
  for (auto _ : state) {
    stream.clear();
    auto captions = readSccFile(scc, kNtsc);
    if (!captions) {
      state.SkipWithError(captions.error().c_str());
      return;
    }
    CcdpSampleMaker maker(kNtsc, CcdpForm::slot);
    const CaptionStreamCounts counts = writeCaptionStream(
        captions->pairs, 0, kHourOfFrames, maker, [&](std::span<const uint8_t> sample) {
          stream.insert(stream.end(), sample.begin(), sample.end());
          return true;
        });
    if (stream.size() != kHourOfFrames * kSlotSampleSize || counts.pairsAfter != 0) {
      state.SkipWithError("the stream is not an hour of slot samples");
      return;
    }
    pairs = counts.pairs;
    benchmark::DoNotOptimize(stream.data());
    benchmark::ClobberMemory();
  }
  state.counters["pairs"] = static_cast<double>(pairs);
  state.counters["sccBytes"] = static_cast<double>(scc.size());
  state.SetItemsProcessed(state.iterations() * kHourOfFrames);
}

std::string floorName(size_t bytes) { return "Floor/memcpy/" + std::to_string(bytes); }

}  // namespace
}  // namespace premoov::bench

int main(int argc, char** argv) {
  using namespace premoov::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  const std::string scc = hourOfPopOnCaptions();
  struct Measured {
    std::string name;
    size_t floorBytes;
  };
  const Measured measured[] = {
      {"Captions/builder/1h", kHourOfFrames * kBuilderSampleSize},
      {"Captions/scc-to-slots/1h", kHourOfFrames * kSlotSampleSize},
  };
  for (const Measured& m : measured) {
    benchmark::RegisterBenchmark(floorName(m.floorBytes).c_str(), floorCopy, m.floorBytes)
        ->MinTime(0.2)
        ->Repetitions(kRepetitions)
        ->ReportAggregatesOnly(true);
  }
  benchmark::RegisterBenchmark(measured[0].name.c_str(), buildHourOfPackets)
      ->Unit(benchmark::kMillisecond)
      ->MinTime(0.3)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly(true);
  benchmark::RegisterBenchmark(measured[1].name.c_str(), convertHourOfScc, scc)
      ->Unit(benchmark::kMillisecond)
      ->MinTime(0.3)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly(true);

  MedianKeeper reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf(
      "\nMedians of %d repetitions; SCC text of the hour: %zu bytes\n%-28s %12s %12s %10s %10s\n",
      kRepetitions, scc.size(), "captions", "cpu ms", "floor ms", "x floor", "x wall");
  for (const Measured& m : measured) {
    const auto* run = reporter.median(m.name);
    const auto* floor = reporter.median(floorName(m.floorBytes));
    if (!run || !floor || floor->cpu <= 0 || floor->wall <= 0) continue;
    std::printf("%-28s %12.3f %12.3f %10.1f %10.1f\n", m.name.c_str(), run->cpu * 1e3,
                floor->cpu * 1e3, run->cpu / floor->cpu, run->wall / floor->wall);
  }
  std::printf(
      "x floor: median CPU time over the median of a memcpy of the output's bytes (108,000 "
      "samples of 97 or 81 bytes), same run\n");
  return 0;
}
