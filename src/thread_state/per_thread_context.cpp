#include <samplefold_1/parallel_data_loading.h>

#include <PORTA_2_18/assert.h>

namespace samplefold_1 {
namespace {

using rowvault1::utils::indexToVariant;
using tb2::variant_t;

namespace sample_column {
constexpr std::uint16_t eventType = 0, cpu = 1, ip = 2, cpuState = 3, callsite = 4, segInst = 5,
                        memAccess = 6, threadState = 7, lbrHead = 9, htmInfo = 10, cpuMode = 11;
}
namespace code_location_column {
constexpr std::uint16_t rva = 0, modSeg = 1, storedRva = 14;
}
namespace callsite_column {
constexpr std::uint16_t codeLoc = 1, mark = 5;
}

/// Mark of a callsite that stands for a sampled place, as opposed to a frame further up a stack.
constexpr std::int32_t sampledPlace = 3;

} // namespace

void PerThreadContext::init(const tb2::sptr_t<rowvault1::IDatabase>& db, bool linkCallsiteParents)
{
    if (m_initialized) return;
    m_ddSampleTable = db->getAttributeTable("dd_sample");
    PORTA_ASSERT_TEXT(!m_ddSampleTable.is_null(), "m_ddSampleTable");
    if (m_ddSampleTable) m_sampleRecord = m_ddSampleTable->createOrphanRecord();
    m_ddCodeLocationTable = db->getAttributeTable("dd_code_location");
    PORTA_ASSERT_TEXT(!m_ddCodeLocationTable.is_null(), "m_ddCodeLocationTable");
    if (m_ddCodeLocationTable) m_codeLocationRecord = m_ddCodeLocationTable->createOrphanRecord();
    m_ddCallsiteTable = db->getAttributeTable("dd_callsite");
    PORTA_ASSERT_TEXT(!m_ddCallsiteTable.is_null(), "m_ddCallsiteTable");
    if (m_ddCallsiteTable) m_callsiteRecord = m_ddCallsiteTable->createOrphanRecord();
    m_initialized = true;
    m_linkCallsiteParents = linkCallsiteParents;
}

void PerThreadContext::cacheSampleAttribute(pmu_sample_attribute_t& attr, bool linkCallsiteParents,
                                            std::int32_t sampleKey, std::int32_t callsiteKey)
{
    if (!linkCallsiteParents) {
        auto& entry = *m_codeLocations.try_emplace(attr.code_loc, callsiteKey).first;
        attr.code_loc.callsite_key = &entry.second;
    }
    auto& entry = *m_sampleAttributeKeys.try_emplace(attr, sampleKey).first;
    attr.sample_key = &entry.second;
}

void PerThreadContext::flush([[maybe_unused]] tb2::sptr_t<rowvault1::IDatabase> db)
{
    PORTA_ASSERT_TEXT(!m_ddSampleTable.is_null(), "m_ddSampleTable");
    if (!m_codeLocationsToAdd.empty()) {
        PORTA_ASSERT_TEXT(
            m_ddCodeLocationTable && m_ddCallsiteTable,
            "m_codeLocationsToAdd.empty() || m_ddCodeLocationTable && m_ddCallsiteTable");
    }
    writeCodeLocations();
    writeSampleAttributes();
    m_attributeNumbers.clear();
    m_codeLocationsToAdd.clear();
    m_sampleAttributesToAdd.clear();
}

void PerThreadContext::writeCodeLocations()
{
    // Set once and not for each entry: after a failed commit the callsite refers to the location
    // before.
    Index clIndex;
    for (auto* const entry : m_codeLocationsToAdd) {
        const code_location_t& location = entry->first;
        m_codeLocationRecord[code_location_column::rva] = variant_t(location.rva);
        m_codeLocationRecord[code_location_column::storedRva] = variant_t(location.rva);
        m_codeLocationRecord[code_location_column::modSeg] = indexToVariant(location.mod_seg);
        m_codeLocationRecord.commit(clIndex, 0, 1);
        PORTA_ASSERT_TEXT(clIndex.exist(), "clIndex.exist()");

        m_callsiteRecord[callsite_column::codeLoc] = variant_t(clIndex.value());
        m_callsiteRecord[callsite_column::mark] = variant_t(sampledPlace);
        m_callsiteRecord.commit(entry->second, 0, 1);
        PORTA_ASSERT_TEXT(entry->second.exist(), "(*csclIt)->second.exist()");
    }
}

void PerThreadContext::writeSampleAttributes()
{
    for (auto* const entry : m_sampleAttributesToAdd) {
        const pmu_sample_attribute_t& attr = entry->first;
        m_sampleRecord[sample_column::eventType] = indexToVariant(attr.event_type);
        m_sampleRecord[sample_column::cpu] = indexToVariant(attr.cpu);
        m_sampleRecord[sample_column::ip] = variant_t(attr.ip);
        m_sampleRecord[sample_column::cpuState] = indexToVariant(attr.cpu_state);
        m_sampleRecord[sample_column::callsite] = indexToVariant(*attr.code_loc.callsite_key);
        m_sampleRecord[sample_column::segInst] = indexToVariant(attr.seg_inst);
        m_sampleRecord[sample_column::memAccess] = indexToVariant(attr.mem_access);
        m_sampleRecord[sample_column::htmInfo] = indexToVariant(attr.htm_info);
        m_sampleRecord[sample_column::lbrHead] = indexToVariant(attr.lbr_head);
        m_sampleRecord[sample_column::cpuMode] = indexToVariant(attr.cpu_mode);
        m_sampleRecord[sample_column::threadState] = indexToVariant(attr.thread_state);
        m_sampleRecord.commit(entry->second, 0, 1);
        PORTA_ASSERT_TEXT(entry->second.exist(), "(*saIt)->second.exist()");
    }
}

} // namespace samplefold_1
