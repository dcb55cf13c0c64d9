#pragma once

#include <PORTA_2_18/assert.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

// A static centered interval tree: which of many closed intervals hold a point? The owner fills
// `values`, the first query builds the tree in the same call, and from then on it stands as it is.
//
// Invariants of a built tree:
// 1. Every interval of a node holds the node's center.
// 2. Every interval in the left subtree ends below the center, every interval in the right
//    subtree starts above it.
// 3. A node's intervals are one run, at the same position and of the same length in `lowSorted`
//    and in `highSorted`, ascending by low() in the first and descending by high() in the second.
//    The order of intervals that tie is open.
// 4. Every interval stands in exactly one node; a child's run lies behind its parent's.
// 5. A node without intervals has at least one child.
// Centers are medians of the distinct endpoints, so the depth is logarithmic in their number
// whatever the intervals look like.
namespace samplefold_1 {

/// `T` provides the type `RangeType`, an unsigned integer, and the accessors `low()` and `high()`
/// of that type; the interval holds p when low() <= p <= high(), so both ends are inclusive. `A`
/// allocates `values`.
///
/// Thread rule: one thread at a time. A query may build, so queries on several threads need a tree
/// that has been built before, and a derived map may forbid them altogether.
///
/// Ownership: the tree owns its intervals, and everything else points into them. A copy would point
/// into the original, so there is none; a move takes the intervals along without moving them in
/// memory, leaves the source empty and unbuilt, and keeps pointers that queries gave out valid.
template <class T, class A = std::allocator<T>>
class IntervalTree {
public:
    using RangeType = typename T::RangeType;
    static_assert(std::is_unsigned_v<RangeType>);

    IntervalTree() = default;
    IntervalTree(const IntervalTree&) = delete;
    IntervalTree& operator=(const IntervalTree&) = delete;
    IntervalTree(IntervalTree&& other) noexcept;
    IntervalTree& operator=(IntervalTree&& other) noexcept;
    ~IntervalTree() { clearNodes(); }

    /// The intervals, in any order. REQUIRES: filled before the first query; after it nothing is
    /// added, removed or moved, and no low() or high() changes. Other fields may change in place at
    /// any time.
    std::vector<T, A> values;

protected:
    /// One node of the tree.
    struct node_tag_t {
        RangeType center;   ///< the point that tells left from right
        std::int32_t first; ///< position of the node's run in `lowSorted` and `highSorted`
        std::int32_t count; ///< length of the run; 0 for a node that only joins two subtrees
        node_tag_t* left;   ///< owned; null when no interval ends below the center
        node_tag_t* right;  ///< owned; null when no interval starts above the center
    };

    /// Builds the tree unless it stands. When memory runs out, or more than `maxIntervals`
    /// intervals are there (std::length_error), the exception propagates, nothing is leaked, and
    /// the tree stays unbuilt.
    void ensureBuilt()
    {
        if (!built) [[unlikely]]
            build();
    }

    /// Calls `visitor` with a pointer to each interval that holds `point`, from the root towards a
    /// leaf. Within a node: for a point below the center ascending by low(), for a point above it
    /// descending by high(), at the center all of them ascending by low(), and there the walk is
    /// over. Reads at most one interval per node beyond those it visits. Allocates nothing.
    /// REQUIRES: a built tree.
    template <class Visitor>
    void walk(RangeType point, Visitor&& visitor) const;

    /// Replaces `out` with the distinct endpoints of all intervals, ascending.
    void extractValues(std::vector<RangeType>& out) const;

    /// Builds the subtree for invls[start, end) with centers from points[lo..hi], `hi` included,
    /// and returns it, owned by the caller; null when it would hold nothing. Reorders invls[start,
    /// end), writes the runs to `lowSorted` and `highSorted` from position `next` on and moves
    /// `next` behind them. Fires "invls[i]->low() <= invls[i]->high()" for an interval that ends
    /// before it starts and goes on; such an interval gets lost.
    node_tag_t* constructTree(std::vector<T*>& invls, std::int32_t start, std::int32_t end,
                              const std::vector<RangeType>& points, std::int32_t& next,
                              std::int32_t lo, std::int32_t hi);

