#include "movie/toolbox.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "base/log.h"
#include "movie/atom_tree.h"

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr FourCC kTrackReferenceTimecode("tmcd");
constexpr FourCC kTrackReferenceChapter("chap");

DataReference placeholder() { return DataReference{HandleDataHandlerSubType, {}, {0, 0, 0, 0}}; }

DataReference fileReference(std::string path = "/recordings/growing.mov") {
  return DataReference{AliasDataHandlerSubType, std::move(path), {}};
}

SampleDescriptionHandle makeDescription(FourCC format, Bytes body = {}) {
  return std::make_shared<SampleDescription>(SampleDescription{format, 1, std::move(body)});
}

SampleReference64Record reference(uint64_t offset, uint32_t dataSize, uint32_t duration,
                                  uint32_t count, uint16_t flags = 0) {
  return SampleReference64Record{offset, dataSize, duration, count, flags};
}

// A movie made through the toolbox, with helpers for its tracks and media as the header writer
// makes them: every medium starts on a memory placeholder.
class ToolboxTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(toolbox_.NewMovie(0, &movie_), noErr); }

  Track& newTrack() {
    Track* track = nullptr;
    EXPECT_EQ(toolbox_.NewMovieTrack(*movie_, 0, 0, 0, &track), noErr);
    return *track;
  }

  Media& newMedia(Track& track, OSType type, TimeScale timescale) {
    Media* media = nullptr;
    EXPECT_EQ(toolbox_.NewTrackMedia(track, type, timescale, placeholder(),
                                     HandleDataHandlerSubType, &media),
              noErr);
    return *media;
  }

  Media& newMedia(OSType type, TimeScale timescale) {
    return newMedia(newTrack(), type, timescale);
  }

  // `count` samples of `size` bytes lasting `duration` each, at `offset`.
  void addSamples(Media& media, const SampleDescriptionHandle& description, uint64_t offset,
                  uint32_t size, uint32_t duration, uint32_t count) {
    const auto ref = reference(offset, size * count, duration, count);
    ASSERT_EQ(toolbox_.AddMediaSampleReferences64(media, description, 1, &ref, nullptr), noErr);
  }

  Toolbox toolbox_;
  std::unique_ptr<Movie> movie_;
};

TEST_F(ToolboxTest, NewMovieHasNoTracksAndTakesItsTimeScale) {
  EXPECT_TRUE(movie_->tracks.empty());
  toolbox_.SetMovieTimeScale(*movie_, 30000);
  EXPECT_EQ(movie_->timescale, 30000);
  toolbox_.DisposeMovie(movie_);
  EXPECT_EQ(movie_, nullptr);
}

TEST_F(ToolboxTest, TrackIDsFollowCreationOrderAndPointBackToTheMovie) {
  Track* first = nullptr;
  Track* second = nullptr;
  Track* third = nullptr;
  ASSERT_EQ(toolbox_.NewMovieTrack(*movie_, IntToFixed(1920), IntToFixed(1080), 0, &first), noErr);
  ASSERT_EQ(toolbox_.NewMovieTrack(*movie_, 0, 0, kShortFixed1, &second), noErr);
  ASSERT_EQ(toolbox_.NewMovieTrack(*movie_, 0, 0, 0, &third), noErr);
  EXPECT_EQ(first->trackID, 1u);
  EXPECT_EQ(second->trackID, 2u);
  EXPECT_EQ(third->trackID, 3u);
  for (const Track* track : {first, second, third}) EXPECT_EQ(track->movie, movie_.get());
  ASSERT_EQ(movie_->tracks.size(), 3u);
  EXPECT_EQ(movie_->tracks[0].get(), first);
  EXPECT_EQ(movie_->tracks[2].get(), third);
  EXPECT_EQ(first->width, IntToFixed(1920));
  EXPECT_EQ(first->height, IntToFixed(1080));
  EXPECT_EQ(second->volume, kShortFixed1);
  EXPECT_EQ(first->media, nullptr);
}

TEST_F(ToolboxTest, NewTrackMediaTakesTypeAndTimeScale) {
  Track& track = newTrack();
  Media& media = newMedia(track, SoundMediaType, 48000);
  EXPECT_EQ(track.media.get(), &media);
  EXPECT_EQ(media.type, SoundMediaType);
  EXPECT_EQ(media.timescale, 48000);
  EXPECT_TRUE(media.runs.empty());
  EXPECT_TRUE(media.descriptions.empty());
  EXPECT_EQ(toolbox_.GetMediaDuration(media), 0);
}

TEST_F(ToolboxTest, NewTrackMediaRefusesANonPositiveTimeScale) {
  Track& track = newTrack();
  Media* media = nullptr;
  for (TimeScale timescale : {0, -1, std::numeric_limits<TimeScale>::min()}) {
    EXPECT_EQ(toolbox_.NewTrackMedia(track, VideoMediaType, timescale, placeholder(),
                                     HandleDataHandlerSubType, &media),
              paramErr)
        << timescale;
  }
  EXPECT_EQ(media, nullptr);
  EXPECT_EQ(track.media, nullptr);
}

TEST_F(ToolboxTest, NewTrackMediaRefusesASecondMedia) {
  Track& track = newTrack();
  Media& first = newMedia(track, VideoMediaType, 30000);
  Media* second = nullptr;
  EXPECT_EQ(toolbox_.NewTrackMedia(track, SoundMediaType, 48000, placeholder(),
                                   HandleDataHandlerSubType, &second),
            paramErr);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(track.media.get(), &first);
  EXPECT_EQ(first.type, VideoMediaType);
}

