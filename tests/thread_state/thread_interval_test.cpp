#include "support/context_fixture.h"

namespace samplefold_test {
namespace {

/// Groups of counts for an explicit interval.
class ThreadInterval : public ContextTest {
protected:
    ThreadInterval()
    {
        open();
        for (int i = 0; i < 3; ++i)
            attrs.push_back(add(attribute(i)));
    }

    std::vector<pmu_sample_attribute_t*> attrs;
    std::vector<std::int64_t> values{10, 20, 30};
    ThreadInfo thread{&context, Index(100), 4, true, Index(200)};
};

TEST_F(ThreadInterval, EachValueBecomesAClosedIntervalInNoChain)
{
    thread.addSample(500, 800, attrs, values, 3);
    ASSERT_EQ(3u, context.m_pmuData.size()) << "a skip index beyond the last element skips nothing";
    for (std::size_t i = 0; i < 3; ++i) {
        const pmu_data_t& data = context.m_pmuData[i];
        EXPECT_EQ(nullptr, data.next);
        EXPECT_EQ(attrs[i], data.attr);
        EXPECT_EQ(&thread, data.thread);
        EXPECT_EQ(501u, data.start_tsc);
        EXPECT_EQ(800u, data.end_tsc);
        EXPECT_EQ(0u, data.reserved_value);
        EXPECT_EQ(values[i], data.count);
        EXPECT_EQ(0.0, data.rate);
    }
    EXPECT_EQ(501u, thread.firstTsc());
    EXPECT_EQ(800u, thread.lastTsc());
}

TEST_F(ThreadInterval, TheSkippedPositionGetsNone)
{
    thread.addSample(500, 800, attrs, values, 1);
    ASSERT_EQ(2u, context.m_pmuData.size());
    EXPECT_EQ(attrs[0], context.m_pmuData[0].attr);
    EXPECT_EQ(attrs[2], context.m_pmuData[1].attr);
    EXPECT_EQ(30, context.m_pmuData[1].count);
}

TEST_F(ThreadInterval, APreviousTickOfZeroGivesAnIntervalOfNoLength)
{
    thread.addSample(0, 800, attrs, values, 0);
    EXPECT_EQ(800u, context.m_pmuData[0].start_tsc);
    EXPECT_EQ(800u, context.m_pmuData[0].end_tsc);
    EXPECT_EQ(800u, thread.firstTsc());
}

TEST_F(ThreadInterval, TheLoopRunsOverTheValuesAndMoreAttributesAreLeftAside)
{
    values = {10};
    thread.addSample(0, 800, attrs, values, 7);
    EXPECT_EQ(1u, context.m_pmuData.size());
    values.clear();
    thread.addSample(0, 900, attrs, values, 0);
    EXPECT_EQ(1u, context.m_pmuData.size());
    EXPECT_EQ(900u, thread.lastTsc()) << "the ticks are noted all the same";
}

TEST_F(ThreadInterval, AnIntervalWithinWhatWasSeenLeavesTheFirstAndTheLastTick)
{
    thread.addSample(100, 900, attrs, values, 7);
    thread.addSample(500, 800, attrs, values, 7);
    EXPECT_EQ(101u, thread.firstTsc());
    EXPECT_EQ(900u, thread.lastTsc());
}

TEST_F(ThreadInterval, OpenSamplesAndTheirChainsAreLeftAlone)
{
    sample(thread, 100, attrs[0], 1);
    sample(thread, 200, attrs[0], 1);
    thread.addSample(500, 800, attrs, values, 9);
    sample(thread, 300, attrs[0], 1);
    EXPECT_EQ(&context.m_pmuData[4], context.m_pmuData[0].next);
    EXPECT_EQ(101u, context.m_pmuData[4].start_tsc);
}

} // namespace
} // namespace samplefold_test
