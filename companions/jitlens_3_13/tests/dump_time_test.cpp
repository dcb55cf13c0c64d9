// Which code of a dump is where, and when.

#include "loader_fixture.h"

namespace {

class DumpTime : public LoaderTest {
protected:
    DumpBuilder dump;
};

TEST_F(DumpTime, codeIsThereFromItsLoadOn)
{
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(at(99, 0x1000), nothing);
    EXPECT_EQ(at(100, 0x1000), "f+0");
    EXPECT_EQ(at(forever, 0x1000), "f+0");
}

TEST_F(DumpTime, codeEndsWithItsLastByte)
{
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(at(100, 0xfff), nothing);
    EXPECT_EQ(at(100, 0x100f), "f+15");
    EXPECT_EQ(at(100, 0x1010), nothing);
}

TEST_F(DumpTime, theAddressIsReusedByLaterCode)
{
    dump.load(100, 0x1000, "old", 16);
    dump.load(200, 0x1000, "new", 16);
    add(dump);
    EXPECT_EQ(at(199, 0x1004), "old+4");
    EXPECT_EQ(at(200, 0x1004), "new+4");
}

TEST_F(DumpTime, aPartialOverlapEndsTheWholeEarlierPiece)
{
    dump.load(100, 0x1000, "old", 0x100);
    dump.load(200, 0x1080, "new", 0x100);
    add(dump);
    EXPECT_EQ(at(199, 0x1000), "old+0");
    EXPECT_EQ(at(200, 0x1000), nothing);
    EXPECT_EQ(at(200, 0x1080), "new+0");
    EXPECT_EQ(at(200, 0x117f), "new+255");
}

TEST_F(DumpTime, onePieceEndsAllThatItIsLaidOver)
{
    dump.load(100, 0x1000, "a", 0x10);
    dump.load(101, 0x1020, "b", 0x10);
    dump.load(102, 0x1040, "c", 0x10);
    dump.load(103, 0x1060, "beside", 0x10);
    dump.load(200, 0x100f, "wide", 0x32);
    add(dump);
    EXPECT_EQ(at(199, 0x1048), "c+8");
    EXPECT_EQ(at(200, 0x1000), nothing);
    EXPECT_EQ(at(200, 0x1028), "wide+25");
    EXPECT_EQ(at(200, 0x1048), nothing);
    EXPECT_EQ(at(200, 0x1060), "beside+0");
}

TEST_F(DumpTime, touchingPiecesLeaveEachOther)
{
    dump.load(100, 0x1000, "a", 0x10);
    dump.load(200, 0x1010, "b", 0x10);
    dump.load(300, 0xff0, "c", 0x10);
    add(dump);
    EXPECT_EQ(at(300, 0x100f), "a+15");
    EXPECT_EQ(at(300, 0x1010), "b+0");
    EXPECT_EQ(at(300, 0xfff), "c+15");
}

TEST_F(DumpTime, ofLoadsAtOneTickTheLaterInTheFileCounts)
{
    dump.load(100, 0x1000, "first", 16);
    dump.load(100, 0x1000, "second", 16);
    add(dump);
    EXPECT_EQ(at(100, 0x1000), "second+0");
    EXPECT_EQ(region(0, 0, forever)->rva, rvaAt(100, 0x1000));
    EXPECT_EQ(source().functions, 2u);
}

TEST_F(DumpTime, recordsAreTakenInTheOrderOfTime)
{
    dump.load(300, 0x1000, "third", 16);
    dump.load(100, 0x1000, "first", 16);
    dump.move(250, 0x1000, 0x2000, 16);
    dump.load(200, 0x1000, "second", 16);
    add(dump);
    EXPECT_EQ(at(100, 0x1000), "first+0");
    EXPECT_EQ(at(200, 0x1000), "second+0");
    EXPECT_EQ(at(250, 0x1000), nothing);
    EXPECT_EQ(at(250, 0x2000), "second+0");
    EXPECT_EQ(at(300, 0x1000), "third+0");
    EXPECT_EQ(source().firstTime, 100u);
    EXPECT_EQ(source().lastTime, 300u);
}

TEST_F(DumpTime, aMovedFunctionKeepsItsRelativeAddress)
{
    const std::size_t place = dump.load(100, 0x1000, "f", 16);
    dump.move(200, 0x1000, 0x5000, 16);
    add(dump);
    EXPECT_EQ(at(199, 0x5000), nothing);
    EXPECT_EQ(at(200, 0x1000), nothing);
    EXPECT_EQ(at(200, 0x5003), "f+3");
    EXPECT_EQ(rvaAt(199, 0x1003), place + 3);
    EXPECT_EQ(rvaAt(200, 0x5003), place + 3);
}

TEST_F(DumpTime, aMoveEndsWhatIsAtTheNewPlace)
{
    dump.load(100, 0x1000, "f", 16, 1);
    dump.load(100, 0x5008, "g", 16, 2);
    dump.move(200, 0x1000, 0x5000, 16, 1);
    add(dump);
    EXPECT_EQ(at(200, 0x5000), "f+0");
    EXPECT_EQ(at(200, 0x5010), nothing);
}

TEST_F(DumpTime, aMoveMayOverlapItsOldPlace)
{
    dump.load(100, 0x1000, "f", 16);
    dump.move(200, 0x1000, 0x1008, 16);
    add(dump);
    EXPECT_EQ(at(200, 0x1007), nothing);
    EXPECT_EQ(at(200, 0x1008), "f+0");
}

TEST_F(DumpTime, aChainOfMovesIsFollowedByIndexAlthoughPlacesAreTakenMeanwhile)
{
    dump.load(100, 0x1000, "a", 16, 1);
    dump.load(100, 0x2000, "b", 16, 2);
    dump.move(200, 0x1000, 0x2000, 16, 1); // lands on b
    dump.move(200, 0x2000, 0x3000, 16, 2); // b, which a has covered
    add(dump);
    EXPECT_EQ(at(200, 0x1000), nothing);
    EXPECT_EQ(at(200, 0x2000), "a+0");
    EXPECT_EQ(at(200, 0x3000), "b+0");
}

TEST_F(DumpTime, aMoveOfAnUnknownIndexGoesByTheAddress)
{
    dump.load(100, 0x1000, "f", 16, 1);
    dump.move(200, 0x1000, 0x2000, 16, 77);
    add(dump);
    EXPECT_EQ(at(200, 0x2000), "f+0");
    EXPECT_EQ(at(200, 0x1000), nothing);
}

TEST_F(DumpTime, aMoveOfNothingIsCounted)
{
    dump.load(100, 0x1000, "f", 16, 1);
    dump.move(200, 0x1008, 0x2000, 16, 9);
    add(dump);
    EXPECT_EQ(at(200, 0x1000), "f+0");
    EXPECT_EQ(at(200, 0x2000), nothing);
    EXPECT_EQ(source().skipped, 1u);
    EXPECT_EQ(source().functions, 1u);
}

TEST_F(DumpTime, aMoveNeverReachesBeyondTheBytesThatWereLoaded)
{
    dump.load(100, 0x1000, "f", 16);
    dump.load(100, 0x8000, "behind", 64);
    dump.move(200, 0x1000, 0x2000, 64);
    dump.move(300, 0x8000, 0x9000, 8);
    add(dump);
    EXPECT_EQ(at(200, 0x200f), "f+15");
    EXPECT_EQ(at(200, 0x2010), nothing);
    EXPECT_EQ(at(300, 0x9007), "behind+7");
    EXPECT_EQ(at(300, 0x9008), nothing);
}

TEST_F(DumpTime, versionsOfAFunctionHaveRelativeAddressesOfTheirOwn)
{
    const std::size_t first = dump.load(100, 0x1000, "f", "\x90\xc3");
    const std::size_t second = dump.load(200, 0x1000, "f", "\xcc\xc3");
    add(dump);
    EXPECT_EQ(rvaAt(150, 0x1001), first + 1);
    EXPECT_EQ(rvaAt(250, 0x1001), second + 1);
}

TEST_F(DumpTime, codeAtTheEndOfTheAddressSpaceIsFound)
{
    dump.load(100, forever - 15, "last", 16);
    dump.load(100, 0, "zero", 16);
    add(dump);
    EXPECT_EQ(at(100, forever), "last+15");
    EXPECT_EQ(at(100, 0), "zero+0");
    EXPECT_EQ(source().skipped, 0u);
}

TEST_F(DumpTime, ignoredTimesLeaveWhatTheDumpHoldsAtItsEnd)
{
    dump.load(100, 0x1000, "old", 16, 1);
    dump.load(200, 0x1008, "new", 16, 2);
    dump.load(200, 0x3000, "moved", 16, 3);
    dump.move(300, 0x3000, 0x4000, 16, 3);
    add(dump);
    loader->ignoreTimes(pid);
    for (const std::uint64_t time : {std::uint64_t{0}, std::uint64_t{150}, forever}) {
        EXPECT_EQ(at(time, 0x1000), nothing);
        EXPECT_EQ(at(time, 0x1008), "new+0");
        EXPECT_EQ(at(time, 0x3000), nothing);
        EXPECT_EQ(at(time, 0x4000), "moved+0");
    }
    EXPECT_EQ(region(50, 0x1000, 0x1fff)->loadTime, 0u);
}

TEST_F(DumpTime, timesMayBeIgnoredAfterTheSourcesWereLookedAt)
{
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(source().firstTime, 100u);
    loader->ignoreTimes(pid);
    EXPECT_EQ(at(1, 0x1000), "f+0");
}

TEST_F(DumpTime, findRegionGivesAllOfAPiece)
{
    const std::size_t place = dump.load(100, 0x1000, "f", 16);
    dump.load(200, 0x1000, "g", 16);
    add(dump);
    const auto found = region(150, 0x1008, 0x1008);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->first, 0x1000u);
    EXPECT_EQ(found->last, 0x100fu);
    EXPECT_EQ(found->loadTime, 100u);
    EXPECT_EQ(found->unloadTime, 200u);
    EXPECT_EQ(found->rva, place);
    EXPECT_EQ(found->module, moduleAt(150, 0x1000));
}

