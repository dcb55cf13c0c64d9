#include "load/bucket_pass.h"

#include <oneapi/tbb/parallel_for.h>

#include <algorithm>
#include <array>
#include <span>

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace samplefold::load {
namespace {

using samplefold_1::code_location_t;
using samplefold_1::Index;
using samplefold_1::PerThreadContext;
using samplefold_1::pmu_sample_attribute_t;

/// Tells the thread sanitizer that the loop's tasks come behind its start and ahead of its end,
/// which oneTBB, built without the sanitizer, sees to out of its sight. Tasks stay without an order
/// among themselves, so that two that meet in a bucket are still found. Nothing in any other build.
namespace loop_order {
#ifdef __SANITIZE_THREAD__
char g_start, g_end;
void starts()
{
    __tsan_release(&g_start);
}
void taskStarts()
{
    __tsan_acquire(&g_start);
}
void taskEnds()
{
    __tsan_release(&g_end);
}
void ends()
{
    __tsan_acquire(&g_end);
}
#else
void starts() {}
void taskStarts() {}
void taskEnds() {}
void ends() {}
#endif
} // namespace loop_order

/// Attributes of a bucket that are worked on together, so that their memory is fetched side by
/// side.
constexpr std::size_t g_group = 32;

/// Finds or inserts the code location; a new one has no callsite row yet and is listed.
Index* callsiteKeyOf(PerThreadContext& bucket, const code_location_t& location)
{
    const auto [entry, isNew] = bucket.m_codeLocations.try_emplace(location, Index());
    if (isNew) bucket.m_codeLocationsToAdd.push_back(&*entry);
    return &entry->second;
}

/// Lets the entry's attribute point at its callsite row: with call stacks off at the one of its
/// code location. With call stacks on the row is known, and it stands in the entry itself, where it
/// outlives the caller's record. The pointer is no part of the map's order, so it may be set in
/// place.
void settleCallsite(PerThreadContext& bucket, AttributeIndex::entry_t& entry,
                    bool linkCallsiteParents)
{
    auto& stored = const_cast<pmu_sample_attribute_t&>(entry.first);
    stored.code_loc.callsite_key =
        linkCallsiteParents ? &stored.callsite : callsiteKeyOf(bucket, stored.code_loc);
}

/// An attribute that this pass has not met before. It is new, or the cache holds it from elsewhere.
AttributeIndex::entry_t& meet(PerThreadContext& bucket, const pmu_sample_attribute_t& attr,
                              bool linkCallsiteParents)
{
    const auto [entry, isNew] = bucket.m_sampleAttributeKeys.try_emplace(attr, Index());
    if (isNew) bucket.m_sampleAttributesToAdd.push_back(&*entry);
    settleCallsite(bucket, *entry, linkCallsiteParents);
    return *entry;
}

class GroupSorter {
public:
    GroupSorter(PerThreadContext& bucket, AttributeArray& attributes, bool linkCallsiteParents,
                AttributeIndex& index)
        : m_bucket(bucket), m_numbers(bucket.m_attributeNumbers), m_attributes(attributes),
          m_linkCallsiteParents(linkCallsiteParents), m_index(index)
    {
    }

    void sortAll()
    {
        const std::size_t size = m_numbers.size();
        for (std::size_t i = 0; i < std::min(g_group, size); ++i)
            prefetch(i);
        for (std::size_t first = 0; first < size; first += g_group) {
            sortGroup(first, std::min(first + g_group, size));
        }
    }

private:
    void sortGroup(std::size_t first, std::size_t end)
    {
        for (std::size_t i = first; i < end; ++i) {
            m_hashes[i - first] = AttributeIndex::hashOf(attribute(i));
            m_index.prefetchSlot(m_hashes[i - first]);
        }
        for (std::size_t i = first; i < end; ++i) {
            m_index.prefetchEntry(m_hashes[i - first]);
            if (i + g_group < m_numbers.size()) prefetch(i + g_group);
        }
        for (std::size_t i = first; i < end; ++i)
            settle(attribute(i), m_hashes[i - first]);
    }

    pmu_sample_attribute_t& attribute(std::size_t i) { return m_attributes[m_numbers[i]]; }

    void prefetch(std::size_t i)
    {
        __builtin_prefetch(&attribute(i).event_type, 1);
        __builtin_prefetch(&attribute(i).callsite, 1);
    }

    void settle(pmu_sample_attribute_t& attr, std::uint64_t hash)
    {
        AttributeIndex::entry_t* entry = m_index.find(attr, hash);
        if (entry == nullptr) {
            entry = &meet(m_bucket, attr, m_linkCallsiteParents);
            m_index.insert(*entry, hash);
        }
        attr.code_loc.callsite_key = entry->first.code_loc.callsite_key;
        attr.sample_key = &entry->second;
    }

    PerThreadContext& m_bucket;
    std::span<const std::uint64_t> m_numbers;
    AttributeArray& m_attributes;
    bool m_linkCallsiteParents;
    AttributeIndex& m_index;
    std::array<std::uint64_t, g_group> m_hashes;
};

} // namespace

void sortIntoBucket(PerThreadContext& bucket, AttributeArray& attributes, bool linkCallsiteParents,
                    AttributeIndex& index)
{
    GroupSorter(bucket, attributes, linkCallsiteParents, index).sortAll();
}

void BucketPass::run(std::vector<PerThreadContext>& buckets, AttributeArray& attributes,
                     bool linkCallsiteParents)
{
    if (m_indexes.size() < buckets.size()) m_indexes.resize(buckets.size());
    const auto sortOne = [&](std::size_t i) {
        loop_order::taskStarts();
        sortIntoBucket(buckets[i], attributes, linkCallsiteParents, m_indexes[i]);
        loop_order::taskEnds();
    };
    loop_order::starts();
    oneapi::tbb::parallel_for(std::size_t{0}, buckets.size(), sortOne);
    loop_order::ends();
}

void runBucketPass(std::vector<PerThreadContext>& buckets, AttributeArray& attributes,
                   bool linkCallsiteParents)
{
    BucketPass().run(buckets, attributes, linkCallsiteParents);
}

} // namespace samplefold::load
