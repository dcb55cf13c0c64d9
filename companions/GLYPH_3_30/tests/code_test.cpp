// The bytes of code, compared with those of the file at the places that readelf prints.

#include "elf_bytes.h"
#include "sample_program.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;

struct segment_row_t {
    std::uint64_t offset, address, size;
};

std::vector<segment_row_t> loadedOf(const std::string& path)
{
    std::vector<segment_row_t> rows;
    for (const std::string& line : linesOf(runTool("readelf -lW " + path).text)) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() > 6 && words[0] == "LOAD")
            rows.push_back({fromHex(words[1]), fromHex(words[2]), fromHex(words[4])});
    }
    return rows;
}

std::string contentOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string codeAt(const IModuleSymbolBank& bank, std::uint64_t address, std::size_t size)
{
    std::string text(size, '?');
    text.resize(bank.readCode(address, std::as_writable_bytes(std::span(text))));
    return text;
}

class Code : public testing::TestWithParam<subject_t> {
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

TEST_P(Code, bytesAreThoseOfTheFileUpToTheEndOfTheSegment)
{
    const std::string file = contentOf(path);
    std::mt19937_64 random(7);
    for (const segment_row_t& row : loadedOf(path)) {
        ASSERT_EQ(codeAt(*bank, row.address, row.size), file.substr(row.offset, row.size));
        for (int i = 0; i < 50 && row.size != 0; ++i) {
            const std::uint64_t from = random() % row.size;
            const std::uint64_t count = std::min<std::uint64_t>(random() % 300, row.size - from);
            EXPECT_EQ(codeAt(*bank, row.address + from, count),
                      file.substr(row.offset + from, count));
        }
    }
}

TEST_P(Code, stretchesAreTheExecutableSections)
{
    std::vector<std::pair<std::uint64_t, std::uint64_t>> expected;
    for (const std::string& line : linesOf(runTool("readelf -SW " + path).text)) {
        const std::size_t close = line.find(']');
        if (close == std::string::npos) continue;
        const std::vector<std::string> words = wordsOf(line.substr(close + 1));
        if (words.size() == 10 && words[6].find('X') != std::string::npos && fromHex(words[4]) != 0)
            expected.emplace_back(fromHex(words[2]), fromHex(words[2]) + fromHex(words[4]));
    }
    if (expected.empty()) GTEST_SKIP() << "no sections";
    std::sort(expected.begin(), expected.end());
    std::vector<std::pair<std::uint64_t, std::uint64_t>> code;
    for (const code_stretch_t& stretch : bank->getCode())
        code.emplace_back(stretch.start, stretch.end);
    EXPECT_EQ(code, expected);
}

INSTANTIATE_TEST_SUITE_P(Of, Code, testing::ValuesIn(allSubjects()), labelOf);

TEST(CodeBytes, readingEndsWhereTheFileHasNothing)
{
    ElfBytes elf;
    elf.addSegment(0x401000, "abcdef", true);
    const auto bank = elf.bank();
    EXPECT_EQ(codeAt(*bank, 0x401002, 100), "cdef");
    EXPECT_EQ(codeAt(*bank, 0x401006, 100), "");
    EXPECT_EQ(codeAt(*bank, 0x400fff, 100), "");
    EXPECT_EQ(codeAt(*bank, ~std::uint64_t{0}, 100), "");
}

TEST(CodeBytes, readingGoesOnInTheSegmentBehind)
{
    ElfBytes elf;
    elf.addSegment(0x401003, "def", false);
    elf.addSegment(0x401000, "abc", true);
    EXPECT_EQ(codeAt(*elf.bank(), 0x401001, 100), "bcdef");
}

TEST(CodeBytes, ofOverlappingSegmentsTheFirstCounts)
{
    ElfBytes elf;
    elf.addSegment(0x401002, "CD", true);
    elf.addSegment(0x401000, "abcdef", true);
    EXPECT_EQ(codeAt(*elf.bank(), 0x401000, 100), "abCDef");
    std::uint64_t offset = 0;
    EXPECT_TRUE(elf.bank()->toOffsetInFile(0x401003, offset));
    EXPECT_EQ(elf.bytes()[offset], 'D');
}

TEST(CodeBytes, withoutSectionsExecutableSegmentsAreTheCode)
{
    ElfBytes elf;
    elf.addSegment(0x400000, "data", false);
    elf.addSegment(0x401000, "code", true);
    const auto code = elf.bank()->getCode();
    ASSERT_EQ(code.size(), 1u);
    EXPECT_EQ(code[0].start, 0x401000u);
    EXPECT_EQ(code[0].end, 0x401004u);
}

TEST(CodeBytes, aFileThatIsCutGivesWhatIsLeft)
{
    const std::string path = compile("cutLater", "-O1");
    const auto bank = openBank(path);
    SymMgrObjectPtr<ISection> text;
    ASSERT_EQ(bank->getSection(".text", text), status::success);
    ASSERT_EQ(codeAt(*bank, text->getStart(), 64).size(), 64u);
    ASSERT_EQ(::truncate(path.c_str(), static_cast<off_t>(text->getOffsetInFile() + 10)), 0);
    EXPECT_EQ(codeAt(*bank, text->getStart(), 64).size(), 10u);
}

} // namespace
