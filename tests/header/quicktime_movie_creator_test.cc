#include "header/quicktime_movie_creator.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "base/byte_reader.h"
#include "base/log.h"
#include "movie/atom_tree.h"
#include "movie/fault_injecting_toolbox.h"
#include "support/recording_client.h"

namespace premoov {
namespace {

using testing::RecordingClient;

constexpr uint32_t kRoom = 4'194'304;

Value settingsWith(int audioTracks, bool captions, bool longGOP = false) {
  Value s =
      testing::typicalSettings(FourCC("apch"), CMTimeMake(1001, 30000), audioTracks, captions);
  s.setObject("maxVideoFrameSize", Value::integer(1'000'000));
  s.setObject("isLongGOP", Value::boolean(longGOP));
  return s;
}

struct Run {
  RecordingClient client;
  std::vector<std::string> log;
};

std::unique_ptr<Run> request(Toolbox& toolbox, const Value& settings,
                             CMTime duration = CMTimeMake(75 * 1001, 30000), bool newFile = true) {
  auto run = std::make_unique<Run>();
  LogCapture log;
  ZPRQuickTimeMovieCreator creator(toolbox);
  creator.setXPCConnection(&run->client);
  creator.writeQuickTimeHeaderAtPath("/tmp/creator.mov", newFile, 4096, Value(), duration,
                                     settings);
  run->log = log.lines();
  return run;
}

std::string onlyFailure(const Run& run) {
  EXPECT_TRUE(run.client.headers.empty());
  if (run.client.failures.size() != 1)
    return "<" + std::to_string(run.client.failures.size()) + " failures>";
  return run.client.failures[0].error;
}

TEST(MovieCreatorTest, EmptySettingsFailWithoutAFrameSize) {
  const auto run = request(defaultToolbox(), Value::dictionary());
  EXPECT_EQ(onlyFailure(*run), "Could not get max frame size");
  EXPECT_TRUE(run->client.failures[0].growing);
}

TEST(MovieCreatorTest, FailureCarriesTheGrowingFlagOfTheRequest) {
  const auto run = request(defaultToolbox(), Value::dictionary(), CMTimeMake(1, 1), false);
  ASSERT_EQ(run->client.failures.size(), 1u);
  EXPECT_FALSE(run->client.failures[0].growing);
}

TEST(MovieCreatorTest, HeaderIsExactlyTheRoomAndClosedByFreeAndMdat) {
  const auto run = request(defaultToolbox(), settingsWith(2, true));
  ASSERT_EQ(run->client.headers.size(), 1u) << onlyFailure(*run);
  const auto& reply = run->client.headers[0];
  EXPECT_TRUE(reply.growing);
  EXPECT_EQ(reply.frameSize, 1'000'000);
  ASSERT_EQ(reply.bytes.size(), kRoom);

  ByteReader r(reply.bytes);
  const uint32_t moovSize = *r.u32();
  EXPECT_EQ(r.fourCC(), FourCC("moov"));
  ByteReader f(std::span(reply.bytes).subspan(moovSize));
  EXPECT_EQ(f.u32(), kRoom - 16 - moovSize);
  EXPECT_EQ(f.fourCC(), FourCC("free"));
  for (size_t i = moovSize + 8; i < kRoom - 16; ++i) ASSERT_EQ(reply.bytes[i], 0) << i;

  ByteReader m(std::span(reply.bytes).subspan(kRoom - 16));
  const uint32_t mdatSize = *m.u32();
  EXPECT_EQ(m.fourCC(), FourCC("mdat"));
  EXPECT_EQ(m.u32(), 8u);
  EXPECT_EQ(m.fourCC(), FourCC("wide"));
  EXPECT_EQ(reply.fileSize - kRoom, mdatSize);
}

TEST(MovieCreatorTest, OneHourOfProResHasA64BitMediaDataHeader) {
  const auto run =
      request(defaultToolbox(), settingsWith(8, true), CMTimeMake(107892 * 1001, 30000));
  ASSERT_EQ(run->client.headers.size(), 1u) << onlyFailure(*run);
  const auto& reply = run->client.headers[0];
  ByteReader m(std::span(reply.bytes).subspan(kRoom - 16));
  EXPECT_EQ(m.u32(), 1u);
  EXPECT_EQ(m.fourCC(), FourCC("mdat"));
  const uint64_t mdatSize = *m.u64();
  EXPECT_GT(mdatSize, uint64_t{1} << 32);
  EXPECT_EQ(static_cast<uint64_t>(reply.fileSize) - kRoom, mdatSize);
}

TEST(MovieCreatorTest, ACancelledCreatorSendsNothing) {
  RecordingClient client;
  ZPRQuickTimeMovieCreator creator;
  creator.setXPCConnection(&client);
  creator.cancel();
  creator.writeQuickTimeHeaderAtPath("/tmp/x.mov", true, 4096, Value(), CMTimeMake(30030, 30000),
                                     settingsWith(1, true));
  creator.writeQuickTimeHeaderAtPath("/tmp/x.mov", true, 4096, Value(), CMTimeMake(30030, 30000),
                                     Value::dictionary());
  EXPECT_EQ(client.replies(), 0u);
}

TEST(MovieCreatorTest, NoConnectionLogsInsteadOfCrashing) {
  LogCapture log;
  ZPRQuickTimeMovieCreator creator;
  creator.writeQuickTimeHeaderAtPath("/tmp/x.mov", true, 4096, Value(), CMTimeMake(30030, 30000),
                                     Value::dictionary());
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_NE(log.lines()[0].find("Could not get max frame size"), std::string::npos);
}

// A toolbox whose serialised movie is exactly `movieSize` bytes.
class SizedMovieToolbox : public Toolbox {
 public:
  explicit SizedMovieToolbox(size_t size) : size_(size) {}
  OSErr PutMovieForDataRefIntoHandle(const Movie&, const DataReference&, OSType,
                                     Handle& handle) override {
    handle.assign(size_, 0xAB);
    return noErr;
  }

