#include "load/jit_clock.h"

#include <algorithm>
#include <ctime>
#include <limits>

namespace samplefold::load {
namespace {

using jitlens_3_13::source_t;
using clock_kind_t = jitlens_3_13::clock_t;

constexpr std::uint64_t g_never = std::numeric_limits<std::uint64_t>::max();
/// How far apart, in nanoseconds, a dump and a recording may lie and still be of one run: the
/// kernel's own clock and CLOCK_MONOTONIC both count from about the start of the machine.
constexpr std::uint64_t g_slack = 1'000'000'000;

__extension__ using wide_t = unsigned __int128;
__extension__ using signed_wide_t = __int128;
/// More than any time and any zero.
constexpr wide_t g_beyondTime = wide_t{1} << 66;

bool rangesMeet(const std::pair<std::uint64_t, std::uint64_t>& range, const source_t& source)
{
    const std::uint64_t first = source.firstTime > g_slack ? source.firstTime - g_slack : 0;
    const std::uint64_t sampled = range.first > g_slack ? range.first - g_slack : 0;
    return first <= range.second && sampled <= source.lastTime;
}

} // namespace

JitClock::JitClock(const perfdata::Recording& recording,
                   const std::optional<session::TscScale>& scale)
    : m_range(recording.timeRange()), m_scale(scale)
{
    if (recording.events().empty()) return;
    const perfdata::EventAttr& attr = recording.events().front().attr;
    m_samplesHaveOwnClock = !attr.has(perfdata::attrBit::UseClockid);
    m_samplesAreMonotonic = !m_samplesHaveOwnClock && attr.clockid == CLOCK_MONOTONIC;
}

bool JitClock::accept(const source_t& source, std::string& reason)
{
    reason.clear();
    if (source.clock == clock_kind_t::none) return true;
    if (!m_range) {
        reason = "the recording has no times";
        return false;
    }
    const bool fits =
        source.clock == clock_kind_t::tsc ? acceptTsc(reason) : acceptMonotonic(source, reason);
    if (!fits) return false;
    if (m_clock == clock_kind_t::none) m_clock = source.clock;
    if (m_clock == source.clock) return true;
    reason = "its clock is not that of the other JIT data";
    return false;
}

bool JitClock::acceptMonotonic(const source_t& source, std::string& reason) const
{
    if (m_samplesAreMonotonic) {
        // Code from before the recording is the rule for a process that was attached to.
        if (source.firstTime <= m_range->second) return true;
        reason = "it begins after the end of the recording";
        return false;
    }
    reason = "the recording's clock is not the monotonic clock of the JIT data";
    return rangesMeet(*m_range, source);
}

bool JitClock::acceptTsc(std::string& reason) const
{
    if (m_samplesHaveOwnClock && m_scale) return true;
    reason = "the recording does not tell how the processor's time stamps become its times";
    return false;
}

/// It is negative where the counter began before the kernel's clock, as it does on most machines.
std::int64_t JitClock::zero() const
{
    return static_cast<std::int64_t>(m_scale->zero);
}

std::uint64_t JitClock::toSampleTime(std::uint64_t jitTime)
{
    if (m_clock != clock_kind_t::tsc || jitTime == 0 || jitTime == g_never) return jitTime;
    const wide_t ticks = wide_t{jitTime} * m_scale->mult >> m_scale->shift;
    const auto time = static_cast<signed_wide_t>(std::min(ticks, g_beyondTime)) + zero();
    return static_cast<std::uint64_t>(std::clamp<signed_wide_t>(time, 1, g_never));
}

std::uint64_t JitClock::toJitTime(std::uint64_t sampleTime)
{
    if (m_clock != clock_kind_t::tsc) return std::max<std::uint64_t>(sampleTime, 1);
    const signed_wide_t sinceZero = signed_wide_t{sampleTime} - zero();
    if (sinceZero <= 0) return 1;
    const wide_t ticks = (static_cast<wide_t>(sinceZero) << m_scale->shift) / m_scale->mult;
    return static_cast<std::uint64_t>(std::clamp<wide_t>(ticks, 1, g_never));
}

} // namespace samplefold::load
