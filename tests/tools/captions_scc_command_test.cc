#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string>
#include <vector>

#include "premoov/commands.h"
#include "support/test_files.h"
#include "tool_runs.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using OrderedJson = nlohmann::ordered_json;

std::vector<uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

std::vector<uint8_t> slice(const std::vector<uint8_t>& bytes, size_t from, size_t count) {
  return {bytes.begin() + static_cast<ptrdiff_t>(from),
          bytes.begin() + static_cast<ptrdiff_t>(from + count)};
}

std::vector<uint8_t> padding(size_t triplets) {
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < triplets; ++i) bytes.insert(bytes.end(), {0xFA, 0x00, 0x00});
  return bytes;
}

class CaptionsSccCommandTest : public ::testing::Test {
 protected:
  // `premoov captions scc SCC --out SAMPLES` with `arguments` after.
  ToolOutcome run(const std::string& scc, std::vector<std::string> arguments) {
    scc_.write(scc);
    arguments.insert(arguments.begin(), {"captions", "scc", scc_.path(), "--out", samples_.path()});
    return runInProcess(arguments);
  }
  std::vector<uint8_t> samples() const { return bytesOf(samples_.read()); }
  bool samplesWritten() const { return std::filesystem::exists(samples_.path()); }

  TempFile scc_{"captions.scc"};
  TempFile samples_{"captions.samples"};
};

constexpr const char* kPopOn =
    "Scenarist_SCC V1.0\n\n"
    "00:00:00;00\t9420 9420\n\n"
    "00:00:00;03\t942f\n";

TEST_F(CaptionsSccCommandTest, TheFirstSamplesAt2997FieldByField) {
  const ToolOutcome outcome = run(kPopOn, {"--frame-duration", "1001/30000"});
  ASSERT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_EQ(outcome.out,
            R"({"samples":4,"sampleSize":81,"pairs":3,"firstPairFrame":0,"lastPairFrame":3})"
            "\n");
  EXPECT_THAT(outcome.err, IsEmpty());
  const std::vector<uint8_t> bytes = samples();
  ASSERT_EQ(bytes.size(), 4u * 81);

  const std::vector<uint8_t> first = slice(bytes, 0, 81);
  EXPECT_THAT(slice(first, 0, 4), ElementsAre(0, 0, 0, 81));         // atom size
  EXPECT_THAT(slice(first, 4, 4), ElementsAre('c', 'c', 'd', 'p'));  // atom type
  EXPECT_THAT(slice(first, 8, 2), ElementsAre(0x96, 0x69));          // cdp_identifier
  EXPECT_EQ(first[10], 73);                                          // cdp_length
  EXPECT_EQ(first[11], 0x4F);                                        // cdp_frame_rate 4 (29.97)
  EXPECT_EQ(first[12], 0x43);  // ccdata_present, caption_service_active, reserved
  EXPECT_THAT(slice(first, 13, 2), ElementsAre(0x00, 0x00));        // cdp_hdr_sequence_cntr
  EXPECT_EQ(first[15], 0x72);                                       // ccdata_id
  EXPECT_EQ(first[16], 0xF4);                                       // marker bits, cc_count 20
  EXPECT_THAT(slice(first, 17, 3), ElementsAre(0xFC, 0x94, 0x20));  // field 1: the pair
  EXPECT_THAT(slice(first, 20, 3), ElementsAre(0xF9, 0x80, 0x80));  // field 2: not valid
  EXPECT_EQ(slice(first, 23, 54), padding(18));                     // DTVCC: not valid
  EXPECT_EQ(first[77], 0x74);                                       // cdp_footer_id
  EXPECT_THAT(slice(first, 78, 2), ElementsAre(0x00, 0x00));        // cdp_ftr_sequence_cntr
  EXPECT_EQ(first[80], 0x0F);                                       // packet_checksum

  // The second: sequence 1, the same pair; the third: no pair, the builders' empty triplet.
  const std::vector<uint8_t> second = slice(bytes, 81, 81);
  EXPECT_THAT(slice(second, 13, 2), ElementsAre(0x00, 0x01));
  EXPECT_THAT(slice(second, 17, 3), ElementsAre(0xFC, 0x94, 0x20));
  EXPECT_THAT(slice(second, 78, 2), ElementsAre(0x00, 0x01));
  EXPECT_EQ(second[80], 0x0D);
  const std::vector<uint8_t> third = slice(bytes, 162, 81);
  EXPECT_THAT(slice(third, 13, 2), ElementsAre(0x00, 0x02));
  EXPECT_THAT(slice(third, 17, 3), ElementsAre(0xF8, 0x80, 0x80));
  EXPECT_EQ(third[80], 0xC3);
  EXPECT_EQ(slice(third, 0, 13), slice(first, 0, 13));
  const std::vector<uint8_t> fourth = slice(bytes, 243, 81);
  EXPECT_THAT(slice(fourth, 17, 3), ElementsAre(0xFC, 0x94, 0x2F));
  EXPECT_EQ(std::accumulate(fourth.begin() + 8, fourth.end(), 0) % 256, 0);
}

