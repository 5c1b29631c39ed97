#include "movie/fault_injecting_toolbox.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "movie/atom_tree.h"

namespace premoov {
namespace {

constexpr OSErr kInjected = memFullErr;

DataReference placeholder() { return DataReference{HandleDataHandlerSubType, {}, {0, 0, 0, 0}}; }
DataReference fileReference() {
  return DataReference{AliasDataHandlerSubType, "/recordings/growing.mov", {}};
}

SampleDescriptionHandle makeDescription(FourCC format) {
  return std::make_shared<SampleDescription>(SampleDescription{format, 1, {}});
}

class FaultInjectingToolboxTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(defaultToolbox().NewMovie(0, &movie_), noErr); }

  // A track and its media made with the default toolbox, so that no call is recorded.
  Media& newMedia(OSType type, TimeScale timescale) {
    Track* track = nullptr;
    Media* media = nullptr;
    EXPECT_EQ(defaultToolbox().NewMovieTrack(*movie_, 0, 0, 0, &track), noErr);
    EXPECT_EQ(defaultToolbox().NewTrackMedia(*track, type, timescale, placeholder(),
                                             HandleDataHandlerSubType, &media),
              noErr);
    return *media;
  }

  OSErr addOneSample(Media& media) {
    const SampleReference64Record ref{4096, 100, 1, 1, 0};
    return toolbox_.AddMediaSampleReferences64(media, description_, 1, &ref, nullptr);
  }

  FaultInjectingToolbox toolbox_;
  std::unique_ptr<Movie> movie_;
  const SampleDescriptionHandle description_ = makeDescription(FourCC("lpcm"));
};

TEST_F(FaultInjectingToolboxTest, FailsExactlyTheNthCall) {
  Media& media = newMedia(VideoMediaType, 30000);
  toolbox_.failCall("AddMediaDataRef", kInjected, std::nullopt, 2);
  int16_t index = 0;
  EXPECT_EQ(toolbox_.AddMediaDataRef(media, &index, fileReference(), AliasDataHandlerSubType),
            noErr);
  EXPECT_EQ(index, 2);
  index = 0;
  EXPECT_EQ(toolbox_.AddMediaDataRef(media, &index, fileReference(), AliasDataHandlerSubType),
            kInjected);
  EXPECT_EQ(index, 0);                         // the failed call did nothing
  EXPECT_EQ(media.dataReferences.size(), 2u);  // placeholder and the first file
  EXPECT_EQ(toolbox_.AddMediaDataRef(media, &index, fileReference(), AliasDataHandlerSubType),
            noErr);
  EXPECT_EQ(index, 3);
  EXPECT_EQ(toolbox_.callCount("AddMediaDataRef"), 3);
}

TEST_F(FaultInjectingToolboxTest, FailsTheFirstCallByDefault) {
  toolbox_.failCall("NewMovie", couldNotResolveDataRef);
  std::unique_ptr<Movie> movie;
  EXPECT_EQ(toolbox_.NewMovie(0, &movie), couldNotResolveDataRef);
  EXPECT_EQ(movie, nullptr);
  EXPECT_EQ(toolbox_.NewMovie(0, &movie), noErr);
  EXPECT_NE(movie, nullptr);
}

TEST_F(FaultInjectingToolboxTest, OtherCallsAreNotCounted) {
  toolbox_.failCall("NewMovieTrack", kInjected, std::nullopt, 2);
  Track* track = nullptr;
  std::unique_ptr<Movie> other;
  EXPECT_EQ(toolbox_.NewMovie(0, &other), noErr);
  EXPECT_EQ(toolbox_.NewMovieTrack(*movie_, 0, 0, 0, &track), noErr);
  EXPECT_EQ(toolbox_.NewMovie(0, &other), noErr);
  EXPECT_EQ(toolbox_.NewMovieTrack(*movie_, 0, 0, 0, &track), kInjected);
  EXPECT_EQ(movie_->tracks.size(), 1u);
}

TEST_F(FaultInjectingToolboxTest, TwoFaultsOnOneCallCountTheSameCalls) {
  toolbox_.failCall("NewMovie", kInjected, std::nullopt, 1);
  toolbox_.failCall("NewMovie", paramErr, std::nullopt, 2);
  std::unique_ptr<Movie> movie;
  EXPECT_EQ(toolbox_.NewMovie(0, &movie), kInjected);
  EXPECT_EQ(toolbox_.NewMovie(0, &movie), paramErr);
  EXPECT_EQ(toolbox_.NewMovie(0, &movie), noErr);
}

TEST_F(FaultInjectingToolboxTest, AMediaTypeLimitsTheCallsCounted) {
  Media& video = newMedia(VideoMediaType, 30000);
  Media& sound = newMedia(SoundMediaType, 48000);
  toolbox_.failCall("AddMediaSampleReferences64", kInjected, SoundMediaType, 2);
  EXPECT_EQ(addOneSample(video), noErr);
  EXPECT_EQ(addOneSample(sound), noErr);
  EXPECT_EQ(addOneSample(video), noErr);
  EXPECT_EQ(addOneSample(video), noErr);
  EXPECT_EQ(addOneSample(sound), kInjected);
  EXPECT_EQ(addOneSample(sound), noErr);
  EXPECT_EQ(video.runs.size(), 3u);
  EXPECT_EQ(sound.runs.size(), 2u);
}

