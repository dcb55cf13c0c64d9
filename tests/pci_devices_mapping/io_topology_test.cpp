#include "pci_devices_mapping/topology_fixture.h"
#include "support/fake_database.h"

// The topology phase: what the devices that were given become.
namespace samplefold_test {
namespace {

using IoTopology = TopologyTest;

device_t bridge(unsigned short bus, unsigned short device, const char* name = "port")
{
    return {name, bus, device, 0, 6, "bridge"};
}

TEST_F(IoTopology, DevicesMayBeGivenBeforeTheTablesAreOpen)
{
    add(g_package, 0, 0, {"nic", 0x3b});
    open();
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.count("dd_pci_device_info"), 1u);
}

TEST_F(IoTopology, AddressesAreWrittenInLowerCaseHexadecimal)
{
    open();
    mapping.addPciDeviceInfo("a", g_package, 0, 0, "", 0, 0xAB, 0x1F, 0xC, 2, 0, 0, 0, "", 0, "",
                             "");
    mapping.addPciDeviceInfo("b", g_package, 0, 0, "", 0xABCDE, 1, 2, 0x10, 2, 0, 0, 0, "", 0, "",
                             "");
    mapping.loadIoTopology();
    EXPECT_EQ(show(scratch.at("dd_pci_device_info", Index(1), 3)), "text:0000:ab:1f.c");
    EXPECT_EQ(show(scratch.at("dd_pci_device_info", Index(2), 3)), "text:abcde:01:02.10");
}

TEST_F(IoTopology, ArgumentsOfADeviceGoToTheirFields)
{
    open();
    mapping.addPciDeviceInfo("name", g_package, 0, 0, "class", 1, 2, 3, 4, 5, 6, 7, 8, "9 GT/s", 10,
                             "11 GT/s", "extra");
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.rows("dd_pci_device_info", 15),
              lines_t{"text:name s32:1 s32:1 text:0001:02:03.4 u32:1 u16:2 u16:3 u16:4 s32:6 s32:7 "
                      "s32:10 real:11.000000 s32:8 real:9.000000 text:extra"});
    EXPECT_EQ(scratch.rows("dd_pci_device_class", 2), lines_t{"text:class s32:5"});
}

TEST_F(IoTopology, OfTwoDevicesAtOneAddressOfAChannelTheFirstIsKept)
{
    open();
    add(g_package, 0, 0, {"first", 0x3b});
    add(g_package, 0, 0, {"second", 0x3b});
    add(g_package, 0, 1, {"elsewhere", 0x3b});
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.rows("dd_pci_device_info", 1), (lines_t{"text:first", "text:elsewhere"}));
}

TEST_F(IoTopology, AUnitWithOneChannelSharesItsSource)
{
    open();
    add(g_package, 3, 2, {"nic", 0x3b, 0, 0});
    add(g_package, 3, 2, {"nic", 0x3b, 0, 1});
    mapping.loadIoTopology();
    EXPECT_EQ(ioUnits(), lines_t{"s32:3 s32:1 s32:-1 s32:1"});
    EXPECT_EQ(channels(), lines_t{"s32:2 s32:1 s32:1 s32:1 s32:1"});
    EXPECT_EQ(sources(),
              lines_t{"text:nic (0000:3b:00.[0,1]) null text:0000:3b:00.0,0000:3b:00.1 s32:1"});
}

TEST_F(IoTopology, AUnitIsNamedAfterItsChannelsInTextOrder)
{
    open();
    add(g_package, 0, 0, {"ssd", 1});
    add(g_package, 0, 1, {"nic", 2});
    mapping.loadIoTopology();
    EXPECT_EQ(sources(), (lines_t{"text:ssd (0000:01:00.0) null text:0000:01:00.0 s32:1",
                                  "text:nic (0000:02:00.0) null text:0000:02:00.0 s32:1",
                                  "text:nic (0000:02:00.0), ssd (0000:01:00.0) null "
                                  "text:0000:01:00.0,0000:02:00.0 s32:1"}));
    EXPECT_EQ(ioUnits(), lines_t{"s32:0 s32:1 s32:-1 s32:3"});
    EXPECT_EQ(channels(),
              (lines_t{"s32:0 s32:1 s32:1 s32:1 s32:1", "s32:1 s32:1 s32:1 s32:2 s32:2"}));
}

