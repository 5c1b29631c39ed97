#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "captions/cdp_packet.h"
#include "premoov/caption_tracks.h"
#include "premoov/commands.h"
#include "requests/file_io.h"
#include "requests/header_request.h"
#include "support/test_files.h"
#include "tools/tool_runs.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Keeps the caption references of a layout: where a recorder writes each caption sample.
class CaptionPlaces final : public SampleLayoutObserver {
 public:
  void didPlanHeaderRoom(uint32_t, uint64_t) override {}
  void didReference(const PlannedReference& r) override {
    if (r.track != "captions" || r.count == 0) return;
    for (uint32_t i = 0; i < r.count; ++i) offsets.push_back(r.offset + i * (r.size / r.count));
    sampleSize = r.size / r.count;
  }
  void didEndLayout(uint64_t) override {}
  std::vector<uint64_t> offsets;
  uint64_t sampleSize = 0;
};

// The field-1 pairs of the first frames; null pairs after them.
const std::vector<CEA608Pair> kPairs = {
    {0x94, 0x20}, {0x94, 0x70}, {0xC1, 0xC2}, {0x94, 0x2F}, {0x14, 0x2F}};

class CaptionsDumpCommandTest : public ::testing::Test {
 protected:
  // Writes the header of the example with captions, then the caption samples a recorder makes
  // (the slot-sized cdp, cc_count 20 at 29.97) at their planned places, sample `broken` with a
  // wrong checksum. The file ends `keep` samples into the caption run when given.
  void record(std::optional<size_t> keep = std::nullopt, size_t broken = 6) {
    auto request = readRequestFile(examplePath("v210_2997i_2ch_tc_cc.json"));
    ASSERT_TRUE(request) << request.error();
    auto reply = requestHeader(*request, &places_);
    ASSERT_TRUE(reply && reply->created);
    ASSERT_EQ(places_.offsets.size(), 30u);
    ASSERT_EQ(places_.sampleSize, 81u);
    const uint64_t length = keep ? places_.offsets[*keep] : static_cast<uint64_t>(reply->fileSize);
    ASSERT_TRUE(writeFileAtStart(movie_.path(), reply->header, length));
    std::fstream file(movie_.path(), std::ios::in | std::ios::out | std::ios::binary);
    const size_t count = keep.value_or(places_.offsets.size());
    for (size_t i = 0; i < count; ++i) {
      const uint8_t* pair = i < kPairs.size() ? kPairs[i].data() : nullptr;
      std::vector<uint8_t> triplets = cea608Triplets(pair);
      appendPaddingTriplets(triplets, 18);
      auto sample = ccdpSlotSample(CdpPacket{.ccCount = 20,
                                             .frameRateCode = 4,
                                             .sequence = static_cast<uint16_t>(100 + i),
                                             .ccData = triplets});
      if (i == broken) sample.back() ^= 0xFF;
      file.seekp(static_cast<std::streamoff>(places_.offsets[i]));
      file.write(reinterpret_cast<const char*>(sample.data()),
                 static_cast<std::streamsize>(sample.size()));
    }
    ASSERT_TRUE(file.good());
  }