 private:
  size_t size_;
};

TEST(MovieCreatorTest, MovieThatFillsTheRoomExactlyIsAccepted) {
  SizedMovieToolbox toolbox(kRoom - 16);
  const auto run = request(toolbox, settingsWith(0, false));
  ASSERT_EQ(run->client.headers.size(), 1u);
  ByteReader m(std::span(run->client.headers[0].bytes).subspan(kRoom - 16));
  m.u32();
  EXPECT_EQ(m.fourCC(), FourCC("mdat"));  // over the free atom of size 0
}

TEST(MovieCreatorTest, MovieOneByteTooLongFails) {
  SizedMovieToolbox toolbox(kRoom - 15);
  EXPECT_EQ(onlyFailure(*request(toolbox, settingsWith(0, false))),
            "Movie is too long, please record a shorter duration(4194289)");
}

TEST(MovieCreatorTest, GlobalTimecodeLeavesFourBytesLessForTheMovie) {
  SizedMovieToolbox toolbox(kRoom - 19);
  Value s = settingsWith(0, false);
  s.setObject("globalTimecode", Value::boolean(true));
  EXPECT_EQ(onlyFailure(*request(toolbox, s)),
            "Movie is too long, please record a shorter duration(4194285)");
}

TEST(MovieCreatorTest, AVeryLongRecordingIsTooLongWithoutLayingOutEverySample) {
  Value s = settingsWith(16, true);
  s.setObject("maxVideoFrameSize", Value::integer(2'000'000));  // one frame a chunk
  // 2^32 - 1 frames: the layout stops once the header cannot fit.
  const auto run = request(defaultToolbox(), s, CMTimeMake(int64_t{0xFFFFFFFF} * 1001, 30000));
  EXPECT_TRUE(
      onlyFailure(*run).starts_with("Movie is too long, please record a shorter duration("));
}

TEST(MovieCreatorTest, MoreThanSixteenAudioTracksAreCappedAndLogged) {
  Value s = settingsWith(17, false);
  const auto run = request(defaultToolbox(), s, CMTimeMake(30 * 1001, 30000));
  ASSERT_EQ(run->client.headers.size(), 1u);
  bool logged = false;
  for (const auto& line : run->log) logged |= line.find("only 16") != std::string::npos;
  EXPECT_TRUE(logged);
}

TEST(MovieCreatorTest, FewerStreamDescriptionsThanTracksMakeOnlyThoseTracks) {
  Value s = settingsWith(2, false);
  s.setObject("numberOfAudioTracks", Value::integer(5));
  const auto run = request(defaultToolbox(), s, CMTimeMake(30 * 1001, 30000));
  EXPECT_EQ(run->client.headers.size(), 1u);
}

struct FailureCase {
  const char* call;
  std::optional<FourCC> mediaType;
  int occurrence;
  bool longGOP;
  bool globalTimecode;
  const char* message;
};

class MovieCreatorFailureTest : public ::testing::TestWithParam<FailureCase> {};

// "AddMediaSampleReferences64_tmcd_2": the failing call, the media it fails for (or AnyMedia)
// and which of its calls fails, then the settings that differ from the plain request.
std::string failureCaseName(const ::testing::TestParamInfo<FailureCase>& info) {
  const FailureCase& c = info.param;
  std::string name = std::string(c.call) + "_" +
                     (c.mediaType ? c.mediaType->toString() : std::string("AnyMedia")) + "_" +
                     std::to_string(c.occurrence);
  if (c.longGOP) name += "_LongGOP";
  if (c.globalTimecode) name += "_GlobalTimecode";
  return name;
}

TEST_P(MovieCreatorFailureTest, ReportsTheFailingCallOnce) {
  const FailureCase& c = GetParam();
  FaultInjectingToolbox toolbox;
  toolbox.failCall(c.call, -108, c.mediaType, c.occurrence);
  Value s = settingsWith(2, true, c.longGOP);
  s.setObject("globalTimecode", Value::boolean(c.globalTimecode));
  // 40 frames: one full group and a tail.
  const auto run = request(toolbox, s, CMTimeMake(40 * 1001, 30000));
  EXPECT_EQ(onlyFailure(*run), c.message);
}

constexpr FourCC kVide("vide"), kSoun("soun"), kTmcd("tmcd"), kClcp("clcp");

INSTANTIATE_TEST_SUITE_P(
    EveryMessage, MovieCreatorFailureTest,
    ::testing::Values(
        FailureCase{"QTNewDataReferenceFromFullPathCFString",
                    {},
                    1,
                    false,
                    false,
                    "QTNewDataReferenceFromFullPathCFString failed (-108) - /tmp/creator.mov"},
        FailureCase{"SetMediaDataRefAttributes", kVide, 1, false, false,
                    "SetMediaDataRefAttributes (Video) failed (-108)"},
        FailureCase{"SetMediaDataRefAttributes", kSoun, 1, false, false,
                    "SetMediaDataRefAttributes (Audio) failed (-108)"},
        FailureCase{"SetMediaDataRefAttributes", kClcp, 1, false, false,
                    "SetMediaDataRefAttributes (ClosedCaption) failed (-108)"},
        FailureCase{"SetMediaDataRefAttributes", kTmcd, 1, false, false,
                    "SetMediaDataRefAttributes (TimeCode) failed (-108)"},
        FailureCase{"AddMediaSampleReferences64", kTmcd, 1, false, true,
                    "AddMediaSampleReferences64 (TimeCode) failed (-108)"},
        FailureCase{"AddMediaSampleReferences64", kTmcd, 1, false, false,
                    "AddMediaSampleReferences64 (TimeCode) failed (-108)"},
        FailureCase{"AddMediaSampleReferences64", kTmcd, 2, false, false,
                    "AddMediaSampleReferences64 (TimeCode) failed (-108)"},
        FailureCase{"QTSampleTableCreateMutable",
                    {},
                    1,
                    false,
                    false,
                    "QTSampleTableCreateMutable (Video) failed (-108)"},
        FailureCase{"QTSampleTableAddSampleDescription",
                    {},
                    1,
                    false,
                    false,
                    "QTSampleTableAddSampleDescription (Video) failed (-108)"},
        FailureCase{"QTSampleTableAddSampleReferences",
                    {},
                    7,
                    true,
                    false,
                    "QTSampleTableAddSampleReferences (Video) failed (-108)"},
        FailureCase{"AddMediaSampleReferences64", kVide, 1, false, false,
                    "AddMediaSampleReferences64 (video) failed (-108)"},
        FailureCase{"AddMediaSampleReferences64", kVide, 7, false, false,
                    "AddMediaSampleReferences64 (video) failed (-108)"},
        FailureCase{"AddMediaSampleReferences64", kSoun, 2, false, false,
                    "AddMediaSampleReferences64 (Audio) failed (-108)"},
        FailureCase{"AddMediaSampleReferences64", kClcp, 1, false, false,
                    "AddMediaSampleReferences64 (ClosedCaption) failed (-108)"},
        FailureCase{"AddMediaSampleReferences64", kClcp, 2, false, false,
                    "AddMediaSampleReferences64 (ClosedCaption) failed (-108)"},
        FailureCase{"AddSampleTableToMedia",
                    {},
                    1,
                    true,
                    false,
                    "AddSampleTableToMedia (Video) failed (-108)"},
        FailureCase{"InsertMediaIntoTrack", kTmcd, 1, false, false,
                    "InsertMediaIntoTrack (TimeCode) failed (-108)"},
        FailureCase{"InsertMediaIntoTrack", kVide, 1, false, false,
                    "InsertMediaIntoTrack (Video) failed (-108)"},
        FailureCase{
            "AddTrackReference", {}, 1, false, false, "AddTrackReference (TimeCode) failed (-108)"},
        FailureCase{"InsertMediaIntoTrack", kSoun, 2, false, false,
                    "InsertMediaIntoTrack (Audio) failed (-108)"},
        FailureCase{"InsertMediaIntoTrack", kClcp, 1, false, false,
                    "InsertMediaIntoTrack (ClosedCaption) failed (-108)"}),
    failureCaseName);

TEST(MovieCreatorTest, DataReferenceFallsBackToReplacingThePlaceholder) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("AddMediaDataRef", -108, FourCC("vide"));
  const auto run = request(toolbox, settingsWith(0, false));
  EXPECT_EQ(run->client.headers.size(), 1u);
  EXPECT_EQ(toolbox.callCount("SetMediaDataRef"), 1);
}

TEST(MovieCreatorTest, DataReferenceFailsWhenReplacingFailsToo) {
  for (const auto& [type, word] : {std::pair{FourCC("vide"), "Video"},
                                   {FourCC("soun"), "Audio"},
                                   {FourCC("clcp"), "ClosedCaption"},
                                   {FourCC("tmcd"), "TimeCode"}}) {
    FaultInjectingToolbox toolbox;
    toolbox.failCall("AddMediaDataRef", -108, type);
    toolbox.failCall("SetMediaDataRef", -43, type);
    EXPECT_EQ(onlyFailure(*request(toolbox, settingsWith(1, true))),
              std::string("AddMediaDataRef (") + word + ") failed (-43)");
  }
}

TEST(MovieCreatorTest, ReplacingWithResultMinus2000IsLoggedAndTolerated) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("AddMediaDataRef", -108, FourCC("soun"));
  toolbox.failCall("SetMediaDataRef", -2000, FourCC("soun"));
  const auto run = request(toolbox, settingsWith(1, false));
  EXPECT_EQ(run->client.headers.size(), 1u);
  EXPECT_NE(std::find(run->log.begin(), run->log.end(), "AddMediaDataRef (Error -2000)"),
            run->log.end());
}