TEST_F(FaultInjectingToolboxTest, AMediaTypeReachesTheMediaACallIsAbout) {
  Media& timecode = newMedia(TimeCodeMediaType, 30000);
  Media& video = newMedia(VideoMediaType, 30000);
  toolbox_.failCall("TCSetSourceRef", kInjected, TimeCodeMediaType);
  toolbox_.failCall("SetMediaDataRef", kInjected, VideoMediaType);
  toolbox_.failCall("SetMediaDataRefAttributes", kInjected, VideoMediaType);
  UserData userData = std::make_shared<UserDataRecord>();
  EXPECT_EQ(toolbox_.TCSetSourceRef(timecode, makeDescription(FourCC("tmcd")), userData),
            kInjected);
  EXPECT_EQ(toolbox_.SetMediaDataRef(timecode, 1, fileReference(), AliasDataHandlerSubType), noErr);
  EXPECT_EQ(toolbox_.SetMediaDataRef(video, 1, fileReference(), AliasDataHandlerSubType),
            kInjected);
  EXPECT_EQ(toolbox_.SetMediaDataRefAttributes(timecode, 1, 1), noErr);
  EXPECT_EQ(toolbox_.SetMediaDataRefAttributes(video, 1, 1), kInjected);
}

// NewTrackMedia makes the media: its type is the one asked for, there is none before.
TEST_F(FaultInjectingToolboxTest, AMediaTypeCountsTheMediaBeingMade) {
  toolbox_.failCall("NewTrackMedia", kInjected, SoundMediaType);
  Track* video = nullptr;
  Track* sound = nullptr;
  ASSERT_EQ(toolbox_.NewMovieTrack(*movie_, 0, 0, 0, &video), noErr);
  ASSERT_EQ(toolbox_.NewMovieTrack(*movie_, 0, 0, kShortFixed1, &sound), noErr);
  Media* media = nullptr;
  EXPECT_EQ(toolbox_.NewTrackMedia(*video, VideoMediaType, 30000, placeholder(),
                                   HandleDataHandlerSubType, &media),
            noErr);
  media = nullptr;
  EXPECT_EQ(toolbox_.NewTrackMedia(*sound, SoundMediaType, 48000, placeholder(),
                                   HandleDataHandlerSubType, &media),
            kInjected);
  EXPECT_EQ(media, nullptr);
  EXPECT_EQ(sound->media, nullptr);
}

TEST_F(FaultInjectingToolboxTest, TrackCallsCountTheTrackMediaType) {
  defaultToolbox().SetMovieTimeScale(*movie_, 30000);
  Media& sound = newMedia(SoundMediaType, 48000);
  Media& video = newMedia(VideoMediaType, 30000);
  ASSERT_EQ(addOneSample(sound), noErr);
  ASSERT_EQ(addOneSample(video), noErr);
  Track& soundTrack = *movie_->tracks[0];
  Track& videoTrack = *movie_->tracks[1];
  toolbox_.failCall("InsertMediaIntoTrack", kInjected, VideoMediaType);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(soundTrack, 0, 0, 1, kFixed1), noErr);
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(videoTrack, 0, 0, 1, kFixed1), kInjected);
  EXPECT_TRUE(videoTrack.edits.empty());
  EXPECT_EQ(toolbox_.InsertMediaIntoTrack(videoTrack, 0, 0, 1, kFixed1), noErr);
  EXPECT_EQ(videoTrack.edits.size(), 1u);
}

TEST_F(FaultInjectingToolboxTest, AMediaTypeNeverMatchesACallWithoutMedia) {
  toolbox_.failCall("NewUserData", kInjected, TimeCodeMediaType);
  UserData userData;
  EXPECT_EQ(toolbox_.NewUserData(&userData), noErr);
  EXPECT_NE(userData, nullptr);
}

TEST_F(FaultInjectingToolboxTest, RecordsEveryCallInOrder) {
  toolbox_.failCall("NewUserData", kInjected);
  std::unique_ptr<Movie> movie;
  Track* track = nullptr;
  Media* media = nullptr;
  UserData userData;
  ASSERT_EQ(toolbox_.EnterMoviesOnThread(0), noErr);
  ASSERT_EQ(toolbox_.NewMovie(0, &movie), noErr);
  ASSERT_EQ(toolbox_.NewMovieTrack(*movie, 0, 0, 0, &track), noErr);
  ASSERT_EQ(toolbox_.NewTrackMedia(*track, TimeCodeMediaType, 30000, placeholder(),
                                   HandleDataHandlerSubType, &media),
            noErr);
  EXPECT_EQ(toolbox_.NewUserData(&userData), kInjected);
  ASSERT_EQ(toolbox_.NewUserData(&userData), noErr);
  ASSERT_EQ(toolbox_.ExitMoviesOnThread(), noErr);
  const std::vector<std::string> expected = {
      "EnterMoviesOnThread", "NewMovie",    "NewMovieTrack",      "NewTrackMedia",
      "NewUserData",         "NewUserData", "ExitMoviesOnThread",
  };
  EXPECT_EQ(toolbox_.calls(), expected);
  EXPECT_EQ(toolbox_.callCount("NewUserData"), 2);
  EXPECT_EQ(toolbox_.callCount("QTSoundDescriptionCreate"), 0);
}