TEST_F(ToolboxTest, ThePlaceholderIsDataReferenceOneAndTheFileIsTwo) {
  Media& media = newMedia(VideoMediaType, 30000);
  ASSERT_EQ(media.dataReferences.size(), 1u);
  EXPECT_EQ(media.dataReferences[0].reference, placeholder());
  EXPECT_EQ(media.dataReferences[0].attributes, 0);

  DataReference file;
  ASSERT_EQ(
      toolbox_.QTNewDataReferenceFromFullPathCFString("/recordings/growing.mov", -1, 0, &file),
      noErr);
  EXPECT_EQ(file, fileReference());
  int16_t index = 0;
  ASSERT_EQ(toolbox_.AddMediaDataRef(media, &index, file, AliasDataHandlerSubType), noErr);
  EXPECT_EQ(index, 2);
  ASSERT_EQ(media.dataReferences.size(), 2u);
  EXPECT_EQ(media.dataReferences[0].reference, placeholder());
  EXPECT_EQ(media.dataReferences[1].reference, fileReference());
}

TEST_F(ToolboxTest, ADataReferenceTakesTheTypeItIsAddedAs) {
  Media& media = newMedia(VideoMediaType, 30000);
  DataReference untyped{FourCC(), "/recordings/growing.mov", {}};
  int16_t index = 0;
  ASSERT_EQ(toolbox_.AddMediaDataRef(media, &index, untyped, AliasDataHandlerSubType), noErr);
  EXPECT_EQ(media.dataReferences[1].reference.type, AliasDataHandlerSubType);
}

TEST_F(ToolboxTest, ADataReferenceNeedsAFullPath) {
  DataReference file = placeholder();
  EXPECT_EQ(toolbox_.QTNewDataReferenceFromFullPathCFString("", -1, 0, &file), paramErr);
  EXPECT_EQ(toolbox_.QTNewDataReferenceFromFullPathCFString("growing.mov", -1, 0, &file), paramErr);
  EXPECT_EQ(file, placeholder());
}

TEST_F(ToolboxTest, SetMediaDataRefReplacesIndexOne) {
  Media& media = newMedia(SoundMediaType, 48000);
  ASSERT_EQ(toolbox_.SetMediaDataRef(media, 1, fileReference(), AliasDataHandlerSubType), noErr);
  ASSERT_EQ(media.dataReferences.size(), 1u);
  EXPECT_EQ(media.dataReferences[0].reference, fileReference());
}

TEST_F(ToolboxTest, SetMediaDataRefRefusesAnIndexOutsideTheList) {
  Media& media = newMedia(SoundMediaType, 48000);
  for (int16_t index : {int16_t{0}, int16_t{-1}, int16_t{2}, int16_t{32767}}) {
    EXPECT_EQ(toolbox_.SetMediaDataRef(media, index, fileReference(), AliasDataHandlerSubType),
              badDataRefIndex)
        << index;
  }
  ASSERT_EQ(media.dataReferences.size(), 1u);
  EXPECT_EQ(media.dataReferences[0].reference, placeholder());
}

TEST_F(ToolboxTest, SetMediaDataRefAttributesStoresThem) {
  Media& media = newMedia(VideoMediaType, 30000);
  int16_t index = 0;
  ASSERT_EQ(toolbox_.AddMediaDataRef(media, &index, fileReference(), AliasDataHandlerSubType),
            noErr);
  ASSERT_EQ(toolbox_.SetMediaDataRefAttributes(media, index, 1), noErr);
  EXPECT_EQ(media.dataReferences[0].attributes, 0);
  EXPECT_EQ(media.dataReferences[1].attributes, 1);
  ASSERT_EQ(toolbox_.SetMediaDataRefAttributes(media, 1, 0x30), noErr);
  EXPECT_EQ(media.dataReferences[0].attributes, 0x30);
  EXPECT_EQ(toolbox_.SetMediaDataRefAttributes(media, 0, 1), badDataRefIndex);
  EXPECT_EQ(toolbox_.SetMediaDataRefAttributes(media, 3, 1), badDataRefIndex);
}

TEST_F(ToolboxTest, SetMediaPreferredChunkSizeStoresIt) {
  Media& media = newMedia(VideoMediaType, 30000);
  toolbox_.SetMediaPreferredChunkSize(media, 10'485'760);
  EXPECT_EQ(media.preferredChunkSize, 10'485'760);
}

TEST_F(ToolboxTest, SampleReferencesBecomeRuns) {
  Media& media = newMedia(SoundMediaType, 48000);
  const auto description = makeDescription(FourCC("lpcm"));
  const SampleReference64Record refs[] = {
      reference(0x1'0000'0000, 6 * 1601, 1, 1601, 0),
      reference(0x1'0000'5000, 6 * 1602, 1, 1602, mediaSampleNotSync),
  };
  ASSERT_EQ(toolbox_.AddMediaSampleReferences64(media, description, 2, refs, nullptr), noErr);
  ASSERT_EQ(media.runs.size(), 2u);
  EXPECT_EQ(media.runs[0].offset, 0x1'0000'0000u);
  EXPECT_EQ(media.runs[0].sampleSize, 6u);
  EXPECT_EQ(media.runs[0].count, 1601u);
  EXPECT_EQ(media.runs[0].decodeDuration, 1);
  EXPECT_EQ(media.runs[0].displayOffset, 0);
  EXPECT_EQ(media.runs[0].flags, 0u);
  EXPECT_EQ(media.runs[0].descriptionIndex, 1u);
  EXPECT_EQ(media.runs[1].offset, 0x1'0000'5000u);
  EXPECT_EQ(media.runs[1].count, 1602u);
  EXPECT_EQ(media.runs[1].flags, uint32_t{mediaSampleNotSync});
  EXPECT_EQ(toolbox_.GetMediaDuration(media), 3203);
  EXPECT_EQ(media.sampleCount(), 3203u);
}

