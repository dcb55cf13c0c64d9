#pragma once

#include "report/tree_view.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace samplefold::report {

/// What of a view is shown.
struct TreeLimits {
    std::uint64_t top = 10;  ///< entries at the top; 0: all
    std::uint64_t depth = 0; ///< levels; 0: all
    double minPercent = 0.5; ///< of the event; entries below it are told as one
};

/// Receives a view entry by entry, each before those below it.
class ITreeSink {
public:
    struct Position {
        std::uint64_t id;                   ///< counts from 1 in the event
        std::optional<std::uint64_t> above; ///< id of the entry that it stands below
        std::uint64_t depth;                ///< 0 at the top
    };
    /// Entries of one place that are not shown.
    struct Hidden {
        std::uint64_t number = 0;
        Sum sum;     ///< of all where the view adds up
        Sum largest; ///< the highest count among them
    };
    /// Why something is not shown.
    struct Unshown {
        std::uint64_t overLimit = 0;    ///< entries at the top
        std::uint64_t belowMinimum = 0; ///< entries below minPercent
        std::uint64_t deeper = 0;       ///< shown entries whose lower levels are not
    };

    virtual void onEntry(const Position& position, const Branch& branch) = 0;
    virtual void onHidden(const Position& position, const Hidden& hidden) = 0;
    virtual void onEnd(const Unshown& unshown) = 0;

protected:
    ~ITreeSink() = default;
};

/// Walks a view of an event of which `all` was counted: entries of a level by falling count, then
/// samples, then by their text and module. Uses no recursion.
void walkTree(const TreeView& view, const CodeLabels& labels, const Sum& all,
              const TreeLimits& limits, ITreeSink& sink);

} // namespace samplefold::report
