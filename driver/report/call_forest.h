#pragma once

#include "report/code_labels.h"
#include "report/sums.h"
#include "report/time_range.h"

#include <rowvault1/result.h>

#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

namespace samplefold::report {

/// The call chains of a result, frames of one label under the same caller put together, and what
/// each event counted in them.
///
/// Invariant: the caller of a node has a smaller number than the node. It is made to hold for every
/// input, a result with chains in a circle included, so that no walk can fail to end.
struct CallForest {
    using Node = std::uint32_t;
    static constexpr Node none = std::numeric_limits<Node>::max();

    struct Leaf {
        Node node; ///< the sampled frame
        Sum sum;
    };
    struct Event {
        tb2::variant_t name;
        Sum all;
        std::vector<Leaf> leaves;
    };

    std::vector<Node> caller; ///< of each node; none at the outermost frame
    std::vector<CodeLabels::Key> label;
    std::vector<Event> events; ///< in the order of their keys
};

/// Reads the chains, and adds up the sample rows in the range. Time grows with the sample rows in
/// the range and with the callsites, not with the length of chains. Throws rowvault1::StoreError.
CallForest readCallForest(rowvault1::IResult& result, const CodeLabels& labels,
                          const TickRange& range);

} // namespace samplefold::report
