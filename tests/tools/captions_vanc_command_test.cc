#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "base/log.h"
#include "captions/ancillary_rows.h"
#include "captions/cdp_packet.h"
#include "premoov/commands.h"
#include "support/test_files.h"
#include "tools/tool_runs.h"

namespace premoov {
namespace {

using testing::AncillaryRows;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr size_t kV210Row = 5120;  // 1920 pixels
constexpr size_t k2vuyRow = 3840;

// The cdp a recorder's caption slot holds at 29.97 fps: 73 bytes, the pair on field 1.
std::vector<uint8_t> slotCdp(uint16_t sequence, const uint8_t* pair) {
  std::vector<uint8_t> triplets = cea608Triplets(pair);
  appendPaddingTriplets(triplets, 18);
  std::vector<uint8_t> sample = ccdpSlotSample(
      CdpPacket{.ccCount = 20, .frameRateCode = 4, .sequence = sequence, .ccData = triplets});
  return std::vector<uint8_t>(sample.begin() + 8, sample.end());
}

std::string hexOf(const std::vector<uint8_t>& bytes) {
  std::string text;
  for (uint8_t byte : bytes) text += stringWithFormat("%02X", byte);
  return text;
}

std::vector<uint8_t> ccdpAtom(const std::vector<uint8_t>& cdp, bool lowByteOnly) {
  std::vector<uint8_t> atom{0, 0, 0, static_cast<uint8_t>(cdp.size() + 8), 'c', 'c', 'd', 'p'};
  if (!lowByteOnly) atom[2] = static_cast<uint8_t>((cdp.size() + 8) >> 8);
  atom.insert(atom.end(), cdp.begin(), cdp.end());
  return atom;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

const uint8_t kEdm[] = {0x94, 0x2C};
const uint8_t kHi[] = {0xC8, 0x49};

// Four frames of two 'v210' rows: frame 0 has a timecode-like packet then a caption packet in
// row 0, frames 1 and 2 are blank, frame 3 has a caption packet at the start of row 1.
class CaptionsVancCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    AncillaryRows rows(kCVPixelFormatType_422YpCbCr10, kV210Row, 8);
    const size_t next =
        rows.putPacket(0, AncillaryStream::kLuma, 0, 0x60, 0x60, std::vector<uint8_t>(16, 0x11));
    rows.putPacket(0, AncillaryStream::kLuma, next, 0x61, 0x01, first_);
    rows.putPacket(7, AncillaryStream::kLuma, 0, 0x61, 0x01, second_);
    const std::vector<uint8_t>& bytes = rows.bytes();
    rows_.write(std::string(bytes.begin(), bytes.end()));
  }

  ToolOutcome run(std::vector<std::string> options) {
    options.insert(options.begin(),
                   {"captions", "vanc", rows_.path(), "--format", "v210", "--bytes-per-row",
                    std::to_string(kV210Row), "--rows-per-frame", "2"});
    return runInProcess(options);
  }

