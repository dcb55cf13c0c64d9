#pragma once

#include <cstdint>

// Column positions of the topology tables.
namespace samplefold_1 {

namespace package_column {
constexpr std::uint16_t name = 0;
}
namespace uncore_event_column {
constexpr std::uint16_t name = 0;
}
namespace pci_class_column {
constexpr std::uint16_t name = 0, code = 1;
}
namespace pci_device_column {
constexpr std::uint16_t name = 0, package = 1, deviceClass = 2, address = 3, domain = 4, bus = 5,
                        device = 6, function = 7, attrA = 8, attrB = 9, linkValueB = 10,
                        linkSpeedB = 11, linkValueA = 12, linkSpeedA = 13, extraText = 14;
}
namespace io_channel_column {
constexpr std::uint16_t channel = 0, ioUnit = 1, package = 2, trafficSource = 3, pciDevice = 4;
}
namespace io_unit_column {
constexpr std::uint16_t ioUnit = 0, package = 1, meshStop = 2, trafficSource = 3;
}
namespace mesh_stop_column {
constexpr std::uint16_t tid = 0, package = 1, trafficSource = 2;
}
namespace traffic_source_column {
constexpr std::uint16_t name = 0, addresses = 2, package = 3;
}

} // namespace samplefold_1
