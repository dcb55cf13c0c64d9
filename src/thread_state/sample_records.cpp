#include <samplefold_1/sample_records.h>

#include <tuple>

namespace samplefold_1 {
namespace {

using rowvault1::utils::variantToIndex;

auto keysInOrder(const pmu_sample_attribute_t& attr)
{
    return std::tie(attr.callsite, attr.event_type, attr.cpu, attr.cpu_state, attr.seg_inst,
                    attr.mem_access, attr.htm_info, attr.lbr_head, attr.thread_state,
                    attr.cpu_mode);
}

std::uint64_t addressOf(const tb2::variant_t& value)
{
    return value.integer_bits(); // 0 for whatever is no integer
}

} // namespace

bool CompareSamples::operator()(const pmu_sample_attribute_t& a,
                                const pmu_sample_attribute_t& b) const noexcept
{
    if (a.ip != b.ip) return a.ip < b.ip;
    if (a.code_loc.mod_seg != b.code_loc.mod_seg) return a.code_loc.mod_seg < b.code_loc.mod_seg;
    if (a.code_loc.rva != b.code_loc.rva) return a.code_loc.rva < b.code_loc.rva;
    return keysInOrder(a) < keysInOrder(b);
}

std::uint64_t pmu_sample_attribute_t::loadFromDbRecord(
    const rowvault1::IConstRecord* record, std::uint16_t eventTypeColumn, std::uint16_t cpuColumn,
    std::uint16_t cpuStateColumn, std::uint16_t segInstColumn, std::uint16_t memAccessColumn,
    std::uint16_t htmInfoColumn, std::uint16_t lbrHeadColumn, std::uint16_t ipColumn,
    std::uint16_t callsiteColumn, std::uint16_t modSegColumn, std::uint16_t rvaColumn,
    std::uint16_t cpuModeColumn, std::uint16_t threadStateColumn, bool linkCallsiteParents)
{
    event_type = variantToIndex(record->get(eventTypeColumn));
    cpu = variantToIndex(record->get(cpuColumn));
    cpu_state = variantToIndex(record->get(cpuStateColumn));
    seg_inst = variantToIndex(record->get(segInstColumn));
    mem_access = variantToIndex(record->get(memAccessColumn));
    htm_info = variantToIndex(record->get(htmInfoColumn));
    lbr_head = variantToIndex(record->get(lbrHeadColumn));
    cpu_mode = variantToIndex(record->get(cpuModeColumn));
    thread_state = variantToIndex(record->get(threadStateColumn));
    ip = addressOf(record->get(ipColumn));
    callsite = Index();
    code_loc.mod_seg = Index();
    code_loc.rva = 0;
    if (linkCallsiteParents) {
        callsite = variantToIndex(record->get(callsiteColumn));
        return static_cast<std::uint64_t>(std::int64_t{callsite.value()}) % bucketWithoutModule;
    }
    code_loc.mod_seg = variantToIndex(record->get(modSegColumn));
    code_loc.rva = addressOf(record->get(rvaColumn));
    return code_loc.mod_seg.exist() ? code_loc.rva % bucketWithoutModule : bucketWithoutModule;
}

} // namespace samplefold_1