TEST(MovieCreatorTest, TailAudioFailureIsNotFatal) {
  FaultInjectingToolbox toolbox;
  // 40 frames: the second audio reference of track 1 is the tail's.
  toolbox.failCall("AddMediaSampleReferences64", -108, FourCC("soun"), 3);
  const auto run = request(toolbox, settingsWith(2, false), CMTimeMake(40 * 1001, 30000));
  EXPECT_EQ(run->client.headers.size(), 1u);
}

TEST(MovieCreatorTest, ReelNameFailuresAreSilent) {
  for (const char* call : {"NewUserData", "AddUserDataText"}) {
    FaultInjectingToolbox toolbox;
    toolbox.failCall(call, -108);
    const auto run = request(toolbox, settingsWith(0, false));
    EXPECT_EQ(run->client.headers.size(), 1u) << call;
    EXPECT_EQ(toolbox.callCount("TCSetSourceRef"), 0) << call;
  }
}

TEST(MovieCreatorTest, NonASCIIReelNameGetsNoSourceReference) {
  FaultInjectingToolbox toolbox;
  Value s = settingsWith(0, false);
  s.setObject("reelName", Value::string("Bobine \xC3\xA9t\xC3\xA9"));
  const auto run = request(toolbox, s);
  EXPECT_EQ(run->client.headers.size(), 1u);
  EXPECT_EQ(toolbox.callCount("TCSetSourceRef"), 0);
}