TEST_F(ToolboxTest, AReferenceToNoSamplesRecordsNothing) {
  Media& media = newMedia(SoundMediaType, 48000);
  const auto description = makeDescription(FourCC("lpcm"));
  const auto empty = reference(4096, 0, 1, 0);
  TimeValue64 sampleTime = -1;
  EXPECT_EQ(toolbox_.AddMediaSampleReferences64(media, description, 1, &empty, &sampleTime), noErr);
  EXPECT_EQ(sampleTime, 0);
  EXPECT_TRUE(media.runs.empty());
  EXPECT_TRUE(media.descriptions.empty());
  EXPECT_EQ(toolbox_.AddMediaSampleReferences64(media, description, 0, nullptr, nullptr), noErr);
  EXPECT_TRUE(media.runs.empty());
}

TEST_F(ToolboxTest, ADataSizeNotDividedByTheCountIsRefused) {
  Media& media = newMedia(SoundMediaType, 48000);
  const auto description = makeDescription(FourCC("lpcm"));
  const auto uneven = reference(4096, 6 * 1601 + 1, 1, 1601);
  EXPECT_EQ(toolbox_.AddMediaSampleReferences64(media, description, 1, &uneven, nullptr), paramErr);
  EXPECT_TRUE(media.runs.empty());
}

TEST_F(ToolboxTest, AFailedSampleReferenceCallRecordsNothing) {
  Media& media = newMedia(SoundMediaType, 48000);
  const auto description = makeDescription(FourCC("lpcm"));
  const SampleReference64Record refs[] = {
      reference(4096, 6 * 1601, 1, 1601),
      reference(4096 + 6 * 1601, 7, 1, 2),  // 7 bytes for 2 samples
  };
  EXPECT_EQ(toolbox_.AddMediaSampleReferences64(media, description, 2, refs, nullptr), paramErr);
  EXPECT_TRUE(media.runs.empty());
  EXPECT_TRUE(media.descriptions.empty());
}

TEST_F(ToolboxTest, SampleReferencesNeedADescriptionAndRecords) {
  Media& media = newMedia(SoundMediaType, 48000);
  const auto ref = reference(4096, 6, 1, 1);
  EXPECT_EQ(toolbox_.AddMediaSampleReferences64(media, nullptr, 1, &ref, nullptr), paramErr);
  EXPECT_EQ(toolbox_.AddMediaSampleReferences64(media, makeDescription(FourCC("lpcm")), 1, nullptr,
                                                nullptr),
            paramErr);
  const auto uneven = reference(4096, 7, 1, 2);  // 7 bytes do not split into 2 equal samples
  EXPECT_EQ(toolbox_.AddMediaSampleReferences64(media, makeDescription(FourCC("lpcm")), 1, &uneven,
                                                nullptr),
            paramErr);
  EXPECT_TRUE(media.runs.empty());
}

