#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "captions/cc_utilities.h"
#include "captions/scc_file.h"

namespace premoov {

// The two forms of a "c708" sample: the slot form fits the room a movie header gives a caption
// sample (3 x cc_count + 21 bytes, no service information section); the builders' form is what
// ZPRCCUtilities::closedCaption708SampleBufferWithPTS writes (3 x cc_count + 37).
enum class CcdpForm { slot, builders };

// Makes the "c708" samples of one frame duration, one per frame. Samples of a stream differ only
// in their sequence value (header and footer), their field-1 triplet and their checksum, so one
// packet is built once and those bytes patched for each; the bytes equal ccdpSlotSample's (or
// ccdpSample's) for the same packet.
class CcdpSampleMaker {
 public:
  CcdpSampleMaker(const CMTime& frameDuration, CcdpForm form);

  size_t sampleSize() const { return sample_.size(); }

  // The sample numbered `sequence` carrying `pair` valid on field 1, or, without a pair, the
  // builders' empty packet (field 1 marked not valid, bytes 0x80 0x80). The bytes stay valid until
  // the next call.
  std::span<const uint8_t> sample(uint16_t sequence, const CEA608Pair* pair);

 private:
  std::vector<uint8_t> sample_;
  bool hasField1Triplet_ = false;
  std::array<uint8_t, 3> emptyTriplet_{};  // the builders' field-1 triplet without a pair
  uint8_t sumWithoutPatches_ = 0;  // of the cdp's bytes, sequence 0 and no pair, checksum apart
};

struct CaptionStreamCounts {
  int64_t samples = 0;
  size_t pairs = 0;                        // pairs written
  size_t pairsBefore = 0;                  // pairs of frames before the stream's first: left out
  size_t pairsAfter = 0;                   // pairs of frames after its last: left out
  std::optional<int64_t> firstPairSample;  // the sample carrying the first pair written
  std::optional<int64_t> lastPairSample;
  bool stopped = false;  // the sink refused a sample
};

// Receives each sample in turn; answers false to stop (a failed write).
using CaptionSampleSink = std::function<bool(std::span<const uint8_t>)>;

// Writes `frameCount` samples: sample k is frame `firstFrame + k` and carries that frame's pair of
// `pairs` (frames strictly increasing), if any, and sequence value k (wrapping at 65536). Memory
// stays that of one sample, whatever the count.
CaptionStreamCounts writeCaptionStream(std::span<const SccPair> pairs, int64_t firstFrame,
                                       int64_t frameCount, CcdpSampleMaker& maker,
                                       const CaptionSampleSink& sink);

// The samples from `firstFrame` through the frame of the last pair: 0 without pairs at or after it.
int64_t samplesThroughLastPair(std::span<const SccPair> pairs, int64_t firstFrame);

}  // namespace premoov
