#include "pci_devices_mapping/topology_fixture.h"

// Mesh stops and the IO units behind them.
namespace samplefold_test {
namespace {

using MeshStops = TopologyTest;

TEST_F(MeshStops, AMappingBeforeTheOpeningIsDropped)
{
    mapping.addIoUnitToTidMapping(g_package, 1, 5);
    EXPECT_EQ(scratch.count("dd_mesh_stop") + scratch.count("dd_io_unit_info"), 0u);
    EXPECT_TRUE(mapping.m_meshStopIoUnits.empty());
}

TEST_F(MeshStops, AMappingWritesTheStopAndItsUnitAtOnce)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 4, 31);
    EXPECT_EQ(meshStops(), lines_t{"s32:31 s32:1 null"});
    EXPECT_EQ(ioUnits(), lines_t{"s32:4 s32:1 s32:1 s32:-1"});
    EXPECT_TRUE(mapping.m_meshStopKeys.empty()) << "that map belongs to the event phase";
}

TEST_F(MeshStops, EachMappingOfOneTidMakesAStopOfItsOwn)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 0, 31);
    mapping.addIoUnitToTidMapping(g_package, 1, 31);
    EXPECT_EQ(meshStops(), (lines_t{"s32:31 s32:1 null", "s32:31 s32:1 null"}));
}

TEST_F(MeshStops, TheFirstMappingOfAUnitCounts)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 0, 1);
    mapping.addIoUnitToTidMapping(g_package, 0, 2);
    EXPECT_EQ(mapping.m_ioUnitKeys.at({g_package, 0}), Index(1));
    EXPECT_EQ(mapping.m_ioUnitMeshStops.at({g_package, 0}), Index(1));
}

TEST_F(MeshStops, AUnitWithAStopUsesItsRowForItsDevices)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 3, 31);
    add(g_package, 3, 0, {"nic", 0x3b});
    mapping.loadIoTopology();
    EXPECT_EQ(ioUnits(), lines_t{"s32:3 s32:1 s32:1 s32:1"});
    EXPECT_EQ(meshStops(), lines_t{"s32:31 s32:1 s32:1"}) << "one set of addresses, one source";
}

TEST_F(MeshStops, AUnitAndAStopWithoutDevicesAreNamedByNumbers)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 3, 31);
    mapping.loadIoTopology();
    EXPECT_EQ(ioUnits(), lines_t{"s32:3 s32:1 s32:1 s32:1"});
    EXPECT_EQ(meshStops(), lines_t{"s32:31 s32:1 s32:2"});
    EXPECT_EQ(sources(), (lines_t{"text:IOU3 null text: s32:1", "text:IOU3 null text: s32:1"}));
}

TEST_F(MeshStops, UnitsWithoutDevicesAreNamedOnlyWhereThereAreStops)
{
    open();
    scratch.add("dd_io_unit_info", {{0, variant_t(7)}, {1, variant_t(2)}, {3, variant_t(-1)}});
    mapping.loadIoTopology();
    EXPECT_EQ(ioUnits(), lines_t{"s32:7 s32:2 null s32:-1"});
    mapping.addIoUnitToTidMapping(g_package, 3, 31);
    mapping.loadIoTopology();
    EXPECT_EQ(ioUnits(), (lines_t{"s32:7 s32:2 null s32:1", "s32:3 s32:1 s32:1 s32:2"}));
    EXPECT_EQ(sources()[0], "text:IOU7 null text: s32:2");
}

TEST_F(MeshStops, UnitsWithoutANumberStayWithoutASource)
{
    open();
    scratch.add("dd_io_unit_info", {{1, variant_t(2)}, {3, variant_t(-1)}});
    mapping.addIoUnitToTidMapping(g_package, 3, 31);
    mapping.loadIoTopology();
    EXPECT_EQ(ioUnits()[0], "null s32:2 null s32:-1");
}

TEST_F(MeshStops, AStopOfSeveralUnitsIsNamedInTheOrderOfTheCalls)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 9, 31);
    // Every call makes a stop of its own, so units of one stop are put there by hand.
    mapping.m_meshStopIoUnits[Index(1)] = {5, 2};
    mapping.loadIoTopology();
    EXPECT_EQ(sources().back(), "text:IOU5, IOU2 null text: s32:1");
    EXPECT_EQ(meshStops(), lines_t{"s32:31 s32:1 s32:2"});
}

TEST_F(MeshStops, AStopIsNamedAfterTheUnitsWithDevicesAndHasTheirAddresses)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 0, 31);
    mapping.m_ioUnitMeshStops[{g_package, 2}] = Index(1);
    add(g_package, 0, 0, {"ssd", 1});
    add(g_package, 2, 0, {"nic", 2});
    mapping.loadIoTopology();
    EXPECT_EQ(meshStops(), lines_t{"s32:31 s32:1 s32:3"});
    EXPECT_EQ(sources()[2], "text:ssd (0000:01:00.0), nic (0000:02:00.0) null "
                            "text:0000:01:00.0,0000:02:00.0 s32:1")
        << "names by unit, addresses by number";
}

TEST_F(MeshStops, AStopThatNobodyMappedGetsAnEmptyName)
{
    open();
    scratch.add("dd_mesh_stop", {{0, variant_t(8)}, {1, variant_t(2)}});
    mapping.loadIoTopology();
    EXPECT_EQ(sources(), lines_t{"text: null text: s32:2"});
    EXPECT_EQ(meshStops(), lines_t{"s32:8 s32:2 s32:1"});
}

TEST_F(MeshStops, TheEventPhaseFindsStopsByPackageAndTid)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 0, 31);
    mapping.addIoUnitToTidMapping(g_package, 1, 31);
    mapping.addIoUnitToTidMapping(g_otherPackage, 0, 31);
    mapping.cacheMeshStopKeys();
    EXPECT_EQ(mapping.getMeshStopKey(31, g_package), Index(1)) << "the first row stays";
    EXPECT_EQ(mapping.getMeshStopKey(31, g_otherPackage), Index(3));
    EXPECT_EQ(scratch.count("dd_mesh_stop"), 3u);
}

TEST_F(MeshStops, AStopWithoutARowGetsOneWithoutASource)
{
    open();
    EXPECT_EQ(mapping.getMeshStopKey(12, g_otherPackage), Index(1));
    EXPECT_EQ(mapping.getMeshStopKey(12, g_otherPackage), Index(1));
    EXPECT_EQ(mapping.getMeshStopKey(12, g_package), Index(2));
    EXPECT_EQ(meshStops(), (lines_t{"s32:12 s32:2 null", "s32:12 s32:1 null"}));
}

} // namespace
} // namespace samplefold_test
