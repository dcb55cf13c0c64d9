// Inlined functions and source lines, compared with addr2line.

#include "sample_program.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;
namespace fs = std::filesystem;

using stack_t = std::vector<std::string>; ///< function and place by turns, innermost first

/// A place as addr2line prints it, with the path made plain; "?" when the file is unknown.
std::string plainPlace(std::string place)
{
    place = place.substr(0, place.find(" (discriminator"));
    const std::size_t colon = place.rfind(':');
    const std::string file = fs::path(place.substr(0, colon)).lexically_normal();
    const std::string line = place.substr(colon + 1);
    return file == "??" ? "?" : file + ":" + (line == "?" ? "0" : line);
}

std::map<std::uint64_t, stack_t> stacksOfTool(const std::string& command,
                                              const std::vector<std::uint64_t>& addresses)
{
    const std::string in = scratch() + "addresses";
    {
        std::ofstream out(in);
        for (const std::uint64_t address : addresses)
            out << "0x" << toHex(address) << '\n';
    }
    std::map<std::uint64_t, stack_t> stacks;
    stack_t* stack = nullptr;
    bool isPlace = false;
    for (const std::string& line : linesOf(runTool(command + " < " + in).text)) {
        if (!isPlace && line.starts_with("0x")) {
            stack = &stacks[fromHex(line)];
            stack->clear();
            isPlace = false;
            continue;
        }
        stack->push_back(isPlace ? plainPlace(line) : line);
        isPlace = !isPlace;
    }
    return stacks;
}

stack_t stackOf(const IModuleSymbolBank& bank, std::uint64_t address)
{
    std::vector<source_frame_t> frames;
    stack_t stack;
    if (!bank.findFrames(address, frames)) return {"", "?"};
    for (const source_frame_t& frame : frames) {
        stack.emplace_back(frame.function);
        stack.push_back(*frame.file == '\0' ? "?"
                                            : plainPlace(std::string(frame.file) + ":" +
                                                         std::to_string(frame.line)));
    }
    return stack;
}

/// Whether two places are one. What may differ:
/// - A path that is relative in the debug information: the tool puts the folder of compilation in
///   front of it, even where that is relative itself and in the path already.
/// - Link time optimisation: the tool shows the made-up name of the unit for its first file.
bool isSamePlace(const std::string& ours, const std::string& theirs)
{
    if (ours == theirs) return true;
    const auto lineOf = [](const std::string& place) { return place.substr(place.rfind(':') + 1); };
    if (theirs.find("<artificial>") != std::string::npos) return lineOf(ours) == lineOf(theirs);
    if (ours.empty() || ours.front() == '/') return false;
    std::string relative = ours;
    while (relative.starts_with("../"))
        relative.erase(0, 3);
    return theirs.ends_with("/" + relative) || theirs == relative;
}

/// Rows of the line tables of a file, as objdump decodes them: file without folder, and line.
class DecodedLines {
public:
    explicit DecodedLines(const std::string& path)
    {
        for (const std::string& line :
             linesOf(runTool("objdump --dwarf=decodedline " + path).text)) {
            const std::vector<std::string> words = wordsOf(line);
            if (words.size() < 3 || !words[2].starts_with("0x")) continue;
            m_rows[fromHex(words[2])].insert(words[0] + ":" + words[1]);
        }
    }
    /// Whether the last row at or before the address, or one more at the same place, is this.
    bool has(std::uint64_t address, const std::string& place) const
    {
        const auto behind = m_rows.upper_bound(address);
        if (behind == m_rows.begin()) return false;
        const std::size_t slash = place.rfind('/');
        return std::prev(behind)->second.count(
                   slash == std::string::npos ? place : place.substr(slash + 1)) != 0;
    }

private:
    std::map<std::uint64_t, std::set<std::string>> m_rows;
};

/// Whether the place is that of the line table, where the tool takes the wrong file for the line:
/// it counts the files of some tables of the fifth version from another number.
bool isDecodedPlace(const std::string& path, std::uint64_t address, const std::string& ours,
                    const std::string& theirs)
{
    if (ours == "?") return false;
    const bool isWithout = theirs == "?" || theirs.ends_with(":0");
    if (!isWithout && ours.substr(ours.rfind(':')) != theirs.substr(theirs.rfind(':')))
        return false;
    static std::map<std::string, DecodedLines> s_tables;
    return s_tables.try_emplace(path, path).first->second.has(address, ours);
}

