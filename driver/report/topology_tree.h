#pragma once

#include "report/uncore_counts.h"

#include <rowvault1/result.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace samplefold::report {

/// What one end of a PCI Express link tells.
struct TopologyLink {
    std::optional<double> speed; ///< gigatransfers a second
    std::int64_t lanes = 0;      ///< 0 when not known
};

struct TopologyDevice {
    std::string address;
    std::string name;
    std::string className;
    std::string subsystem;
    TopologyLink capable;
    TopologyLink running;
};

struct TopologyChannel {
    std::int64_t number = 0;
    std::string source; ///< what is behind it
    std::vector<TopologyDevice> devices;
    std::vector<UncoreCount> counts; ///< by name, as in all places
};

struct TopologyUnit {
    std::int64_t number = 0;
    std::string source;
    std::optional<std::int64_t> meshStop; ///< number by which events name it
    std::vector<TopologyChannel> channels;
    std::vector<UncoreCount> counts; ///< of no single channel
};

struct TopologyMeshStop {
    std::int64_t number = 0; ///< by which events name it
    std::string source;
    std::vector<UncoreCount> counts; ///< of events that name the stop itself
};

struct PackageLink {
    std::string name;
    std::vector<UncoreCount> counts;
};

struct TopologyPackage {
    std::string name;
    std::vector<TopologyUnit> units;
    std::vector<TopologyMeshStop> meshStops;
    std::vector<PackageLink> links;  ///< to other packages
    std::vector<UncoreCount> counts; ///< of events that stand for none of these
};

struct Topology {
    /// Those without anything in them are left out; counts of no known package stand at the end.
    std::vector<TopologyPackage> packages;
    bool hasInventory = false;   ///< PCI functions or IO units
    std::uint64_t firstTick = 0; ///< where the intervals of counts start
};

/// The topology by package, unit, channel and address, with what uncore events counted at the most
/// certain place that each stands for: a channel, else a unit, a mesh stop, a link. `interval` is
/// as for readUncoreCounts. Throws rowvault1::StoreError and ReportError.
Topology readTopology(rowvault1::IResult& result, std::optional<std::uint64_t> interval = {});

} // namespace samplefold::report