    /// Frees a subtree, left child first; null does nothing.
    static void deleteTree(node_tag_t* node) noexcept;

    /// Order of `lowSorted`: true when `a` starts before `b`.
    static bool compForAl(const T* a, const T* b) { return a->low() < b->low(); }
    /// Order of `highSorted`: true when `a` ends behind `b`.
    static bool compForDh(const T* a, const T* b) { return a->high() > b->high(); }

    /// Positions are signed 32-bit, and n intervals have up to 2n endpoints.
    static constexpr std::size_t maxIntervals = std::numeric_limits<std::int32_t>::max() / 2;

    std::vector<T*> lowSorted;  ///< all runs, ascending by low() within each; as long as `values`
    std::vector<T*> highSorted; ///< the same runs, descending by high()
    node_tag_t* root = nullptr; ///< owned; null in an empty tree
    std::int32_t nodeCount = 0; ///< nodes that stand
    bool built = false;         ///< set once the tree stands; only a move takes it back

private:
    struct subtree_deleter_t {
        void operator()(node_tag_t* node) const noexcept { deleteTree(node); }
    };
    using subtree_t = std::unique_ptr<node_tag_t, subtree_deleter_t>;

    /// The outcome of a partition: invls[start, rightStart) ends below the center, and
    /// invls[rightStart, rightEnd) starts above it.
    struct zones_t {
        std::int32_t rightStart;
        std::int32_t rightEnd;
    };