// A 'stts' delta is unsigned 32-bit: one timecode sample of 10 hours at 59.94 (2,160,000,000
// units of 1/60000) is a sample like any other.
TEST_F(ToolboxTest, ASampleMayLastMoreThan2To31Units) {
  Media& media = newMedia(TimeCodeMediaType, 60000);
  const auto ref = reference(4'194'300, 4, 2'160'000'000u, 1);
  ASSERT_EQ(
      toolbox_.AddMediaSampleReferences64(media, makeDescription(FourCC("tmcd")), 1, &ref, nullptr),
      noErr);
  EXPECT_EQ(media.runs[0].decodeDuration, 2'160'000'000u);
  EXPECT_EQ(toolbox_.GetMediaDuration(media), 2'160'000'000);
}

TEST_F(ToolboxTest, DescriptionsAreNumberedByFirstUseAndReusedByIdentity) {
  Media& media = newMedia(VideoMediaType, 30000);
  const auto first = makeDescription(FourCC("apcn"), {1});
  const auto second = makeDescription(FourCC("apch"), {2});
  const auto sameBytesAsFirst = makeDescription(FourCC("apcn"), {1});
  addSamples(media, second, 0, 100, 1001, 1);
  addSamples(media, first, 100, 100, 1001, 1);
  addSamples(media, second, 200, 100, 1001, 1);
  addSamples(media, sameBytesAsFirst, 300, 100, 1001, 1);
  addSamples(media, first, 400, 100, 1001, 1);
  ASSERT_EQ(media.descriptions.size(), 3u);
  EXPECT_EQ(media.descriptions[0], second);
  EXPECT_EQ(media.descriptions[1], first);
  EXPECT_EQ(media.descriptions[2], sameBytesAsFirst);
  std::vector<uint32_t> indexes;
  for (const SampleRun& run : media.runs) indexes.push_back(run.descriptionIndex);
  EXPECT_EQ(indexes, (std::vector<uint32_t>{1, 2, 1, 3, 2}));
}

TEST_F(ToolboxTest, TheSampleTimeIsTheMediaDurationBeforeTheCall) {
  Media& media = newMedia(SoundMediaType, 48000);
  const auto description = makeDescription(FourCC("lpcm"));
  const auto first = reference(0, 6 * 1601, 1, 1601);
  const auto second = reference(6 * 1601, 6 * 2 * 1602, 2, 1602);
  TimeValue64 sampleTime = -1;
  ASSERT_EQ(toolbox_.AddMediaSampleReferences64(media, description, 1, &first, &sampleTime), noErr);
  EXPECT_EQ(sampleTime, 0);
  ASSERT_EQ(toolbox_.AddMediaSampleReferences64(media, description, 1, &second, &sampleTime),
            noErr);
  EXPECT_EQ(sampleTime, 1601);
  EXPECT_EQ(toolbox_.GetMediaDuration(media), 1601 + 2 * 1602);
}

TEST_F(ToolboxTest, ASampleTableNeedsAPositiveTimeScale) {
  std::unique_ptr<SampleTable> table;
  EXPECT_EQ(toolbox_.QTSampleTableCreateMutable(0, &table), paramErr);
  EXPECT_EQ(toolbox_.QTSampleTableCreateMutable(-30000, &table), paramErr);
  EXPECT_EQ(table, nullptr);
  ASSERT_EQ(toolbox_.QTSampleTableCreateMutable(30000, &table), noErr);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->timescale, 30000);
  EXPECT_EQ(toolbox_.QTSampleTableGetNumberOfSamples(*table), 0);
  toolbox_.QTSampleTableRelease(table);
  EXPECT_EQ(table, nullptr);
}

// A long-GOP table: descriptions 1 and 2, an I frame of 500 000 bytes at 1000, then three frames
// of 100 000 bytes at 600 000 with display offsets, then two of 200 at 2 000 000 (description 2).
class SampleTableTest : public ToolboxTest {
 protected:
  void SetUp() override {
    ToolboxTest::SetUp();
    ASSERT_EQ(toolbox_.QTSampleTableCreateMutable(30000, &table_), noErr);
    ASSERT_EQ(toolbox_.QTSampleTableAddSampleDescription(*table_, first_, 0, &firstID_), noErr);
    ASSERT_EQ(toolbox_.QTSampleTableAddSampleDescription(*table_, second_, 0, &secondID_), noErr);
    add(1000, 500'000, 0, 1, mediaSampleDoesNotDependOnOthers, firstID_);
    add(600'000, 100'000, 2002, 3, mediaSampleNotSync | mediaSampleDependsOnOthers, firstID_);
    add(2'000'000, 200, -1001, 2, mediaSampleNotSync | mediaSampleEarlierDisplayTimesAllowed,
        secondID_);
  }

  int64_t add(int64_t offset, uint32_t size, TimeValue64 displayOffset, int64_t count,
              uint32_t flags, int64_t id) {
    int64_t newSampleNum = -1;
    EXPECT_EQ(toolbox_.QTSampleTableAddSampleReferences(*table_, offset, size, 1001, displayOffset,
                                                        count, flags, id, &newSampleNum),
              noErr);
    return newSampleNum;
  }

  const SampleDescriptionHandle first_ = makeDescription(FourCC("xdvc"), {1});
  const SampleDescriptionHandle second_ = makeDescription(FourCC("xd5c"), {2});
  int64_t firstID_ = 0;
  int64_t secondID_ = 0;
  std::unique_ptr<SampleTable> table_;
};

TEST_F(SampleTableTest, DescriptionIDsCountFromOne) {
  EXPECT_EQ(firstID_, 1);
  EXPECT_EQ(secondID_, 2);
  int64_t id = 0;
  EXPECT_EQ(toolbox_.QTSampleTableAddSampleDescription(*table_, nullptr, 0, &id), paramErr);
  EXPECT_EQ(id, 0);
}

TEST_F(SampleTableTest, TheSizeIsThatOfEachSample) {
  EXPECT_EQ(toolbox_.QTSampleTableGetNumberOfSamples(*table_), 6);
  ASSERT_EQ(table_->runs.size(), 3u);
  const SampleRun& run = table_->runs[1];
  EXPECT_EQ(run.offset, 600'000u);
  EXPECT_EQ(run.sampleSize, 100'000u);
  EXPECT_EQ(run.count, 3u);
  EXPECT_EQ(run.decodeDuration, 1001);
  EXPECT_EQ(run.descriptionIndex, 1u);
}

TEST_F(SampleTableTest, KeepsDisplayOffsetsAndFlagsBeyondSixteenBits) {
  EXPECT_EQ(table_->runs[0].flags, uint32_t{mediaSampleDoesNotDependOnOthers});
  EXPECT_EQ(table_->runs[1].displayOffset, 2002);
  EXPECT_EQ(table_->runs[1].flags, uint32_t{mediaSampleNotSync | mediaSampleDependsOnOthers});
  EXPECT_EQ(table_->runs[2].displayOffset, -1001);
  EXPECT_EQ(table_->runs[2].flags,
            uint32_t{mediaSampleNotSync | mediaSampleEarlierDisplayTimesAllowed});
  EXPECT_EQ(table_->runs[2].descriptionIndex, 2u);
}

TEST_F(SampleTableTest, AnswersTheNumberOfTheFirstNewSample) {
  EXPECT_EQ(add(3'000'000, 300, 0, 4, 0, firstID_), 7);
  EXPECT_EQ(add(4'000'000, 300, 0, 0, 0, firstID_), 11);
  EXPECT_EQ(toolbox_.QTSampleTableGetNumberOfSamples(*table_), 10);
  EXPECT_EQ(table_->runs.size(), 4u);  // the empty reference records nothing
}

TEST_F(SampleTableTest, RefusesBadReferences) {
  int64_t n = 0;
  EXPECT_EQ(toolbox_.QTSampleTableAddSampleReferences(*table_, 0, 100, 1001, 0, 1, 0, 0, &n),
            paramErr);
  EXPECT_EQ(toolbox_.QTSampleTableAddSampleReferences(*table_, 0, 100, 1001, 0, 1, 0, 3, &n),
            paramErr);
  EXPECT_EQ(toolbox_.QTSampleTableAddSampleReferences(*table_, -1, 100, 1001, 0, 1, 0, 1, &n),
            paramErr);
  EXPECT_EQ(toolbox_.QTSampleTableAddSampleReferences(*table_, 0, 100, 1001, 0, -1, 0, 1, &n),
            paramErr);
  EXPECT_EQ(toolbox_.QTSampleTableAddSampleReferences(*table_, 0, 100, -1, 0, 1, 0, 1, &n),
            paramErr);
  EXPECT_EQ(toolbox_.QTSampleTableGetNumberOfSamples(*table_), 6);
}

TEST_F(SampleTableTest, AddingTheWholeTableMovesEveryRun) {
  Media& media = newMedia(VideoMediaType, 30000);
  const SampleRuns before = table_->runs;
  TimeValue64 sampleTime = -1;
  ASSERT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 1, 6, &sampleTime), noErr);
  EXPECT_EQ(sampleTime, 0);
  // Moved, not copied: the samples are never held twice.
  EXPECT_TRUE(table_->runs.empty());
  EXPECT_EQ(toolbox_.QTSampleTableGetNumberOfSamples(*table_), 0);
  ASSERT_EQ(media.runs.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    const SampleRun got = media.runs[i];
    const SampleRun want = before[i];
    EXPECT_EQ(got.offset, want.offset) << i;
    EXPECT_EQ(got.sampleSize, want.sampleSize) << i;
    EXPECT_EQ(got.count, want.count) << i;
    EXPECT_EQ(got.decodeDuration, want.decodeDuration) << i;
    EXPECT_EQ(got.displayOffset, want.displayOffset) << i;
    EXPECT_EQ(got.flags, want.flags) << i;
  }
  ASSERT_EQ(media.descriptions.size(), 2u);
  EXPECT_EQ(media.descriptions[0], first_);
  EXPECT_EQ(media.descriptions[1], second_);
  EXPECT_EQ(toolbox_.GetMediaDuration(media), 6 * 1001);
}

TEST_F(SampleTableTest, AddingASubRangeCopiesExactlyThoseSamples) {
  Media& media = newMedia(VideoMediaType, 30000);
  // Samples 3 to 5: the last two P frames of the second run and the first frame of the third.
  ASSERT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 3, 3, nullptr), noErr);
  ASSERT_EQ(media.runs.size(), 2u);
  EXPECT_EQ(media.runs[0].offset, 600'000u + 100'000u);
  EXPECT_EQ(media.runs[0].sampleSize, 100'000u);
  EXPECT_EQ(media.runs[0].count, 2u);
  EXPECT_EQ(media.runs[0].displayOffset, 2002);
  EXPECT_EQ(media.runs[0].flags, uint32_t{mediaSampleNotSync | mediaSampleDependsOnOthers});
  EXPECT_EQ(media.runs[0].descriptionIndex, 1u);
  EXPECT_EQ(media.runs[1].offset, 2'000'000u);
  EXPECT_EQ(media.runs[1].sampleSize, 200u);
  EXPECT_EQ(media.runs[1].count, 1u);
  EXPECT_EQ(media.runs[1].displayOffset, -1001);
  EXPECT_EQ(media.runs[1].descriptionIndex, 2u);
  EXPECT_EQ(media.sampleCount(), 3u);
  ASSERT_EQ(media.descriptions.size(), 2u);
  EXPECT_EQ(media.descriptions[0], first_);
}

TEST_F(SampleTableTest, AddingASubRangeInsideOneRunStartsAtItsSample) {
  Media& media = newMedia(VideoMediaType, 30000);
  ASSERT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 6, 1, nullptr), noErr);
  ASSERT_EQ(media.runs.size(), 1u);
  EXPECT_EQ(media.runs[0].offset, 2'000'200u);
  EXPECT_EQ(media.runs[0].count, 1u);
  // Only the description the range uses is added.
  ASSERT_EQ(media.descriptions.size(), 1u);
  EXPECT_EQ(media.descriptions[0], second_);
  EXPECT_EQ(media.runs[0].descriptionIndex, 1u);
}

