#include "session/attribute_rows.h"

#include "session/data_source.h"

#include <array>
#include <string_view>
#include <utility>

namespace samplefold::session {
namespace {

using rowvault1::Index;
using tb2::variant_t;

constexpr std::array<std::string_view, 8> g_modeNames{
    "unknown", "kernel", "user", "hypervisor", "guest kernel", "guest user", "mode 6", "mode 7"};

variant_t textOrNull(const std::string& text)
{
    return text.empty() ? variant_t() : variant_t(std::string_view(text));
}

} // namespace

AttributeRows::AttributeRows(const tb2::sptr_t<rowvault1::IDatabase>& db,
                             const perfdata::Recording& recording, PlatformRows platform)
    : m_platform(std::move(platform)), m_events(db, "dd_event_type",
                                                {"name", "type", "config", "sample_period",
                                                 "frequency", "counting", "uncore_event"}),
      m_cpus(db, "dd_cpu", {"number"}), m_modes(db, "dd_cpu_mode", {"name"}),
      m_accesses(db, "dd_mem_access", {"source"}), m_transactions(db, "dd_htm_info", {"word"}),
      m_eventRows(recording.events().size()), m_countedRows(recording.events().size())
{
    // All events get their rows, those that did not happen as well.
    for (const perfdata::Event& event : recording.events())
        writeEvent(event, recording.isCountingRun());
}

Index AttributeRows::writeEvent(const perfdata::Event& event, bool isCounted)
{
    const perfdata::EventAttr& attr = event.attr;
    const std::int32_t isFrequency = attr.has(perfdata::attrBit::Freq) ? 1 : 0;
    const std::int32_t counting = isCounted ? 1 : 0;
    Index& row = (isCounted ? m_countedRows : m_eventRows)[event.index];
    row = m_events.findOrAdd({event.name, attr.type, attr.config, attr.samplePeriodOrFreq,
                              isFrequency, counting, m_platform.uncoreEvent(event.index)});
    return row;
}

Index AttributeRows::cpu(const perfdata::Sample& sample)
{
    return sample.hasCpu() ? cpu(sample.cpu) : Index();
}

Index AttributeRows::cpu(std::uint32_t number)
{
    const auto [entry, isNew] = m_cpuRows.try_emplace(number);
    if (!isNew) return entry->second;
    entry->second = m_cpus.findOrAdd({static_cast<std::int32_t>(number)}, [&](RowWriter& writer) {
        writer.set("package", rowvault1::utils::indexToVariant(m_platform.package(number)));
    });
    return entry->second;
}

Index AttributeRows::mode(perfdata::CpuMode mode)
{
    const auto number = static_cast<std::size_t>(mode);
    Index& row = m_modeRows[number];
    if (!row.exist()) row = m_modes.findOrAdd({std::string(g_modeNames[number])});
    return row;
}

Index AttributeRows::memoryAccess(const perfdata::Sample& sample)
{
    if ((sample.has & perfdata::sampleBit::DataSrc) == 0) return {};
    const auto [entry, isNew] = m_accessRows.try_emplace(sample.dataSrc);
    if (!isNew) return entry->second;
    const DataSource source = decodeDataSource(sample.dataSrc);
    entry->second = m_accesses.findOrAdd({sample.dataSrc}, [&](RowWriter& writer) {
        writer.set("operation", textOrNull(source.operation))
            .set("level", textOrNull(source.level))
            .set("snoop", textOrNull(source.snoop))
            .set("tlb", textOrNull(source.tlb))
            .set("lock", textOrNull(source.lock));
    });
    return entry->second;
}

Index AttributeRows::transaction(const perfdata::Sample& sample)
{
    if ((sample.has & perfdata::sampleBit::Transaction) == 0 || sample.transaction == 0) return {};
    const auto [entry, isNew] = m_transactionRows.try_emplace(sample.transaction);
    if (!isNew) return entry->second;
    entry->second = m_transactions.findOrAdd({sample.transaction}, [&](RowWriter& writer) {
        writer.set("text", textOrNull(transactionText(sample.transaction)));
    });
    return entry->second;
}

} // namespace samplefold::session
