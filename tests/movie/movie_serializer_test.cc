#include "movie/movie_serializer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "movie/atom_tree.h"
#include "movie/sample_movie.h"

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

// A parsed header and the bytes it came from.
struct Parsed {
  Bytes bytes;
  AtomTree tree;

  const AtomNode& at(const std::string& path) const {
    const AtomNode* atom = findAtom(tree.atoms, path);
    if (atom == nullptr) throw std::runtime_error("no atom at " + path);
    return *atom;
  }
  // The whole atom, header included.
  Bytes atom(const std::string& path) const {
    const AtomNode& node = at(path);
    return Bytes(bytes.begin() + static_cast<long>(node.offset),
                 bytes.begin() + static_cast<long>(node.end()));
  }
  std::span<const uint8_t> payload(const std::string& path) const {
    return *atomPayload(bytes, at(path));
  }
};

Parsed serializeAndParse(const Movie& movie) {
  Parsed parsed{serializeMovie(movie, sample_movie::selfReference()), {}};
  parsed.tree = parseAtomTree(parsed.bytes);
  if (!parsed.tree.ok()) throw std::runtime_error(parsed.tree.error->message());
  return parsed;
}

// Every 32-bit field of a full atom's payload after its version and flags.
std::vector<uint32_t> u32Fields(std::span<const uint8_t> payload) {
  ByteReader r(payload);
  r.skip(4);
  std::vector<uint32_t> fields;
  while (auto v = r.u32()) fields.push_back(*v);
  return fields;
}

// One video track of two 100-byte frames lasting 20 each (time scale 600) at offset 40.
Movie smallMovie() {
  Movie movie;
  movie.timescale = 600;
  auto media = sample_movie::newMedia(VideoMediaType, 600);
  media->descriptions.push_back(sample_movie::description(FourCC("raw "), {0xAB}));
  media->runs.push_back({.offset = 40, .sampleSize = 100, .count = 2, .decodeDuration = 20});
  auto track = std::make_unique<Track>();
  track->movie = &movie;
  track->trackID = 1;
  track->width = IntToFixed(16);
  track->height = IntToFixed(9);
  track->edits.push_back(Edit{40, 0, kFixed1});
  track->media = std::move(media);
  movie.tracks.push_back(std::move(track));
  return movie;
}

TEST(MovieSerializerTest, WritesOneMoovAtom) {
  const Movie movie = smallMovie();
  const Parsed parsed = serializeAndParse(movie);
  ASSERT_EQ(parsed.tree.atoms.size(), 1u);
  EXPECT_EQ(parsed.tree.atoms[0].type, FourCC("moov"));
  EXPECT_EQ(parsed.tree.atoms[0].size, parsed.bytes.size());
  const std::vector<FourCC> expected = {FourCC("mvhd"), FourCC("trak")};
  std::vector<FourCC> types;
  for (const auto& child : parsed.tree.atoms[0].children) types.push_back(child.type);
  EXPECT_EQ(types, expected);
}

TEST(MovieSerializerTest, MovieHeaderFields) {
  const Bytes expected = {
      0,    0,   0,    108,                     // size
      'm',  'v', 'h',  'd',                     // type
      0,    0,   0,    0,                       // version, flags
      0,    0,   0,    0,                       // creation time
      0,    0,   0,    0,                       // modification time
      0,    0,   0x02, 0x58,                    // time scale 600
      0,    0,   0,    40,                      // duration
      0,    1,   0,    0,                       // preferred rate 1.0
      1,    0,                                  // preferred volume 1.0
      0,    0,   0,    0,    0, 0, 0, 0, 0, 0,  // reserved
      0,    1,   0,    0,                       // matrix a
      0,    0,   0,    0,                       // matrix b
      0,    0,   0,    0,                       // matrix u
      0,    0,   0,    0,                       // matrix c
      0,    1,   0,    0,                       // matrix d
      0,    0,   0,    0,                       // matrix v
      0,    0,   0,    0,                       // matrix x
      0,    0,   0,    0,                       // matrix y
      0x40, 0,   0,    0,                       // matrix w
      0,    0,   0,    0,                       // preview time
      0,    0,   0,    0,                       // preview duration
      0,    0,   0,    0,                       // poster time
      0,    0,   0,    0,                       // selection time
      0,    0,   0,    0,                       // selection duration
      0,    0,   0,    0,                       // current time
      0,    0,   0,    2,                       // next track ID
  };
  EXPECT_EQ(serializeAndParse(smallMovie()).atom("moov/mvhd"), expected);
}