TEST_F(SampleTableTest, AddingTwiceAppendsAndAnswersTheEarlierDuration) {
  Media& media = newMedia(VideoMediaType, 30000);
  ASSERT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 1, 2, nullptr), noErr);
  TimeValue64 sampleTime = -1;
  ASSERT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 3, 4, &sampleTime), noErr);
  EXPECT_EQ(sampleTime, 2 * 1001);
  EXPECT_EQ(media.sampleCount(), 6u);
  EXPECT_EQ(media.descriptions.size(), 2u);
}

TEST_F(SampleTableTest, ATimeScaleMismatchIsAnInvalidSampleTable) {
  Media& media = newMedia(VideoMediaType, 60000);
  EXPECT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 1, 6, nullptr), invalidSampleTable);
  EXPECT_TRUE(media.runs.empty());
}

TEST_F(SampleTableTest, ARangeOutsideTheTableIsRefused) {
  Media& media = newMedia(VideoMediaType, 30000);
  EXPECT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 2, 6, nullptr), paramErr);
  EXPECT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 7, 1, nullptr), paramErr);
  EXPECT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 0, 1, nullptr), paramErr);
  EXPECT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 1, -1, nullptr), paramErr);
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  EXPECT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 2, kMax, nullptr), paramErr);
  EXPECT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, kMax, kMax, nullptr), paramErr);
  EXPECT_TRUE(media.runs.empty());
}

TEST_F(SampleTableTest, AnEmptyRangeAddsNothing) {
  Media& media = newMedia(VideoMediaType, 30000);
  EXPECT_EQ(toolbox_.AddSampleTableToMedia(media, *table_, 7, 0, nullptr), noErr);
  EXPECT_TRUE(media.runs.empty());
  EXPECT_TRUE(media.descriptions.empty());
}

// A track holding `count` samples lasting `duration` each of a media of `timescale`.
class InsertMediaTest : public ToolboxTest {
 protected:
  Track& trackWith(OSType type, TimeScale timescale, uint32_t count, TimeValue duration) {
    Track& track = newTrack();
    Media& media = newMedia(track, type, timescale);
    addSamples(media, makeDescription(FourCC("lpcm")), 4096, 4, duration, count);
    return track;
  }
};