TEST(MovieCreatorTest, ApertureIsSetOnlyForDVCPROHD) {
  for (const auto& [name, calls] : {std::pair{"DVCPRO HD 1080i60", 1}, {"DVCPRO 50", 0}}) {
    FaultInjectingToolbox toolbox;
    Value s = settingsWith(0, false);
    s.setObject("formatName", Value::string(name));
    const auto run = request(toolbox, s);
    EXPECT_EQ(run->client.headers.size(), 1u);
    EXPECT_EQ(toolbox.callCount("SetTrackApertureModeDimensionsUsingSampleDescription"), calls)
        << name;
  }
}

TEST(MovieCreatorTest, ApertureFailureIsIgnored) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("SetTrackApertureModeDimensionsUsingSampleDescription", -50);
  Value s = settingsWith(0, false);
  s.setObject("formatName", Value::string("DVCPRO HD 1080i60"));
  EXPECT_EQ(request(toolbox, s)->client.headers.size(), 1u);
}

TEST(MovieCreatorTest, NoAudioTracksMeansNoAudioInsertion) {
  FaultInjectingToolbox toolbox;
  const auto run = request(toolbox, settingsWith(0, true));
  EXPECT_EQ(run->client.headers.size(), 1u);
  // Timecode, video and captions only.
  EXPECT_EQ(toolbox.callCount("InsertMediaIntoTrack"), 3);
}

