#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace premoov::fuzzing {

// Where a choice with weights lands for one byte `b`: the index whose share of the weights'
// total holds b modulo the total. Weights sum to at most 256, so that one byte decides.
inline size_t weightedIndex(uint8_t b, std::span<const uint8_t> weights) {
  unsigned total = 0;
  for (uint8_t w : weights) total += w;
  unsigned at = total == 0 ? 0 : b % total;
  for (size_t i = 0; i < weights.size(); ++i) {
    if (at < weights[i]) return i;
    at -= weights[i];
  }
  return 0;
}

// Answers the choices of a request description from the fuzzer's bytes. ChoiceEncoder is its
// mirror: the same calls in the same order on an encoder give the bytes that read back to the
// same answers. When the bytes run out, every answer is the smallest one.
class FuzzedChoices {
 public:
  explicit FuzzedChoices(FuzzedDataProvider& provider) : provider_(provider) {}

  template <typename T>
  void integer(T& v, T min, T max) {
    v = provider_.ConsumeIntegralInRange<T>(min, max);
  }
  void boolean(bool& v) { v = provider_.ConsumeBool(); }
  // Any 64-bit pattern: NaNs, infinities and subnormals included.
  void real(double& v) { v = std::bit_cast<double>(provider_.ConsumeIntegral<uint64_t>()); }
  template <typename E>
  void weighted(E& v, std::span<const uint8_t> weights) {
    v = static_cast<E>(weightedIndex(provider_.ConsumeIntegral<uint8_t>(), weights));
  }
  void bytes(std::vector<uint8_t>& v, size_t maxLength) {
    size_t length = 0;
    integer<size_t>(length, 0, maxLength);
    v = provider_.ConsumeBytes<uint8_t>(length);
  }
  void text(std::string& v, size_t maxLength) {
    size_t length = 0;
    integer<size_t>(length, 0, maxLength);
    v = provider_.ConsumeBytesAsString(length);
  }

 private:
  FuzzedDataProvider& provider_;
};

}  // namespace premoov::fuzzing
