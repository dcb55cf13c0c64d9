#include <samplefold_1/loader_context.h>

#include "common/component_log.h"
#include "common/table_access.h"

#include <PORTA_2_18/assert.h>

#include <algorithm>
#include <string>

// Reports of the class that a CPU gives to the thread on it, folded into bands on the timelines of
// the threads: one open band per CPU, which ends with the last report that continues it.
namespace samplefold_1 {
namespace {

ComponentLog g_log;

constexpr const char* g_bandData = "hw_feedback_data";
constexpr const char* g_attributeTable = "dd_hw_feedback";
constexpr const char* g_ownerTable = "dd_thread";

constexpr std::uint8_t g_invalidClass = 255;
constexpr std::uint64_t g_validBit = std::uint64_t{1} << 63;

std::uint8_t classOf(std::uint64_t classWord)
{
    return (classWord & g_validBit) != 0 ? static_cast<std::uint8_t>(classWord) : g_invalidClass;
}

std::string classText(std::uint8_t classId)
{
    return classId == g_invalidClass ? "Invalid" : "Class_" + std::to_string(classId);
}

} // namespace

void LoaderContext::loadHwFeedbackData(std::uint64_t classWord, std::uint64_t tsc,
                                       std::int32_t threadBandKey, std::uint64_t cpuIndex,
                                       std::int32_t feedbackValue)
{
    const std::uint8_t classId = classOf(classWord);
    // The class is of a character type, and is logged as that character.
    SF_DEBUG(g_log, "CFBI data handler: cpuIndex = " << cpuIndex << "   classId = " << classId
                                                     << "   tsc = " << tsc
                                                     << "   threadBandKey = " << threadBandKey);
    const auto [entry, isNew] = m_cpuHwFeedbackState.try_emplace(cpuIndex);
    cpu_cfbi_last_state& state = entry->second;
    if (isNew) {
        state = {classId, feedbackValue, threadBandKey, tsc, tsc};
    } else if (tsc < state.endTsc) {
        SF_DEBUG(g_log, "Invalid timestamp for CFBI data: tsc = " << tsc
                                                                  << "   prevTsc = " << state.endTsc
                                                                  << ". Skip the data instance...");
        return;
    } else if (threadBandKey == state.threadBandKey) {
        continueHwFeedback(state, cpuIndex, classId, tsc);
    } else {
        changeHwFeedbackThread(state, threadBandKey, classId, tsc);
    }
    m_threadLastCpu[threadBandKey] = cpuIndex;
}

/// A report of the thread that the CPU's band belongs to.
void LoaderContext::continueHwFeedback(cpu_cfbi_last_state& state, std::uint64_t cpuIndex,
                                       std::uint8_t classId, std::uint64_t tsc)
{
    const auto last = m_threadLastCpu.find(state.threadBandKey);
    const bool wasAway = last != m_threadLastCpu.end() && last->second != cpuIndex;
    if (!wasAway && state.classId == classId) {
        state.endTsc = tsc;
        return;
    }
    createHwFeedbackInstance(state);
    state.classId = classId;
    state.startTsc = (wasAway ? m_cpuHwFeedbackState[last->second].endTsc : state.endTsc) + 1;
    state.endTsc = tsc;
}

/// A thread that moved here gets no band over its last one.
void LoaderContext::changeHwFeedbackThread(cpu_cfbi_last_state& state, std::int32_t threadBandKey,
                                           std::uint8_t classId, std::uint64_t tsc)
{
    createHwFeedbackInstance(state);
    state.classId = classId;
    state.startTsc = state.endTsc + 1;
    const auto last = m_threadLastCpu.find(threadBandKey);
    if (last != m_threadLastCpu.end()) {
        state.startTsc = std::max(state.startTsc, m_cpuHwFeedbackState[last->second].endTsc + 1);
    }
    state.endTsc = tsc;
    state.threadBandKey = threadBandKey;
}

void LoaderContext::finalizeHwFeedbackData()
{
    for (auto& [cpu, state] : m_cpuHwFeedbackState)
        createHwFeedbackInstance(state);
}

/// The attribute's rows come first: a state without a band adds them as well.
void LoaderContext::createHwFeedbackInstance(cpu_cfbi_last_state& state)
{
    const Index attribute = createHwFeedbackAttr(state.classId, state.feedbackValue);
    if (state.endTsc <= state.startTsc) return;
    const auto table = getHwFeedbackInstanceTable();
    tb2::sptr_t<rowvault1::IMetaData> meta;
    const bool result =
        table && table->add({Index(state.threadBandKey), g_attributeTable},
                            {state.startTsc, state.endTsc, 1, attribute}, meta, nullptr);
    PORTA_ASSERT_TEXT(result, "result");
    SF_DEBUG(g_log, "CFBI instance: [" << state.startTsc << ", " << state.endTsc
                                       << "   classId = " << state.classId
                                       << "   hwFeedbackKey = " << attribute.value()
                                       << "   threadBandKey = " << state.threadBandKey);
}

/// New rows on every call, also for a class that has been met.
Index LoaderContext::createHwFeedbackAttr(std::uint8_t classId, std::int32_t feedbackValue)
{
    const rowvault1::OrphanRecord classRow = tables::newRow(m_ddHwFeedbackClassTable);
    classRow[0] = tb2::variant_t(classText(classId));
    const Index classKey = tables::commit(classRow);

    const rowvault1::OrphanRecord row = tables::newRow(m_ddHwFeedbackTable);
    row[0] = tb2::variant_t(classKey.value());
    row[1] = tb2::variant_t(feedbackValue);
    return tables::commit(row);
}

const LoaderContext::band_table_t<rowvault1::single_band_obj_t>&
LoaderContext::getHwFeedbackInstanceTable()
{
    if (!m_hwFeedbackInstanceTable) {
        m_hwFeedbackInstanceTable = m_db->createBandTable(g_bandData, g_attributeTable, "");
        const auto definition = m_result->getInstanceTableDef(g_bandData, 3);
        m_result->bindInstanceTable(definition, g_ownerTable, 0, g_ownerTable, "", "");
    }
    return m_hwFeedbackInstanceTable;
}

} // namespace samplefold_1
