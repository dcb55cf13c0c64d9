#include "played_tool.h"

#include <toolbelt2/process.h>

#include <chrono>

namespace samplefold_1 {
namespace {

using namespace std::chrono_literals;
using texts_t = std::vector<std::string>;

constexpr const char* g_joinFailed = "process->join().succeeded()";

/// Limits of child processes, for as long as it lives.
class ScopedLimits {
public:
    explicit ScopedLimits(const tb2::process::limits_t& limits)
        : m_former(tb2::process::setDefaultLimits(limits))
    {
    }
    ~ScopedLimits() { tb2::process::setDefaultLimits(m_former); }
    ScopedLimits(const ScopedLimits&) = delete;
    ScopedLimits& operator=(const ScopedLimits&) = delete;

private:
    tb2::process::limits_t m_former;
};

class FailingTool : public PlayedTool {};

TEST_F(FailingTool, IsRunAgainOnTheNextCall)
{
    play("echo some text; exit 1");
    EXPECT_FALSE(info.init());
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "");
    EXPECT_EQ(runs(), 2u);
    EXPECT_EQ(logged(), (texts_t{g_joinFailed, g_joinFailed}));
}

TEST_F(FailingTool, IsForgottenOnceItWorks)
{
    play("echo some text; exit 1");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "");
    print(line("0x50657", "skx"));
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "skx");
}

TEST_F(FailingTool, LinesThatItPrintedAreNotKept)
{
    folder.addFile("text", line("0x50657", "skx"));
    play("cat '" + folder.path("text") + "'; exit 1");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "");
}

TEST_F(FailingTool, ThatIsMissingIsNotLookedForInPath)
{
    const samplefold_test::TemporaryFolder elsewhere;
    const std::string tool = elsewhere.addFile("hwsamp", "#!/bin/sh\necho found\n");
    std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
    const std::string before = std::getenv("PATH");
    ::setenv("PATH", (elsewhere.path() + ":" + before).c_str(), 1);
    EXPECT_FALSE(info.init());
    ::setenv("PATH", before.c_str(), 1);
    EXPECT_EQ(logged(), texts_t{g_joinFailed});
}

TEST_F(FailingTool, InADirectoryThatIsMissingIsAFailure)
{
    const samplefold_test::ScopedEnvironment missing("SAMPLEFOLD_TOOL_DIR", "/no/such/folder");
    EXPECT_FALSE(info.init());
    EXPECT_EQ(logged(), texts_t{g_joinFailed});
}

TEST_F(FailingTool, ThatPrintsNothingIsAFailure)
{
    play("echo not here >&2");
    EXPECT_FALSE(info.init());
    EXPECT_EQ(logged(), texts_t{"!output.empty()"});
}

TEST_F(FailingTool, ThatNeverEndsIsStopped)
{
    const ScopedLimits limits({.time = 300ms});
    play("echo '" + line("0x50657", "skx") + "'; sleep 1000");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
    EXPECT_EQ(logged(), texts_t{g_joinFailed});
}

TEST_F(FailingTool, ThatPrintsWithoutEndIsStopped)
{
    const ScopedLimits limits({.bytes = 1'000'000});
    play("yes 'Platform: 1, PMU: skx, Signature: 0x50657, CPU name: X'");
    EXPECT_EQ(info.getPMU(6, 0x55, 7), "");
    EXPECT_EQ(logged(), texts_t{g_joinFailed});
}

} // namespace
} // namespace samplefold_1
