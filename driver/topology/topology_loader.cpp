#include "topology/topology_loader.h"

#include "session/table_rows.h"
#include "topology/device_places.h"
#include "topology/package_rows.h"

#include <samplefold_1/pci_devices_mapping.h>

#include <algorithm>
#include <array>

namespace samplefold::topology {
namespace {

using rowvault1::Index;

void add(samplefold_1::PciDevicesMapping& mapping, const PciFunction& function,
         const DevicePlace& place, Index package)
{
    mapping.addPciDeviceInfo(function.name, package, place.unit, place.channel, function.className,
                             function.domain, function.bus, function.device, function.function,
                             function.baseClass, function.vendorId, function.deviceId,
                             function.capable.lanes, function.capable.speed, function.running.lanes,
                             function.running.speed, function.subsystem);
}

} // namespace

TopologyInput readTopologyInput(const TopologyOptions& options)
{
    TopologyInput input;
    input.inventory = options.dump.empty() ? readLiveInventory() : readInventoryDump(options.dump);
    if (!options.meshStops.empty()) input.meshStops = readMeshStops(options.meshStops);
    if (const std::string root = options.sysfs(); !root.empty()) input.stacks = readIoStacks(root);
    input.packages = options.packages;
    return input;
}

bool hasTopology(rowvault1::IDatabase& db)
{
    bool isThere = false;
    for (const char* const table : {"dd_pci_device_info", "dd_io_unit_info"})
        session::readTable(table, db, std::array{"rowid"}, [&](const auto&) { isThere = true; });
    return isThere;
}

TopologyCounts storeTopology(const tb2::sptr_t<rowvault1::IDatabase>& db,
                             const TopologyInput& input)
{
    if (hasTopology(*db)) throw TopologyExists();
    const auto& functions = input.inventory.functions;
    const auto places = placesOf(functions, input.stacks, input.packages);
    PackageRows packages(db);
    samplefold_1::PciDevicesMapping mapping;
    mapping.initIoTopologyLoading(db);
    for (const MeshStop& stop : input.meshStops)
        mapping.addIoUnitToTidMapping(packages.row(stop.package), stop.unit, stop.tid);
    for (std::size_t i = 0; i < places.size(); ++i)
        add(mapping, functions[i], places[i], packages.row(places[i].package));
    mapping.loadIoTopology();

    const auto guessed =
        std::ranges::count_if(places, [](const DevicePlace& place) { return place.isGuessed; });
    return {functions.size(), static_cast<std::size_t>(guessed), input.inventory.repeated};
}

void reportQuality(const TopologyCounts& counts, session::QualityLog& quality)
{
    quality.add("PCI functions whose IO unit is guessed by the order of root buses", counts.guessed,
                "give --sysfs-root with a copy of the machine's sysfs", session::Severity::info);
    quality.add("PCI functions left out, since their addresses come twice", counts.repeated,
                "make the dump again with lspci -xxxx", session::Severity::info);
}

std::vector<std::string> warningsOf(const TopologyCounts& counts)
{
    std::vector<std::string> lines;
    if (counts.guessed != 0) {
        lines.push_back("IO units of " + std::to_string(counts.guessed) + " of " +
                        std::to_string(counts.functions) +
                        " functions are guessed by the order of their root buses: give "
                        "--sysfs-root");
    }
    if (counts.repeated != 0) {
        lines.push_back(std::to_string(counts.repeated) +
                        (counts.repeated == 1
                             ? " function was left out, since its address comes twice"
                             : " functions were left out, since their addresses come twice"));
    }
    return lines;
}

} // namespace samplefold::topology
