#include "support/context_fixture.h"
#include "support/log_capture.h"

namespace samplefold_test {
namespace {

using tb2::variant_t;

variant_t key(std::int32_t value)
{
    return variant_t(value);
}
variant_t address(std::uint64_t value)
{
    return variant_t(value);
}

/// The columns of the query in the order in which they are added.
const char* const g_columns[] = {"rowid",    "event_type", "cpu",      "cpu_state",
                                 "seg_inst", "mem_access", "htm_info", "lbr_head",
                                 "ip",       "callsite",   "cpu_mode", "thread_state"};
const char* const g_stacksOffColumns[] = {"callsite.code_loc.rva", "callsite.code_loc.mod_seg",
                                          "callsite.parent"};

class CacheReload : public ContextTest {
protected:
    using row = FakeQuery::named_row_t;

    void stacksOff() { context.m_linkCallsiteParents = false; }
    std::size_t cached() const
    {
        std::size_t all = 0;
        for (const auto& bucket : context.m_threadContexts) {
            EXPECT_TRUE(bucket.m_sampleAttributesToAdd.empty());
            EXPECT_TRUE(bucket.m_codeLocationsToAdd.empty());
            all += bucket.m_sampleAttributeKeys.size();
        }
        return all;
    }
    const samplefold_1::PerThreadContext& bucket(std::size_t n)
    {
        return context.m_threadContexts[n];
    }
};

TEST_F(CacheReload, InitInitializesEachBucketAndThenRunsTheQuery)
{
    context.setDb(db);
    log->take();
    context.initAttributeCaches(256);
    ASSERT_EQ(256u, context.m_threadContexts.size());
    const lines_t calls = log->take();
    ASSERT_EQ(256u * 6 + 1 + 12 + 1, calls.size());
    for (std::size_t i = 0; i < 256; ++i) {
        ASSERT_EQ("db.getAttributeTable dd_sample", calls[6 * i]);
        ASSERT_EQ("dd_callsite.createOrphanRecord", calls[6 * i + 5]);
        ASSERT_TRUE(bucket(i).m_initialized && bucket(i).m_linkCallsiteParents);
    }
    EXPECT_EQ("db.createQuery dd_sample 2", calls[1536]);
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_EQ("query.addColumn " + std::string(g_columns[i]), calls[1537 + i]);
    }
    EXPECT_EQ("query.execute", calls.back());
}

TEST_F(CacheReload, WithStacksOffThreeDottedColumnsFollow)
{
    stacksOff();
    context.setDb(db);
    context.initAttributeCaches(256);
    const lines_t columns = log->startingWith("query.addColumn");
    ASSERT_EQ(15u, columns.size());
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ("query.addColumn " + std::string(g_stacksOffColumns[i]), columns[12 + i]);
    }
    EXPECT_FALSE(bucket(0).m_linkCallsiteParents);
}

TEST_F(CacheReload, EveryColumnAndTheQueryAreAskedForWithTheSameFixedArguments)
{
    stacksOff();
    open();
    EXPECT_EQ((std::set<std::string>{"0 none 1 0 ''"}), db->query->columnArguments);
    EXPECT_EQ("0 '' ''", db->query->executeArguments);
}

TEST_F(CacheReload, AQueryThatCannotRunLeavesTheBucketsEmptyAndTellsNothing)
{
    const LogCapture logged;
    db->query->rows = {row{{"rowid", key(31)}}};
    db->query->unable = true;
    open();
    EXPECT_EQ(0u, cached());
    EXPECT_TRUE(logged.entries().empty());
}

TEST_F(CacheReload, AnEmptyTableLeavesTheBucketsEmptyAndNoCheckFires)
{
    const LogCapture logged;
    open();
    EXPECT_EQ(0u, cached());
    EXPECT_TRUE(logged.entries().empty());
}