TEST_F(IoTopology, UnitsComeByPackageAndNumberAndChannelsByNumber)
{
    open();
    add(g_otherPackage, 0, 0, {"d", 4});
    add(g_package, 2, 1, {"c", 3});
    add(g_package, 2, 0, {"b", 2});
    add(g_package, -1, 5, {"a", 1});
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.rows("dd_io_unit_info", 2),
              (lines_t{"s32:-1 s32:1", "s32:2 s32:1", "s32:0 s32:2"}));
    EXPECT_EQ(scratch.rows("dd_io_channel_info", 3),
              (lines_t{"s32:5 s32:1 s32:1", "s32:0 s32:2 s32:1", "s32:1 s32:2 s32:1",
                       "s32:0 s32:3 s32:2"}));
    EXPECT_EQ(scratch.rows("dd_pci_device_info", 1),
              (lines_t{"text:a", "text:b", "text:c", "text:d"}));
}

TEST_F(IoTopology, DevicesOfAChannelAreWrittenByAddress)
{
    open();
    add(g_package, 0, 0, {"late", 9});
    add(g_package, 0, 0, {"early", 1});
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.rows("dd_pci_device_info", 1), (lines_t{"text:early", "text:late"}));
    EXPECT_EQ(show(scratch.at("dd_io_channel_info", Index(1), 4)), "s32:1");
}

TEST_F(IoTopology, ABridgeInFrontOfOneClassGivesWayToIt)
{
    open();
    add(g_package, 0, 0, bridge(0, 1));
    add(g_package, 0, 0, {"nic", 0x3b});
    mapping.loadIoTopology();
    EXPECT_EQ(sources(),
              lines_t{"text:nic (0000:3b:00.0) null text:0000:00:01.0,0000:3b:00.0 s32:1"});
    EXPECT_EQ(show(scratch.at("dd_io_channel_info", Index(1), 4)), "s32:2");
}

TEST_F(IoTopology, BridgesInFrontOfOneClassAreAllLeftOutOfTheName)
{
    open();
    add(g_package, 0, 0, bridge(0, 1, "a"));
    add(g_package, 0, 0, bridge(0, 2, "b"));
    add(g_package, 0, 0, {"nic", 0x3b});
    add(g_package, 0, 0, bridge(0x40, 0, "behind"));
    mapping.loadIoTopology();
    EXPECT_EQ(show(scratch.at("dd_io_traffic_source", Index(1), 0)),
              "text:behind (0000:40:00.0), nic (0000:3b:00.0)")
        << "the name goes from the first endpoint to the end";
    EXPECT_EQ(show(scratch.at("dd_io_channel_info", Index(1), 4)), "s32:3");
}

TEST_F(IoTopology, ABridgeAloneStandsForItsChannelWithoutANameOfIts)
{
    open();
    add(g_package, 0, 0, bridge(0, 1));
    mapping.loadIoTopology();
    EXPECT_EQ(sources(), lines_t{"text: null text:0000:00:01.0 s32:1"});
    EXPECT_EQ(channels(), lines_t{"s32:0 s32:1 s32:1 s32:1 s32:1"});
}

TEST_F(IoTopology, OfBridgesAloneOnlyTheFirstIsLeftOut)
{
    open();
    add(g_package, 0, 0, bridge(0, 1, "a"));
    add(g_package, 0, 0, bridge(0, 2, "b"));
    add(g_package, 0, 0, bridge(0, 3, "c"));
    mapping.loadIoTopology();
    EXPECT_EQ(show(scratch.at("dd_io_traffic_source", Index(1), 0)),
              "text:b (0000:00:02.0), c (0000:00:03.0)");
    EXPECT_EQ(show(scratch.at("dd_io_channel_info", Index(1), 4)), "s32:1");
}

TEST_F(IoTopology, ABridgeInFrontOfTwoClassesLeavesOnlyItselfOut)
{
    open();
    add(g_package, 0, 0, bridge(0, 1, "a"));
    add(g_package, 0, 0, bridge(0, 2, "b"));
    add(g_package, 0, 0, {"nic", 1});
    add(g_package, 0, 0, {"ssd", 2, 0, 0, 1, "storage"});
    mapping.loadIoTopology();
    EXPECT_EQ(show(scratch.at("dd_io_traffic_source", Index(1), 0)),
              "text:b (0000:00:02.0), nic (0000:01:00.0), ssd (0000:02:00.0)");
    EXPECT_EQ(show(scratch.at("dd_io_channel_info", Index(1), 4)), "s32:1");
}

