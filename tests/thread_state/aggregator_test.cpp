#include "support/context_fixture.h"
#include "support/scoped_environment.h"

namespace samplefold_test {
namespace {

using samplefold_1::OvertimeSampleAggregator;

class Aggregator : public ContextTest {
protected:
    OvertimeSampleAggregator sums;
};

TEST_F(Aggregator, TheFirstSampleOfARowSettlesItsFieldsAndCountsAddUp)
{
    sums.addSample(5, {Index(1), Index(2), Index(3), 10});
    sums.addSample(5, {Index(7), Index(8), Index(9), -4});
    sums.flushToInstanceDataContainer(container, 99, 1000);
    EXPECT_EQ((lines_t{"container.createRecord", "row.key 0=5", "row.key 1=2", "row.key 2=1",
                       "row.key 3=3", "row.key 4=99", "row.integer 2=1000", "row.integer 0=0",
                       "row.integer 1=6", "row.insert 1000"}),
              log->take());
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_FALSE(container->rows[0].doubles[0]) << "the rate is not written";
    EXPECT_FALSE(container->rows[0].keys[5]);
    EXPECT_FALSE(container->rows[0].keys[6]);
}

TEST_F(Aggregator, ThreeRowsGoToConsecutiveTicksInAscendingOrderOfTheirRowsEachInAFreshRecord)
{
    for (const std::int32_t row : {30, -1, 20})
        sums.addSample(row, {{}, {}, {}, row});
    sums.flushToInstanceDataContainer(container, 1, 5000);
    ASSERT_EQ(3u, container->rows.size());
    EXPECT_EQ(-1, container->rows[0].keys[0]);
    EXPECT_EQ(20, container->rows[1].keys[0]);
    EXPECT_EQ(30, container->rows[2].keys[0]);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(5000 + i, container->rows[i].timestamp);
        EXPECT_EQ(5000 + i, container->rows[i].integers[2]);
    }
    EXPECT_EQ(3u, log->startingWith("container.createRecord").size());
}

TEST_F(Aggregator, AnEmptyOneWritesNothing)
{
    sums.flushToInstanceDataContainer(container, 1, 5000);
    sums.flushToBandTable(bandTable, {Index(1), "dd_sample"}, 5000);
    EXPECT_EQ(lines_t{}, log->take());
}

TEST_F(Aggregator, NothingClearsItSoASecondFlushWritesTheSameRowsAgain)
{
    sums.addSample(5, {{}, {}, {}, 10});
    sums.flushToInstanceDataContainer(container, 1, 5000);
    sums.flushToInstanceDataContainer(container, 1, 6000);
    EXPECT_EQ(2u, container->rows.size());
    EXPECT_EQ(10u, container->rows[1].integers[1]);
}

TEST_F(Aggregator, AMissingRecordFiresTargetAndARefusedRowResAndTicksGoOnCounting)
{
    for (const std::int32_t row : {1, 2, 3})
        sums.addSample(row, {{}, {}, {}, row});
    container->nullRecords = {1};
    container->refusedInserts = {1};
    sums.flushToInstanceDataContainer(container, 1, 5000);
    EXPECT_EQ((lines_t{"target", "res", "res"}), assertions.take());
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_EQ(5002u, container->rows[0].timestamp);
}

class AggregatingThread : public ContextTest {
protected:
    /// Three attributes, two samples of each but the last; the rows in dd_sample are 1, 2 and 3.
    void load(ThreadInfo& thread)
    {
        for (std::int32_t slot = 0; slot < 3; ++slot) {
            pmu_sample_attribute_t attr = attribute(slot + 10, slot + 20);
            attr.cpu = Index(slot + 30);
            sample(thread, 100, add(attr), 5, slot);
            if (slot < 2) sample(thread, 200, add(attr), 7, slot);
        }
        passAndFlush();
    }
};

TEST_F(AggregatingThread, ThreeAttributesAtFinish5000GiveRowsAt5000To5002ByAttributeRow)
{
    context.m_storeEachSample = false;
    open();
    ThreadInfo thread(&context, Index(100), 3, false, Index(200));
    load(thread);
    EXPECT_TRUE(container->rows.empty()) << "rows come at the end of the thread only";
    thread.finish(5000);
    ASSERT_EQ(3u, container->rows.size());
    const std::uint64_t counts[] = {12, 12, 5};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto at = static_cast<std::int32_t>(i);
        EXPECT_EQ(5000 + i, container->rows[i].timestamp);
        EXPECT_EQ(at + 1, container->rows[i].keys[0]);
        EXPECT_EQ(at + 20, container->rows[i].keys[1]);
        EXPECT_EQ(at + 10, container->rows[i].keys[2]);
        EXPECT_EQ(at + 30, container->rows[i].keys[3]);
        EXPECT_EQ(200, container->rows[i].keys[4]);
        EXPECT_EQ(counts[i], container->rows[i].integers[1]);
    }
    EXPECT_TRUE(bandTable->bands.empty());
}