TEST_F(DumpTime, findRegionPrefersThePieceThatStartedFirst)
{
    dump.load(300, 0x1000, "late", 16);
    dump.load(200, 0x1100, "early", 16);
    dump.load(100, 0x2000, "outside", 16);
    add(dump);
    EXPECT_EQ(region(350, 0x1000, 0x11ff)->loadTime, 200u); // both in force
    EXPECT_EQ(region(10, 0x1000, 0x11ff)->loadTime, 200u);  // both later
    EXPECT_EQ(region(250, 0x1000, 0x1050)->loadTime, 300u); // one in the range, later
}

TEST_F(DumpTime, findRegionPassesOverPiecesThatAreGone)
{
    dump.load(100, 0x1000, "old", 16);
    dump.load(200, 0x1000, "new", 16);
    add(dump);
    EXPECT_EQ(region(199, 0x1000, 0x1000)->loadTime, 100u);
    EXPECT_EQ(region(200, 0x1000, 0x1000)->loadTime, 200u);
}

TEST_F(DumpTime, findRegionTouchesBothEndsOfTheRange)
{
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_TRUE(region(100, 0x100f, 0x2000));
    EXPECT_TRUE(region(100, 0x10, 0x1000));
    EXPECT_FALSE(region(100, 0x1010, 0x2000));
    EXPECT_FALSE(region(100, 0x10, 0xfff));
    EXPECT_FALSE(region(100, 0x1008, 0x1007)); // an empty range
}

} // namespace
