#include "owned_space.h"
#include "session/address_space.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace samplefold::session {
namespace {

constexpr std::uint64_t g_top = std::numeric_limits<std::uint64_t>::max();

const std::string g_path = "/bin/program";

Mapping mapping(std::uint64_t start, std::uint64_t last, std::uint32_t segment,
                std::uint64_t offset = 0)
{
    return {start, last, offset, segment, &g_path};
}

class AddressSpaceTest : public ::testing::Test {
protected:
    /// Segment at an address and tick, -1 where nothing is.
    static std::int64_t segmentAt(AddressSpace& in, std::uint64_t address, std::uint64_t tick)
    {
        Place place;
        return in.find(address, tick, place) ? std::int64_t{place.segment} : -1;
    }
    std::int64_t at(std::uint64_t address, std::uint64_t tick)
    {
        return segmentAt(space, address, tick);
    }

    OwnedSpace space;
    InheritanceRoom room;
};

TEST_F(AddressSpaceTest, NothingIsMappedAtFirst)
{
    EXPECT_EQ(at(0, 0), -1);
    EXPECT_EQ(at(g_top, g_top), -1);
}

TEST_F(AddressSpaceTest, AMappingHoldsFromItsTickOnWithBothEnds)
{
    space.map(mapping(100, 199, 7), 10);
    EXPECT_EQ(at(100, 10), 7);
    EXPECT_EQ(at(199, 10), 7);
    EXPECT_EQ(at(150, g_top - 1), 7);
    EXPECT_EQ(at(99, 10), -1);
    EXPECT_EQ(at(200, 10), -1);
    EXPECT_EQ(at(150, 9), -1);
}

TEST_F(AddressSpaceTest, APlaceTellsTheByteOfTheFile)
{
    space.map(mapping(0x5000, 0x5fff, 7, 0x2000), 10);
    Place place;
    ASSERT_TRUE(space.find(0x5123, 12, place));
    EXPECT_EQ(place.start, 0x5000U);
    EXPECT_EQ(place.loadTime, 10U);
    EXPECT_EQ(place.rva, 0x2123U);
}

TEST_F(AddressSpaceTest, AMappingMayReachToTheTopOfTheAddressSpace)
{
    space.map(mapping(0xffffffff81000000, g_top, 3, 0xffffffff81000000), 0);
    Place place;
    ASSERT_TRUE(space.find(g_top, 0, place));
    EXPECT_EQ(place.rva, g_top);
}

TEST_F(AddressSpaceTest, ALaterMappingHidesAnEarlierOneUntilItIsUnmapped)
{
    space.map(mapping(0, 99, 1), 10);
    space.map(mapping(40, 59, 2), 20);
    space.unmap(40, 30);
    EXPECT_EQ(at(50, 19), 1);
    EXPECT_EQ(at(50, 20), 2);
    EXPECT_EQ(at(39, 20), 1);
    EXPECT_EQ(at(60, 20), 1);
    EXPECT_EQ(at(50, 29), 2);
    EXPECT_EQ(at(50, 30), 1);
}

TEST_F(AddressSpaceTest, OfOneTickTheLaterRecordWinsAndTheRestOfTheEarlierKeepsItsBytes)
{
    space.map(mapping(0, 99, 1, 1000), 10);
    space.map(mapping(40, 59, 2), 10);
    EXPECT_EQ(at(39, 10), 1);
    EXPECT_EQ(at(40, 10), 2);
    EXPECT_EQ(at(59, 10), 2);
    Place place;
    ASSERT_TRUE(space.find(60, 10, place));
    EXPECT_EQ(place.segment, 1U);
    EXPECT_EQ(place.start, 0U);
    EXPECT_EQ(place.rva, 1060U);
}

TEST_F(AddressSpaceTest, AMappingThatWasReplacedInItsTickStaysAwayWhenAllIsUnmapped)
{
    space.map(mapping(0, 99, 1), 10);
    space.map(mapping(0, 99, 2), 10);
    space.unmapAll(20);
    EXPECT_EQ(at(50, 10), 2);
    EXPECT_EQ(at(50, 19), 2);
    EXPECT_EQ(at(50, 20), -1);
}

TEST_F(AddressSpaceTest, AnUnmappingLeavesTheOrderOfItsTickAlone)
{
    space.map(mapping(200, 299, 9), 5);
    space.map(mapping(0, 99, 1), 10);
    space.unmap(200, 10);
    space.map(mapping(40, 59, 2), 10);
    EXPECT_EQ(at(50, 10), 2);
    EXPECT_EQ(at(250, 9), 9);
    EXPECT_EQ(at(250, 10), -1);
}

TEST_F(AddressSpaceTest, WhatWasUnmappedInItsOwnTickWasNeverThere)
{
    space.map(mapping(0, 99, 1), 10);
    space.unmap(0, 10);
    space.map(mapping(40, 59, 2), 10);
    space.unmapAll(20);
    EXPECT_EQ(at(10, 10), -1);
    EXPECT_EQ(at(50, 10), 2);
    EXPECT_EQ(at(90, 15), -1);
}

TEST_F(AddressSpaceTest, PlainMemoryThatIsLeftOutStillHidesWhatItLiesOver)
{
    space.leaveOutPlainMemory();
    Mapping plain = mapping(140, 159, 8);
    plain.hasImage = false;
    space.map(mapping(100, 199, 7), 10);
    space.map(plain, 20);
    EXPECT_EQ(at(150, 19), 7);
    EXPECT_EQ(at(150, 20), -1);
    EXPECT_EQ(at(139, 20), 7);
    EXPECT_EQ(space.segments.values.size(), 1U) << "only the image is in the segment map";
}

TEST_F(AddressSpaceTest, APlaceTellsWhetherItLiesInAnImage)
{
    Mapping plain = mapping(140, 159, 8);
    plain.hasImage = false;
    space.map(mapping(100, 199, 7), 10);
    space.map(plain, 20);
    Place place;
    ASSERT_TRUE(space.find(150, 19, place));
    EXPECT_TRUE(place.hasImage);
    ASSERT_TRUE(space.find(150, 20, place));
    EXPECT_FALSE(place.hasImage);
}

TEST_F(AddressSpaceTest, AnswersAreSteadyFromOneChangeToTheNext)
{
    space.map(mapping(100, 199, 7), 10);
    space.map(mapping(300, 399, 8), 30);
    space.unmapAll(50);
    EXPECT_EQ(space.steadySpan(5).from, 0U);
    EXPECT_EQ(space.steadySpan(5).until, 10U);
    EXPECT_EQ(space.steadySpan(10).until, 30U);
    EXPECT_EQ(space.steadySpan(49).from, 30U);
    EXPECT_EQ(space.steadySpan(50).until, AddressSpace::never);
}

TEST_F(AddressSpaceTest, AnUnloadTimeThatIsChangedAfterTheBuildCounts)
{
    space.map(mapping(100, 199, 7), 10);
    space.build();
    space.segments.values.front().unloadTime = 25;
    EXPECT_EQ(at(150, 24), 7);
    EXPECT_EQ(at(150, 25), -1);
    EXPECT_EQ(space.steadySpan(24).until, 25U);
}

TEST_F(AddressSpaceTest, PiecesOfACutMappingEndOnTheirOwnAndKeepTheirBytes)
{
    space.map(mapping(100, 199, 7, 0x2000), 10);
    space.build();
    std::uint64_t pieces = 5;
    EXPECT_TRUE(space.cutAt({50, 100, 120, 150, 200}, pieces));
    EXPECT_EQ(pieces, 3U) << "cuts at the ends of the mapping are none";
    for (auto& piece : space.segments.values) {
        if (piece.low() == 120) piece.unloadTime = 20;
    }
    EXPECT_EQ(at(119, 30), 7);
    EXPECT_EQ(at(120, 19), 7);
    EXPECT_EQ(at(120, 20), -1);
    EXPECT_EQ(at(149, 20), -1);
    Place place;
    ASSERT_TRUE(space.find(199, 30, place));
    EXPECT_EQ(place.rva, 0x2000U + 99);
    EXPECT_EQ(place.start, 100U);
}

TEST_F(AddressSpaceTest, CuttingEndsWhereThereIsNoRoom)
{
    space.map(mapping(100, 199, 7), 10);
    space.build();
    std::uint64_t pieces = 1;
    EXPECT_FALSE(space.cutAt({120, 150}, pieces));
    EXPECT_EQ(at(119, 30), 7);
    EXPECT_EQ(at(199, 30), 7);
}

TEST_F(AddressSpaceTest, AMappingOfNoBytesIsNone)
{
    space.map(mapping(100, 99, 1), 0);
    EXPECT_EQ(at(100, 0), -1);
    EXPECT_EQ(at(99, 0), -1);
}

TEST_F(AddressSpaceTest, UnmappingEndsOnlyWhatStartsThere)
{
    space.map(mapping(0, 9, 1), 10);
    space.map(mapping(10, 19, 2), 10);
    space.unmap(5, 20);
    EXPECT_EQ(at(5, 20), 1);
    space.unmap(10, 20);
    EXPECT_EQ(at(5, 20), 1);
}

TEST_F(AddressSpaceTest, AChildTakesOverWhatItsParentHasAtTheFork)
{
    OwnedSpace child;
    space.map(mapping(0, 9, 1), 10);
    space.map(mapping(10, 19, 2), 30);
    child.inherit(space, 20, room);
    child.map(mapping(5, 9, 3), 25);
    EXPECT_EQ(segmentAt(child, 2, 19), -1) << "the child was not there yet";
    EXPECT_EQ(segmentAt(child, 2, 20), 1);
    EXPECT_EQ(segmentAt(child, 5, 24), 1);
    EXPECT_EQ(segmentAt(child, 5, 25), 3);
    EXPECT_EQ(segmentAt(child, 15, 40), -1) << "mapped by the parent after the fork";
    EXPECT_EQ(at(5, 25), 1) << "mapped by the child only";
}

TEST_F(AddressSpaceTest, WhatTheParentDropsLaterStaysWithTheChild)
{
    OwnedSpace child;
    space.map(mapping(0, 9, 1), 10);
    space.unmapAll(30);
    child.inherit(space, 20, room);
    EXPECT_EQ(segmentAt(child, 5, 99), 1);
    EXPECT_EQ(at(5, 30), -1);
}

TEST_F(AddressSpaceTest, AVeryLongLineOfForksIsFollowed)
{
    std::vector<std::unique_ptr<OwnedSpace>> line;
    space.map(mapping(0, 9, 1, 500), 1);
    for (std::uint64_t i = 0; i < 100'000; ++i) {
        line.push_back(std::make_unique<OwnedSpace>());
        line.back()->inherit(i == 0 ? space : *line[i - 1], i + 2, room);
    }
    Place place;
    ASSERT_TRUE(line.back()->find(3, 200'000, place));
    EXPECT_EQ(place.rva, 503U);
    EXPECT_EQ(place.loadTime, 100'001U);
}

TEST_F(AddressSpaceTest, ForksInACircleEndAndGiveWhatEachMapped)
{
    OwnedSpace other;
    space.map(mapping(0, 9, 1), 1);
    other.map(mapping(10, 19, 2), 1);
    space.inherit(other, 5, room);
    other.inherit(space, 5, room);
    EXPECT_EQ(at(5, 9), 1);
    EXPECT_EQ(at(15, 9), 2) << "the other was worked out first";
    EXPECT_EQ(segmentAt(other, 15, 9), 2);
}

TEST_F(AddressSpaceTest, TheRoomForCopiesIsShared)
{
    room.left = 3;
    OwnedSpace first;
    OwnedSpace second;
    space.map(mapping(0, 9, 1), 1);
    space.map(mapping(10, 19, 2), 1);
    first.inherit(space, 5, room);
    second.inherit(space, 5, room);
    EXPECT_EQ(segmentAt(first, 5, 5), 1);
    EXPECT_EQ(segmentAt(first, 15, 5), 2);
    EXPECT_EQ(segmentAt(second, 5, 5), 1);
    EXPECT_EQ(segmentAt(second, 15, 5), -1);
    EXPECT_EQ(room.left, 0U);
    EXPECT_EQ(room.refused, 1U);
}

TEST_F(AddressSpaceTest, ThePiecesOfAMappingHaveRowsOfTheirOwn)
{
    space.map(mapping(0, 99, 1), 10);
    space.map(mapping(40, 59, 2), 10);
    Place below;
    Place above;
    ASSERT_TRUE(space.find(10, 10, below));
    ASSERT_TRUE(space.find(90, 10, above));
    ASSERT_NE(below.entry, above.entry);
    EXPECT_FALSE(space.instanceRow(below.entry).exist());
    space.setInstanceRow(below.entry, rowvault1::Index(12));
    EXPECT_EQ(space.instanceRow(below.entry).value(), 12);
    EXPECT_FALSE(space.instanceRow(above.entry).exist());
}

/// Paths may be very long, and entries very many.
TEST_F(AddressSpaceTest, AllEntriesOfAModuleShareItsPath)
{
    OwnedSpace child;
    space.map(mapping(0, 99, 1), 10);
    child.inherit(space, 20, room);
    std::uint64_t pieces = 10;
    child.build();
    ASSERT_TRUE(child.cutAt({50}, pieces));
    Place below;
    Place above;
    ASSERT_TRUE(child.find(49, 20, below));
    ASSERT_TRUE(child.find(50, 20, above));
    EXPECT_NE(below.entry, above.entry);
    EXPECT_EQ(below.path, &g_path);
    EXPECT_EQ(above.path, &g_path);
    EXPECT_TRUE(child.segments.values[below.entry].modulePath.empty()) << "a copy";
}

} // namespace
} // namespace samplefold::session