TEST_F(IoTopology, ABridgeBehindAnEndpointIsNamedWithIt)
{
    open();
    add(g_package, 0, 0, {"nic", 1});
    add(g_package, 0, 0, bridge(2, 0));
    mapping.loadIoTopology();
    EXPECT_EQ(show(scratch.at("dd_io_traffic_source", Index(1), 0)),
              "text:nic (0000:01:00.0), port (0000:02:00.0)");
    EXPECT_EQ(show(scratch.at("dd_io_channel_info", Index(1), 4)), "s32:1");
}

TEST_F(IoTopology, OneSetOfAddressesOnTwoPackagesIsOneSource)
{
    open();
    add(g_package, 0, 0, {"nic", 1});
    add(g_otherPackage, 0, 0, {"other", 1});
    mapping.loadIoTopology();
    EXPECT_EQ(sources(), lines_t{"text:nic (0000:01:00.0) null text:0000:01:00.0 s32:1"});
    EXPECT_EQ(channels(),
              (lines_t{"s32:0 s32:1 s32:1 s32:1 s32:1", "s32:0 s32:2 s32:2 s32:1 s32:2"}));
}

TEST_F(IoTopology, RowsOfUnitsMadeByTheLoadAreNotRemembered)
{
    open();
    add(g_package, 0, 0, {"nic", 1});
    mapping.loadIoTopology();
    EXPECT_TRUE(mapping.m_ioUnitKeys.empty());
}

TEST_F(IoTopology, ASecondLoadWritesEverythingAgain)
{
    open();
    add(g_package, 0, 0, {"nic", 1});
    mapping.loadIoTopology();
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.count("dd_pci_device_info"), 2u);
    EXPECT_EQ(scratch.count("dd_io_channel_info"), 2u);
    EXPECT_EQ(scratch.count("dd_io_unit_info"), 2u);
    EXPECT_EQ(scratch.count("dd_io_traffic_source"), 1u);
}

TEST_F(IoTopology, ChannelNumbersAreNotFoldedByTheLoad)
{
    open();
    mapping.m_platformModel = 108; // on which the event phase folds channels of unit 2
    for (int channel = 0; channel < 5; ++channel)
        add(g_package, 2, channel, {"nic", static_cast<unsigned short>(channel)});
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.rows("dd_io_channel_info", 1),
              (lines_t{"s32:0", "s32:1", "s32:2", "s32:3", "s32:4"}));
}

TEST_F(IoTopology, OfEachChannelComeDevicesSourceAndRowAndTheUnitsSourceComesLast)
{
    const log_ptr_t log = std::make_shared<CallLog>();
    mapping.initIoTopologyLoading(tb2::make_counted<FakeDatabase>(log));
    add(g_package, 0, 0, {"nic", 1});
    add(g_package, 0, 1, {"ssd", 2});
    mapping.loadIoTopology();
    lines_t committed;
    for (const std::string& line : log->take()) {
        const std::size_t name = line.find(".commit(");
        if (name != std::string::npos) committed.push_back(line.substr(0, name));
    }
    EXPECT_EQ(committed,
              (lines_t{"dd_io_unit_info", "dd_pci_device_class", "dd_pci_device_info",
                       "dd_io_traffic_source", "dd_io_channel_info", "dd_pci_device_info",
                       "dd_io_traffic_source", "dd_io_channel_info", "dd_io_traffic_source"}));
    EXPECT_EQ(assertions.take(), (lines_t{"!ioUnitRecord.isNull()", "m_pRecord"}))
        << "the fake gives no row to change";
}

TEST_F(IoTopology, AnEmptyLoadWritesNothing)
{
    open();
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.count("dd_io_traffic_source") + scratch.count("dd_io_unit_info"), 0u);
}

TEST_F(IoTopology, TenThousandFunctionsOn256BusesAreAllThere)
{
    open();
    unsigned place = 0;
    for (; place < 10'000; ++place) {
        const auto bus = static_cast<unsigned short>(place % 256);
        add(Index(1 + static_cast<int>(bus / 128)), bus % 6, bus % 4,
            {"nic " + std::to_string(place % 7), bus, static_cast<unsigned short>(place / 256 / 8),
             static_cast<unsigned short>(place / 256 % 8), place % 5 == 0 ? 6 : 2});
    }
    mapping.loadIoTopology();
    EXPECT_EQ(scratch.count("dd_pci_device_info"), place);
    EXPECT_EQ(scratch.count("dd_io_unit_info"), 12u);
    std::set<std::string> addresses;
    for (const std::string& row : scratch.rows("dd_pci_device_info", 4))
        addresses.insert(row);
    EXPECT_EQ(addresses.size(), place);
}

} // namespace
} // namespace samplefold_test
