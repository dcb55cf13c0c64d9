#include "support/context_fixture.h"

namespace samplefold_test {
namespace {

class Flush : public ContextTest {
protected:
    ThreadInfo& makeThread(std::int32_t key = 200)
    {
        threads.push_back(std::make_unique<ThreadInfo>(&context, Index(key + 1), 1,
                                                       context.m_storeEachSample, Index(key)));
        return *threads.back();
    }

    std::vector<std::unique_ptr<ThreadInfo>> threads;
};

TEST_F(Flush, WithoutSamplesItFlushesTheBucketsMakesTheRecordAndRepacks)
{
    open();
    add(attribute(1));
    context.bucketPass();
    context.flushData();
    EXPECT_EQ(1u, db->table("dd_sample").rows.size());
    EXPECT_EQ(1u, log->startingWith("container.createRecord").size());
    EXPECT_EQ(1, context.repackings);
    EXPECT_TRUE(container->rows.empty());
    EXPECT_TRUE(context.m_threadContexts[0].m_attributeNumbers.empty());
}

TEST_F(Flush, BucketsComeFirstThenTheRowsAndTheRepackingLast)
{
    context.onRepack = [&] { log->add("repack"); };
    open();
    ThreadInfo& thread = makeThread();
    pmu_sample_attribute_t attr = attribute(11, 22);
    attr.cpu = Index(33);
    sample(thread, 1000, add(attr), 5);
    attr = attribute(44, 55);
    sample(thread, 1400, add(attr), 8);
    context.bucketPass();
    context.flushData();
    lines_t calls = log->take();
    std::erase_if(calls, [](const std::string& line) { return line.starts_with("dd_sample["); });
    EXPECT_EQ(
        (lines_t{"dd_sample.commit(0,1)->1", "dd_sample.commit(0,1)->2", "container.createRecord",
                 "row.key 0=1", "row.key 1=22", "row.key 2=11", "row.key 3=33", "row.key 4=200",
                 "row.key 6=55", "row.key 5=44", "row.double 0=0.020000", "row.integer 2=600",
                 "row.integer 0=0", "row.integer 1=5", "row.insert 1000", "repack"}),
        calls);
}

TEST_F(Flush, TheReservedValueIsCopiedAsItIs)
{
    open();
    pmu_data_t data;
    data.attr = add(attribute(1));
    data.thread = &makeThread();
    data.reserved_value = 77;
    data.end_tsc = 10;
    context.addPmuData(data);
    passAndFlush();
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_EQ(77u, container->rows[0].integers[0]);
}

TEST_F(Flush, BucketsWriteInBucketOrderWhateverTheOrderOfArrival)
{
    open();
    for (const std::int32_t callsite : {254, 3, 100, 255})
        add(attribute(callsite, callsite));
    passAndFlush();
    const FakeTable& table = db->table("dd_sample");
    EXPECT_EQ("s32:255", show(table.at(1, 0))) << "bucket 0";
    EXPECT_EQ("s32:3", show(table.at(2, 0)));
    EXPECT_EQ("s32:100", show(table.at(3, 0)));
    EXPECT_EQ("s32:254", show(table.at(4, 0)));
}

TEST_F(Flush, RowsOfSeveralThreadsInterleaveInTheOrderOfTheirClosing)
{
    open();
    ThreadInfo& a = makeThread(1);
    ThreadInfo& b = makeThread(2);
    auto* const attr = add(attribute(1));
    sample(a, 100, attr, 1);
    sample(b, 110, attr, 1);
    sample(b, 120, attr, 1);
    sample(a, 130, attr, 1);
    sample(b, 140, attr, 1);
    passAndFlush();
    ASSERT_EQ(3u, container->rows.size());
    EXPECT_EQ(110u, container->rows[0].timestamp);
    EXPECT_EQ(2, container->rows[0].keys[4]);
    EXPECT_EQ(100u, container->rows[1].timestamp);
    EXPECT_EQ(1, container->rows[1].keys[4]);
    EXPECT_EQ(120u, container->rows[2].timestamp);
    EXPECT_EQ(1u, log->startingWith("container.createRecord").size()) << "one record serves all";
}

TEST_F(Flush, ARowWithoutAFollowerKeepsTheFollowerColumnsOfAnEarlierRow)
{
    open();
    ThreadInfo& thread = makeThread();
    sample(thread, 100, add(attribute(1, 10)), 1);
    sample(thread, 200, add(attribute(2, 20)), 1);
    std::vector<pmu_sample_attribute_t*> attrs{add(attribute(3, 30))};
    std::vector<std::int64_t> values{9};
    thread.addSample(100, 300, attrs, values, 1);
    passAndFlush();
    ASSERT_EQ(2u, container->rows.size());
    EXPECT_EQ(3, container->rows[1].keys[2]);
    EXPECT_EQ(2, container->rows[1].keys[5]) << "of the row before";
    EXPECT_EQ(20, container->rows[1].keys[6]);
}

TEST_F(Flush, AFirstRowWithoutAFollowerHasNoFollowerColumns)
{
    open();
    ThreadInfo& thread = makeThread();
    std::vector<pmu_sample_attribute_t*> attrs{add(attribute(3, 30))};
    std::vector<std::int64_t> values{9};
    thread.addSample(100, 300, attrs, values, 1);
    passAndFlush();
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_FALSE(container->rows[0].keys[5]);
    EXPECT_FALSE(container->rows[0].keys[6]);
}

TEST_F(Flush, FollowerColumnsDoNotOutliveAFlush)
{
    open();
    context.emptying = true;
    ThreadInfo& thread = makeThread();
    context.threads = {&thread};
    sample(thread, 100, add(attribute(1, 10)), 1);
    sample(thread, 200, add(attribute(2, 20)), 1);
    passAndFlush();
    std::vector<pmu_sample_attribute_t*> attrs{add(attribute(3, 30))};
    std::vector<std::int64_t> values{9};
    thread.addSample(100, 300, attrs, values, 1);
    passAndFlush();
    ASSERT_EQ(2u, container->rows.size());
    EXPECT_FALSE(container->rows[1].keys[5]);
}

TEST_F(Flush, WithoutStoringEachSampleNoRowsAppearAndTheRecordIsMadeAllTheSame)
{
    context.m_storeEachSample = false;
    context.m_loadInstanceDataToSqlite = true;
    open();
    ThreadInfo& thread = makeThread();
    sample(thread, 100, add(attribute(1)), 1);
    sample(thread, 200, add(attribute(1)), 1);
    passAndFlush();
    EXPECT_TRUE(container->rows.empty());
    EXPECT_TRUE(bandTable->bands.empty());
    EXPECT_EQ(1u, log->startingWith("container.createRecord").size());
    thread.finish(5000);
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_EQ(2u, container->rows[0].integers[1]) << "the closed interval and the open sample";
}

TEST_F(Flush, AMissingRecordFiresTargetForEverySampleAndTheWalkGoesOn)
{
    open();
    container->nullRecords = {1};
    ThreadInfo& thread = makeThread();
    for (const std::uint64_t tsc : {100, 200, 300})
        sample(thread, tsc, add(attribute(1)), 1);
    passAndFlush();
    EXPECT_EQ((lines_t{"target", "res", "target", "res"}), assertions.take());
    EXPECT_TRUE(container->rows.empty());
    EXPECT_EQ(1, context.repackings);
}

TEST_F(Flush, ARefusedRowFiresResAndTheWalkGoesOn)
{
    open();
    container->refusedInserts = {1};
    ThreadInfo& thread = makeThread();
    for (const std::uint64_t tsc : {100, 200, 300})
        sample(thread, tsc, add(attribute(1)), 1);
    passAndFlush();
    EXPECT_EQ(lines_t{"res"}, assertions.take());
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_EQ(200u, container->rows[0].timestamp);
}

TEST_F(Flush, AnAttributeThatTheStoreRefusedReachesItsRowsAsMinusOne)
{
    open();
    db->table("dd_sample").refusedCommits = {1};
    ThreadInfo& thread = makeThread();
    for (const std::uint64_t tsc : {100, 200})
        sample(thread, tsc, add(attribute(1, 4)), 1);
    passAndFlush();
    EXPECT_EQ(lines_t{"(*saIt)->second.exist()"}, assertions.take());
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_EQ(-1, container->rows[0].keys[0]);
    EXPECT_EQ(4, container->rows[0].keys[1]);
}

TEST_F(Flush, WithStacksOffTheCallsiteOfARowIsTheOneMadeForItsLocation)
{
    context.m_linkCallsiteParents = false;
    open();
    db->table("dd_callsite").firstKey = 60;
    ThreadInfo& thread = makeThread();
    sample(thread, 100, add(located(1, 5, 1000)), 1);
    sample(thread, 200, add(located(1, -1, 2000)), 1);
    passAndFlush();
    ASSERT_EQ(1u, container->rows.size());
    EXPECT_EQ(60, container->rows[0].keys[1]) << "1000 is in bucket 235, ahead of 255";
    EXPECT_EQ(61, container->rows[0].keys[6]);
}

} // namespace
} // namespace samplefold_test
