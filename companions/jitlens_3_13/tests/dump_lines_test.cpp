// Source lines of a dump.

#include "loader_fixture.h"

namespace {

class DumpLines : public LoaderTest {
protected:
    DumpBuilder dump;
};

TEST_F(DumpLines, anEntryHoldsUpToTheNext)
{
    dump.debugInfo(90, 0x1000, {{0x1002, 10, "a.js"}, {0x1008, 20, "b.js"}});
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1001), nothing);
    EXPECT_EQ(lineAt(100, 0x1002), "a.js:10");
    EXPECT_EQ(lineAt(100, 0x1007), "a.js:10");
    EXPECT_EQ(lineAt(100, 0x1008), "b.js:20");
    EXPECT_EQ(lineAt(100, 0x100f), "b.js:20");
}

TEST_F(DumpLines, entriesNeedNotBeInOrder)
{
    dump.debugInfo(90, 0x1000, {{0x1008, 20, "b.js"}, {0x1000, 10, "a.js"}});
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1004), "a.js:10");
    EXPECT_EQ(lineAt(100, 0x1009), "b.js:20");
}

TEST_F(DumpLines, ofEntriesAtOneAddressTheLastCounts)
{
    dump.debugInfo(90, 0x1000, {{0x1000, 1, "a.js"}, {0x1000, 2, "a.js"}});
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1000), "a.js:2");
}

TEST_F(DumpLines, theByteFfMeansTheFileBefore)
{
    dump.debugInfo(90, 0x1000,
                   {{0x1000, 1, "a.js"},
                    {0x1001, 2, "\xff"},
                    {0x1002, 3, "\xff"},
                    {0x1003, 4, "b.js"},
                    {0x1004, 5, "\xff"},
                    {0x1005, 6,
                     "\xff"
                     "c"}});
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1001), "a.js:2");
    EXPECT_EQ(lineAt(100, 0x1002), "a.js:3");
    EXPECT_EQ(lineAt(100, 0x1004), "b.js:5");
    EXPECT_EQ(lineAt(100, 0x1005), "\xff"
                                   "c:6");
}

TEST_F(DumpLines, theByteFfWithoutAFileBeforeNamesNone)
{
    dump.debugInfo(90, 0x1000, {{0x1000, 1, "\xff"}});
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1000), ":1");
}

TEST_F(DumpLines, aRecordBelongsToTheNextLoadOfItsAddressOnly)
{
    dump.debugInfo(90, 0x1000, {{0x1000, 1, "a.js"}});
    dump.load(95, 0x2000, "other", 16);
    dump.load(100, 0x1000, "f", 16);
    dump.load(200, 0x1000, "g", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x2000), nothing);
    EXPECT_EQ(lineAt(150, 0x1000), "a.js:1");
    EXPECT_EQ(lineAt(200, 0x1000), nothing);
}

TEST_F(DumpLines, aLaterRecordReplacesAnUnusedOne)
{
    dump.debugInfo(80, 0x1000, {{0x1000, 1, "a.js"}});
    dump.debugInfo(90, 0x1000, {{0x1000, 2, "b.js"}});
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1000), "b.js:2");
}

TEST_F(DumpLines, linesGoWithAMovedFunction)
{
    dump.debugInfo(90, 0x1000, {{0x1004, 7, "a.js"}});
    dump.load(100, 0x1000, "f", 16);
    dump.move(200, 0x1000, 0x5000, 16);
    add(dump);
    EXPECT_EQ(lineAt(200, 0x5003), nothing);
    EXPECT_EQ(lineAt(200, 0x5004), "a.js:7");
}

TEST_F(DumpLines, entriesOutsideOfTheFunctionAreLeftOut)
{
    dump.debugInfo(90, 0x1000, {{0xfff, 1, "a.js"}, {0x1010, 2, "a.js"}, {0x1008, -3, "a.js"}});
    dump.load(100, 0x1000, "f", 16);
    dump.load(100, 0x2000, "g", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x100f), nothing);
    EXPECT_EQ(lineAt(100, 0x2000), nothing);
}

TEST_F(DumpLines, aRecordThatClaimsTooManyEntriesIsSkipped)
{
    dump.prefix(2, 32 + 20, 90).quad(0x1000).quad(forever);
    dump.quad(0x1000).word(1).word(0).text(std::string_view("abc\0", 4));
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1000), nothing);
    EXPECT_EQ(source().skipped, 1u);
    EXPECT_EQ(source().fault, "");
}

TEST_F(DumpLines, aFileNameWithoutEndIsSkipped)
{
    dump.prefix(2, 32 + 19, 90).quad(0x1000).quad(1);
    dump.quad(0x1000).word(1).word(0).text("abc");
    dump.load(100, 0x1000, "f", 16);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1000), nothing);
    EXPECT_EQ(source().skipped, 1u);
}

TEST_F(DumpLines, zerosBehindTheEntriesArePaddingAndOtherBytesAreNot)
{
    for (const std::uint64_t address : {0x1000u, 0x2000u}) {
        dump.prefix(2, 32 + 20 + 4, 90).quad(address).quad(1);
        dump.quad(address).word(1).word(0).text(std::string_view("abc\0", 4));
        dump.word(address == 0x1000 ? 0 : 1);
        dump.load(100, address, "f", 16);
    }
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1000), "abc:1");
    EXPECT_EQ(lineAt(100, 0x2000), nothing);
    EXPECT_EQ(source().skipped, 1u);
}

TEST_F(DumpLines, theShiftOfDumpsWithTheMarkOfNodeIsTakenBack)
{
    DumpBuilder::header_t header;
    header.reserved = 0xDEADBEEF;
    DumpBuilder marked(header);
    marked.debugInfo(90, 0x1000, {{0x1040, 1, "a.js"}, {0x1044, 2, "a.js"}});
    marked.load(100, 0x1000, "f", 16);
    marked.debugInfo(90, 0x2000, {{0x2000, 3, "a.js"}, {0x2050, 4, "a.js"}}); // without a shift
    marked.load(100, 0x2000, "g", 128);
    add(marked);
    EXPECT_EQ(lineAt(100, 0x1000), "a.js:1");
    EXPECT_EQ(lineAt(100, 0x1004), "a.js:2");
    EXPECT_EQ(lineAt(100, 0x2000), "a.js:3");
    EXPECT_EQ(lineAt(100, 0x2050), "a.js:4");
}

TEST_F(DumpLines, withoutTheMarkAddressesAreTakenAsTheyAre)
{
    dump.debugInfo(90, 0x1000, {{0x1040, 1, "a.js"}});
    dump.load(100, 0x1000, "f", 128);
    add(dump);
    EXPECT_EQ(lineAt(100, 0x1000), nothing);
    EXPECT_EQ(lineAt(100, 0x1040), "a.js:1");
}

} // namespace
