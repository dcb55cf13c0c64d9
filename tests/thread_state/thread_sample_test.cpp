#include "support/context_fixture.h"

#include <limits>

namespace samplefold_test {
namespace {

/// Samples at a moment, and what of them reaches the interval array.
class ThreadSample : public ContextTest {
protected:
    ThreadSample()
    {
        open();
        for (int i = 0; i < 4; ++i)
            attrs.push_back(add(attribute(i)));
    }

    const pmu_data_t& interval(std::size_t i) { return context.m_pmuData[i]; }
    std::size_t intervals() const { return context.m_pmuData.size(); }
    /// Start and end of the open sample of slot 0, which a sample at `tsc` closes.
    std::pair<std::uint64_t, std::uint64_t> closeOpen(std::uint64_t tsc)
    {
        sample(thread, tsc, attrs[0], 1);
        const pmu_data_t& last = interval(intervals() - 1);
        return {last.start_tsc, last.end_tsc};
    }
    void extendFirstInterval(double a, double b)
    {
        context.m_firstIntervalTag = "tag";
        context.m_firstIntervalFactorA = a;
        context.m_firstIntervalFactorB = b;
    }

    using bounds_t = std::pair<std::uint64_t, std::uint64_t>;
    std::vector<pmu_sample_attribute_t*> attrs;
    ThreadInfo thread{&context, Index(100), 4, true, Index(200)};
};

TEST_F(ThreadSample, OneSampleInASlotReachesNoInterval)
{
    sample(thread, 1000, attrs[0], 5);
    EXPECT_EQ(0u, intervals());
}

TEST_F(ThreadSample, TwoSamplesGiveTheFirstIntervalTheLengthOfTheSecond)
{
    sample(thread, 1000, attrs[0], 5);
    sample(thread, 1400, attrs[1], 8);
    ASSERT_EQ(1u, intervals());
    EXPECT_EQ(600u, interval(0).start_tsc);
    EXPECT_EQ(1000u, interval(0).end_tsc);
    EXPECT_EQ(0.02, interval(0).rate); // 8 events in 400 ticks
    EXPECT_EQ(5, interval(0).count);
    EXPECT_EQ(attrs[0], interval(0).attr);
    EXPECT_EQ(&thread, interval(0).thread);
    EXPECT_EQ(0u, interval(0).reserved_value);
    EXPECT_EQ(bounds_t(1001, 1400), closeOpen(2000));
}

TEST_F(ThreadSample, AnExtensionSetsTheFirstStartAndNoGoingBackHappens)
{
    extendFirstInterval(50, 2);
    sample(thread, 1000, attrs[0], 5);
    sample(thread, 1400, attrs[1], 8);
    EXPECT_EQ(900u, interval(0).start_tsc);
    EXPECT_EQ(1000u, interval(0).end_tsc);
    EXPECT_EQ(bounds_t(1001, 1400), closeOpen(2000));
}

TEST_F(ThreadSample, WithoutATagTheFactorsDoNothing)
{
    extendFirstInterval(50, 2);
    context.m_firstIntervalTag.clear();
    sample(thread, 1000, attrs[0], 5);
    EXPECT_EQ(bounds_t(0, 1000), closeOpen(2000));
}

TEST_F(ThreadSample, TheExtensionIsCutTowardsZeroAndMayReachTickZeroButNotBeyond)
{
    extendFirstInterval(10, 0.99); // 9.9 ticks
    sample(thread, 1000, attrs[0], 5);
    EXPECT_EQ(bounds_t(991, 1000), closeOpen(3000));

    extendFirstInterval(1000, 1);
    sample(thread, 1000, attrs[0], 5, 1);
    sample(thread, 3000, attrs[0], 5, 1);
    EXPECT_EQ(0u, interval(intervals() - 1).start_tsc);

    extendFirstInterval(1001, 1); // above the tick: as if it were not there
    sample(thread, 1000, attrs[0], 5, 2);
    sample(thread, 1003, attrs[0], 5, 2);
    EXPECT_EQ(997u, interval(intervals() - 1).start_tsc);

    extendFirstInterval(0.9, 1); // less than a tick
    sample(thread, 1000, attrs[0], 5, 3);
    sample(thread, 1003, attrs[0], 5, 3);
    EXPECT_EQ(997u, interval(intervals() - 1).start_tsc);
}

TEST_F(ThreadSample, ExtensionsInTheUpperHalfOfTheRangeKeepTheirTopBit)
{
    extendFirstInterval(9223372036854775808.0, 1.5); // 2^63 + 2^62
    sample(thread, 0xFFFFFFFFFFFFF000, attrs[0], 5);
    EXPECT_EQ(bounds_t(0x3FFFFFFFFFFFF000, 0xFFFFFFFFFFFFF000), closeOpen(0xFFFFFFFFFFFFFFFF));
}

TEST_F(ThreadSample, AnExtensionBeyondTheRangeComesOutAsNone)
{
    constexpr std::uint64_t tick = 0xFFFFFFFFFFFFF000;
    extendFirstInterval(9223372036854775808.0, 2); // 2^64
    sample(thread, tick, attrs[0], 5);
    EXPECT_EQ(bounds_t(tick - 5, tick), closeOpen(tick + 5)) << "the length of the second";
    extendFirstInterval(1e300, 1e300); // infinite
    sample(thread, tick, attrs[0], 5, 1);
    sample(thread, tick + 5, attrs[0], 5, 1);
    EXPECT_EQ(tick - 5, interval(intervals() - 1).start_tsc);
}

TEST_F(ThreadSample, AFirstTickOfZeroIsNoSampleSoTheNextOneIsTheFirstAgain)
{
    sample(thread, 0, attrs[0], 5);
    sample(thread, 700, attrs[1], 6);
    EXPECT_EQ(0u, intervals());
    sample(thread, 900, attrs[2], 7);
    ASSERT_EQ(1u, intervals());
    EXPECT_EQ(500u, interval(0).start_tsc);
    EXPECT_EQ(700u, interval(0).end_tsc);
    EXPECT_EQ(attrs[1], interval(0).attr);
    EXPECT_EQ(6, interval(0).count);
}

TEST_F(ThreadSample, TheScaleAppliesOnlyWithAGateAboveZeroAndWhenItIsAskedFor)
{
    struct case_t {
        std::int64_t gate;
        bool apply;
        std::int64_t expected;
    };
    std::int32_t slot = 0;
    for (const case_t& one : {case_t{0, true, 7}, case_t{0, false, 7}, case_t{-1, true, 7},
                              case_t{1, false, 7}, case_t{1, true, 21}}) {
        thread.addSample(100, attrs[0], 7, one.gate, 3, one.apply, slot, 1);
        thread.addSample(200, attrs[0], 7, one.gate, 3, one.apply, slot, 1);
        EXPECT_EQ(one.expected, interval(intervals() - 1).count) << "slot " << slot;
        EXPECT_EQ(static_cast<double>(one.expected) / 100.0, interval(intervals() - 1).rate);
        ++slot;
    }
}

TEST_F(ThreadSample, TheRateIsSignedByItsCount)
{
    sample(thread, 100, attrs[0], 1);
    sample(thread, 200, attrs[0], -50);
    EXPECT_EQ(-0.5, interval(0).rate);
}

TEST_F(ThreadSample, AnEqualTickIsTakenWithRateZeroAndNoLength)
{
    sample(thread, 1000, attrs[0], 5);
    sample(thread, 1000, attrs[1], 8);
    ASSERT_EQ(1u, intervals());
    EXPECT_EQ(0.0, interval(0).rate);
    EXPECT_EQ(1000u, interval(0).start_tsc);
    EXPECT_EQ(1000u, interval(0).end_tsc);
    // Still without a length, so it gets the one of its follower as well.
    EXPECT_EQ(bounds_t(900, 1000), closeOpen(1100));
}

TEST_F(ThreadSample, AnEqualTickAfterAnIntervalWithALengthKeepsTheStart)
{
    sample(thread, 1000, attrs[0], 5);
    sample(thread, 1400, attrs[1], 8);
    sample(thread, 1400, attrs[2], 9);
    EXPECT_EQ(1001u, interval(1).start_tsc);
    EXPECT_EQ(1400u, interval(1).end_tsc);
    EXPECT_EQ(0.0, interval(1).rate);
    EXPECT_EQ(bounds_t(1001, 1400), closeOpen(1500)) << "the same start again";
}

TEST_F(ThreadSample, ABackwardTickTakesTheStartBackByAsManyTicks)
{
    sample(thread, 1000, attrs[0], 5);
    sample(thread, 1400, attrs[1], 8); // open: 1001 to 1400
    sample(thread, 1300, attrs[2], 9);
    EXPECT_EQ(1001u, interval(1).start_tsc);
    EXPECT_EQ(1400u, interval(1).end_tsc);
    EXPECT_EQ(0.0, interval(1).rate);
    EXPECT_EQ(bounds_t(901, 1300), closeOpen(2000)) << "1001 less the 100 ticks";
}

TEST_F(ThreadSample, ABackwardTickBelowTheLengthOfTheIntervalKeepsTheStart)
{
    sample(thread, 1000, attrs[0], 5);
    sample(thread, 9000, attrs[1], 8); // open: 1001 to 9000, 7999 ticks long
    sample(thread, 7998, attrs[2], 9);
    EXPECT_EQ(bounds_t(1001, 7998), closeOpen(20000));

    sample(thread, 1000, attrs[0], 5, 1);
    sample(thread, 9000, attrs[1], 8, 1);
    sample(thread, 7999, attrs[2], 9, 1); // not below it: back by 1001
    sample(thread, 20000, attrs[2], 9, 1);
    EXPECT_EQ(0u, interval(intervals() - 1).start_tsc);
    EXPECT_EQ(7999u, interval(intervals() - 1).end_tsc);
}

TEST_F(ThreadSample, AnIntervalWithoutLengthIgnoresABackwardTickAsItsUnsignedDistanceIsTooLong)
{
    sample(thread, 1000, attrs[0], 5);
    sample(thread, 700, attrs[1], 8); // 700 - 1000 is far above 1000
    EXPECT_EQ(1000u, interval(0).start_tsc);
    EXPECT_EQ(1000u, interval(0).end_tsc);
    EXPECT_EQ(bounds_t(700, 700), closeOpen(10000))
        << "back by the 300 ticks, and the 9300 that follow are more than 700";
}

TEST_F(ThreadSample, TheUnsignedDistanceOfABackwardTickCountsWhenTheStartIsHighEnough)
{
    constexpr std::uint64_t top = std::numeric_limits<std::uint64_t>::max();
    sample(thread, top - 1, attrs[0], 5);
    sample(thread, top - 2, attrs[1], 8); // the distance wraps to 2^64 - 1, above the start
    EXPECT_EQ(top - 1, interval(0).start_tsc);
    sample(thread, top, attrs[0], 5, 1);
    sample(thread, top - 1, attrs[1], 8, 1); // wraps to 2^64 - 1, which is not above the start
    EXPECT_EQ(0u, interval(1).start_tsc);
    EXPECT_EQ(top, interval(1).end_tsc);
}

TEST_F(ThreadSample, AFirstIntervalTooNearToTickZeroStaysWithoutLength)
{
    sample(thread, 300, attrs[0], 5);
    sample(thread, 601, attrs[1], 8); // 301 ticks, more than 300
    EXPECT_EQ(300u, interval(0).start_tsc);
    sample(thread, 300, attrs[0], 5, 1);
    sample(thread, 600, attrs[1], 8, 1);
    EXPECT_EQ(0u, interval(1).start_tsc);
}

TEST_F(ThreadSample, ClosedIntervalsAreChainedAndTheLastPointsAtTheOpenSample)
{
    sample(thread, 1000, attrs[0], 5);
    sample(thread, 1400, attrs[1], 8);
    const pmu_data_t* const open = interval(0).next;
    ASSERT_NE(nullptr, open);
    EXPECT_EQ(attrs[1], open->attr);
    EXPECT_EQ(1400u, open->end_tsc);
    EXPECT_EQ(nullptr, open->next);
    sample(thread, 1500, attrs[2], 9);
    EXPECT_EQ(&interval(1), interval(0).next);
    EXPECT_EQ(open, interval(1).next) << "the open sample stands where it stood";
    EXPECT_EQ(attrs[2], open->attr);
    EXPECT_EQ(9, open->count);
    EXPECT_EQ(0.0, open->rate);
}

TEST_F(ThreadSample, SlotsHaveChainsOfTheirOwn)
{
    sample(thread, 1000, attrs[0], 5, 0);
    sample(thread, 1100, attrs[1], 6, 1);
    sample(thread, 1200, attrs[0], 5, 0);
    sample(thread, 1300, attrs[1], 6, 1);
    sample(thread, 1400, attrs[0], 5, 0);
    ASSERT_EQ(3u, intervals());
    EXPECT_EQ(&interval(2), interval(0).next);
    EXPECT_EQ(attrs[1], interval(1).next->attr);
    EXPECT_EQ(1300u, interval(1).next->end_tsc);
}

TEST_F(ThreadSample, AnEventSlotFarAboveTheSlotCountIsTaken)
{
    sample(thread, 1000, attrs[0], 5, 5000);
    sample(thread, 1100, attrs[0], 5, 5000);
    sample(thread, 1200, attrs[0], 5, 5000);
    ASSERT_EQ(2u, intervals());
    EXPECT_EQ(&interval(1), interval(0).next);
    ThreadInfo known(&context, Index(1), Index(2), 10, 20, true); // no slots of its own
    sample(known, 1000, attrs[0], 5, 3);
    sample(known, 1100, attrs[0], 5, 3);
    EXPECT_EQ(3u, intervals());
}

TEST_F(ThreadSample, FirstAndLastTickFollowTheSamples)
{
    EXPECT_EQ(std::numeric_limits<std::uint64_t>::max(), thread.firstTsc());
    EXPECT_EQ(0u, thread.lastTsc());
    sample(thread, 500, attrs[0], 1);
    sample(thread, 300, attrs[0], 1);
    sample(thread, 900, attrs[0], 1, 1);
    EXPECT_EQ(300u, thread.firstTsc());
    EXPECT_EQ(900u, thread.lastTsc());
    ThreadInfo known(&context, Index(1), Index(2), 400, 600, true);
    EXPECT_EQ(400u, known.firstTsc());
    EXPECT_EQ(600u, known.lastTsc());
    sample(known, 500, attrs[0], 1);
    EXPECT_EQ(400u, known.firstTsc());
    EXPECT_EQ(600u, known.lastTsc());
}

TEST_F(ThreadSample, AThreadWithoutAContextTakesNothing)
{
    ThreadInfo orphan(nullptr, Index(1), 1, true, Index(2));
    sample(orphan, 10, attrs[0], 1);
    sample(orphan, 20, attrs[0], 1);
    std::vector<std::int64_t> values{1};
    orphan.addSample(10, 20, attrs, values, 9);
    orphan.finish(30);
    EXPECT_EQ(std::numeric_limits<std::uint64_t>::max(), orphan.firstTsc());
    EXPECT_EQ(0u, orphan.lastTsc());
    EXPECT_EQ(0u, intervals());
    EXPECT_TRUE(container->rows.empty());
}

} // namespace
} // namespace samplefold_test