TEST_F(CaptionsSccCommandTest, TheBuildersFormAt25FieldByField) {
  const ToolOutcome outcome = run("Scenarist_SCC V1.0\n\n00:00:00:00\t942c\n",
                                  {"--frame-duration", "1/25", "--with-service-info"});
  ASSERT_EQ(outcome.code, kExitSuccess) << outcome.err;
  const std::vector<uint8_t> sample = samples();
  ASSERT_EQ(sample.size(), 109u);
  EXPECT_THAT(slice(sample, 0, 8), ElementsAre(0, 0, 0, 109, 'c', 'c', 'd', 'p'));
  EXPECT_THAT(slice(sample, 8, 3), ElementsAre(0x96, 0x69, 101));  // cdp_length 3 x 24 + 29
  EXPECT_EQ(sample[11], 0x3F);                                     // cdp_frame_rate 3 (25)
  EXPECT_EQ(sample[12], 0x7F);                                     // svcinfo_present and all
  EXPECT_THAT(slice(sample, 13, 4), ElementsAre(0x00, 0x00, 0x72, 0xF8));  // cc_count 24
  EXPECT_THAT(slice(sample, 17, 6), ElementsAre(0xFC, 0x94, 0x2C, 0xF9, 0x80, 0x80));
  EXPECT_EQ(slice(sample, 23, 66), padding(22));
  EXPECT_THAT(slice(sample, 89, 16), ElementsAre(0x73, 0xF2, 0xE0, 0x20, 0x20, 0x20, 0x7E, 0x3F,
                                                 0xFF, 0xE1, 0x65, 0x6E, 0x67, 0xC1, 0x3F, 0xFF));
  EXPECT_THAT(slice(sample, 105, 4), ElementsAre(0x74, 0x00, 0x00, 0x54));
}

TEST_F(CaptionsSccCommandTest, SampleSizesFollowTheFrameRateAndForm) {
  struct Case {
    const char* duration;
    const char* scc;
    bool serviceInfo;
    size_t size;
  };
  const char* ntsc = "Scenarist_SCC V1.0\n\n00:00:01;00\t9420 9420\n";
  const char* pal = "Scenarist_SCC V1.0\n\n00:00:01:00\t9420 9420\n";
  for (const Case& c :
       {Case{"1001/30000", ntsc, false, 3 * 20 + 21}, Case{"1001/30000", ntsc, true, 3 * 20 + 37},
        Case{"1/25", pal, false, 3 * 24 + 21}, Case{"1/25", pal, true, 3 * 24 + 37}}) {
    std::vector<std::string> arguments{"--frame-duration", c.duration};
    if (c.serviceInfo) arguments.push_back("--with-service-info");
    const ToolOutcome outcome = run(c.scc, arguments);
    ASSERT_EQ(outcome.code, kExitSuccess) << outcome.err;
    const OrderedJson answer = OrderedJson::parse(outcome.out);
    const int64_t frames = c.duration == std::string("1/25") ? 27 : 32;  // one second and 2 pairs
    EXPECT_EQ(answer["samples"], frames) << c.duration;
    EXPECT_EQ(answer["sampleSize"], c.size) << c.duration;
    EXPECT_EQ(answer["firstPairFrame"], frames - 2);
    EXPECT_EQ(samples().size(), frames * c.size) << c.duration;
  }
}

TEST_F(CaptionsSccCommandTest, StartsAtTheGivenDropFrameLabel) {
  const ToolOutcome outcome =
      run("Scenarist_SCC V1.0\n\n00:00:59;29\t9420\n\n00:01:00;02\t942f 942f\n",
          {"--frame-duration", "1001/30000", "--start", "00:00:59;28"});
  ASSERT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_EQ(outcome.out,
            R"({"samples":4,"sampleSize":81,"pairs":3,"firstPairFrame":1,"lastPairFrame":3})"
            "\n");
  const std::vector<uint8_t> bytes = samples();
  ASSERT_EQ(bytes.size(), 4u * 81);
  EXPECT_THAT(slice(bytes, 17, 3), ElementsAre(0xF8, 0x80, 0x80));
  EXPECT_THAT(slice(bytes, 81 + 17, 3), ElementsAre(0xFC, 0x94, 0x20));
  EXPECT_THAT(slice(bytes, 2 * 81 + 17, 3), ElementsAre(0xFC, 0x94, 0x2F));
  EXPECT_THAT(slice(bytes, 13, 2), ElementsAre(0, 0)) << "the first sample is numbered 0";

  // Pairs before the start are left out, and said so.
  const ToolOutcome later =
      run("Scenarist_SCC V1.0\n\n00:00:59;29\t9420\n\n00:01:00;02\t942f 942f\n",
          {"--frame-duration", "1001/30000", "--start", "00:01:00;02"});
  ASSERT_EQ(later.code, kExitSuccess) << later.err;
  EXPECT_EQ(OrderedJson::parse(later.out)["pairs"], 2);
  EXPECT_EQ(later.err, "premoov captions scc: 1 pairs before --start left out\n");
}

