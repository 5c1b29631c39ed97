// Real readers (ffprobe, MediaInfo) on a file whose header comes from serializeMovie and whose
// media is sparse zeros: every sample must be where the runs put it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "base/atom_writer.h"
#include "base/byte_writer.h"
#include "movie/movie_serializer.h"
#include "movie/sample_movie.h"

namespace premoov {
namespace {

namespace fs = std::filesystem;

// The header room: 'moov', then 'free' up to here, then 'wide' and a 32-bit 'mdat' header.
constexpr uint64_t kWideAt = 1 << 16;
constexpr uint64_t kMediaStart = kWideAt + 16;

bool haveProgram(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

// Standard output of `command`, or nothing when it fails.
std::optional<std::string> run(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return std::nullopt;
  std::string out;
  std::array<char, 4096> buffer;
  while (size_t n = fread(buffer.data(), 1, buffer.size(), pipe)) out.append(buffer.data(), n);
  if (pclose(pipe) != 0) return std::nullopt;
  return out;
}

std::vector<std::vector<std::string>> csvLines(const std::string& text) {
  std::vector<std::vector<std::string>> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.empty()) continue;
    std::vector<std::string> fields;
    std::istringstream fieldsIn(line);
    for (std::string field; std::getline(fieldsIn, field, ',');) fields.push_back(field);
    lines.push_back(fields);
  }
  return lines;
}

// Writes the sample movie's header, header room and sparse media to a new file.
class ReadersTest : public testing::Test {
 protected:
  void SetUp() override {
    movie_ = sample_movie::makeMovie(kMediaStart);
    path_ =
        fs::path(testing::TempDir()) / ("premoov_readers_" + std::to_string(::getpid()) + ".mov");
    const std::vector<uint8_t> moov = serializeMovie(movie_, sample_movie::selfReference());
    ASSERT_LT(moov.size() + 8, kWideAt);
    const uint64_t end = sample_movie::mediaEnd(movie_);
    ByteWriter w(moov);
    {
      AtomScope free(w, FourCC("free"));
      w.zeros(kWideAt - moov.size() - 8);
    }
    { AtomScope wide(w, FourCC("wide")); }
    w.u32(static_cast<uint32_t>(end - kWideAt - 8));  // mdat size
    w.fourCC(FourCC("mdat"));                         // type
    ASSERT_EQ(w.size(), kMediaStart);
    {
      std::ofstream out(path_, std::ios::binary);
      out.write(reinterpret_cast<const char*>(w.data().data()),
                static_cast<std::streamsize>(w.size()));
      ASSERT_TRUE(out.good());
    }
    fs::resize_file(path_, end);
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }

