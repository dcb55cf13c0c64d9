#pragma once

#include "topology/io_stacks.h"
#include "topology/pci_inventory.h"

#include <cstddef>
#include <vector>

namespace samplefold::topology {

/// Where a function is in the platform.
struct DevicePlace {
    int package = 0;
    int unit = 0; ///< IO unit of the package
    /// Within the unit: number of the device on the unit's root bus that the function is, or that
    /// leads to it.
    int channel = 0;
    bool isGuessed = false; ///< package and unit follow the order of the root buses alone
};

/// Places of `functions`, by their position. A root bus is one that no bridge leads to; each is an
/// IO unit. Which one is told by `stacks`. Where that does not know a root bus, the root buses that
/// it does not know are shared out in ascending order: to each of `packages` (1 or more) packages
/// the same number, and their units counted up from the first that is free. Any thread.
std::vector<DevicePlace> placesOf(const std::vector<PciFunction>& functions, const IoStacks& stacks,
                                  int packages);

} // namespace samplefold::topology