// The reel name the header's timecode description carries, from its bare 'name' atom.
std::optional<std::string> reelNameIn(const std::vector<uint8_t>& header) {
  const AtomTree tree = parseAtomTree(header);
  // The timecode track is the last one.
  const auto names = findAtoms(tree.atoms, "moov/trak/mdia/minf/stbl/stsd/tmcd/name");
  if (names.size() != 1) return std::nullopt;
  auto payload = atomPayload(header, *names[0]);
  if (!payload || payload->size() < 4) return std::nullopt;
  const size_t length = (size_t{(*payload)[0]} << 8) | (*payload)[1];
  if (payload->size() < 4 + length) return std::nullopt;
  return std::string(payload->begin() + 4, payload->begin() + 4 + static_cast<long>(length));
}

TEST(MovieCreatorTest, MovieTakesTheTimeScaleOfTheFrameDuration) {
  const auto run = request(defaultToolbox(), settingsWith(1, true));
  ASSERT_EQ(run->client.headers.size(), 1u);
  const auto& header = run->client.headers[0].bytes;
  const AtomTree tree = parseAtomTree(header);
  const AtomNode* mvhd = findAtom(tree.atoms, "moov/mvhd");
  ASSERT_NE(mvhd, nullptr);
  ByteReader r(*atomPayload(header, *mvhd));
  r.skip(4 + 4 + 4);           // version and flags, creation and modification times
  EXPECT_EQ(r.u32(), 30000u);  // time scale
  // Every medium but the audio takes it too.
  for (const AtomNode* mdhd : findAtoms(tree.atoms, "moov/trak/mdia/mdhd")) {
    ByteReader m(*atomPayload(header, *mdhd));
    m.skip(12);
    const uint32_t scale = *m.u32();
    EXPECT_TRUE(scale == 30000 || scale == 48000) << scale;
  }
}

TEST(MovieCreatorTest, FieldCountIsHandedOnAsItsLowByte) {
  Value s = settingsWith(0, false);
  s.setObject("numberOfFields", Value::integer(258));
  const auto run = request(defaultToolbox(), s);
  ASSERT_EQ(run->client.headers.size(), 1u);
  const auto& header = run->client.headers[0].bytes;
  const AtomTree tree = parseAtomTree(header);
  const AtomNode* fiel = findAtom(tree.atoms, "moov/trak[0]/mdia/minf/stbl/stsd/apch/fiel");
  ASSERT_NE(fiel, nullptr);
  EXPECT_EQ((*atomPayload(header, *fiel))[0], 2);
}

TEST(MovieCreatorTest, ReelNameDefaultsTo001) {
  const auto run = request(defaultToolbox(), settingsWith(0, false));
  ASSERT_EQ(run->client.headers.size(), 1u);
  EXPECT_EQ(reelNameIn(run->client.headers[0].bytes), "001");
}

TEST(MovieCreatorTest, ReelNameTravelsInTheTimecodeDescription) {
  Value s = settingsWith(0, false);
  s.setObject("reelName", Value::string("A001C003"));
  const auto run = request(defaultToolbox(), s);
  ASSERT_EQ(run->client.headers.size(), 1u);
  EXPECT_EQ(reelNameIn(run->client.headers[0].bytes), "A001C003");
}

TEST(MovieCreatorTest, NonASCIIReelNameLeavesTheDescriptionWithoutAName) {
  Value s = settingsWith(0, false);
  s.setObject("reelName", Value::string("R\xC3\xA9"
                                        "el"));
  const auto run = request(defaultToolbox(), s);
  ASSERT_EQ(run->client.headers.size(), 1u);
  EXPECT_FALSE(reelNameIn(run->client.headers[0].bytes).has_value());
}

