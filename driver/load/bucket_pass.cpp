#include "load/bucket_pass.h"

#include <oneapi/tbb/parallel_for.h>

#include <algorithm>
#include <array>
#include <span>

namespace samplefold::load {
namespace {

using samplefold_1::code_location_t;
using samplefold_1::Index;
using samplefold_1::PerThreadContext;
using samplefold_1::pmu_sample_attribute_t;

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
        : m_bucket(bucket), m_attributes(attributes), m_linkCallsiteParents(linkCallsiteParents),
          m_index(index)
    {
    }

    void prefetch(std::span<const std::uint64_t> numbers)
    {
        for (const std::uint64_t number : numbers) {
            const pmu_sample_attribute_t& attr = m_attributes[number];
            __builtin_prefetch(&attr.event_type, 1);
            __builtin_prefetch(&attr.callsite, 1);
        }
    }

    void sort(std::span<const std::uint64_t> numbers)
    {
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            m_hashes[i] = AttributeIndex::hashOf(m_attributes[numbers[i]]);
            m_index.prefetchSlot(m_hashes[i]);
        }
        for (std::size_t i = 0; i < numbers.size(); ++i)
            m_index.prefetchEntry(m_hashes[i]);
        for (std::size_t i = 0; i < numbers.size(); ++i)
            settle(m_attributes[numbers[i]], m_hashes[i]);
    }

private:
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
    AttributeArray& m_attributes;
    bool m_linkCallsiteParents;
    AttributeIndex& m_index;
    std::array<std::uint64_t, g_group> m_hashes;
};

} // namespace

void sortIntoBucket(PerThreadContext& bucket, AttributeArray& attributes, bool linkCallsiteParents,
                    AttributeIndex& index)
{
    GroupSorter sorter(bucket, attributes, linkCallsiteParents, index);
    const std::span<const std::uint64_t> numbers(bucket.m_attributeNumbers);
    const auto group = [&](std::size_t first) {
        const std::size_t from = std::min(first, numbers.size());
        return numbers.subspan(from, std::min(g_group, numbers.size() - from));
    };
    sorter.prefetch(group(0));
    for (std::size_t first = 0; first < numbers.size(); first += g_group) {
        sorter.prefetch(group(first + g_group));
        sorter.sort(group(first));
    }
}

void BucketPass::run(std::vector<PerThreadContext>& buckets, AttributeArray& attributes,
                     bool linkCallsiteParents)
{
    if (m_indexes.size() < buckets.size()) m_indexes.resize(buckets.size());
    oneapi::tbb::parallel_for(std::size_t{0}, buckets.size(), [&](std::size_t i) {
        sortIntoBucket(buckets[i], attributes, linkCallsiteParents, m_indexes[i]);
    });
}

void runBucketPass(std::vector<PerThreadContext>& buckets, AttributeArray& attributes,
                   bool linkCallsiteParents)
{
    BucketPass().run(buckets, attributes, linkCallsiteParents);
}

} // namespace samplefold::load
