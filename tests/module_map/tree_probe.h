#pragma once

#include <samplefold_1/compute_task_map.h>
#include <samplefold_1/seg_inst_map.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// A map with its tree laid open: the nodes in preorder, the walk, and the checker of the
// invariants.
namespace samplefold_1::test {

template <class Map>
class TreeProbe : public Map {
public:
    using node_t = typename Map::node_tag_t;
    using stored_t = typename decltype(Map::values)::value_type;

    using Map::built;
    using Map::compForAl;
    using Map::compForDh;
    using Map::constructTree;
    using Map::deleteTree;
    using Map::ensureBuilt;
    using Map::extractValues;
    using Map::highSorted;
    using Map::lowSorted;
    using Map::maxIntervals;
    using Map::nodeCount;
    using Map::root;
    using Map::walk;

    std::size_t positionOf(const stored_t* stored) const
    {
        return static_cast<std::size_t>(stored - this->values.data());
    }

    /// Positions in `values` of the intervals that the walk visits, in its order.
    std::vector<std::size_t> visited(std::uint64_t point)
    {
        ensureBuilt();
        std::vector<std::size_t> out;
        walk(point, [&](const stored_t* stored) { out.push_back(positionOf(stored)); });
        return out;
    }

    std::size_t depth() const { return depthOf(root); }

    /// What is wrong with the tree; the empty text when every invariant holds.
    std::string violation() const
    {
        if (!built) return "not built";
        if (lowSorted.size() != this->values.size() || highSorted.size() != this->values.size())
            return "runs are not as long as values";
        std::vector<const node_t*> nodes;
        listNodes(root, nodes);
        if (nodes.size() != static_cast<std::size_t>(nodeCount)) return "nodeCount is wrong";
        for (const node_t* node : nodes)
            if (std::string text = violationAt(*node); !text.empty()) return text;
        return everyIntervalStandsOnce(nodes) ? "" : "an interval is missing or stands twice";
    }

private:
    using run_t = std::vector<const stored_t*>;

    static std::size_t depthOf(const node_t* node)
    {
        return node == nullptr ? 0 : 1 + std::max(depthOf(node->left), depthOf(node->right));
    }

    static void listNodes(const node_t* node, std::vector<const node_t*>& out)
    {
        if (node == nullptr) return;
        out.push_back(node);
        listNodes(node->left, out);
        listNodes(node->right, out);
    }

    static run_t runOf(const std::vector<stored_t*>& sorted, const node_t& node)
    {
        return {sorted.begin() + node.first, sorted.begin() + node.first + node.count};
    }

    run_t intervalsBelow(const node_t* subtree) const
    {
        std::vector<const node_t*> nodes;
        listNodes(subtree, nodes);
        run_t out;
        for (const node_t* node : nodes)
            for (const stored_t* stored : runOf(lowSorted, *node))
                out.push_back(stored);
        return out;
    }

    std::string violationAt(const node_t& node) const
    {
        const auto size = static_cast<std::int64_t>(this->values.size());
        if (node.first < 0 || node.count < 0 || std::int64_t{node.first} + node.count > size)
            return "a run lies outside the vectors";
        if (node.count == 0 && node.left == nullptr && node.right == nullptr)
            return "a leaf holds nothing";
        if (std::string text = runViolation(node); !text.empty()) return text;
        for (const node_t* child : {node.left, node.right})
            if (child != nullptr && child->first < node.first + node.count)
                return "a child's run does not lie behind its parent's";
        for (const stored_t* stored : intervalsBelow(node.left))
            if (stored->high() >= node.center) return "an interval on the left reaches the center";
        for (const stored_t* stored : intervalsBelow(node.right))
            if (stored->low() <= node.center) return "an interval on the right reaches the center";
        return "";
    }

    std::string runViolation(const node_t& node) const
    {
        run_t low = runOf(lowSorted, node);
        run_t high = runOf(highSorted, node);
        for (std::size_t i = 0; i < low.size(); ++i) {
            if (low[i]->low() > node.center || low[i]->high() < node.center)
                return "an interval does not hold its node's center";
            if (i > 0 && low[i - 1]->low() > low[i]->low()) return "lowSorted is out of order";
            if (i > 0 && high[i - 1]->high() < high[i]->high()) return "highSorted is out of order";
        }
        std::sort(low.begin(), low.end());
        std::sort(high.begin(), high.end());
        return low == high ? "" : "the two runs of a node hold different intervals";
    }

    bool everyIntervalStandsOnce(const std::vector<const node_t*>& nodes) const
    {
        std::vector<int> seen(this->values.size(), 0);
        for (const node_t* node : nodes)
            for (const stored_t* stored : runOf(lowSorted, *node))
                ++seen.at(positionOf(stored));
        return std::all_of(seen.begin(), seen.end(), [](int times) { return times == 1; });
    }
};

} // namespace samplefold_1::test