TEST(MovieSerializerTest, TrackHeaderFields) {
  const Bytes expected = {
      0,    0,   0,   92,                // size
      't',  'k', 'h', 'd',               // type
      0,    0,   0,   0x0F,              // version, flags: enabled, in movie, preview and poster
      0,    0,   0,   0,                 // creation time
      0,    0,   0,   0,                 // modification time
      0,    0,   0,   1,                 // track ID
      0,    0,   0,   0,                 // reserved
      0,    0,   0,   40,                // duration
      0,    0,   0,   0,    0, 0, 0, 0,  // reserved
      0,    0,                           // layer
      0,    0,                           // alternate group
      0,    0,                           // volume
      0,    0,                           // reserved
      0,    1,   0,   0,                 // matrix a
      0,    0,   0,   0,                 // matrix b
      0,    0,   0,   0,                 // matrix u
      0,    0,   0,   0,                 // matrix c
      0,    1,   0,   0,                 // matrix d
      0,    0,   0,   0,                 // matrix v
      0,    0,   0,   0,                 // matrix x
      0,    0,   0,   0,                 // matrix y
      0x40, 0,   0,   0,                 // matrix w
      0,    16,  0,   0,                 // width 16.0
      0,    9,   0,   0,                 // height 9.0
  };
  EXPECT_EQ(serializeAndParse(smallMovie()).atom("moov/trak/tkhd"), expected);
}

TEST(MovieSerializerTest, DisabledTrackKeepsItsOtherFlags) {
  Movie movie = smallMovie();
  movie.tracks[0]->enabled = false;
  const Parsed parsed = serializeAndParse(movie);
  EXPECT_EQ(parsed.payload("moov/trak/tkhd")[3], 0x0E);
}

TEST(MovieSerializerTest, EditListFields) {
  const Bytes expected = {
      0,   0,   0,   36,   // edts size
      'e', 'd', 't', 's',  // type
      0,   0,   0,   28,   // elst size
      'e', 'l', 's', 't',  // type
      0,   0,   0,   0,    // version, flags
      0,   0,   0,   1,    // number of entries
      0,   0,   0,   40,   // track duration
      0,   0,   0,   0,    // media time
      0,   1,   0,   0,    // media rate 1.0
  };
  EXPECT_EQ(serializeAndParse(smallMovie()).atom("moov/trak/edts"), expected);
}

