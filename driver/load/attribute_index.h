#pragma once

#include <samplefold_1/parallel_data_loading.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace samplefold::load {

namespace attribute_index_detail {

using samplefold_1::Index;
using samplefold_1::pmu_sample_attribute_t;

inline std::uint64_t bits(Index key)
{
    return static_cast<std::uint32_t>(key.value());
}

inline std::uint64_t bits(Index high, Index low)
{
    return bits(high) << 32 | bits(low);
}

/// Not zero when the attributes differ. All fields at once, without a branch for each.
inline std::uint64_t difference(const pmu_sample_attribute_t& a, const pmu_sample_attribute_t& b)
{
    const auto apart = [](Index x, Index y) { return bits(x) ^ bits(y); };
    return (a.ip ^ b.ip) | (a.code_loc.rva ^ b.code_loc.rva) |
           apart(a.code_loc.mod_seg, b.code_loc.mod_seg) | apart(a.callsite, b.callsite) |
           apart(a.event_type, b.event_type) | apart(a.cpu, b.cpu) |
           apart(a.cpu_state, b.cpu_state) | apart(a.seg_inst, b.seg_inst) |
           apart(a.mem_access, b.mem_access) | apart(a.htm_info, b.htm_info) |
           apart(a.lbr_head, b.lbr_head) | apart(a.thread_state, b.thread_state) |
           apart(a.cpu_mode, b.cpu_mode);
}

} // namespace attribute_index_detail

/// Where the attributes of one bucket stand in its cache, by hash: a way to a known entry that
/// costs one look at memory where the ordered map needs one per level. The map stays the owner of
/// the entries, which never move; an attribute that is not found here may still be in the map. One
/// thread at a time.
class AttributeIndex {
public:
    using entry_t = samplefold_1::PerThreadContext::sample_attribute_map_t::value_type;

    /// Hash over the thirteen fields that tell attributes apart.
    static std::uint64_t hashOf(const samplefold_1::pmu_sample_attribute_t& attr) noexcept;

    /// Asks the processor to load what `find` will look at first, and then what it will look at
    /// next.
    void prefetchSlot(std::uint64_t hash) const noexcept;
    void prefetchEntry(std::uint64_t hash) const noexcept;

    /// The entry of an equal attribute, null when none was inserted.
    entry_t* find(const samplefold_1::pmu_sample_attribute_t& attr,
                  std::uint64_t hash) const noexcept;

    /// Notes an entry that `find` does not give yet. `entry` outlives the index.
    void insert(entry_t& entry, std::uint64_t hash);

private:
    struct slot_t {
        std::uint64_t hash = 0;
        entry_t* entry = nullptr; ///< null in a free slot
    };

    static constexpr std::size_t firstSlots = 64;

    void grow();
    void place(const slot_t& slot) noexcept;
    std::size_t home(std::uint64_t hash) const noexcept { return hash & (m_slots.size() - 1); }

    std::vector<slot_t> m_slots; ///< empty, or a power of two with at least half of it free
    std::size_t m_used = 0;
};

inline std::uint64_t
AttributeIndex::hashOf(const samplefold_1::pmu_sample_attribute_t& attr) noexcept
{
    using attribute_index_detail::bits;
    // A sum of products with odd factors of their own; the products do not wait for each other.
    const std::uint64_t sum = attr.ip * 0x9E3779B97F4A7C15 +
                              attr.code_loc.rva * 0xC2B2AE3D27D4EB4F +
                              bits(attr.code_loc.mod_seg, attr.callsite) * 0x165667B19E3779F9 +
                              bits(attr.event_type, attr.cpu) * 0xD6E8FEB86659FD93 +
                              bits(attr.cpu_state, attr.seg_inst) * 0xFF51AFD7ED558CCD +
                              bits(attr.mem_access, attr.htm_info) * 0xC4CEB9FE1A85EC53 +
                              bits(attr.lbr_head, attr.thread_state) * 0x9FB21C651E98DF25 +
                              bits(attr.cpu_mode) * 0xA0761D6478BD642F;
    const std::uint64_t mixed = (sum ^ sum >> 32) * 0xE7037ED1A0B428DB;
    return mixed ^ mixed >> 29;
}

inline void AttributeIndex::prefetchSlot(std::uint64_t hash) const noexcept
{
    if (!m_slots.empty()) __builtin_prefetch(&m_slots[home(hash)]);
}

inline void AttributeIndex::prefetchEntry(std::uint64_t hash) const noexcept
{
    if (m_slots.empty()) return;
    const slot_t& slot = m_slots[home(hash)];
    if (slot.entry == nullptr) return;
    __builtin_prefetch(&slot.entry->first.event_type);
    __builtin_prefetch(&slot.entry->first.callsite);
}

inline AttributeIndex::entry_t*
AttributeIndex::find(const samplefold_1::pmu_sample_attribute_t& attr,
                     std::uint64_t hash) const noexcept
{
    if (m_slots.empty()) return nullptr;
    for (std::size_t at = home(hash); m_slots[at].entry != nullptr; at = home(at + 1)) {
        const slot_t& slot = m_slots[at];
        if (slot.hash == hash && attribute_index_detail::difference(slot.entry->first, attr) == 0)
            return slot.entry;
    }
    return nullptr;
}

inline void AttributeIndex::insert(entry_t& entry, std::uint64_t hash)
{
    if (m_used * 2 >= m_slots.size()) grow();
    place({hash, &entry});
    ++m_used;
}

inline void AttributeIndex::grow()
{
    std::vector<slot_t> old(m_slots.empty() ? firstSlots : m_slots.size() * 2);
    old.swap(m_slots);
    for (const slot_t& slot : old) {
        if (slot.entry != nullptr) place(slot);
    }
}

inline void AttributeIndex::place(const slot_t& slot) noexcept
{
    std::size_t at = home(slot.hash);
    while (m_slots[at].entry != nullptr)
        at = home(at + 1);
    m_slots[at] = slot;
}

} // namespace samplefold::load
