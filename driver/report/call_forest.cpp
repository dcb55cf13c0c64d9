#include "report/call_forest.h"

#include "report/sql_rows.h"

namespace samplefold::report {
namespace {

using Node = CallForest::Node;
using tb2::variant_t;
using Children = std::unordered_map<std::uint64_t, Node>;
using Callsites = std::unordered_map<std::int64_t, Node>;

/// The node of a label under a caller; made where there is none.
Node nodeUnder(Node caller, CodeLabels::Key label, CallForest& forest, Children& children)
{
    const std::uint64_t key = std::uint64_t{caller} << 32 | label;
    const auto [entry, isNew] = children.try_emplace(key, static_cast<Node>(forest.label.size()));
    if (isNew) {
        forest.caller.push_back(caller);
        forest.label.push_back(label);
    }
    return entry->second;
}

/// Rows come by key, so that a caller that is there has been met: callers have smaller keys. One
/// that has not is taken for none.
Callsites readCallsites(rowvault1::IResult& result, const CodeLabels& labels, CallForest& forest,
                        Children& children)
{
    Callsites callsites;
    visitRows(result, "SELECT id, parent, code_loc FROM dd_callsite ORDER BY id",
              [&](const auto& row) {
                  const auto caller = callsites.find(rowKey(row[1]));
                  const Node above = caller == callsites.end() ? CallForest::none : caller->second;
                  callsites[rowKey(row[0])] =
                      nodeUnder(above, labels.of(rowKey(row[2])), forest, children);
              });
    return callsites;
}

std::string leavesSql(const TickRange& range)
{
    return "WITH leaf AS (SELECT event_type, callsite, count(*) AS samples, " + sumOf("count") +
           " AS total FROM sample_instance" + whereInRange(range) +
           " GROUP BY event_type, callsite) SELECT leaf.event_type, e.name, leaf.callsite, "
           "leaf.samples, leaf.total FROM leaf LEFT JOIN dd_event_type e "
           "ON e.id = leaf.event_type ORDER BY leaf.event_type, leaf.callsite";
}

} // namespace

CallForest readCallForest(rowvault1::IResult& result, const CodeLabels& labels,
                          const TickRange& range)
{
    CallForest forest;
    Children children;
    const Callsites callsites = readCallsites(result, labels, forest, children);
    variant_t eventKey;
    visitRows(result, leavesSql(range), [&](const auto& row) {
        if (forest.events.empty() || !(row[0] == eventKey)) {
            eventKey = row[0];
            forest.events.push_back({row[1], {}, {}});
        }
        const auto callsite = callsites.find(rowKey(row[2]));
        const Node node = callsite != callsites.end()
                              ? callsite->second
                              : nodeUnder(CallForest::none, CodeLabels::unknown, forest, children);
        const Sum sum{row[3].integer_bits(), row[4].integer_bits()};
        forest.events.back().all += sum;
        forest.events.back().leaves.push_back({node, sum});
    });
    return forest;
}

} // namespace samplefold::report