TEST(MovieSerializerTest, MediaHeaderAndHandlers) {
  const Parsed parsed = serializeAndParse(smallMovie());
  const Bytes mdhd = {
      0,   0,   0,    32,    // size
      'm', 'd', 'h',  'd',   // type
      0,   0,   0,    0,     // version, flags
      0,   0,   0,    0,     // creation time
      0,   0,   0,    0,     // modification time
      0,   0,   0x02, 0x58,  // time scale 600
      0,   0,   0,    40,    // duration
      0,   0,                // language: English
      0,   0,                // quality
  };
  EXPECT_EQ(parsed.atom("moov/trak/mdia/mdhd"), mdhd);
  const Bytes mediaHandler = {
      0,   0,   0,   33,   // size
      'h', 'd', 'l', 'r',  // type
      0,   0,   0,   0,    // version, flags
      'm', 'h', 'l', 'r',  // component type
      'v', 'i', 'd', 'e',  // component subtype
      0,   0,   0,   0,    // manufacturer
      0,   0,   0,   0,    // flags
      0,   0,   0,   0,    // flags mask
      0,                   // name: empty
  };
  EXPECT_EQ(parsed.atom("moov/trak/mdia/hdlr"), mediaHandler);
  const Bytes dataHandler = {
      0,   0,   0,   33,   // size
      'h', 'd', 'l', 'r',  // type
      0,   0,   0,   0,    // version, flags
      'd', 'h', 'l', 'r',  // component type
      'a', 'l', 'i', 's',  // component subtype
      0,   0,   0,   0,    // manufacturer
      0,   0,   0,   0,    // flags
      0,   0,   0,   0,    // flags mask
      0,                   // name: empty
  };
  EXPECT_EQ(parsed.atom("moov/trak/mdia/minf/hdlr"), dataHandler);
  const Bytes videoMediaHeader = {
      0,    0,    0,   20,   // size
      'v',  'm',  'h', 'd',  // type
      0,    0,    0,   1,    // version, flags
      0,    0x40,            // graphics mode: dither copy
      0x80, 0,               // opcolor red
      0x80, 0,               // opcolor green
      0x80, 0,               // opcolor blue
  };
  EXPECT_EQ(parsed.atom("moov/trak/mdia/minf/vmhd"), videoMediaHeader);
  const std::vector<FourCC> minfOrder = {FourCC("vmhd"), FourCC("hdlr"), FourCC("dinf"),
                                         FourCC("stbl")};
  std::vector<FourCC> types;
  for (const auto& child : parsed.at("moov/trak/mdia/minf").children) types.push_back(child.type);
  EXPECT_EQ(types, minfOrder);
}

// The media holds a placeholder and the file's alias; the header holds one self-reference that
// every description uses.
TEST(MovieSerializerTest, OneSelfReferenceWhateverTheMediaHolds) {
  const Movie movie = smallMovie();
  ASSERT_EQ(movie.tracks[0]->media->dataReferences.size(), 2u);
  const Parsed parsed = serializeAndParse(movie);
  const Bytes dinf = {
      0,   0,   0,   36,   // dinf size
      'd', 'i', 'n', 'f',  // type
      0,   0,   0,   28,   // dref size
      'd', 'r', 'e', 'f',  // type
      0,   0,   0,   0,    // version, flags
      0,   0,   0,   1,    // number of entries
      0,   0,   0,   12,   // alis size
      'a', 'l', 'i', 's',  // type
      0,   0,   0,   1,    // version, flags: self-reference
  };
  EXPECT_EQ(parsed.atom("moov/trak/mdia/minf/dinf"), dinf);
  const Bytes stsd = {
      0,    0,   0,   33,         // size
      's',  't', 's', 'd',        // type
      0,    0,   0,   0,          // version, flags
      0,    0,   0,   1,          // number of entries
      0,    0,   0,   17,         // entry size
      'r',  'a', 'w', ' ',        // format
      0,    0,   0,   0,   0, 0,  // reserved
      0,    1,                    // data reference index
      0xAB,                       // body
  };
  EXPECT_EQ(parsed.atom("moov/trak/mdia/minf/stbl/stsd"), stsd);
}

TEST(MovieSerializerTest, SampleTableFollowsTheDescriptions) {
  const Parsed parsed = serializeAndParse(smallMovie());
  std::vector<FourCC> types;
  for (const auto& child : parsed.at("moov/trak/mdia/minf/stbl").children) {
    types.push_back(child.type);
  }
  EXPECT_EQ(types, (std::vector<FourCC>{FourCC("stsd"), FourCC("stts"), FourCC("stsc"),
                                        FourCC("stsz"), FourCC("stco")}));
  EXPECT_EQ(u32Fields(parsed.payload("moov/trak/mdia/minf/stbl/stts")),
            (std::vector<uint32_t>{1, 2, 20}));
  EXPECT_EQ(u32Fields(parsed.payload("moov/trak/mdia/minf/stbl/stsz")),
            (std::vector<uint32_t>{100, 2}));
  EXPECT_EQ(u32Fields(parsed.payload("moov/trak/mdia/minf/stbl/stco")),
            (std::vector<uint32_t>{1, 40}));
}

