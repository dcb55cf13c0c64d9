// The walk over the links and what it says in the log. Stacks by what they show: listing_test.cpp.

#include "verifier_fixture.h"

namespace stack_test {
namespace {

using enum link_outcome_t;

class Verify : public VerifierTest {
protected:
    /// Lines of one call, with modules and symbols read before.
    lines_t linesOf(StackVerifier& verifier, const stack_t& records, std::uint64_t ip)
    {
        stack_t first = records;
        verify(verifier, first, ip);
        stack_t second = records;
        return debugLines([&] { EXPECT_TRUE(verify(verifier, second, ip)); });
    }
};

TEST_F(Verify, AnEmptyStackIsOneLine)
{
    EXPECT_EQ(linesOf(navigating, {}, 4096),
              lines_t{"StackVerifier::verify: PID = 42, tsc = 1000, ip = 4096, lbrStackSize = 0"});
    EXPECT_TRUE(navigating.lastLinks().empty());
}

TEST_F(Verify, AddressesOfALinkAreHexadecimal)
{
    StackVerifier verifier(modules, nullptr, true);
    EXPECT_EQ(linesOf(verifier, {{0x10, 0xdead0000}}, 0x20),
              (lines_t{"StackVerifier::verify: PID = 42, tsc = 1000, ip = 32, lbrStackSize = 1",
                       " ipChildFrom = 0x20, ipParentTo = 0xdead0000", "No loader context",
                       "Cannot resolve ipTo = 0xdead0000"}));
}

TEST_F(Verify, AChildInNoCodeIsNamed)
{
    const lines_t lines = linesOf(navigating, {record("main_calls_work", "work")}, nowhere);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1], " ipChildFrom = 0xdead0000, ipParentTo = " + hex(at("work")));
    EXPECT_EQ(lines[2], "Cannot resolve ipFrom = 0xdead0000");
}

TEST_F(Verify, LinksAreWalkedFromTheNewestAndSpeakOnlyOfTheirAddresses)
{
    const stack_t records{record("start_calls_main", "main"), record("main_calls_work", "work")};
    const lines_t lines = linesOf(navigating, records, at("work_loops"));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1],
              " ipChildFrom = " + hex(at("work_loops")) + ", ipParentTo = " + hex(at("work")));
    EXPECT_EQ(lines[2],
              " ipChildFrom = " + hex(at("main_calls_work")) + ", ipParentTo = " + hex(at("main")));
}

TEST_F(Verify, AnEntryWithinAFunctionFailsWithoutASearch)
{
    const lines_t lines =
        linesOf(navigating, {record("work_calls_leaf", "leaf_middle")}, at("leaf_middle"));
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2],
              "Invalid function start for rva_to = " + hex(program().rva("leaf_middle"), 18));
    EXPECT_EQ(lines[3], "Symbol validation failed");
}

TEST_F(Verify, AnAddressWithoutALocationFailsWithoutASearch)
{
    mapAs(process, program().path(), 0x555700000000, 0x55570000ffff, 0x1000);
    const std::uint64_t main = 0x555700000000 + program().rva("main") - 0x1000;
    const lines_t lines = linesOf(navigating, {{0, main}}, 0x555700008000);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2], "Failed to get location for RVA: rva_from = 0x9000            ");
    EXPECT_EQ(lines[3], "Symbol validation failed");
}

TEST_F(Verify, AMismatchIsToldInDecimalBeforeTheSearch)
{
    const lines_t lines =
        linesOf(navigating, {record("work_calls_leaf", "landing")}, at("leaf_middle"));
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2], "Symbol mismatch: PID = 42, tsc = 1000, ip_from = " +
                            std::to_string(at("leaf_middle")) + " (" + program().path() +
                            "), ip_to = " + std::to_string(at("landing")) + " (" +
                            program().path() + ")");
    EXPECT_EQ(lines[3], "Basic block validation failed");
}

TEST_F(Verify, AMismatchThatTheSearchSettlesSaysNoMore)
{
    const lines_t lines =
        linesOf(navigating, {record("main_calls_hop", "hop")}, at("landing_middle"));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[2].starts_with("Symbol mismatch: "));
}

