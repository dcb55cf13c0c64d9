#include "support/context_fixture.h"
#include "support/scoped_environment.h"

namespace samplefold_test {
namespace {

/// The end of a thread whose samples are stored one by one.
class ThreadFinish : public ContextTest {
protected:
    void openWith(std::uint16_t rateField, std::uint16_t nextAttrField)
    {
        context.m_rateBandField = rateField;
        context.m_nextAttrBandField = nextAttrField;
        open();
    }
    /// One open sample at tick 1000 whose attribute has been flushed as dd_sample row 1.
    void openSample(ThreadInfo& thread)
    {
        pmu_sample_attribute_t attr = attribute(11, 22);
        attr.cpu = Index(33);
        sample(thread, 1000, add(attr), 5);
        passAndFlush();
        log->take();
    }
};

TEST_F(ThreadFinish, WritesTheOpenSampleColumnByColumnThroughAFreshRecord)
{
    openWith(0, 1);
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    openSample(thread);
    thread.finish(9999);
    EXPECT_EQ(
        (lines_t{"container.createRecord", "row.key 0=1", "row.key 1=22", "row.key 2=11",
                 "row.key 3=33", "row.key 4=200", "row.double 0=0.000000", "row.integer 2=1000",
                 "row.integer 0=0", "row.integer 1=5", "row.insert 1000"}),
        log->take());
    EXPECT_FALSE(container->rows[0].keys[5]) << "the last sample has no follower";
    EXPECT_FALSE(container->rows[0].keys[6]);
    EXPECT_TRUE(bandTable->bands.empty());
}

TEST_F(ThreadFinish, TheRowStartsEarlierByTheExtension)
{
    context.m_firstIntervalTag = "tag";
    context.m_firstIntervalFactorA = 40;
    context.m_firstIntervalFactorB = 2.5;
    openWith(0, 1);
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    openSample(thread);
    thread.finish(9999);
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_EQ(900u, container->rows[0].integers[2]);
    EXPECT_EQ(1000u, container->rows[0].timestamp);
}

TEST_F(ThreadFinish, SlotsAreWrittenInSlotOrderAndThoseWithoutASampleAreLeftOut)
{
    openWith(0, 1);
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    auto* const attr = add(attribute(1));
    sample(thread, 900, attr, 1, 7);
    sample(thread, 0, attr, 1, 3);
    sample(thread, 800, attr, 1, 2);
    sample(thread, 700, attr, 1, 5);
    passAndFlush();
    thread.finish(1);
    EXPECT_EQ((lines_t{"row.insert 800", "row.insert 700", "row.insert 900"}),
              log->startingWith("row.insert"));
}

TEST_F(ThreadFinish, ASecondFinishWritesTheRowsAgain)
{
    openWith(0, 1);
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    openSample(thread);
    thread.finish(1);
    thread.finish(1);
    EXPECT_EQ(2u, container->rows.size());
}

TEST_F(ThreadFinish, AMissingRecordFiresTargetAndARefusedRowResAndTheLoopGoesOn)
{
    openWith(0, 1);
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    auto* const attr = add(attribute(1));
    for (const std::int32_t slot : {0, 1, 2})
        sample(thread, 100, attr, 1, slot);
    passAndFlush(); // takes the first record
    container->nullRecords = {2};
    container->refusedInserts = {1};
    thread.finish(1);
    EXPECT_EQ((lines_t{"target", "res", "res"}), assertions.take());
    EXPECT_EQ(1u, container->rows.size());
}

TEST_F(ThreadFinish, WithTheVariableSetTheBandGoesBeforeTheRowAndPointsAtItself)
{
    const ScopedEnvironment on(loadToSqlite, "1");
    openWith(2, 1);
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    openSample(thread);
    thread.finish(9999);
    const lines_t calls = log->take();
    ASSERT_LE(3u, calls.size());
    EXPECT_EQ("container.createRecord", calls[0]);
    EXPECT_EQ("band.add 1000 1000", calls[1]);
    EXPECT_EQ("row.key 0=1", calls[2]);
    ASSERT_EQ(1u, bandTable->bands.size());
    const band_call_t& call = bandTable->bands[0];
    EXPECT_EQ(Index(100), call.key.owner);
    EXPECT_EQ("dd_sample", call.key.attributeTable);
    ASSERT_EQ(1u, call.band.data.size());
    EXPECT_EQ(0u, call.band.data[0].reserved);
    EXPECT_EQ(5u, call.band.data[0].count);
    EXPECT_EQ(Index(1), call.band.data[0].attribute);
    ASSERT_TRUE(call.custom);
    ASSERT_EQ(3u, call.custom->size()) << "the higher of the two fields plus one";
    EXPECT_EQ("null", show((*call.custom)[0]));
    EXPECT_EQ("s32:1", show((*call.custom)[1]));
    EXPECT_EQ("real:0.000000", show((*call.custom)[2]));
}

TEST_F(ThreadFinish, TheThreadReadsTheVariableItselfWhenItIsMade)
{
    openWith(0, 1);
    ASSERT_FALSE(context.m_loadInstanceDataToSqlite);
    std::optional<ThreadInfo> thread;
    {
        const ScopedEnvironment on(loadToSqlite, "0");
        thread.emplace(&context, Index(100), Index(300), 0, 0, true);
    }
    openSample(*thread);
    thread->finish(1);
    ASSERT_EQ(1u, bandTable->bands.size());
    EXPECT_EQ(Index(300), bandTable->bands[0].key.owner) << "here the band key is the second key";
    EXPECT_EQ(100, container->rows[0].keys[4]);
}

TEST_F(ThreadFinish, TheTwoConstructorsTakeTheirKeysInOppositeOrder)
{
    open();
    const ThreadInfo counting(&context, Index(1), 1, true, Index(2));
    EXPECT_EQ(Index(2), counting.threadKey());
    const ThreadInfo known(&context, Index(1), Index(2), 0, 0, true);
    EXPECT_EQ(Index(1), known.threadKey());
}

TEST_F(ThreadFinish, SetBandKeyLeavesTheOwnerOfPerSampleBands)
{
    const ScopedEnvironment on(loadToSqlite, "1");
    openWith(0, 1);
    context.m_loadInstanceDataToSqlite = true;
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    thread.setBandKey(Index(101));
    auto* const attr = add(attribute(1));
    sample(thread, 100, attr, 1);
    sample(thread, 200, attr, 1);
    passAndFlush();
    thread.finish(1);
    ASSERT_EQ(2u, bandTable->bands.size());
    EXPECT_EQ(Index(100), bandTable->bands[0].key.owner);
    EXPECT_EQ(Index(100), bandTable->bands[1].key.owner);
}

} // namespace
} // namespace samplefold_test