    void build();
    void clearNodes() noexcept;
    zones_t partition(std::vector<T*>& invls, std::int32_t start, std::int32_t end,
                      RangeType center, std::int32_t& next);
    void sortRuns(std::int32_t first, std::int32_t count);
};

template <class T, class A>
IntervalTree<T, A>::IntervalTree(IntervalTree&& other) noexcept
    : values(std::move(other.values)), lowSorted(std::move(other.lowSorted)),
      highSorted(std::move(other.highSorted)), root(std::exchange(other.root, nullptr)),
      nodeCount(std::exchange(other.nodeCount, 0)), built(std::exchange(other.built, false))
{
}

template <class T, class A>
IntervalTree<T, A>& IntervalTree<T, A>::operator=(IntervalTree&& other) noexcept
{
    // With any other allocator the vector would move its elements one by one, to other addresses.
    using traits_t = std::allocator_traits<A>;
    static_assert(traits_t::is_always_equal::value ||
                  traits_t::propagate_on_container_move_assignment::value);
    if (this == &other) return *this;
    clearNodes();
    values = std::move(other.values);
    lowSorted = std::move(other.lowSorted);
    highSorted = std::move(other.highSorted);
    root = std::exchange(other.root, nullptr);
    nodeCount = std::exchange(other.nodeCount, 0);
    built = std::exchange(other.built, false);
    return *this;
}

template <class T, class A>
void IntervalTree<T, A>::build()
{
    if (values.size() > maxIntervals) throw std::length_error("too many intervals for one tree");
    std::vector<RangeType> points;
    extractValues(points);
    lowSorted.resize(values.size());
    highSorted.resize(values.size());
    std::vector<T*> invls;
    invls.reserve(values.size());
    for (T& value : values)
        invls.push_back(&value);

    const auto intervalCount = static_cast<std::int32_t>(invls.size());
    const auto pointCount = static_cast<std::int32_t>(points.size());
    std::int32_t next = 0;
    try {
        root = constructTree(invls, 0, intervalCount, points, next, 0, pointCount - 1);
    } catch (...) {
        nodeCount = 0;
        throw;
    }
    built = true;
}

template <class T, class A>
void IntervalTree<T, A>::extractValues(std::vector<RangeType>& out) const
{
    out.clear();
    out.reserve(2 * values.size());
    for (const T& value : values) {
        out.push_back(value.low());
        out.push_back(value.high());
    }
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
}

template <class T, class A>
auto IntervalTree<T, A>::constructTree(std::vector<T*>& invls, std::int32_t start, std::int32_t end,
                                       const std::vector<RangeType>& points, std::int32_t& next,
                                       std::int32_t lo, std::int32_t hi) -> node_tag_t*
{
    if (lo > hi) return nullptr;
    const std::int32_t mid = std::midpoint(lo, hi);
    const RangeType center = points[static_cast<std::size_t>(mid)];
    const std::int32_t first = next;
    const auto [rightStart, rightEnd] = partition(invls, start, end, center, next);
    const std::int32_t count = next - first;

    // Held until the node stands: whatever throws below gives the children back.
    subtree_t left;
    subtree_t right;
    if (start < rightStart && lo < mid)
        left.reset(constructTree(invls, start, rightStart, points, next, lo, mid - 1));
    if (rightStart < rightEnd && mid < hi)
        right.reset(constructTree(invls, rightStart, rightEnd, points, next, mid + 1, hi));
    if (count == 0 && !left && !right) return nullptr;

    sortRuns(first, count);
    auto* const node = new node_tag_t{center, first, count, left.get(), right.get()};
    static_cast<void>(left.release());
    static_cast<void>(right.release());
    ++nodeCount;
    return node;
}

template <class T, class A>
auto IntervalTree<T, A>::partition(std::vector<T*>& invls, std::int32_t start, std::int32_t end,
                                   RangeType center, std::int32_t& next) -> zones_t
{
    // The unread part is [i, rightStart), the right set [rightStart, rightEnd); what holds the
    // center goes behind rightEnd and out of sight.
    const auto at = [&invls](std::int32_t i) -> T*& { return invls[static_cast<std::size_t>(i)]; };
    zones_t zones{end, end};
    for (std::int32_t i = start; i < zones.rightStart;) {
        T* const interval = at(i);
        PORTA_ASSERT_TEXT(interval->low() <= interval->high(),
                          "invls[i]->low() <= invls[i]->high()");
        if (interval->low() > center) {
            std::swap(at(i), at(--zones.rightStart));
        } else if (center <= interval->high()) {
            lowSorted[static_cast<std::size_t>(next)] = interval;
            highSorted[static_cast<std::size_t>(next)] = interval;
            ++next;
            std::swap(at(i), at(--zones.rightStart));
            std::swap(at(zones.rightStart), at(--zones.rightEnd));
        } else {
            ++i;
        }
    }
    return zones;
}

template <class T, class A>
void IntervalTree<T, A>::sortRuns(std::int32_t first, std::int32_t count)
{
    if (count < 2) return;
    std::sort(lowSorted.begin() + first, lowSorted.begin() + first + count, &compForAl);
    std::sort(highSorted.begin() + first, highSorted.begin() + first + count, &compForDh);
}

template <class T, class A>
void IntervalTree<T, A>::deleteTree(node_tag_t* node) noexcept
{
    if (node == nullptr) return;
    deleteTree(node->left);
    deleteTree(node->right);
    delete node;
}

template <class T, class A>
void IntervalTree<T, A>::clearNodes() noexcept
{
    deleteTree(root);
    root = nullptr;
    nodeCount = 0;
}

template <class T, class A>
template <class Visitor>
void IntervalTree<T, A>::walk(RangeType point, Visitor&& visitor) const
{
    for (const node_tag_t* node = root; node != nullptr;) {
        T* const* const byLow = lowSorted.data() + node->first;
        T* const* const byHigh = highSorted.data() + node->first;
        if (point < node->center) {
            for (std::int32_t i = 0; i < node->count && byLow[i]->low() <= point; ++i)
                visitor(byLow[i]);
            node = node->left;
        } else if (node->center < point) {
            for (std::int32_t i = 0; i < node->count && point <= byHigh[i]->high(); ++i)
                visitor(byHigh[i]);
            node = node->right;
        } else {
            // No interval below a node holds the node's center.
            for (std::int32_t i = 0; i < node->count; ++i)
                visitor(byLow[i]);
            return;
        }
    }
}

} // namespace samplefold_1
