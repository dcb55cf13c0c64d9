#pragma once

#include "report/event_tree.h"

#include <memory>
#include <vector>

namespace samplefold::report {

/// How the call tree of an event is looked at.
enum class TreeKind {
    tree,    ///< from the outermost frame inwards
    callers, ///< from the sampled functions to those that called them
    callees  ///< from each function to those that it called
};

/// An entry of a view: a label, what was counted for it, and where in the tree it stands.
struct Branch {
    struct Place {
        EventTree::Node node;
        Sum sum; ///< of the samples that lead here; only views from the sampled function need it
    };

    CodeLabels::Key label = CodeLabels::unknown;
    Sum total;
    Sum self;                                       ///< of samples that hit in the entry itself
    CodeLabels::Key topLabel = CodeLabels::unknown; ///< of the top entry that it stands under
    std::vector<Place> places;                      ///< by rising nodes, none twice
};

/// A view of one event's tree. Entries are found level by level on request, so that memory is that
/// of the entries in hand. They come in no order. `tree` outlives the view.
///
/// In the view of callees the total of an entry counts the samples in whose chain the labels from
/// the top entry to this one stand directly below each other, each sample once, however often they
/// do. A call back into the top entry's function ends a branch, for what that called stands right
/// below the top. Callees of an entry can therefore overlap; entries of the other views cannot.
class TreeView {
public:
    virtual ~TreeView() = default;

    virtual std::vector<Branch> topEntries() const = 0;
    virtual std::vector<Branch> entriesBelow(const Branch& branch) const = 0;
    virtual bool hasEntriesBelow(const Branch& branch) const = 0;
    /// Whether the totals of entries below the same one may be added up.
    virtual bool addsUp() const { return true; }
};

std::unique_ptr<TreeView> makeTreeView(TreeKind kind, const EventTree& tree);

} // namespace samplefold::report
