#include <samplefold_1/sample_records.h>

#include <gtest/gtest.h>

#include <functional>

namespace {

using namespace samplefold_1;

code_location_t location(std::int32_t modSeg, std::uint64_t rva)
{
    return {Index(modSeg), rva, nullptr};
}

TEST(SampleRecords, ADefaultAttributeHasNoKeysNoAddressesAndNoPointers)
{
    const pmu_sample_attribute_t attr;
    for (const Index key :
         {attr.event_type, attr.cpu, attr.cpu_state, attr.seg_inst, attr.mem_access, attr.htm_info,
          attr.lbr_head, attr.thread_state, attr.cpu_mode, attr.code_loc.mod_seg, attr.callsite}) {
        EXPECT_EQ(-1, key.value());
    }
    EXPECT_EQ(0u, attr.ip);
    EXPECT_EQ(nullptr, attr.sample_key);
    EXPECT_EQ(0u, attr.code_loc.rva);
    EXPECT_EQ(nullptr, attr.code_loc.callsite_key);
}

TEST(SampleRecords, ADefaultIntervalIsAllZero)
{
    const pmu_data_t data;
    EXPECT_EQ(nullptr, data.next);
    EXPECT_EQ(nullptr, data.attr);
    EXPECT_EQ(nullptr, data.thread);
    EXPECT_EQ(0u, data.start_tsc);
    EXPECT_EQ(0u, data.end_tsc);
    EXPECT_EQ(0u, data.reserved_value);
    EXPECT_EQ(0, data.count);
    EXPECT_EQ(0.0, data.rate);
}

TEST(EffectiveCallsite, IsTheFieldWithoutAPointerAndWhatThePointerNamesOtherwise)
{
    pmu_sample_attribute_t attr;
    attr.callsite = Index(7);
    EXPECT_EQ(Index(7), effectiveCallsite(attr));
    Index kept(9);
    attr.code_loc.callsite_key = &kept;
    EXPECT_EQ(Index(9), effectiveCallsite(attr));
    kept = Index(-1);
    EXPECT_EQ(Index(-1), effectiveCallsite(attr)) << "a key of -1 is not replaced by the field";
}

TEST(AttributeBucket, AStacksOnAttributeWithoutACallsiteIsInBucketZero)
{
    EXPECT_EQ(0u, attributeBucket({}, true));
}

TEST(AttributeBucket, WithStacksOnIsTheCallsiteKeyModulo255)
{
    pmu_sample_attribute_t attr;
    attr.callsite = Index(254);
    EXPECT_EQ(254u, attributeBucket(attr, true));
    attr.callsite = Index(255);
    EXPECT_EQ(0u, attributeBucket(attr, true));
    attr.callsite = Index(1000);
    EXPECT_EQ(235u, attributeBucket(attr, true));
    attr.callsite = Index(-2);
    EXPECT_EQ(254u, attributeBucket(attr, true))
        << "2^64 - 2 leaves 254, as 2^64 - 1 is 0 modulo 255";
    Index kept(3);
    attr.code_loc.callsite_key = &kept;
    EXPECT_EQ(3u, attributeBucket(attr, true)) << "the callsite is read through the pointer";
}

TEST(AttributeBucket, WithStacksOffAnAddressWithoutAModuleIsIn255AndTheSameWithAModuleIn0)
{
    pmu_sample_attribute_t attr;
    attr.code_loc = location(-1, 510);
    EXPECT_EQ(255u, attributeBucket(attr, false));
    attr.code_loc = location(3, 510);
    EXPECT_EQ(0u, attributeBucket(attr, false));
    attr.code_loc = location(3, 509);
    EXPECT_EQ(254u, attributeBucket(attr, false));
    attr.code_loc = location(3, 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(0u, attributeBucket(attr, false));
    attr.callsite = Index(77);
    EXPECT_EQ(0u, attributeBucket(attr, false)) << "the callsite plays no part";
}

TEST(CompareSamples, AttributesThatDifferOnlyInTheirPointersAreEqual)
{
    const CompareSamples less;
    pmu_sample_attribute_t a;
    pmu_sample_attribute_t b;
    Index key(5);
    b.sample_key = &key;
    EXPECT_FALSE(less(a, b));
    EXPECT_FALSE(less(b, a));
    b.code_loc.callsite_key = &key;
    EXPECT_FALSE(less(a, b));
    EXPECT_FALSE(less(b, a));
}

/// The thirteen fields in the order in which they decide; each sets one field to a low or a high
/// value.
const std::function<void(pmu_sample_attribute_t&, bool)> g_fields[] = {
    [](pmu_sample_attribute_t& a, bool high) { a.ip = high ? 0x8000000000000000 : 1; },
    [](pmu_sample_attribute_t& a, bool high) { a.code_loc.mod_seg = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.code_loc.rva = high ? 0x8000000000000000 : 1; },
    [](pmu_sample_attribute_t& a, bool high) { a.callsite = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.event_type = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.cpu = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.cpu_state = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.seg_inst = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.mem_access = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.htm_info = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.lbr_head = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.thread_state = Index(high ? 1 : -1); },
    [](pmu_sample_attribute_t& a, bool high) { a.cpu_mode = Index(high ? 1 : -1); },
};

TEST(CompareSamples, TheFirstDifferingFieldDecidesAgainstAllLaterOnes)
{
    const CompareSamples less;
    for (std::size_t decisive = 0; decisive < std::size(g_fields); ++decisive) {
        pmu_sample_attribute_t lower;
        pmu_sample_attribute_t higher;
        g_fields[decisive](lower, false);
        g_fields[decisive](higher, true);
        for (std::size_t later = decisive + 1; later < std::size(g_fields); ++later) {
            g_fields[later](lower, true);
            g_fields[later](higher, false);
        }
        EXPECT_TRUE(less(lower, higher)) << "field " << decisive;
        EXPECT_FALSE(less(higher, lower)) << "field " << decisive;
    }
}

TEST(CompareCodeLocations, EqualAddressesOrderBySegmentAndALowerAddressComesFirstWhateverItsSegment)
{
    const CompareCodeLocations less;
    EXPECT_TRUE(less(location(1, 100), location(2, 100)));
    EXPECT_FALSE(less(location(2, 100), location(1, 100)));
    EXPECT_TRUE(less(location(9, 99), location(2, 100)));
    EXPECT_FALSE(less(location(2, 100), location(9, 99)));
    EXPECT_TRUE(less(location(0, 1), location(0, 0x8000000000000000))) << "addresses are unsigned";
    EXPECT_TRUE(less(location(-1, 5), location(0, 5))) << "segments are signed";
    Index key(1);
    EXPECT_FALSE(less({Index(1), 5, &key}, {Index(1), 5, nullptr}));
    EXPECT_FALSE(less({Index(1), 5, nullptr}, {Index(1), 5, &key}));
}

} // namespace
