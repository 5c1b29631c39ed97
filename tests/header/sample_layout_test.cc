#include "header/sample_layout.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>

#include "header/quicktime_movie_creator.h"
#include "movie/fault_injecting_toolbox.h"
#include "support/recording_client.h"

namespace premoov {
namespace {

using testing::RecordingClient;
using testing::RecordingObserver;

constexpr uint64_t kRoom = 4'194'304;

struct Planned {
  RecordingClient client;
  RecordingObserver plan;
};

// Runs one request through a creator and keeps its replies and write map.
std::unique_ptr<Planned> plan(const Value& settings, CMTime duration, uint32_t blockSize = 4096,
                              Toolbox& toolbox = defaultToolbox()) {
  auto out = std::make_unique<Planned>();
  ZPRQuickTimeMovieCreator creator(toolbox);
  creator.setXPCConnection(&out->client);
  creator.setSampleLayoutObserver(&out->plan);
  creator.writeQuickTimeHeaderAtPath("/tmp/layout.mov", true, blockSize, Value(), duration,
                                     settings);
  return out;
}

Value proResSettings(int audioTracks, bool captions = true) {
  Value s =
      testing::typicalSettings(FourCC("apch"), CMTimeMake(1001, 30000), audioTracks, captions);
  s.setObject("maxVideoFrameSize", Value::integer(1'000'000));  // band B: 6 chunks of 5 frames
  return s;
}

uint64_t alignUp(uint64_t v, uint64_t block) { return (v + block - 1) / block * block; }

TEST(SampleLayoutTest, OneGroupAt2997HasVideoChunksThenAudioTimecodeCaptionsAndPadding) {
  const auto p = plan(proResSettings(2), CMTimeMake(30 * 1001, 30000));
  ASSERT_EQ(p->client.headers.size(), 1u) << p->client.failures.at(0).error;
  const auto& refs = p->plan.references;
  ASSERT_EQ(refs.size(), 6u + 2 + 1 + 1);
  uint64_t o = kRoom;
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(refs[i].track, "video");
    EXPECT_EQ(refs[i].offset, o);
    EXPECT_EQ(refs[i].count, 5u);
    EXPECT_EQ(refs[i].size, 5'000'000u);
    EXPECT_EQ(refs[i].duration, 1001);
    o += 5'000'000;
  }
  for (int t = 0; t < 2; ++t) {
    const auto& a = refs[6 + t];
    EXPECT_EQ(a.track, "audio" + std::to_string(t + 1));
    EXPECT_EQ(a.offset, o);
    EXPECT_EQ(a.count, 48048u);  // 1001/30000 at 48 kHz, in extended precision
    EXPECT_EQ(a.size, 48048u * 3);
    EXPECT_EQ(a.duration, 1);
    o += 48048 * 3;
  }
  EXPECT_EQ(refs[8].track, "timecode");
  EXPECT_EQ(refs[8].offset, o);
  EXPECT_EQ(refs[8].count, 30u);
  EXPECT_EQ(refs[8].size, 120u);
  o += 120;
  EXPECT_EQ(refs[9].track, "captions");
  EXPECT_EQ(refs[9].count, 30u);
  EXPECT_EQ(refs[9].size, 30u * 81);
  o += 30 * 81;
  // Exactly one group: no tail, and the group is padded to the block.
  EXPECT_EQ(p->plan.end, alignUp(o, 4096));
  const auto& header = p->client.headers[0];
  EXPECT_EQ(header.fileSize, static_cast<int64_t>(kRoom + (*p->plan.end - (kRoom - 16))));
  EXPECT_EQ(header.frameSize, 1'000'000);
}

TEST(SampleLayoutTest, DurationShorterThanAGroupIsATailWithoutOverheadPaddedByAWholeBlock) {
  Value s = proResSettings(0, false);
  s.setObject("firstFrameOverhead", Value::integer(512));
  s.setObject("globalTimecode", Value::boolean(false));
  // 12 frames: chunks of 5, 5, 2; 12 x 1,000,000 + 48 bytes of timecode.
  const auto p = plan(s, CMTimeMake(12 * 1001, 30000), 16);
  ASSERT_EQ(p->client.headers.size(), 1u);
  const auto video = p->plan.of("video");
  ASSERT_EQ(video.size(), 3u);
  EXPECT_EQ(video[0].size, 5'000'000u);  // no first frame overhead in a tail
  EXPECT_EQ(video[2].count, 2u);
  const uint64_t end = kRoom + 12'000'000 + 48;
  ASSERT_EQ(end % 16, 0u);
  EXPECT_EQ(p->plan.end, end + 16);  // already aligned, yet a whole block is added
}

TEST(SampleLayoutTest, ExactGroupsHaveNoTailAndAlignedGroupsNoPadding) {
  Value s = proResSettings(0, false);
  const auto p = plan(s, CMTimeMake(60 * 1001, 30000), 8);
  ASSERT_EQ(p->client.headers.size(), 1u);
  EXPECT_EQ(p->plan.of("video").size(), 12u);
  EXPECT_EQ(p->plan.of("timecode").size(), 2u);
  // 30 MB + 120 bytes per group is a multiple of 8: no padding anywhere.
  EXPECT_EQ(p->plan.end, kRoom + 2 * (30'000'000 + 120));
}

TEST(SampleLayoutTest, FirstFrameOverheadSplitsTheFirstChunk) {
  Value s = proResSettings(0, false);
  s.setObject("firstFrameOverhead", Value::integer(4096));
  const auto p = plan(s, CMTimeMake(30 * 1001, 30000));
  const auto video = p->plan.of("video");
  ASSERT_EQ(video.size(), 7u);
  EXPECT_EQ(video[0].count, 1u);
  EXPECT_EQ(video[0].size, 1'004'096u);
  EXPECT_EQ(video[1].offset, kRoom + 1'004'096);
  EXPECT_EQ(video[1].count, 4u);
  EXPECT_EQ(video[1].size, 4'000'000u);
  EXPECT_EQ(video[2].count, 5u);
}

TEST(SampleLayoutTest, OneFrameFirstChunkStillMakesAReferenceToNoFrames) {
  Value s = proResSettings(0, false);
  s.setObject("maxVideoFrameSize", Value::integer(2'000'000));  // band A: chunks of 1
  s.setObject("firstFrameOverhead", Value::integer(100));
  const auto p = plan(s, CMTimeMake(30 * 1001, 30000));
  const auto video = p->plan.of("video");
  ASSERT_EQ(video.size(), 31u);
  EXPECT_EQ(video[0].count, 1u);
  EXPECT_EQ(video[1].count, 0u);
  EXPECT_EQ(video[1].size, 0u);
  EXPECT_EQ(video[2].offset, kRoom + 2'000'100);
}

TEST(SampleLayoutTest, GlobalTimecodeIsOneSampleJustBeforeTheMedia) {
  Value s = proResSettings(1, false);
  s.setObject("globalTimecode", Value::boolean(true));
  const auto p = plan(s, CMTimeMake(45 * 1001, 30000));
  ASSERT_EQ(p->client.headers.size(), 1u);
  const auto tc = p->plan.of("timecode");
  ASSERT_EQ(tc.size(), 1u);
  EXPECT_EQ(tc[0].offset, 4'194'300u);
  EXPECT_EQ(tc[0].size, 4u);
  EXPECT_EQ(tc[0].duration, 45 * 1001);
  EXPECT_EQ(p->plan.mdatStart, kRoom - 20);
  EXPECT_EQ(p->plan.of("video")[0].offset, kRoom);
}

TEST(SampleLayoutTest, GlobalTimecodeDurationIsConvertedToTheVideoTimeScale) {
  Value s = proResSettings(0, false);
  s.setObject("globalTimecode", Value::boolean(true));
  // One second at time scale 600, into 30000: exactly 30000.
  const auto p = plan(s, CMTime{600, 600, kCMTimeFlags_Valid, 0});
  const auto tc = p->plan.of("timecode");
  ASSERT_EQ(tc.size(), 1u);
  EXPECT_EQ(tc[0].duration, 30000);
}

TEST(SampleLayoutTest, TailAudioIsItsShareOfAGroup) {
  const auto p = plan(proResSettings(1, false), CMTimeMake(40 * 1001, 30000));
  const auto audio = p->plan.of("audio1");
  ASSERT_EQ(audio.size(), 2u);
  EXPECT_EQ(audio[0].count, 48048u);
  EXPECT_EQ(audio[1].count, 48048u * 10 / 30);
}

TEST(SampleLayoutTest, LongGOPAt2997Uses15FrameGOPs) {
  Value s = proResSettings(0, false);
  s.setObject("isLongGOP", Value::boolean(true));
  s.setObject("maxVideoFrameSize", Value::integer(400'000));
  const auto p = plan(s, CMTimeMake(60 * 1001, 30000));
  ASSERT_EQ(p->client.headers.size(), 1u) << p->client.failures.at(0).error;
  const auto video = p->plan.of("video");
  ASSERT_EQ(video.size(), 60u);
  EXPECT_EQ(video[0].offset, 12'582'912u);  // the long-GOP header room at 30 fps
  for (size_t k = 0; k < video.size(); ++k) {
    SCOPED_TRACE(k);
    EXPECT_EQ(video[k].count, 1u);
    EXPECT_EQ(video[k].duration, 1001);
    if (k == 0) {
      EXPECT_EQ(video[k].flags, 0x44000000u);
      EXPECT_EQ(video[k].size, 400'000u);
      EXPECT_EQ(video[k].displayOffset, 2002);
    } else if (k % 15 == 0) {
      EXPECT_EQ(video[k].flags, 0x44010001u);
      EXPECT_EQ(video[k].size, 400'000u);
      EXPECT_EQ(video[k].displayOffset, 2002);
    } else if (k % 3 == 0) {
      EXPECT_EQ(video[k].flags, 0x44000001u);
      EXPECT_EQ(video[k].size, 300'000u);
      EXPECT_EQ(video[k].displayOffset, 2002);
    } else {
      EXPECT_EQ(video[k].flags, 0x08000001u);
      EXPECT_EQ(video[k].size, 200'000u);
      EXPECT_EQ(video[k].displayOffset, -1001);
    }
  }
}

TEST(SampleLayoutTest, LongGOPAtTimeScale25Uses12FrameGOPsAndOtherRatios) {
  Value s = proResSettings(0, false);
  s.setObject("videoFrameDuration", CMTimeCopyAsDictionary(CMTimeMake(1, 25)));
  s.setObject("isLongGOP", Value::boolean(true));
  s.setObject("maxVideoFrameSize", Value::integer(100'001));
  const auto p = plan(s, CMTimeMake(25, 25));
  const auto video = p->plan.of("video");
  ASSERT_EQ(video.size(), 25u);
  EXPECT_EQ(video[0].offset, 10'485'760u);
  EXPECT_EQ(video[12].flags, 0x44010001u);
  EXPECT_EQ(video[3].size, 80'000u);  // 0.8 x 100,001 truncated
  EXPECT_EQ(video[1].size, 55'000u);  // 0.55 x 100,001 truncated
  EXPECT_EQ(video[15].flags, 0x44000001u);
}

TEST(SampleLayoutTest, UnsupportedRateLaysOutEverythingButVideo) {
  Value s = proResSettings(1, true);
  s.setObject("videoFrameDuration", CMTimeCopyAsDictionary(CMTimeMake(1, 48)));
  const auto p = plan(s, CMTimeMake(96, 48));
  ASSERT_EQ(p->client.headers.size(), 1u);
  EXPECT_TRUE(p->plan.of("video").empty());
  EXPECT_EQ(p->plan.of("audio1").size(), 2u);
  EXPECT_EQ(p->plan.of("timecode").size(), 2u);
  EXPECT_EQ(p->plan.of("captions").size(), 2u);
}

TEST(SampleLayoutTest, RateJustAboveAWholeNumberTakesTheRoundedTableAndTheCeilingGroup) {
  Value s = proResSettings(0, false);
  s.setObject("videoFrameDuration", CMTimeCopyAsDictionary(CMTimeMake(1000, 24400)));
  const auto p = plan(s, CMTimeMake(50 * 1000, 24400));
  const auto video = p->plan.of("video");
  uint32_t frames = 0;
  for (const auto& r : video) frames += r.count;
  // Two groups of 25 counted off, each with the 24-frame table: 48 frames in all.
  EXPECT_EQ(frames, 48u);
  EXPECT_EQ(p->plan.of("timecode").size(), 2u);
  EXPECT_EQ(p->plan.of("timecode")[0].count, 25u);
}

TEST(SampleLayoutTest, BlockSizeZeroDoesNotDivideByZero) {
  const auto p = plan(proResSettings(1, true), CMTimeMake(40 * 1001, 30000), 0);
  ASSERT_EQ(p->client.headers.size(), 1u);
}

TEST(SampleLayoutTest, FrameDurationOfZeroLaysOutNoFrames) {
  Value s = proResSettings(0, false);
  s.setObject("videoFrameDuration", CMTimeCopyAsDictionary(CMTimeMake(0, 30000)));
  const auto p = plan(s, CMTimeMake(30000, 30000));
  EXPECT_EQ(p->client.replies(), 1u);
  EXPECT_TRUE(p->plan.of("video").empty());
}

// A toolbox that cancels its creator after a number of sample references.
class CancellingToolbox : public Toolbox {
 public:
  ZPRQuickTimeMovieCreator* creator = nullptr;
  int cancelAfter = 0;
  int references = 0;
  OSErr AddMediaSampleReferences64(Media& media, const SampleDescriptionHandle& d, uint32_t n,
                                   const SampleReference64Record* refs, TimeValue64* t) override {
    if (++references == cancelAfter) creator->cancel();
    return Toolbox::AddMediaSampleReferences64(media, d, n, refs, t);
  }
};

TEST(SampleLayoutTest, CancelStopsTheLayoutAtTheNextGroupAndNothingIsSent) {
  CancellingToolbox toolbox;
  RecordingClient client;
  RecordingObserver observer;
  ZPRQuickTimeMovieCreator creator(toolbox);
  toolbox.creator = &creator;
  toolbox.cancelAfter = 3;
  creator.setXPCConnection(&client);
  creator.setSampleLayoutObserver(&observer);
  creator.writeQuickTimeHeaderAtPath("/tmp/x.mov", true, 4096, Value(),
                                     CMTimeMake(300 * 1001, 30000), proResSettings(1, false));
  EXPECT_EQ(client.replies(), 0u);
  // The first group is finished, then the layout stops: 6 video + 1 audio + 1 timecode.
  EXPECT_EQ(observer.references.size(), 8u);
}

// Frame durations that give no interleave group lay nothing out, not even a tail, and the
// request still gets its one reply.
TEST(SampleLayoutTest, FrameDurationsWithoutAGroupLayOutNothing) {
  for (const CMTime& frameDuration :
       {CMTimeMake(-1001, 30000), CMTimeMake(1, 2'000'000'000), CMTimeMake(0, 30000)}) {
    Value s = proResSettings(2);
    s.setObject("videoFrameDuration", CMTimeCopyAsDictionary(frameDuration));
    const auto p = plan(s, CMTimeMake(3600 * 30000, 30000));
    EXPECT_EQ(p->client.replies(), 1u) << frameDuration.value << "/" << frameDuration.timescale;
    EXPECT_TRUE(p->plan.references.empty());
    EXPECT_EQ(p->plan.end, kRoom);
  }
}

TEST(SampleLayoutTest, TheSmallestDurationOverAFrameDurationOfMinusOneDoesNotTrap) {
  Value s = proResSettings(2);
  s.setObject("videoFrameDuration", CMTimeCopyAsDictionary(CMTimeMake(-1, 30000)));
  const auto p = plan(s, CMTimeMake(std::numeric_limits<int64_t>::min(), 30000));
  EXPECT_EQ(p->client.replies(), 1u);
  EXPECT_TRUE(p->plan.references.empty());
}

// Settings whose groups reference no sample: no chunk table at one frame a second, audio at
// 1 Hz (no whole sample a group), a global timecode, no captions.
Value emptyGroupSettings() {
  Value s = testing::typicalSettings(FourCC("apch"), CMTimeMake(1, 1), 16, false);
  Value asbds = Value::array();
  for (int i = 0; i < 16; ++i) {
    asbds.append(Value::data(hostBytesOf(testing::pcmDescription(1, 1, 24))));
  }
  s.setObject("asbds", asbds);
  s.setObject("globalTimecode", Value::boolean(true));
  return s;
}

// 2^31 - 1 such groups would be laid out one by one; after the first, the rest are known to be
// empty too and are skipped.
TEST(SampleLayoutTest, GroupsThatReferenceNothingAreSkippedAfterTheFirst) {
  const int64_t groups = (int64_t{1} << 31) - 1;
  const auto p = plan(emptyGroupSettings(), CMTimeMake(groups, 1));
  ASSERT_EQ(p->client.headers.size(), 1u) << p->client.failures.at(0).error;
  // The global timecode sample, then one group's 16 empty audio references.
  EXPECT_EQ(p->plan.references.size(), 17u);
  EXPECT_EQ(p->plan.of("timecode").at(0).duration, groups);
  EXPECT_EQ(p->plan.end, kRoom);
}

// The same with a tail: the skipped groups leave the tail where the full layout puts it.
TEST(SampleLayoutTest, SkippedEmptyGroupsLeaveTheTailInPlace) {
  Value s = emptyGroupSettings();
  s.setObject("videoFrameDuration", CMTimeCopyAsDictionary(CMTimeMake(100, 300)));  // G = 3
  const auto p = plan(s, CMTimeMake(3000 * 100 + 2 * 100, 300), 4096);
  ASSERT_EQ(p->client.headers.size(), 1u) << p->client.failures.at(0).error;
  EXPECT_EQ(p->plan.references.size(), 1u + 16 + 16);  // timecode, first group, tail
  // The tail (no samples either) is padded by a whole block, as every tail is.
  EXPECT_EQ(p->plan.end, kRoom + 4096);
}

// 24 hours of long-GOP 59.94 cannot fit its 24 MiB room: refused as soon as the sample tables
// outgrow it, after about as many frames as the room holds, not after all 5.2 million.
TEST(SampleLayoutTest, ARecordingThatCannotFitIsRefusedAsSoonAsThatIsKnown) {
  Value s = testing::typicalSettings(FourCC("xd5c"), CMTimeMake(1001, 60000), 2, true);
  s.setObject("maxVideoFrameSize", Value::integer(1'000'000));
  s.setObject("isLongGOP", Value::boolean(true));
  const auto p = plan(s, CMTimeMake(int64_t{24} * 3600 * 60000, 1001), 4096);
  ASSERT_EQ(p->client.failures.size(), 1u);
  const std::string& error = p->client.failures[0].error;
  EXPECT_EQ(error.rfind("Movie is too long, please record a shorter duration(", 0), 0u) << error;
  const uint32_t room = p->plan.headerRoom;
  EXPECT_EQ(room, 25'165'824u);
  // A long-GOP frame takes at least 9 header bytes (size, chunk offset, dependency byte).
  const size_t frames = p->plan.of("video").size();
  EXPECT_LT(frames, room / 9 + 60);
  EXPECT_GT(frames, room / 20);
  // The figure reported is what the sample tables had reached: more than the room holds.
  const long reported = std::stol(error.substr(error.find('(') + 1));
  EXPECT_GT(reported, static_cast<long>(p->plan.mdatStart));
}

// One global timecode sample of 10 hours at 59.94 lasts 2,160,000,000 units of 1/60000, past
// 2^31: a 'stts' delta holds it, so the recording, which fits the 4 MiB room, is not refused.
TEST(SampleLayoutTest, TenHoursAt5994WithAGlobalTimecodeFit) {
  Value s = testing::typicalSettings(FourCC("apch"), CMTimeMake(1001, 60000), 2, true);
  s.setObject("maxVideoFrameSize", Value::integer(100'000));  // four chunks a group
  s.setObject("globalTimecode", Value::boolean(true));
  const auto p = plan(s, CMTimeMake(int64_t{10} * 3600 * 60000, 60000));
  ASSERT_EQ(p->client.headers.size(), 1u) << p->client.failures.at(0).error;
  ASSERT_FALSE(p->plan.of("timecode").empty());
  EXPECT_EQ(p->plan.of("timecode")[0].duration, 2'160'000'000);
}

}  // namespace
}  // namespace premoov
