#include "report/tree_view.h"

#include <algorithm>
#include <tuple>

namespace samplefold::report {
namespace {

using Node = EventTree::Node;

/// A place on its way to the entry of its label.
struct Found {
    CodeLabels::Key label;
    Branch::Place place;
};

/// An entry for each label. No node is found twice: the callees of a node have labels of their own,
/// so that nodes of one entry, between which and the sampled frame the same labels stand, have
/// different callers.
std::vector<Branch> gather(std::vector<Found>& found)
{
    std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
        return std::tie(a.label, a.place.node) < std::tie(b.label, b.place.node);
    });
    std::vector<Branch> branches;
    for (const Found& one : found) {
        if (branches.empty() || branches.back().label != one.label) {
            branches.emplace_back();
            branches.back().label = one.label;
        }
        branches.back().places.push_back(one.place);
    }
    return branches;
}

class FromOutermost final : public TreeView {
public:
    explicit FromOutermost(const EventTree& tree) : m_tree(tree) {}

    std::vector<Branch> topEntries() const override
    {
        std::vector<Branch> branches;
        m_tree.forEachOutermost(0, m_tree.size(),
                                [&](Node node) { branches.push_back(entry(node)); });
        return branches;
    }
    std::vector<Branch> entriesBelow(const Branch& branch) const override
    {
        std::vector<Branch> branches;
        m_tree.forEachCallee(branch.places.front().node,
                             [&](Node node) { branches.push_back(entry(node)); });
        return branches;
    }
    bool hasEntriesBelow(const Branch& branch) const override
    {
        return m_tree[branch.places.front().node].size > 1;
    }

private:
    Branch entry(Node node) const
    {
        const EventTree::Entry& found = m_tree[node];
        return {found.label, found.total, found.self, found.label, {{node, {}}}};
    }

    const EventTree& m_tree;
};

class Callers final : public TreeView {
public:
    explicit Callers(const EventTree& tree) : m_tree(tree) {}

    std::vector<Branch> topEntries() const override
    {
        std::vector<Found> found;
        for (Node node = 0; node < m_tree.size(); ++node) {
            const EventTree::Entry& entry = m_tree[node];
            if (entry.self != Sum{}) found.push_back({entry.label, {node, entry.self}});
        }
        return added(found);
    }
    /// Where some of the chains end, the others stand beside an entry for those.
    std::vector<Branch> entriesBelow(const Branch& branch) const override
    {
        std::vector<Found> found;
        Sum withoutCaller;
        for (const Branch::Place& place : branch.places) {
            const Node caller = m_tree[place.node].caller;
            if (caller == CallForest::none) {
                withoutCaller += place.sum;
            } else {
                found.push_back({m_tree[caller].label, {caller, place.sum}});
            }
        }
        std::vector<Branch> branches = added(found);
        if (branches.empty() || withoutCaller == Sum{}) return branches;
        branches.push_back({CodeLabels::noCaller, withoutCaller, {}, CodeLabels::noCaller, {}});
        return branches;
    }
    bool hasEntriesBelow(const Branch& branch) const override
    {
        return std::any_of(branch.places.begin(), branch.places.end(), [this](const auto& place) {
            return m_tree[place.node].caller != CallForest::none;
        });
    }

private:
    static std::vector<Branch> added(std::vector<Found>& found)
    {
        std::vector<Branch> branches = gather(found);
        for (Branch& branch : branches) {
            for (const Branch::Place& place : branch.places)
                branch.total += place.sum;
        }
        return branches;
    }

    const EventTree& m_tree;
};

class Callees final : public TreeView {
public:
    explicit Callees(const EventTree& tree) : m_tree(tree) {}

    std::vector<Branch> topEntries() const override
    {
        std::vector<Found> found;
        for (Node node = 0; node < m_tree.size(); ++node)
            found.push_back({m_tree[node].label, {node, {}}});
        std::vector<Branch> branches = added(found);
        for (Branch& branch : branches)
            branch.topLabel = branch.label;
        return branches;
    }
    std::vector<Branch> entriesBelow(const Branch& branch) const override
    {
        std::vector<Found> found;
        for (const Branch::Place& place : branch.places) {
            m_tree.forEachCallee(place.node, [&](Node node) {
                found.push_back({m_tree[node].label, {node, {}}});
            });
        }
        std::vector<Branch> branches = added(found);
        for (Branch& below : branches) {
            below.topLabel = branch.topLabel;
            if (below.label == branch.topLabel) below.places.clear();
        }
        return branches;
    }
    bool hasEntriesBelow(const Branch& branch) const override
    {
        return std::any_of(branch.places.begin(), branch.places.end(),
                           [this](const auto& place) { return m_tree[place.node].size > 1; });
    }
    bool addsUp() const override { return false; }

private:
    /// A place below another of the same entry has its samples counted there.
    std::vector<Branch> added(std::vector<Found>& found) const
    {
        std::vector<Branch> branches = gather(found);
        for (Branch& branch : branches) {
            Node counted = 0;
            for (const Branch::Place& place : branch.places) {
                branch.self += m_tree[place.node].self;
                if (place.node < counted) continue;
                branch.total += m_tree[place.node].total;
                counted = m_tree.end(place.node);
            }
        }
        return branches;
    }

    const EventTree& m_tree;
};

} // namespace

std::unique_ptr<TreeView> makeTreeView(TreeKind kind, const EventTree& tree)
{
    if (kind == TreeKind::callers) return std::make_unique<Callers>(tree);
    if (kind == TreeKind::callees) return std::make_unique<Callees>(tree);
    return std::make_unique<FromOutermost>(tree);
}

} // namespace samplefold::report
