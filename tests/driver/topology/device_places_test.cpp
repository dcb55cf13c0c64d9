#include "topology/device_places.h"

#include <gtest/gtest.h>

namespace samplefold::topology {
namespace {

PciFunction endpoint(std::uint16_t bus, std::uint16_t device, std::uint32_t domain = 0)
{
    PciFunction function;
    function.domain = domain;
    function.bus = bus;
    function.device = device;
    return function;
}

PciFunction bridge(std::uint16_t bus, std::uint16_t device, int secondary, int subordinate)
{
    PciFunction function = endpoint(bus, device);
    function.isBridge = true;
    function.secondaryBus = secondary;
    function.subordinateBus = subordinate;
    return function;
}

TEST(DevicePlaces, AFunctionBehindBridgesBelongsToTheRootBusAndPort)
{
    const std::vector<PciFunction> functions{
        bridge(0x17, 2, 0x18, 0x1b), bridge(0x18, 0, 0x19, 0x1b), bridge(0x19, 4, 0x1a, 0x1a),
        endpoint(0x1a, 0), endpoint(0x17, 5)};
    const IoStacks stacks{{{0, 0x17}, {1, 3}}};
    const auto places = placesOf(functions, stacks, 2);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(places[i].package, 1) << i;
        EXPECT_EQ(places[i].unit, 3) << i;
        EXPECT_EQ(places[i].channel, 2) << i;
        EXPECT_FALSE(places[i].isGuessed) << i;
    }
    EXPECT_EQ(places[4].channel, 5) << "a device on the root bus itself";
}

TEST(DevicePlaces, DomainsAreApart)
{
    const IoStacks stacks{{{0, 0}, {0, 0}}, {{1, 0}, {1, 7}}};
    const auto places = placesOf({endpoint(0, 1), endpoint(0, 1, 1)}, stacks, 2);
    EXPECT_EQ(places[0].unit, 0);
    EXPECT_EQ(places[1].unit, 7);
}

TEST(DevicePlaces, WithoutAMappingRootBusesAreSharedOutInTheirOrder)
{
    const auto places =
        placesOf({endpoint(0, 1), endpoint(0x3a, 1), endpoint(0x80, 1), endpoint(0xd7, 1)}, {}, 2);
    const std::vector<std::pair<int, int>> want{{0, 0}, {0, 1}, {1, 0}, {1, 1}};
    for (std::size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(std::pair(places[i].package, places[i].unit), want[i]) << i;
        EXPECT_TRUE(places[i].isGuessed);
    }
}

TEST(DevicePlaces, AGuessTakesNoUnitThatIsTold)
{
    const auto places = placesOf({endpoint(0, 1), endpoint(0x40, 1)}, {{{0, 0x40}, {0, 0}}}, 1);
    EXPECT_EQ(places[0].unit, 1);
    EXPECT_TRUE(places[0].isGuessed);
    EXPECT_FALSE(places[1].isGuessed);
}

TEST(DevicePlaces, BridgesThatLeadBackEndTheSearch)
{
    const auto places =
        placesOf({bridge(5, 0, 3, 9), bridge(3, 1, 5, 5), bridge(5, 2, 5, 5)}, {}, 1);
    EXPECT_EQ(places.size(), 3U);
    EXPECT_EQ(places[0].channel, 1) << "behind the bridge on bus 3, and not before it";
}

TEST(DevicePlaces, NothingHasNoPlace)
{
    EXPECT_TRUE(placesOf({}, {}, 0).empty());
}

} // namespace
} // namespace samplefold::topology
