#include "topology/device_places.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace samplefold::topology {
namespace {

using bus_t = std::pair<std::uint32_t, int>; ///< domain and bus

/// Bridges that lead to other buses. One that leads back to its own bus or before it does not
/// count.
std::vector<const PciFunction*> bridgesIn(const std::vector<PciFunction>& functions)
{
    std::vector<const PciFunction*> bridges;
    for (const PciFunction& function : functions) {
        if (function.isBridge && function.secondaryBus > function.bus &&
            function.secondaryBus <= function.subordinateBus)
            bridges.push_back(&function);
    }
    return bridges;
}

/// The bridge by which a bus is reached, by bus; of several the one with the fewest buses behind
/// it.
std::map<bus_t, const PciFunction*> leadersIn(const std::vector<PciFunction>& functions)
{
    std::set<bus_t> buses;
    for (const PciFunction& function : functions)
        buses.insert({function.domain, function.bus});
    std::map<bus_t, const PciFunction*> leaders;
    for (const PciFunction* bridge : bridgesIn(functions)) {
        const int behind = bridge->subordinateBus - bridge->secondaryBus;
        for (auto bus = buses.lower_bound({bridge->domain, bridge->secondaryBus});
             bus != buses.end() && *bus <= bus_t{bridge->domain, bridge->subordinateBus}; ++bus) {
            const PciFunction*& leader = leaders[*bus];
            if (leader == nullptr || behind < leader->subordinateBus - leader->secondaryBus)
                leader = bridge;
        }
    }
    return leaders;
}

/// Follows bridges up; each lies on a lower bus than it leads to, so that this ends.
const PciFunction& rootDeviceOf(const PciFunction& function,
                                const std::map<bus_t, const PciFunction*>& leaders)
{
    const PciFunction* at = &function;
    for (auto leader = leaders.find({at->domain, at->bus}); leader != leaders.end();
         leader = leaders.find({at->domain, at->bus}))
        at = leader->second;
    return *at;
}

/// Units for root buses that nothing tells of.
IoStacks guess(const std::set<bus_t>& roots, const IoStacks& known, int packages)
{
    std::map<int, int> firstFree;
    for (const auto& [bus, stack] : known) {
        int& next = firstFree[stack.package];
        next = std::max(next, stack.unit + 1);
    }
    std::vector<bus_t> unknown;
    for (const bus_t& root : roots) {
        if (!known.contains({root.first, static_cast<std::uint16_t>(root.second)}))
            unknown.push_back(root);
    }
    const std::size_t each = (unknown.size() + static_cast<std::size_t>(packages) - 1) /
                             static_cast<std::size_t>(packages);
    IoStacks guessed;
    for (std::size_t i = 0; i < unknown.size(); ++i) {
        const int package = static_cast<int>(i / each);
        guessed[{unknown[i].first, static_cast<std::uint16_t>(unknown[i].second)}] = {
            package, firstFree[package]++};
    }
    return guessed;
}

} // namespace

std::vector<DevicePlace> placesOf(const std::vector<PciFunction>& functions, const IoStacks& stacks,
                                  int packages)
{
    const auto leaders = leadersIn(functions);
    std::vector<const PciFunction*> rootDevices;
    std::set<bus_t> roots;
    for (const PciFunction& function : functions) {
        rootDevices.push_back(&rootDeviceOf(function, leaders));
        roots.insert({rootDevices.back()->domain, rootDevices.back()->bus});
    }
    const IoStacks guessed = guess(roots, stacks, std::max(packages, 1));
    std::vector<DevicePlace> places;
    for (const PciFunction* root : rootDevices) {
        const auto told = stacks.find({root->domain, root->bus});
        const bool isGuessed = told == stacks.end();
        const IoStack& stack = isGuessed ? guessed.at({root->domain, root->bus}) : told->second;
        places.push_back({stack.package, stack.unit, root->device, isGuessed});
    }
    return places;
}

} // namespace samplefold::topology
