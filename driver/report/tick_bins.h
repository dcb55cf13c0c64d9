#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace samplefold::report {

/// A range of ticks, both ends included, cut into bins of one width. Widths need not be whole
/// ticks: a tick on a border belongs to both bins in part. Any thread.
class TickBins {
public:
    /// `first` is not behind `last`, and there is a bin at least.
    TickBins(std::uint64_t first, std::uint64_t last, std::size_t count)
        : m_first(first), m_last(last), m_count(count)
    {
    }

    std::uint64_t first() const { return m_first; }
    std::uint64_t last() const { return m_last; }
    std::size_t count() const { return m_count; }
    double ticksPerBin() const;

    /// Which share of an interval, both ends included and in their order, lies in the range.
    long double shareOf(std::uint64_t start, std::uint64_t end) const;
    /// Shares an amount that is spread evenly over an interval out among the bins, of which
    /// `amounts` has one entry each; what lies outside of the range is left out.
    void add(std::uint64_t start, std::uint64_t end, long double amount,
             std::span<long double> amounts) const;

private:
    std::uint64_t m_first;
    std::uint64_t m_last;
    std::size_t m_count;
};

} // namespace samplefold::report
