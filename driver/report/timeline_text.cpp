#include "report/timeline_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>

namespace samplefold::report {
namespace {

/// "  |" in front and "|" behind.
constexpr std::size_t g_edges = 4;
constexpr std::size_t g_fewestColumns = 10;
constexpr const char* g_bars[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr int g_levels = 8;

/// "Class_7" is 7, those from 10 on go by letters as in numbers of base 36, others by a sign.
char symbolFor(std::string_view name)
{
    constexpr std::string_view prefix = "Class_";
    constexpr std::string_view digits = "0123456789abcdefghijklmnopqrstuvwxyz";
    if (name == "Invalid") return '-';
    if (!name.starts_with(prefix)) return '?';
    name.remove_prefix(prefix.size());
    std::size_t number = digits.size();
    const auto [stop, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    return error == std::errc() && number < digits.size() ? digits[number] : '*';
}

} // namespace

TimelineText::TimelineText(const Timeline& timeline, std::size_t width)
    : m_timeline(timeline),
      m_columns(std::min(timeline.bins.count(),
                         width > g_fewestColumns + g_edges ? width - g_edges : g_fewestColumns))
{
    for (const ThreadTimeline& thread : timeline.threads) {
        for (std::size_t column = 0; column < m_columns; ++column)
            m_full = std::max(m_full, meanIn(thread.counts, column));
        for (const auto& [name, ticks] : thread.classes)
            m_symbols.emplace(name, symbolFor(name));
    }
    m_full *= binsPerColumn();
}

double TimelineText::binsPerColumn() const
{
    return static_cast<double>(m_timeline.bins.count()) / static_cast<double>(m_columns);
}

std::size_t TimelineText::firstBin(std::size_t column) const
{
    return column * m_timeline.bins.count() / m_columns;
}

/// For a bin of the column.
double TimelineText::meanIn(const std::vector<long double>& amounts, std::size_t column) const
{
    const auto first = amounts.begin() + static_cast<std::ptrdiff_t>(firstBin(column));
    const auto last = amounts.begin() + static_cast<std::ptrdiff_t>(firstBin(column + 1));
    const long double sum = std::accumulate(first, last, 0.0L);
    return static_cast<double>(sum / static_cast<long double>(last - first));
}

std::string TimelineText::bars(const ThreadTimeline& thread) const
{
    const double full = m_full / binsPerColumn();
    std::string line;
    for (std::size_t column = 0; column < m_columns; ++column) {
        const double mean = meanIn(thread.counts, column);
        const int level = mean > 0 ? static_cast<int>(std::ceil(mean / full * g_levels)) : 0;
        line += g_bars[std::clamp(level, 0, g_levels)];
    }
    return line;
}

char TimelineText::symbolOf(const ThreadTimeline& thread, std::size_t column) const
{
    char symbol = ' ';
    double most = 0;
    for (const auto& [name, ticks] : thread.classes) {
        const double mean = meanIn(ticks, column);
        if (mean <= most) continue;
        most = mean;
        symbol = m_symbols.find(name)->second;
    }
    return symbol;
}

std::string TimelineText::classes(const ThreadTimeline& thread) const
{
    std::string line;
    for (std::size_t column = 0; column < m_columns; ++column)
        line += symbolOf(thread, column);
    return line;
}

std::string TimelineText::legend() const
{
    std::string text;
    for (const auto& [name, symbol] : m_symbols)
        text += (text.empty() ? "" : ", ") + std::string(1, symbol) + " " + name;
    return text;
}

} // namespace samplefold::report
