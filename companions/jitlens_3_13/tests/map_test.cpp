// What the reader makes of perf maps.

#include "loader_fixture.h"

#include <random>
#include <vector>

namespace {

using jitlens_3_13::clock_t;
using jitlens_3_13::module_kind_t;
using jitlens_3_13::source_line_t;
using jitlens_3_13::source_t;
using jitlens_3_13::symbol_t;
namespace code = jitlens_3_13::code;

class PerfMap : public LoaderTest {
protected:
    void map(std::string_view content) { add("code.map", content); }
};

TEST_F(PerfMap, aLineNamesItsAddressesAtAnyTime)
{
    map("1000 10 f\n");
    EXPECT_EQ(at(0, 0xfff), nothing);
    EXPECT_EQ(at(0, 0x1000), "f+0");
    EXPECT_EQ(at(forever, 0x100f), "f+15");
    EXPECT_EQ(at(7, 0x1010), nothing);
}

TEST_F(PerfMap, theRelativeAddressIsTheAddress)
{
    map("1000 10 f\n");
    EXPECT_EQ(rvaAt(5, 0x1004), 0x1004u);
    symbol_t symbol;
    ASSERT_TRUE(loader->symbols()->findSymbol(*moduleAt(5, 0x1004), 0x1004, symbol));
    EXPECT_EQ(symbol.rva, 0x1000u);
    EXPECT_EQ(symbol.size, 16u);
    EXPECT_TRUE(symbol.code.empty());
}

TEST_F(PerfMap, theSourceTellsWhatWasRead)
{
    const std::string path = add("x", "1000 10 f\njunk\n2000 10 g\n");
    const source_t read = source();
    EXPECT_EQ(read.path, path);
    EXPECT_EQ(read.kind, module_kind_t::perfMap);
    EXPECT_EQ(read.clock, clock_t::none);
    EXPECT_EQ(read.firstTime, 0u);
    EXPECT_EQ(read.lastTime, 0u);
    EXPECT_EQ(read.functions, 2u);
    EXPECT_EQ(read.skipped, 1u);
    EXPECT_EQ(read.fault, "");
}

TEST_F(PerfMap, numbersMayHaveAPrefixAndAnyCase)
{
    map("0xABcd 0X1f f\n00000000000000000000002000 1 g\n");
    EXPECT_EQ(at(0, 0xabcd + 0x1e), "f+30");
    EXPECT_EQ(at(0, 0x2000), "g+0");
}

TEST_F(PerfMap, namesMayHoldBlanks)
{
    map("1000 10 void f(int, char) [tier 2] \n \t2000\t10 \t g h\n");
    EXPECT_EQ(at(0, 0x1000), "void f(int, char) [tier 2] +0");
    EXPECT_EQ(at(0, 0x2000), "g h+0");
}

TEST_F(PerfMap, carriageReturnsAreDropped)
{
    map("1000 10 f\r\n2000 10 g\r\n\r\n");
    EXPECT_EQ(at(0, 0x1000), "f+0");
    EXPECT_EQ(at(0, 0x2000), "g+0");
    EXPECT_EQ(source().skipped, 0u);
}

TEST_F(PerfMap, theLastLineNeedsNoEnd)
{
    map("1000 10 f\n2000 10 g");
    EXPECT_EQ(at(0, 0x2000), "g+0");
}

TEST_F(PerfMap, linesThatMakeNoSenseAreCounted)
{
    map("1000 10 f\n"
        "\n"                      // blank: nothing
        "2000\n"                  // no size
        "2000 10\n"               // no name
        "2000 10 \n"              // no name
        "2000 0 empty\n"          // no bytes
        "2000 -10 minus\n"        // no number
        "0x 10 prefix\n"          // no digits
        "2000g 10 letter\n"       // no hexadecimal number
        "10000000000000000 1 x\n" // 2^64
        "ffffffffffffffff 2 y\n"  // ends past the address space
        "2000 10000000000000000 z\n");
    EXPECT_EQ(at(0, 0x1000), "f+0");
    EXPECT_EQ(at(0, 0x2000), nothing);
    EXPECT_EQ(source().functions, 1u);
    EXPECT_EQ(source().skipped, 10u);
}

TEST_F(PerfMap, theEndsOfTheAddressSpaceCanBeNamed)
{
    map("0 1 zero\nffffffffffffffff 1 last\n");
    EXPECT_EQ(at(0, 0), "zero+0");
    EXPECT_EQ(at(0, forever), "last+0");
    EXPECT_EQ(at(0, 1), nothing);
}

TEST_F(PerfMap, binaryDataIsSkippedUpToTheNextLine)
{
    using namespace std::string_literals;
    map("1000 10 f\n\x01\xff\0\0\x80 junk\n2000 10 a\0b\n3000 10 g\n"s);
    EXPECT_EQ(at(0, 0x1000), "f+0");
    EXPECT_EQ(at(0, 0x2000), nothing); // a name with a zero in it
    EXPECT_EQ(at(0, 0x3000), "g+0");
    EXPECT_EQ(source().skipped, 2u);
}

TEST_F(PerfMap, aVeryLongLineIsALine)
{
    const std::string name(3'000'000, 'n');
    map("1000 10 " + name + "\n" + std::string(3'000'000, 'x') + "\n2000 10 g\n");
    EXPECT_EQ(at(0, 0x1001), name + "+1");
    EXPECT_EQ(at(0, 0x2000), "g+0");
    EXPECT_EQ(source().skipped, 1u);
}

TEST_F(PerfMap, anEmptyMapHasNoCode)
{
    map("");
    EXPECT_EQ(resolveCode(0, 0x1000), code::noCode);
    EXPECT_EQ(source().kind, module_kind_t::perfMap);
    EXPECT_EQ(source().fault, "");
}

TEST_F(PerfMap, theLastLineThatHoldsAnAddressCounts)
{
    map("1000 100 old\n1040 20 inner\n10f0 40 edge\n");
    EXPECT_EQ(at(0, 0x103f), "old+63");
    EXPECT_EQ(at(0, 0x1040), "inner+0");
    EXPECT_EQ(at(0, 0x1060), "old+96");
    EXPECT_EQ(at(0, 0x10f0), "edge+0");
    EXPECT_EQ(at(0, 0x112f), "edge+63");
}

TEST_F(PerfMap, regionsAreThePartsThatAreNotCovered)
{
    map("1000 100 old\n1040 20 inner\n");
    const auto head = region(9, 0x1000, 0x2000);
    ASSERT_TRUE(head);
    EXPECT_EQ(head->first, 0x1000u);
    EXPECT_EQ(head->last, 0x103fu);
    EXPECT_EQ(head->loadTime, 0u);
    EXPECT_EQ(head->unloadTime, forever);
    EXPECT_EQ(head->rva, 0x1000u);
    EXPECT_EQ(head->module, moduleAt(0, 0x1000));
    const auto tail = region(9, 0x1060, 0x1060);
    ASSERT_TRUE(tail);
    EXPECT_EQ(tail->first, 0x1060u);
    EXPECT_EQ(tail->last, 0x10ffu);
    EXPECT_FALSE(region(9, 0x1100, 0x2000));
    EXPECT_FALSE(region(9, 0, 0xfff));
}

TEST_F(PerfMap, linesOfSourceAreNotKnown)
{
    map("1000 10 f\n");
    source_line_t line;
    EXPECT_FALSE(loader->symbols()->findLine(*moduleAt(0, 0x1000), 0x1000, line));
}

TEST_F(PerfMap, nestedLinesStayWithinTwoPiecesEach)
{
    // Each line covers the middle of the one before: as many pieces as there are borders.
    std::string content;
    constexpr std::uint64_t lines = 20'000;
    for (std::uint64_t i = 0; i < lines; ++i) {
        char line[64];
        std::snprintf(line, sizeof line, "%jx %jx n%ju\n", std::uintmax_t{i},
                      std::uintmax_t{2 * lines - 2 * i}, std::uintmax_t{i});
        content += line;
    }
    map(content);
    EXPECT_EQ(at(0, 0), "n0+0");
    EXPECT_EQ(at(0, 2 * lines - 1), "n0+39999");
    EXPECT_EQ(at(0, 12'345), "n12345+0");
    EXPECT_EQ(at(0, lines), "n19999+1");
}

struct line_t {
    std::uint64_t first;
    std::uint64_t size;
};

/// A plain scan from the end: the answer that a map is meant to give.
std::string lastThatHolds(const std::vector<line_t>& lines, std::uint64_t address)
{
    for (std::size_t i = lines.size(); i-- > 0;)
        if (address >= lines[i].first && address - lines[i].first < lines[i].size)
            return "n" + std::to_string(i) + "+" + std::to_string(address - lines[i].first);
    return "-";
}

TEST_F(PerfMap, randomMapsAnswerLikeAScanFromTheEnd)
{
    std::mt19937_64 random(20240607);
    for (std::uint32_t round = 0; round < 60; ++round) {
        const bool atTheTop = round % 3 == 0;
        const std::uint64_t base = atTheTop ? forever - 199 : 0;
        std::vector<line_t> lines;
        std::string content;
        for (std::uint64_t i = 0; i < 5 + round; ++i) {
            const std::uint64_t place = random() % 200;
            const std::uint64_t size = 1 + random() % (200 - place) / (1 + random() % 20);
            lines.push_back({base + place, size});
            char line[64];
            std::snprintf(line, sizeof line, "%jx %jx n%ju\n", std::uintmax_t{base + place},
                          std::uintmax_t{size}, std::uintmax_t{i});
            content += line;
        }
        loader = jitlens_3_13::IJitLoader::create({});
        loader->attach(nullptr, &status);
        add("round.map", content);
        for (std::uint64_t offset = 0; offset < 200; ++offset)
            ASSERT_EQ(at(random(), base + offset), lastThatHolds(lines, base + offset))
                << "round " << round << " offset " << offset << "\n"
                << content;
    }
}

} // namespace
