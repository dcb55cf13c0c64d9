#include "load/counter_rounds.h"

#include <algorithm>
#include <limits>

namespace samplefold::load {
namespace {

__extension__ using wide_t = unsigned __int128;

/// No run takes that many ns; sums with them cannot overflow.
constexpr std::uint64_t g_longestRun = std::uint64_t{1} << 62;

/// Counters are read one after the other, some time after the clock of the round. How late that may
/// be before a count of time is not believed.
constexpr std::uint64_t g_latestRead = 200'000'000;

/// A counter adds up at most some hundred entries of a queue in a cycle, and no clock has ten
/// cycles in a ns. One of energy, in parts of 2^-32 J, adds 430 in a ns at 100 W. A counter that
/// wrapped round, or was set anew, is far beyond.
constexpr std::uint64_t g_mostPerNs = 10'000;

bool isBelow(const CounterTotals& a, const CounterTotals& b)
{
    return a.value < b.value || a.enabled < b.enabled || a.running < b.running;
}

bool isEqual(const CounterTotals& a, const CounterTotals& b)
{
    return a.value == b.value && a.enabled == b.enabled && a.running == b.running;
}

/// cpu-clock and task-clock count ns on a CPU.
bool countsTime(const perfdata::Event& event)
{
    return event.attr.type == static_cast<std::uint32_t>(perfdata::EventType::Software) &&
           event.attr.config <= 1;
}

/// Some tracepoints add a value of theirs at each hit, such as the time that a task slept.
bool addsAnyAmount(const perfdata::Event& event)
{
    return event.attr.type == static_cast<std::uint32_t>(perfdata::EventType::Tracepoint);
}

} // namespace

bool isImplausible(CounterDrop reason)
{
    switch (reason) {
    case CounterDrop::NotRunning:
    case CounterDrop::RunningBeyondEnabled:
    case CounterDrop::WentDown:
    case CounterDrop::BeyondTime:
    case CounterDrop::BeyondCounter:
    case CounterDrop::TooLarge:
        return true;
    default:
        return false;
    }
}

CounterRounds::CounterRounds(std::uint64_t start, std::uint32_t cpus)
    : m_start(start), m_last(start), m_cpus(cpus)
{
}

void CounterRounds::add(const CounterKey& key, const CounterTotals& totals)
{
    const auto [entry, isNew] = m_numbers.try_emplace(key, m_counters.size());
    if (isNew) {
        Counter& added = m_counters.emplace_back();
        added.key = key;
        added.tick = m_start;
    }
    Counter& counter = m_counters[entry->second];
    if (counter.isRead) {
        refuse(counter, CounterDrop::ReadTwice);
    } else {
        m_open.push_back(entry->second);
    }
    counter.read = totals;
    counter.isRead = true;
}

/// A round that does not go on from the one before leaves the counters as they are, so that the
/// next one tells what was counted since.
void CounterRounds::close(std::uint64_t time, const Take& take)
{
    const bool goesOn = time <= g_longestRun && m_start + time > m_last;
    if (goesOn) m_last = m_start + time;
    std::sort(m_open.begin(), m_open.end());
    for (const std::size_t number : m_open) {
        Counter& counter = m_counters[number];
        counter.isRead = false;
        if (goesOn) {
            settle(counter, take);
        } else {
            refuse(counter, CounterDrop::RoundOutOfTime);
        }
    }
    m_open.clear();
}

void CounterRounds::finish()
{
    for (const std::size_t number : m_open) {
        Counter& counter = m_counters[number];
        counter.isRead = false;
        refuse(counter, counter.tick != m_start && isEqual(counter.read, counter.totals)
                            ? CounterDrop::SameAfterLastRound
                            : CounterDrop::AfterLastRound);
    }
    m_open.clear();
}

void CounterRounds::settle(Counter& counter, const Take& take)
{
    CountedInterval interval;
    const CounterDrop verdict = judge(counter, interval);
    counter.totals = counter.read;
    counter.tick = m_last;
    if (verdict == CounterDrop::Last) {
        take(interval);
    } else {
        refuse(counter, verdict);
    }
}

void CounterRounds::refuse(const Counter& counter, CounterDrop reason)
{
    drop(reason);
    if (m_refuse) m_refuse(counter.key, reason);
}

/// Fills the interval; Last when nothing speaks against it.
CounterDrop CounterRounds::judge(const Counter& counter, CountedInterval& interval) const
{
    const CounterTotals& read = counter.read;
    const CounterTotals& before = counter.totals;
    if (isBelow(read, before)) return CounterDrop::WentDown;
    const std::uint64_t value = read.value - before.value;
    const std::uint64_t enabled = read.enabled - before.enabled;
    const std::uint64_t running = read.running - before.running;
    if (running > enabled) return CounterDrop::RunningBeyondEnabled;
    if (running == 0)
        return enabled == 0 && value == 0 ? CounterDrop::NotEnabled : CounterDrop::NotRunning;
    const wide_t count = wide_t{value} * enabled / running;
    if (count > std::numeric_limits<std::int64_t>::max()) return CounterDrop::TooLarge;
    interval = {counter.key, counter.tick, m_last, static_cast<std::int64_t>(count),
                running < enabled};
    if (isBeyondTime(interval)) return CounterDrop::BeyondTime;
    return isBeyondCounter(interval) ? CounterDrop::BeyondCounter : CounterDrop::Last;
}

/// On how many CPUs at once a counter may count, 0 where that is not known. Tasks that a counted
/// one starts are counted with it, and may run on all CPUs.
std::uint32_t CounterRounds::cpusOf(const CounterKey& key) const
{
    const bool isAlone =
        key.cpu >= 0 || (key.thread >= 0 && !key.event->attr.has(perfdata::attrBit::Inherit));
    return isAlone ? 1 : m_cpus;
}

bool CounterRounds::isBeyondTime(const CountedInterval& interval) const
{
    const std::uint32_t cpus = cpusOf(interval.key);
    if (cpus == 0 || !countsTime(*interval.key.event)) return false;
    const std::uint64_t ticks = interval.last - interval.previous;
    const wide_t most = wide_t{ticks} + ticks / 4 + g_latestRead;
    return static_cast<wide_t>(interval.count) > most * cpus;
}

bool CounterRounds::isBeyondCounter(const CountedInterval& interval) const
{
    const std::uint32_t cpus = cpusOf(interval.key);
    if (cpus == 0 || addsAnyAmount(*interval.key.event)) return false;
    const std::uint64_t ticks = interval.last - interval.previous;
    const wide_t most = (wide_t{ticks} + g_latestRead) * g_mostPerNs;
    return static_cast<wide_t>(interval.count) > most * cpus;
}

} // namespace samplefold::load