// The same recording made through both toolboxes: the headers match byte for byte.
Handle recordThrough(Toolbox& toolbox) {
  std::unique_ptr<Movie> movie;
  Track* video = nullptr;
  Track* timecode = nullptr;
  Media* videoMedia = nullptr;
  Media* timecodeMedia = nullptr;
  DataReference file;
  int16_t index = 0;
  EXPECT_EQ(toolbox.NewMovie(0, &movie), noErr);
  toolbox.SetMovieTimeScale(*movie, 30000);
  EXPECT_EQ(toolbox.NewMovieTrack(*movie, IntToFixed(1920), IntToFixed(1080), 0, &video), noErr);
  EXPECT_EQ(toolbox.NewTrackMedia(*video, VideoMediaType, 30000, placeholder(),
                                  HandleDataHandlerSubType, &videoMedia),
            noErr);
  EXPECT_EQ(toolbox.QTNewDataReferenceFromFullPathCFString("/recordings/growing.mov", -1, 0, &file),
            noErr);
  EXPECT_EQ(toolbox.AddMediaDataRef(*videoMedia, &index, file, AliasDataHandlerSubType), noErr);
  EXPECT_EQ(toolbox.SetMediaDataRefAttributes(*videoMedia, index, 1), noErr);
  EXPECT_EQ(toolbox.NewMovieTrack(*movie, 0, 0, 0, &timecode), noErr);
  EXPECT_EQ(toolbox.NewTrackMedia(*timecode, TimeCodeMediaType, 30000, placeholder(),
                                  HandleDataHandlerSubType, &timecodeMedia),
            noErr);

  std::unique_ptr<SampleTable> table;
  int64_t id = 0;
  const auto videoDescription = makeDescription(FourCC("xdvc"));
  EXPECT_EQ(toolbox.QTSampleTableCreateMutable(30000, &table), noErr);
  EXPECT_EQ(toolbox.QTSampleTableAddSampleDescription(*table, videoDescription, 0, &id), noErr);
  EXPECT_EQ(toolbox.QTSampleTableAddSampleReferences(*table, 65536, 400'000, 1001, 2002, 1, 0, id,
                                                     nullptr),
            noErr);
  EXPECT_EQ(toolbox.QTSampleTableAddSampleReferences(*table, 465'536, 100'000, 1001, -1001, 14,
                                                     mediaSampleNotSync, id, nullptr),
            noErr);
  EXPECT_EQ(toolbox.AddSampleTableToMedia(*videoMedia, *table, 1,
                                          toolbox.QTSampleTableGetNumberOfSamples(*table), nullptr),
            noErr);
  toolbox.QTSampleTableRelease(table);
  const SampleReference64Record tc{1'865'536, 4, 15 * 1001, 1, 0};
  EXPECT_EQ(toolbox.AddMediaSampleReferences64(*timecodeMedia, makeDescription(FourCC("tmcd")), 1,
                                               &tc, nullptr),
            noErr);
  EXPECT_EQ(toolbox.InsertMediaIntoTrack(*timecode, 0, 0, toolbox.GetMediaDuration(*timecodeMedia),
                                         kFixed1),
            noErr);
  EXPECT_EQ(
      toolbox.InsertMediaIntoTrack(*video, 0, 0, toolbox.GetMediaDuration(*videoMedia), kFixed1),
      noErr);
  EXPECT_EQ(toolbox.AddTrackReference(*video, *timecode, TimeCodeMediaType, nullptr), noErr);
  Handle handle;
  EXPECT_EQ(toolbox.PutMovieForDataRefIntoHandle(*movie, file, AliasDataHandlerSubType, handle),
            noErr);
  return handle;
}

TEST_F(FaultInjectingToolboxTest, WithoutFaultsBehavesLikeTheDefaultToolbox) {
  const Handle expected = recordThrough(defaultToolbox());
  const Handle got = recordThrough(toolbox_);
  EXPECT_EQ(got, expected);
  const AtomTree tree = parseAtomTree(got);
  ASSERT_TRUE(tree.ok()) << tree.error->message();
  EXPECT_EQ(findAtoms(tree.atoms, "moov/trak").size(), 2u);
  EXPECT_EQ(toolbox_.callCount("InsertMediaIntoTrack"), 2);
}

TEST_F(FaultInjectingToolboxTest, AFaultAfterTheLastCallChangesNothing) {
  const Handle expected = recordThrough(defaultToolbox());
  toolbox_.failCall("AddTrackReference", kInjected, std::nullopt, 2);
  toolbox_.failCall("QTMetaDataAddItem", kInjected);
  EXPECT_EQ(recordThrough(toolbox_), expected);
}

}  // namespace
}  // namespace premoov
