#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace premoov::bench {

// The floor a benchmark is measured against: copying `bytes` once, between buffers made
// beforehand.
inline void copyFloor(benchmark::State& state, size_t bytes) {
  std::vector<uint8_t> from(bytes, 0x5A), to(bytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

}  // namespace premoov::bench
