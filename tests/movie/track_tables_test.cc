#include "movie/track_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "movie/track_atoms.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::TrackAtoms;
using testing::trakBytes;

TEST(TrackTablesTest, ReadsTheFieldsAndTablesOfATrack) {
  const auto bytes = trakBytes({.sizes = {81, 81, 81}, .chunkOffsets = {1000, 2000, 3000}});
  const AtomTree tree = parseAtomTree(bytes);
  ASSERT_TRUE(tree.ok());
  const TrackTables tables = readTrackTables(tree.atoms.at(0), bytes);
  EXPECT_THAT(tables.unreadable, IsEmpty());
  EXPECT_EQ(tables.trackID, 4u);
  EXPECT_EQ(tables.handler, FourCC("clcp"));
  EXPECT_EQ(tables.format, FourCC("c708"));
  EXPECT_EQ(tables.timeScale, 30000u);
  EXPECT_EQ(tables.duration, 3003u);
  EXPECT_EQ(tables.sampleCount(), 3u);
  ASSERT_TRUE(tables.timeToSample);
  EXPECT_EQ(tables.timeToSample->count(), 1u);
  EXPECT_FALSE(tables.largeOffsets);
  auto position = tables.positionOf(2);
  ASSERT_TRUE(position);
  EXPECT_EQ(position->offset, 3000u);
  EXPECT_EQ(position->size, 81u);
  EXPECT_FALSE(tables.positionOf(3));
}

TEST(TrackTablesTest, ListsTheAtomsItCannotRead) {
  auto bytes = trakBytes({.sizes = {81}, .chunkOffsets = {1000}, .withStts = false});
  // A track without a time table.
  const AtomTree tree = parseAtomTree(bytes);
  const TrackTables tables = readTrackTables(tree.atoms.at(0), bytes);
  EXPECT_THAT(tables.unreadable, ElementsAre(TrackAtom::kStts));
  EXPECT_EQ(trackAtomPath(TrackAtom::kStts), "mdia/minf/stbl/stts");
}

TEST(TrackTablesTest, CountsOnlyTheEntriesTheAtomHolds) {
  // 'stsz' claims 1000 sizes and holds one.
  auto bytes = trakBytes({.sizes = {81}, .chunkOffsets = {1000}});
  const AtomTree tree = parseAtomTree(bytes);
  const AtomNode* stsz = findAtom(tree.atoms, "trak/mdia/minf/stbl/stsz");
  ASSERT_NE(stsz, nullptr);
  // After version and flags (4) and the constant size (4): the 32-bit count, now 0x3E8.
  bytes[stsz->payloadOffset() + 10] = 0x03;
  bytes[stsz->payloadOffset() + 11] = 0xE8;
  const TrackTables tables = readTrackTables(tree.atoms.at(0), bytes);
  EXPECT_EQ(tables.sampleCount(), 1000u);
  EXPECT_EQ(tables.sizes->countPresent(), 1u);
  EXPECT_EQ(tables.sizeOf(0), 81u);
  EXPECT_FALSE(tables.sizeOf(1));
}

TEST(TrackTablesTest, ReadsLargeOffsets) {
  const auto bytes =
      trakBytes({.sizes = {81}, .chunkOffsets = {uint64_t{5} << 32}, .largeOffsets = true});
  const AtomTree tree = parseAtomTree(bytes);
  const TrackTables tables = readTrackTables(tree.atoms.at(0), bytes);
  EXPECT_TRUE(tables.largeOffsets);
  EXPECT_EQ(tables.chunkOffset(0), uint64_t{5} << 32);
}

}  // namespace
}  // namespace premoov