class Frames : public testing::TestWithParam<subject_t> {
protected:
    void SetUp() override
    {
        path = pathOf(GetParam());
        if (path.empty()) GTEST_SKIP() << "cannot be made here: " << GetParam().label;
        std::string toolPath = path;
        tool = "addr2line";
        // The tool cannot read a mixture of sections of the older packing and others.
        if (GetParam().label == "compressedOldWay") toolPath = compile("unpacked", "-O2 -g");
        // It misses what was inlined where lists of ranges of the fifth version count from a base.
        if (GetParam().label == "clang") tool = "llvm-symbolizer --output-style=GNU";
        if (!runTool("command -v " + tool.substr(0, tool.find(' '))).isGood)
            GTEST_SKIP() << tool << " is not there";
        tool += " -a -i -f --no-demangle -e " + toolPath;
        if (tool[0] == 'a') tool.erase(tool.find("--no-demangle"), 14);
        // Where the tool looks for debug information too.
        const std::string id = openImage(path)->getBuildId();
        const std::string debugFile = id.empty() ? id
                                                 : "/usr/lib/debug/.build-id/" + id.substr(0, 2) +
                                                       "/" + id.substr(2) + ".debug";
        const bool isSeparate = fs::exists(debugFile);
        bank = openBank(path, isSeparate ? debugFile : "");
        debugPath = isSeparate ? debugFile : path;
        ASSERT_TRUE(bank);
    }

    std::string path;
    std::string tool; ///< the command, which reads addresses
    std::string debugPath;
    SymMgrObjectPtr<IModuleSymbolBank> bank;
};

/// Whether `name`, without namespace and arguments, is that of the demangled function.
bool isPlainNameOf(const std::string& name, const std::string& function)
{
    const std::size_t at = function.find(name + "(");
    return at == 0 || (at != std::string::npos && std::strchr(": ", function[at - 1]) != nullptr);
}

/// What may differ in the name of a function:
/// - Of aliases the tool may take another one.
/// - For want of a mangled name, which functions of unnamed namespaces lack, the tool takes that of
///   the symbol, even for what was inlined into it, or none. Where it takes the plain name, that of
///   the symbol is here.
/// - Between functions the tool takes the one before, and here there is none.
bool isOtherName(const IModuleSymbolBank& bank, const std::string& ours, const std::string& theirs,
                 std::uint64_t address)
{
    symbol_t symbol;
    if (!bank.findSymbol(address, symbol)) return ours.empty();
    if (theirs == "??" || isPlainNameOf(theirs, demangle(ours.c_str()))) return true;
    const auto aliases = bank.getSymbolsAt(symbol.start);
    return std::any_of(aliases.begin(), aliases.end(), [&](const symbol_t& alias) {
        const std::string name = alias.name;
        return name.substr(0, name.find('@')) == theirs.substr(0, theirs.find('@'));
    });
}

TEST_P(Frames, everyAddressHasTheStackAndTheLinesOfTheOtherTool)
{
    std::vector<std::uint64_t> addresses = addressesOf(codeOf(path), 1000);
    // In a large file most of which is without lines.
    for (const symbol_t& symbol : bank->getSymbols())
        if (symbol.name == std::string("main") || symbol.name == std::string("exported"))
            for (std::uint64_t address = symbol.start; address < symbol.end; ++address)
                addresses.push_back(address);
    int known = 0;
    for (const auto& [address, theirs] : stacksOfTool(tool, addresses)) {
        const stack_t ours = stackOf(*bank, address);
        std::string both = toHex(address) + "\n ours  ";
        for (const std::string& part : ours)
            both += " " + part;
        both += "\n theirs";
        for (const std::string& part : theirs)
            both += " " + part;
        // Without debug information there, the tool makes do with the symbol table.
        if (ours[1] == "?" && (theirs[1] == "?" || theirs[1].ends_with(":0"))) continue;
        ++known;
        ASSERT_EQ(ours.size(), theirs.size()) << both;
        std::vector<source_frame_t> frames;
        bank->findFrames(address, frames);
        const bool isCovered = frames.back().start != frames.back().end;
        for (std::size_t i = 0; i < ours.size(); i += 2) {
            const bool isInnermost = i == 0;
            EXPECT_TRUE(isSamePlace(ours[i + 1], theirs[i + 1]) ||
                        (isInnermost && (!isCovered || theirs[1] != "?") &&
                         isDecodedPlace(debugPath, address, ours[1], theirs[1])))
                << both;
            EXPECT_TRUE(ours[i] == theirs[i] || isOtherName(*bank, ours[i], theirs[i], address) ||
                        (!isCovered && theirs[1].ends_with(":0")))
                << both;
        }
    }
    RecordProperty("addressesWithLines", known);
    const bool hasLines =
        GetParam().flags.find("-g") != std::string::npos && GetParam().then.empty();
    EXPECT_GE(known, hasLines ? 10 : 0);
}

INSTANTIATE_TEST_SUITE_P(Of, Frames, testing::ValuesIn(allSubjects()), labelOf);

} // namespace
