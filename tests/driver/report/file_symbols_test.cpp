// The files are this program's own, whose addresses the kernel tells.
#include "made_result.h"

#include "command_output.h"
#include "report/file_symbols.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>

extern "C" [[gnu::noinline]] int sf_asked_by_the_test(int value)
{
    return value * 3 + 1;
}

namespace samplefold::report {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using testing::Columns;
using testing::text;

/// The byte of the program's file at an address of this process.
std::uint64_t fileOffset(std::uint64_t address)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        std::uint64_t start = 0;
        std::uint64_t end = 0;
        std::uint64_t offset = 0;
        char dash = 0;
        std::string access;
        words >> std::hex >> start >> dash >> end >> access >> offset;
        if (start <= address && address < end) return address - start + offset;
    }
    return 0;
}

class FileSymbolsTest : public testing::MadeResultTest {
protected:
    Index module(const Columns& columns, const std::string& found)
    {
        const Index row = add("dd_module_file", columns);
        search(row, found);
        return row;
    }
    void search(Index module, const std::string& found)
    {
        add("dd_module_search", {{"module", indexToVariant(module)}, {"found", text(found)}});
    }
    std::string asked(Index module) { return m_symbols.functionAt(module.value(), m_offset); }

    const std::string m_program = std::filesystem::read_symlink("/proc/self/exe").native();
    const std::uint64_t m_offset =
        fileOffset(reinterpret_cast<std::uint64_t>(&sf_asked_by_the_test)) + 1;
    FileSymbols m_symbols{result()};
};

TEST_F(FileSymbolsTest, TheFunctionIsThatOfTheFile)
{
    EXPECT_EQ(asked(module({}, m_program)), "sf_asked_by_the_test");
}

TEST_F(FileSymbolsTest, NamesAreReadable)
{
    const std::uint64_t address = reinterpret_cast<std::uint64_t>(&fileOffset);
    const std::uint64_t offset = fileOffset(address);
    EXPECT_EQ(m_symbols.functionAt(module({}, m_program).value(), offset),
              "samplefold::report::(anonymous namespace)::fileOffset(unsigned long)");
}

TEST_F(FileSymbolsTest, AFileThatIsAnotherOneThanAtTheLoadTellsNothing)
{
    EXPECT_EQ(asked(module({{"build_id", text("0123456789abcdef0123")}}, m_program)), "");
    EXPECT_EQ(asked(module({{"md5", text("00112233445566778899aabbccddeeff")}}, m_program)), "");
}

TEST_F(FileSymbolsTest, AFileWithTheChecksumOfTheLoadCounts)
{
    const std::string sum = seek_test::outputOf("md5sum " + seek_test::shellQuoted(m_program));
    EXPECT_EQ(asked(module({{"md5", text(sum.substr(0, 32))}}, m_program)), "sf_asked_by_the_test");
}

TEST_F(FileSymbolsTest, TheLastSearchHolds)
{
    const Index row = module({}, "/no/such/file");
    search(row, m_program);
    EXPECT_EQ(asked(row), "sf_asked_by_the_test");
    const Index again = module({}, m_program);
    search(again, "/no/such/file");
    EXPECT_EQ(asked(again), "");
}

TEST_F(FileSymbolsTest, WhatIsNoProgramTellsNothing)
{
    EXPECT_EQ(asked(Index(4711)), "");
    EXPECT_EQ(asked(module({}, "")), "");
    EXPECT_EQ(asked(module({}, "/dev/zero")), "");
    EXPECT_EQ(asked(module({}, "/")), "");
    EXPECT_EQ(asked(module({}, "/etc/passwd")), "");
}

TEST_F(FileSymbolsTest, AByteBehindTheEndOfTheFileIsNoFunctions)
{
    EXPECT_EQ(m_symbols.functionAt(module({}, m_program).value(), ~std::uint64_t{0}), "");
}

} // namespace
} // namespace samplefold::report
