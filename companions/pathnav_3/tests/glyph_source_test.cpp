// The source over images of binaries.

#include "elf_bytes.h"
#include "sample_program.h"
#include "tool.h"
#include "walk.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

namespace {

using namespace pathnav_test;
using glyph_test::compile;
using pathnav_3::IGLYPHDataSource;

/// The sample program that `flags` make, as a source.
struct sample_t {
    explicit sample_t(const std::string& label, const std::string& flags,
                      const std::string& then = {})
        : path(compile(label, flags, then)), bank(glyph_test::openBank(path)),
          source(IGLYPHDataSource::create(bank, false, noBase))
    {
    }

    /// The relative address of a function, as nm tells it.
    std::uint64_t functionAt(const std::string& name) const
    {
        for (const std::string& line :
             glyph_test::linesOf(glyph_test::runTool("nm " + path).text)) {
            const auto words = glyph_test::wordsOf(line);
            if (words.size() == 3 && words[2] == name)
                return glyph_test::fromHex(words[0]) - bank->getPreferredLoadAddress();
        }
        ADD_FAILURE() << "no " << name;
        return 0;
    }
    code_range_t rangeAt(std::uint64_t rva) const
    {
        code_range_t range;
        EXPECT_TRUE(source->findCode(rva, range)) << rva;
        return range;
    }

    std::string path;
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> bank;
    ObjectPtr<IDataSource> source;
};

/// One for the tests that do not mind how it was made.
const sample_t& plainSample()
{
    static const sample_t s_sample("plain", "-O1");
    return s_sample;
}

TEST(GlyphSource, aFunctionIsARange)
{
    for (const char* flags : {"-O1 -no-pie", "-O1 -fPIE -pie"}) {
        const sample_t sample(std::string("functions") + flags[5], flags);
        const std::uint64_t start = sample.functionAt("exported");
        GLYPH_3_30::symbol_t symbol;
        const std::uint64_t base = sample.bank->getPreferredLoadAddress();
        ASSERT_TRUE(sample.bank->findSymbol(start + base, symbol));
        const code_range_t range = sample.rangeAt(symbol.end - base - 1);
        EXPECT_EQ(range.start, start);
        EXPECT_EQ(range.end, symbol.start + symbol.size - base);
        EXPECT_TRUE(range.isFunction);
    }
}

TEST(GlyphSource, rangesFollowEachOtherWithoutOverlaps)
{
    const sample_t& sample = plainSample();
    std::uint64_t at = 0;
    int functions = 0;
    int others = 0;
    code_range_t range;
    while (sample.source->findNextCode(at, range)) {
        ASSERT_LE(at, range.start);
        ASSERT_LT(range.start, range.end);
        EXPECT_EQ(sample.rangeAt(range.start).end, range.end);
        EXPECT_EQ(sample.rangeAt(range.end - 1).start, range.start);
        ++(range.isFunction ? functions : others);
        at = range.end;
    }
    EXPECT_GT(functions, 30);
    EXPECT_GT(others, 3);                            // what the linker puts between functions
    EXPECT_FALSE(sample.source->findCode(0, range)); // the header of the file
}

TEST(GlyphSource, aNameWithinAFunctionDividesNothing)
{
    const sample_t& sample = plainSample();
    const std::uint64_t label = sample.functionAt("inside_label");
    EXPECT_EQ(sample.rangeAt(label).start, sample.functionAt("sized"));
}

TEST(GlyphSource, aNameWithoutASizeReachesToTheNext)
{
    const sample_t& sample = plainSample();
    const code_range_t range = sample.rangeAt(sample.functionAt("bare_label"));
    EXPECT_EQ(range.end, sample.functionAt("unsized"));
    EXPECT_TRUE(range.isFunction);
}

TEST(GlyphSource, strippedCodeIsOneRangePerSection)
{
    const sample_t sample("strippedText", "-O1 -static", "strip $OUT");
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::ISection> text;
    ASSERT_EQ(sample.bank->getSection(".text", text), GLYPH_3_30::status::success);
    const std::uint64_t start = text->getStart() - sample.bank->getPreferredLoadAddress();
    const code_range_t range = sample.rangeAt(start + text->getSize() / 2);
    EXPECT_EQ(range.start, start);
    EXPECT_EQ(range.end, start + text->getSize());
    EXPECT_FALSE(range.isFunction);
}

TEST(GlyphSource, withoutSectionsTheExecutableSegmentIsARange)
{
    glyph_test::ElfBytes elf;
    elf.addSegment(0x401000, fromHexText("90 eb fd c3"), true);
    const auto bank = elf.bank();
    const auto source = IGLYPHDataSource::create(bank, false, noBase);
    const auto navigator = navigatorOver(source);
    EXPECT_EQ(blocksFrom(*navigator, 0), (std::vector<std::string>{"0-3 jump 0 @1", "3-4 ret @3"}));
}

TEST(GlyphSource, bytesAreThoseOfTheFile)
{
    const sample_t& sample = plainSample();
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::ISection> text;
    ASSERT_EQ(sample.bank->getSection(".text", text), GLYPH_3_30::status::success);
    std::vector<std::byte> bytes(text->getSize());
    ASSERT_EQ(
        sample.source->readCode(text->getStart() - sample.bank->getPreferredLoadAddress(), bytes),
        bytes.size());
    std::ifstream in(sample.path, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(text->getOffsetInFile()));
    std::string expected(bytes.size(), '\0');
    in.read(expected.data(), static_cast<std::streamsize>(expected.size()));
    EXPECT_EQ(std::memcmp(expected.data(), bytes.data(), bytes.size()), 0);
}

TEST(GlyphSource, callsOfTheLinkageTableThatNeverComeBackAreKnown)
{
    const sample_t& sample = plainSample();
    int gone = 0;
    int others = 0;
    for (const GLYPH_3_30::symbol_t& symbol : sample.bank->getSymbols()) {
        if (symbol.origin != GLYPH_3_30::symbol_origin_t::linkageTable) continue;
        const bool isGone =
            sample.source->neverReturns(symbol.start - sample.bank->getPreferredLoadAddress());
        const std::string name = symbol.name;
        if (name == "__cxa_throw@plt" || name == "_Unwind_Resume@plt") {
            EXPECT_TRUE(isGone) << name;
            ++gone;
        }
        if (name == "printf@plt" || name == "rand@plt" || name == "__cxa_allocate_exception@plt") {
            EXPECT_FALSE(isGone) << name;
            ++others;
        }
    }
    EXPECT_EQ(gone, 2);
    EXPECT_EQ(others, 3);
}

TEST(GlyphSource, withoutABankThereIsNoCode)
{
    const auto source = IGLYPHDataSource::create(nullptr, false, noBase);
    ASSERT_NE(source, nullptr);
    code_range_t range;
    EXPECT_FALSE(source->findCode(0, range));
    EXPECT_FALSE(source->findNextCode(0, range));
    EXPECT_FALSE(source->neverReturns(0));
    std::byte byte;
    EXPECT_EQ(source->readCode(0, {&byte, 1}), 0u);
}

TEST(GlyphSource, otherSettingsAreRefused)
{
    EXPECT_EQ(IGLYPHDataSource::create(nullptr, true, noBase), nullptr);
    EXPECT_EQ(IGLYPHDataSource::create(nullptr, false, 0), nullptr);
}

} // namespace