TEST(MovieSerializerTest, MediaHeadersOfSoundTimecodeAndCaptions) {
  const Parsed parsed = serializeAndParse(sample_movie::makeMovie(1 << 16));
  const Bytes smhd = {
      0,   0,   0,   16,   // size
      's', 'm', 'h', 'd',  // type
      0,   0,   0,   0,    // version, flags
      0,   0,              // balance
      0,   0,              // reserved
  };
  EXPECT_EQ(parsed.atom("moov/trak[1]/mdia/minf/smhd"), smhd);
  const Bytes gmin = {
      0,    0,    0,   24,   // size
      'g',  'm',  'i', 'n',  // type
      0,    0,    0,   0,    // version, flags
      0,    0x40,            // graphics mode: dither copy
      0x80, 0,               // opcolor red
      0x80, 0,               // opcolor green
      0x80, 0,               // opcolor blue
      0,    0,               // balance
      0,    0,               // reserved
  };
  const Bytes tmcd = {
      0,    0,    0,   54,                                                // tmcd size
      't',  'm',  'c', 'd',                                               // type
      0,    0,    0,   46,                                                // tcmi size
      't',  'c',  'm', 'i',                                               // type
      0,    0,    0,   0,                                                 // version, flags
      0,    0,                                                            // text font
      0,    0,                                                            // text face
      0,    12,   0,   0,                                                 // text size 12.0
      0,    0,                                                            // text colour red
      0,    0,                                                            // text colour green
      0,    0,                                                            // text colour blue
      0xFF, 0xFF,                                                         // background red
      0xFF, 0xFF,                                                         // background green
      0xFF, 0xFF,                                                         // background blue
      13,                                                                 // font name length
      'L',  'u',  'c', 'i', 'd', 'a', ' ', 'G', 'r', 'a', 'n', 'd', 'e',  // font name
  };
  Bytes timecodeHeader = {0, 0, 0, 8 + 24 + 54, 'g', 'm', 'h', 'd'};
  timecodeHeader.insert(timecodeHeader.end(), gmin.begin(), gmin.end());
  timecodeHeader.insert(timecodeHeader.end(), tmcd.begin(), tmcd.end());
  EXPECT_EQ(parsed.atom("moov/trak[2]/mdia/minf/gmhd"), timecodeHeader);
  Bytes captionHeader = {0, 0, 0, 8 + 24, 'g', 'm', 'h', 'd'};
  captionHeader.insert(captionHeader.end(), gmin.begin(), gmin.end());
  EXPECT_EQ(parsed.atom("moov/trak[3]/mdia/minf/gmhd"), captionHeader);
}

TEST(MovieSerializerTest, TimecodeDescriptionCarriesTheReelNameAtom) {
  const Parsed parsed = serializeAndParse(sample_movie::makeMovie(1 << 16));
  const Bytes expected = {
      0,   0,   0,    54,                        // size: 34 fixed bytes and the name atom
      't', 'm', 'c',  'd',                       // format
      0,   0,   0,    0,                         // reserved
      0,   0,                                    // reserved
      0,   1,                                    // data reference index
      0,   0,   0,    0,                         // reserved
      0,   0,   0,    3,                         // flags: drop frame, 24-hour maximum
      0,   0,   0x75, 0x30,                      // time scale 30000
      0,   0,   0x03, 0xE9,                      // frame duration 1001
      30,                                        // frames per second
      0,                                         // reserved
      0,   0,   0,    20,                        // name size
      'n', 'a', 'm',  'e',                       // type
      0,   8,                                    // text length
      0,   0,                                    // language
      'A', '0', '0',  '1',  'C', '0', '0', '3',  // reel name
  };
  EXPECT_EQ(parsed.atom("moov/trak[2]/mdia/minf/stbl/stsd/tmcd"), expected);
}

