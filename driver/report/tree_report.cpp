#include "report/tree_report.h"

#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/summary.h"
#include "report/text_table.h"
#include "report/tree_json.h"
#include "report/tree_text.h"

#include <string>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

const char* nameOf(TreeKind kind)
{
    switch (kind) {
    case TreeKind::callers:
        return "callers";
    case TreeKind::callees:
        return "callees";
    default:
        return "tree";
    }
}

const char* titleOf(TreeKind kind)
{
    switch (kind) {
    case TreeKind::callers:
        return "sampled functions, with their callers below";
    case TreeKind::callees:
        return "functions and all below them, with what they called";
    default:
        return "call tree from the outermost frame";
    }
}

/// All that is counted in the view of callers is of the sampled functions at its top.
bool hasSelf(TreeKind kind)
{
    return kind != TreeKind::callers;
}

void checkReportable(rowvault1::IResult& result, const TickRange& range)
{
    if (result.info("stacks") == "off") {
        throw ReportError(result.databasePath() +
                          ": it was loaded without call chains: load again with --stacks on");
    }
    if (range.isSet()) checkRowsHaveTicks(result);
}

/// `value` as a member of an object that is written by hand.
std::string member(const char* name, const ordered_json& value)
{
    return '"' + std::string(name) + "\": " + jsonText(value, -1);
}

void writeEventJson(const CallForest& forest, const CallForest::Event& event,
                    const CodeLabels& labels, const TreeOptions& options, bool withSamples,
                    std::ostream& out)
{
    const EventTree tree(forest, event);
    const auto view = makeTreeView(options.kind, tree);
    TreeJson sink(labels, event.all, {withSamples, hasSelf(options.kind), view->addsUp()}, out);
    out << "    {\n      " << member("event", toJson(event.name)) << ",\n      ";
    if (withSamples) out << member("samples", event.all.samples) << ",\n      ";
    out << member("count", event.all.events()) << ",\n      \"nodes\": [";
    walkTree(*view, labels, event.all, options.limits, sink);
    out << "\n      ],\n      " << member("not_shown", sink.unshown()) << "\n    }";
}

} // namespace

std::uint64_t usualDepth(TreeKind kind)
{
    constexpr std::uint64_t treeDepth = 40;
    constexpr std::uint64_t callersDepth = 6;
    constexpr std::uint64_t calleesDepth = 2;
    switch (kind) {
    case TreeKind::callers:
        return callersDepth;
    case TreeKind::callees:
        return calleesDepth;
    default:
        return treeDepth;
    }
}

void writeTrees(rowvault1::IResult& result, const TreeOptions& options, std::ostream& out)
{
    checkReportable(result, options.range);
    writeSummary(result, out, options.range);
    const CodeLabels labels(result);
    const CallForest forest = readCallForest(result, labels, options.range);
    for (const CallForest::Event& event : forest.events) {
        out << "\nEvent " << printable(toText(event.name)) << ": " << titleOf(options.kind) << '\n';
        const EventTree tree(forest, event);
        const auto view = makeTreeView(options.kind, tree);
        TreeText sink(labels, event.all, options.limits, {hasSelf(options.kind), view->addsUp()},
                      out);
        walkTree(*view, labels, event.all, options.limits, sink);
    }
}

/// What is small goes through the JSON library; the lists are written as they are walked.
void writeTreesJson(rowvault1::IResult& result, const TreeOptions& options, std::ostream& out)
{
    checkReportable(result, options.range);
    ordered_json head = summaryToJson(result, options.range);
    head["report"] = nameOf(options.kind);
    std::string text = jsonText(head, 2);
    text.resize(text.rfind('\n')); // before the closing brace
    out << text << ",\n  \"events\": [";
    const CodeLabels labels(result);
    const CallForest forest = readCallForest(result, labels, options.range);
    const bool withSamples = rowsAreSamples(result);
    for (std::size_t i = 0; i < forest.events.size(); ++i) {
        out << (i == 0 ? "\n" : ",\n");
        writeEventJson(forest, forest.events[i], labels, options, withSamples, out);
    }
    out << (forest.events.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

} // namespace samplefold::report
