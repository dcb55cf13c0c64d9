#include "report/event_tree.h"

#include <algorithm>
#include <unordered_map>

namespace samplefold::report {
namespace {

using Node = EventTree::Node;

/// Nodes of the forest on the event's chains, callers before callees.
std::vector<Node> nodesOf(const CallForest& forest, const CallForest::Event& event,
                          std::unordered_map<Node, Node>& place)
{
    std::vector<Node> nodes;
    for (const CallForest::Leaf& leaf : event.leaves) {
        for (Node node = leaf.node; node != CallForest::none; node = forest.caller[node]) {
            if (!place.try_emplace(node).second) break;
            nodes.push_back(node);
        }
    }
    std::sort(nodes.begin(), nodes.end());
    for (std::size_t i = 0; i < nodes.size(); ++i)
        place[nodes[i]] = static_cast<Node>(i);
    return nodes;
}

/// Callees come behind their callers, so that one pass from the end adds everything up.
void addUp(std::vector<EventTree::Entry>& entries)
{
    for (std::size_t i = entries.size(); i-- > 0;) {
        EventTree::Entry& entry = entries[i];
        entry.total += entry.self;
        if (entry.caller == CallForest::none) continue;
        entries[entry.caller].total += entry.total;
        entries[entry.caller].size += entry.size;
    }
}

/// Where each entry comes in a walk: behind its caller and what the caller called before.
std::vector<Node> walkOrder(const std::vector<EventTree::Entry>& entries)
{
    std::vector<Node> place(entries.size());
    std::vector<Node> nextCallee(entries.size());
    Node nextOutermost = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Node caller = entries[i].caller;
        Node& next = caller == CallForest::none ? nextOutermost : nextCallee[caller];
        place[i] = next;
        nextCallee[i] = next + 1;
        next += entries[i].size;
    }
    return place;
}

} // namespace

EventTree::EventTree(const CallForest& forest, const CallForest::Event& event)
{
    std::unordered_map<Node, Node> place;
    const std::vector<Node> nodes = nodesOf(forest, event, place);
    std::vector<Entry> entries;
    entries.reserve(nodes.size());
    for (const Node node : nodes) {
        const Node caller = forest.caller[node];
        entries.push_back({caller == CallForest::none ? caller : place.at(caller),
                           forest.label[node],
                           1,
                           {},
                           {}});
    }
    for (const CallForest::Leaf& leaf : event.leaves)
        entries[place.at(leaf.node)].self += leaf.sum;
    addUp(entries);
    const std::vector<Node> order = walkOrder(entries);
    m_entries.resize(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        Entry& entry = m_entries[order[i]] = entries[i];
        if (entry.caller != CallForest::none) entry.caller = order[entry.caller];
    }
}

} // namespace samplefold::report