TEST_F(CaptionsSccCommandTest, FramesPadsWithEmptyPacketsOrDropsPairs) {
  const ToolOutcome longer = run(kPopOn, {"--frame-duration", "1001/30000", "--frames", "10"});
  ASSERT_EQ(longer.code, kExitSuccess) << longer.err;
  EXPECT_EQ(OrderedJson::parse(longer.out)["samples"], 10);
  const std::vector<uint8_t> bytes = samples();
  ASSERT_EQ(bytes.size(), 10u * 81);
  for (size_t k = 4; k < 10; ++k) {
    EXPECT_THAT(slice(bytes, k * 81 + 17, 3), ElementsAre(0xF8, 0x80, 0x80)) << k;
    EXPECT_EQ(bytes[k * 81 + 14], k);
  }

  const ToolOutcome shorter = run(kPopOn, {"--frame-duration", "1001/30000", "--frames", "1"});
  ASSERT_EQ(shorter.code, kExitSuccess) << shorter.err;
  EXPECT_EQ(shorter.out,
            R"({"samples":1,"sampleSize":81,"pairs":1,"firstPairFrame":0,"lastPairFrame":0})"
            "\n");
  EXPECT_EQ(shorter.err, "premoov captions scc: 2 pairs past --frames dropped\n");
  EXPECT_EQ(samples().size(), 81u);

  const ToolOutcome none = run(kPopOn, {"--frame-duration", "1001/30000", "--frames", "0"});
  ASSERT_EQ(none.code, kExitSuccess) << none.err;
  EXPECT_EQ(none.out,
            R"({"samples":0,"sampleSize":81,"pairs":0,"firstPairFrame":null,"lastPairFrame":null})"
            "\n");
  EXPECT_THAT(samples(), IsEmpty());
}

TEST_F(CaptionsSccCommandTest, TheSequenceValueWrapsAt65536) {
  const ToolOutcome outcome = run(kPopOn, {"--frame-duration", "1001/30000", "--frames", "65537"});
  ASSERT_EQ(outcome.code, kExitSuccess) << outcome.err;
  const std::vector<uint8_t> bytes = samples();
  ASSERT_EQ(bytes.size(), 65537u * 81);
  const std::vector<uint8_t> last = slice(bytes, 65535u * 81, 81);
  EXPECT_THAT(slice(last, 13, 2), ElementsAre(0xFF, 0xFF));
  EXPECT_THAT(slice(last, 78, 2), ElementsAre(0xFF, 0xFF));
  const std::vector<uint8_t> wrapped = slice(bytes, 65536u * 81, 81);
  EXPECT_THAT(slice(wrapped, 13, 2), ElementsAre(0x00, 0x00));
  EXPECT_EQ(wrapped[80], 0xC7) << "the empty packet numbered 0";
  EXPECT_EQ(std::accumulate(last.begin() + 8, last.end(), 0) % 256, 0);
}

TEST_F(CaptionsSccCommandTest, LateLinesAreSaidToFollow) {
  const ToolOutcome outcome =
      run("Scenarist_SCC V1.0\n\n00:00:00;00\t9420 9420 942f\n\n00:00:00;01\t942c\n",
          {"--frame-duration", "1001/30000"});
  ASSERT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_EQ(outcome.out,
            R"({"samples":4,"sampleSize":81,"pairs":4,"firstPairFrame":0,"lastPairFrame":3})"
            "\n");
  EXPECT_EQ(outcome.err,
            "premoov captions scc: 1 lines began before the previous line's words were out; "
            "their words follow them\n");
}

TEST_F(CaptionsSccCommandTest, AFileWithoutPairsGivesNoSamples) {
  const ToolOutcome outcome = run("Scenarist_SCC V1.0\r\n", {"--frame-duration", "1/25"});
  ASSERT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_EQ(outcome.out,
            R"({"samples":0,"sampleSize":93,"pairs":0,"firstPairFrame":null,"lastPairFrame":null})"
            "\n");
  EXPECT_TRUE(samplesWritten());
  EXPECT_THAT(samples(), IsEmpty());
}

