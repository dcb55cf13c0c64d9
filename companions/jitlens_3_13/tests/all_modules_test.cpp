// Questions for a relative address that name no module, and where the answers end.

#include "loader_fixture.h"

namespace {

using jitlens_3_13::code_stretch_t;
using jitlens_3_13::IModule;
using jitlens_3_13::symbol_t;

class AllModules : public LoaderTest {
protected:
    /// Gives process `pid + which` a dump of its own, and has it read.
    boost::intrusive_ptr<IModule> read(std::uint32_t which, const DumpBuilder& dump)
    {
        loader->addFile(pid + which, write("dump" + std::to_string(which), dump.bytes()));
        std::uint64_t rva = 0;
        boost::intrusive_ptr<IModule> module;
        EXPECT_EQ(loader->resolve(5, 0x7000, pid + which, status, rva, module), 0u);
        return module;
    }
    std::string symbolAt(std::uint64_t rva) const
    {
        symbol_t symbol;
        if (!loader->symbols()->findSymbol(rva, symbol)) return nothing;
        return std::string(symbol.name) + "+" + std::to_string(rva - symbol.rva);
    }
    /// "name START-END" or "- START-END", in decimal.
    std::string stretchAt(const IModule* module, std::uint64_t rva) const
    {
        symbol_t symbol;
        code_stretch_t stretch;
        const bool isFound = loader->symbols()->findCode(module, rva, symbol, stretch);
        return std::string(isFound ? symbol.name : nothing) + between(stretch.start, stretch.end);
    }
    static std::string between(std::uint64_t start, std::uint64_t end)
    {
        return " " + std::to_string(start) + "-" + std::to_string(end);
    }
};

TEST_F(AllModules, theOnlyModuleAnswers)
{
    DumpBuilder dump;
    const std::size_t at = dump.load(1, 0x7000, "f", std::size_t{16});
    read(0, dump);
    EXPECT_EQ(symbolAt(at - 1), nothing);
    EXPECT_EQ(symbolAt(at), "f+0");
    EXPECT_EQ(symbolAt(at + 15), "f+15");
    EXPECT_EQ(symbolAt(at + 16), nothing);
}

TEST_F(AllModules, theSymbolHasTheBytes)
{
    DumpBuilder dump;
    const std::size_t at = dump.load(1, 0x7000, "f", "code");
    read(0, dump);
    symbol_t symbol;
    ASSERT_TRUE(loader->symbols()->findSymbol(at + 2, symbol));
    ASSERT_EQ(symbol.code.size(), 4u);
    EXPECT_EQ(symbol.code[2], std::byte{'d'});
}

TEST_F(AllModules, ofSeveralWithCodeThereNoneAnswers)
{
    DumpBuilder dump;
    const std::size_t at = dump.load(1, 0x7000, "f", std::size_t{16});
    DumpBuilder longer;
    ASSERT_EQ(longer.load(1, 0x7000, "g", std::size_t{20}), at);
    read(0, dump);
    EXPECT_EQ(symbolAt(at + 1), "f+1");
    read(1, longer);
    EXPECT_EQ(symbolAt(at + 1), nothing);
    EXPECT_EQ(symbolAt(at + 17), "g+17");
}

TEST_F(AllModules, mapsHaveNoBytesAndDoNotCount)
{
    DumpBuilder dump;
    const std::size_t at = dump.load(1, 0x7000, "f", std::size_t{16});
    read(0, dump);
    loader->addFile(pid + 1, write("map", "7000 10 g\n0 10000 h\n"));
    std::uint64_t rva = 0;
    boost::intrusive_ptr<IModule> module;
    ASSERT_EQ(loader->resolve(0, 0x7000, pid + 1, status, rva, module), 0u);
    EXPECT_EQ(symbolAt(at), "f+0");
    EXPECT_EQ(symbolAt(0x7000), nothing);
    EXPECT_EQ(stretchAt(module.get(), 0x7000), nothing + between(0, forever));
}

TEST_F(AllModules, aStretchOfOneModuleEndsAtItsFunctions)
{
    DumpBuilder dump;
    const std::size_t first = dump.load(1, 0x7000, "f", std::size_t{16});
    const std::size_t second = dump.load(1, 0x8000, "g", std::size_t{8});
    const boost::intrusive_ptr<IModule> module = read(0, dump);
    EXPECT_EQ(stretchAt(module.get(), first + 3), "f" + between(first, first + 16));
    EXPECT_EQ(stretchAt(module.get(), first + 16), nothing + between(first + 16, second));
    EXPECT_EQ(stretchAt(module.get(), 0), nothing + between(0, first));
    EXPECT_EQ(stretchAt(module.get(), second + 8), nothing + between(second + 8, forever));
}

TEST_F(AllModules, aStretchOfAllEndsWhereTheAnswerChanges)
{
    DumpBuilder dump;
    const std::size_t at = dump.load(1, 0x7000, "f", std::size_t{16});
    DumpBuilder longer;
    longer.load(1, 0x7000, "g", std::size_t{20});
    const boost::intrusive_ptr<IModule> module = read(0, dump);
    read(1, longer);
    EXPECT_EQ(stretchAt(nullptr, at + 3), nothing + between(at, at + 16));
    EXPECT_EQ(stretchAt(nullptr, at + 18), "g" + between(at + 16, at + 20));
    EXPECT_EQ(stretchAt(nullptr, at + 20), nothing + between(at + 20, forever));
    EXPECT_EQ(stretchAt(module.get(), at + 3), "f" + between(at, at + 16));
}

TEST_F(AllModules, aModuleOfAnotherLoaderHasNothing)
{
    DumpBuilder dump;
    const std::size_t at = dump.load(1, 0x7000, "f", std::size_t{16});
    const boost::intrusive_ptr<IModule> module = read(0, dump);
    const auto other = jitlens_3_13::IJitLoader::create({});
    symbol_t symbol;
    code_stretch_t stretch;
    EXPECT_FALSE(other->symbols()->findCode(module.get(), at, symbol, stretch));
    EXPECT_FALSE(other->symbols()->findSymbol(at, symbol));
}

TEST_F(AllModules, theCodeOutlivesTheLoader)
{
    DumpBuilder dump;
    const std::size_t at = dump.load(1, 0x7000, "f", std::size_t{16});
    read(0, dump);
    const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver> kept = loader->symbols();
    loader.reset();
    symbol_t symbol;
    ASSERT_TRUE(kept->findSymbol(at, symbol));
    EXPECT_EQ(symbol.name, "f");
}

} // namespace