TEST(MovieSerializerTest, TimecodeDescriptionWithoutUserDataIsWrittenAsItIs) {
  Movie movie = sample_movie::makeMovie(1 << 16);
  movie.tracks[2]->media->timecodeSourceUserData.reset();
  const Parsed parsed = serializeAndParse(movie);
  const Bytes entry = parsed.atom("moov/trak[2]/mdia/minf/stbl/stsd/tmcd");
  ASSERT_EQ(entry.size(), 16u + 22u);
  EXPECT_EQ(Bytes(entry.begin() + 16, entry.end()), sample_movie::timecodeDescriptionBody());
}

TEST(MovieSerializerTest, ApertureDimensionsAndTrackReferences) {
  const Parsed parsed = serializeAndParse(sample_movie::makeMovie(1 << 16));
  const Bytes tapt = {
      0,    0,    0,   68,   // tapt size
      't',  'a',  'p', 't',  // type
      0,    0,    0,   20,   // clef size
      'c',  'l',  'e', 'f',  // type
      0,    0,    0,   0,    // version, flags
      0x02, 0xC0, 0,   0,    // width 704.0
      0x01, 0xE0, 0,   0,    // height 480.0
      0,    0,    0,   20,   // prof size
      'p',  'r',  'o', 'f',  // type
      0,    0,    0,   0,    // version, flags
      0x02, 0xD0, 0,   0,    // width 720.0
      0x02, 0x1C, 0,   0,    // height 540.0
      0,    0,    0,   20,   // enof size
      'e',  'n',  'o', 'f',  // type
      0,    0,    0,   0,    // version, flags
      0x02, 0xD0, 0,   0,    // width 720.0
      0x01, 0xE6, 0,   0,    // height 486.0
  };
  EXPECT_EQ(parsed.atom("moov/trak[0]/tapt"), tapt);
  EXPECT_EQ(findAtom(parsed.tree.atoms, "moov/trak[1]/tapt"), nullptr);
  const Bytes tref = {
      0,   0,   0,   20,   // tref size
      't', 'r', 'e', 'f',  // type
      0,   0,   0,   12,   // reference size
      't', 'm', 'c', 'd',  // reference type
      0,   0,   0,   3,    // track ID
  };
  EXPECT_EQ(parsed.atom("moov/trak[0]/tref"), tref);
  const std::vector<FourCC> trakOrder = {FourCC("tkhd"), FourCC("tapt"), FourCC("edts"),
                                         FourCC("tref"), FourCC("mdia")};
  std::vector<FourCC> types;
  for (const auto& child : parsed.at("moov/trak[0]").children) types.push_back(child.type);
  EXPECT_EQ(types, trakOrder);
}

// Per sample: file offset, size, duration and description index, expanded the slow way.
struct SampleInfo {
  uint64_t offset;
  uint32_t size;
  uint32_t duration;
  uint32_t descriptionIndex;
  bool operator==(const SampleInfo&) const = default;
};

std::vector<SampleInfo> samplesOfRuns(const Media& media) {
  std::vector<SampleInfo> samples;
  for (const SampleRun& run : media.runs) {
    for (uint32_t i = 0; i < run.count; ++i) {
      samples.push_back({run.offset + uint64_t{i} * run.sampleSize, run.sampleSize,
                         static_cast<uint32_t>(run.decodeDuration), run.descriptionIndex});
    }
  }
  return samples;
}

