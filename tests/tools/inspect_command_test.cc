#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "premoov/commands.h"
#include "requests/file_io.h"
#include "requests/header_request.h"
#include "support/test_files.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using OrderedJson = nlohmann::ordered_json;

// Records where the layout put the first and the last sample of each track.
class FirstAndLast final : public SampleLayoutObserver {
 public:
  struct Place {
    uint64_t firstOffset = 0;
    uint64_t lastOffset = 0;
    uint64_t lastSize = 0;
    uint64_t count = 0;
  };
  void didPlanHeaderRoom(uint32_t, uint64_t) override {}
  void didReference(const PlannedReference& r) override {
    auto [it, added] = places_.try_emplace(r.track);
    if (added) it->second.firstOffset = r.offset;
    // A reference of `count` samples of equal size: the last lies at its end minus one sample.
    it->second.lastSize = r.size / r.count;
    it->second.lastOffset = r.offset + r.size - it->second.lastSize;
    it->second.count += r.count;
  }
  void didEndLayout(uint64_t) override {}
  std::map<std::string, Place> places_;
};

class InspectCommandTest : public ::testing::Test {
 protected:
  // Writes the header of `example` to header_, and the movie extended to its file size to
  // movie_; the layout is kept in layout_.
  void writeExample(const char* example) {
    auto request = readRequestFile(examplePath(example));
    ASSERT_TRUE(request) << request.error();
    auto reply = requestHeader(*request, &layout_);
    ASSERT_TRUE(reply && reply->created);
    ASSERT_TRUE(writeFileAtStart(header_.path(), reply->header, 0));
    ASSERT_TRUE(
        writeFileAtStart(movie_.path(), reply->header, static_cast<uint64_t>(reply->fileSize)));
  }

  OrderedJson inspect(const std::string& path) {
    std::ostringstream out, err;
    EXPECT_EQ(runInspectCommand({.moviePath = path}, out, err), kExitSuccess) << err.str();
    EXPECT_THAT(err.str(), IsEmpty());
    return OrderedJson::parse(out.str());
  }

  TempFile header_{"inspect-header.bin"};
  TempFile movie_{"inspect-movie.mov"};
  FirstAndLast layout_;
};

TEST_F(InspectCommandTest, ReadsAHeaderAlone) {
  writeExample("v210_2997i_2ch_tc_cc.json");
  const OrderedJson answer = inspect(header_.path());
  EXPECT_EQ(answer["headerOnly"], true);
  EXPECT_EQ(answer["fileSize"], 4194304);
  ASSERT_TRUE(answer["atoms"].is_array());
  EXPECT_THAT(answer["atoms"][0].get<std::string>(), StartsWith("moov @0 size "));
  EXPECT_THAT(answer["atoms"].back().get<std::string>(), StartsWith("mdat @4194288 size "));
  EXPECT_FALSE(answer.contains("error"));

  std::vector<std::string> kinds, codecs;
  for (const auto& track : answer["tracks"]) {
    kinds.push_back(track["kind"]);
    codecs.push_back(track["codec"]);
  }
  EXPECT_THAT(kinds, ElementsAre("vide", "soun", "soun", "clcp", "tmcd"));
  EXPECT_THAT(codecs, ElementsAre("v210", "lpcm", "lpcm", "c708", "tmcd"));

  const auto& video = answer["tracks"][0];
  EXPECT_EQ(video["sampleCount"], 30);
  EXPECT_EQ(video["timeScale"], 30000);
  EXPECT_EQ(video["duration"], 30030);
  EXPECT_DOUBLE_EQ(video["seconds"].get<double>(), 1.001);
  EXPECT_FALSE(video.contains("problems"));
}

TEST_F(InspectCommandTest, PlacesTheSamplesWhereTheLayoutPutThem) {
  writeExample("2vuy_2997_mid_group.json");
  const OrderedJson answer = inspect(movie_.path());
  EXPECT_EQ(answer["headerOnly"], false);
  const std::map<std::string, std::string> trackOfKind = {
      {"vide", "video"}, {"clcp", "captions"}, {"tmcd", "timecode"}};
  int sound = 0;
  for (const auto& track : answer["tracks"]) {
    const std::string kind = track["kind"];
    const std::string name =
        kind == "soun" ? "audio" + std::to_string(++sound) : trackOfKind.at(kind);
    const auto& place = layout_.places_.at(name);
    EXPECT_EQ(track["sampleCount"].get<uint64_t>(), place.count) << name;
    EXPECT_EQ(track["firstSample"]["offset"].get<uint64_t>(), place.firstOffset) << name;
    EXPECT_EQ(track["lastSample"]["offset"].get<uint64_t>(), place.lastOffset) << name;
    EXPECT_EQ(track["lastSample"]["size"].get<uint64_t>(), place.lastSize) << name;
  }
  EXPECT_EQ(sound, 2);
  EXPECT_EQ(answer["tracks"].size(), 5u);
}

TEST_F(InspectCommandTest, ReadsAnHourLongFileWithoutReadingItsMedia) {
  // 117 GB, sparse: only the header and the atom headers around the media data are read.
  writeExample("prores_hq_1080i2997_8ch_1h.json");
  const OrderedJson answer = inspect(movie_.path());
  EXPECT_FALSE(answer.contains("error")) << answer["error"];
  ASSERT_EQ(answer["tracks"].size(), 11u);
  EXPECT_EQ(answer["tracks"][0]["sampleCount"], 107892);
  EXPECT_EQ(answer["tracks"][10]["lastSample"]["offset"].get<uint64_t>(),
            layout_.places_.at("timecode").lastOffset);
}

TEST_F(InspectCommandTest, NamesAFileThatCannotBeRead) {
  std::ostringstream out, err;
  EXPECT_EQ(runInspectCommand({.moviePath = movie_.path()}, out, err), kExitBadInput);
  EXPECT_EQ(err.str(), movie_.path() + ": cannot read: No such file or directory\n");
  EXPECT_THAT(out.str(), IsEmpty());
}

TEST_F(InspectCommandTest, SaysThatAFileWithoutMovieHeaderIsNone) {
  movie_.write("");
  std::ostringstream out, err;
  EXPECT_EQ(runInspectCommand({.moviePath = movie_.path()}, out, err), kExitBadInput);
  EXPECT_EQ(err.str(), movie_.path() + ": holds no 'moov' atom\n");
}

TEST_F(InspectCommandTest, NamesTheProblemOfAFileThatIsNoMovie) {
  movie_.write(R"({"path": "/tmp/x.mov"})");
  std::ostringstream out, err;
  EXPECT_EQ(runInspectCommand({.moviePath = movie_.path()}, out, err), kExitBadInput);
  EXPECT_THAT(err.str(), StartsWith(movie_.path() + ": "));
  EXPECT_TRUE(OrderedJson::parse(out.str()).contains("error"));
}

TEST_F(InspectCommandTest, ReadsAMovieWhoseHeaderIsCutShort) {
  writeExample("2vuy_25p_global_tc.json");
  movie_.write(header_.read().substr(0, 1000));
  std::ostringstream out, err;
  EXPECT_EQ(runInspectCommand({.moviePath = movie_.path()}, out, err), kExitBadInput);
  EXPECT_THAT(err.str(), StartsWith(movie_.path() + ": "));
  const auto answer = OrderedJson::parse(out.str());
  EXPECT_TRUE(answer.contains("error"));
  EXPECT_THAT(answer["atoms"].back().get<std::string>(), StartsWith("error: "));
}

}  // namespace
}  // namespace premoov
