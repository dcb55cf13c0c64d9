// Symbols of binaries, compared with a walk over the tables that readelf prints, with the entries
// that objdump names, and with the names that c++filt makes.

#include "sample_program.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;

/// A line of readelf -s that is a name of code.
struct row_t {
    std::uint64_t start = 0;
    std::uint64_t size = 0;
    bool isLabel = false;
    std::string name;
};

std::string withoutVersion(const std::string& name)
{
    return name.substr(0, name.find('@'));
}

std::vector<stretch_t> executableSections(const std::string& path)
{
    std::vector<stretch_t> sections;
    for (const std::string& line : linesOf(runTool("readelf -SW " + path).text)) {
        const std::size_t close = line.find(']');
        if (close == std::string::npos) continue;
        const std::vector<std::string> words = wordsOf(line.substr(close + 1));
        if (words.size() != 10 || words[6].find('X') == std::string::npos) continue;
        sections.push_back({fromHex(words[2]), fromHex(words[2]) + fromHex(words[4])});
    }
    return sections;
}

const stretch_t* sectionOf(const std::vector<stretch_t>& sections, std::uint64_t address)
{
    for (const stretch_t& section : sections)
        if (section.start <= address && address < section.end) return &section;
    return nullptr;
}

std::vector<row_t> rowsOf(const std::string& path, const std::vector<stretch_t>& sections)
{
    std::vector<row_t> rows;
    for (std::string line : linesOf(runTool("readelf -sW " + path).text)) {
        // What some linkers make of an indirect function is not named by the tool.
        static const std::string unnamed = "<OS specific>: 10";
        const std::size_t place = line.find(unnamed);
        if (place != std::string::npos) line.replace(place, unnamed.size(), "IFUNC");
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() < 8 || words[0].back() != ':' || words[6] == "UND") continue;
        if (words[3] != "FUNC" && words[3] != "IFUNC" && words[3] != "NOTYPE") continue;
        const std::uint64_t start = fromHex(words[1]);
        if (sectionOf(sections, start) == nullptr) continue;
        rows.push_back({start, std::stoull(words[2], nullptr, 0), words[3] == "NOTYPE",
                        withoutVersion(words[7])});
    }
    return rows;
}

/// The rule, plainly: a function with a size that holds the address, of several the last to start;
/// else a label with a size; else the nearest name below, if that has no size and is in the
/// section.
std::set<std::string> namesAt(const std::vector<row_t>& rows,
                              const std::vector<stretch_t>& sections, std::uint64_t address,
                              std::uint64_t& start)
{
    const stretch_t* section = sectionOf(sections, address);
    if (section == nullptr) return {};
    std::set<std::string> names;
    const auto take = [&](const auto& holds) {
        for (const row_t& row : rows)
            if (holds(row) && (names.empty() || row.start > start)) {
                start = row.start;
                names = {row.name};
            } else if (holds(row) && row.start == start) {
                names.insert(row.name);
            }
        return !names.empty();
    };
    for (const bool isLabel : {false, true})
        if (take([&](const row_t& row) {
                return row.isLabel == isLabel && row.size != 0 && row.start <= address &&
                       address <
                           std::min(row.start + row.size, sectionOf(sections, row.start)->end);
            }))
            return names;
    std::uint64_t nearest = section->start;
    for (const row_t& row : rows)
        if (row.start <= address) nearest = std::max(nearest, row.start);
    for (const bool isLabel : {false, true})
        if (take([&](const row_t& row) {
                return row.isLabel == isLabel && row.size == 0 && row.start == nearest;
            }))
            return names;
    return {};
}

