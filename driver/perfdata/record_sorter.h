// Exact time order for records that come out of order, with memory bounded by the disorder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace samplefold::perfdata {

/// A record waiting for its turn.
struct TimedRecord {
    std::uint64_t time = 0;
    std::uint64_t position = 0; ///< in the stream
};

/// Sorts by time; equal times keep their order. Linear when the records consist of a few ascending
/// runs, as the buffers of the CPUs leave them. `scratch` is working space, kept between calls.
void sortByTime(std::vector<TimedRecord>& records, std::vector<TimedRecord>& scratch);

/// Holds sorted runs of pending records and gives them out merged.
/// Invariants: 1. every run is sorted by time, ties by position; 2. all positions of a run are
/// below those of the next; 3. after compact, each run has more than twice the records of the next,
/// so there are few of them.
class RecordSorter {
public:
    /// Adds a run sorted by sortByTime whose positions are above all added before; takes its
    /// content.
    void addRun(std::vector<TimedRecord>& run);

    /// Calls `give(const TimedRecord&)` for each pending record with a time not above `limit`, by
    /// time, ties by position, and drops it.
    template <class Give>
    void giveUpTo(std::uint64_t limit, Give&& give)
    {
        for (;;) {
            Run* first = nullptr;
            const TimedRecord* second = nullptr;
            findFirstTwo(first, second);
            if (first == nullptr || first->front().time > limit) break;
            // Records of the first run may go while they are due before the second run's front. On
            // a tie the run with lower positions goes first.
            const std::uint64_t bound =
                second == nullptr ? limit : boundBefore(*first, *second, limit);
            do {
                const TimedRecord record = first->front();
                ++first->next;
                --m_pending;
                give(record);
            } while (!first->done() && first->front().time <= bound);
        }
        compact();
    }

    [[nodiscard]] std::size_t pending() const noexcept { return m_pending; }

private:
    struct Run {
        std::vector<TimedRecord> records;
        std::size_t next = 0;

        [[nodiscard]] bool done() const noexcept { return next == records.size(); }
        [[nodiscard]] const TimedRecord& front() const noexcept { return records[next]; }
        [[nodiscard]] std::size_t left() const noexcept { return records.size() - next; }
    };

    void findFirstTwo(Run*& first, const TimedRecord*& second);
    static std::uint64_t boundBefore(const Run& first, const TimedRecord& second,
                                     std::uint64_t limit) noexcept;
    void compact();
    void mergeLastTwo();
    void recycle(std::vector<TimedRecord>&& records);

    std::vector<Run> m_runs;
    std::vector<TimedRecord> m_spare;
    std::size_t m_pending = 0;
};

} // namespace samplefold::perfdata
