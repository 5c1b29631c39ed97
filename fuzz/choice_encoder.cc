#include "choice_encoder.h"

namespace premoov::fuzzing {

std::vector<uint8_t> ChoiceEncoder::encoded() const {
  std::vector<uint8_t> out = front_;
  out.insert(out.end(), back_.rbegin(), back_.rend());
  return out;
}

}  // namespace premoov::fuzzing
