#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace samplefold::topology {

/// A link of PCI Express, as one end tells it.
struct PciLink {
    std::string speed; ///< "8 GT/s"; empty when the function does not tell
    int lanes = 0;     ///< 0 when the function does not tell
};

/// One PCI function.
struct PciFunction {
    std::uint32_t domain = 0;
    std::uint16_t bus = 0;
    std::uint16_t device = 0;
    std::uint16_t function = 0;
    std::string name;      ///< vendor and device, by pci.ids
    std::string className; ///< as lspci prints it
    std::string subsystem; ///< by pci.ids; empty when there is none
    int baseClass = 0;     ///< the upper byte of the class; 6 is a bridge
    int vendorId = 0;
    int deviceId = 0;
    bool isBridge = false;   ///< it leads to other buses
    int secondaryBus = 0;    ///< of a bridge: the first bus behind it
    int subordinateBus = -1; ///< of a bridge: the last bus behind it
    PciLink capable;         ///< the best that its link can do
    PciLink running;         ///< what the link does
};

/// What was read of a machine's PCI functions.
struct PciInventory {
    std::vector<PciFunction> functions; ///< by domain, bus, device, function; each address once
    std::size_t repeated = 0;           ///< functions at an address that there was already
};

/// An inventory that cannot be read; one line.
class InventoryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The functions of this machine, by libpci. Throws InventoryError. One thread.
PciInventory readLiveInventory();
/// The functions of the text that `lspci -xxx` or `-xxxx` printed into the file at `path`. Throws
/// InventoryError, with the path in it. One thread.
PciInventory readInventoryDump(const std::string& path);

} // namespace samplefold::topology