// Reads stts, stsc, stsz and stco back into one record per sample, as a player would.
std::vector<SampleInfo> samplesOfTables(const Parsed& parsed, const std::string& stbl) {
  const auto stts = u32Fields(parsed.payload(stbl + "/stts"));
  const auto stsc = u32Fields(parsed.payload(stbl + "/stsc"));
  const auto stsz = u32Fields(parsed.payload(stbl + "/stsz"));
  const auto stco = u32Fields(parsed.payload(stbl + "/stco"));
  const uint32_t sampleCount = stsz.at(1);
  std::vector<uint32_t> durations;
  for (size_t e = 0; e < stts.at(0); ++e) {
    durations.insert(durations.end(), stts.at(1 + 2 * e), stts.at(2 + 2 * e));
  }
  std::vector<SampleInfo> samples;
  const uint32_t chunks = stco.at(0);
  for (uint32_t chunk = 1; chunk <= chunks; ++chunk) {
    size_t entry = 0;  // the last stsc entry whose first chunk is at or before this one
    for (size_t e = 0; e < stsc.at(0); ++e) {
      if (stsc.at(1 + 3 * e) <= chunk) entry = e;
    }
    uint64_t offset = stco.at(chunk);
    for (uint32_t i = 0; i < stsc.at(2 + 3 * entry); ++i) {
      const size_t n = samples.size();
      const uint32_t size = stsz.at(0) != 0 ? stsz.at(0) : stsz.at(2 + n);
      samples.push_back({offset, size, durations.at(n), stsc.at(3 + 3 * entry)});
      offset += size;
    }
  }
  EXPECT_EQ(samples.size(), sampleCount);
  EXPECT_EQ(durations.size(), sampleCount);
  return samples;
}

TEST(MovieSerializerTest, RoundTripsEveryTableValue) {
  const Movie movie = sample_movie::makeMovie(1 << 16);
  const Parsed parsed = serializeAndParse(movie);
  ASSERT_EQ(findAtoms(parsed.tree.atoms, "moov/trak").size(), 4u);

  const auto mvhd = u32Fields(parsed.payload("moov/mvhd"));
  EXPECT_EQ(mvhd.at(2), 30000u);  // time scale
  EXPECT_EQ(mvhd.at(3), 60060u);  // duration
  EXPECT_EQ(movie.duration(), 60060);
  EXPECT_EQ(mvhd.back(), 5u);  // next track ID

  for (size_t t = 0; t < movie.tracks.size(); ++t) {
    SCOPED_TRACE(t);
    const Track& track = *movie.tracks[t];
    const Media& media = *track.media;
    const std::string trak = "moov/trak[" + std::to_string(t) + "]";
    const auto tkhd = u32Fields(parsed.payload(trak + "/tkhd"));
    EXPECT_EQ(parsed.payload(trak + "/tkhd")[3], 0x0F);                // flags
    EXPECT_EQ(tkhd.at(2), track.trackID);                              // track ID
    EXPECT_EQ(tkhd.at(4), static_cast<uint32_t>(track.duration()));    // duration
    EXPECT_EQ(tkhd.at(7), 0u);                                         // layer, group
    EXPECT_EQ(tkhd.at(8) >> 16, static_cast<uint16_t>(track.volume));  // volume
    EXPECT_EQ(tkhd.at(18), static_cast<uint32_t>(track.width));        // width
    EXPECT_EQ(tkhd.at(19), static_cast<uint32_t>(track.height));       // height

    const auto elst = u32Fields(parsed.payload(trak + "/edts/elst"));
    EXPECT_EQ(elst, (std::vector<uint32_t>{1, static_cast<uint32_t>(track.edits[0].trackDuration),
                                           0, static_cast<uint32_t>(kFixed1)}));

    const auto mdhd = u32Fields(parsed.payload(trak + "/mdia/mdhd"));
    EXPECT_EQ(mdhd.at(2), static_cast<uint32_t>(media.timescale));
    EXPECT_EQ(mdhd.at(3), static_cast<uint32_t>(media.duration()));
    const auto hdlr = u32Fields(parsed.payload(trak + "/mdia/hdlr"));
    EXPECT_EQ(FourCC(hdlr.at(0)), FourCC("mhlr"));
    EXPECT_EQ(FourCC(hdlr.at(1)), media.type);

    const std::string stbl = trak + "/mdia/minf/stbl";
    const auto stsd = parsed.at(stbl + "/stsd");
    ASSERT_EQ(stsd.children.size(), media.descriptions.size());
    const auto entry = *atomPayload(parsed.bytes, stsd.children[0]);
    EXPECT_EQ(stsd.children[0].type, media.descriptions[0]->format);
    EXPECT_EQ(entry[6] << 8 | entry[7], 1);  // data reference index
    if (media.type != TimeCodeMediaType) {
      EXPECT_EQ(Bytes(entry.begin() + 8, entry.end()), media.descriptions[0]->body);
    }
    EXPECT_EQ(samplesOfTables(parsed, stbl), samplesOfRuns(media));
    // Constant-size media have no size table; the captions vary.
    EXPECT_EQ(u32Fields(parsed.payload(stbl + "/stsz")).size(),
              media.type == ClosedCaptionMediaType ? 2 + media.sampleCount() : 2u);
    for (const char* absent : {"/ctts", "/cslg", "/stss", "/stps", "/sdtp", "/co64"}) {
      EXPECT_EQ(findAtom(parsed.tree.atoms, stbl + absent), nullptr) << absent;
    }
  }
  // First frame alone in its chunk, then chunks of 29 and 30.
  EXPECT_EQ(u32Fields(parsed.payload("moov/trak[0]/mdia/minf/stbl/stsc")),
            (std::vector<uint32_t>{3, 1, 1, 1, 2, 29, 1, 3, 30, 1}));
  // The whole second of sound is one stts entry.
  EXPECT_EQ(u32Fields(parsed.payload("moov/trak[1]/mdia/minf/stbl/stts")),
            (std::vector<uint32_t>{1, 96096, 1}));
}

