// Feeds arbitrary bytes to the SCC reader, as a caption file from anywhere reaches it, and checks
// what it promises:
// - a file it refuses is refused with "line N, column C: ..." (or nothing for the rate itself);
// - a file it reads gives at most one pair per 5 bytes, on frames that strictly increase from 0;
// - written again with one word a line at each pair's own label, it reads back as the same pairs;
// - the c708 samples made from it are all of one size, sum to zero, carry each pair on its frame
//   and number themselves in order.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <string>
#include <string_view>

#include "base/log.h"
#include "captions/caption_slot_stream.h"
#include "captions/scc_file.h"
#include "captions/timecode_label.h"

namespace {

using premoov::CMTime;
using premoov::SccCaptions;
using premoov::SccPair;

void check(bool condition) {
  if (!condition) std::abort();
}

const std::array<CMTime, 8> kRates{
    premoov::CMTimeMake(1001, 24000), premoov::CMTimeMake(1, 24), premoov::CMTimeMake(1, 25),
    premoov::CMTimeMake(1001, 30000), premoov::CMTimeMake(1, 30), premoov::CMTimeMake(1, 50),
    premoov::CMTimeMake(1001, 60000), premoov::CMTimeMake(1, 60)};

// Samples checked per input: enough to cover the pairs of small inputs, bounded for speed.
constexpr int64_t kMaxSamples = 4096;

std::string hexWord(const premoov::CEA608Pair& pair) {
  static constexpr char kDigits[] = "0123456789abcdef";
  return {kDigits[pair[0] >> 4], kDigits[pair[0] & 15], kDigits[pair[1] >> 4],
          kDigits[pair[1] & 15]};
}

// The pairs within a day of labels, each on a line of its own at its own frame's label.
void checkRewritten(const SccCaptions& captions, const CMTime& rate) {
  const auto counting = premoov::timecodeCountingForFrameDuration(rate);
  check(counting.has_value());
  const bool dropFrame = counting->droppedPerMinute > 0;
  const int64_t day = premoov::framesPerDay(*counting, dropFrame);
  std::string text = "Scenarist_SCC V1.0\n";
  size_t kept = 0;
  for (const SccPair& pair : captions.pairs) {
    if (pair.frame >= day) break;
    text += "\n" +
            premoov::labelText(premoov::labelOfFrameIndex(pair.frame, *counting, dropFrame)) +
            "\t" + hexWord(pair.pair) + "\n";
    ++kept;
  }
  auto again = premoov::readSccFile(text, rate);
  check(again.has_value());
  check(again->pairs.size() == kept);
  check(std::equal(again->pairs.begin(), again->pairs.end(), captions.pairs.begin()));
  check(again->delayedLines == 0);
}

void checkSamples(const SccCaptions& captions, const CMTime& rate, premoov::CcdpForm form) {
  premoov::CcdpSampleMaker maker(rate, form);
  const int64_t count =
      std::min<int64_t>(premoov::samplesThroughLastPair(captions.pairs, 0), kMaxSamples);
  auto next = captions.pairs.begin();
  int64_t k = 0;
  const auto counts = premoov::writeCaptionStream(
      captions.pairs, 0, count, maker, [&](std::span<const uint8_t> sample) {
        check(sample.size() == maker.sampleSize());
        check(std::accumulate(sample.begin() + 8, sample.end(), 0) % 256 == 0);
        check(sample[13] == uint8_t(k >> 8) && sample[14] == uint8_t(k));
        if (next != captions.pairs.end() && next->frame == k) {
          check(sample[17] == 0xFC && sample[18] == next->pair[0] && sample[19] == next->pair[1]);
          ++next;
        } else {
          check(sample[17] == 0xF8 && sample[18] == 0x80 && sample[19] == 0x80);
        }
        ++k;
        return true;
      });
  check(counts.samples == count && k == count);
  check(counts.pairs + counts.pairsAfter == captions.pairs.size());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  premoov::setLogSink([](const std::string&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  // Drop-frame 29.97 always, and one more rate picked by the input's length.
  for (const CMTime& rate : {kRates[3], kRates[size % kRates.size()]}) {
    auto captions = premoov::readSccFile(text, rate);
    if (!captions) {
      const std::string& message = captions.error();
      check(message.starts_with("line ") && message.find(", column ") != std::string::npos);
      continue;
    }
    check(captions->pairs.size() * 5 <= size);
    check(captions->delayedLines <= captions->captionLines);
    for (size_t i = 0; i < captions->pairs.size(); ++i) {
      check(captions->pairs[i].frame >= 0);
      if (i > 0) check(captions->pairs[i].frame > captions->pairs[i - 1].frame);
    }
    checkRewritten(*captions, rate);
    checkSamples(*captions, rate, size % 2 ? premoov::CcdpForm::slot : premoov::CcdpForm::builders);
  }
  return 0;
}