TEST_F(CacheReload, ARowComesBackWithAllItsFields)
{
    db->query->rows = {row{{"rowid", key(31)},
                           {"event_type", key(1)},
                           {"cpu", key(2)},
                           {"cpu_state", key(3)},
                           {"seg_inst", key(4)},
                           {"mem_access", key(5)},
                           {"htm_info", key(6)},
                           {"lbr_head", key(7)},
                           {"ip", address(0x8000000000000001)},
                           {"callsite", key(256)},
                           {"cpu_mode", key(9)},
                           {"thread_state", key(10)},
                           {"callsite.code_loc.rva", address(77)},
                           {"callsite.code_loc.mod_seg", key(78)}}};
    open();
    ASSERT_EQ(1u, cached());
    ASSERT_EQ(1u, bucket(1).m_sampleAttributeKeys.size());
    const auto& [attr, sampleKey] = *bucket(1).m_sampleAttributeKeys.begin();
    EXPECT_EQ(Index(31), sampleKey);
    EXPECT_EQ(Index(1), attr.event_type);
    EXPECT_EQ(Index(2), attr.cpu);
    EXPECT_EQ(Index(3), attr.cpu_state);
    EXPECT_EQ(Index(4), attr.seg_inst);
    EXPECT_EQ(Index(5), attr.mem_access);
    EXPECT_EQ(Index(6), attr.htm_info);
    EXPECT_EQ(Index(7), attr.lbr_head);
    EXPECT_EQ(0x8000000000000001u, attr.ip);
    EXPECT_EQ(Index(256), attr.callsite);
    EXPECT_EQ(Index(9), attr.cpu_mode);
    EXPECT_EQ(Index(10), attr.thread_state);
    EXPECT_EQ(Index(-1), attr.code_loc.mod_seg) << "not read with call stacks on";
    EXPECT_EQ(0u, attr.code_loc.rva);
    EXPECT_TRUE(bucket(1).m_codeLocations.empty());
}

TEST_F(CacheReload, WithStacksOffTheLocationIsCachedWithItsCallsite)
{
    stacksOff();
    db->query->rows = {row{{"rowid", key(31)},
                           {"event_type", key(1)},
                           {"callsite", key(41)},
                           {"callsite.code_loc.rva", address(1000)},
                           {"callsite.code_loc.mod_seg", key(5)}}};
    open();
    ASSERT_EQ(1u, cached());
    ASSERT_EQ(1u, bucket(235).m_sampleAttributeKeys.size());
    const auto& [attr, sampleKey] = *bucket(235).m_sampleAttributeKeys.begin();
    EXPECT_EQ(Index(31), sampleKey);
    EXPECT_EQ(Index(-1), attr.callsite) << "not read with call stacks off";
    EXPECT_EQ(Index(5), attr.code_loc.mod_seg);
    EXPECT_EQ(1000u, attr.code_loc.rva);
    ASSERT_EQ(1u, bucket(235).m_codeLocations.size());
    const auto& [location, callsiteKey] = *bucket(235).m_codeLocations.begin();
    EXPECT_EQ(1000u, location.rva);
    EXPECT_EQ(Index(41), callsiteKey);
    EXPECT_EQ(&callsiteKey, attr.code_loc.callsite_key);
}

TEST_F(CacheReload, WithStacksOffARowWithoutASegmentIsIn255AndABrokenCallsiteReadsAsNoLocation)
{
    stacksOff();
    db->query->rows = {
        row{{"rowid", key(31)}, {"callsite", key(41)}, {"callsite.code_loc.rva", address(510)}},
        row{{"rowid", key(32)}, {"event_type", key(1)}}};
    open();
    ASSERT_EQ(2u, bucket(255).m_sampleAttributeKeys.size());
    ASSERT_EQ(2u, bucket(255).m_codeLocations.size());
    EXPECT_EQ(0u, bucket(255).m_codeLocations.begin()->first.rva);
    EXPECT_EQ(Index(-1), bucket(255).m_codeLocations.begin()->second);
}

TEST_F(CacheReload, WithStacksOffARowWhoseCallsiteHasAParentIsSkippedAndTheNextIsRead)
{
    stacksOff();
    db->query->rows = {row{{"rowid", key(31)}, {"callsite.parent", key(3)}},
                       row{{"rowid", key(32)}, {"event_type", key(2)}}};
    open();
    ASSERT_EQ(1u, cached());
    EXPECT_EQ(Index(32), bucket(255).m_sampleAttributeKeys.begin()->second);
}

TEST_F(CacheReload, WithStacksOnTheParentIsNotAskedFor)
{
    db->query->rows = {row{{"rowid", key(31)}, {"callsite", key(4)}, {"callsite.parent", key(3)}}};
    context.setDb(db);
    context.initAttributeCaches(256);
    EXPECT_EQ(1u, cached());
    EXPECT_TRUE(log->startingWith("query.get callsite.parent").empty());
}

