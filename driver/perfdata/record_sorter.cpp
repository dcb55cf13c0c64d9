#include "perfdata/record_sorter.h"

#include <algorithm>
#include <utility>

namespace samplefold::perfdata {

namespace {

bool earlier(const TimedRecord& a, const TimedRecord& b) noexcept
{
    return a.time < b.time;
}

/// Ends of the maximal ascending runs.
std::vector<std::size_t> findRunEnds(const std::vector<TimedRecord>& records)
{
    std::vector<std::size_t> ends;
    for (std::size_t at = 1; at < records.size(); ++at)
        if (earlier(records[at], records[at - 1])) ends.push_back(at);
    ends.push_back(records.size());
    return ends;
}

using Position = std::vector<TimedRecord>::difference_type;

/// Merges neighbouring runs pairwise from `from` to `to`; leaves the ends of the longer runs in
/// `ends`.
void mergePairs(const std::vector<TimedRecord>& from, std::vector<TimedRecord>& to,
                std::vector<std::size_t>& ends)
{
    std::size_t begin = 0;
    std::size_t kept = 0;
    for (std::size_t run = 0; run < ends.size(); run += 2) {
        const std::size_t middle = ends[run];
        const std::size_t end = run + 1 < ends.size() ? ends[run + 1] : middle;
        std::merge(from.begin() + static_cast<Position>(begin),
                   from.begin() + static_cast<Position>(middle),
                   from.begin() + static_cast<Position>(middle),
                   from.begin() + static_cast<Position>(end),
                   to.begin() + static_cast<Position>(begin), earlier);
        ends[kept++] = end;
        begin = end;
    }
    ends.resize(kept);
}

} // namespace

void sortByTime(std::vector<TimedRecord>& records, std::vector<TimedRecord>& scratch)
{
    if (records.empty() || std::is_sorted(records.begin(), records.end(), earlier)) return;
    std::vector<std::size_t> ends = findRunEnds(records);
    scratch.resize(records.size());
    while (ends.size() > 1) {
        mergePairs(records, scratch, ends);
        records.swap(scratch);
    }
}

void RecordSorter::addRun(std::vector<TimedRecord>& run)
{
    if (run.empty()) return;
    m_pending += run.size();
    Run& added = m_runs.emplace_back();
    added.records = std::exchange(run, std::exchange(m_spare, {})); // the caller gets room to fill
    run.clear();
}

void RecordSorter::findFirstTwo(Run*& first, const TimedRecord*& second)
{
    for (Run& run : m_runs) {
        if (run.done()) continue;
        if (first == nullptr || earlier(run.front(), first->front())) {
            second = first == nullptr ? nullptr : &first->front();
            first = &run;
        } else if (second == nullptr || earlier(run.front(), *second)) {
            second = &run.front();
        }
    }
}

std::uint64_t RecordSorter::boundBefore(const Run& first, const TimedRecord& second,
                                        std::uint64_t limit) noexcept
{
    const bool firstWinsTie = first.front().position < second.position;
    // Without the tie, at least the front itself is due: its time is below the second's.
    const std::uint64_t bound = firstWinsTie ? second.time : second.time - 1;
    return std::min(bound, limit);
}

void RecordSorter::compact()
{
    std::size_t kept = 0;
    for (std::size_t run = 0; run < m_runs.size(); ++run) {
        if (m_runs[run].done())
            recycle(std::move(m_runs[run].records));
        else if (kept++ != run)
            m_runs[kept - 1] = std::move(m_runs[run]);
    }
    m_runs.resize(kept);
    while (m_runs.size() > 1 && m_runs[m_runs.size() - 2].left() <= 2 * m_runs.back().left())
        mergeLastTwo();
}

void RecordSorter::mergeLastTwo()
{
    Run& older = m_runs[m_runs.size() - 2];
    Run& newer = m_runs.back();
    std::vector<TimedRecord> merged = std::exchange(m_spare, {});
    merged.resize(older.left() + newer.left());
    std::merge(older.records.begin() + static_cast<Position>(older.next), older.records.end(),
               newer.records.begin() + static_cast<Position>(newer.next), newer.records.end(),
               merged.begin(), earlier);
    recycle(std::move(older.records));
    older.records = std::move(merged);
    older.next = 0;
    m_runs.pop_back();
}

void RecordSorter::recycle(std::vector<TimedRecord>&& records)
{
    if (records.capacity() > m_spare.capacity()) m_spare = std::move(records);
    m_spare.clear();
}

} // namespace samplefold::perfdata
