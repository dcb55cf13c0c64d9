#pragma once

#include "topology/topology_loader.h"

#include <CLI/CLI.hpp>

namespace samplefold::cli {

/// Adds the options that say where a machine's topology is read from. `target` outlives `command`.
void addTopologyOptions(CLI::App& command, topology::TopologyOptions& target);

/// Throws CLI::ValidationError for options that have no meaning beside the others. `sysfsAlone`:
/// the tree of --sysfs-root may come without an inventory.
void checkTopologyOptions(const topology::TopologyOptions& options, bool sysfsAlone);

} // namespace samplefold::cli