TEST_F(InsertMediaTest, ConvertsTheDurationIntoTheMovieTimeScale) {
  toolbox_.SetMovieTimeScale(*movie_, 30000);
  Track& track = trackWith(SoundMediaType, 48000, 48048, 1);
  ASSERT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 48048, kFixed1), noErr);
  ASSERT_EQ(track.edits.size(), 1u);
  EXPECT_EQ(track.edits[0].trackDuration, 30030);  // 1.001 s exactly
  EXPECT_EQ(track.edits[0].mediaTime, 0);
  EXPECT_EQ(track.edits[0].rate, kFixed1);
  EXPECT_EQ(track.duration(), 30030);
  EXPECT_EQ(movie_->duration(), 30030);
}

TEST_F(InsertMediaTest, RoundsTowardZeroIntoACoarserTimeScale) {
  toolbox_.SetMovieTimeScale(*movie_, 600);
  // 1601 samples at 48000 are 20.01 units of 600.
  Track& track = trackWith(SoundMediaType, 48000, 1601, 1);
  ASSERT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 1601, kFixed1), noErr);
  ASSERT_EQ(track.edits.size(), 1u);
  EXPECT_EQ(track.edits[0].trackDuration, 20);
}

TEST_F(InsertMediaTest, RoundsAwayFromZeroIntoAFinerTimeScale) {
  toolbox_.SetMovieTimeScale(*movie_, 30000);
  // 1 unit of 29 is 1034.48... units of 30000.
  Track& track = trackWith(VideoMediaType, 29, 1, 1);
  ASSERT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 1, kFixed1), noErr);
  ASSERT_EQ(track.edits.size(), 1u);
  EXPECT_EQ(track.edits[0].trackDuration, 1035);
}

// One sample at 48000 lasts less than one unit of 600: an edit of no duration would select no
// media while saying the track is there, so nothing is inserted, as for an empty range.
TEST_F(InsertMediaTest, MediaShorterThanOneMovieUnitInsertsNoEdit) {
  toolbox_.SetMovieTimeScale(*movie_, 600);
  Track& track = trackWith(SoundMediaType, 48000, 1, 1);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 1, kFixed1), noErr);
  EXPECT_TRUE(track.edits.empty());
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 300, 0, 1, kFixed1), noErr);
  EXPECT_TRUE(track.edits.empty());
}

TEST_F(InsertMediaTest, AnEmptyRangeInsertsNothing) {
  Track& track = trackWith(VideoMediaType, 600, 10, 20);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 0, kFixed1), noErr);
  EXPECT_TRUE(track.edits.empty());
}

TEST_F(InsertMediaTest, RefusesARangeBeyondTheMedia) {
  Track& track = trackWith(VideoMediaType, 600, 10, 20);  // 200 units
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 201, kFixed1), paramErr);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 20, 181, kFixed1), paramErr);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 201, 0, kFixed1), paramErr);
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, kMax, kMax, kFixed1), paramErr);
  EXPECT_TRUE(track.edits.empty());
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 20, 180, kFixed1), noErr);
  ASSERT_EQ(track.edits.size(), 1u);
  EXPECT_EQ(track.edits[0].mediaTime, 20);
  EXPECT_EQ(track.edits[0].trackDuration, 180);
}

TEST_F(InsertMediaTest, RefusesNegativeTimesAndRatesAndTracksWithoutMedia) {
  Track& track = trackWith(VideoMediaType, 600, 10, 20);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, -1, 0, 20, kFixed1), paramErr);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, -1, 20, kFixed1), paramErr);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, -1, kFixed1), paramErr);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 20, 0), paramErr);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 20, -kFixed1), paramErr);
  EXPECT_TRUE(track.edits.empty());
  Track& bare = newTrack();
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(bare, 0, 0, 0, kFixed1), invalidTrack);
  toolbox_.SetMovieTimeScale(*movie_, 0);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 20, kFixed1), paramErr);
  EXPECT_TRUE(track.edits.empty());
}

TEST_F(InsertMediaTest, AStartBeyondTheEndInsertsAnEmptyEditFirst) {
  toolbox_.SetMovieTimeScale(*movie_, 600);
  Track& track = trackWith(VideoMediaType, 30000, 60, 1001);  // 2.002 s, 1201.2 units of 600
  ASSERT_EQ(toolbox_.InsertMediaIntoTrack(track, 300, 0, 60 * 1001, kFixed1), noErr);
  ASSERT_EQ(track.edits.size(), 2u);
  EXPECT_EQ(track.edits[0].trackDuration, 300);
  EXPECT_EQ(track.edits[0].mediaTime, -1);
  EXPECT_EQ(track.edits[0].rate, kFixed1);
  EXPECT_EQ(track.edits[1].trackDuration, 1201);
  EXPECT_EQ(track.edits[1].mediaTime, 0);
  EXPECT_EQ(track.duration(), 1501);
}

TEST_F(InsertMediaTest, AStartAtTheEndAppends) {
  toolbox_.SetMovieTimeScale(*movie_, 600);
  Track& track = trackWith(VideoMediaType, 600, 10, 20);
  ASSERT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 100, kFixed1), noErr);
  ASSERT_EQ(toolbox_.InsertMediaIntoTrack(track, 100, 100, 100, kFixed1), noErr);
  ASSERT_EQ(track.edits.size(), 2u);
  EXPECT_EQ(track.edits[1].mediaTime, 100);
  EXPECT_EQ(track.edits[1].trackDuration, 100);
  EXPECT_EQ(track.duration(), 200);
}

