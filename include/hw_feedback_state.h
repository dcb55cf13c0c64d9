#pragma once

#include <cstdint>

namespace samplefold_1 {

/// The open band of one CPU in the hardware feedback data. Ticks are those of the samples, both
/// included.
struct cpu_cfbi_last_state {
    std::uint8_t classId = 255; ///< class of the band; 255 is invalid
    std::int32_t feedbackValue = 0;
    std::int32_t threadBandKey = -1;
    std::uint64_t startTsc = 0;
    std::uint64_t endTsc = 0;
};

} // namespace samplefold_1
