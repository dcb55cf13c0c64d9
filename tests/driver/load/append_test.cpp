// A second load of a result meets what the first one wrote.
#include "load_fixture.h"

namespace samplefold::load::testing {
namespace {

namespace context = perfdata::context;

class AppendTest : public LoadTest {
protected:
    AppendTest()
    {
        DumpBuilder dump;
        dump.load(100, 0x9000, "f", 16);
        dump.load(110, 0x9100, "g", 16);
        addFile(dumpName(), dump.bytes());
        addFile(mapName(), "b000 10 m\n");
        mmap(1, jitPid, 0x1000, 0x1000, "/bin/p");
    }
    void load()
    {
        for (const std::uint64_t caller : {0x9104, 0xb004, 0xc000, 0x1020}) {
            for (const std::uint64_t ip : {0x9004, 0xb004, 0xc000, 0xd000, 0x1010})
                sample(jitPid, {200, ip, {context::User, ip, caller}});
        }
    }
    std::vector<std::string> counts()
    {
        std::vector<std::string> counts;
        for (const char* const table :
             {"dd_callsite", "dd_code_location", "dd_segment_instance", "dd_module_segment",
              "dd_module_file", "dd_jit_file", "dd_jit_region", "dd_function", "dd_code_name",
              "dd_process", "dd_thread", "dd_sample"})
            counts.push_back(std::string(table) + " " + std::to_string(rowsOf(table)));
        return counts;
    }
};

TEST_F(AppendTest, TheSameSamplesAddNoRowWithStacks)
{
    begin();
    load();
    end();
    const auto before = counts();
    reopen();
    begin();
    load();
    end();
    EXPECT_EQ(counts(), before);
    EXPECT_EQ(repeatedFrames(), std::vector<std::string>{});
}

TEST_F(AppendTest, TheSameSamplesAddNoRowWithoutStacks)
{
    begin(false);
    load();
    end();
    const auto before = counts();
    reopen();
    begin(false);
    load();
    end();
    EXPECT_EQ(counts(), before);
}

TEST_F(AppendTest, NewFramesHangOnOldOnes)
{
    begin();
    const auto old = sample(jitPid, {200, 0x9004, {context::User, 0x9004, 0x1020}});
    beginAgain();
    const auto added = sample(jitPid, {300, 0x9104, {context::User, 0x9104, 0x9004, 0x1020}});
    const auto all = frames();
    const Frame& sampled = all.at(added.callsite.value());
    EXPECT_EQ(sampled.function, "g");
    EXPECT_EQ(sampled.parent, old.callsite.value());
}

TEST_F(AppendTest, SamplesWithoutAnAddressHaveTheirPlaceholderAgain)
{
    begin();
    Told told{200, 0, {context::User, 0xc000}};
    told.hasIp = false;
    sample(jitPid, told);
    sample(jitPid, {210, 0, {}});
    end();
    const auto before = counts();
    reopen();
    begin();
    sample(jitPid, told);
    sample(jitPid, {210, 0, {}});
    end();
    EXPECT_EQ(counts(), before);
}

/// Two recordings may tell of one number and no start, and yet of two runs.
TEST_F(AppendTest, AMapThatChangedBetweenTheLoadsGivesItsOwnNames)
{
    begin();
    EXPECT_EQ(chainOf(jitPid, {200, 0xb004, {}}), folder.path(mapName()) + ":m+b004");
    addFile(mapName(), "b000 10 other\n");
    beginAgain();
    EXPECT_EQ(chainOf(jitPid, {300, 0xb004, {}}), folder.path(mapName()) + ":other+b004");
}

} // namespace
} // namespace samplefold::load::testing
