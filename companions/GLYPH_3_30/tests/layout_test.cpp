// Segments, sections and places of binaries, compared with what readelf prints of them.

#include "sample_program.h"
#include "tool.h"

#include <gtest/gtest.h>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;

class Layout : public testing::TestWithParam<subject_t> {
protected:
    void SetUp() override
    {
        path = pathOf(GetParam());
        if (path.empty()) GTEST_SKIP() << "cannot be made here: " << GetParam().label;
        bank = openBank(path);
        ASSERT_TRUE(bank);
    }

    std::string path;
    SymMgrObjectPtr<IModuleSymbolBank> bank;
};

struct header_row_t {
    std::string kind;
    std::uint64_t offset, address, fileSize, memorySize;
    bool isExecutable;
};

/// The program headers that readelf lists.
std::vector<header_row_t> programHeaders(const std::string& path)
{
    std::vector<header_row_t> rows;
    for (const std::string& line : linesOf(runTool("readelf -lW " + path).text)) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() < 7 || words[1].substr(0, 2) != "0x" || words[2].substr(0, 2) != "0x")
            continue;
        rows.push_back({words[0], fromHex(words[1]), fromHex(words[2]), fromHex(words[4]),
                        fromHex(words[5]), line.find(" E ") != std::string::npos});
    }
    return rows;
}

TEST_P(Layout, segmentsAreTheProgramHeadersInTheirOrder)
{
    const std::vector<header_row_t> rows = programHeaders(path);
    ASSERT_FALSE(rows.empty());
    SymMgrObjectPtr<ISegmentIterator> segments;
    ASSERT_EQ(bank->getSegments(segments), status::success);
    for (const header_row_t& row : rows) {
        const ISegment* segment = segments->current();
        ASSERT_NE(segment, nullptr);
        EXPECT_EQ(segment->getKind() == 1, row.kind == "LOAD");
        EXPECT_EQ(segment->getOffsetInFile(), row.offset);
        EXPECT_EQ(segment->getFileSize(), row.fileSize);
        EXPECT_EQ(segment->getMemorySize(), row.memorySize);
        EXPECT_EQ(segment->getOffsetFromLoadAddress() + bank->getPreferredLoadAddress(),
                  row.address);
        EXPECT_EQ((segment->getFlags() & 1) != 0, row.isExecutable);
        segments->advance();
    }
    EXPECT_EQ(segments->current(), nullptr);
    segments->advance();
    EXPECT_EQ(segments->current(), nullptr);
}

TEST_P(Layout, preferredLoadAddressIsThePageOfTheLowestLoadableSegment)
{
    std::uint64_t lowest = ~std::uint64_t{0};
    for (const header_row_t& row : programHeaders(path))
        if (row.kind == "LOAD") lowest = std::min(lowest, row.address);
    EXPECT_EQ(bank->getPreferredLoadAddress(), lowest & ~std::uint64_t{4095});
}

TEST_P(Layout, imageTypeTellsFixedFromRelocatable)
{
    const std::string header = runTool("readelf -hW " + path + " | grep Type:").text;
    EXPECT_EQ(bank->getImageType(), header.find("EXEC") != std::string::npos ? 1 : 2) << header;
}

TEST_P(Layout, buildIdIsTheOneOfTheNotes)
{
    const auto words = wordsOf(runTool("readelf -nW " + path + " | grep 'Build ID'").text);
    EXPECT_EQ(openImage(path)->getBuildId(), words.empty() ? "" : words.back());
}

TEST_P(Layout, sectionsAreFoundByNameAndByAddress)
{
    int count = 0;
    for (std::string line : linesOf(runTool("readelf -SW " + path).text)) {
        const std::size_t close = line.find(']');
        if (close == std::string::npos || line.find("Nr") != std::string::npos) continue;
        const std::vector<std::string> words = wordsOf(line.substr(close + 1));
        if (words.size() < 9 || words[0] == "NULL") continue;
        ++count;
        const std::string flags = words.size() == 10 ? words[6] : "";
        SymMgrObjectPtr<ISection> section;
        ASSERT_EQ(bank->getSection(words[0].c_str(), section), status::success) << line;
        EXPECT_EQ(section->getStart(), fromHex(words[2])) << line;
        EXPECT_EQ(section->getOffsetInFile(), fromHex(words[3])) << line;
        EXPECT_EQ(section->getSize(), fromHex(words[4])) << line;
        for (const auto& [letter, bit] : {std::pair{'W', section_flags::writable},
                                          {'A', section_flags::inMemory},
                                          {'X', section_flags::executable}})
            EXPECT_EQ((section->getFlags() & bit) != 0, flags.find(letter) != std::string::npos)
                << line;
        if (flags.find('X') == std::string::npos) continue;
        for (const std::uint64_t address :
             {section->getStart(), section->getStart() + section->getSize() - 1}) {
            SymMgrObjectPtr<ISection> there;
            ASSERT_EQ(bank->getSectionAt(address, there), status::success);
            EXPECT_EQ(there->getName(), words[0]);
        }
    }
    EXPECT_GT(count, 10);
}

TEST_P(Layout, bytesOfTheFileHaveAddressesBySegment)
{
    for (const header_row_t& row : programHeaders(path)) {
        if (row.kind != "LOAD" || row.fileSize == 0) continue;
        for (const std::uint64_t at : {std::uint64_t{0}, row.fileSize / 2, row.fileSize - 1}) {
            std::uint64_t address = 0;
            std::uint64_t offset = 0;
            ASSERT_TRUE(bank->toAddress(row.offset + at, address));
            EXPECT_EQ(address, row.address + at);
            ASSERT_TRUE(bank->toOffsetInFile(row.address + at, offset));
            EXPECT_EQ(offset, row.offset + at);
        }
        // Memory that is filled with zeros has no byte in the file, but it is a place.
        if (row.memorySize == row.fileSize) continue;
        std::uint64_t offset = 0;
        EXPECT_FALSE(bank->toOffsetInFile(row.address + row.memorySize - 1, offset));
        SymMgrObjectPtr<IAddress> place;
        EXPECT_EQ(bank->getLocation(
                      row.address + row.memorySize - 1 - bank->getPreferredLoadAddress(), place),
                  status::success);
    }
}

TEST_P(Layout, locationsCountFromTheLoadAddress)
{
    const std::vector<stretch_t> code = codeOf(path);
    ASSERT_FALSE(code.empty());
    SymMgrObjectPtr<IAddress> place;
    const std::uint64_t rva = code[0].start - bank->getPreferredLoadAddress();
    ASSERT_EQ(bank->getLocation(rva, place), status::success);
    EXPECT_EQ(place->getRva(), rva);
    EXPECT_EQ(place->getValue(), code[0].start);
    EXPECT_EQ(bank->getLocation(0x7fffffff0000, place), status::notFound);
    EXPECT_FALSE(place);
}

INSTANTIATE_TEST_SUITE_P(Of, Layout, testing::ValuesIn(allSubjects()), labelOf);

} // namespace
