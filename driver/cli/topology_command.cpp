#include "cli/commands.h"
#include "cli/json_output.h"
#include "report/topology_report.h"
#include "topology/topology_loader.h"

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace samplefold::cli {
namespace {

struct Settings {
    std::string result;
    topology::TopologyOptions topology;
    bool live = false;
    bool json = false;
};

void load(const Settings& settings)
{
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::append);
    topology::TopologyCounts counts;
    try {
        counts = topology::loadTopology(result->database(), settings.topology);
    } catch (const topology::TopologyExists& error) {
        throw std::runtime_error(settings.result + ": " + error.what());
    }
    result->finish();
    if (counts.guessed != 0) {
        std::cerr << "samplefold: warning: IO units of " << counts.guessed << " of "
                  << counts.functions
                  << " functions are guessed by the order of their root buses: give --sysfs-root\n";
    }
    if (counts.repeated != 0) {
        std::cerr << "samplefold: warning: " << counts.repeated
                  << " functions were left out, since their addresses come twice\n";
    }
}

void runTopology(const Settings& settings)
{
    if (settings.live || !settings.topology.dump.empty()) load(settings);
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    if (settings.json) {
        writeJson(report::topologyToJson(*result));
    } else {
        report::writeTopology(*result, std::cout);
    }
}

} // namespace

void addTopologyCommand(CLI::App& app)
{
    const auto settings = std::make_shared<Settings>();
    CLI::App* const command = app.add_subcommand(
        "topology", "Show packages, IO units, channels and PCI devices; or add them to a result");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    CLI::Option* const dump =
        command
            ->add_option("--from-dump", settings->topology.dump,
                         "Add the PCI functions of a text that lspci -xxxx printed")
            ->type_name("FILE");
    CLI::Option* const live =
        command->add_flag("--live", settings->live, "Add the PCI functions of this machine");
    dump->excludes(live);
    command
        ->add_option("--sysfs-root", settings->topology.sysfsRoot,
                     "A copy of the machine's files: /sys/devices/uncore_iio_* there tell the IO "
                     "units of root buses")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory);
    command
        ->add_option("--mesh-stops", settings->topology.meshStops,
                     "Text with a line PACKAGE UNIT TID per IO unit: the mesh stop that it hangs "
                     "off")
        ->type_name("FILE");
    command
        ->add_option("--packages", settings->topology.packages,
                     "Packages among which root buses are shared out that nothing tells of")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    command->add_flag("--json", settings->json, "Write one JSON object");
    command->callback([settings] { runTopology(*settings); });
}

} // namespace samplefold::cli
