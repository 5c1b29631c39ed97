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

// The floor of a reader: reading `bytes` once, eight at a time, from a buffer made beforehand.
inline void readFloor(benchmark::State& state, const std::vector<uint8_t>& bytes) {
  for (auto _ : state) {
    uint64_t sum = 0;
    for (size_t i = 0; i + 8 <= bytes.size(); i += 8) {
      uint64_t word;
      std::memcpy(&word, bytes.data() + i, 8);
      sum += word;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

}  // namespace premoov::bench
