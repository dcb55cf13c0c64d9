#include "topology/topology_loader.h"

#include "session/keyed_rows.h"
#include "session/table_rows.h"
#include "topology/device_places.h"
#include "topology/mesh_stops.h"

#include <samplefold_1/pci_devices_mapping.h>

#include <algorithm>
#include <array>
#include <vector>

namespace samplefold::topology {
namespace {

using rowvault1::Index;

/// Rows of packages by their number, made when they are new.
class Packages {
public:
    explicit Packages(const tb2::sptr_t<rowvault1::IDatabase>& db)
        : m_rows(db, "dd_package", {"name"})
    {
    }
    Index row(int package) { return m_rows.findOrAdd({"package_" + std::to_string(package)}); }

private:
    session::KeyedRows<std::string> m_rows;
};

bool hasTopology(rowvault1::IDatabase& db)
{
    bool isThere = false;
    for (const char* const table : {"dd_pci_device_info", "dd_io_unit_info"})
        session::readTable(table, db, std::array{"rowid"}, [&](const auto&) { isThere = true; });
    return isThere;
}

IoStacks stacksOf(const TopologyOptions& options)
{
    if (!options.sysfsRoot.empty()) return readIoStacks(options.sysfsRoot);
    return options.dump.empty() ? readIoStacks("/") : IoStacks();
}

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

TopologyCounts loadTopology(const tb2::sptr_t<rowvault1::IDatabase>& db,
                            const TopologyOptions& options)
{
    const PciInventory inventory =
        options.dump.empty() ? readLiveInventory() : readInventoryDump(options.dump);
    const auto stops =
        options.meshStops.empty() ? std::vector<MeshStop>() : readMeshStops(options.meshStops);
    const auto places = placesOf(inventory.functions, stacksOf(options), options.packages);
    if (hasTopology(*db)) throw TopologyExists();

    Packages packages(db);
    samplefold_1::PciDevicesMapping mapping;
    mapping.initIoTopologyLoading(db);
    for (const MeshStop& stop : stops)
        mapping.addIoUnitToTidMapping(packages.row(stop.package), stop.unit, stop.tid);
    for (std::size_t i = 0; i < places.size(); ++i)
        add(mapping, inventory.functions[i], places[i], packages.row(places[i].package));
    mapping.loadIoTopology();

    const auto guessed =
        std::ranges::count_if(places, [](const DevicePlace& place) { return place.isGuessed; });
    return {inventory.functions.size(), static_cast<std::size_t>(guessed), inventory.repeated};
}

} // namespace samplefold::topology
