// What the reader makes of records and headers, good and bad.

#include "loader_fixture.h"

#include <array>

namespace {

using jitlens_3_13::clock_t;
using jitlens_3_13::module_kind_t;
using jitlens_3_13::source_t;
using jitlens_3_13::symbol_t;
namespace code = jitlens_3_13::code;

class DumpFormat : public LoaderTest {
protected:
    /// Expects that the file is refused for a reason that holds `why`.
    void expectRefused(const std::string& content, const std::string& why)
    {
        const std::string path = add("refused.dump", content);
        EXPECT_EQ(resolveCode(1, 0x1000), code::unusable);
        const source_t refused = source();
        EXPECT_EQ(refused.fault.find(path), 0u) << refused.fault;
        EXPECT_NE(refused.fault.find(why), std::string::npos) << refused.fault;
        EXPECT_EQ(refused.fault.find('\n'), std::string::npos) << refused.fault;
        EXPECT_EQ(refused.functions, 0u);
    }
    /// Reads `dump` with a good function behind; expects that one record was left out.
    void expectOneSkipped()
    {
        dump.load(200, 0x7000, "behind", 16);
        add(dump);
        EXPECT_EQ(at(200, 0x7000), "behind+0");
        EXPECT_EQ(source().skipped, 1u);
        EXPECT_EQ(source().fault, "");
    }
    /// Reads `dump`; expects that reading ended at `offset` and that what stands before is used.
    void expectEndAt(std::size_t offset)
    {
        add(dump);
        EXPECT_EQ(at(100, 0x1000), "f+0");
        EXPECT_NE(source().fault.find("offset " + std::to_string(offset) + ":"), std::string::npos)
            << source().fault;
        EXPECT_EQ(source().functions, 1u);
    }