TEST_F(Verify, AMismatchNamesModulesAsTheyWereRecorded)
{
    // No file is found for it, so the path that was found is empty.
    const std::string recorded = "/no/such/folder/listing";
    mapAs(process, recorded, 0x555900000000, 0x555900000fff, 0x1000);
    const lines_t lines = linesOf(plain, {{0, 0x555900000000}}, 0x555900000010);
    EXPECT_TRUE(contains(lines, "Symbol mismatch: PID = 42, tsc = 1000, ip_from = " +
                                    std::to_string(0x555900000010) + " (" + recorded +
                                    "), ip_to = " + std::to_string(0x555900000000) + " (" +
                                    recorded + ")"));
}

TEST_F(Verify, AModuleWithoutSymbolsIsAMismatchThatTheSearchDecides)
{
    const lines_t lines =
        linesOf(navigating, {record("main_calls_work", "bare:work")}, at("bare:work_calls_leaf"));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[2].starts_with("Symbol mismatch: "));
    EXPECT_EQ(navigating.lastLinks(), (links_t{basicBlocks}));
}

TEST_F(Verify, AFailedTransitionNamesTheChildAsRecordedAndTheFileOfTheOther)
{
    mapAs(process, program().path(), 0x555700000000, 0x55570000ffff, 0x1000);
    mapAs(process, "/no/such/file", 0x555900000000, 0x555900000fff, 0);
    const lines_t lines = linesOf(navigating, {{0, 0x555700008000}}, 0x555900000010);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2], "Failed to get location for RVA: rva_to = 0x9000            ");
    EXPECT_EQ(lines[3], "Crossmodule verification failed: PID = 42, tsc = 1000, ip_from = " +
                            std::to_string(0x555900000010) + " (/no/such/file), ip_to = " +
                            std::to_string(0x555700008000) + " (" + program().path() + ")");
}

TEST_F(Verify, TwoMappingsOfOneModuleAreTwoSegments)
{
    map(process, program(), 0x555900000000);
    stack_t records{{at("main_calls_work"), 0x555900000000 + program().rva("work")}};
    EXPECT_EQ(linksOf(records, at("leaf_middle")), (links_t{otherModule}));
}

TEST_F(Verify, AChangeOfPrivilegeAsksForNoSymbols)
{
    mapAs(process, "/no/such/file", 0x555900000000, 0x555900000fff, 0);
    stack_t records{{0, 0x555900000000}};
    const lines_t lines =
        debugLines([&] { EXPECT_TRUE(verify(navigating, records, at("kernel:leaf"))); });
    EXPECT_EQ(records.size(), 1U);
    for (const std::string& line : lines)
        EXPECT_EQ(line.find("symobls"), std::string::npos) << line;
}

TEST_F(Verify, WithoutNavigationAMismatchAloneCutsNothing)
{
    stack_t records{record("main_calls_work", "work"), record("work_calls_leaf", "landing")};
    EXPECT_TRUE(verify(plain, records, at("leaf_middle")));
    EXPECT_EQ(records.size(), 2U);
    EXPECT_EQ(plain.lastLinks(), (links_t{basicBlocks, symbol}));
}

TEST_F(Verify, WithoutNavigationAnEntryWithinAFunctionStillCuts)
{
    stack_t records{record("work_calls_leaf", "leaf_middle")};
    EXPECT_TRUE(verify(plain, records, at("leaf_middle")));
    EXPECT_TRUE(records.empty());
}

TEST_F(Verify, OnlyTheSampleMayLieWithinABlock)
{
    EXPECT_EQ(linksOf({record("main_calls_bare", "bare")}, "bare_middle"), (links_t{basicBlocks}));
    EXPECT_EQ(
        linksOf({record("main_calls_bare", "bare"), record("bare_middle", "leaf")}, "leaf_middle"),
        (links_t{symbol, cutBasicBlocks}));
}

TEST_F(Verify, OneClockMeansTheTickOfTheSampleForGeneratedCode)
{
    stack_t records{record("jit:10", "jit:20")};
    EXPECT_TRUE(navigating.verify(records, jit, tsc, pid, kernel, process));
    ASSERT_EQ(loader->questions.size(), 2U);
    EXPECT_EQ(loader->questions[0].time, tsc);
    EXPECT_EQ(loader->questions[1].time, tsc);
    EXPECT_TRUE(verify(navigating, records, jit));
    EXPECT_EQ(loader->questions.back().time, jitTime);
}

TEST_F(Verify, AnswersAreThoseOfTheLastCall)
{
    EXPECT_EQ(linksOf({record("work_calls_leaf", "leaf")}, "leaf"), (links_t{symbol}));
    EXPECT_EQ(linksOf({}, "leaf"), links_t{});
}

} // namespace
} // namespace stack_test
