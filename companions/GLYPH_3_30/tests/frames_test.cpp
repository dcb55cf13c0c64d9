// Inlined functions and source lines, compared with addr2line.

#include "known_differences.h"
#include "sample_program.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;
namespace fs = std::filesystem;

/// A place as addr2line prints it, with the path made plain; "?" when the file is unknown.
std::string plainPlace(std::string place)
{
    place = place.substr(0, place.find(" (discriminator"));
    const std::size_t colon = place.rfind(':');
    const std::string file = fs::path(place.substr(0, colon)).lexically_normal();
    const std::string line = place.substr(colon + 1);
    return file == "??" ? "?" : file + ":" + (line == "?" ? "0" : line);
}

std::map<std::uint64_t, answer_t> stacksOfTool(const std::string& command,
                                               const std::vector<std::uint64_t>& addresses)
{
    const std::string in = scratch() + "addresses";
    {
        std::ofstream out(in);
        for (const std::uint64_t address : addresses)
            out << "0x" << toHex(address) << '\n';
    }
    std::map<std::uint64_t, answer_t> stacks;
    answer_t* stack = nullptr;
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

answer_t stackOf(const IModuleSymbolBank& bank, std::uint64_t address)
{
    std::vector<source_frame_t> frames;
    answer_t stack;
    if (!bank.findFrames(address, frames)) return {"", "?"};
    for (const source_frame_t& frame : frames) {
        stack.emplace_back(frame.function);
        stack.push_back(*frame.file == '\0' ? "?"
                                            : plainPlace(std::string(frame.file) + ":" +
                                                         std::to_string(frame.line)));
    }
    return stack;
}

/// Where the system keeps the debug file of an image, or where the test has put it; the other tool
/// looks there too. Empty when it has none.
std::string debugFileOf(const std::string& path)
{
    if (fs::exists(path + ".debug")) return path + ".debug";
    const std::string id = openImage(path)->getBuildId();
    if (id.empty()) return {};
    const std::string file =
        "/usr/lib/debug/.build-id/" + id.substr(0, 2) + "/" + id.substr(2) + ".debug";
    return fs::exists(file) ? file : std::string();
}

std::string textOf(std::uint64_t address, const answer_t& ours, const answer_t& theirs)
{
    std::string both = toHex(address) + "\n ours  ";
    for (const std::string& part : ours)
        both += " " + part;
    both += "\n theirs";
    for (const std::string& part : theirs)
        both += " " + part;
    return both;
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
        const std::string debugFile = debugFileOf(path);
        bank = openBank(path, debugFile);
        debugPath = debugFile.empty() ? path : debugFile;
        ASSERT_TRUE(bank);
    }

    std::string path;
    std::string tool; ///< the command, which reads addresses
    std::string debugPath;
    SymMgrObjectPtr<IModuleSymbolBank> bank;
};

/// Each reason is one that is known for the subject, and is not needed more often than it may be.
void expectKnown(const subject_t& subject, const std::map<std::string, int>& counts, int addresses)
{
    for (const difference_t& known : knownDifferences()) {
        const auto place = counts.find(known.name);
        if (place == counts.end()) continue;
        testing::Test::RecordProperty(known.name, place->second);
        const bool isExpected =
            known.subjects.empty() ||
            std::count(known.subjects.begin(), known.subjects.end(), subject.label) != 0;
        EXPECT_TRUE(isExpected) << known.name << " is new here: " << known.why;
        EXPECT_LE(100.0 * place->second, known.mostPercent * addresses)
            << known.name << ", of " << addresses << " addresses: " << known.why;
    }
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
    std::map<std::string, int> counts; // of addresses at which a reason was needed
    for (const auto& [address, theirs] : stacksOfTool(tool, addresses)) {
        const answer_t ours = stackOf(*bank, address);
        // Without debug information there, the tool makes do with the symbol table.
        if (ours[1] == "?" && (theirs[1] == "?" || theirs[1].ends_with(":0"))) continue;
        ++known;
        ASSERT_EQ(ours.size(), theirs.size()) << textOf(address, ours, theirs);
        std::vector<source_frame_t> frames;
        bank->findFrames(address, frames);
        const bool isCovered = frames.back().start != frames.back().end;
        const auto reasons = reasonsOf({*bank, debugPath, address, isCovered, ours, theirs});
        for (const std::string& reason : std::set<std::string>(reasons.begin(), reasons.end())) {
            ++counts[reason];
            EXPECT_NE(reason, "unexplained") << textOf(address, ours, theirs);
        }
    }
    expectKnown(GetParam(), counts, known);
    RecordProperty("addressesWithLines", known);
    const bool hasLines =
        GetParam().flags.find("-g") != std::string::npos && GetParam().then.empty();
    EXPECT_GE(known, hasLines ? 10 : 0);
}

INSTANTIATE_TEST_SUITE_P(Of, Frames, testing::ValuesIn(allSubjects()), labelOf);

} // namespace
