#include "support/context_fixture.h"

namespace samplefold_test {
namespace {

/// The open samples' way over an emptying of the arrays.
class ThreadRepack : public ContextTest {
protected:
    ThreadRepack() { open(); }

    ThreadInfo thread{&context, Index(100), 1, true, Index(200)};
    std::vector<pmu_sample_attribute_t> copies;
};

TEST_F(ThreadRepack, AThreadWithoutSamplesGivesAnEmptyCopy)
{
    copies.resize(5);
    thread.getCopyOfLastSamples(copies);
    EXPECT_TRUE(copies.empty());
    thread.setLastSamplesFromCopy(copies);
    EXPECT_EQ(0u, context.m_sampleAttributes.size());
}

TEST_F(ThreadRepack, TheCopyGoesByEventSlotWithDefaultsInBetween)
{
    sample(thread, 100, add(attribute(7, 70)), 1, 1);
    sample(thread, 100, add(attribute(8, 80)), 1, 3);
    thread.getCopyOfLastSamples(copies);
    ASSERT_EQ(4u, copies.size());
    EXPECT_EQ(Index(-1), copies[0].event_type);
    EXPECT_EQ(Index(7), copies[1].event_type);
    EXPECT_EQ(Index(-1), copies[2].event_type);
    EXPECT_EQ(Index(8), copies[3].event_type);
    EXPECT_EQ(Index(80), copies[3].callsite);
}

TEST_F(ThreadRepack, AVectorOfAnotherSizeIsFittedByTheCopy)
{
    sample(thread, 100, add(attribute(7)), 1);
    copies.resize(9, attribute(1));
    thread.getCopyOfLastSamples(copies);
    ASSERT_EQ(1u, copies.size());
    EXPECT_EQ(Index(7), copies[0].event_type);
}

TEST_F(ThreadRepack, CopiesComeBackAsFreshAttributesNotedInTheirBuckets)
{
    sample(thread, 100, add(attribute(7, 70)), 1, 1);
    sample(thread, 100, add(attribute(8, 80)), 1, 3);
    passAndFlush();
    thread.getCopyOfLastSamples(copies);
    context.m_pmuData.reset();
    context.m_sampleAttributes.reset();
    thread.setLastSamplesFromCopy(copies);
    ASSERT_EQ(2u, context.m_sampleAttributes.size());
    EXPECT_EQ(Index(7), context.m_sampleAttributes[0].event_type);
    EXPECT_EQ(Index(8), context.m_sampleAttributes[1].event_type);
    EXPECT_EQ((std::vector<std::uint64_t>{0}), context.m_threadContexts[70].m_attributeNumbers);
    EXPECT_EQ((std::vector<std::uint64_t>{1}), context.m_threadContexts[80].m_attributeNumbers);
}

TEST_F(ThreadRepack, ChainsStartAnewSoNothingPointsIntoTheEmptiedArray)
{
    auto* const attr = add(attribute(7));
    sample(thread, 100, attr, 1);
    sample(thread, 200, attr, 1);
    context.emptying = true;
    context.threads = {&thread};
    passAndFlush();
    EXPECT_EQ(0u, context.m_pmuData.size());
    sample(thread, 300, add(attribute(8)), 1);
    ASSERT_EQ(1u, context.m_pmuData.size());
    const pmu_data_t& first = context.m_pmuData[0];
    EXPECT_EQ(101u, first.start_tsc);
    EXPECT_EQ(200u, first.end_tsc);
    EXPECT_EQ(&context.m_sampleAttributes[0], first.attr);
    EXPECT_EQ(Index(8), first.next->attr->event_type);
    EXPECT_NE(&first, first.next);
}

TEST_F(ThreadRepack, AShorterVectorFiresAndTheElementsThereAreTaken)
{
    sample(thread, 100, add(attribute(7)), 1, 0);
    sample(thread, 100, add(attribute(8)), 1, 1);
    thread.getCopyOfLastSamples(copies);
    copies.resize(1);
    thread.setLastSamplesFromCopy(copies);
    EXPECT_EQ(lines_t{"attributes.size() == size"}, assertions.take());
    ASSERT_EQ(3u, context.m_sampleAttributes.size());
    EXPECT_EQ(Index(7), context.m_sampleAttributes[2].event_type);
}

TEST_F(ThreadRepack, ALongerVectorFiresAndItsFirstElementsAreTaken)
{
    sample(thread, 100, add(attribute(7)), 1, 0);
    thread.getCopyOfLastSamples(copies);
    copies.resize(3, attribute(9));
    thread.setLastSamplesFromCopy(copies);
    EXPECT_EQ(lines_t{"attributes.size() == size"}, assertions.take());
    EXPECT_EQ(2u, context.m_sampleAttributes.size());
}

TEST_F(ThreadRepack, AfterARepackingTheOpenSampleIsWrittenByFinishUnderItsOldRow)
{
    context.emptying = true;
    context.threads = {&thread};
    sample(thread, 100, add(attribute(7, 70)), 1);
    passAndFlush();
    sample(thread, 200, add(attribute(7, 70)), 1);
    passAndFlush();
    passAndFlush();
    thread.finish(1);
    EXPECT_EQ(1u, db->table("dd_sample").rows.size()) << "one attribute, one row";
    ASSERT_EQ(2u, container->rows.size());
    for (const auto& row : container->rows) {
        EXPECT_EQ(1, row.keys[0]);
        EXPECT_EQ(70, row.keys[1]);
    }
}

} // namespace
} // namespace samplefold_test
