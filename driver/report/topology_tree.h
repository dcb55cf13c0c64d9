#pragma once

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
};

struct TopologyUnit {
    std::int64_t number = 0;
    std::string source;
    std::optional<std::int64_t> meshStop; ///< number by which events name it
    std::vector<TopologyChannel> channels;
};

struct TopologyPackage {
    std::string name;
    std::vector<TopologyUnit> units;
    std::vector<std::string> links; ///< to other packages
};

/// The topology by package, unit, channel and address; packages without any of it are left out.
/// Throws rowvault1::StoreError.
std::vector<TopologyPackage> readTopology(rowvault1::IResult& result);

} // namespace samplefold::report
