#include "report/tick_bins.h"

#include <algorithm>

namespace samplefold::report {
namespace {

/// Places in the range are whole numbers where a tick is as many long as there are bins, and a bin
/// as many as there are ticks. They need more than 64 bits.
__extension__ using wide_t = unsigned __int128;

wide_t lengthOf(std::uint64_t start, std::uint64_t end)
{
    return wide_t{end - start} + 1;
}

} // namespace

double TickBins::ticksPerBin() const
{
    return static_cast<double>(lengthOf(m_first, m_last)) / static_cast<double>(m_count);
}

long double TickBins::shareOf(std::uint64_t start, std::uint64_t end) const
{
    if (end < m_first || start > m_last) return 0;
    const wide_t inside = lengthOf(std::max(start, m_first), std::min(end, m_last));
    return static_cast<long double>(inside) / static_cast<long double>(lengthOf(start, end));
}

void TickBins::add(std::uint64_t start, std::uint64_t end, long double amount,
                   std::span<long double> amounts) const
{
    if (end < m_first || start > m_last) return;
    const wide_t binLength = lengthOf(m_first, m_last);
    const wide_t from = wide_t{std::max(start, m_first) - m_first} * m_count;
    const wide_t to = (wide_t{std::min(end, m_last) - m_first} + 1) * m_count;
    const long double whole =
        static_cast<long double>(lengthOf(start, end)) * static_cast<long double>(m_count);
    for (auto bin = static_cast<std::size_t>(from / binLength); bin * binLength < to; ++bin) {
        const wide_t low = std::max<wide_t>(from, bin * binLength);
        const wide_t high = std::min<wide_t>(to, (bin + 1) * binLength);
        amounts[bin] += amount * (static_cast<long double>(high - low) / whole);
    }
}

} // namespace samplefold::report
