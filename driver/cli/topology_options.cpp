#include "cli/topology_options.h"

namespace samplefold::cli {

void addTopologyOptions(CLI::App& command, topology::TopologyOptions& target)
{
    CLI::Option* const dump =
        command
            .add_option("--from-dump", target.dump,
                        "Add the PCI functions of a text that lspci -xxxx printed on the machine "
                        "that was recorded")
            ->type_name("FILE");
    CLI::Option* const live =
        command.add_flag("--live", target.live, "Add the PCI functions of this machine");
    dump->excludes(live);
    command
        .add_option("--sysfs-root", target.sysfsRoot,
                    "A copy of the machine's files: /sys/devices/uncore_iio_* there tell the IO "
                    "units of root buses")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory);
    command
        .add_option("--mesh-stops", target.meshStops,
                    "Text with a line PACKAGE UNIT TID per IO unit: the mesh stop that it hangs "
                    "off")
        ->type_name("FILE");
    command
        .add_option("--packages", target.packages,
                    "Packages among which root buses are shared out that nothing tells of")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
}

void checkTopologyOptions(const topology::TopologyOptions& options, bool sysfsAlone)
{
    if (options.isGiven()) return;
    const std::string reason = "goes with --from-dump or --live";
    if (!options.meshStops.empty()) throw CLI::ValidationError("--mesh-stops", reason);
    if (options.packages != topology::TopologyOptions().packages)
        throw CLI::ValidationError("--packages", reason);
    if (!sysfsAlone && !options.sysfsRoot.empty())
        throw CLI::ValidationError("--sysfs-root", reason);
}

} // namespace samplefold::cli