// The text handle of a reel name is as long as its Pascal length byte read as signed: from 128
// characters on the length is negative, no handle is made and the timecode gets no name.
TEST(MovieCreatorTest, ReelNamesOf128To255CharactersGetNoSourceReference) {
  for (const auto& [length, kept] : {std::pair{127, true}, {128, false}, {255, false}}) {
    Value s = settingsWith(0, false);
    s.setObject("reelName", Value::string(std::string(static_cast<size_t>(length), 'R')));
    const auto run = request(defaultToolbox(), s);
    ASSERT_EQ(run->client.headers.size(), 1u) << length;
    const auto name = reelNameIn(run->client.headers[0].bytes);
    EXPECT_EQ(name.has_value(), kept) << length;
    if (kept) {
      EXPECT_EQ(name->size(), static_cast<size_t>(length));
    }
  }
}

// Every track describes its media, sampled or not: a frame rate without a chunk table lays out
// no video, yet its description stays, since readers refuse an empty description table.
TEST(MovieCreatorTest, AVideoTrackWithoutSamplesKeepsItsDescription) {
  Value s = testing::typicalSettings(FourCC("apch"), CMTimeMake(1001, 48000), 1, true);
  const auto run = request(defaultToolbox(), s, CMTimeMake(100 * 1001, 48000));
  ASSERT_EQ(run->client.headers.size(), 1u);
  const std::vector<uint8_t>& header = run->client.headers[0].bytes;
  const AtomTree tree = parseAtomTree(header);
  const auto descriptions = findAtoms(tree.atoms, "moov/trak/mdia/minf/stbl/stsd");
  ASSERT_EQ(descriptions.size(), 4u);  // video, audio, captions, timecode
  for (const AtomNode* stsd : descriptions) {
    const auto payload = atomPayload(header, *stsd);
    ASSERT_TRUE(payload && payload->size() >= 8);
    EXPECT_EQ((*payload)[7], 1) << "entry count of a sample description table";
  }
  const AtomNode* stsz = findAtom(tree.atoms, "moov/trak[0]/mdia/minf/stbl/stsz");
  ASSERT_NE(stsz, nullptr);
  EXPECT_EQ(atomPayload(header, *stsz)->subspan(8, 4)[3], 0) << "no video sample";
}

// An audio medium's time scale is its sample rate as a 32-bit integer: a rate that has none is
// refused like any time scale the toolbox cannot take, not converted to an arbitrary number.
TEST(MovieCreatorTest, AnAudioRateThatIsNoTimeScaleFailsTheAudioTrack) {
  for (double rate : {std::numeric_limits<double>::quiet_NaN(),
                      std::numeric_limits<double>::infinity(), 1e300, 4294967296.0, 0.5}) {
    Value s = settingsWith(0, false);
    s.setObject("numberOfAudioTracks", Value::integer(1));
    Value asbds = Value::array();
    asbds.append(Value::data(hostBytesOf(testing::pcmDescription(rate, 1, 24))));
    s.setObject("asbds", asbds);
    const auto run = request(defaultToolbox(), s);
    EXPECT_EQ(onlyFailure(*run), "NewTrackMedia (Audio) failed (-50)") << rate;
  }
}

TEST(MovieCreatorTest, TrackAndMediaCreationFailuresNameTheTrack) {
  for (const auto& [call, occurrence, message] :
       {std::tuple{"NewMovieTrack", 1, "NewMovieTrack (Video) failed (-108)"},
        {"NewMovieTrack", 2, "NewMovieTrack (Audio) failed (-108)"},
        {"NewMovieTrack", 3, "NewMovieTrack (ClosedCaption) failed (-108)"},
        {"NewMovieTrack", 4, "NewMovieTrack (TimeCode) failed (-108)"},
        {"NewTrackMedia", 4, "NewTrackMedia (TimeCode) failed (-108)"}}) {
    FaultInjectingToolbox toolbox;
    toolbox.failCall(call, -108, std::nullopt, occurrence);
    EXPECT_EQ(onlyFailure(*request(toolbox, settingsWith(1, true))), message);
  }
}

TEST(MovieCreatorTest, FailedRequestStillLeavesQuickTimeForItsThread) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("InsertMediaIntoTrack", -108);
  (void)request(toolbox, settingsWith(1, true));
  EXPECT_EQ(toolbox.calls().back(), "ExitMoviesOnThread");
}

}  // namespace
}  // namespace premoov
