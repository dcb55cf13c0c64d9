#include "cli/commands.h"
#include "cli/json_output.h"
#include "cli/option_checks.h"
#include "report/timeline_report.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace samplefold::cli {
namespace {

constexpr std::size_t g_usualWidth = 80;
constexpr std::size_t g_mostBins = 10000;

struct TimelineSettings {
    std::string result;
    report::TimelineOptions options;
    std::string from;
    std::string to;
    bool json = false;
};

/// Columns of the terminal that is written to.
std::size_t terminalWidth()
{
    struct winsize size = {};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return isKnown ? size.ws_col : g_usualWidth;
}

/// A plain number is of seconds, where the recording has times; else of ticks.
std::optional<report::TimePoint> pointOf(const std::string& text, bool hasTimes)
{
    const bool isPlain = text.find_first_not_of("0123456789.") == std::string::npos;
    return report::parseTime(isPlain && hasTimes ? text + "s" : text);
}

std::string secondsProblem(const std::string& text)
{
    return pointOf(text, true) ? ""
                               : text + " is no time: give seconds since the recording began, "
                                        "with up to nine decimals";
}

std::optional<std::uint64_t> boundOf(rowvault1::IResult& result, const char* option,
                                     const std::string& text)
{
    if (text.empty()) return std::nullopt;
    const auto point = pointOf(text, result.info("ticks") != "numbered");
    if (!point) {
        throw CLI::ValidationError(option, text + " is no tick, a whole number: the recording has "
                                                  "no times");
    }
    return report::tickOf(result, *point);
}

void runTimeline(TimelineSettings& settings)
{
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    report::TickRange& range = settings.options.range;
    range = {boundOf(*result, "--from", settings.from), boundOf(*result, "--to", settings.to)};
    if (range.isBackward()) throw CLI::ValidationError("--from", "is after --to");
    if (settings.json) {
        writeJson(timelineToJson(*result, settings.options));
    } else {
        writeTimeline(*result, settings.options, terminalWidth(), std::cout);
    }
}

} // namespace

void addTimelineCommand(CLI::App& app)
{
    const auto settings = std::make_shared<TimelineSettings>();
    CLI::App* const command = app.add_subcommand(
        "timeline", "Show the rate of an event over time for each thread, as bars");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    command->add_option("--thread", settings->options.thread, "Only threads with this id or name");
    command->add_option("--event", settings->options.event,
                        "The event; else the first one with samples");
    command
        ->add_option("--from", settings->from,
                     "Begin here: seconds since the recording began, or a number with the unit s, "
                     "ms, us or ns; ticks where the recording has no times")
        ->check(CLI::Validator(secondsProblem, ""))
        ->type_name("TIME");
    command->add_option("--to", settings->to, "End here, this tick included")
        ->check(CLI::Validator(secondsProblem, ""))
        ->type_name("TIME");
    command->add_option("--bins", settings->options.bins, "Parts that the time is cut into")
        ->check(CLI::Range(std::size_t{1}, g_mostBins))
        ->capture_default_str();
    command
        ->add_option("--limit", settings->options.limit,
                     "Threads to show, those with the highest counts; 0 for all")
        ->check(CLI::Validator(countProblem, ""))
        ->capture_default_str();
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runTimeline(*settings); });
}

} // namespace samplefold::cli
