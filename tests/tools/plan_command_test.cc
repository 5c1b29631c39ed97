#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "premoov/commands.h"
#include "support/test_files.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using OrderedJson = nlohmann::ordered_json;

OrderedJson planOf(const std::string& request) {
  std::ostringstream out, err;
  const int code = runPlanCommand(request, out, err);
  EXPECT_EQ(code, kExitSuccess) << err.str();
  return OrderedJson::parse(out.str());
}

// A request for 1920x1080 video lasting `duration` (value, timescale) with `settings` (JSON
// members, the frame duration among them).
void writeVideoRequest(TempFile& file, int64_t value, int32_t timescale,
                       const std::string& settings) {
  file.write(
      R"({"path": "/tmp/plan.mov", "newFile": true, "blockSize": 4096, "duration": {"value": )" +
      std::to_string(value) + R"(, "timescale": )" + std::to_string(timescale) +
      R"(}, "settings": {"videoDimensions": [1920, 1080], )" + settings + "}}");
}

// Samples per track over all references.
std::map<std::string, uint64_t> samplesPerTrack(const OrderedJson& plan) {
  std::map<std::string, uint64_t> samples;
  for (const auto& reference : plan["references"]) {
    samples[reference["track"].get<std::string>()] += reference["count"].get<uint64_t>();
  }
  return samples;
}

TEST(PlanCommandTest, PrintsTheLayoutOfEverySample) {
  const OrderedJson plan = planOf(examplePath("v210_2997i_2ch_tc_cc.json"));
  EXPECT_THAT(keysOf(plan),
              ElementsAre("headerRoom", "mdatStart", "frameSize", "end", "fileSize", "references"));
  EXPECT_EQ(plan["headerRoom"], 4194304);
  EXPECT_EQ(plan["mdatStart"], 4194304 - 16);
  EXPECT_EQ(plan["frameSize"], 5529600);
  // The reply counts the file from the end of the header room: 16 bytes past the layout's end.
  EXPECT_EQ(plan["fileSize"].get<uint64_t>(), plan["end"].get<uint64_t>() + 16);

  const auto& references = plan["references"];
  ASSERT_FALSE(references.empty());
  EXPECT_EQ(references[0]["track"], "video");
  EXPECT_EQ(references[0]["offset"], plan["headerRoom"]);
  // In the order made, the references follow one another through the file without overlap.
  uint64_t next = plan["headerRoom"].get<uint64_t>();
  for (const auto& reference : references) {
    EXPECT_THAT(keysOf(reference),
                ElementsAre("track", "offset", "size", "count", "duration", "flags"));
    EXPECT_GE(reference["offset"].get<uint64_t>(), next) << reference.dump();
    next = reference["offset"].get<uint64_t>() + reference["size"].get<uint64_t>();
  }
  EXPECT_LE(next, plan["end"].get<uint64_t>());

  // 30 frames of 1001/30000 s: 30 video, timecode and caption samples, 48,048 audio frames.
  const auto samples = samplesPerTrack(plan);
  EXPECT_EQ(samples.at("video"), 30u);
  EXPECT_EQ(samples.at("audio1"), 48048u);
  EXPECT_EQ(samples.at("audio2"), 48048u);
  EXPECT_EQ(samples.at("timecode"), 30u);
  EXPECT_EQ(samples.at("captions"), 30u);
  EXPECT_EQ(samples.size(), 5u);
}

TEST(PlanCommandTest, PlacesTheGlobalTimecodeSampleBeforeTheMediaData) {
  const OrderedJson plan = planOf(examplePath("2vuy_25p_global_tc.json"));
  const uint64_t headerRoom = plan["headerRoom"].get<uint64_t>();
  EXPECT_EQ(plan["mdatStart"].get<uint64_t>(), headerRoom - 20);
  bool found = false;
  for (const auto& reference : plan["references"]) {
    if (reference["track"] != "timecode") continue;
    EXPECT_FALSE(found) << "one timecode sample only";
    found = true;
    EXPECT_EQ(reference["offset"].get<uint64_t>(), headerRoom - 4);
    EXPECT_EQ(reference["size"], 4);
    EXPECT_EQ(reference["count"], 1);
  }
  EXPECT_TRUE(found);
  EXPECT_EQ(samplesPerTrack(plan).at("video"), 75u);  // 3 s of 25p
}

