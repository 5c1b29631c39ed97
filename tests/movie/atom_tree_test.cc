#include "movie/atom_tree.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/atom_writer.h"
#include "base/byte_writer.h"

namespace premoov {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes asBytes(std::optional<std::span<const uint8_t>> payload) {
  if (!payload) return {};
  return Bytes(payload->begin(), payload->end());
}

std::vector<FourCC> typesOf(const std::vector<AtomNode>& atoms) {
  std::vector<FourCC> types;
  for (const auto& atom : atoms) types.push_back(atom.type);
  return types;
}

TEST(AtomTreeTest, DescendsIntoContainersOnly) {
  const Bytes bytes = {
      0,    0,    0,   36,   // moov size
      'm',  'o',  'o', 'v',  // type
      0,    0,    0,   12,   // mvhd size
      'm',  'v',  'h', 'd',  // type
      1,    2,    3,   4,    // payload
      0,    0,    0,   16,   // trak size
      't',  'r',  'a', 'k',  // type
      0,    0,    0,   8,    // tkhd size
      't',  'k',  'h', 'd',  // type
      0,    0,    0,   8,    // free size
      'f',  'r',  'e', 'e',  // type
      0,    0,    0,   10,   // mdat size
      'm',  'd',  'a', 't',  // type
      0xAA, 0xBB,            // payload
  };
  const AtomTree tree = parseAtomTree(bytes);
  ASSERT_TRUE(tree.ok()) << tree.error->message();
  EXPECT_EQ(typesOf(tree.atoms),
            (std::vector<FourCC>{FourCC("moov"), FourCC("free"), FourCC("mdat")}));
  const AtomNode& moov = tree.atoms[0];
  EXPECT_EQ(moov.size, 36u);
  EXPECT_EQ(typesOf(moov.children), (std::vector<FourCC>{FourCC("mvhd"), FourCC("trak")}));
  EXPECT_TRUE(moov.children[0].children.empty());
  EXPECT_EQ(moov.children[1].offset, 20u);
  ASSERT_EQ(moov.children[1].children.size(), 1u);
  EXPECT_EQ(moov.children[1].children[0].offset, 28u);
  EXPECT_EQ(tree.atoms[2].offset, 44u);
  EXPECT_EQ(tree.atoms[2].payloadSize(), 2u);
  EXPECT_EQ(asBytes(atomPayload(bytes, tree.atoms[2])), (Bytes{0xAA, 0xBB}));
}

TEST(AtomTreeTest, ReadsSixtyFourBitSizes) {
  const Bytes bytes = {
      0,   0,   0,   1,                 // size: 64 bits follow
      'm', 'd', 'a', 't',               // type
      0,   0,   0,   0,   0, 0, 0, 18,  // size
      7,   7,                           // payload
  };
  const AtomTree tree = parseAtomTree(bytes);
  ASSERT_TRUE(tree.ok());
  ASSERT_EQ(tree.atoms.size(), 1u);
  EXPECT_EQ(tree.atoms[0].headerSize, 16u);
  EXPECT_EQ(tree.atoms[0].size, 18u);
  EXPECT_EQ(asBytes(atomPayload(bytes, tree.atoms[0])), (Bytes{7, 7}));
}

TEST(AtomTreeTest, SizeZeroRunsToTheEndOfItsContainer) {
  const Bytes bytes = {
      0,   0,   0,   24,   // moov size
      'm', 'o', 'o', 'v',  // type
      0,   0,   0,   8,    // trak size
      't', 'r', 'a', 'k',  // type
      0,   0,   0,   0,    // udta size: to the end of moov
      'u', 'd', 't', 'a',  // type
      0,   0,   0,   0,    // mdat size: to the end of the range
      'm', 'd', 'a', 't',  // type
      1,   2,   3,         // payload
  };
  const AtomTree tree = parseAtomTree(bytes);
  ASSERT_TRUE(tree.ok()) << tree.error->message();
  ASSERT_EQ(tree.atoms.size(), 2u);
  EXPECT_EQ(tree.atoms[0].children[1].size, 8u);
  EXPECT_EQ(tree.atoms[1].size, 11u);
}

// QuickTime may end a container's list with a 32-bit zero.
TEST(AtomTreeTest, AcceptsAZeroTerminatorInsideContainers) {
  const Bytes bytes = {
      0,   0,   0,   20,   // udta size
      'u', 'd', 't', 'a',  // type
      0,   0,   0,   8,    // child size
      'n', 'a', 'm', 'e',  // type
      0,   0,   0,   0,    // terminator
  };
  const AtomTree tree = parseAtomTree(bytes);
  ASSERT_TRUE(tree.ok()) << tree.error->message();
  EXPECT_EQ(tree.atoms[0].children.size(), 1u);
}

struct BadInput {
  const char* name;
  Bytes bytes;
  AtomTreeErrorCode code;
  uint64_t offset;
  std::string message;
  size_t atomsKept;
};

class AtomTreeErrorTest : public testing::TestWithParam<BadInput> {};

TEST_P(AtomTreeErrorTest, StopsWithTheOffsetOfTheBadAtom) {
  const BadInput& input = GetParam();
  const AtomTree tree = parseAtomTree(input.bytes);
  ASSERT_FALSE(tree.ok());
  EXPECT_EQ(tree.error->code, input.code);
  EXPECT_EQ(tree.error->offset, input.offset);
  EXPECT_EQ(tree.error->message(), input.message);
  EXPECT_EQ(tree.atoms.size(), input.atomsKept);
  EXPECT_NE(dumpAtomTree(tree, input.bytes).find("error: " + input.message), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    BadSizes, AtomTreeErrorTest,
    testing::Values(
        BadInput{"SizeSmallerThanHeader",
                 {0, 0, 0, 8, 'f', 'r', 'e', 'e',  //
                  0, 0, 0, 4, 'm', 'o', 'o', 'v'},
                 AtomTreeErrorCode::kSizeSmallerThanHeader,
                 8,
                 "atom size smaller than its header at offset 8 ('moov', size 4)",
                 1},
        BadInput{"WideSizeSmallerThanHeader",
                 {0, 0, 0, 1, 'm', 'd', 'a', 't', 0, 0, 0, 0, 0, 0, 0, 12},
                 AtomTreeErrorCode::kSizeSmallerThanHeader,
                 0,
                 "atom size smaller than its header at offset 0 ('mdat', size 12)",
                 0},
        BadInput{"ChildPastParent",
                 {0, 0, 0, 28, 'm', 'o', 'o', 'v',  //
                  0, 0, 0, 8,  'm', 'v', 'h', 'd',  //
                  0, 0, 0, 13, 't', 'r', 'a', 'k',  //
                  0, 0, 0, 0},
                 AtomTreeErrorCode::kSizeBeyondContainer,
                 16,
                 "atom runs past its container at offset 16 ('trak', size 13)",
                 1},
        BadInput{"PastTheRange",
                 {0, 0, 0, 200, 'm', 'd', 'a', 't', 0, 0},
                 AtomTreeErrorCode::kSizeBeyondContainer,
                 0,
                 "atom runs past its container at offset 0 ('mdat', size 200)",
                 0},
        BadInput{"HugeWideSize",
                 {0, 0, 0, 1, 'm', 'd', 'a', 't', 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                 AtomTreeErrorCode::kSizeBeyondContainer,
                 0,
                 "atom runs past its container at offset 0 ('mdat', size 18446744073709551615)",
                 0},
        BadInput{"TruncatedHeader",
                 {0, 0, 0, 8, 'f', 'r', 'e', 'e', 0, 0, 0},
                 AtomTreeErrorCode::kTruncatedHeader,
                 8,
                 "atom header cut short at offset 8",
                 1},
        BadInput{"TruncatedWideHeader",
                 {0, 0, 0, 1, 'm', 'd', 'a', 't', 0, 0},
                 AtomTreeErrorCode::kTruncatedHeader,
                 0,
                 "atom header cut short at offset 0 ('mdat', size 1)",
                 0},
        BadInput{"NonZeroTail",
                 {0, 0, 0, 12, 'u', 'd', 't', 'a', 0, 0, 0, 1},
                 AtomTreeErrorCode::kTruncatedHeader,
                 8,
                 "atom header cut short at offset 8",
                 1}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(AtomTreeTest, RefusesContainersNestedTooDeeply) {
  ByteWriter w;
  {
    std::vector<std::unique_ptr<AtomScope>> scopes;
    for (int i = 0; i < 40; ++i) scopes.push_back(std::make_unique<AtomScope>(w, FourCC("trak")));
    while (!scopes.empty()) scopes.pop_back();
  }
  const AtomTree tree = parseAtomTree(w.data());
  ASSERT_FALSE(tree.ok());
  EXPECT_EQ(tree.error->code, AtomTreeErrorCode::kNestedTooDeeply);
}

// A file read up to its media: the 'mdat' may end past the bytes at hand, a container may not.
TEST(AtomTreeTest, ReadsAPrefixOfALongerRange) {
  const Bytes bytes = {
      0,   0,   0,   8,                 // moov size
      'm', 'o', 'o', 'v',               // type
      0,   0,   0,   1,                 // mdat size: 64 bits follow
      'm', 'd', 'a', 't',               // type
      0,   0,   0,   1,   0, 0, 0, 16,  // size: 4 GiB and 16 bytes
  };
  const AtomTree whole = parseAtomTree(bytes, 8 + 0x100000010);
  ASSERT_TRUE(whole.ok()) << whole.error->message();
  EXPECT_EQ(whole.atoms[1].size, 0x100000010u);
  EXPECT_FALSE(atomPayload(bytes, whole.atoms[1]).has_value());

  EXPECT_EQ(parseAtomTree(bytes).error->code, AtomTreeErrorCode::kSizeBeyondContainer);

  const Bytes cut = {0, 0, 0, 100, 'm', 'o', 'o', 'v', 0, 0, 0, 8};
  const AtomTree tree = parseAtomTree(cut, 100);
  ASSERT_FALSE(tree.ok());
  EXPECT_EQ(tree.error->code, AtomTreeErrorCode::kPastBytesRead);
  EXPECT_EQ(tree.error->message(), "atom lies past the bytes read at offset 0 ('moov', size 100)");
}

// Writes a 'trak' whose media handler names `mediaType`, holding one sample description.
Bytes trackWithDescription(FourCC mediaType, FourCC format, const Bytes& fields,
                           const Bytes& extensions) {
  ByteWriter w;
  {
    AtomScope trak(w, FourCC("trak"));
    AtomScope mdia(w, FourCC("mdia"));
    {
      AtomScope hdlr(w, FourCC("hdlr"), 0, 0);
      w.fourCC(FourCC("mhlr"));
      w.fourCC(mediaType);
      w.zeros(13);
    }
    AtomScope minf(w, FourCC("minf"));
    AtomScope stbl(w, FourCC("stbl"));
    AtomScope stsd(w, FourCC("stsd"), 0, 0);
    w.u32(1);
    AtomScope entry(w, format);
    w.zeros(6);
    w.u16(1);
    w.bytes(fields);
    w.bytes(extensions);
  }
  return w.take();
}

Bytes extension(FourCC type, size_t payload) {
  ByteWriter w;
  {
    AtomScope atom(w, type);
    w.zeros(payload);
  }
  return w.take();
}

TEST(AtomTreeTest, FindsExtensionsOfSampleDescriptionsByMediaType) {
  {
    const Bytes video = trackWithDescription(FourCC("vide"), FourCC("apcn"), Bytes(70, 0),
                                             extension(FourCC("colr"), 10));
    const AtomTree tree = parseAtomTree(video);
    ASSERT_TRUE(tree.ok()) << tree.error->message();
    EXPECT_NE(findAtom(tree.atoms, "trak/mdia/minf/stbl/stsd/apcn/colr"), nullptr);
  }
  {
    Bytes fields(20, 0);  // version 0
    const Bytes sound0 =
        trackWithDescription(FourCC("soun"), FourCC("twos"), fields, extension(FourCC("chan"), 12));
    EXPECT_NE(findAtom(parseAtomTree(sound0).atoms, "trak/mdia/minf/stbl/stsd/twos/chan"), nullptr);
    fields.resize(56, 0);
    fields[1] = 2;  // version 2
    const Bytes sound2 =
        trackWithDescription(FourCC("soun"), FourCC("lpcm"), fields, extension(FourCC("chan"), 12));
    const AtomTree tree = parseAtomTree(sound2);
    ASSERT_TRUE(tree.ok()) << tree.error->message();
    EXPECT_NE(findAtom(tree.atoms, "trak/mdia/minf/stbl/stsd/lpcm/chan"), nullptr);
  }
  {
    const Bytes name = {0, 0, 0, 16, 'n', 'a', 'm', 'e', 0, 4, 0, 0, 'R', 'E', 'E', 'L'};
    const Bytes timecode = trackWithDescription(FourCC("tmcd"), FourCC("tmcd"), Bytes(18, 0), name);
    const AtomTree tree = parseAtomTree(timecode);
    ASSERT_TRUE(tree.ok()) << tree.error->message();
    const AtomNode* reel = findAtom(tree.atoms, "trak/mdia/minf/stbl/stsd/tmcd/name");
    ASSERT_NE(reel, nullptr);
    EXPECT_EQ(reel->size, 16u);
    EXPECT_NE(dumpAtomTree(tree, timecode).find("name @"), std::string::npos);
    EXPECT_NE(dumpAtomTree(tree, timecode).find(": \"REEL\""), std::string::npos);
  }
  {
    // An unknown media's descriptions are left whole.
    const Bytes other = trackWithDescription(FourCC("meta"), FourCC("mebx"), Bytes(8, 0),
                                             extension(FourCC("keys"), 4));
    const AtomTree tree = parseAtomTree(other);
    ASSERT_TRUE(tree.ok());
    const AtomNode* entry = findAtom(tree.atoms, "trak/mdia/minf/stbl/stsd/mebx");
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(entry->children.empty());
  }
}

TEST(AtomTreeTest, ReadsPlainAndFullMetaAtoms) {
  const Bytes plain = {
      0,   0,   0,   16,   // meta size
      'm', 'e', 't', 'a',  // type
      0,   0,   0,   8,    // hdlr size
      'h', 'd', 'l', 'r',  // type
  };
  const Bytes full = {
      0,   0,   0,   20,   // meta size
      'm', 'e', 't', 'a',  // type
      0,   0,   0,   0,    // version, flags
      0,   0,   0,   8,    // hdlr size
      'h', 'd', 'l', 'r',  // type
  };
  for (const Bytes& bytes : {plain, full}) {
    const AtomTree tree = parseAtomTree(bytes);
    ASSERT_TRUE(tree.ok()) << tree.error->message();
    EXPECT_NE(findAtom(tree.atoms, "meta/hdlr"), nullptr);
  }
}

TEST(AtomTreeTest, FindsAtomsByPath) {
  ByteWriter w;
  {
    AtomScope moov(w, FourCC("moov"));
    for (int i = 0; i < 3; ++i) {
      AtomScope trak(w, FourCC("trak"));
      AtomScope tkhd(w, FourCC("tkhd"));
      w.u8(static_cast<uint8_t>(i));
    }
    AtomScope udta(w, FourCC("udta"));
  }
  const Bytes bytes = w.take();
  const AtomTree tree = parseAtomTree(bytes);
  ASSERT_TRUE(tree.ok());
  const AtomNode* second = findAtom(tree.atoms, "moov/trak[1]/tkhd");
  ASSERT_NE(second, nullptr);
  EXPECT_EQ((*atomPayload(bytes, *second))[0], 1);
  EXPECT_EQ(findAtom(tree.atoms, "moov/trak/tkhd"), findAtom(tree.atoms, "moov/trak[0]/tkhd"));
  EXPECT_EQ(findAtom(tree.atoms, "moov/trak[3]/tkhd"), nullptr);
  EXPECT_EQ(findAtoms(tree.atoms, "moov/trak/tkhd").size(), 3u);
  EXPECT_EQ(findAtoms(tree.atoms, "moov/trak").size(), 3u);
  EXPECT_NE(findAtom(tree.atoms, "moov/udta"), nullptr);
  EXPECT_EQ(findAtom(tree.atoms, "moov/mvhd"), nullptr);
  for (const char* malformed : {"", "moov/", "moo", "moov/trak[", "moov/trak[x]", "moov/trak[]",
                                "moov/trak]1[", "moov//trak", "moov/trak[1]x"}) {
    EXPECT_EQ(findAtom(tree.atoms, malformed), nullptr) << malformed;
  }
}

TEST(AtomTreeTest, DumpsAnIndentedTreeWithSummaries) {
  ByteWriter w;
  {
    AtomScope moov(w, FourCC("moov"));
    {
      AtomScope mvhd(w, FourCC("mvhd"), 0, 0);
      w.u32(0);
      w.u32(0);
      w.u32(600);   // time scale
      w.u32(1200);  // duration
      w.zeros(76);
      w.u32(3);  // next track ID
    }
    AtomScope trak(w, FourCC("trak"));
    {
      AtomScope tkhd(w, FourCC("tkhd"), 0, 0xF);
      w.zeros(8);
      w.u32(2);  // track ID
      w.u32(0);
      w.u32(1200);  // duration
      w.zeros(8 + 2);
      w.u16(0);  // alternate group
      w.zeros(4 + 36);
      w.u32(1920 << 16);
      w.u32(1080 << 16);
    }
    AtomScope mdia(w, FourCC("mdia"));
    {
      AtomScope mdhd(w, FourCC("mdhd"), 1, 0);
      w.u64(0);
      w.u64(0);
      w.u32(30000);        // time scale
      w.u64(0x100000000);  // duration
      w.u16(0);            // language
      w.u16(0);
    }
    {
      AtomScope hdlr(w, FourCC("hdlr"), 0, 0);
      w.fourCC(FourCC("mhlr"));
      w.fourCC(FourCC("vide"));
      w.zeros(13);
    }
    AtomScope minf(w, FourCC("minf"));
    AtomScope stbl(w, FourCC("stbl"));
    {
      AtomScope stsz(w, FourCC("stsz"), 0, 0);
      w.u32(1000);
      w.u32(30);
    }
    {
      AtomScope stco(w, FourCC("stco"), 0, 0);
      w.u32(2);
      w.u32(0);
      w.u32(0);
    }
  }
  const Bytes bytes = w.take();
  const std::string expected =
      "moov @0 size 361\n"
      "  mvhd @8 size 108: version 0, time scale 600, duration 1200, next track ID 3\n"
      "  trak @116 size 245\n"
      "    tkhd @124 size 92: version 0, flags 0xf, track ID 2, duration 1200, alternate group 0, "
      "1920x1080\n"
      "    mdia @216 size 145\n"
      "      mdhd @224 size 44: version 1, time scale 30000, duration 4294967296, language 0\n"
      "      hdlr @268 size 33: type mhlr, subtype vide\n"
      "      minf @301 size 60\n"
      "        stbl @309 size 52\n"
      "          stsz @317 size 20: sample size 1000, samples 30\n"
      "          stco @337 size 24: entries 2\n";
  EXPECT_EQ(dumpAtomTree(parseAtomTree(bytes), bytes), expected);
}

// Every cut and every corrupted byte of a valid tree parses to a tree or an error, never past
// the bytes (the sanitizers check the reads).
TEST(AtomTreeTest, SurvivesCutsAndCorruption) {
  const Bytes valid = trackWithDescription(FourCC("soun"), FourCC("lpcm"), Bytes(56, 0),
                                           extension(FourCC("chan"), 12));
  ASSERT_TRUE(parseAtomTree(valid).ok());
  for (size_t cut = 0; cut < valid.size(); ++cut) {
    const Bytes prefix(valid.begin(), valid.begin() + static_cast<long>(cut));
    const AtomTree tree = parseAtomTree(prefix);
    EXPECT_EQ(tree.ok(), cut == 0) << cut;
    dumpAtomTree(tree, prefix);
    // Within the whole range the cut container's children lie past the bytes read.
    EXPECT_FALSE(parseAtomTree(prefix, valid.size()).ok()) << cut;
  }
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    Bytes corrupt = valid;
    for (int i = 0; i < 3; ++i) {
      corrupt[random() % corrupt.size()] = static_cast<uint8_t>(random());
    }
    const AtomTree tree = parseAtomTree(corrupt);
    const std::string dump = dumpAtomTree(tree, corrupt);
    EXPECT_EQ(tree.ok(), dump.find("error: ") == std::string::npos);
  }
}

}  // namespace
}  // namespace premoov