TEST_F(AggregatingThread, WithTheVariableSetAggregatedBandsFollowTheRowsUnderTheChangedBandKey)
{
    const ScopedEnvironment on(loadToSqlite, "x");
    context.m_storeEachSample = false;
    open();
    ThreadInfo thread(&context, Index(100), 3, false, Index(200));
    thread.setBandKey(Index(101));
    load(thread);
    log->take();
    thread.finish(5000);
    const lines_t calls = log->take();
    ASSERT_LE(4u, calls.size());
    EXPECT_EQ((lines_t{"row.insert 5002", "band.add 5000 5000", "band.add 5001 5001",
                       "band.add 5002 5002"}),
              lines_t(calls.end() - 4, calls.end()));
    ASSERT_EQ(3u, bandTable->bands.size());
    const std::uint64_t counts[] = {12, 12, 5};
    for (std::size_t i = 0; i < 3; ++i) {
        const band_call_t& call = bandTable->bands[i];
        EXPECT_EQ(Index(101), call.key.owner);
        EXPECT_EQ("dd_sample", call.key.attributeTable);
        EXPECT_FALSE(call.custom) << "no custom fields";
        ASSERT_EQ(1u, call.band.data.size());
        EXPECT_EQ(0u, call.band.data[0].reserved);
        EXPECT_EQ(counts[i], call.band.data[0].count);
        EXPECT_EQ(Index(static_cast<std::int32_t>(i) + 1), call.band.data[0].attribute);
    }
}

TEST_F(AggregatingThread, AThreadThatAggregatesInAContextThatDoesNotSumsUpItsOpenSamplesOnly)
{
    open();
    ThreadInfo thread(&context, Index(100), 3, false, Index(200));
    load(thread);
    EXPECT_EQ(2u, container->rows.size()) << "the closed intervals became rows at the flush";
    thread.finish(5000);
    ASSERT_EQ(5u, container->rows.size());
    EXPECT_EQ(7u, container->rows[2].integers[1]);
    EXPECT_EQ(7u, container->rows[3].integers[1]);
    EXPECT_EQ(5u, container->rows[4].integers[1]);
    EXPECT_EQ(5000u, container->rows[2].timestamp);
}

TEST_F(AggregatingThread, AThreadThatStoresInAContextThatAggregatesWritesItsOpenSamplesAndNoSums)
{
    context.m_storeEachSample = false;
    open();
    ThreadInfo thread(&context, Index(100), 3, true, Index(200));
    load(thread);
    thread.finish(5000);
    ASSERT_EQ(3u, container->rows.size());
    EXPECT_EQ(200u, container->rows[0].timestamp);
    EXPECT_EQ(100u, container->rows[2].timestamp);
}

TEST_F(AggregatingThread, AttributesRefusedByTheStoreAreSummedUpTogetherUnderMinusOne)
{
    context.m_storeEachSample = false;
    open();
    db->table("dd_sample").refusedCommits = {1, 2};
    ThreadInfo thread(&context, Index(100), 3, false, Index(200));
    load(thread);
    thread.finish(5000);
    EXPECT_EQ((lines_t{"(*saIt)->second.exist()", "(*saIt)->second.exist()"}), assertions.take());
    ASSERT_EQ(2u, container->rows.size());
    EXPECT_EQ(-1, container->rows[0].keys[0]);
    EXPECT_EQ(24u, container->rows[0].integers[1]);
    EXPECT_EQ(10, container->rows[0].keys[2]) << "of the first";
}

} // namespace
} // namespace samplefold_test
