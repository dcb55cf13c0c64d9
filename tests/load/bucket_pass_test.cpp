#include "support/context_fixture.h"

#include <set>

namespace samplefold_test {
namespace {

using samplefold_1::effectiveCallsite;
using samplefold_1::PerThreadContext;

class BucketPass : public ContextTest {
protected:
    void open(bool linkCallsiteParents)
    {
        context.m_linkCallsiteParents = linkCallsiteParents;
        ContextTest::open();
    }
    PerThreadContext& bucket(std::size_t n) { return context.m_threadContexts[n]; }
};

TEST_F(BucketPass, WithStacksOffANewLocationIsListedOnceWithoutAKey)
{
    open(false);
    auto* const first = add(located(1, 5, 1000));
    auto* const second = add(located(2, 5, 1000));
    auto* const again = add(located(1, 5, 1000));
    context.bucketPass();
    PerThreadContext& one = bucket(235);
    ASSERT_EQ(1u, one.m_codeLocationsToAdd.size());
    EXPECT_EQ(Index(-1), one.m_codeLocationsToAdd[0]->second);
    for (auto* const attr : {first, second, again}) {
        EXPECT_EQ(&one.m_codeLocationsToAdd[0]->second, attr->code_loc.callsite_key);
    }
    ASSERT_EQ(2u, one.m_sampleAttributesToAdd.size());
    EXPECT_EQ(&one.m_sampleAttributesToAdd[0]->second, first->sample_key);
    EXPECT_EQ(&one.m_sampleAttributesToAdd[1]->second, second->sample_key);
    EXPECT_EQ(first->sample_key, again->sample_key);
    EXPECT_EQ(Index(-1), *first->sample_key);
}

TEST_F(BucketPass, ListsKeepTheOrderOfArrivalAndTheNumbersStayUntilTheFlush)
{
    open(false);
    for (const std::uint64_t rva : {2550, 255, 1275})
        add(located(1, 5, rva));
    context.bucketPass();
    ASSERT_EQ(3u, bucket(0).m_codeLocationsToAdd.size());
    EXPECT_EQ(2550u, bucket(0).m_codeLocationsToAdd[0]->first.rva);
    EXPECT_EQ(255u, bucket(0).m_codeLocationsToAdd[1]->first.rva);
    EXPECT_EQ(1275u, bucket(0).m_codeLocationsToAdd[2]->first.rva);
    EXPECT_EQ(3u, bucket(0).m_sampleAttributesToAdd.size());
    EXPECT_EQ(2550u, bucket(0).m_sampleAttributesToAdd[0]->first.code_loc.rva);
    EXPECT_EQ(3u, bucket(0).m_attributeNumbers.size());
}

TEST_F(BucketPass, WithStacksOnTheCallsiteIsKeptInTheAttributesOwnEntry)
{
    open(true);
    auto* const attr = add(attribute(1, 7));
    auto* const again = add(attribute(1, 7));
    context.bucketPass();
    ASSERT_EQ(1u, bucket(7).m_sampleAttributeKeys.size());
    const pmu_sample_attribute_t& stored = bucket(7).m_sampleAttributeKeys.begin()->first;
    EXPECT_EQ(&stored.callsite, stored.code_loc.callsite_key);
    EXPECT_EQ(&stored.callsite, attr->code_loc.callsite_key);
    EXPECT_EQ(&stored.callsite, again->code_loc.callsite_key);
    EXPECT_EQ(Index(7), effectiveCallsite(*attr));
    EXPECT_TRUE(bucket(7).m_codeLocations.empty());
    EXPECT_EQ(1u, bucket(7).m_sampleAttributesToAdd.size());
}

TEST_F(BucketPass, WithStacksOnAnAttributeWithoutACallsiteIsWrittenWithANullOne)
{
    open(true);
    auto* const attr = add(attribute(1));
    passAndFlush();
    EXPECT_EQ("null", show(db->table("dd_sample").at(1, 4)));
    EXPECT_EQ(Index(-1), effectiveCallsite(*attr));
    EXPECT_EQ(Index(1), *attr->sample_key);
}

TEST_F(BucketPass, AnAttributeMetInALaterBatchReusesItsRowAndIsNotListed)
{
    for (const bool linkCallsiteParents : {false, true}) {
        TestContext fresh;
        fresh.m_linkCallsiteParents = linkCallsiteParents;
        fresh.m_instanceContainer = container;
        fresh.setDb(db);
        fresh.initAttributeCaches(256);
        pmu_sample_attribute_t attr = located(1, 5, 255);
        attr.callsite = Index(linkCallsiteParents ? 510 : -1);
        const auto* const first = fresh.addpmuSampleAttribute(attr);
        fresh.bucketPass();
        fresh.flushData();
        const auto* const later = fresh.addpmuSampleAttribute(attr);
        fresh.bucketPass();
        EXPECT_TRUE(fresh.m_threadContexts[0].m_sampleAttributesToAdd.empty());
        EXPECT_TRUE(fresh.m_threadContexts[0].m_codeLocationsToAdd.empty());
        EXPECT_EQ(first->sample_key, later->sample_key);
        EXPECT_TRUE(later->sample_key->exist());
        db->query = tb2::make_counted<FakeQuery>(log);
    }
}

TEST_F(BucketPass, WithStacksOnAReloadedEntryGetsItsOwnCallsitePointerWhenItIsMet)
{
    db->query->rows = {FakeQuery::named_row_t{{"rowid", tb2::variant_t(std::int32_t{31})},
                                              {"callsite", tb2::variant_t(std::int32_t{7})},
                                              {"ip", tb2::variant_t(std::uint64_t{0})}}};
    open(true);
    auto* const attr = add(attribute(-1, 7));
    context.bucketPass();
    const pmu_sample_attribute_t& stored = bucket(7).m_sampleAttributeKeys.begin()->first;
    EXPECT_EQ(&stored.callsite, attr->code_loc.callsite_key);
    EXPECT_EQ(&stored.callsite, stored.code_loc.callsite_key);
    EXPECT_EQ(Index(31), *attr->sample_key);
    EXPECT_TRUE(bucket(7).m_sampleAttributesToAdd.empty());
}

/// Loads one sample stream in batches, with the arrays emptied after each, and writes over the
/// emptied arrays, so that a pointer into them would show.
class BucketPassRepacked : public BucketPass, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(StacksOffAndOn, BucketPassRepacked, testing::Bool(),
                         [](const auto& one) { return one.param ? "StacksOn" : "StacksOff"; });

TEST_P(BucketPassRepacked, PointersStayValidAfterTheArraysAreEmptiedAndWrittenOver)
{
    context.emptying = true;
    open(GetParam());
    ThreadInfo thread(&context, Index(100), 1, true, Index(200));
    context.threads = {&thread};
    const auto kind = [](int i) {
        pmu_sample_attribute_t attr =
            GetParam() ? attribute(i, i * 3) : located(i, 1, static_cast<std::uint64_t>(i) * 3);
        attr.ip = static_cast<std::uint64_t>(i);
        return attr;
    };
    for (int batch = 0; batch < 5; ++batch) {
        for (int i = 0; i < 40; ++i) {
            const int step = batch * 40 + i;
            sample(thread, static_cast<std::uint64_t>(1000 + step), add(kind((step * 7) % 60)),
                   step);
        }
        passAndFlush();
    }
    passAndFlush();
    thread.finish(1);
    EXPECT_EQ(60u, db->table("dd_sample").rows.size()) << "one row per distinct attribute";
    ASSERT_EQ(200u, container->rows.size());
    for (int step = 0; step < 200; ++step) {
        const auto& row = container->rows[static_cast<std::size_t>(step)];
        const int expected = (step * 7) % 60;
        ASSERT_EQ(expected, row.keys[2]) << "event type of step " << step;
        ASSERT_EQ("s32:" + std::to_string(expected),
                  show(db->table("dd_sample").at(*row.keys[0], 0)));
        ASSERT_EQ(show(tb2::variant_t(*row.keys[1])),
                  show(db->table("dd_sample").at(*row.keys[0], 4)));
        if (GetParam()) {
            ASSERT_EQ(expected * 3, row.keys[1]);
        }
    }
}

TEST_P(BucketPassRepacked, TheParallelLoopGivesWhatOneBucketAfterTheOtherGives)
{
    open(GetParam());
    TestContext serial;
    serial.m_linkCallsiteParents = GetParam();
    serial.setDb(db);
    serial.initAttributeCaches(256);
    std::uint32_t random = 1;
    for (int i = 0; i < 20000; ++i) {
        random = random * 1664525 + 1013904223;
        const auto place = static_cast<std::int32_t>(random >> 16) % 3000;
        pmu_sample_attribute_t attr =
            GetParam() ? attribute(i % 3, place) : located(i % 3, place % 11 - 1, random >> 20);
        attr.ip = random >> 24;
        context.addpmuSampleAttribute(attr);
        serial.addpmuSampleAttribute(attr);
    }
    context.bucketPass();
    for (auto& one : serial.m_threadContexts) {
        samplefold::load::AttributeIndex index;
        samplefold::load::sortIntoBucket(one, serial.m_sampleAttributes, GetParam(), index);
    }
    const samplefold_1::CompareSamples less;
    for (std::size_t i = 0; i < 256; ++i) {
        const PerThreadContext& a = bucket(i);
        const PerThreadContext& b = serial.m_threadContexts[i];
        ASSERT_EQ(b.m_codeLocationsToAdd.size(), a.m_codeLocationsToAdd.size());
        ASSERT_EQ(b.m_sampleAttributesToAdd.size(), a.m_sampleAttributesToAdd.size());
        for (std::size_t n = 0; n < a.m_sampleAttributesToAdd.size(); ++n) {
            ASSERT_FALSE(
                less(a.m_sampleAttributesToAdd[n]->first, b.m_sampleAttributesToAdd[n]->first));
            ASSERT_FALSE(
                less(b.m_sampleAttributesToAdd[n]->first, a.m_sampleAttributesToAdd[n]->first));
        }
    }
    for (std::size_t i = 0; i < 20000; ++i) {
        const pmu_sample_attribute_t& attr = context.m_sampleAttributes[i];
        const auto& home = bucket(samplefold_1::attributeBucket(attr, GetParam()));
        const auto found = home.m_sampleAttributeKeys.find(attr);
        ASSERT_NE(home.m_sampleAttributeKeys.end(), found);
        ASSERT_EQ(&found->second, attr.sample_key);
    }
}

} // namespace
} // namespace samplefold_test
