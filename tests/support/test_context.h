#pragma once

#include <load/bucket_pass.h>
#include <samplefold_1/loader_context.h>
#include <samplefold_1/thread_state.h>

#include <functional>
#include <vector>

namespace samplefold_test {

/// A context as a driver's, with everything in reach of the test. Its repacking does nothing but
/// counting, unless `emptying` is set: then it empties both arrays and carries the open samples of
/// `threads` over.
class TestContext : public samplefold_1::LoaderContext {
public:
    using LoaderContext::createHwFeedbackAttr;
    using LoaderContext::createHwFeedbackInstance;
    using LoaderContext::getHwFeedbackInstanceTable;
    using LoaderContext::m_aggregatedBandTable;
    using LoaderContext::m_callsiteRecord;
    using LoaderContext::m_codeLocationRecord;
    using LoaderContext::m_cpuHwFeedbackState;
    using LoaderContext::m_db;
    using LoaderContext::m_ddCallsiteTable;
    using LoaderContext::m_ddCodeLocationTable;
    using LoaderContext::m_ddHwFeedbackClassTable;
    using LoaderContext::m_ddHwFeedbackTable;
    using LoaderContext::m_ddJitFileTable;
    using LoaderContext::m_ddModuleFileTable;
    using LoaderContext::m_errorReporter;
    using LoaderContext::m_errorReporterMessage;
    using LoaderContext::m_events;
    using LoaderContext::m_firstIntervalFactorA;
    using LoaderContext::m_firstIntervalFactorB;
    using LoaderContext::m_firstIntervalTag;
    using LoaderContext::m_hwFeedbackInstanceTable;
    using LoaderContext::m_instanceContainer;
    using LoaderContext::m_jitDataPath;
    using LoaderContext::m_jitEnabled;
    using LoaderContext::m_jitFileKeys;
    using LoaderContext::m_jitLoaders;
    using LoaderContext::m_jitModuleFileKeys;
    using LoaderContext::m_jitOptions;
    using LoaderContext::m_jitSession;
    using LoaderContext::m_jitStatus;
    using LoaderContext::m_linkCallsiteParents;
    using LoaderContext::m_loadInstanceDataToSqlite;
    using LoaderContext::m_moduleSegmentTable;
    using LoaderContext::m_nextAttrBandField;
    using LoaderContext::m_pmuData;
    using LoaderContext::m_rateBandField;
    using LoaderContext::m_result;
    using LoaderContext::m_sampleAttributes;
    using LoaderContext::m_sampleBandTable;
    using LoaderContext::m_sampleThinner;
    using LoaderContext::m_segInstToModuleSegment;
    using LoaderContext::m_segmentInstanceTable;
    using LoaderContext::m_storeEachSample;
    using LoaderContext::m_storeRva;
    using LoaderContext::m_thinnerState;
    using LoaderContext::m_threadContexts;
    using LoaderContext::m_threadLastCpu;

    void bucketPass() { m_pass.run(m_threadContexts, m_sampleAttributes, m_linkCallsiteParents); }

    bool emptying = false;
    int repackings = 0;
    std::function<void()> onRepack;
    std::vector<samplefold_1::ThreadInfo*> threads;

protected:
    void repackAttributesForCurrentlyProcessedSamples() override
    {
        ++repackings;
        if (onRepack) onRepack();
        if (!emptying) return;
        std::vector<std::vector<samplefold_1::pmu_sample_attribute_t>> copies(threads.size());
        for (std::size_t i = 0; i < threads.size(); ++i)
            threads[i]->getCopyOfLastSamples(copies[i]);
        m_pmuData.reset();
        m_sampleAttributes.reset();
        for (std::size_t i = 0; i < threads.size(); ++i)
            threads[i]->setLastSamplesFromCopy(copies[i]);
    }

private:
    samplefold::load::BucketPass m_pass;
};

} // namespace samplefold_test