  Movie movie_;
  fs::path path_;
};

// One line of `ffprobe -show_entries packet=...`: where a packet lies and when it plays.
struct Packet {
  size_t stream;
  int64_t pts;
  int64_t dts;
  int64_t duration;
  uint64_t size;
  uint64_t pos;
  std::string flags;
};

std::vector<Packet> packetsOf(const std::string& csv) {
  std::vector<Packet> packets;
  for (const auto& f : csvLines(csv)) {
    if (f.size() < 7) continue;
    packets.push_back({std::stoul(f[0]), std::stoll(f[1]), std::stoll(f[2]), std::stoll(f[3]),
                       std::stoull(f[4]), std::stoull(f[5]), f[6]});
  }
  return packets;
}

std::vector<Packet> ofStream(const std::vector<Packet>& packets, size_t stream) {
  std::vector<Packet> out;
  for (const Packet& packet : packets) {
    if (packet.stream == stream) out.push_back(packet);
  }
  return out;
}

// Video and captions: one packet per sample, at the sample's offset, with its size and time.
void expectOnePacketPerSample(const std::vector<Packet>& packets, const Media& media) {
  size_t i = 0;
  int64_t time = 0;
  for (const SampleRun& run : media.runs) {
    for (uint32_t n = 0; n < run.count; ++n, ++i) {
      ASSERT_LT(i, packets.size());
      SCOPED_TRACE(i);
      EXPECT_EQ(packets[i].pos, run.offset + uint64_t{n} * run.sampleSize);
      EXPECT_EQ(packets[i].size, run.sampleSize);
      EXPECT_EQ(packets[i].dts, time);
      EXPECT_EQ(packets[i].pts, time);
      EXPECT_EQ(packets[i].duration, run.decodeDuration);
      EXPECT_NE(packets[i].flags.find('K'), std::string::npos);
      time += run.decodeDuration;
    }
  }
  EXPECT_EQ(packets.size(), i);
}

// PCM comes in pieces of up to 1024 frames: together they tile every chunk exactly.
void expectPiecesTileTheChunks(std::vector<Packet> packets, const Media& media,
                               uint32_t frameSize) {
  std::sort(packets.begin(), packets.end(),
            [](const Packet& a, const Packet& b) { return a.pos < b.pos; });
  size_t i = 0;
  uint64_t total = 0;
  for (const SampleRun& run : media.runs) {
    uint64_t at = run.offset;
    const uint64_t end = run.offset + uint64_t{run.sampleSize} * run.count;
    while (at < end && i < packets.size()) {
      EXPECT_EQ(packets[i].pos, at);
      EXPECT_LE(packets[i].size, 1024u * frameSize);
      EXPECT_EQ(packets[i].size % frameSize, 0u);
      at += packets[i].size;
      total += packets[i].size;
      ++i;
    }
    EXPECT_EQ(at, end) << "chunk at " << run.offset;
  }
  EXPECT_EQ(i, packets.size());
  EXPECT_EQ(total, media.sampleCount() * frameSize);
}

TEST_F(ReadersTest, FfprobeFindsEverySampleWhereTheRunsPutIt) {
  if (!haveProgram("ffprobe")) GTEST_SKIP() << "ffprobe is not installed";
  const auto csv =
      run("ffprobe -v error -show_entries "
          "packet=stream_index,pts,dts,duration,size,pos,flags -of csv=p=0 '" +
          path_.string() + "'");
  ASSERT_TRUE(csv.has_value());
  const std::vector<Packet> packets = packetsOf(*csv);
  const auto& tracks = movie_.tracks;
  // ffprobe numbers the streams in track order.
  expectOnePacketPerSample(ofStream(packets, 0), *tracks[0]->media);
  expectPiecesTileTheChunks(ofStream(packets, 1), *tracks[1]->media, sample_movie::kAudioFrameSize);
  expectOnePacketPerSample(ofStream(packets, 2), *tracks[2]->media);
  expectOnePacketPerSample(ofStream(packets, 3), *tracks[3]->media);
  EXPECT_EQ(ofStream(packets, 0).size(), 60u);
  EXPECT_EQ(ofStream(packets, 3).size(), 60u);
}

TEST_F(ReadersTest, FfprobeReadsCodecTagsReelNameAndLayout) {
  if (!haveProgram("ffprobe")) GTEST_SKIP() << "ffprobe is not installed";
  const auto out =
      run("ffprobe -v warning -show_entries "
          "stream=index,codec_tag_string,channel_layout,width,height:"
          "stream_tags=reel_name,timecode,language -of csv=p=0 '" +
          path_.string() + "' 2>&1");
  ASSERT_TRUE(out.has_value());
  // A data reference that FFmpeg cannot resolve would make it skip the track as external.
  EXPECT_EQ(out->find("external track"), std::string::npos) << *out;
  std::map<std::string, std::vector<std::string>> streams;
  for (const auto& fields : csvLines(*out)) {
    if (fields.size() >= 2 && fields[0].size() == 1) streams[fields[0]] = fields;
  }
  ASSERT_EQ(streams.size(), 4u) << *out;
  // The timecode's ';' says drop frame, read from the description's flags.
  EXPECT_EQ(streams["0"],
            (std::vector<std::string>{"0", "v210", "720", "486", "eng", "00:00:00;00"}));
  EXPECT_EQ(streams["1"], (std::vector<std::string>{"1", "lpcm", "stereo", "eng"}));
  EXPECT_EQ(streams["2"],
            (std::vector<std::string>{"2", "tmcd", "eng", "A001C003", "00:00:00;00"}));
  EXPECT_EQ(streams["3"].at(1), "c708");
}

TEST_F(ReadersTest, FfprobeReadsMetadataAndUserData) {
  if (!haveProgram("ffprobe")) GTEST_SKIP() << "ffprobe is not installed";
  const auto out =
      run("ffprobe -v error -show_entries format_tags -of default=nw=1 '" + path_.string() + "'");
  ASSERT_TRUE(out.has_value());
  EXPECT_NE(out->find("TAG:" + std::string(sample_movie::kTakeKey) + "=7\n"), std::string::npos)
      << *out;
  EXPECT_NE(out->find("TAG:title=" + std::string(sample_movie::kTitle) + "\n"), std::string::npos)
      << *out;
}

TEST_F(ReadersTest, MediaInfoReadsEveryTrack) {
  if (!haveProgram("mediainfo")) GTEST_SKIP() << "mediainfo is not installed";
  const auto inform = [&](const std::string& format) {
    return run("mediainfo --Inform='" + format + "' '" + path_.string() + "'").value_or("?");
  };
  EXPECT_EQ(inform("General;%Format% %Duration%"), "QuickTime 2002\n");
  EXPECT_EQ(inform("General;%Movie%"), std::string(sample_movie::kTitle) + "\n");
  EXPECT_EQ(inform("Video;%CodecID% %Width%x%Height% %FrameCount% %ScanOrder%"),
            "v210 720x486 60 BFF\n");
  EXPECT_EQ(inform("Audio;%CodecID% %Channel(s)% %SamplingCount% %BitDepth%"), "lpcm 2 96096 24\n");
  EXPECT_EQ(inform("Other;%Type%|%TimeCode_FirstFrame%|%TimeCode_DropFrame%|%Title%"),
            "Time code|00:00:00;00|Yes|A001C003\n");
  EXPECT_EQ(inform("Text;%CodecID% %Format%"), "c708 EIA-708\n");
  // The lone self-referencing alias of every track reads as internal data.
  const std::string details = run("mediainfo --Details=1 '" + path_.string() + "'").value_or("");
  size_t internal = 0;
  for (size_t at = details.find("IsInternal:"); at != std::string::npos;
       at = details.find("IsInternal:", at + 1)) {
    const size_t lineEnd = details.find('\n', at);
    EXPECT_NE(details.substr(at, lineEnd - at).find("Yes"), std::string::npos);
    ++internal;
  }
  EXPECT_EQ(internal, 4u);
}

}  // namespace
}  // namespace premoov
