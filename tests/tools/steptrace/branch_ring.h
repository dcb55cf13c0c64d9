// Branch records as a processor keeps them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace steptrace {

struct BranchRecord {
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    std::uint64_t flags = 0; ///< as in the branch stack of a perf.data sample
};

/// Says that the processor had predicted the branch; as of most.
inline constexpr std::uint64_t predictedFlag = 2;

/// The newest `depth` records, at least one. A call over a full ring overwrites the oldest record,
/// which does not come back when calls return.
class BranchRing {
public:
    explicit BranchRing(std::size_t depth) : m_records(depth) {}

    void push(const BranchRecord& record)
    {
        m_top = (m_top + 1) % m_records.size();
        m_records[m_top] = record;
        if (m_count < m_records.size()) ++m_count;
    }

    /// Forgets the newest record, if there is one.
    void pop()
    {
        if (m_count == 0) return;
        m_top = (m_top + m_records.size() - 1) % m_records.size();
        --m_count;
    }

    [[nodiscard]] std::vector<BranchRecord> newestFirst() const
    {
        std::vector<BranchRecord> found;
        for (std::size_t back = 0; back < m_count; ++back)
            found.push_back(m_records[(m_top + m_records.size() - back) % m_records.size()]);
        return found;
    }

private:
    std::vector<BranchRecord> m_records;
    std::size_t m_top = 0;
    std::size_t m_count = 0;
};

} // namespace steptrace
