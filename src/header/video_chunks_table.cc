#include "header/video_chunks_table.h"

#include <array>
#include <cmath>
#include <limits>

namespace premoov {
namespace {

// Frame-size bands, by the bytes reserved per frame.
enum class SizeBand : uint8_t {
  kA,  // 1,500,001 and more
  kB,  // 600,001 to 1,500,000
  kC,  // 400,001 to 600,000
  kD,  // 200,001 to 400,000
  kE,  // 200,000 and less
};

// `chunks` chunks of `framesPerChunk` frames each.
struct ChunkRun {
  int32_t chunks = 0;
  int32_t framesPerChunk = 0;
};

// One second of chunks for a band and a nominal rate, as up to three runs (unused runs hold no
// chunks). Irregular tails (5,5,5,5,4) are kept as they are, not evened out.
struct ChunkPattern {
  SizeBand band;
  int32_t framesPerSecond;
  std::array<ChunkRun, 3> runs;
};

constexpr auto kChunkPatterns = std::to_array<ChunkPattern>({
    {SizeBand::kA, 24, {{{24, 1}}}},
    {SizeBand::kA, 25, {{{25, 1}}}},
    {SizeBand::kA, 30, {{{30, 1}}}},
    {SizeBand::kA, 50, {{{25, 2}}}},
    {SizeBand::kA, 60, {{{30, 2}}}},

    {SizeBand::kB, 24, {{{4, 5}, {1, 4}}}},  // 5,5,5,5,4
    {SizeBand::kB, 25, {{{5, 5}}}},
    {SizeBand::kB, 30, {{{6, 5}}}},
    {SizeBand::kB, 50, {{{10, 5}}}},
    {SizeBand::kB, 60, {{{12, 5}}}},

    {SizeBand::kC, 24, {{{3, 7}, {1, 3}}}},  // 7,7,7,3
    {SizeBand::kC, 25, {{{3, 7}, {1, 4}}}},  // 7,7,7,4
    {SizeBand::kC, 30, {{{5, 6}}}},
    {SizeBand::kC, 50, {{{5, 10}}}},
    {SizeBand::kC, 60, {{{6, 10}}}},

    {SizeBand::kD, 24, {{{6, 4}}}},
    {SizeBand::kD, 25, {{{6, 4}, {1, 1}}}},  // 4,4,4,4,4,4,1
    {SizeBand::kD, 30, {{{10, 3}}}},
    {SizeBand::kD, 50, {{{3, 12}, {1, 11}, {1, 3}}}},  // 12,12,12,11,3
    {SizeBand::kD, 60, {{{5, 12}}}},

    {SizeBand::kE, 24, {{{3, 7}, {1, 3}}}},    // 7,7,7,3
    {SizeBand::kE, 25, {{{3, 7}, {1, 4}}}},    // 7,7,7,4
    {SizeBand::kE, 30, {{{3, 8}, {1, 6}}}},    // 8,8,8,6
    {SizeBand::kE, 50, {{{2, 18}, {1, 14}}}},  // 18,18,14
    {SizeBand::kE, 60, {{{3, 16}, {1, 12}}}},  // 16,16,16,12
});

SizeBand sizeBand(int32_t frameSize) {
  if (frameSize >= 1500001) return SizeBand::kA;
  if (frameSize >= 600001) return SizeBand::kB;
  if (frameSize >= 400001) return SizeBand::kC;
  if (frameSize >= 200001) return SizeBand::kD;
  return SizeBand::kE;
}

// round(timescale / value), or nothing when that is not a finite 32-bit number.
std::optional<int32_t> nominalRate(const CMTime& frameDuration) {
  if (frameDuration.value == 0) return std::nullopt;
  const double rate = std::round(static_cast<double>(frameDuration.timescale) /
                                 static_cast<double>(frameDuration.value));
  if (!std::isfinite(rate) || rate < std::numeric_limits<int32_t>::min() ||
      rate > std::numeric_limits<int32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<int32_t>(rate);
}

}  // namespace

std::optional<std::vector<int32_t>> videoChunksTable(int32_t frameSize,
                                                     const CMTime& frameDuration) {
  const std::optional<int32_t> rate = nominalRate(frameDuration);
  if (!rate) return std::nullopt;
  const SizeBand band = sizeBand(frameSize);
  for (const ChunkPattern& pattern : kChunkPatterns) {
    if (pattern.band != band || pattern.framesPerSecond != *rate) continue;
    std::vector<int32_t> table;
    for (const ChunkRun& run : pattern.runs)
      table.insert(table.end(), run.chunks, run.framesPerChunk);
    return table;
  }
  return std::nullopt;
}

}  // namespace premoov