class Symbols : public testing::TestWithParam<subject_t> {
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

TEST_P(Symbols, anAddressHasTheSymbolOfAWalkOverTheTables)
{
    const std::vector<stretch_t> sections = executableSections(path);
    const std::vector<row_t> rows = rowsOf(path, sections);
    std::vector<std::uint64_t> addresses = addressesOf(codeOf(path), 1000);
    for (std::size_t i = 0; i < rows.size(); i += rows.size() / 200 + 1)
        for (const std::uint64_t at :
             {rows[i].start - 1, rows[i].start, rows[i].start + 1, rows[i].start + rows[i].size - 1,
              rows[i].start + rows[i].size})
            addresses.push_back(at);
    std::size_t found = 0;
    for (const std::uint64_t address : addresses) {
        std::uint64_t start = 0;
        const std::set<std::string> names = namesAt(rows, sections, address, start);
        symbol_t symbol;
        const bool isThere = bank->findSymbol(address, symbol);
        if (isThere && symbol.origin == symbol_origin_t::linkageTable) continue; // see below
        ASSERT_EQ(isThere, !names.empty()) << toHex(address) << " " << symbol.name;
        if (!isThere) continue;
        ++found;
        ASSERT_EQ(symbol.start, start) << toHex(address) << " " << symbol.name;
        ASSERT_TRUE(names.count(withoutVersion(symbol.name))) << toHex(address) << symbol.name;
        ASSERT_TRUE(symbol.start <= address && address < symbol.end);
    }
    EXPECT_GE(found, rows.size() > 20 ? std::min<std::size_t>(rows.size() / 2, 100) : 0);
}

TEST_P(Symbols, allNamesOfCodeAreListed)
{
    const std::vector<stretch_t> sections = executableSections(path);
    std::set<std::pair<std::uint64_t, std::string>> expected;
    for (const row_t& row : rowsOf(path, sections))
        expected.emplace(row.start, row.name);
    std::set<std::pair<std::uint64_t, std::string>> listed;
    for (const symbol_t& symbol : bank->getSymbols())
        if (symbol.origin != symbol_origin_t::linkageTable)
            listed.emplace(symbol.start, withoutVersion(symbol.name));
    EXPECT_EQ(listed, expected);
    for (const auto& [start, name] : expected) {
        const auto aliases = bank->getSymbolsAt(start);
        EXPECT_TRUE(std::any_of(aliases.begin(), aliases.end(), [&](const symbol_t& alias) {
            return withoutVersion(alias.name) == name;
        })) << name;
    }
}

TEST_P(Symbols, entriesOfTheLinkageTablesHaveTheNamesOfTheDisassembler)
{
    // objdump names indirect functions of the file itself by a number.
    std::map<std::uint64_t, std::string> expected;
    for (const std::string& line :
         linesOf(runTool("objdump -d -j .plt -j .plt.sec -j .plt.got " + path + " | grep '@plt>:$'")
                     .text)) {
        const std::size_t open = line.find('<');
        const std::string name = line.substr(open + 1, line.rfind('>') - open - 1);
        if (name.find('*') == std::string::npos) expected[fromHex(line)] = withoutVersion(name);
    }
    std::map<std::uint64_t, std::string> listed;
    for (const symbol_t& symbol : bank->getSymbols()) {
        if (symbol.origin != symbol_origin_t::linkageTable) continue;
        EXPECT_TRUE(std::string(symbol.name).ends_with("@plt"));
        if (expected.count(symbol.start)) listed[symbol.start] = withoutVersion(symbol.name);
    }
    EXPECT_EQ(listed, expected);
}

TEST_P(Symbols, demangledNamesAreThoseOfTheFilter)
{
    const std::string in = scratch() + "mangled";
    std::vector<std::string> names;
    {
        std::ofstream out(in);
        for (const symbol_t& symbol : bank->getSymbols()) {
            if (std::string(symbol.name).find('@') != std::string::npos) continue;
            names.push_back(symbol.name);
            out << symbol.name << '\n';
        }
    }
    const std::vector<std::string> filtered = linesOf(runTool("c++filt -i < " + in).text);
    ASSERT_EQ(filtered.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
        ASSERT_EQ(demangle(names[i].c_str()), filtered[i]) << names[i];
}

INSTANTIATE_TEST_SUITE_P(Of, Symbols, testing::ValuesIn(allSubjects()), labelOf);

} // namespace
