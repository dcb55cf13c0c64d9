#pragma once

#include "report/time_range.h"
#include "report/tree_walk.h"

#include <rowvault1/result.h>

#include <ostream>

namespace samplefold::report {

struct TreeOptions {
    TreeKind kind = TreeKind::tree;
    TreeLimits limits;
    TickRange range;
};

/// Levels that are shown where the user does not say: enough of a call tree for a terminal, the
/// nearest callers, the direct callees.
std::uint64_t usualDepth(TreeKind kind);

/// The summary of a result, and for each event its call tree as seen by the options. Throws
/// rowvault1::StoreError, and ReportError where the result has no call chains.
void writeTrees(rowvault1::IResult& result, const TreeOptions& options, std::ostream& out);

/// The same as one JSON object with the keys of summaryToJson, "report" (the kind's name) and
/// "events": objects with the keys "event", "samples", "count", "nodes" (a flat list: "id" counts
/// from 1, "parent" is the id of the entry above, null at the top, "depth" counts from 0) and
/// "not_shown". An item with the key "hidden" stands for that many entries of its place.
void writeTreesJson(rowvault1::IResult& result, const TreeOptions& options, std::ostream& out);

} // namespace samplefold::report
