// Feeds arbitrary bytes to the caption sample reader, as "c708" and as "c608" samples: it must
// never read past the sample, every problem must lie inside it, and what it found must agree with
// the bytes it was found in.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "captions/cdp_reader.h"

namespace {

using premoov::CaptionSampleContents;
using premoov::FourCC;

// A broken promise of the reader: stop here so that libFuzzer keeps the input.
void check(bool condition) {
  if (!condition) std::abort();
}

void checkContents(const CaptionSampleContents& contents, std::span<const uint8_t> sample) {
  for (const auto& problem : contents.problems) {
    check(problem.offset <= sample.size());
    check(!problem.message().empty());
  }
  if (!contents.cdp) return;
  const auto& cdp = *contents.cdp;
  check(sample.size() >= 15 && cdp.identifier == 0x9669);
  if (cdp.ccCount) check(cdp.triplets.size() <= *cdp.ccCount);
  // The checksum is judged only over a whole cdp, and then it is the sum of its bytes.
  if (cdp.checksumHolds) {
    check(size_t{8} + cdp.length <= sample.size());
    uint8_t sum = 0;
    for (size_t i = 8; i < size_t{8} + cdp.length; ++i) sum = static_cast<uint8_t>(sum + sample[i]);
    check(*cdp.checksumHolds == (sum == 0));
  }
  size_t lineTwentyOne = 0;
  for (const auto& triplet : cdp.triplets) lineTwentyOne += triplet.type < 2 ? 1 : 0;
  check(contents.pairs.size() == lineTwentyOne);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::span<const uint8_t> sample(data, size);
  checkContents(premoov::readCaptionSample(FourCC("c708"), sample), sample);
  const auto pairs = premoov::readCaptionSample(FourCC("c608"), sample);
  checkContents(pairs, sample);
  check(pairs.pairs.size() <= size / 2);
  return 0;
}
