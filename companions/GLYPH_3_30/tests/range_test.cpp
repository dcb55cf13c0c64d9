// Objects of ranges and addresses, as checks of call stacks use them, and the manager of symbols.

#include "sample_program.h"

#include <GLYPH_3_30/symbol_manager.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;

constexpr std::uint32_t g_anyCode = 17;

class Ranges : public testing::Test {
protected:
    void SetUp() override
    {
        path = compile("ranges", "-O2 -g -no-pie");
        SymMgrObjectPtr<ISymbolManager> manager;
        ASSERT_EQ(ISymbolManager::create(manager), status::success);
        ASSERT_EQ(manager->loadBank(path.c_str(), 0, bank, nullptr, 6, ""), status::success);
    }
    symbol_t named(const char* name) const
    {
        for (const symbol_t& symbol : bank->getSymbols())
            if (std::strcmp(symbol.name, name) == 0) return symbol;
        ADD_FAILURE() << "no symbol " << name;
        return {};
    }
    SymMgrObjectPtr<IAddress> placeOf(std::uint64_t address) const
    {
        SymMgrObjectPtr<IAddress> place;
        EXPECT_EQ(bank->getLocation(address - bank->getPreferredLoadAddress(), place),
                  status::success);
        return place;
    }
    SymMgrObjectPtr<ISymbolRange> rangeAt(std::uint64_t address, status_t expected,
                                          std::uint32_t kinds = g_anyCode) const
    {
        SymMgrObjectPtr<ISymbolRange> range;
        EXPECT_EQ(bank->getSymbolRange(*placeOf(address), range, kinds, 0), expected);
        return range;
    }
    static std::uint64_t startOf(const ISymbolRange& range)
    {
        SymMgrObjectPtr<IAddress> address;
        EXPECT_EQ(range.getStart(address), status::success);
        return address->getValue();
    }
    static std::uint64_t endOf(const ISymbolRange& range)
    {
        SymMgrObjectPtr<IAddress> address;
        EXPECT_EQ(range.getEnd(address), status::success);
        return address->getValue();
    }

    std::string path;
    SymMgrObjectPtr<IModuleSymbolBank> bank;
};

TEST_F(Ranges, aFunctionReachesFromItsStartToBehindItsLastByte)
{
    const symbol_t main = named("main");
    const auto range = rangeAt(main.start + main.size / 2, status::success);
    ASSERT_TRUE(range);
    EXPECT_EQ(startOf(*range), main.start);
    EXPECT_EQ(endOf(*range), main.start + main.size);
    EXPECT_STREQ(range->getSymbol()->getName(), "main");
    EXPECT_FALSE(placeOf(main.start)->differs(*placeOf(startOf(*range))));
    EXPECT_TRUE(placeOf(main.start)->differs(*placeOf(main.start + 1)));
}

TEST_F(Ranges, anAliasWithoutUnderscoresIsTheName)
{
    EXPECT_STREQ(rangeAt(named("__exported").start, status::success)->getSymbol()->getName(),
                 "exported");
    std::vector<std::string> aliases;
    for (const symbol_t& symbol : bank->getSymbolsAt(named("__exported").start))
        aliases.emplace_back(symbol.name);
    EXPECT_EQ(aliases, (std::vector<std::string>{"exported", "weakly", "__exported"}));
}

TEST_F(Ranges, ofAFunctionWithoutSizeTheEndIsCalledAGuess)
{
    const auto range = rangeAt(named("unsized").start + 1, status::guessedEnd);
    ASSERT_TRUE(range);
    EXPECT_STREQ(range->getSymbol()->getName(), "unsized");
    EXPECT_EQ(endOf(*range), named("local_label").start);
}

TEST_F(Ranges, labelsAnswerToTheirOwnBitOfTheMaskOnly)
{
    const std::uint64_t label = named("local_label").start;
    EXPECT_FALSE(rangeAt(label, status::notFound, 1));
    EXPECT_TRUE(rangeAt(label, status::guessedEnd, 16));
    EXPECT_FALSE(rangeAt(named("main").start, status::notFound, 16));
    // A label inside of a function with a size is no range of its own.
    EXPECT_STREQ(rangeAt(named("inside_label").start, status::success)->getSymbol()->getName(),
                 "sized");
}

