#include "support/log_capture.h"

#include <samplefold_1/platform_info.h>

#include <optbook2/product_locations.h>
#include <toolbelt2/process.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

// What PlatformInfo asks of its neighbours, which the test plays.
namespace samplefold_1 {
namespace {

using texts_t = std::vector<std::string>;
namespace process = tb2::process;

/// How the neighbours behave, and what they were asked.
struct Stage {
    std::optional<std::string> directory = "/tools";
    bool givesProcess = true;
    std::int32_t readerResult = 0;
    std::int32_t startResult = 0;
    std::int32_t joinResult = 0;
    texts_t output{"Platform: 1, PMU: skx, Signature: 0x50657, CPU name: X\n"};
    texts_t calls;
};

Stage g_stage;

class PlayedProcess : public process::IProcess {
public:
    tb2::error_code_t
    setPipeReader(int stream, const tb2::sptr_t<process::IPipeReaderCallback>& callback) override
    {
        g_stage.calls.push_back("setPipeReader " + std::to_string(stream));
        m_callback = callback;
        return tb2::error_code_t(g_stage.readerResult);
    }
    void setLimits(const process::limits_t&) override { g_stage.calls.push_back("setLimits"); }
    tb2::error_code_t start(const std::string& tool, const process::arguments_t& arguments,
                            const process::environment_t* environment, const std::string& directory,
                            int window, int priority, int group) override
    {
        std::string call = "start " + tool;
        for (const std::string& argument : arguments)
            call += " [" + argument + "]";
        call += environment == nullptr ? " null " : " environment ";
        g_stage.calls.push_back(call + directory + " " + std::to_string(window) +
                                std::to_string(priority) + std::to_string(group));
        return tb2::error_code_t(g_stage.startResult);
    }
    tb2::error_code_t join() override
    {
        g_stage.calls.push_back("join");
        for (const std::string& piece : g_stage.output)
            m_callback->onRead(piece.data(), static_cast<std::int32_t>(piece.size()));
        return tb2::error_code_t(g_stage.joinResult);
    }

private:
    tb2::sptr_t<process::IPipeReaderCallback> m_callback;
};

class PlayedLocations final : public optbook2::IProductLocations {
public:
    std::optional<std::string> getToolDirectory(optbook2::arch_t arch) const override
    {
        return arch == getArch() ? g_stage.directory : std::nullopt;
    }
};

class ToolCalls : public testing::Test {
protected:
    ToolCalls() { g_stage = {}; }

    /// What was logged by a call of init that fails.
    texts_t failure()
    {
        const samplefold_test::LogCapture log;
        EXPECT_FALSE(info.init());
        texts_t texts;
        for (const auto& entry : log.entries())
            texts.push_back(entry.text.substr(0, entry.text.find(", at file:")));
        return texts;
    }

    PlatformInfo info;
};

TEST_F(ToolCalls, RunTheToolOfTheDirectoryInTheOrderOfSetUpStartAndJoin)
{
    EXPECT_EQ(info.getPMU(6, 0x55, 0), "skx");
    EXPECT_EQ(g_stage.calls,
              (texts_t{"setPipeReader 1", "start hwsamp [-pl] null /tools 101", "join"}));
}

TEST_F(ToolCalls, WithoutADirectoryNothingIsRun)
{
    g_stage.directory.reset();
    EXPECT_EQ(failure(), texts_t{"binDir != __null"});
    EXPECT_TRUE(g_stage.calls.empty());
}

TEST_F(ToolCalls, WithoutAProcessNothingIsRun)
{
    g_stage.givesProcess = false;
    EXPECT_EQ(failure(), texts_t{"process"});
}

TEST_F(ToolCalls, AReaderThatCannotBeRegisteredIsAFailure)
{
    g_stage.readerResult = 1;
    EXPECT_EQ(failure(), texts_t{"isOutRegistered"});
    EXPECT_EQ(g_stage.calls, texts_t{"setPipeReader 1"});
}

TEST_F(ToolCalls, TheJoinDecidesAndNotTheStart)
{
    g_stage.startResult = 1;
    EXPECT_TRUE(info.init());
    PlatformInfo other;
    g_stage.startResult = 0;
    g_stage.joinResult = 1;
    EXPECT_FALSE(other.init());
}

TEST_F(ToolCalls, AJoinThatFailsIsAFailureWhateverWasPrinted)
{
    g_stage.joinResult = 1;
    EXPECT_EQ(failure(), texts_t{"process->join().succeeded()"});
    EXPECT_EQ(info.getPMU(6, 0x55, 0), "");
}

TEST_F(ToolCalls, NoOutputIsAFailure)
{
    g_stage.output.clear();
    EXPECT_EQ(failure(), texts_t{"!output.empty()"});
}

TEST_F(ToolCalls, ALineMayComeInAnyPieces)
{
    const std::string line = g_stage.output[0];
    for (std::size_t cut = 0; cut <= line.size(); ++cut) {
        g_stage.output = {line.substr(0, cut), line.substr(cut)};
        PlatformInfo fresh;
        EXPECT_EQ(fresh.getPMU(6, 0x55, 0), "skx") << cut;
    }
}

} // namespace
} // namespace samplefold_1

namespace toolbelt2::process {

sptr_t<IProcess> IProcess::create()
{
    if (!samplefold_1::g_stage.givesProcess) return {};
    return make_counted<samplefold_1::PlayedProcess>();
}

} // namespace toolbelt2::process

namespace optbook2 {

const IProductLocations& IProductLocations::get()
{
    static const samplefold_1::PlayedLocations locations;
    return locations;
}

arch_t IProductLocations::getArch()
{
    return arch_t::x86_64;
}

} // namespace optbook2
