#pragma once

#include <cstdint>
#include <map>

namespace samplefold_1 {

/// State that a driver keeps for thinning the samples of an event type. The library owns it and
/// calls nothing on it; what the maps and words mean is the driver's.
struct SampleThinner {
    std::map<std::uint64_t, std::uint64_t> m_first;
    std::map<std::uint64_t, std::uint64_t> m_second;
    std::uint64_t m_firstWord = 0;
    std::uint64_t m_secondWord = 0;
};

/// Thinning state by event key.
struct SampleThinnerByEventType {
    std::map<std::int32_t, SampleThinner> m_thinners;
};

} // namespace samplefold_1
