#include "cli/commands.h"
#include "cli/json_output.h"
#include "cli/option_checks.h"
#include "report/core_class.h"
#include "report/on_cpu.h"
#include "report/profile_report.h"
#include "report/tree_report.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace samplefold::cli {
namespace {

struct ReportSettings {
    std::string result;
    std::string by = "module";
    bool tree = false;
    bool callers = false;
    bool callees = false;
    bool onCpu = false;
    std::uint64_t limit = 10;
    std::optional<std::uint64_t> depth;
    std::optional<double> minPercent;
    std::string from;
    std::string to;
    bool json = false;

    bool isTree() const { return tree || callers || callees; }
};

/// A grouping of time and not of samples.
constexpr const char* g_coreClass = "core-class";

std::vector<std::string> groupingNames()
{
    std::vector<std::string> names;
    for (const auto& [name, grouping] : report::groupings())
        names.push_back(name);
    names.emplace_back(g_coreClass);
    return names;
}

std::string percentProblem(const std::string& text)
{
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    const bool isPercent = error == std::errc() && stop == end && value >= 0 && value <= 100;
    return isPercent ? "" : text + " is no percentage";
}

std::string timeProblem(const std::string& text)
{
    return report::parseTime(text)
               ? ""
               : text + " is no time: give a tick, or a number with the unit s, ms, us or ns";
}

report::Grouping groupingOf(const ReportSettings& settings)
{
    const auto& all = report::groupings();
    return std::find_if(all.begin(), all.end(),
                        [&](const auto& entry) { return entry.first == settings.by; })
        ->second;
}

report::TreeKind treeKindOf(const ReportSettings& settings)
{
    if (settings.callers) return report::TreeKind::callers;
    return settings.callees ? report::TreeKind::callees : report::TreeKind::tree;
}

[[noreturn]] void refuseBackwardRange()
{
    throw CLI::ValidationError("--from", "is after --to");
}

/// Two moments of one kind are compared before the result is opened.
void checkUsage(const ReportSettings& settings)
{
    if (!settings.isTree() && (settings.depth || settings.minPercent)) {
        throw CLI::RequiresError(settings.depth ? "--depth" : "--min-percent",
                                 "--tree, --callers or --callees");
    }
    const auto from = report::parseTime(settings.from);
    const auto to = report::parseTime(settings.to);
    if (from && to && from->sinceFirst == to->sinceFirst && from->value > to->value)
        refuseBackwardRange();
}

report::TickRange rangeOf(const ReportSettings& settings, rowvault1::IResult& result)
{
    report::TickRange range;
    if (!settings.from.empty()) range.from = tickOf(result, *report::parseTime(settings.from));
    if (!settings.to.empty()) range.to = tickOf(result, *report::parseTime(settings.to));
    if (range.isBackward()) refuseBackwardRange();
    return range;
}

void reportTrees(rowvault1::IResult& result, const ReportSettings& settings,
                 const report::TickRange& range)
{
    report::TreeOptions options;
    options.kind = treeKindOf(settings);
    options.limits.top = settings.limit;
    options.limits.depth = settings.depth.value_or(report::usualDepth(options.kind));
    options.limits.minPercent = settings.minPercent.value_or(options.limits.minPercent);
    options.range = range;
    if (settings.json) {
        writeTreesJson(result, options, std::cout);
    } else {
        writeTrees(result, options, std::cout);
    }
}

void reportOnCpu(rowvault1::IResult& result, const ReportSettings& settings,
                 const report::TickRange& range)
{
    const report::OnCpuOptions options{settings.limit, range};
    if (settings.json) {
        writeJson(onCpuToJson(result, options));
    } else {
        writeOnCpu(result, options, std::cout);
    }
}

void reportCoreClasses(rowvault1::IResult& result, const ReportSettings& settings,
                       const report::TickRange& range)
{
    const report::CoreClassOptions options{settings.limit, range};
    if (settings.json) {
        writeJson(coreClassesToJson(result, options));
    } else {
        writeCoreClasses(result, options, std::cout);
    }
}

void reportGroups(rowvault1::IResult& result, const ReportSettings& settings,
                  const report::TickRange& range)
{
    const report::ReportOptions options{groupingOf(settings), settings.limit, range};
    if (settings.json) {
        writeJson(reportToJson(result, options));
    } else {
        writeReport(result, options, std::cout);
    }
}

void runReport(const ReportSettings& settings)
{
    checkUsage(settings);
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    const report::TickRange range = rangeOf(settings, *result);
    if (settings.isTree()) {
        reportTrees(*result, settings, range);
    } else if (settings.onCpu) {
        reportOnCpu(*result, settings, range);
    } else if (settings.by == g_coreClass) {
        reportCoreClasses(*result, settings, range);
    } else {
        reportGroups(*result, settings, range);
    }
}

/// The reports, of which one is asked for at a time.
void addKinds(CLI::App& command, ReportSettings& settings)
{
    const std::vector<CLI::Option*> kinds{
        command
            .add_option("--by", settings.by,
                        "What samples are grouped by; core-class: time by thread and the class "
                        "that CPUs reported")
            ->transform(CLI::IsMember(groupingNames(), CLI::ignore_case))
            ->capture_default_str(),
        command.add_flag("--tree", settings.tree,
                         "Call tree from the outermost frame, with what each frame stands for"),
        command.add_flag("--callers", settings.callers,
                         "Sampled functions, each with those that called it"),
        command.add_flag("--callees", settings.callees,
                         "Functions and all below them, each with those that it called"),
        command.add_flag("--on-cpu", settings.onCpu,
                         "Time on CPU per thread, from context switch records"),
    };
    for (CLI::Option* const kind : kinds) {
        for (CLI::Option* const other : kinds) {
            if (kind != other) kind->excludes(other);
        }
    }
}

} // namespace

void addReportCommand(CLI::App& app)
{
    const auto settings = std::make_shared<ReportSettings>();
    CLI::App* const command = app.add_subcommand(
        "report", "Show what a result holds: summary, quality, top entries by event, call trees");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    addKinds(*command, *settings);
    command->add_option("--limit", settings->limit, "Entries per event at the top, 0 for all")
        ->check(CLI::Validator(countProblem, ""))
        ->capture_default_str();
    command
        ->add_option("--depth", settings->depth,
                     "Levels of a tree, 0 for all; else 40 with --tree, 6 with --callers, 2 with "
                     "--callees")
        ->check(CLI::Validator(countProblem, ""));
    command
        ->add_option("--min-percent", settings->minPercent,
                     "Least share of the event for an entry of a tree, else 0.5; the rest is told "
                     "as a sum")
        ->check(CLI::Validator(percentProblem, ""));
    command
        ->add_option("--from", settings->from,
                     "Only samples from here on: a tick, or a time since the first one with its "
                     "unit, as 1.5s, 20ms, 7us, 9ns")
        ->check(CLI::Validator(timeProblem, ""))
        ->type_name("TIME");
    command->add_option("--to", settings->to, "Only samples up to here, this tick included")
        ->check(CLI::Validator(timeProblem, ""))
        ->type_name("TIME");
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runReport(*settings); });
}

} // namespace samplefold::cli