TEST_F(CacheReload, ColumnsAreReadInTheOrderOfTheRecord)
{
    stacksOff();
    db->query->rows = {row{{"rowid", key(31)}}};
    context.setDb(db);
    context.initAttributeCaches(256);
    EXPECT_EQ((lines_t{"query.get callsite.parent", "query.get rowid", "query.get callsite",
                       "query.get event_type", "query.get cpu", "query.get cpu_state",
                       "query.get seg_inst", "query.get mem_access", "query.get htm_info",
                       "query.get lbr_head", "query.get cpu_mode", "query.get thread_state",
                       "query.get ip", "query.get callsite.code_loc.mod_seg",
                       "query.get callsite.code_loc.rva"}),
              log->startingWith("query.get"));
}

TEST_F(CacheReload, WithStacksOnTheCallsiteIsReadOnceAndLast)
{
    db->query->rows = {row{{"rowid", key(31)}}};
    context.setDb(db);
    context.initAttributeCaches(256);
    EXPECT_EQ((lines_t{"query.get rowid", "query.get event_type", "query.get cpu",
                       "query.get cpu_state", "query.get seg_inst", "query.get mem_access",
                       "query.get htm_info", "query.get lbr_head", "query.get cpu_mode",
                       "query.get thread_state", "query.get ip", "query.get callsite"}),
              log->startingWith("query.get"));
}

TEST_F(CacheReload, LoadingIntoAUsedAttributeReplacesAllButItsPointers)
{
    db->query->rows = {row{{"value", key(8)}, {"rva", address(510)}}};
    const std::uint16_t none = db->query->addColumn("none", 0, {}, 1, 0, "");
    const std::uint16_t value = db->query->addColumn("value", 0, {}, 1, 0, "");
    const std::uint16_t rva = db->query->addColumn("rva", 0, {}, 1, 0, "");
    const auto rows = db->query->execute(0, "", "");
    Index kept(1);
    pmu_sample_attribute_t used = located(5, 6, 7);
    used.callsite = Index(9);
    used.ip = 10;
    used.sample_key = &kept;
    used.code_loc.callsite_key = &kept;

    pmu_sample_attribute_t attr = used;
    EXPECT_EQ(0u, attr.loadFromDbRecord(rows->current(), none, none, none, none, none, none, none,
                                        none, value, value, rva, none, none, false));
    EXPECT_EQ(Index(-1), attr.event_type);
    EXPECT_EQ(0u, attr.ip);
    EXPECT_EQ(Index(-1), attr.callsite);
    EXPECT_EQ(Index(8), attr.code_loc.mod_seg);
    EXPECT_EQ(510u, attr.code_loc.rva);
    EXPECT_EQ(&kept, attr.sample_key);
    EXPECT_EQ(&kept, attr.code_loc.callsite_key);

    attr = used;
    EXPECT_EQ(8u, attr.loadFromDbRecord(rows->current(), none, none, none, none, none, none, none,
                                        none, value, value, rva, none, none, true))
        << "by the key that was read, not by what the pointer names";
    EXPECT_EQ(Index(8), attr.callsite);
    EXPECT_EQ(Index(-1), attr.code_loc.mod_seg);
    EXPECT_EQ(0u, attr.code_loc.rva);
}

TEST_F(CacheReload, ANullCallsiteWithStacksOnGivesMinusOneAndBucketZero)
{
    db->query->rows = {row{{"rowid", key(31)}, {"event_type", key(2)}}};
    open();
    ASSERT_EQ(1u, bucket(0).m_sampleAttributeKeys.size());
    EXPECT_EQ(Index(-1), bucket(0).m_sampleAttributeKeys.begin()->first.callsite);
}

