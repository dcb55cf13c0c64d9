#pragma once

#include "export.h"

#include <rowvault1/index.h>

#include <cstdint>
#include <set>
#include <string>
#include <tuple>

// Plain records of the platform's IO topology, with the orders that sets and maps keep them in.
namespace samplefold_1 {

using rowvault1::Index;

/// Place of one PCI function. Ordered by domain, bus, device, function; the text takes no part.
struct pci_address_t {
    std::uint32_t domain = 0;
    std::uint16_t bus = 0;
    std::uint16_t device = 0;
    std::uint16_t function = 0;
    std::string text; ///< as in 0000:3b:00.1

    friend bool operator<(const pci_address_t& a, const pci_address_t& b) noexcept
    {
        return std::tie(a.domain, a.bus, a.device, a.function) <
               std::tie(b.domain, b.bus, b.device, b.function);
    }
};

/// One PCI function as the driver gave it. Ordered by the address alone, so that a set of them
/// holds one for each address.
struct pci_device_info_t {
    std::string name;
    std::string className;
    pci_address_t address;
    std::int32_t classCode = 0; ///< base class; 6 is a bridge
    std::int32_t attrA = 0;     ///< stored unchanged, as are the next four and the extra text
    std::int32_t attrB = 0;
    std::int32_t linkValueA = 0;
    std::string linkSpeedA; ///< a decimal number, a blank, "GT/s" and anything behind
    std::int32_t linkValueB = 0;
    std::string linkSpeedB;
    std::string extraText;

    friend bool operator<(const pci_device_info_t& a, const pci_device_info_t& b) noexcept
    {
        return a.address < b.address;
    }
};

using pci_address_set_t = std::set<pci_address_t>;
using pci_device_set_t = std::set<pci_device_info_t>;

/// An IO channel of a package, by its numbers. Ordered field by field, signed.
struct io_channel_info_t {
    Index package;
    std::int32_t ioUnit = 0;
    std::int32_t channel = 0;

    friend auto operator<=>(const io_channel_info_t&, const io_channel_info_t&) noexcept = default;
};

/// An uncore event on a package. The package goes by the number in its name and not by its row.
/// Ordered by package, then event type, signed.
struct package_num_and_event_type_t {
    std::int32_t packageNum = 0;
    Index eventType;

    friend auto operator<=>(const package_num_and_event_type_t&,
                            const package_num_and_event_type_t&) noexcept = default;
};

} // namespace samplefold_1