// Inserting inside the track would need its edits split; appending the media at the end instead
// would put it at the wrong time, so the call is refused.
TEST_F(InsertMediaTest, RefusesAStartInsideTheTrack) {
  toolbox_.SetMovieTimeScale(*movie_, 600);
  Track& track = trackWith(VideoMediaType, 600, 10, 20);
  ASSERT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, 100, kFixed1), noErr);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 50, 100, 100, kFixed1), paramErr);
  ASSERT_EQ(track.edits.size(), 1u);
  EXPECT_EQ(track.duration(), 100);
}

TEST_F(ToolboxTest, TrackReferencesAreGroupedByType) {
  Track& video = newTrack();
  Track& timecode = newTrack();
  Track& otherTimecode = newTrack();
  Track& chapters = newTrack();
  Track& moreChapters = newTrack();
  int32_t index = 0;
  ASSERT_EQ(toolbox_.AddTrackReference(video, timecode, kTrackReferenceTimecode, &index), noErr);
  EXPECT_EQ(index, 1);
  ASSERT_EQ(toolbox_.AddTrackReference(video, chapters, kTrackReferenceChapter, &index), noErr);
  EXPECT_EQ(index, 1);
  ASSERT_EQ(toolbox_.AddTrackReference(video, otherTimecode, kTrackReferenceTimecode, &index),
            noErr);
  EXPECT_EQ(index, 2);
  ASSERT_EQ(toolbox_.AddTrackReference(video, moreChapters, kTrackReferenceChapter, nullptr),
            noErr);
  ASSERT_EQ(video.references.size(), 2u);
  EXPECT_EQ(video.references[0].type, kTrackReferenceTimecode);
  EXPECT_EQ(video.references[0].trackIDs, (std::vector<uint32_t>{2, 3}));
  EXPECT_EQ(video.references[1].type, kTrackReferenceChapter);
  EXPECT_EQ(video.references[1].trackIDs, (std::vector<uint32_t>{4, 5}));
  EXPECT_TRUE(timecode.references.empty());
}

TEST_F(ToolboxTest, TrackReferencesRefuseTheTrackItselfAndOtherMovies) {
  Track& video = newTrack();
  int32_t index = 0;
  EXPECT_EQ(toolbox_.AddTrackReference(video, video, kTrackReferenceTimecode, &index),
            invalidTrack);
  std::unique_ptr<Movie> other;
  ASSERT_EQ(toolbox_.NewMovie(0, &other), noErr);
  Track* stranger = nullptr;
  ASSERT_EQ(toolbox_.NewMovieTrack(*other, 0, 0, 0, &stranger), noErr);
  EXPECT_EQ(toolbox_.AddTrackReference(video, *stranger, kTrackReferenceTimecode, &index),
            invalidTrack);
  EXPECT_EQ(index, 0);
  EXPECT_TRUE(video.references.empty());
}

TEST_F(ToolboxTest, UserDataCollectsTexts) {
  UserData userData;
  ASSERT_EQ(toolbox_.NewUserData(&userData), noErr);
  ASSERT_NE(userData, nullptr);
  ASSERT_EQ(toolbox_.AddUserDataText(userData, "A001C003", FourCC("name"), 1, 0), noErr);
  ASSERT_EQ(userData->texts.size(), 1u);
  EXPECT_EQ(userData->texts[0].type, FourCC("name"));
  EXPECT_EQ(userData->texts[0].text, "A001C003");
  EXPECT_EQ(userData->texts[0].regionCode, 0);
  EXPECT_EQ(toolbox_.AddUserDataText(userData, "x", FourCC("name"), 0, 0), paramErr);
  UserData none;
  EXPECT_EQ(toolbox_.AddUserDataText(none, "x", FourCC("name"), 1, 0), paramErr);
  toolbox_.DisposeUserData(userData);
  EXPECT_EQ(userData, nullptr);
}

TEST_F(ToolboxTest, TheTimecodeSourceIsACopyOfTheUserData) {
  Media& media = newMedia(TimeCodeMediaType, 30000);
  const auto description = makeDescription(FourCC("tmcd"));
  UserData userData;
  ASSERT_EQ(toolbox_.NewUserData(&userData), noErr);
  ASSERT_EQ(toolbox_.AddUserDataText(userData, "A001C003", FourCC("name"), 1, 0), noErr);
  ASSERT_EQ(toolbox_.TCSetSourceRef(media, description, userData), noErr);
  ASSERT_EQ(toolbox_.AddUserDataText(userData, "later", FourCC("name"), 1, 0), noErr);
  toolbox_.DisposeUserData(userData);
  ASSERT_NE(media.timecodeSourceUserData, nullptr);
  ASSERT_EQ(media.timecodeSourceUserData->texts.size(), 1u);
  EXPECT_EQ(media.timecodeSourceUserData->texts[0].text, "A001C003");
}

TEST_F(ToolboxTest, TheTimecodeSourceNeedsATimecodeMediaAndADescription) {
  Media& video = newMedia(VideoMediaType, 30000);
  Media& timecode = newMedia(TimeCodeMediaType, 30000);
  UserData userData;
  ASSERT_EQ(toolbox_.NewUserData(&userData), noErr);
  EXPECT_EQ(toolbox_.TCSetSourceRef(video, makeDescription(FourCC("tmcd")), userData),
            invalidMedia);
  EXPECT_EQ(video.timecodeSourceUserData, nullptr);
  EXPECT_EQ(toolbox_.TCSetSourceRef(timecode, nullptr, userData), invalidMedia);
  EXPECT_EQ(timecode.timecodeSourceUserData, nullptr);
}

