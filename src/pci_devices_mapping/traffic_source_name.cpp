#include <samplefold_1/traffic_source_name.h>

#include "pci_devices_mapping/hex_text.h"

#include <array>
#include <map>

namespace samplefold_1 {
namespace {

/// Domain, bus, device.
using device_place_t = std::array<std::uint32_t, 3>;
using functions_by_place_t = std::map<device_place_t, std::set<int>>;

std::string placeText(const device_place_t& place, const std::set<int>& functions)
{
    std::vector<function_range_t> ranges;
    findContigiousRanges(functions.begin(), functions.end(), ranges);
    std::string functionText;
    prettyFormatFunctionRanges(ranges, functionText);
    return deviceText(place[0], place[1], place[2]) + "." + functionText;
}

void appendPlaces(const functions_by_place_t& places, std::string& out)
{
    const char* separator = " (";
    for (const auto& [place, functions] : places) {
        out += separator + placeText(place, functions);
        separator = ", ";
    }
    out += ")";
}

void appendRange(const function_range_t& range, std::string& out)
{
    const auto [first, last] = range;
    out += hexText(static_cast<std::uint32_t>(first), 1);
    if (last == first) return;
    out += is_contiguous(last, first) ? "," : "-";
    out += hexText(static_cast<std::uint32_t>(last), 1);
}

} // namespace

void getTrafficSourceName(pci_device_set_t::const_iterator first,
                          pci_device_set_t::const_iterator end, std::string& out)
{
    std::map<std::string, functions_by_place_t> names;
    for (; first != end; ++first) {
        const pci_address_t& address = first->address;
        const device_place_t place{address.domain, address.bus, address.device};
        names[first->name][place].insert(address.function);
    }
    out.clear();
    for (const auto& [name, places] : names) {
        if (!out.empty()) out += ", ";
        out += name;
        appendPlaces(places, out);
    }
}

void findContigiousRanges(std::set<int>::const_iterator first, std::set<int>::const_iterator end,
                          std::vector<function_range_t>& ranges)
{
    while (first != end) {
        const int start = *first;
        int last = start;
        while (++first != end && is_contiguous(*first, last))
            last = *first;
        ranges.emplace_back(start, last);
    }
}

bool is_contiguous(int next, int previous)
{
    return std::int64_t{next} == std::int64_t{previous} + 1;
}

void prettyFormatFunctionRanges(const std::vector<function_range_t>& ranges, std::string& out)
{
    const bool oneNumber = ranges.size() == 1 && ranges.front().first == ranges.front().second;
    std::string text;
    for (const function_range_t& range : ranges) {
        if (!text.empty()) text += ",";
        appendRange(range, text);
    }
    out = oneNumber ? text : "[" + text + "]";
}

void getPciAddresses(const pci_device_set_t& devices, pci_address_set_t& addresses)
{
    for (const pci_device_info_t& device : devices)
        addresses.insert(device.address);
}

std::string pciAddressesToString(const pci_address_set_t& addresses)
{
    std::string text;
    for (const pci_address_t& address : addresses) {
        if (&address != &*addresses.begin()) text += ",";
        text += address.text;
    }
    return text;
}

} // namespace samplefold_1
