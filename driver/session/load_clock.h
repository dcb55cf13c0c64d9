#pragma once

#include "perfdata/recording.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace samplefold::session {

/// Ticks of a load. They are the recording's times; a recording without any time gets numbered
/// ticks, one per sample from 1 on, with side-band records standing between the samples where the
/// file has them. Both passes over a recording start with a clock of their own. A tick is never 0.
class LoadClock {
public:
    explicit LoadClock(const perfdata::Recording& recording)
        : m_numbered(!recording.timeRange().has_value())
    {
    }

    bool isNumbered() const { return m_numbered; }

    /// Tick of the next sample. A sample without a time, in a recording that has times, takes the
    /// latest tick so far.
    std::uint64_t sampleTick(std::uint64_t time)
    {
        if (m_numbered) return ++m_latest;
        if (time == 0) return std::max<std::uint64_t>(m_latest, 1);
        m_latest = std::max(m_latest, time);
        return time;
    }

    /// Tick of a side-band record: 0, before everything, for one that has no time in a recording
    /// with times; in a numbered recording that of the next sample.
    std::uint64_t recordTick(const std::optional<std::uint64_t>& time) const
    {
        return m_numbered ? m_latest + 1 : time.value_or(0);
    }

private:
    bool m_numbered;
    std::uint64_t m_latest = 0;
};

} // namespace samplefold::session
