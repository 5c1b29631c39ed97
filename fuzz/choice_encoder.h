#pragma once

#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace premoov::fuzzing {

// Writes the bytes from which FuzzedChoices answers the same choices, in the layout
// FuzzedDataProvider reads: integers from the end of the input backwards (most significant byte
// first, only as many bytes as the range needs), byte strings from the front. A value outside
// its range is a mistake of the caller and throws.
class ChoiceEncoder {
 public:
  template <typename T>
  void integer(T& v, T min, T max) {
    if (v < min || v > max) throw std::out_of_range("choice outside its range");
    const uint64_t range = static_cast<uint64_t>(max) - static_cast<uint64_t>(min);
    const uint64_t offset = static_cast<uint64_t>(v) - static_cast<uint64_t>(min);
    size_t count = 0;
    while (count * CHAR_BIT < sizeof(T) * CHAR_BIT && (range >> (count * CHAR_BIT)) > 0) ++count;
    for (size_t i = count; i > 0; --i)
      back_.push_back(static_cast<uint8_t>(offset >> (8 * (i - 1))));
  }
  void boolean(bool& v) { back_.push_back(v ? 1 : 0); }
  void real(double& v) {
    uint64_t bits = std::bit_cast<uint64_t>(v);
    integer<uint64_t>(bits, 0, UINT64_MAX);
  }
  template <typename E>
  void weighted(E& v, std::span<const uint8_t> weights) {
    const auto index = static_cast<size_t>(v);
    if (index >= weights.size() || weights[index] == 0) {
      throw std::out_of_range("weighted choice without a share");
    }
    unsigned start = 0;
    for (size_t i = 0; i < index; ++i) start += weights[i];
    back_.push_back(static_cast<uint8_t>(start));
  }
  void bytes(std::vector<uint8_t>& v, size_t maxLength) {
    size_t length = v.size();
    integer<size_t>(length, 0, maxLength);
    front_.insert(front_.end(), v.begin(), v.end());
  }
  void text(std::string& v, size_t maxLength) {
    size_t length = v.size();
    integer<size_t>(length, 0, maxLength);
    front_.insert(front_.end(), v.begin(), v.end());
  }

  // The input: the byte strings, then the integers in the reverse of the order they are read.
  std::vector<uint8_t> encoded() const;

 private:
  std::vector<uint8_t> front_;
  std::vector<uint8_t> back_;  // in the order they are read
};

}  // namespace premoov::fuzzing