TEST_F(CaptionsSccCommandTest, BadInputIsSaidAndWritesNothing) {
  struct Case {
    std::string scc;
    std::vector<std::string> arguments;
    std::string message;
  };
  const std::string good = kPopOn;
  for (const Case& c : {
           Case{"Scenarist_SCC V1.0\n\n00:00:00;00\t9420 zz12\n",
                {"--frame-duration", "1001/30000"},
                "line 3, column 18: 'zz12' is not a caption word (four hexadecimal digits)"},
           Case{"Scenarist_SCC V1.0\n\n00:00:00;30\t9420\n",
                {"--frame-duration", "1001/30000"},
                "line 3, column 10: frames 30 out of range: 00 to 29"},
           Case{"", {"--frame-duration", "1/25"}, "line 1, column 1: the file does not start with"},
           Case{good,
                {"--frame-duration", "1001/48000"},
                "premoov captions scc: 1001/48000 is not a caption frame rate"},
           Case{good, {"--frame-duration", "30"}, "'30' is not a frame duration N/D"},
           Case{good, {"--frame-duration", "-1/25"}, "'-1/25' is not a frame duration N/D"},
           Case{good, {"--frame-duration", "1/0"}, "'1/0' is not a frame duration N/D"},
           Case{good, {"--frame-duration", "1/25x"}, "'1/25x' is not a frame duration N/D"},
           Case{good,
                {"--frame-duration", "1001/30000", "--frames", "2592001"},
                "--frames must be from 0 to a day of timecode labels at this rate: 2592000"},
           Case{good,
                {"--frame-duration", "1001/30000", "--frames", "-1"},
                "--frames must be from 0 to a day"},
           Case{"Scenarist_SCC V1.0\n\n23:59:59:29\t9420 9420 9420\n",
                {"--frame-duration", "1/30"},
                "the last pair is more than a day of timecode labels after --start: 2592000"},
           Case{good,
                {"--frame-duration", "1/25", "--start", "00:00:00;00"},
                "--start: drop-frame timecode at a frame rate that has none"},
           Case{good,
                {"--frame-duration", "1001/30000", "--start", "00:01:00;00"},
                "--start: 00:01:00;00 is skipped by drop-frame counting"},
       }) {
    const ToolOutcome outcome = run(c.scc, c.arguments);
    EXPECT_EQ(outcome.code, kExitBadInput) << c.message;
    EXPECT_THAT(outcome.err, HasSubstr(c.message));
    EXPECT_THAT(outcome.out, IsEmpty());
    EXPECT_FALSE(samplesWritten()) << c.message;
  }
  // A file that cannot be read.
  const ToolOutcome missing = runInProcess({"captions", "scc", "/nonexistent/captions.scc",
                                            "--frame-duration", "1/25", "--out", "/dev/null"});
  EXPECT_EQ(missing.code, kExitBadInput);
  EXPECT_THAT(missing.err, HasSubstr("/nonexistent/captions.scc: cannot read"));
  // A file larger than any day of captions is not read at all.
  scc_.write(kPopOn);
  std::filesystem::resize_file(scc_.path(), uintmax_t{33} << 20);
  const ToolOutcome huge = runInProcess(
      {"captions", "scc", scc_.path(), "--frame-duration", "1001/30000", "--out", samples_.path()});
  EXPECT_EQ(huge.code, kExitBadInput);
  EXPECT_THAT(huge.err, HasSubstr("is larger than the tool reads: 33554432 bytes"));
  EXPECT_FALSE(samplesWritten());
  // Nor a samples file that cannot be written.
  scc_.write(kPopOn);
  const ToolOutcome unwritable = runInProcess({"captions", "scc", scc_.path(), "--frame-duration",
                                               "1001/30000", "--out", "/nonexistent/dir/samples"});
  EXPECT_EQ(unwritable.code, kExitBadInput);
  EXPECT_THAT(unwritable.err, HasSubstr("/nonexistent/dir/samples: cannot write"));
}

TEST_F(CaptionsSccCommandTest, TheToolRunsTheCommand) {
  scc_.write(kPopOn);
  const ToolOutcome outcome =
      runToolProgram({"captions", "scc", scc_.path(), "--frame-duration", "1001/30000", "--out",
                      samples_.path(), "--with-service-info"});
  ASSERT_EQ(outcome.code, kExitSuccess) << outcome.err;
  EXPECT_EQ(OrderedJson::parse(outcome.out)["sampleSize"], 97);
  EXPECT_EQ(samples().size(), 4u * 97);
  const ToolOutcome noOut =
      runToolProgram({"captions", "scc", scc_.path(), "--frame-duration", "1001/30000"});
  EXPECT_EQ(noOut.code, kExitBadInput);
  EXPECT_THAT(noOut.err, HasSubstr("--out"));
}

}  // namespace
}  // namespace premoov
