// Files of modules that are damaged, or something else.
#include "deeptree.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <random>

namespace samplefold::unwind::testing {
namespace {

constexpr auto g_program = "/opt/sfdemo/deeptree";

class DamagedFile : public ::testing::Test {
protected:
    std::string program() const
    {
        std::ifstream file(recordedBinary("deeptree"), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// How the stacks end with this as the program's file.
    std::vector<Unwound> with(const std::string& content)
    {
        recording.files[g_program] = folder.addFile("program", content);
        return recording.unwindAll();
    }
    /// Every stack that reaches the program ends there for this cause.
    void expectInProgram(const std::vector<Unwound>& stacks, Stop stop)
    {
        const auto [first, last] = recording.codeOf(g_program);
        std::size_t count = 0;
        for (const Unwound& stack : stacks) {
            if (stack.frames.back() < first || stack.frames.back() > last) continue;
            ++count;
            EXPECT_EQ(stack.stop, stop) << textOf(stack.stop).reason;
        }
        EXPECT_GE(count, 290U);
    }

    samplefold_test::TemporaryFolder folder;
    Deeptree recording;
};

TEST_F(DamagedFile, ThatIsNoElfFileIsTheCause)
{
    expectInProgram(with("no such thing"), Stop::badFile);
    expectInProgram(with(""), Stop::badFile);
}

TEST_F(DamagedFile, OfAnotherMachineIsTheCause)
{
    std::string content = program();
    content[18] = 40; // e_machine: ARM
    expectInProgram(with(content), Stop::badFile);
}

TEST_F(DamagedFile, ThatIsAPipeIsNotWaitedFor)
{
    const std::string path = folder.path("pipe");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    recording.files[g_program] = path;
    expectInProgram(recording.unwindAll(), Stop::badFile);
}

TEST_F(DamagedFile, ThatIsCutAnywhereEndsStacksOnly)
{
    const std::string whole = program();
    for (std::size_t size = 0; size < whole.size(); size += 997)
        EXPECT_FALSE(with(whole.substr(0, size)).empty());
}

TEST_F(DamagedFile, WithChangedBytesEndsStacksOnly)
{
    const std::string whole = program();
    std::mt19937_64 random(3);
    for (int round = 0; round < 60; ++round) {
        std::string changed = whole;
        // Headers and tables first: elsewhere nothing is read.
        const std::size_t limit = round % 2 == 0 ? 0x400 : changed.size();
        for (int i = 0; i < 30; ++i)
            changed[random() % limit] = static_cast<char>(random());
        for (const Unwound& stack : with(changed))
            EXPECT_LE(stack.frames.size(), StackUnwinder::maxFrames);
    }
}

TEST_F(DamagedFile, WithChangedUnwindTablesEndsStacksOnly)
{
    const std::string whole = program();
    const std::size_t tables = 0x2000; // .eh_frame_hdr and .eh_frame stand behind the constants
    std::mt19937_64 random(4);
    for (int round = 0; round < 60; ++round) {
        std::string changed = whole;
        for (int i = 0; i < 1 + round; ++i)
            changed[tables + random() % 0x500] = static_cast<char>(random());
        for (const Unwound& stack : with(changed))
            EXPECT_LE(stack.frames.size(), StackUnwinder::maxFrames);
    }
}

} // namespace
} // namespace samplefold::unwind::testing