TEST(MovieSerializerTest, LongDurationsTakeVersion1Atoms) {
  Movie movie = smallMovie();
  Track& track = *movie.tracks[0];
  track.edits = {Edit{0x100000000, 0, kFixed1}};
  track.media->runs = {
      {.offset = 0x1'0000'0000, .sampleSize = 10, .count = 3, .decodeDuration = 0x80000000}};
  const Parsed parsed = serializeAndParse(movie);
  const auto mvhd = parsed.payload("moov/mvhd");
  EXPECT_EQ(mvhd.size(), 112u);
  EXPECT_EQ(mvhd[0], 1);
  ByteReader r(mvhd.subspan(4 + 16));
  EXPECT_EQ(r.u32(), 600u);          // time scale
  EXPECT_EQ(r.u64(), 0x100000000u);  // duration
  const auto tkhd = parsed.payload("moov/trak/tkhd");
  EXPECT_EQ(tkhd.size(), 96u);
  EXPECT_EQ(tkhd[0], 1);
  const auto elst = parsed.payload("moov/trak/edts/elst");
  EXPECT_EQ(elst[0], 1);
  ByteReader e(elst.subspan(4));
  EXPECT_EQ(e.u32(), 1u);            // number of entries
  EXPECT_EQ(e.u64(), 0x100000000u);  // track duration
  EXPECT_EQ(e.i64(), 0);             // media time
  EXPECT_EQ(e.i32(), kFixed1);       // media rate
  EXPECT_TRUE(e.atEnd());
  const auto mdhd = parsed.payload("moov/trak/mdia/mdhd");
  EXPECT_EQ(mdhd.size(), 36u);
  ByteReader m(mdhd.subspan(4 + 16));
  EXPECT_EQ(m.u32(), 600u);
  EXPECT_EQ(m.u64(), uint64_t{3} * 0x80000000);
  EXPECT_NE(findAtom(parsed.tree.atoms, "moov/trak/mdia/minf/stbl/co64"), nullptr);
  EXPECT_EQ(findAtom(parsed.tree.atoms, "moov/trak/mdia/minf/stbl/stco"), nullptr);
}

