#include "support/context_fixture.h"

namespace samplefold_test {
namespace {

class SegmentInstances : public ContextTest {
protected:
    SegmentInstances()
    {
        context.setDb(db);
        log->take();
    }
};

TEST_F(SegmentInstances, ARowIsWrittenColumnByColumnInOrderThroughAFreshRecord)
{
    db->table("dd_segment_instance").firstKey = 40;
    const Index key =
        context.addSegmentInstance(Index(3), 0x7000, Index(5), tb2::variant_t(std::uint64_t{99}));
    EXPECT_EQ((lines_t{"dd_segment_instance.createOrphanRecord", "dd_segment_instance[0]=s32:3",
                       "dd_segment_instance[2]=s32:5", "dd_segment_instance[1]=u64:28672",
                       "dd_segment_instance[3]=u64:99", "dd_segment_instance.commit(0,0)->40"}),
              log->take());
    EXPECT_EQ(Index(40), key);
    EXPECT_EQ((std::map<std::int32_t, std::int32_t>{{40, 3}}), context.m_segInstToModuleSegment);
}

TEST_F(SegmentInstances, WithoutAModuleSegmentTheColumnIsNullButTheProcessNeverIs)
{
    context.addSegmentInstance(Index(-1), 1, Index(-1), tb2::variant_t("tag"));
    EXPECT_EQ((lines_t{"dd_segment_instance.createOrphanRecord", "dd_segment_instance[0]=null",
                       "dd_segment_instance[2]=s32:-1", "dd_segment_instance[1]=u64:1",
                       "dd_segment_instance[3]=text:tag", "dd_segment_instance.commit(0,0)->1"}),
              log->take());
    EXPECT_EQ(-1, context.m_segInstToModuleSegment.at(1));
}

TEST_F(SegmentInstances, TwoBogusRequestsForOneProcessAddTwoRows)
{
    EXPECT_EQ(Index(1), context.getBogusSegmentInstance(Index(8)));
    EXPECT_EQ(Index(2), context.getBogusSegmentInstance(Index(8)));
    const FakeTable& table = db->table("dd_segment_instance");
    for (const std::int32_t key : {1, 2}) {
        EXPECT_EQ("null", show(table.at(key, 0)));
        EXPECT_EQ("u64:0", show(table.at(key, 1)));
        EXPECT_EQ("s32:8", show(table.at(key, 2)));
        EXPECT_EQ("null", show(table.at(key, 3)));
    }
    EXPECT_EQ((std::map<std::int32_t, std::int32_t>{{1, -1}, {2, -1}}),
              context.m_segInstToModuleSegment);
}

TEST_F(SegmentInstances, AKeyThatComesAgainTakesTheNewModuleSegment)
{
    context.m_segInstToModuleSegment[1] = 77;
    context.addSegmentInstance(Index(3), 0, Index(5), {});
    EXPECT_EQ(3, context.m_segInstToModuleSegment.at(1));
}

TEST_F(SegmentInstances, ARefusedRowGivesMinusOneAndIsNotedUnderIt)
{
    db->table("dd_segment_instance").refusedCommits = {1};
    EXPECT_EQ(Index(-1), context.addSegmentInstance(Index(3), 0, Index(5), {}));
    EXPECT_EQ(3, context.m_segInstToModuleSegment.at(-1));
}

} // namespace
} // namespace samplefold_test
