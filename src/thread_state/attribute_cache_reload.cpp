#include "common/component_log.h"
#include <samplefold_1/loader_context.h>

#include <array>

namespace samplefold_1 {
namespace {

ComponentLog g_log;

/// Positions of the wanted columns in the result of the query.
struct columns_t {
    std::uint16_t rowId = rowvault1::InvalidColIdx;
    std::uint16_t eventType = rowvault1::InvalidColIdx;
    std::uint16_t cpu = rowvault1::InvalidColIdx;
    std::uint16_t cpuState = rowvault1::InvalidColIdx;
    std::uint16_t segInst = rowvault1::InvalidColIdx;
    std::uint16_t memAccess = rowvault1::InvalidColIdx;
    std::uint16_t htmInfo = rowvault1::InvalidColIdx;
    std::uint16_t lbrHead = rowvault1::InvalidColIdx;
    std::uint16_t ip = rowvault1::InvalidColIdx;
    std::uint16_t callsite = rowvault1::InvalidColIdx;
    std::uint16_t cpuMode = rowvault1::InvalidColIdx;
    std::uint16_t threadState = rowvault1::InvalidColIdx;
    std::uint16_t rva = rowvault1::InvalidColIdx;
    std::uint16_t modSeg = rowvault1::InvalidColIdx;
    std::uint16_t parentCallsite = rowvault1::InvalidColIdx;
};

struct wanted_column_t {
    const char* name;
    std::uint16_t columns_t::*position;
    const char* check; ///< expression told when the result has no such column
};

constexpr std::array g_always{
    wanted_column_t{"rowid", &columns_t::rowId, "rv1::InvalidColIdx != rowIdIndex"},
    wanted_column_t{"event_type", &columns_t::eventType, "rv1::InvalidColIdx != eventTypeIndex"},
    wanted_column_t{"cpu", &columns_t::cpu, "rv1::InvalidColIdx != cpuIndex"},
    wanted_column_t{"cpu_state", &columns_t::cpuState, "rv1::InvalidColIdx != cpuStateIndex"},
    wanted_column_t{"seg_inst", &columns_t::segInst, "rv1::InvalidColIdx != segInstIndex"},
    wanted_column_t{"mem_access", &columns_t::memAccess, "rv1::InvalidColIdx != memAccessIndex"},
    wanted_column_t{"htm_info", &columns_t::htmInfo, "rv1::InvalidColIdx != htmInfoIndex"},
    wanted_column_t{"lbr_head", &columns_t::lbrHead, "rv1::InvalidColIdx != lbrHeadIndex"},
    wanted_column_t{"ip", &columns_t::ip, "rv1::InvalidColIdx != ipIndex"},
    wanted_column_t{"callsite", &columns_t::callsite, "rv1::InvalidColIdx != callsiteIndex"},
    wanted_column_t{"cpu_mode", &columns_t::cpuMode, "rv1::InvalidColIdx != cpuModeIndex"},
    wanted_column_t{"thread_state", &columns_t::threadState,
                    "rv1::InvalidColIdx != threadStateIndex"},
};

constexpr std::array g_stacksOff{
    wanted_column_t{"callsite.code_loc.rva", &columns_t::rva, "rv1::InvalidColIdx != rvaIndex"},
    wanted_column_t{"callsite.code_loc.mod_seg", &columns_t::modSeg,
                    "rv1::InvalidColIdx != modSegIndex"},
    wanted_column_t{"callsite.parent", &columns_t::parentCallsite,
                    "rv1::InvalidColIdx != parentCallsiteIndex"},
};

template <std::size_t N>
bool addColumns(rowvault1::IQuery& query, const std::array<wanted_column_t, N>& wanted,
                columns_t& columns)
{
    for (const wanted_column_t& column : wanted) {
        columns.*column.position = query.addColumn(column.name, 0, {}, 1, 0, "");
        SF_CHECK(g_log, rv1::InvalidColIdx != columns.*column.position, column.check, false);
    }
    return true;
}

} // namespace

void LoaderContext::initAttributeCaches(std::uint64_t bucketCount)
{
    m_threadContexts.resize(bucketCount);
    for (PerThreadContext& bucket : m_threadContexts)
        bucket.init(m_db, m_linkCallsiteParents);
    loadSampleAttributeCacheFromDB();
}

void LoaderContext::loadSampleAttributeCacheFromDB()
{
    using rowvault1::utils::variantToIndex;

    SF_CHECK(g_log, getDb(), "getDb()");
    const auto sampleAttrQuery = getDb()->createQuery("dd_sample", 2);
    SF_CHECK(g_log, sampleAttrQuery, "sampleAttrQuery");
    columns_t at;
    if (!addColumns(*sampleAttrQuery, g_always, at)) return;
    if (!m_linkCallsiteParents && !addColumns(*sampleAttrQuery, g_stacksOff, at)) return;

    const auto rows = sampleAttrQuery->execute(0, "", "");
    for (; rows && !rows->atEnd(); rows->next()) {
        pmu_sample_attribute_t attr;
        const rowvault1::IConstRecord* const r = rows->current();
        SF_CHECK(g_log, r, "r");
        // With call stacks off a callsite that has a parent is no code location of a sample.
        if (!m_linkCallsiteParents && variantToIndex(r->get(at.parentCallsite)).exist()) continue;

        const Index sampleKey = variantToIndex(r->get(at.rowId));
        const Index callsiteKey =
            m_linkCallsiteParents ? Index() : variantToIndex(r->get(at.callsite));
        const std::uint64_t bucket =
            attr.loadFromDbRecord(r, at.eventType, at.cpu, at.cpuState, at.segInst, at.memAccess,
                                  at.htmInfo, at.lbrHead, at.ip, at.callsite, at.modSeg, at.rva,
                                  at.cpuMode, at.threadState, m_linkCallsiteParents);
        m_threadContexts[bucket].cacheSampleAttribute(attr, m_linkCallsiteParents,
                                                      sampleKey.value(), callsiteKey.value());
    }
}

} // namespace samplefold_1