    DumpBuilder dump;
};

TEST_F(DumpFormat, aDumpWithoutRecordsHasNoCode)
{
    add(dump);
    EXPECT_EQ(resolveCode(1, 0x1000), code::noCode);
    EXPECT_EQ(source().kind, module_kind_t::jitdump);
    EXPECT_EQ(source().fault, "");
}

TEST_F(DumpFormat, theFlagTellsTheClock)
{
    const std::string mono = write("a", DumpBuilder(DumpBuilder::header_t{}).bytes());
    DumpBuilder::header_t header;
    header.flags = 1;
    const std::string tsc = write("b", DumpBuilder(header).bytes());
    header.flags = 2; // no flag that is known
    const std::string other = write("c", DumpBuilder(header).bytes());
    for (const std::string& path : {mono, tsc, other})
        loader->addFile(pid, path);
    const auto sources = loader->sources(pid);
    ASSERT_EQ(sources.size(), 3u);
    EXPECT_EQ(sources[0].clock, clock_t::monotonic);
    EXPECT_EQ(sources[1].clock, clock_t::tsc);
    EXPECT_EQ(sources[2].clock, clock_t::monotonic);
}

TEST_F(DumpFormat, aSymbolHasTheBytesOfItsCode)
{
    const std::size_t place = dump.load(100, 0x1000, "name of f", "\x55\x90\xc3");
    add(dump);
    symbol_t symbol;
    ASSERT_TRUE(loader->symbols()->findSymbol(*moduleAt(100, 0x1000), place + 2, symbol));
    EXPECT_EQ(symbol.name, "name of f");
    EXPECT_EQ(symbol.rva, place);
    EXPECT_EQ(symbol.size, 3u);
    ASSERT_EQ(symbol.code.size(), 3u);
    EXPECT_EQ(symbol.code[0], std::byte{0x55});
    EXPECT_EQ(symbol.code[2], std::byte{0xc3});
}

TEST_F(DumpFormat, noSymbolBesideTheCode)
{
    const std::size_t place = dump.load(100, 0x1000, "f", 3);
    dump.load(100, 0x2000, "g", 3);
    add(dump);
    symbol_t symbol;
    const auto module = moduleAt(100, 0x1000);
    EXPECT_FALSE(loader->symbols()->findSymbol(*module, place - 1, symbol));
    EXPECT_FALSE(loader->symbols()->findSymbol(*module, place + 3, symbol));
    EXPECT_FALSE(loader->symbols()->findSymbol(*module, forever, symbol));
}

TEST_F(DumpFormat, theOtherByteOrderIsRefused)
{
    DumpBuilder::header_t header;
    header.magic = 0x4454694A;
    expectRefused(DumpBuilder(header).bytes(), "other byte order");
}

TEST_F(DumpFormat, anUnknownVersionIsRefused)
{
    DumpBuilder::header_t header;
    header.version = 2;
    expectRefused(DumpBuilder(header).bytes(), "version 2");
}

TEST_F(DumpFormat, anotherMachineIsRefused)
{
    DumpBuilder::header_t header;
    header.machine = 183;
    expectRefused(DumpBuilder(header).bytes(), "machine 183");
}

TEST_F(DumpFormat, aHeaderBelowItsFieldsIsRefused)
{
    DumpBuilder::header_t header;
    header.size = 39;
    expectRefused(DumpBuilder(header).bytes(), "header's size 39");
}

TEST_F(DumpFormat, aHeaderBeyondTheEndIsRefused)
{
    DumpBuilder::header_t header;
    header.size = 41;
    expectRefused(DumpBuilder(header).bytes(), "header's size 41");
}

TEST_F(DumpFormat, whatIsNeitherFormatIsRefused)
{
    expectRefused("\x7f"
                  "ELF and so on\nsecond line\n",
                  "neither");
}

TEST_F(DumpFormat, aLongerHeaderIsSteppedOver)
{
    DumpBuilder::header_t header;
    header.size = 56;
    DumpBuilder longer(header);
    longer.quad(0xffffffffffffffff).quad(0xffffffffffffffff);
    longer.load(100, 0x1000, "f", 16);
    add(longer);
    EXPECT_EQ(at(100, 0x1000), "f+0");
}

TEST_F(DumpFormat, unwindingAndUnknownRecordsAreSteppedOver)
{
    dump.unwinding(90);
    dump.load(100, 0x1000, "f", 16);
    dump.prefix(99, 24, 5000).quad(0xffffffffffffffff);
    dump.unwinding(6000);
    dump.load(110, 0x2000, "g", 16);
    add(dump);
    EXPECT_EQ(at(110, 0x1000), "f+0");
    EXPECT_EQ(at(110, 0x2000), "g+0");
    EXPECT_EQ(source().skipped, 0u);
    EXPECT_EQ(source().fault, "");
    EXPECT_EQ(source().lastTime, 110u);
}

TEST_F(DumpFormat, aCloseRecordEndsTheReading)
{
    dump.load(100, 0x1000, "f", 16);
    dump.close(200);
    dump.load(300, 0x2000, "g", 16);
    add(dump);
    EXPECT_EQ(at(300, 0x1000), "f+0");
    EXPECT_EQ(at(300, 0x2000), nothing);
    EXPECT_EQ(source().fault, "");
}

TEST_F(DumpFormat, paddingBehindTheCodeDoesNotMatter)
{
    dump.prefix(0, 56 + 2 + 3 + 5, 100).loadFields(0x1000, 3, 0).text(std::string_view("f\0", 2));
    dump.text("abc").text("-----");
    dump.load(100, 0x2000, "g", 16);
    add(dump);
    EXPECT_EQ(at(100, 0x1002), "f+2");
    EXPECT_EQ(at(100, 0x1003), nothing);
    EXPECT_EQ(at(100, 0x2000), "g+0");
}

TEST_F(DumpFormat, aLoadBelowItsFieldsIsSkipped)
{
    dump.prefix(0, 55, 100).loadFields(0x1000, 0, 0);
    dump = [&] { // 55 bytes instead of the 56 that were written
        DumpBuilder shorter;
        shorter.text(dump.bytes().substr(40, 55));
        return shorter;
    }();
    expectOneSkipped();
}

TEST_F(DumpFormat, aNameWithoutEndIsSkipped)
{
    dump.prefix(0, 56 + 4, 100).loadFields(0x1000, 1, 0).text("name");
    expectOneSkipped();
}

TEST_F(DumpFormat, codeBeyondTheRecordIsSkipped)
{
    dump.prefix(0, 56 + 2 + 3, 100).loadFields(0x1000, 4, 0).text(std::string_view("f\0abc", 5));
    expectOneSkipped();
}

TEST_F(DumpFormat, aHugeCodeSizeIsSkipped)
{
    dump.prefix(0, 56 + 2 + 3, 100).loadFields(0, forever, 0).text(std::string_view("f\0abc", 5));
    expectOneSkipped();
}

TEST_F(DumpFormat, codeOfNoBytesIsSkipped)
{
    dump.load(100, 0x1000, "f", 0);
    expectOneSkipped();
}

TEST_F(DumpFormat, aLoadPastTheAddressSpaceIsSkipped)
{
    dump.load(100, forever - 14, "f", 16);
    expectOneSkipped();
}

TEST_F(DumpFormat, aLoadAtTheLastTickIsSkipped)
{
    dump.load(forever, 0x1000, "f", 16);
    expectOneSkipped();
}

TEST_F(DumpFormat, aMoveBelowItsFieldsIsSkipped)
{
    dump.prefix(1, 56, 100).word(7).word(8).quad(1).quad(2).quad(3).quad(4);
    expectOneSkipped();
}

TEST_F(DumpFormat, aMoveOfNoBytesIsSkipped)
{
    dump.load(100, 0x1000, "f", 16);
    dump.move(150, 0x1000, 0x2000, 0);
    expectOneSkipped();
    EXPECT_EQ(at(150, 0x1000), "f+0");
}

TEST_F(DumpFormat, aMovePastTheAddressSpaceIsSkipped)
{
    dump.load(100, 0x1000, "f", 16);
    dump.move(150, 0x1000, forever - 3, 16);
    expectOneSkipped();
    EXPECT_EQ(at(150, 0x1000), "f+0");
}

TEST_F(DumpFormat, aSizeBelowThePrefixEndsTheReading)
{
    dump.load(100, 0x1000, "f", 16);
    const std::size_t offset = dump.size();
    dump.prefix(4, 15, 200);
    dump.load(300, 0x2000, "g", 16);
    expectEndAt(offset);
}

TEST_F(DumpFormat, aSizeOfZeroEndsTheReading)
{
    dump.load(100, 0x1000, "f", 16);
    const std::size_t offset = dump.size();
    dump.prefix(4, 0, 200);
    expectEndAt(offset);
}

TEST_F(DumpFormat, aRecordBeyondTheFileEndsTheReading)
{
    dump.load(100, 0x1000, "f", 16);
    const std::size_t offset = dump.size();
    dump.prefix(0, 0xffffffff, 200).loadFields(0x2000, 0xfffffff0, 0);
    expectEndAt(offset);
}

TEST_F(DumpFormat, everyPrefixOfADumpGivesTheFunctionsThatAreWhole)
{
    std::vector<std::size_t> ends;
    dump.load(100, 0x1000, "f", 16, 1);
    ends.push_back(dump.size());
    dump.debugInfo(150, 0x2000, {{0x2000, 1, "a.c"}});
    dump.unwinding(160);
    dump.load(200, 0x2000, "g", 5, 2);
    ends.push_back(dump.size());
    dump.move(300, 0x2000, 0x3000, 5, 2);
    dump.load(400, 0x4000, "h", 1, 3);
    ends.push_back(dump.size());
    for (std::size_t length = 0; length <= dump.size(); ++length) {
        const std::uint32_t each = pid + 1 + static_cast<std::uint32_t>(length);
        loader->addFile(each, write("prefix", std::string_view(dump.bytes()).substr(0, length)));
        std::size_t whole = 0;
        for (const std::size_t end : ends)
            whole += end <= length ? 1 : 0;
        const std::vector<source_t> sources = loader->sources(each);
        ASSERT_EQ(sources.size(), 1u);
        EXPECT_EQ(sources[0].functions, whole) << length << " bytes";
        EXPECT_EQ(sources[0].skipped, 0u + (length > 0 && length < 4)) << length << " bytes";
        const bool isUsable = length == 0 || length >= 40;
        std::uint64_t rva = 0;
        boost::intrusive_ptr<jitlens_3_13::IModule> module;
        const std::uint32_t answer = loader->resolve(1000, 0x1000, each, status, rva, module);
        EXPECT_EQ(answer, whole > 0  ? code::found
                          : isUsable ? code::noCode
                                     : code::unusable)
            << length << " bytes";
    }
}

} // namespace