TEST(MovieSerializerTest, EmptyEditKeepsMinusOneMediaTime) {
  Movie movie = smallMovie();
  movie.tracks[0]->edits.insert(movie.tracks[0]->edits.begin(), Edit{10, -1, kFixed1});
  const auto elst = u32Fields(serializeAndParse(movie).payload("moov/trak/edts/elst"));
  EXPECT_EQ(elst, (std::vector<uint32_t>{2, 10, 0xFFFFFFFF, 0x10000, 40, 0, 0x10000}));
}

// The metadata atoms themselves are checked in metadata_atoms_test.cc.
TEST(MovieSerializerTest, UserDataAndMetadataFollowTheTracks) {
  const Parsed parsed = serializeAndParse(sample_movie::makeMovie(1 << 16));
  std::vector<FourCC> types;
  for (const auto& child : parsed.tree.atoms[0].children) types.push_back(child.type);
  EXPECT_EQ(types,
            (std::vector<FourCC>{FourCC("mvhd"), FourCC("trak"), FourCC("trak"), FourCC("trak"),
                                 FourCC("trak"), FourCC("udta"), FourCC("meta")}));
  EXPECT_EQ(findAtom(serializeAndParse(smallMovie()).tree.atoms, "moov/udta"), nullptr);
  EXPECT_EQ(findAtom(serializeAndParse(smallMovie()).tree.atoms, "moov/meta"), nullptr);
}

TEST(MovieSerializerTest, TracksWithoutMediaAreLeftOut) {
  Movie movie = smallMovie();
  auto empty = std::make_unique<Track>();
  empty->trackID = 2;
  movie.tracks.push_back(std::move(empty));
  const Parsed parsed = serializeAndParse(movie);
  EXPECT_EQ(findAtoms(parsed.tree.atoms, "moov/trak").size(), 1u);
  EXPECT_EQ(u32Fields(parsed.payload("moov/mvhd")).back(), 3u);  // next track ID
  EXPECT_EQ(serializationProblem(movie, sample_movie::selfReference()), "track 2 has no media");
}

TEST(MovieSerializerTest, ProblemsSayWhatCannotBeWritten) {
  const DataReference self = sample_movie::selfReference();
  EXPECT_EQ(serializationProblem(sample_movie::makeMovie(1 << 16), self), std::nullopt);
  {
    Movie movie = smallMovie();
    movie.timescale = 0;
    EXPECT_EQ(serializationProblem(movie, self), "the movie's time scale is 0");
  }
  {
    Movie movie = smallMovie();
    movie.tracks[0]->media->dataReferences.push_back(
        {DataReference{AliasDataHandlerSubType, "/elsewhere.mov", {}}, 0});
    EXPECT_EQ(serializationProblem(movie, self),
              "track 1 refers to data other than the movie's file: 'alis' /elsewhere.mov");
  }
  {
    Movie movie = smallMovie();
    movie.tracks[0]->media->runs = {
        {.offset = 40, .sampleSize = 100, .count = 2, .decodeDuration = 20, .descriptionIndex = 3}};
    EXPECT_EQ(serializationProblem(movie, self),
              "track 1: sample run 1 names sample description 3 of 1");
  }
  {
    Movie movie = smallMovie();
    movie.tracks[0]->media->descriptions.push_back(nullptr);
    EXPECT_EQ(serializationProblem(movie, self), "track 1: sample description 2 is missing");
    // Still written, as an empty entry, so later indexes keep their place.
    EXPECT_EQ(u32Fields(serializeAndParse(movie).payload("moov/trak/mdia/minf/stbl/stsd")).at(0),
              2u);
  }
  {
    Movie movie = smallMovie();
    movie.metadata.push_back({FourCC("udta"), FourCC("udta"), Bytes{'a', 'b'}, {}, 1});
    EXPECT_EQ(serializationProblem(movie, self), "a user data item's key is 2 bytes, not 4");
  }
}

}  // namespace
}  // namespace premoov
