#pragma once

#include "export.h"
#include "pci_records.h"

#include <string>
#include <utility>
#include <vector>

// Display text of the PCI functions behind a place of the platform. Free functions without state,
// safe on any thread; none fails.
namespace samplefold_1 {

/// First and last of a run of function numbers, both included.
using function_range_t = std::pair<std::int32_t, std::int32_t>;

/// Name of a range of devices: "name (address, address), other name (address)". Names are in text
/// order, each once; an address is 0000:3b:00.[0,1], with all functions of that name in the device.
/// `out` is replaced; an empty range gives the empty text.
SAMPLEFOLD_1_API void getTrafficSourceName(pci_device_set_t::const_iterator first,
                                           pci_device_set_t::const_iterator end, std::string& out);

/// Appends the maximal runs of neighbouring numbers: {0, 1, 2, 5} gives (0, 2), (5, 5). An empty
/// range of iterators appends nothing.
SAMPLEFOLD_1_API void findContigiousRanges(std::set<int>::const_iterator first,
                                           std::set<int>::const_iterator end,
                                           std::vector<function_range_t>& ranges);

/// True when `next` is `previous` plus one.
SAMPLEFOLD_1_API bool is_contiguous(int next, int previous);

/// Ranges in hexadecimal: "3", "[0,1]", "[0-2,5]". A run of two is a list, one of three or more a
/// range; a single number has no brackets. `out` is replaced.
SAMPLEFOLD_1_API void prettyFormatFunctionRanges(const std::vector<function_range_t>& ranges,
                                                 std::string& out);

/// Inserts the address of each device into `addresses`.
SAMPLEFOLD_1_API void getPciAddresses(const pci_device_set_t& devices,
                                      pci_address_set_t& addresses);

/// The addresses' texts in order, joined by commas without blanks.
SAMPLEFOLD_1_API std::string pciAddressesToString(const pci_address_set_t& addresses);

} // namespace samplefold_1
