#include "cli/commands.h"
#include "cli/json_output.h"
#include "cli/topology_options.h"
#include "report/text_table.h"
#include "report/topology_report.h"
#include "topology/result_topology.h"

#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace samplefold::cli {
namespace {

struct TopologySettings {
    std::string result;
    topology::TopologyOptions topology;
    std::optional<double> interval;
    bool json = false;
};

void load(const TopologySettings& settings)
{
    const topology::TopologyInput input = topology::readTopologyInput(settings.topology);
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::append);
    // Finishing it would make it look complete.
    if (result->info("state") != "complete")
        throw std::runtime_error(settings.result + ": is incomplete, an earlier load was stopped: "
                                                   "load into a new result");
    topology::TopologyCounts counts;
    try {
        counts = topology::addTopology(*result, input);
    } catch (const topology::TopologyExists& error) {
        throw std::runtime_error(settings.result + ": " + error.what());
    }
    result->finish();
    for (const std::string& line : topology::warningsOf(counts))
        std::cerr << "samplefold: warning: " << report::printable(line) << '\n';
}

/// Longer ones are no part of any run.
void checkInterval(const std::optional<double>& seconds)
{
    constexpr double longest = 1e9;
    if (!seconds || (*seconds > 0 && *seconds <= longest)) return;
    throw CLI::ValidationError("--interval", "is no number of seconds above 0 and up to 1e9");
}

void runTopology(const TopologySettings& settings)
{
    checkTopologyOptions(settings.topology, false);
    checkInterval(settings.interval);
    if (settings.topology.isGiven()) load(settings);
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    if (settings.json) {
        writeJson(report::topologyToJson(*result, settings.interval));
    } else {
        report::writeTopology(*result, std::cout, settings.interval);
    }
}

} // namespace

void addTopologyCommand(CLI::App& app)
{
    const auto settings = std::make_shared<TopologySettings>();
    CLI::App* const command = app.add_subcommand(
        "topology", "Show packages, IO units, channels and PCI devices; or add them to a result");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    addTopologyOptions(*command, settings->topology);
    command
        ->add_option("--interval", settings->interval,
                     "Show counts over time, by intervals of that many seconds")
        ->type_name("SECONDS");
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runTopology(*settings); });
}

} // namespace samplefold::cli