TEST(PlanCommandTest, LaysOutADurationThatEndsWithinAGroup) {
  const OrderedJson plan = planOf(examplePath("2vuy_2997_mid_group.json"));
  const auto samples = samplesPerTrack(plan);
  EXPECT_EQ(samples.at("video"), 50u);
  EXPECT_EQ(samples.at("timecode"), 50u);
  EXPECT_EQ(samples.at("captions"), 50u);
  EXPECT_EQ(samples.at("audio1"), 80080u);  // 50 x 1001/30000 s at 48 kHz
}

TEST(PlanCommandTest, GivesDisplayOffsetsOfLongGopVideoOnly) {
  TempFile request("plan-long-gop.json");
  writeVideoRequest(request, 30030, 30000,
                    R"("videoCodec": "xdvc", "maxVideoFrameSize": 200000, "isLongGOP": true,
                       "videoFrameDuration": {"value": 1001, "timescale": 30000})");
  const OrderedJson plan = planOf(request.path());
  EXPECT_EQ(plan["headerRoom"], 30 * 10485760 / 25);  // grows with the frame rate
  int withOffset = 0;
  for (const auto& reference : plan["references"]) {
    if (reference["track"] == "video") {
      EXPECT_THAT(keysOf(reference), ElementsAre("track", "offset", "size", "count", "duration",
                                                 "flags", "displayOffset"));
      ++withOffset;
    } else {
      EXPECT_FALSE(reference.contains("displayOffset")) << reference.dump();
    }
  }
  EXPECT_EQ(withOffset, 30);
}

// A reference to no samples (the second half of a one-frame first chunk with an overhead) is
// not in the header and the recorder writes nothing for it: the plan leaves it out.
TEST(PlanCommandTest, LeavesOutReferencesToNoSamples) {
  TempFile request("plan-no-samples.json");
  writeVideoRequest(
      request, 30030, 30000,
      R"("videoCodec": "apch", "maxVideoFrameSize": 2000000, "firstFrameOverhead": 100,
                       "videoFrameDuration": {"value": 1001, "timescale": 30000})");
  const OrderedJson plan = planOf(request.path());
  int video = 0;
  for (const auto& reference : plan["references"]) {
    EXPECT_GT(reference["count"].get<uint64_t>(), 0u) << reference.dump();
    if (reference["track"] == "video") ++video;
  }
  EXPECT_EQ(video, 30);  // band A: 30 chunks of one frame, the first with its overhead
  EXPECT_EQ(plan["references"][0]["size"], 2000100);
}

// A recording too long for its header room is refused before its references are written out:
// the plan never lists more than a header can hold.
TEST(PlanCommandTest, ARecordingTooLongForItsRoomPrintsOnlyTheRefusal) {
  TempFile request("plan-too-long.json");
  writeVideoRequest(request, 5'184'000'000, 60000,
                    R"("videoCodec": "xd5c", "maxVideoFrameSize": 1000000, "isLongGOP": true,
                       "videoFrameDuration": {"value": 1001, "timescale": 60000})");
  std::ostringstream out, err;
  EXPECT_EQ(runPlanCommand(request.path(), out, err), kExitRefused);
  const OrderedJson refusal = OrderedJson::parse(out.str());
  EXPECT_THAT(keysOf(refusal), ElementsAre("error", "growing"));
  EXPECT_EQ(refusal["error"].get<std::string>().rfind("Movie is too long", 0), 0u);
}

TEST(PlanCommandTest, PrintsTheRefusalLikeWrite) {
  TempFile request("plan-refused.json");
  request.write(kRefusedRequest);
  std::ostringstream out, err;
  EXPECT_EQ(runPlanCommand(request.path(), out, err), kExitRefused);
  EXPECT_EQ(out.str(), "{\"error\":\"Could not get max frame size\",\"growing\":true}\n");
  EXPECT_THAT(err.str(), IsEmpty());
}

TEST(PlanCommandTest, NamesTheFileOfMalformedJson) {
  TempFile request("plan-malformed.json");
  request.write("{\"path\": ");
  std::ostringstream out, err;
  EXPECT_EQ(runPlanCommand(request.path(), out, err), kExitBadInput);
  EXPECT_THAT(out.str(), IsEmpty());
  EXPECT_EQ(err.str(), request.path() +
                           ": malformed JSON: parse error at line 1, column 10: syntax error while "
                           "parsing value - unexpected end of input; expected '[', '{', or a "
                           "literal\n");
}

}  // namespace
}  // namespace premoov
