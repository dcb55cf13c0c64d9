#include "support/context_fixture.h"

namespace samplefold_test {
namespace {

using samplefold_1::PerThreadContext;

class BucketTest : public ContextTest {
protected:
    /// Lists a code location as new, as the bucket pass does.
    Index* listLocation(std::int32_t modSeg, std::uint64_t rva)
    {
        auto& entry = *bucket.m_codeLocations.try_emplace({Index(modSeg), rva, nullptr}).first;
        bucket.m_codeLocationsToAdd.push_back(&entry);
        return &entry.second;
    }
    Index* listAttribute(const pmu_sample_attribute_t& attr)
    {
        auto& entry = *bucket.m_sampleAttributeKeys.try_emplace(attr).first;
        bucket.m_sampleAttributesToAdd.push_back(&entry);
        return &entry.second;
    }
    void init(bool linkCallsiteParents = false)
    {
        bucket.init(db, linkCallsiteParents);
        log->take();
    }

    PerThreadContext bucket;
};

TEST_F(BucketTest, ANewBucketIsEmptyAndUninitialized)
{
    EXPECT_TRUE(bucket.m_attributeNumbers.empty());
    EXPECT_TRUE(bucket.m_codeLocations.empty());
    EXPECT_TRUE(bucket.m_sampleAttributeKeys.empty());
    EXPECT_TRUE(bucket.m_codeLocationsToAdd.empty());
    EXPECT_TRUE(bucket.m_sampleAttributesToAdd.empty());
    EXPECT_TRUE(bucket.m_ddSampleTable.is_null());
    EXPECT_TRUE(bucket.m_ddCodeLocationTable.is_null());
    EXPECT_TRUE(bucket.m_ddCallsiteTable.is_null());
    EXPECT_TRUE(bucket.m_sampleRecord.isNull());
    EXPECT_FALSE(bucket.m_initialized);
}

TEST_F(BucketTest, InitOpensTheThreeTablesInOrderEachWithItsRecord)
{
    bucket.init(db, true);
    EXPECT_EQ(
        (lines_t{"db.getAttributeTable dd_sample", "dd_sample.createOrphanRecord",
                 "db.getAttributeTable dd_code_location", "dd_code_location.createOrphanRecord",
                 "db.getAttributeTable dd_callsite", "dd_callsite.createOrphanRecord"}),
        log->take());
    EXPECT_TRUE(bucket.m_initialized);
    EXPECT_TRUE(bucket.m_linkCallsiteParents);
}

TEST_F(BucketTest, InitCalledTwiceKeepsTheFirstFlagAndTheFirstHandles)
{
    bucket.init(db, true);
    log->take();
    const auto other = tb2::make_counted<FakeDatabase>(log);
    bucket.init(other, false);
    EXPECT_EQ(lines_t{}, log->take());
    EXPECT_TRUE(bucket.m_linkCallsiteParents);
    EXPECT_EQ(&db->table("dd_sample"), bucket.m_ddSampleTable.get());
    EXPECT_EQ(&db->table("dd_callsite"), bucket.m_ddCallsiteTable.get());
    EXPECT_EQ(&db->table("dd_code_location"), bucket.m_ddCodeLocationTable.get());
}

TEST_F(BucketTest, ACopyOfABucketIsInitializedWithTheSameHandlesAndHoldsTheSameNumbers)
{
    bucket.init(db, true);
    bucket.m_attributeNumbers = {1, 2};
    const PerThreadContext copy(bucket);
    EXPECT_TRUE(copy.m_initialized && copy.m_linkCallsiteParents);
    EXPECT_EQ(bucket.m_ddSampleTable.get(), copy.m_ddSampleTable.get());
    EXPECT_EQ(bucket.m_sampleRecord.handle().get(), copy.m_sampleRecord.handle().get());
    EXPECT_EQ(bucket.m_attributeNumbers, copy.m_attributeNumbers);
}

TEST_F(BucketTest, EachMissingTableFiresItsNameAndInitGoesOn)
{
    db->missingTables = {"dd_sample", "dd_code_location", "dd_callsite"};
    bucket.init(db, true);
    EXPECT_EQ((lines_t{"m_ddSampleTable", "m_ddCodeLocationTable", "m_ddCallsiteTable"}),
              assertions.take());
    EXPECT_TRUE(bucket.m_initialized);
}

TEST_F(BucketTest, CachingWithStacksOnLeavesTheCallsitePointerAndDropsTheCallsiteKey)
{
    Index elsewhere(4);
    pmu_sample_attribute_t attr = attribute(1, 20);
    attr.code_loc.callsite_key = &elsewhere;
    bucket.cacheSampleAttribute(attr, true, 31, 99);
    EXPECT_EQ(&elsewhere, attr.code_loc.callsite_key);
    EXPECT_EQ(Index(4), elsewhere);
    EXPECT_TRUE(bucket.m_codeLocations.empty());
    ASSERT_EQ(1u, bucket.m_sampleAttributeKeys.size());
    EXPECT_EQ(Index(31), bucket.m_sampleAttributeKeys.begin()->second);
    EXPECT_EQ(&bucket.m_sampleAttributeKeys.begin()->second, attr.sample_key);

    pmu_sample_attribute_t bare = attribute(2, 20);
    bucket.cacheSampleAttribute(bare, true, 32, 99);
    EXPECT_EQ(nullptr, bare.code_loc.callsite_key);
}

TEST_F(BucketTest, CachedRowsAreInTheMapsWithTheirKeysAndNeverOnTheLists)
{
    pmu_sample_attribute_t attr = located(1, 2, 300);
    bucket.cacheSampleAttribute(attr, false, 31, 41);
    ASSERT_EQ(1u, bucket.m_codeLocations.size());
    EXPECT_EQ(Index(41), bucket.m_codeLocations.begin()->second);
    EXPECT_EQ(&bucket.m_codeLocations.begin()->second, attr.code_loc.callsite_key);
    const auto& stored = *bucket.m_sampleAttributeKeys.begin();
    EXPECT_EQ(attr.code_loc.callsite_key, stored.first.code_loc.callsite_key);
    EXPECT_EQ(Index(31), *attr.sample_key);
    EXPECT_TRUE(bucket.m_codeLocationsToAdd.empty());
    EXPECT_TRUE(bucket.m_sampleAttributesToAdd.empty());
}

TEST_F(BucketTest, WhatIsCachedAlreadyKeepsItsFirstKeys)
{
    pmu_sample_attribute_t first = located(1, 2, 300);
    bucket.cacheSampleAttribute(first, false, 31, 41);
    pmu_sample_attribute_t again = located(1, 2, 300);
    bucket.cacheSampleAttribute(again, false, 32, 42);
    EXPECT_EQ(first.sample_key, again.sample_key);
    EXPECT_EQ(first.code_loc.callsite_key, again.code_loc.callsite_key);
    EXPECT_EQ(Index(31), *again.sample_key);
    EXPECT_EQ(Index(41), *again.code_loc.callsite_key);

    pmu_sample_attribute_t otherEvent = located(9, 2, 300);
    bucket.cacheSampleAttribute(otherEvent, false, 33, 43);
    EXPECT_EQ(Index(33), *otherEvent.sample_key);
    EXPECT_EQ(Index(41), *otherEvent.code_loc.callsite_key) << "one location, one callsite row";
}

TEST_F(BucketTest, AFlushWithEmptyListsWritesNothingAndEmptiesTheNumbers)
{
    init();
    bucket.m_attributeNumbers = {1, 2, 3};
    bucket.flush(db);
    EXPECT_EQ(lines_t{}, log->take());
    EXPECT_TRUE(bucket.m_attributeNumbers.empty());
}

TEST_F(BucketTest, FlushWritesLocationsThenAttributesColumnByColumnInOrder)
{
    init();
    db->table("dd_callsite").firstKey = 70;
    Index* const callsite = listLocation(6, 0x1234);
    pmu_sample_attribute_t attr = located(10, 6, 0x1234);
    attr.cpu = Index(11);
    attr.cpu_state = Index(12);
    attr.seg_inst = Index(13);
    attr.mem_access = Index(14);
    attr.htm_info = Index(15);
    attr.lbr_head = Index(16);
    attr.thread_state = Index(17);
    attr.cpu_mode = Index(18);
    attr.ip = 0xFFFFFFFF81000000;
    attr.callsite = Index(999);
    attr.code_loc.callsite_key = callsite;
    Index* const key = listAttribute(attr);
    bucket.flush(db);
    EXPECT_EQ((lines_t{"dd_code_location[0]=u64:4660", "dd_code_location[14]=u64:4660",
                       "dd_code_location[1]=s32:6", "dd_code_location.commit(0,1)->1",
                       "dd_callsite[1]=s32:1", "dd_callsite[5]=s32:3",
                       "dd_callsite.commit(0,1)->70", "dd_sample[0]=s32:10", "dd_sample[1]=s32:11",
                       "dd_sample[2]=u64:18446744071578845184", "dd_sample[3]=s32:12",
                       "dd_sample[4]=s32:70", "dd_sample[5]=s32:13", "dd_sample[6]=s32:14",
                       "dd_sample[10]=s32:15", "dd_sample[9]=s32:16", "dd_sample[11]=s32:18",
                       "dd_sample[7]=s32:17", "dd_sample.commit(0,1)->1"}),
              log->take());
    EXPECT_EQ(Index(70), *callsite);
    EXPECT_EQ(Index(1), *key);
}

TEST_F(BucketTest, AbsentPropertiesAreWrittenAsNullAndTheAddressNeverIs)
{
    init(true);
    Index none;
    pmu_sample_attribute_t attr;
    attr.code_loc.callsite_key = &none;
    listAttribute(attr);
    bucket.flush(db);
    EXPECT_EQ((lines_t{"dd_sample[0]=null", "dd_sample[1]=null", "dd_sample[2]=u64:0",
                       "dd_sample[3]=null", "dd_sample[4]=null", "dd_sample[5]=null",
                       "dd_sample[6]=null", "dd_sample[10]=null", "dd_sample[9]=null",
                       "dd_sample[11]=null", "dd_sample[7]=null", "dd_sample.commit(0,1)->1"}),
              log->take());
}

TEST_F(BucketTest, ALocationWithoutAModuleStoresANullSegmentAndStillGetsACallsite)
{
    init();
    Index* const callsite = listLocation(-1, 510);
    bucket.flush(db);
    EXPECT_EQ(
        (lines_t{"dd_code_location[0]=u64:510", "dd_code_location[14]=u64:510",
                 "dd_code_location[1]=null", "dd_code_location.commit(0,1)->1",
                 "dd_callsite[1]=s32:1", "dd_callsite[5]=s32:3", "dd_callsite.commit(0,1)->1"}),
        log->take());
    EXPECT_EQ(Index(1), *callsite);
}

TEST_F(BucketTest, FlushKeepsTheListsOrderTheMapsAndTheMemoryAndEmptiesTheLists)
{
    init();
    Index* const later = listLocation(1, 900);
    Index* const earlier = listLocation(1, 100);
    bucket.m_attributeNumbers = {1, 2, 3};
    bucket.flush(db);
    EXPECT_EQ(Index(1), *later) << "list order, not map order";
    EXPECT_EQ(Index(2), *earlier);
    EXPECT_TRUE(bucket.m_attributeNumbers.empty());
    EXPECT_TRUE(bucket.m_codeLocationsToAdd.empty());
    EXPECT_TRUE(bucket.m_sampleAttributesToAdd.empty());
    EXPECT_LE(3u, bucket.m_attributeNumbers.capacity());
    EXPECT_LE(2u, bucket.m_codeLocationsToAdd.capacity());
    EXPECT_EQ(2u, bucket.m_codeLocations.size());
    log->take();
    bucket.flush(db);
    EXPECT_EQ(lines_t{}, log->take()) << "nothing is written twice";
}

TEST_F(BucketTest, ALocationRefusedFirstFiresAndItsCallsiteRefersToNoLocation)
{
    init();
    db->table("dd_code_location").refusedCommits = {1};
    listLocation(1, 100);
    bucket.flush(db);
    EXPECT_EQ(lines_t{"clIndex.exist()"}, assertions.take());
    EXPECT_EQ("s32:-1", show(db->table("dd_callsite").at(1, 1)));
}

TEST_F(BucketTest, ALocationRefusedLaterIsSilentAndItsCallsiteRefersToTheLocationBefore)
{
    init();
    db->table("dd_code_location").refusedCommits = {2};
    listLocation(1, 100);
    listLocation(1, 200);
    listLocation(1, 300);
    bucket.flush(db);
    EXPECT_EQ(lines_t{}, assertions.take());
    EXPECT_EQ("s32:1", show(db->table("dd_callsite").at(1, 1)));
    EXPECT_EQ("s32:1", show(db->table("dd_callsite").at(2, 1)));
    EXPECT_EQ("s32:2", show(db->table("dd_callsite").at(3, 1)));
}

TEST_F(BucketTest, ARefusedCallsiteFiresAndTheSampleIsWrittenWithoutOne)
{
    init();
    db->table("dd_callsite").refusedCommits = {1};
    pmu_sample_attribute_t attr = located(1, 2, 100);
    attr.code_loc.callsite_key = listLocation(2, 100);
    listAttribute(attr);
    bucket.flush(db);
    EXPECT_EQ(lines_t{"(*csclIt)->second.exist()"}, assertions.take());
    EXPECT_EQ("null", show(db->table("dd_sample").at(1, 4)));
}

TEST_F(BucketTest, ARefusedSampleFiresLeavesMinusOneAndTheLoopGoesOn)
{
    init(true);
    db->table("dd_sample").refusedCommits = {1};
    Index callsite(5);
    pmu_sample_attribute_t attr = attribute(1, 5);
    attr.code_loc.callsite_key = &callsite;
    Index* const refused = listAttribute(attr);
    attr.event_type = Index(2);
    Index* const taken = listAttribute(attr);
    bucket.flush(db);
    EXPECT_EQ(lines_t{"(*saIt)->second.exist()"}, assertions.take());
    EXPECT_EQ(Index(-1), *refused);
    EXPECT_EQ(Index(1), *taken);
}

TEST_F(BucketTest, FlushFiresForAMissingSampleTableEvenWithNothingToWrite)
{
    bucket.flush(db);
    EXPECT_EQ(lines_t{"m_ddSampleTable"}, assertions.take());
}

TEST_F(BucketTest, FlushWithoutTheTablesOfALocationFiresTheirCheckOnceAndGoesOn)
{
    db->missingTables = {"dd_callsite"};
    bucket.init(db, false);
    EXPECT_EQ(lines_t{"m_ddCallsiteTable"}, assertions.take());
    bucket.flush(db);
    EXPECT_EQ(lines_t{}, assertions.take()) << "without a location the tables are not asked for";
    listLocation(1, 100);
    bucket.flush(db);
    const lines_t fired = assertions.take();
    ASSERT_FALSE(fired.empty());
    EXPECT_EQ("m_codeLocationsToAdd.empty() || m_ddCodeLocationTable && m_ddCallsiteTable",
              fired[0]);
    EXPECT_EQ(1, std::count(fired.begin(), fired.end(), fired[0]));
    EXPECT_EQ(1u, db->table("dd_code_location").rows.size()) << "the location itself is written";
    EXPECT_TRUE(bucket.m_codeLocationsToAdd.empty());
}

TEST_F(BucketTest, FlushWithoutTheTableOfTheLocationsThemselvesFiresTheSameCheck)
{
    db->missingTables = {"dd_code_location"};
    bucket.init(db, false);
    EXPECT_EQ(lines_t{"m_ddCodeLocationTable"}, assertions.take());
    listLocation(1, 100);
    bucket.flush(db);
    const lines_t fired = assertions.take();
    ASSERT_FALSE(fired.empty());
    EXPECT_EQ("m_codeLocationsToAdd.empty() || m_ddCodeLocationTable && m_ddCallsiteTable",
              fired[0]);
    EXPECT_EQ(1u, db->table("dd_callsite").rows.size()) << "the callsite is written all the same";
}

} // namespace
} // namespace samplefold_test
