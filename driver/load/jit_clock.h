#pragma once

#include "perfdata/recording.h"
#include "session/side_band_collector.h"

#include <jitlens_3_13/jit_loader.h>
#include <samplefold_1/time_converter.h>

#include <cstdint>
#include <optional>
#include <string>

namespace samplefold::load {

/// The clock of JIT data against the clock of a recording's samples. JIT data of one load follows
/// one clock: that of the first source that is accepted. A converted time is never 0, but for the 0
/// of code without times, which stays 0. Loading thread.
class JitClock final : public samplefold_1::ITimeConverter {
public:
    JitClock(const perfdata::Recording& recording, const std::optional<session::TscScale>& scale);

    /// Whether times of a source can be put beside those of the samples. Sets the clock by the
    /// first source that can. `reason` says why not, or, for one that is taken on trust, why that
    /// may be wrong; it is empty when the two clocks are known to be one.
    bool accept(const jitlens_3_13::source_t& source, std::string& reason);

    std::uint64_t toSampleTime(std::uint64_t jitTime) override;
    std::uint64_t toJitTime(std::uint64_t sampleTime) override;

private:
    bool acceptMonotonic(const jitlens_3_13::source_t& source, std::string& reason) const;
    bool acceptTsc(std::string& reason) const;
    std::int64_t zero() const;

    std::optional<std::pair<std::uint64_t, std::uint64_t>> m_range; ///< times of the recording
    bool m_samplesAreMonotonic = false;
    bool m_samplesHaveOwnClock = false; ///< the kernel's, which no one else reads
    std::optional<session::TscScale> m_scale;
    jitlens_3_13::clock_t m_clock = jitlens_3_13::clock_t::none; ///< none until one is accepted
};

} // namespace samplefold::load
