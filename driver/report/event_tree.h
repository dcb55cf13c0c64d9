#pragma once

#include "report/call_forest.h"

#include <cstdint>
#include <vector>

namespace samplefold::report {

/// The call tree of one event, of the nodes that lie on its chains.
///
/// Invariants: nodes stand in the order in which a walk meets them, a caller right before what it
/// called; node n and all that it called are [n, n + size). The total of a node is its own sum and
/// the totals of its callees. Building takes no recursion, however deep the chains are.
class EventTree {
public:
    using Node = CallForest::Node;

    struct Entry {
        Node caller; ///< CallForest::none at the outermost frame
        CodeLabels::Key label;
        Node size; ///< nodes, this one included
        Sum self;  ///< of samples that hit here
        Sum total; ///< of samples whose chain leads through here
    };

    EventTree(const CallForest& forest, const CallForest::Event& event);

    Node size() const { return static_cast<Node>(m_entries.size()); }
    const Entry& operator[](Node node) const { return m_entries[node]; }
    Node end(Node node) const { return node + m_entries[node].size; }

    /// Calls visit(node) for each node between `from` and `to` that lies under none of the others.
    template <class Visit>
    void forEachOutermost(Node from, Node to, Visit&& visit) const
    {
        for (Node node = from; node < to; node = end(node))
            visit(node);
    }
    template <class Visit>
    void forEachCallee(Node node, Visit&& visit) const
    {
        forEachOutermost(node + 1, end(node), visit);
    }

private:
    std::vector<Entry> m_entries;
};

} // namespace samplefold::report