TEST_F(Ranges, innerRangesLeadThroughWhatWasInlinedToTheInnermost)
{
    const symbol_t outer = named("exported");
    int depths = 0;
    for (std::uint64_t at = outer.start; at < outer.end; ++at) {
        std::vector<source_frame_t> frames;
        ASSERT_TRUE(bank->findFrames(at, frames));
        auto range = rangeAt(at, status::success);
        for (std::size_t i = frames.size() - 1; i-- > 0;) {
            SymMgrObjectPtr<ISymbolRange> inner;
            ASSERT_EQ(range->getInnerRange(inner, *placeOf(at)), status::success);
            EXPECT_STREQ(inner->getSymbol()->getName(), frames[i].function);
            EXPECT_LE(startOf(*inner), at);
            EXPECT_GT(endOf(*inner), at);
            range = inner;
            ++depths;
        }
        SymMgrObjectPtr<ISymbolRange> none;
        EXPECT_EQ(range->getInnerRange(none, *placeOf(at)), status::notFound);
        EXPECT_FALSE(none);
    }
    EXPECT_GT(depths, 10);
}

TEST_F(Ranges, anAddressOutsideOfTheRangeHasNoInnerRange)
{
    const auto range = rangeAt(named("sized").start, status::success);
    SymMgrObjectPtr<ISymbolRange> inner;
    EXPECT_EQ(range->getInnerRange(inner, *placeOf(named("exported").start + 8)), status::notFound);
}

TEST_F(Ranges, entriesOfTheLinkageTableAreRangesInItsSection)
{
    int entries = 0;
    for (const symbol_t& symbol : bank->getSymbols()) {
        if (symbol.origin != symbol_origin_t::linkageTable) continue;
        ++entries;
        EXPECT_STREQ(rangeAt(symbol.start, status::success)->getSymbol()->getName(), symbol.name);
        SymMgrObjectPtr<ISection> section;
        ASSERT_EQ(bank->getSectionAt(symbol.start, section), status::success);
        EXPECT_EQ(std::string(section->getName()).substr(0, 4), ".plt");
    }
    EXPECT_GT(entries, 5);
}

TEST_F(Ranges, aBankNeedsAnImage)
{
    SymMgrObjectPtr<IModuleSymbolBank> none = bank;
    std::string fault;
    EXPECT_EQ(IModuleSymbolBank::create(none, nullptr, nullptr, true, "", &fault),
              status::badArgument);
    EXPECT_NE(status::badArgument & 0x10000000, 0u);
    EXPECT_FALSE(none);
    EXPECT_EQ(fault, "no image");
}

TEST_F(Ranges, theManagerRefusesWhatIsNoImage)
{
    SymMgrObjectPtr<ISymbolManager> manager;
    ASSERT_EQ(ISymbolManager::create(manager), status::success);
    SymMgrObjectPtr<IModuleSymbolBank> none = bank;
    EXPECT_NE(manager->loadBank("/dev/null", 0, none, nullptr, 6, "") & status::failure, 0u);
    EXPECT_FALSE(none);
}

TEST_F(Ranges, theManagerLeavesOutWhatTheOptionsDoNotName)
{
    SymMgrObjectPtr<ISymbolManager> manager;
    ASSERT_EQ(ISymbolManager::create(manager), status::success);
    std::vector<source_frame_t> frames;
    const std::uint64_t main = named("main").start;
    SymMgrObjectPtr<IModuleSymbolBank> part;
    ASSERT_EQ(manager->loadBank(path.c_str(), 0, part, nullptr, load_option::symbols, ""),
              status::success);
    EXPECT_FALSE(part->getSymbols().empty());
    EXPECT_FALSE(part->findFrames(main, frames));
    ASSERT_EQ(manager->loadBank(path.c_str(), 0, part, nullptr, load_option::debugInfo, ""),
              status::success);
    EXPECT_TRUE(part->getSymbols().empty());
    EXPECT_TRUE(part->findFrames(main, frames));
    // No table has a symbol then, but the debug information has functions.
    SymMgrObjectPtr<ISymbolRange> range;
    ASSERT_EQ(part->getSymbolRange(*placeOf(main), range, g_anyCode, 0), status::success);
    EXPECT_STREQ(range->getSymbol()->getName(), "main");
    EXPECT_EQ(startOf(*range), main);
    EXPECT_EQ(endOf(*range), named("main").end);
}

} // namespace
