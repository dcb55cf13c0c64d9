#include "walk_model.h"

#include <algorithm>
#include <set>

namespace samplefold_1::test {
namespace {

using intervals_t = std::vector<model_interval_t>;
using points_t = std::vector<std::uint64_t>;

bool holds(const model_interval_t& interval, std::uint64_t point)
{
    return interval.low <= point && point <= interval.high;
}

points_t distinctEndpoints(const intervals_t& intervals)
{
    std::set<std::uint64_t> points;
    for (const auto& interval : intervals)
        points.insert({interval.low, interval.high});
    return {points.begin(), points.end()};
}

template <class Predicate>
intervals_t only(const intervals_t& from, Predicate predicate)
{
    intervals_t out;
    std::copy_if(from.begin(), from.end(), std::back_inserter(out), predicate);
    return out;
}

void sortForPoint(intervals_t& node, bool pointIsRightOfCenter)
{
    std::sort(node.begin(), node.end(), [&](const auto& a, const auto& b) {
        return pointIsRightOfCenter ? a.high > b.high : a.low < b.low;
    });
}

void visit(const intervals_t& intervals, const points_t& points, std::uint64_t point,
           std::vector<std::size_t>& out)
{
    if (points.empty()) return;
    // The lower of the two medians when the number of points is even.
    const auto median = points.begin() + static_cast<std::ptrdiff_t>((points.size() - 1) / 2);
    const std::uint64_t center = *median;

    intervals_t node = only(intervals, [&](const auto& i) { return holds(i, center); });
    sortForPoint(node, center < point);
    for (const auto& interval : node)
        if (holds(interval, point)) out.push_back(interval.id);

    if (point < center)
        visit(only(intervals, [&](const auto& i) { return i.high < center; }),
              points_t(points.begin(), median), point, out);
    if (point > center)
        visit(only(intervals, [&](const auto& i) { return i.low > center; }),
              points_t(median + 1, points.end()), point, out);
}

} // namespace

std::vector<std::size_t> modelWalk(const intervals_t& intervals, std::uint64_t point)
{
    std::vector<std::size_t> out;
    visit(intervals, distinctEndpoints(intervals), point, out);
    return out;
}

std::vector<std::size_t> modelScan(const intervals_t& intervals, std::uint64_t point)
{
    std::vector<std::size_t> out;
    for (const auto& interval : intervals)
        if (holds(interval, point)) out.push_back(interval.id);
    std::sort(out.begin(), out.end());
    return out;
}

} // namespace samplefold_1::test
