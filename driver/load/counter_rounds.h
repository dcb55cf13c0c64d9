#pragma once

#include "perfdata/event.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

namespace samplefold::load {

/// What one counter counts: an event, on a CPU and in a thread, each of which may be open.
struct CounterKey {
    const perfdata::Event* event = nullptr;
    std::int32_t cpu = -1;    ///< -1: on all CPUs
    std::int32_t thread = -1; ///< -1: in all threads

    auto operator<=>(const CounterKey&) const = default;
};

/// Running totals of a counter as they were read, times in ns. A counter that had to give way to
/// others for a time was enabled for longer than it was running.
struct CounterTotals {
    std::uint64_t value = 0;
    std::uint64_t enabled = 0;
    std::uint64_t running = 0;
};

/// What a counter grew by in the ticks from `previous` + 1 to `last`.
struct CountedInterval {
    CounterKey key;
    std::uint64_t previous = 0; ///< never 0
    std::uint64_t last = 0;
    std::int64_t count = 0;      ///< scaled up to the time enabled
    bool isExtrapolated = false; ///< the counter was not running all of that time
};

/// Why a value gives no interval.
enum class CounterDrop {
    UnknownEvent,
    UnknownThread,
    ReadTwice,            ///< a later value of the same round holds it
    NotEnabled,           ///< nothing that the counter counts was running
    NotRunning,           ///< other counters had its place all the time
    RunningBeyondEnabled, ///< a counter cannot run while it is not enabled
    WentDown,             ///< a running total cannot
    BeyondTime,           ///< more time on CPUs than there was
    BeyondCounter,        ///< more than a counter can count in the time
    TooLarge,             ///< the count has no room in 63 bits
    RoundOutOfTime,       ///< the round does not end after the one before
    SameAfterLastRound,   ///< read once more behind the last round, and not grown
    AfterLastRound,       ///< read behind the last round; when is not known
    Last
};

/// Whether values that were dropped for that reason cannot be true. The others are part of a later
/// value, or count nothing, or when they were read is not known.
bool isImplausible(CounterDrop reason);

/// Makes intervals of the running totals that a counting run writes down round by round: an
/// interval is the difference to the round before. Values that cannot be right give none; the next
/// difference of their counter is taken to them. Memory grows with the counters, not with the
/// rounds. Loading thread only.
class CounterRounds {
public:
    using Take = std::function<void(const CountedInterval&)>;
    using Refuse = std::function<void(const CounterKey&, CounterDrop)>;

    /// `start` is the tick at which the run began, not 0. `cpus` is how many the machine has, 0
    /// where that is not known.
    CounterRounds(std::uint64_t start, std::uint32_t cpus);
    /// Hears of each value of a known counter that is dropped.
    void onRefusal(Refuse refuse) { m_refuse = std::move(refuse); }

    /// Totals of a counter, read for the round that is open.
    void add(const CounterKey& key, const CounterTotals& totals);
    /// Ends the round `time` ns after the start of the run, and gives the intervals in the order in
    /// which the counters were first met.
    void close(std::uint64_t time, const Take& take);
    /// Settles what was read behind the last round; once.
    void finish();
    /// Counts a value that does not come here.
    void drop(CounterDrop reason) { ++m_drops[static_cast<std::size_t>(reason)]; }

    std::uint64_t dropped(CounterDrop reason) const
    {
        return m_drops[static_cast<std::size_t>(reason)];
    }
    /// Start of the run and end of its last round.
    std::uint64_t start() const { return m_start; }
    std::uint64_t last() const { return m_last; }

private:
    struct Counter {
        CounterKey key;
        CounterTotals totals; ///< of the last round
        std::uint64_t tick = 0;
        CounterTotals read; ///< in the open round, where isRead
        bool isRead = false;
    };

    void settle(Counter& counter, const Take& take);
    CounterDrop judge(const Counter& counter, CountedInterval& interval) const;
    std::uint32_t cpusOf(const CounterKey& key) const;
    bool isBeyondTime(const CountedInterval& interval) const;
    bool isBeyondCounter(const CountedInterval& interval) const;
    void refuse(const Counter& counter, CounterDrop reason);

    std::uint64_t m_start;
    std::uint64_t m_last;
    std::uint32_t m_cpus;
    Refuse m_refuse;
    std::vector<Counter> m_counters;
    std::map<CounterKey, std::size_t> m_numbers; ///< in m_counters
    std::vector<std::size_t> m_open;             ///< counters read in the open round
    std::array<std::uint64_t, static_cast<std::size_t>(CounterDrop::Last)> m_drops{};
};

} // namespace samplefold::load