TEST_F(ToolboxTest, MetadataItemsGoToTheMovie) {
  Movie* metadata = nullptr;
  ASSERT_EQ(toolbox_.QTCopyMovieMetaData(*movie_, &metadata), noErr);
  ASSERT_EQ(metadata, movie_.get());
  const Bytes key = {'t', 'a', 'k', 'e'};
  const Bytes value = {'7'};
  ASSERT_EQ(toolbox_.QTMetaDataAddItem(*metadata, FourCC("mdta"), FourCC("mdta"), key.data(),
                                       static_cast<uint32_t>(key.size()), value.data(), 1, 1),
            noErr);
  ASSERT_EQ(toolbox_.QTMetaDataAddItem(*metadata, FourCC("udta"), FourCC("udta"), key.data(), 4,
                                       nullptr, 0, 1),
            noErr);
  toolbox_.QTMetaDataRelease(metadata);
  ASSERT_EQ(movie_->metadata.size(), 2u);
  EXPECT_EQ(movie_->metadata[0].storageFormat, FourCC("mdta"));
  EXPECT_EQ(movie_->metadata[0].keyFormat, FourCC("mdta"));
  EXPECT_EQ(movie_->metadata[0].key, key);
  EXPECT_EQ(movie_->metadata[0].value, value);
  EXPECT_EQ(movie_->metadata[0].dataType, 1u);
  EXPECT_TRUE(movie_->metadata[1].value.empty());
}

TEST_F(ToolboxTest, MetadataItemsNeedAKeyAndTheirBytes) {
  const Bytes key = {'k'};
  EXPECT_EQ(toolbox_.QTMetaDataAddItem(*movie_, FourCC("mdta"), FourCC("mdta"), key.data(), 0,
                                       key.data(), 1, 1),
            paramErr);
  EXPECT_EQ(toolbox_.QTMetaDataAddItem(*movie_, FourCC("mdta"), FourCC("mdta"), nullptr, 1,
                                       key.data(), 1, 1),
            paramErr);
  EXPECT_EQ(toolbox_.QTMetaDataAddItem(*movie_, FourCC("mdta"), FourCC("mdta"), key.data(), 1,
                                       nullptr, 1, 1),
            paramErr);
  EXPECT_TRUE(movie_->metadata.empty());
}

// A one-track movie as the header writer makes it: a placeholder, then the file.
class PutMovieTest : public ToolboxTest {
 protected:
  Media& videoMedia(const DataReference& file) {
    toolbox_.SetMovieTimeScale(*movie_, 30000);
    Track& track = newTrack();
    Media& media = newMedia(track, VideoMediaType, 30000);
    int16_t index = 0;
    EXPECT_EQ(toolbox_.AddMediaDataRef(media, &index, file, AliasDataHandlerSubType), noErr);
    addSamples(media, makeDescription(FourCC("v210")), 65536, 933'120, 1001, 60);
    EXPECT_EQ(toolbox_.InsertMediaIntoTrack(track, 0, 0, toolbox_.GetMediaDuration(media), kFixed1),
              noErr);
    return media;
  }

  // Checks that `handle` is one well-formed 'moov' with the track's sample table in it.
  void expectWellFormed(const Handle& handle) {
    const AtomTree tree = parseAtomTree(handle);
    ASSERT_TRUE(tree.ok()) << tree.error->message();
    ASSERT_EQ(tree.atoms.size(), 1u);
    EXPECT_EQ(tree.atoms[0].type, FourCC("moov"));
    EXPECT_EQ(tree.atoms[0].size, handle.size());
    const AtomNode* stsz = findAtom(tree.atoms, "moov/trak/mdia/minf/stbl/stsz");
    ASSERT_NE(stsz, nullptr);
    ByteReader r(*atomPayload(handle, *stsz));
    r.skip(4);
    EXPECT_EQ(r.u32(), 933'120u);  // sample size
    EXPECT_EQ(r.u32(), 60u);       // sample count
    const AtomNode* elst = findAtom(tree.atoms, "moov/trak/edts/elst");
    ASSERT_NE(elst, nullptr);
    ByteReader e(*atomPayload(handle, *elst));
    e.skip(4);
    EXPECT_EQ(e.u32(), 1u);          // number of entries
    EXPECT_EQ(e.u32(), 60u * 1001);  // track duration
    EXPECT_EQ(e.i32(), 0);           // media time
  }
};

TEST_F(PutMovieTest, WritesAMovieOfItsOwnFile) {
  videoMedia(fileReference());
  LogCapture log;
  Handle handle = {0xFF};
  EXPECT_EQ(toolbox_.PutMovieForDataRefIntoHandle(*movie_, fileReference(), AliasDataHandlerSubType,
                                                  handle),
            noErr);
  EXPECT_TRUE(log.lines().empty());
  expectWellFormed(handle);
}

TEST_F(PutMovieTest, AMediaOfAnotherFileIsReportedButStillWritten) {
  videoMedia(fileReference("/recordings/elsewhere.mov"));
  LogCapture log;
  Handle handle;
  EXPECT_EQ(toolbox_.PutMovieForDataRefIntoHandle(*movie_, fileReference(), AliasDataHandlerSubType,
                                                  handle),
            paramErr);
  const std::vector<std::string> lines = log.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("track 1 refers to data other than the movie's file"), std::string::npos)
      << lines[0];
  EXPECT_NE(lines[0].find("/recordings/elsewhere.mov"), std::string::npos) << lines[0];
  expectWellFormed(handle);
}

TEST(DefaultToolboxTest, IsOneToolboxForTheProcess) {
  EXPECT_EQ(&defaultToolbox(), &defaultToolbox());
  EXPECT_EQ(defaultToolbox().EnterMovies(), noErr);
  EXPECT_EQ(defaultToolbox().EnterMoviesOnThread(0), noErr);
  EXPECT_EQ(defaultToolbox().ExitMoviesOnThread(), noErr);
}

}  // namespace
}  // namespace premoov