  const std::vector<uint8_t> first_ = slotCdp(7, kEdm);
  const std::vector<uint8_t> second_ = slotCdp(8, kHi);
  TempFile rows_{"vanc-rows.raw"};
  TempFile samples_{"vanc-samples.bin"};
};

TEST_F(CaptionsVancCommandTest, PrintsEveryPacketOfEveryFrame) {
  const ToolOutcome outcome = run({});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_THAT(outcome.err, IsEmpty());
  EXPECT_THAT(
      linesOf(outcome.out),
      ElementsAre(
          "frame 0 row 0 luma @0: DID 60 SDID 60, 16 words, parity ok, checksum ok",
          "frame 0 row 0 luma @23: caption, 73 words, parity ok, checksum ok | cdp 29.97 fps len "
          "73 seq 7 cc_count 20 svcinfo no checksum ok dtvcc 0/18 | f1 94 2C CC1 EDM | f2 80 80 "
          "invalid",
          "frames 1-2: no ancillary packet",
          "frame 3 row 1 luma @0: caption, 73 words, parity ok, checksum ok | cdp 29.97 fps len "
          "73 seq 8 cc_count 20 svcinfo no checksum ok dtvcc 0/18 | f1 C8 49 \"HI\" | "
          "f2 80 80 invalid",
          "4 frames: 2 caption packets (0 with errors), 1 other packet, 2 frames without "
          "captions"));
}

TEST_F(CaptionsVancCommandTest, PrintsEachFrameAsJson) {
  const ToolOutcome outcome = run({"--json"});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  const std::vector<std::string> lines = linesOf(outcome.out);
  ASSERT_EQ(lines.size(), 4u);
  const auto frame0 = nlohmann::json::parse(lines[0]);
  EXPECT_EQ(frame0["frame"], 0);
  ASSERT_EQ(frame0["packets"].size(), 2u);
  const auto& caption = frame0["packets"][1];
  EXPECT_EQ(caption["row"], 0);
  EXPECT_EQ(caption["stream"], "luma");
  EXPECT_EQ(caption["position"], 23);
  EXPECT_EQ(caption["did"], 0x61);
  EXPECT_EQ(caption["sdid"], 0x01);
  EXPECT_EQ(caption["dataCount"], 73);
  EXPECT_EQ(caption["parityOk"], true);
  EXPECT_EQ(caption["checksumOk"], true);
  EXPECT_EQ(caption["cutShort"], false);
  EXPECT_EQ(caption["caption"], true);
  EXPECT_EQ(caption["userData"], hexOf(first_));
  EXPECT_EQ(caption["cdpOk"], true);
  EXPECT_EQ(caption["pairs"][0],
            nlohmann::json::parse(R"({"field":1,"bytes":"942C","valid":true})"));
  EXPECT_EQ(frame0["packets"][0]["caption"], false);
  EXPECT_FALSE(frame0["packets"][0].contains("pairs"));
  EXPECT_EQ(nlohmann::json::parse(lines[1]), nlohmann::json::parse(R"({"frame":1,"packets":[]})"));
  EXPECT_EQ(nlohmann::json::parse(lines[3])["packets"][0]["userData"], hexOf(second_));
}

TEST_F(CaptionsVancCommandTest, WritesEachFramesFirstCaptionPacketAsASample) {
  const ToolOutcome outcome = run({"--out", samples_.path()});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("; 2 samples written to " + samples_.path() + "\n"));
  std::vector<uint8_t> expected = ccdpAtom(first_, false);
  const std::vector<uint8_t> second = ccdpAtom(second_, false);
  expected.insert(expected.end(), second.begin(), second.end());
  EXPECT_EQ(samples_.read(), std::string(expected.begin(), expected.end()));
}

TEST_F(CaptionsVancCommandTest, TheRecordersReadingMissesAPacketBehindAnotherInTenBitRows) {
  // Frame 0's caption packet follows another one: stepping by its data count in words lands
  // inside it, and the row is given up. Frame 3's packet starts its row and is read.
  const ToolOutcome outcome = run({"--recorder", "--json", "--out", samples_.path()});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  const std::vector<uint8_t> sample = ccdpAtom(second_, true);
  EXPECT_THAT(linesOf(outcome.out),
              ElementsAre(R"({"frame":0,"sample":null})", R"({"frame":1,"sample":null})",
                          R"({"frame":2,"sample":null})",
                          R"({"frame":3,"sample":")" + hexOf(sample) + R"("})"));
  EXPECT_EQ(samples_.read(), std::string(sample.begin(), sample.end()));
}

TEST_F(CaptionsVancCommandTest, PrintsTheRecordersSamplesAsText) {
  const ToolOutcome outcome = run({"--recorder"});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_THAT(linesOf(outcome.out),
              ElementsAre("frames 0-2: no caption sample",
                          "frame 3: 81 B: cdp 29.97 fps len 73 seq 8 cc_count 20 svcinfo no "
                          "checksum ok dtvcc 0/18 | f1 C8 49 \"HI\" | f2 80 80 invalid",
                          "4 frames: 1 caption sample (0 with errors), 3 frames without captions"));
}

TEST_F(CaptionsVancCommandTest, StopsAtTheFrameLimit) {
  const ToolOutcome outcome = run({"--limit", "1", "--json"});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_EQ(linesOf(outcome.out).size(), 1u);
}

