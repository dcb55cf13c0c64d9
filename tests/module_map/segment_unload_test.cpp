#include "support/context_fixture.h"
#include "support/fake_jit_loader.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace samplefold_test {
namespace {

using jitlens_3_13::region_t;
using samplefold_1::PerfProcessInfo;
using samplefold_1::SegInstInfo;
using samplefold_1::VmAuxData;

constexpr std::uint32_t g_pid = 42;
constexpr std::uint64_t g_clockOffset = 1000000;

/// A JIT clock that runs ahead of that of the samples.
class Converter final : public samplefold_1::ITimeConverter {
public:
    std::uint64_t toSampleTime(std::uint64_t jitTime) override { return jitTime - g_clockOffset; }
    std::uint64_t toJitTime(std::uint64_t sampleTime) override
    {
        return sampleTime + g_clockOffset;
    }
};

SegInstInfo segment(std::uint64_t low, std::uint64_t high, std::uint64_t load, std::uint64_t unload)
{
    SegInstInfo out;
    out.lowAddress = low;
    out.highAddress = high;
    out.loadTime = load;
    out.unloadTime = unload;
    return out;
}

class SegmentUnload : public ContextTest {
protected:
    SegmentUnload()
    {
        context.m_jitSession = loader;
        context.createJitLoader(g_pid);
    }

    /// Adds a span of activity to a process.
    void addSpan(std::uint32_t pid, std::vector<SegInstInfo> segments)
    {
        VmAuxData::accessor entry;
        processes.insert(entry, pid);
        entry->second.grow_by(1)->segInstMap.values = std::move(segments);
    }
    SegInstInfo& segmentOf(std::uint32_t pid, std::size_t span = 0, std::size_t number = 0)
    {
        VmAuxData::accessor entry;
        processes.find(entry, pid);
        return entry->second.at(span).segInstMap.values.at(number);
    }
    /// Every question is answered with a region that starts at that tick of the samples.
    void regionsStartAt(std::uint64_t tick, std::uint32_t answer = jitlens_3_13::code::found)
    {
        loader->onRegion = [tick, answer](const auto&, region_t& region) {
            region.loadTime = tick + g_clockOffset;
            return answer;
        };
    }
    void update() { context.updateSegUnloadTime(processes, converter); }
    std::uint64_t unloadAfterRegionAt(std::uint64_t tick, const SegInstInfo& before)
    {
        processes.clear();
        addSpan(g_pid, {before});
        regionsStartAt(tick);
        update();
        EXPECT_EQ(before.loadTime, segmentOf(g_pid).loadTime);
        return segmentOf(g_pid).unloadTime;
    }

