#pragma once

#include "perfdata/recording.h"
#include "session/keyed_rows.h"

#include <array>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace samplefold::session {

/// Rows of the machine's platform that events and CPUs refer to; -1 where there is none.
struct PlatformRows {
    std::vector<rowvault1::Index> uncoreEvents; ///< by Event::index; may be shorter
    std::unordered_map<std::uint32_t, rowvault1::Index> packages; ///< by number of the CPU
    rowvault1::Index packageOfOthers;                             ///< of all other CPUs

    rowvault1::Index uncoreEvent(std::uint32_t event) const
    {
        return event < uncoreEvents.size() ? uncoreEvents[event] : rowvault1::Index();
    }
    rowvault1::Index package(std::uint32_t cpu) const
    {
        const auto known = packages.find(cpu);
        return known != packages.end() ? known->second : packageOfOthers;
    }
};

/// Rows behind the properties of a sample: event, CPU, mode, memory access, transaction. Each is
/// written when it is first seen; a property that a sample does not have gives -1. Loading thread
/// only.
class AttributeRows {
public:
    AttributeRows(const tb2::sptr_t<rowvault1::IDatabase>& db, const perfdata::Recording& recording,
                  PlatformRows platform = {});

    /// The row of an event that is sampled, and of one whose counts are explicit intervals.
    rowvault1::Index event(const perfdata::Event& event)
    {
        const rowvault1::Index row = m_eventRows[event.index];
        return row.exist() ? row : writeEvent(event, false);
    }
    rowvault1::Index countedEvent(const perfdata::Event& event)
    {
        const rowvault1::Index row = m_countedRows[event.index];
        return row.exist() ? row : writeEvent(event, true);
    }
    rowvault1::Index cpu(const perfdata::Sample& sample);
    rowvault1::Index cpu(std::uint32_t number);
    rowvault1::Index mode(perfdata::CpuMode mode);
    rowvault1::Index memoryAccess(const perfdata::Sample& sample);
    rowvault1::Index transaction(const perfdata::Sample& sample);

private:
    rowvault1::Index writeEvent(const perfdata::Event& event, bool isCounted);

    PlatformRows m_platform;
    KeyedRows<std::string, std::uint32_t, std::uint64_t, std::uint64_t, std::int32_t, std::int32_t,
              rowvault1::Index>
        m_events;
    KeyedRows<std::int32_t> m_cpus;
    KeyedRows<std::string> m_modes;
    KeyedRows<std::uint64_t> m_accesses;
    KeyedRows<std::uint64_t> m_transactions;
    std::vector<rowvault1::Index> m_eventRows;
    std::vector<rowvault1::Index> m_countedRows;
    std::unordered_map<std::uint32_t, rowvault1::Index> m_cpuRows;
    std::array<rowvault1::Index, 8> m_modeRows;
    std::unordered_map<std::uint64_t, rowvault1::Index> m_accessRows;
    std::unordered_map<std::uint64_t, rowvault1::Index> m_transactionRows;
};

} // namespace samplefold::session