TEST_F(CaptionsVancCommandTest, SaysWhenTheLastFrameIsNotWhole) {
  // Three rows a frame: two whole frames of 6 rows, then 2 rows left over.
  const ToolOutcome outcome =
      runInProcess({"captions", "vanc", rows_.path(), "--format", "v210", "--bytes-per-row",
                    std::to_string(kV210Row), "--rows-per-frame", "3"});
  EXPECT_EQ(outcome.code, kExitBadInput);
  EXPECT_EQ(outcome.err, rows_.path() +
                             ": the last 10240 bytes are not a whole frame of 3 rows "
                             "of 5120 bytes; they are not read\n");
  EXPECT_THAT(outcome.out, HasSubstr("2 frames: 1 caption packet (0 with errors)"));
}

TEST(CaptionsVancCommandProblemsTest, NamesPacketsWithErrors) {
  AncillaryRows rows(kCVPixelFormatType_422YpCbCr8, k2vuyRow, 1);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, slotCdp(1, kEdm), 1);
  TempFile file("vanc-bad-checksum.raw");
  file.write(std::string(rows.bytes().begin(), rows.bytes().end()));
  const ToolOutcome outcome = runInProcess({"captions", "vanc", file.path(), "--format", "2vuy",
                                            "--bytes-per-row", std::to_string(k2vuyRow)});
  EXPECT_EQ(outcome.code, kExitBadInput);
  EXPECT_THAT(outcome.out,
              HasSubstr("frame 0 row 0 luma @0: caption, 73 words, checksum error | "));
  EXPECT_EQ(outcome.err, file.path() + ": 1 packet with errors\n");
}

TEST(CaptionsVancCommandProblemsTest, RefusesBadArguments) {
  TempFile file("vanc-args.raw");
  file.write(std::string(64, '\0'));
  const auto run = [&](std::vector<std::string> options) {
    options.insert(options.begin(), {"captions", "vanc", file.path()});
    return runInProcess(options);
  };
  EXPECT_EQ(run({"--format", "yuvs", "--bytes-per-row", "64"}).code, kExitBadInput);
  EXPECT_EQ(run({"--format", "v210", "--bytes-per-row", "0"}).code, kExitBadInput);
  EXPECT_EQ(run({"--format", "v210", "--bytes-per-row", "64", "--rows-per-frame", "0"}).code,
            kExitBadInput);
  EXPECT_EQ(run({"--format", "v210"}).code, kExitBadInput);
  const ToolOutcome huge =
      run({"--format", "v210", "--bytes-per-row", "65536", "--rows-per-frame", "65536"});
  EXPECT_EQ(huge.code, kExitBadInput);
  EXPECT_EQ(huge.err,
            "a frame of 65536 rows of 65536 bytes is 4294967296 bytes; frames of at most "
            "268435456 bytes are read\n");
  const ToolOutcome missing = runInProcess(
      {"captions", "vanc", file.path() + ".none", "--format", "2vuy", "--bytes-per-row", "64"});
  EXPECT_EQ(missing.code, kExitBadInput);
  EXPECT_EQ(missing.err, file.path() + ".none: cannot be read\n");
  const ToolOutcome uyvy = run({"--format", "UYVY", "--bytes-per-row", "64"});
  EXPECT_EQ(uyvy.code, kExitSuccess) << uyvy.err;
  EXPECT_EQ(uyvy.out,
            "frame 0: no ancillary packet\n1 frame: 0 caption packets (0 with errors), "
            "0 other packets, 1 frame without captions\n");
  const ToolOutcome help = runInProcess({"captions", "vanc", "--help"});
  EXPECT_EQ(help.code, kExitSuccess);
  EXPECT_THAT(help.out, HasSubstr("frames A-B: no ancillary packet"));
}

TEST(CaptionsVancCommandProblemsTest, RunsAsAProgram) {
  AncillaryRows rows(kCVPixelFormatType_422YpCbCr8, k2vuyRow, 1);
  const std::vector<uint8_t> cdp = slotCdp(3, kEdm);
  rows.putPacket(0, AncillaryStream::kLuma, 0, 0x61, 0x01, cdp);
  TempFile file("vanc-program.raw");
  file.write(std::string(rows.bytes().begin(), rows.bytes().end()));
  const ToolOutcome outcome =
      runToolProgram({"captions", "vanc", file.path(), "--format", "2vuy", "--bytes-per-row",
                      std::to_string(k2vuyRow), "--recorder", "--json"});
  EXPECT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_EQ(outcome.out, R"({"frame":0,"sample":")" + hexOf(ccdpAtom(cdp, true)) + "\"}\n");
}

}  // namespace
}  // namespace premoov
