#include "support/context_fixture.h"
#include "support/fake_perf_database.h"
#include "support/scoped_environment.h"

namespace samplefold_test {
namespace {

class LoaderContextTest : public ContextTest {};

TEST_F(LoaderContextTest, ANewContextHasTheDocumentedDefaults)
{
    const TestContext fresh;
    EXPECT_EQ(65535, fresh.m_rateBandField);
    EXPECT_EQ(65535, fresh.m_nextAttrBandField);
    EXPECT_TRUE(fresh.m_linkCallsiteParents);
    EXPECT_TRUE(fresh.m_storeEachSample);
    EXPECT_FALSE(fresh.m_loadInstanceDataToSqlite);
    EXPECT_TRUE(fresh.m_storeRva);
    EXPECT_TRUE(fresh.m_jitEnabled);
    EXPECT_EQ(0u, fresh.m_jitStatus);
    EXPECT_EQ(nullptr, fresh.m_jitSession.get());
    EXPECT_TRUE(fresh.m_jitLoaders.empty() && fresh.m_jitFileKeys.empty());
    EXPECT_TRUE(fresh.m_jitModuleFileKeys.empty() && fresh.m_jitOptions.empty());
    EXPECT_TRUE(fresh.m_jitDataPath.empty());
    EXPECT_EQ(0u, fresh.m_thinnerState);
    EXPECT_TRUE(fresh.m_sampleThinner.m_thinners.empty());
    EXPECT_TRUE(fresh.m_segmentInstanceTable.is_null() && fresh.m_moduleSegmentTable.is_null());
    EXPECT_TRUE(fresh.m_instanceContainer.is_null() && fresh.m_sampleBandTable.is_null());
    EXPECT_TRUE(fresh.m_callsiteRecord.isNull() && fresh.m_codeLocationRecord.isNull());
    EXPECT_TRUE(fresh.m_segInstToModuleSegment.empty());
    EXPECT_EQ(0u, fresh.m_pmuData.size());
    EXPECT_EQ(0u, fresh.m_sampleAttributes.size());
    EXPECT_TRUE(fresh.m_threadContexts.empty());
    EXPECT_TRUE(fresh.m_aggregatedBandTable.is_null() && fresh.m_hwFeedbackInstanceTable.is_null());
    EXPECT_TRUE(fresh.m_events.empty());
    EXPECT_TRUE(fresh.m_errorReporter.is_null() && fresh.m_errorReporterMessage.empty());
    EXPECT_TRUE(fresh.m_cpuHwFeedbackState.empty() && fresh.m_threadLastCpu.empty());
    EXPECT_TRUE(fresh.getDb().is_null() && fresh.m_result.is_null());
    EXPECT_TRUE(fresh.m_firstIntervalTag.empty());
    EXPECT_EQ(0.0, fresh.m_firstIntervalFactorA);
    EXPECT_EQ(0.0, fresh.m_firstIntervalFactorB);
}

TEST_F(LoaderContextTest, AnyNonEmptyTextOfTheLoadVariableCountsAsOnZeroIncluded)
{
    for (const char* text : {"0", "1", "no", " "}) {
        const ScopedEnvironment on(loadToSqlite, text);
        EXPECT_TRUE(TestContext().m_loadInstanceDataToSqlite) << text;
    }
    const ScopedEnvironment empty(loadToSqlite, "");
    EXPECT_FALSE(TestContext().m_loadInstanceDataToSqlite);
}

TEST_F(LoaderContextTest, SetDbOpensTheTablesInOrder)
{
    context.setDb(db);
    EXPECT_EQ((lines_t{"db.getAttributeTable dd_module_file", "db.getAttributeTable dd_jit_file",
                       "db.getAttributeTable dd_module_segment",
                       "db.getAttributeTable dd_segment_instance",
                       "db.getAttributeTable dd_callsite", "db.getAttributeTable dd_code_location",
                       "dd_callsite.createOrphanRecord", "dd_code_location.createOrphanRecord",
                       "db.getAttributeTable dd_hw_feedback_coretier_class",
                       "db.getAttributeTable dd_hw_feedback"}),
              log->take());
}

TEST_F(LoaderContextTest, SetDbPutsEveryTableInItsMember)
{
    context.setDb(db);
    EXPECT_STREQ("dd_module_file", context.m_ddModuleFileTable->name());
    EXPECT_STREQ("dd_jit_file", context.m_ddJitFileTable->name());
    EXPECT_STREQ("dd_module_segment", context.m_moduleSegmentTable->name());
    EXPECT_STREQ("dd_segment_instance", context.m_segmentInstanceTable->name());
    EXPECT_STREQ("dd_callsite", context.m_ddCallsiteTable->name());
    EXPECT_STREQ("dd_code_location", context.m_ddCodeLocationTable->name());
    EXPECT_STREQ("dd_hw_feedback_coretier_class", context.m_ddHwFeedbackClassTable->name());
    EXPECT_STREQ("dd_hw_feedback", context.m_ddHwFeedbackTable->name());
    EXPECT_FALSE(context.m_callsiteRecord.isNull());
    EXPECT_FALSE(context.m_codeLocationRecord.isNull());
    EXPECT_EQ(db.get(), context.getDb().get());
}

TEST_F(LoaderContextTest, HardwareFeedbackTablesMayBeMissing)
{
    db->missingTables = {"dd_hw_feedback_coretier_class", "dd_hw_feedback"};
    context.setDb(db);
    EXPECT_TRUE(context.m_ddHwFeedbackClassTable.is_null());
    EXPECT_TRUE(context.m_ddHwFeedbackTable.is_null());
    EXPECT_FALSE(context.m_ddCodeLocationTable.is_null());
}

TEST_F(LoaderContextTest, ASecondSetDbReplacesTheFirst)
{
    context.setDb(db);
    const auto other = tb2::make_counted<FakeDatabase>(log);
    context.setDb(other);
    EXPECT_EQ(other.get(), context.getDb().get());
    EXPECT_EQ(&other->table("dd_callsite"), context.m_ddCallsiteTable.get());
}

TEST_F(LoaderContextTest, SetResultKeepsTheResultAlive)
{
    auto result = tb2::make_counted<FakePerfDatabase>(log);
    const auto* const raw = result.get();
    context.setResult(result);
    result.reset();
    ASSERT_EQ(raw, context.m_result.get());
    EXPECT_FALSE(context.m_result->getInstanceTableDef("x", 3).is_null()) << "still callable";
}

TEST_F(LoaderContextTest, AddPmuDataStoresACopyAtAStableAddress)
{
    pmu_data_t data;
    data.start_tsc = 5;
    data.count = -3;
    pmu_data_t* const stored = context.addPmuData(data);
    data.count = 0;
    for (int i = 0; i < 60000; ++i)
        context.addPmuData(data);
    EXPECT_EQ(stored, &context.m_pmuData[0]);
    EXPECT_EQ(5u, stored->start_tsc);
    EXPECT_EQ(-3, stored->count);
}

TEST_F(LoaderContextTest, AddedAttributesAreCopiedAndTheirNumbersNotedInTheirBuckets)
{
    open();
    pmu_sample_attribute_t* const first = add(attribute(1, 7));
    add(attribute(1, 8));
    add(attribute(2, 262)); // 255 + 7
    EXPECT_EQ(first, &context.m_sampleAttributes[0]);
    EXPECT_EQ(Index(7), first->callsite);
    EXPECT_EQ((std::vector<std::uint64_t>{0, 2}), context.m_threadContexts[7].m_attributeNumbers);
    EXPECT_EQ((std::vector<std::uint64_t>{1}), context.m_threadContexts[8].m_attributeNumbers);
    EXPECT_EQ(nullptr, first->sample_key) << "nothing is cached before the bucket pass";
}

TEST_F(LoaderContextTest, WithStacksOffTheBucketGoesByTheCodeLocation)
{
    context.m_linkCallsiteParents = false;
    open();
    add(located(1, 3, 510));
    add(located(1, -1, 510));
    EXPECT_EQ((std::vector<std::uint64_t>{0}), context.m_threadContexts[0].m_attributeNumbers);
    EXPECT_EQ((std::vector<std::uint64_t>{1}), context.m_threadContexts[255].m_attributeNumbers);
}

TEST(BaseContext, RepackingDoesNothingSoASecondFlushStoresTheSamplesAgain)
{
    class Plain : public samplefold_1::LoaderContext {
    public:
        using LoaderContext::m_instanceContainer;
        using LoaderContext::m_pmuData;
        using LoaderContext::m_sampleAttributes;
        using LoaderContext::m_threadContexts;
    };
    const auto log = std::make_shared<CallLog>();
    const auto db = tb2::make_counted<FakeDatabase>(log);
    const auto container = tb2::make_counted<FakeContainer>(log);
    Plain context;
    context.m_instanceContainer = container;
    db->query = tb2::make_counted<FakeQuery>(log);
    context.setDb(db);
    context.initAttributeCaches(256);
    ThreadInfo thread(&context, Index(1), 1, true, Index(2));
    auto* const attr = context.addpmuSampleAttribute({});
    thread.addSample(10, attr, 1, 0, 0, false, 0, 1);
    thread.addSample(20, attr, 1, 0, 0, false, 0, 1);
    samplefold::load::runBucketPass(context.m_threadContexts, context.m_sampleAttributes, true);
    context.flushData();
    context.flushData();
    EXPECT_EQ(2u, container->rows.size());
    EXPECT_EQ(1u, context.m_pmuData.size());
    EXPECT_EQ(1u, context.m_sampleAttributes.size());
    EXPECT_EQ(1u, db->table("dd_sample").rows.size());
}

} // namespace
} // namespace samplefold_test
