#include <load/attribute_index.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using samplefold::load::AttributeIndex;
using samplefold_1::Index;
using samplefold_1::pmu_sample_attribute_t;
using entry_ptr_t = std::unique_ptr<AttributeIndex::entry_t>;

entry_ptr_t entryOf(const pmu_sample_attribute_t& attr)
{
    return std::make_unique<AttributeIndex::entry_t>(attr, Index());
}

TEST(AttributeIndex, AnEmptyOneFindsNothing)
{
    const AttributeIndex index;
    EXPECT_EQ(nullptr, index.find({}, 0));
}

TEST(AttributeIndex, EntriesAreFoundAfterManyGrowths)
{
    AttributeIndex index;
    std::vector<entry_ptr_t> entries;
    for (std::uint64_t i = 0; i < 5000; ++i) {
        pmu_sample_attribute_t attr;
        attr.ip = i * 64;
        entries.push_back(entryOf(attr));
        ASSERT_EQ(nullptr, index.find(attr, AttributeIndex::hashOf(attr)));
        index.insert(*entries.back(), AttributeIndex::hashOf(attr));
    }
    for (const entry_ptr_t& entry : entries) {
        ASSERT_EQ(entry.get(), index.find(entry->first, AttributeIndex::hashOf(entry->first)));
    }
}

TEST(AttributeIndex, AttributesOfOneHashAreToldApartByEachOfTheThirteenFields)
{
    std::vector<pmu_sample_attribute_t> variants(14);
    variants[1].ip = 1;
    variants[2].code_loc.mod_seg = Index(1);
    variants[3].code_loc.rva = 1;
    variants[4].callsite = Index(1);
    variants[5].event_type = Index(1);
    variants[6].cpu = Index(1);
    variants[7].cpu_state = Index(1);
    variants[8].seg_inst = Index(1);
    variants[9].mem_access = Index(1);
    variants[10].htm_info = Index(1);
    variants[11].lbr_head = Index(1);
    variants[12].thread_state = Index(1);
    variants[13].cpu_mode = Index(1);
    constexpr std::uint64_t oneHash = 63; // the last slot of the first table: the search wraps
    AttributeIndex index;
    std::vector<entry_ptr_t> entries;
    for (const pmu_sample_attribute_t& attr : variants) {
        ASSERT_EQ(nullptr, index.find(attr, oneHash));
        entries.push_back(entryOf(attr));
        index.insert(*entries.back(), oneHash);
    }
    for (std::size_t i = 0; i < variants.size(); ++i) {
        EXPECT_EQ(entries[i].get(), index.find(variants[i], oneHash)) << "variant " << i;
        for (std::size_t k = 0; k < i; ++k) {
            EXPECT_NE(AttributeIndex::hashOf(variants[i]), AttributeIndex::hashOf(variants[k]));
        }
    }
}

TEST(AttributeIndex, ThePointersPlayNoPart)
{
    Index key(1);
    pmu_sample_attribute_t attr;
    const entry_ptr_t entry = entryOf(attr);
    AttributeIndex index;
    index.insert(*entry, AttributeIndex::hashOf(attr));
    attr.sample_key = &key;
    attr.code_loc.callsite_key = &key;
    EXPECT_EQ(entry.get(), index.find(attr, AttributeIndex::hashOf(attr)));
}

} // namespace
