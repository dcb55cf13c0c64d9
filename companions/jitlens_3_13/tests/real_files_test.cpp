// Files that Node.js has written, compared with a walk of their bytes that is done here.

#include "loader_fixture.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using jitlens_3_13::source_t;
using jitlens_3_13::symbol_t;

class RealFile : public LoaderTest {
protected:
    /// Reads a file of the larger collection and takes it for the process. False without it.
    bool take(const std::string& name)
    {
        const char* wanted = std::getenv("SAMPLEFOLD_SHARED_DATA");
        const fs::path shared =
            wanted != nullptr && *wanted != '\0' ? wanted : SF_DEFAULT_SHARED_DATA;
        if (!fs::exists(shared / name)) return false;
        std::ifstream in(shared / name, std::ios::binary);
        content = {std::istreambuf_iterator<char>(in), {}};
        loader->addFile(pid, (shared / name).string());
        return true;
    }
    template <class T>
    T number(std::size_t offset) const
    {
        T value;
        std::memcpy(&value, content.data() + offset, sizeof value);
        return value;
    }

    std::string content;
};

TEST_F(RealFile, everyFunctionOfTheDumpIsFoundFromItsLoadOn)
{
    if (!take("node-jitdump/jit-3198.dump")) GTEST_SKIP() << "the larger collection is not there";
    std::uint64_t loads = 0;
    std::uint64_t debugRecords = 0;
    for (std::size_t offset = 40; offset < content.size();) {
        const auto id = number<std::uint32_t>(offset);
        if (id == 0) {
            ++loads;
            const auto time = number<std::uint64_t>(offset + 8);
            const auto address = number<std::uint64_t>(offset + 32);
            const auto size = number<std::uint64_t>(offset + 40);
            const std::string name = content.data() + offset + 56;
            ASSERT_EQ(at(time, address), name + "+0");
            ASSERT_EQ(at(time, address + size - 1), name + "+" + std::to_string(size - 1));
            ASSERT_EQ(at(time - 1, address), nothing); // no place is used twice in this dump
            ASSERT_EQ(rvaAt(time, address), offset + 56 + name.size() + 1);
        }
        debugRecords += id == 2 ? 1 : 0;
        offset += number<std::uint32_t>(offset + 4);
    }
    EXPECT_GT(loads, 2000u);
    EXPECT_EQ(source().functions, loads);
    EXPECT_EQ(source().fault, "");
    // Some of its records of lines have bytes of other strings in place of names.
    EXPECT_LT(source().skipped, debugRecords);
}

TEST_F(RealFile, linesOfTheDumpLieInTheSourceThatTheFunctionNames)
{
    if (!take("node-jitdump/jit-3198.dump")) GTEST_SKIP() << "the larger collection is not there";
    int functionsWithLines = 0;
    for (std::size_t offset = 40; offset < content.size();
         offset += number<std::uint32_t>(offset + 4)) {
        if (number<std::uint32_t>(offset) != 0) continue;
        // "JS:^name file:line:column": the file of the first instruction's line is that file.
        const std::string name = content.data() + offset + 56;
        const auto time = number<std::uint64_t>(offset + 8);
        const std::string line = lineAt(time, number<std::uint64_t>(offset + 32));
        if (line == nothing) continue;
        ++functionsWithLines;
        const std::string file = line.substr(0, line.rfind(':'));
        EXPECT_NE(name.find(" " + file + ":"), std::string::npos) << name << " has " << line;
    }
    EXPECT_GT(functionsWithLines, 5);
}

TEST_F(RealFile, everyLineOfTheMapIsFoundUnlessALaterOneCoversIt)
{
    if (!take("node-perfmap/perf-3188.map")) GTEST_SKIP() << "the larger collection is not there";
    struct line_t {
        std::uint64_t first;
        std::uint64_t size;
        std::string name;
    };
    std::vector<line_t> lines;
    std::istringstream in(content);
    for (line_t line; in >> std::hex >> line.first >> line.size && in.get() == ' ' &&
                      std::getline(in, line.name);)
        lines.push_back(line);
    ASSERT_GT(lines.size(), 2000u);
    for (const line_t& asked : lines) {
        const line_t* last = nullptr;
        for (const line_t& line : lines)
            if (line.first <= asked.first && asked.first - line.first < line.size) last = &line;
        ASSERT_NE(last, nullptr);
        ASSERT_EQ(at(1, asked.first), last->name + "+" + std::to_string(asked.first - last->first));
    }
    EXPECT_EQ(source().functions, lines.size());
    EXPECT_EQ(source().skipped, 0u);
}

} // namespace