  std::vector<std::string> dumpLines(int expectedCode, std::string* errText = nullptr) {
    std::ostringstream out, err;
    EXPECT_EQ(runCaptionsDumpCommand({.moviePath = movie_.path()}, out, err), expectedCode)
        << err.str();
    if (errText) *errText = err.str();
    std::vector<std::string> lines;
    std::istringstream in(out.str());
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  CaptionPlaces places_;
  TempFile movie_{"captions-dump.mov"};
};

TEST_F(CaptionsDumpCommandTest, PrintsEverySampleOfARecordedTrack) {
  record();
  std::string err;
  const auto lines = dumpLines(kExitBadInput, &err);
  ASSERT_EQ(lines.size(), 32u);
  EXPECT_EQ(lines[0], "track 4: c708, 30 samples, time scale 30000, duration 00:00:01.001");
  const std::string at0 = std::to_string(places_.offsets[0]);
  EXPECT_EQ(lines[1], "00:00:00.000 f0 #0 @" + at0 +
                          " 81 B: cdp 29.97 fps len 73 seq 100 cc_count 20 svcinfo no checksum ok "
                          "dtvcc 0/18 | f1 94 20 CC1 RCL | f2 80 80 invalid");
  EXPECT_THAT(lines[2], HasSubstr("00:00:00.033 f1 #1 @"));
  EXPECT_THAT(lines[2], HasSubstr("seq 101 "));
  EXPECT_THAT(lines[2], HasSubstr("| f1 94 70 CC1 PAC row 15 col 0 |"));
  EXPECT_THAT(lines[3], HasSubstr("| f1 C1 C2 \"AB\" |"));
  EXPECT_THAT(lines[4], HasSubstr("| f1 94 2F CC1 EOC |"));
  EXPECT_THAT(lines[5], HasSubstr("| f1 14 2F parity-error CC1 EOC |"));
  EXPECT_THAT(lines[6], HasSubstr("| f1 80 80 invalid |"));
  EXPECT_THAT(lines[7], HasSubstr("checksum bad"));
  EXPECT_THAT(lines[7], HasSubstr("| error: the cdp sums to "));
  EXPECT_THAT(lines[30], HasSubstr("00:00:00.967 f29 #29 @"));
  EXPECT_EQ(lines[31], "track 4: 30 read, 1 with errors, 0 blank, 0 missing");
  EXPECT_EQ(err, movie_.path() + ": 1 caption samples with errors\n");
}

TEST_F(CaptionsDumpCommandTest, SaysWhichSamplesAGrowingFileDoesNotHoldYet) {
  record(3, 99);
  const auto lines = dumpLines(kExitSuccess);
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_THAT(lines[3], HasSubstr("#2 @"));
  EXPECT_EQ(lines[4], "00:00:00.100 f3 #3-29 @" + std::to_string(places_.offsets[3]) +
                          ": 27 samples missing, past the end of the file");
  EXPECT_EQ(lines[5], "track 4: 3 read, 0 with errors, 0 blank, 27 missing");
}

TEST_F(CaptionsDumpCommandTest, JoinsBlankSamplesOfAFileExtendedBeforeRecording) {
  record(0);  // nothing recorded: header only
  auto request = readRequestFile(examplePath("v210_2997i_2ch_tc_cc.json"));
  auto reply = requestHeader(*request, nullptr);
  ASSERT_TRUE(
      writeFileAtStart(movie_.path(), reply->header, static_cast<uint64_t>(reply->fileSize)));
  const auto lines = dumpLines(kExitSuccess);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1], "00:00:00.000 f0 #0-29 @" + std::to_string(places_.offsets[0]) +
                          ": 30 samples blank, all bytes zero");
  EXPECT_EQ(lines[2], "track 4: 30 read, 0 with errors, 30 blank, 0 missing");
}

TEST_F(CaptionsDumpCommandTest, HandsTheField1PairsToADecoderInOrder) {
  record();
  std::vector<std::pair<int64_t, CEA608Pair>> pairs;
  auto summary = forEachField1Pair(movie_.path(), [&](const TimedField1Pair& pair) {
    EXPECT_EQ(pair.trackID, 4u);
    EXPECT_EQ(pair.time.timescale, 30000);
    pairs.emplace_back(pair.time.value, pair.bytes);
  });
  ASSERT_TRUE(summary) << summary.error();
  EXPECT_EQ(summary->captionTracks, 1u);
  // Only valid triplets: the five pairs given, none of the null ones after them.
  ASSERT_EQ(pairs.size(), 5u);
  EXPECT_EQ(pairs[0].first, 0);
  EXPECT_EQ(pairs[4].first, 4004);
  EXPECT_EQ(pairs[2].second, (CEA608Pair{0xC1, 0xC2}));
}

// The pop-on caption "AB" goes on display at its end-of-caption (frame 3) and stays to the end:
// it lasts as long as the change before it (from the first pair, frame 0).
TEST_F(CaptionsDumpCommandTest, DecodesTheCC1CaptionsToSubRip) {
  record();
  std::ostringstream out, err;
  EXPECT_EQ(runCaptionsDumpCommand({.moviePath = movie_.path(), .srt = true}, out, err),
            kExitBadInput)
      << "sample 6 has a wrong checksum";
  EXPECT_EQ(out.str(), "1\n00:00:00,100 --> 00:00:00,200\nAB\n\n");
  EXPECT_EQ(err.str(), movie_.path() + ": 1 caption samples with errors\n");
}

TEST_F(CaptionsDumpCommandTest, RefusesAFileThatIsNoMovie) {
  movie_.write("no movie here");
  std::string err;
  EXPECT_THAT(dumpLines(kExitBadInput, &err), IsEmpty());
  EXPECT_THAT(err, HasSubstr("holds no 'moov' atom"));
}

TEST_F(CaptionsDumpCommandTest, RunsFromTheCommandLine) {
  record(2);
  const ToolOutcome outcome = runInProcess({"captions", "dump", movie_.path(), "--limit", "1"});
  EXPECT_EQ(outcome.code, kExitBadInput);
  EXPECT_THAT(outcome.out, HasSubstr("track 4: 1 read, 0 with errors, 0 blank, 0 missing; stopped "
                                     "after the most samples read a track: 1"));
  const ToolOutcome help = runInProcess({"captions", "dump", "--help"});
  EXPECT_EQ(help.code, kExitSuccess);
  EXPECT_THAT(help.out, HasSubstr("samples missing, past the end of the file"));
}

}  // namespace
}  // namespace premoov