TEST_F(CacheReload, AnAddressThatIsNoIntegerReadsAsZeroAndEveryIntegerKindIsTaken)
{
    stacksOff();
    db->query->rows = {row{{"rowid", key(1)},
                           {"ip", variant_t("text")},
                           {"callsite.code_loc.rva", variant_t(1.5)}},
                       row{{"rowid", key(2)},
                           {"ip", variant_t(std::int64_t{-1})},
                           {"callsite.code_loc.rva", variant_t(std::uint32_t{9})}}};
    open();
    ASSERT_EQ(2u, bucket(255).m_sampleAttributeKeys.size());
    const auto first = bucket(255).m_sampleAttributeKeys.begin();
    EXPECT_EQ(0u, first->first.ip);
    EXPECT_EQ(0u, first->first.code_loc.rva);
    EXPECT_EQ(0xFFFFFFFFFFFFFFFF, std::next(first)->first.ip);
    EXPECT_EQ(9u, std::next(first)->first.code_loc.rva);
}

TEST_F(CacheReload, ARowWithoutARowidIsCachedWithKeyMinusOne)
{
    db->query->rows = {row{{"event_type", key(2)}}};
    open();
    ASSERT_EQ(1u, cached());
    EXPECT_EQ(Index(-1), bucket(0).m_sampleAttributeKeys.begin()->second);
}

TEST_F(CacheReload, ASecondInitKeepsTheBucketsAndTheFirstKeys)
{
    db->query->rows = {row{{"rowid", key(31)}, {"event_type", key(2)}}};
    open();
    const auto* const entry = &*bucket(0).m_sampleAttributeKeys.begin();
    db->query = tb2::make_counted<FakeQuery>(log);
    db->query->rows = {row{{"rowid", key(99)}, {"event_type", key(2)}},
                       row{{"rowid", key(100)}, {"event_type", key(3)}}};
    context.initAttributeCaches(256);
    EXPECT_TRUE(log->startingWith("db.getAttributeTable").empty()) << "init does nothing";
    EXPECT_EQ(2u, cached());
    EXPECT_EQ(entry, &*bucket(0).m_sampleAttributeKeys.begin());
    EXPECT_EQ(Index(31), entry->second);
}

TEST_F(CacheReload, AnAttributeMetAgainReusesItsRowWithStacksOn)
{
    db->query->rows = {
        row{{"rowid", key(31)}, {"event_type", key(2)}, {"callsite", key(7)}, {"ip", address(0)}}};
    open();
    auto* const known = add(attribute(2, 7));
    auto* const other = add(attribute(3, 7));
    passAndFlush();
    EXPECT_EQ(Index(31), *known->sample_key);
    EXPECT_EQ(Index(7), samplefold_1::effectiveCallsite(*known));
    EXPECT_EQ(Index(1), *other->sample_key) << "the only row that is new";
    EXPECT_EQ(1u, db->table("dd_sample").rows.size());
}

TEST_F(CacheReload, AnAttributeMetAgainReusesItsRowsWithStacksOff)
{
    stacksOff();
    db->query->rows = {row{{"rowid", key(31)},
                           {"event_type", key(2)},
                           {"callsite", key(41)},
                           {"callsite.code_loc.rva", address(1000)},
                           {"callsite.code_loc.mod_seg", key(5)},
                           {"ip", address(0)}}};
    open();
    auto* const known = add(located(2, 5, 1000));
    auto* const otherEvent = add(located(3, 5, 1000));
    passAndFlush();
    EXPECT_EQ(Index(31), *known->sample_key);
    EXPECT_EQ(Index(41), *known->code_loc.callsite_key);
    EXPECT_EQ(Index(1), *otherEvent->sample_key);
    EXPECT_EQ("s32:41", show(db->table("dd_sample").at(1, 4))) << "of the location's own row";
    EXPECT_TRUE(db->table("dd_callsite").rows.empty());
    EXPECT_TRUE(db->table("dd_code_location").rows.empty());
}

TEST_F(CacheReload, TheLoadedBucketEqualsTheOneOfTheAttribute)
{
    for (const std::int32_t callsite : {-1, 0, 254, 255, 256, 2147483647, -2, -2147483647 - 1}) {
        db->query->rows = {row{{"rowid", key(1)}, {"callsite", key(callsite)}}};
        TestContext fresh;
        fresh.setDb(db);
        fresh.initAttributeCaches(256);
        const auto expected = samplefold_1::attributeBucket(attribute(-1, callsite), true);
        EXPECT_EQ(1u, fresh.m_threadContexts[expected].m_sampleAttributeKeys.size()) << callsite;
        db->query = tb2::make_counted<FakeQuery>(log);
    }
}

} // namespace
} // namespace samplefold_test