    boost::intrusive_ptr<FakeJitLoader> loader = makeShared<FakeJitLoader>();
    VmAuxData processes;
    Converter converter;
};

TEST_F(SegmentUnload, ASegmentEndsOneTickBeforeTheCodeThatIsLaidOverIt)
{
    EXPECT_EQ(499u, unloadAfterRegionAt(500, segment(1, 2, 100, 900)));
}

TEST_F(SegmentUnload, CodeThatStartsWithTheSegmentChangesNothing)
{
    EXPECT_EQ(900u, unloadAfterRegionAt(100, segment(1, 2, 100, 900)));
}

TEST_F(SegmentUnload, CodeThatWasThereBeforeTheSegmentChangesNothing)
{
    EXPECT_EQ(900u, unloadAfterRegionAt(99, segment(1, 2, 100, 900)));
    EXPECT_EQ(900u, unloadAfterRegionAt(0, segment(1, 2, 100, 900)));
}

TEST_F(SegmentUnload, CodeThatStartsAtTheEndOrLaterChangesNothing)
{
    EXPECT_EQ(900u, unloadAfterRegionAt(900, segment(1, 2, 100, 900)));
    EXPECT_EQ(900u, unloadAfterRegionAt(901, segment(1, 2, 100, 900)));
}

TEST_F(SegmentUnload, CodeInTheFirstAndTheLastTickInsideEndsTheSegment)
{
    EXPECT_EQ(100u, unloadAfterRegionAt(101, segment(1, 2, 100, 900)));
    EXPECT_EQ(898u, unloadAfterRegionAt(899, segment(1, 2, 100, 900)));
}

TEST_F(SegmentUnload, AfterwardsEachTickIsValidThatWasAndThatLiesBeforeTheLastTickBeforeTheCode)
{
    for (std::uint64_t load = 0; load < 6; ++load) {
        for (std::uint64_t unload = 0; unload < 8; ++unload) {
            for (std::uint64_t start = 0; start < 9; ++start) {
                const SegInstInfo before = segment(1, 2, load, unload);
                SegInstInfo after = before;
                after.unloadTime = unloadAfterRegionAt(start, before);
                const bool startsInside = before.isValidAt(start) && start != load;
                for (std::uint64_t tick = 0; tick < 9; ++tick)
                    ASSERT_EQ(before.isValidAt(tick) && !(startsInside && tick + 1 >= start),
                              after.isValidAt(tick))
                        << load << " " << unload << " " << start << " " << tick;
            }
        }
    }
}

TEST_F(SegmentUnload, OnlyAnAnswerOfZeroCounts)
{
    for (const std::uint32_t answer : {4u, 1u, 0xFFFFFFFFu}) {
        processes.clear();
        addSpan(g_pid, {segment(1, 2, 100, 900)});
        regionsStartAt(500, answer);
        update();
        EXPECT_EQ(900u, segmentOf(g_pid).unloadTime) << answer;
    }
}

TEST_F(SegmentUnload, TheLoaderIsAskedOncePerSegmentOfEverySpanInOrder)
{
    addSpan(g_pid, {segment(0x5000, 0x5FFF, 10, 90), segment(0x1000, 0x1FFF, 20, 90)});
    addSpan(g_pid, {});
    addSpan(g_pid, {segment(0x1000, 0x1000, 30, 90)});
    update();
    EXPECT_EQ((std::vector<FakeJitLoader::region_question_t>{
                  {g_clockOffset + 10, 0x5000, 0x5FFF, g_pid, 77},
                  {g_clockOffset + 20, 0x1000, 0x1FFF, g_pid, 77},
                  {g_clockOffset + 30, 0x1000, 0x1000, g_pid, 77}}),
              loader->regionQuestions);
}

TEST_F(SegmentUnload, OnlyTheStartOfARegionThatWasFoundIsTranslatedBack)
{
    class Counting final : public samplefold_1::ITimeConverter {
    public:
        std::uint64_t toSampleTime(std::uint64_t jitTime) override
        {
            calls.push_back("toSampleTime " + std::to_string(jitTime));
            return jitTime;
        }
        std::uint64_t toJitTime(std::uint64_t sampleTime) override
        {
            calls.push_back("toJitTime " + std::to_string(sampleTime));
            return sampleTime;
        }
        lines_t calls;
    } counting;
    loader->onRegion = [](const auto& question, region_t& region) {
        region.loadTime = 50;
        return question.first == 1 ? jitlens_3_13::code::found : jitlens_3_13::code::noCode;
    };
    addSpan(g_pid, {segment(1, 2, 10, 90), segment(3, 4, 20, 90)});
    context.updateSegUnloadTime(processes, counting);
    EXPECT_EQ((lines_t{"toJitTime 10", "toSampleTime 50", "toJitTime 20"}), counting.calls);
}

TEST_F(SegmentUnload, EachSegmentIsJudgedByItsOwnRegion)
{
    loader->onRegion = [](const auto& question, region_t& region) {
        region.loadTime = g_clockOffset + question.first;
        return jitlens_3_13::code::found;
    };
    addSpan(g_pid, {segment(50, 59, 10, 90), segment(200, 209, 10, 90)});
    addSpan(g_pid, {segment(70, 79, 10, 90)});
    update();
    EXPECT_EQ(49u, segmentOf(g_pid, 0, 0).unloadTime);
    EXPECT_EQ(90u, segmentOf(g_pid, 0, 1).unloadTime);
    EXPECT_EQ(69u, segmentOf(g_pid, 1, 0).unloadTime);
}

TEST_F(SegmentUnload, WithJitOffNobodyIsAsked)
{
    context.m_jitEnabled = false;
    EXPECT_EQ(900u, unloadAfterRegionAt(500, segment(1, 2, 100, 900)));
    EXPECT_TRUE(loader->regionQuestions.empty());
}

TEST_F(SegmentUnload, AProcessWithoutSpansIsPassedOverAndNotEntered)
{
    addSpan(g_pid + 1, {segment(1, 2, 100, 900)});
    regionsStartAt(500);
    update();
    EXPECT_TRUE(loader->regionQuestions.empty()) << "neither has JIT code and spans";
    EXPECT_EQ(1u, processes.size());
    EXPECT_EQ(900u, segmentOf(g_pid + 1).unloadTime);
}

TEST_F(SegmentUnload, EveryProcessWithJitCodeIsWalked)
{
    for (std::uint32_t pid = 1; pid <= 50; ++pid) {
        context.createJitLoader(pid);
        addSpan(pid, {segment(1, 2, 100, 900)});
    }
    regionsStartAt(500);
    update();
    for (std::uint32_t pid = 1; pid <= 50; ++pid)
        EXPECT_EQ(499u, segmentOf(pid).unloadTime) << pid;
}

TEST_F(SegmentUnload, EntriesWithoutALoaderArePassedOverAndTheOthersAreWalked)
{
    for (std::uint32_t pid = 1; pid <= 40; ++pid) {
        decltype(context.m_jitLoaders)::accessor entry;
        context.m_jitLoaders.insert(entry, pid);
        if (pid % 2 == 0) entry->second = loader;
        addSpan(pid, {segment(1, 2, 100, 900)});
    }
    regionsStartAt(500);
    update();
    for (std::uint32_t pid = 1; pid <= 40; ++pid)
        EXPECT_EQ(pid % 2 == 0 ? 499u : 900u, segmentOf(pid).unloadTime) << pid;
}

TEST_F(SegmentUnload, ATreeThatStandsAlreadySeesTheChange)
{
    addSpan(g_pid, {segment(0x1000, 0x1FFF, 100, 900)});
    regionsStartAt(500);
    const auto isFound = [this](std::uint64_t tick) {
        VmAuxData::accessor entry;
        processes.find(entry, g_pid);
        return entry->second.front().segInstMap.findSegInst(0x1800, tick) != nullptr;
    };
    EXPECT_TRUE(isFound(600));
    update();
    EXPECT_FALSE(isFound(600));
    EXPECT_TRUE(isFound(498));
}

TEST_F(SegmentUnload, TheProcessIsLockedWhileItsSegmentsAreWalked)
{
    addSpan(g_pid, {segment(1, 2, 100, 900)});
    std::atomic<bool> entered = false;
    std::thread other;
    loader->onRegion = [&](const auto&, region_t&) {
        other = std::thread([&] {
            VmAuxData::accessor entry;
            processes.find(entry, g_pid);
            entered = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(entered);
        return jitlens_3_13::code::noCode;
    };
    update();
    other.join();
    EXPECT_TRUE(entered);
}

} // namespace
} // namespace samplefold_test
