#pragma once

#include "session/quality_log.h"
#include "topology/io_stacks.h"
#include "topology/mesh_stops.h"
#include "topology/pci_inventory.h"

#include <rowvault1/database.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace samplefold::topology {

/// Where a machine's topology is read from.
struct TopologyOptions {
    std::string dump;      ///< text of `lspci -xxxx`
    bool live = false;     ///< this machine's functions, instead of a dump
    std::string sysfsRoot; ///< see readIoStacks; empty: with `live` this machine, else nothing
    std::string meshStops; ///< see readMeshStops; empty: none
    int packages = 1;      ///< among which root buses are shared out that nothing tells of

    /// Whether there is a topology to be read at all.
    bool isGiven() const { return live || !dump.empty(); }
    /// The tree of the machine's files, empty for none.
    std::string sysfs() const { return sysfsRoot.empty() && live ? "/" : sysfsRoot; }
};

/// What the files and the machine tell, before anything of it is written.
struct TopologyInput {
    PciInventory inventory;
    IoStacks stacks;
    std::vector<MeshStop> meshStops;
    int packages = 1; ///< see TopologyOptions
};

/// Reads it. Throws InventoryError and MeshStopError.
TopologyInput readTopologyInput(const TopologyOptions& options);

/// What was written.
struct TopologyCounts {
    std::size_t functions = 0;
    std::size_t guessed = 0;  ///< functions whose package and unit are guessed
    std::size_t repeated = 0; ///< functions left out, since their address was there already
};

/// Whether the result has functions or IO units.
bool hasTopology(rowvault1::IDatabase& db);

/// Writes PCI functions, IO units, channels, mesh stops, and packages that the result does not have
/// ("package_0", ...). Of a function the row has: vendor and device number in attr_a and attr_b,
/// the best that its link can do as link A, what the link does as link B, and its subsystem. Throws
/// TopologyExists for a result that has a topology already; nothing is written then. Loading thread
/// only.
TopologyCounts storeTopology(const tb2::sptr_t<rowvault1::IDatabase>& db,
                             const TopologyInput& input);

/// What was guessed or left out, for the quality rows, and in lines of text for the user.
void reportQuality(const TopologyCounts& counts, session::QualityLog& quality);
std::vector<std::string> warningsOf(const TopologyCounts& counts);

/// A result has one topology.
class TopologyExists : public std::runtime_error {
public:
    TopologyExists() : std::runtime_error("has a topology already: use a new result") {}
};

} // namespace samplefold::topology
