#include <samplefold_1/loader_context.h>

#include "common/load_instance_data.h"

namespace samplefold_1 {

LoaderContext::LoaderContext()
{
    m_loadInstanceDataToSqlite = loadInstanceDataToSqlite();
}

LoaderContext::~LoaderContext() = default;

void LoaderContext::setDb(const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    m_db = db;
    m_ddModuleFileTable = db->getAttributeTable("dd_module_file");
    m_ddJitFileTable = db->getAttributeTable("dd_jit_file");
    m_moduleSegmentTable = db->getAttributeTable("dd_module_segment");
    m_segmentInstanceTable = db->getAttributeTable("dd_segment_instance");
    m_ddCallsiteTable = db->getAttributeTable("dd_callsite");
    m_ddCodeLocationTable = db->getAttributeTable("dd_code_location");
    m_callsiteRecord = m_ddCallsiteTable->createOrphanRecord();
    m_codeLocationRecord = m_ddCodeLocationTable->createOrphanRecord();
    m_ddHwFeedbackClassTable = db->getAttributeTable("dd_hw_feedback_coretier_class");
    m_ddHwFeedbackTable = db->getAttributeTable("dd_hw_feedback");
}

void LoaderContext::setResult(const tb2::sptr_t<rowvault1::IPerfDatabase>& result)
{
    m_result = result;
}

pmu_sample_attribute_t* LoaderContext::addpmuSampleAttribute(const pmu_sample_attribute_t& attr)
{
    const std::uint64_t number = m_sampleAttributes.size();
    pmu_sample_attribute_t* const stored = m_sampleAttributes.push(attr);
    m_threadContexts[attributeBucket(attr, m_linkCallsiteParents)].m_attributeNumbers.push_back(
        number);
    return stored;
}

} // namespace samplefold_1
