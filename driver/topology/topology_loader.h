#pragma once

#include "topology/pci_inventory.h"

#include <rowvault1/database.h>

#include <cstddef>
#include <string>

namespace samplefold::topology {

/// Where a machine's topology is read from.
struct TopologyOptions {
    std::string dump;      ///< text of `lspci -xxxx`; empty: this machine
    std::string sysfsRoot; ///< see readIoStacks; empty: this machine, or nothing beside a dump
    std::string meshStops; ///< see readMeshStops; empty: none
    int packages = 1;      ///< among which root buses are shared out that nothing tells of
};

/// What was written.
struct TopologyCounts {
    std::size_t functions = 0;
    std::size_t guessed = 0;  ///< functions whose package and unit are guessed
    std::size_t repeated = 0; ///< functions left out, since their address was there already
};

/// Writes PCI functions, IO units, channels, mesh stops, and packages that the result does not have
/// ("package_0", ...). Of a function the row has: vendor and device number in attr_a and attr_b,
/// the best that its link can do as link A, what the link does as link B, and its subsystem. Throws
/// InventoryError, MeshStopError, and TopologyExists for a result that has a topology already;
/// nothing is written then. Loading thread only.
TopologyCounts loadTopology(const tb2::sptr_t<rowvault1::IDatabase>& db,
                            const TopologyOptions& options);

/// A result has one topology.
class TopologyExists : public std::runtime_error {
public:
    TopologyExists() : std::runtime_error("has a topology already: use a new result") {}
};

} // namespace samplefold::topology
