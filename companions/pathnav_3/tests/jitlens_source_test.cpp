// The source over generated code of jitdump files.

#include "loader_fixture.h"
#include "walk.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace pathnav_test;
using pathnav_3::IJITLENSDataSource;
using texts_t = std::vector<std::string>;

std::string hex(std::uint64_t number)
{
    std::ostringstream out;
    out << std::hex << number;
    return out.str();
}

class JitlensSource : public LoaderTest {
protected:
    ObjectPtr<IDataSource> source(const jitlens_3_13::region_t* of = nullptr,
                                  pathnav_3::symbol_name_callback_t nameOf = nullptr)
    {
        return IJITLENSDataSource::create(loader->symbols(), IJITLENSDataSource::x86_64, noBase,
                                          nameOf, of);
    }
};

TEST_F(JitlensSource, blocksOfAFunctionAreThoseOfItsBytes)
{
    DumpBuilder dump;
    const std::uint64_t at = dump.load(1, 0x7000, "f", fromHexText("75 01 90 c3"));
    add(dump);
    ASSERT_EQ(rvaAt(5, 0x7000), at);
    const auto navigator = navigatorOver(source());
    EXPECT_EQ(blocksFrom(*navigator, at),
              (texts_t{hex(at) + "-" + hex(at + 2) + " conditional " + hex(at + 3) + " @" + hex(at),
                       hex(at + 2) + "-" + hex(at + 3) + " fallThrough @" + hex(at + 2),
                       hex(at + 3) + "-" + hex(at + 4) + " ret @" + hex(at + 3)}));
}

TEST_F(JitlensSource, stepsLeadFromFunctionToFunction)
{
    DumpBuilder dump;
    const std::uint64_t first = dump.load(1, 0x7000, "f", fromHexText("90 c3"));
    const std::uint64_t second = dump.load(2, 0x8000, "g", fromHexText("90 90 c3"));
    add(dump);
    resolveCode(5, 0x7000);
    const auto navigator = navigatorOver(source());
    EXPECT_EQ(blocksFrom(*navigator, first + 1).size(), 2u);
    EXPECT_EQ(navigator->getCurrentBlock()->getStart(), second);
    EXPECT_EQ(navigator->getCurrentBlock()->getSize(), 3u);
    EXPECT_EQ(blockAt(*navigator, first + 2), "none"); // the record between them
}

TEST_F(JitlensSource, aRegionLimitsTheCodeToItsModule)
{
    DumpBuilder dump;
    const std::uint64_t at = dump.load(1, 0x7000, "f", fromHexText("90 c3"));
    DumpBuilder other;
    ASSERT_EQ(other.load(1, 0x7000, "g", fromHexText("cc c3")), at);
    add(dump);
    const auto asked = region(5, 0x7000, 0x7001);
    ASSERT_TRUE(asked);
    loader->addFile(pid + 1, write("other.dump", other.bytes()));
    std::uint64_t rva = 0;
    boost::intrusive_ptr<jitlens_3_13::IModule> module;
    ASSERT_EQ(loader->resolve(5, 0x7000, pid + 1, status, rva, module), 0u);
    EXPECT_EQ(blockAt(*navigatorOver(source(&*asked)), at),
              hex(at) + "-" + hex(at + 2) + " ret @" + hex(at + 1));
    // Without it nobody can tell whose code is meant.
    EXPECT_EQ(blockAt(*navigatorOver(source()), at), "none");
}

TEST_F(JitlensSource, whereOnlyOneOfTwoModulesHasCodeItCounts)
{
    DumpBuilder dump;
    const std::uint64_t at = dump.load(1, 0x7000, "f", fromHexText("90 90 90 c3"));
    DumpBuilder other; // its function is longer
    ASSERT_EQ(other.load(1, 0x7000, "g", fromHexText("90 90 90 90 90 c3")), at);
    add(dump);
    resolveCode(5, 0x7000);
    loader->addFile(pid + 1, write("other.dump", other.bytes()));
    std::uint64_t rva = 0;
    boost::intrusive_ptr<jitlens_3_13::IModule> module;
    ASSERT_EQ(loader->resolve(5, 0x7000, pid + 1, status, rva, module), 0u);
    code_range_t range;
    const auto all = source();
    EXPECT_FALSE(all->findCode(at + 3, range));
    ASSERT_TRUE(all->findCode(at + 5, range));
    EXPECT_EQ(range.start, at + 4);
    EXPECT_EQ(range.end, at + 6);
    EXPECT_FALSE(range.isFunction);
    code_range_t next;
    ASSERT_TRUE(all->findNextCode(0, next));
    EXPECT_EQ(next.start, at + 4);
    EXPECT_FALSE(all->findNextCode(at + 5, next));
}

TEST_F(JitlensSource, namesComeFromTheCallback)
{
    const auto all = source(nullptr, [](std::uint64_t rva) { return rva == 7 ? "abort" : "f"; });
    EXPECT_TRUE(all->neverReturns(7));
    EXPECT_FALSE(all->neverReturns(8));
}

TEST_F(JitlensSource, withoutACallbackTheFunctionsOwnNameTells)
{
    DumpBuilder dump;
    const std::uint64_t gone = dump.load(1, 0x7000, "abort", fromHexText("90 c3"));
    const std::uint64_t kept = dump.load(1, 0x8000, "f", fromHexText("90 c3"));
    add(dump);
    resolveCode(5, 0x7000);
    EXPECT_TRUE(source()->neverReturns(gone));
    EXPECT_FALSE(source()->neverReturns(gone + 1));
    EXPECT_FALSE(source()->neverReturns(kept));
}

TEST_F(JitlensSource, namesWithoutBytesAreNoCode)
{
    add("perf.map", "7000 10 f\n");
    ASSERT_EQ(at(0, 0x7000), "f+0");
    code_range_t range;
    EXPECT_FALSE(source()->findCode(0x7000, range));
    EXPECT_FALSE(source()->findNextCode(0, range));
}

TEST_F(JitlensSource, otherArchitecturesAreRefused)
{
    EXPECT_EQ(IJITLENSDataSource::create(loader->symbols(), 2, noBase, nullptr, nullptr), nullptr);
    EXPECT_EQ(IJITLENSDataSource::create(loader->symbols(), 3, 0, nullptr, nullptr), nullptr);
}

TEST_F(JitlensSource, withoutAResolverOrAModuleThereIsNoCode)
{
    const jitlens_3_13::region_t empty;
    code_range_t range;
    EXPECT_FALSE(source(&empty)->findNextCode(0, range));
    const auto none = IJITLENSDataSource::create(nullptr, 3, noBase, nullptr, nullptr);
    ASSERT_NE(none, nullptr);
    EXPECT_FALSE(none->findCode(0, range));
    EXPECT_FALSE(none->findNextCode(0, range));
    EXPECT_FALSE(none->neverReturns(0));
}

} // namespace
