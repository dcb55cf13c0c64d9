#include "pci_devices_mapping/topology_fixture.h"
#include "support/fake_database.h"
#include "support/rowless_keys_table.h"

// Opening of the tables, and the rows that are written one at a time.
namespace samplefold_test {
namespace {

using PciRows = TopologyTest;

pci_device_info_t fullDevice()
{
    pci_device_info_t one;
    one.name = "nic";
    one.className = "network";
    one.address = {0x10001, 0x3b, 0x1f, 7, "10001:3b:1f.7"};
    one.classCode = 2;
    one.attrA = 11;
    one.attrB = -12;
    one.linkValueA = 13;
    one.linkSpeedA = "8 GT/s";
    one.linkValueB = 14;
    one.linkSpeedB = "2.5 GT/s (downgraded)";
    one.extraText = "slot 4";
    return one;
}

TEST_F(PciRows, ANewMappingIsEmpty)
{
    EXPECT_FALSE(mapping.m_eventsMappingInitialized);
    EXPECT_FALSE(mapping.m_ioTopologyLoadingInitialized);
    EXPECT_EQ(mapping.m_platformModel, 0);
    EXPECT_TRUE(mapping.m_packageTable.is_null() && mapping.m_pciDeviceInfoTable.is_null() &&
                mapping.m_ioTrafficSourceTable.is_null() &&
                mapping.m_ioChannelInfoTable.is_null() &&
                mapping.m_uncoreEventTypeTable.is_null() && mapping.m_meshStopTable.is_null() &&
                mapping.m_ioUnitInfoTable.is_null() && mapping.m_pciDeviceClassTable.is_null());
    const std::pair<const char*, std::size_t> sizes[] = {
        {"m_pciDevices", mapping.m_pciDevices.size()},
        {"m_ioUnitKeys", mapping.m_ioUnitKeys.size()},
        {"m_ioUnitMeshStops", mapping.m_ioUnitMeshStops.size()},
        {"m_pciClassKeys", mapping.m_pciClassKeys.size()},
        {"m_trafficSourceKeys", mapping.m_trafficSourceKeys.size()},
        {"m_meshStopAddresses", mapping.m_meshStopAddresses.size()},
        {"m_meshStopNames", mapping.m_meshStopNames.size()},
        {"m_meshStopIoUnits", mapping.m_meshStopIoUnits.size()},
        {"m_packageIdToDbIndex", mapping.m_packageIdToDbIndex.size()},
        {"m_ioChannelKeys", mapping.m_ioChannelKeys.size()},
        {"m_meshStopKeys", mapping.m_meshStopKeys.size()},
        {"m_ioChannelKeyByEvent", mapping.m_ioChannelKeyByEvent.size()},
        {"m_ioUnitKeyByEvent", mapping.m_ioUnitKeyByEvent.size()},
        {"m_meshStopKeyByEvent", mapping.m_meshStopKeyByEvent.size()}};
    for (const auto& [name, size] : sizes)
        EXPECT_EQ(size, 0u) << name;
}

TEST_F(PciRows, TablesAreOpenedInTheirOrder)
{
    const log_ptr_t log = std::make_shared<CallLog>();
    mapping.initIoTopologyLoading(tb2::make_counted<FakeDatabase>(log));
    EXPECT_EQ(log->take(), (lines_t{"db.getAttributeTable dd_pci_device_info",
                                    "db.getAttributeTable dd_io_traffic_source",
                                    "db.getAttributeTable dd_pci_device_class",
                                    "db.getAttributeTable dd_io_channel_info",
                                    "db.getAttributeTable dd_mesh_stop",
                                    "db.getAttributeTable dd_io_unit_info"}));
    EXPECT_TRUE(mapping.m_ioTopologyLoadingInitialized);
}

TEST_F(PciRows, EachMissingTableIsAsserted)
{
    const std::pair<const char*, const char*> tables[] = {
        {"dd_pci_device_info", "!m_pciDeviceInfoTable.is_null()"},
        {"dd_io_traffic_source", "!m_ioTrafficSourceTable.is_null()"},
        {"dd_pci_device_class", "!m_pciDeviceClassTable.is_null()"},
        {"dd_io_channel_info", "!m_ioChannelInfoTable.is_null()"},
        {"dd_mesh_stop", "!m_meshStopTable.is_null()"},
        {"dd_io_unit_info", "!m_ioUnitInfoTable.is_null()"}};
    for (const auto& [name, text] : tables) {
        const auto db = tb2::make_counted<FakeDatabase>(std::make_shared<CallLog>());
        db->missingTables.insert(name);
        OpenMapping one;
        one.initIoTopologyLoading(db);
        EXPECT_EQ(assertions.take(), lines_t{text});
    }
}

TEST_F(PciRows, ANullDatabaseIsAssertedAndNothingCrashes)
{
    mapping.initIoTopologyLoading({});
    const lines_t fired = assertions.take();
    ASSERT_EQ(fired.size(), 7u);
    EXPECT_EQ(fired[0], "!db.is_null()");
    add(g_package, 0, 0, {"nic"});
    mapping.addIoUnitToTidMapping(g_package, 1, 1);
    mapping.loadIoTopology();
    EXPECT_FALSE(assertions.take().empty());
}

TEST_F(PciRows, ASecondOpeningTakesTheOtherResult)
{
    open();
    const ScratchResult other;
    mapping.initIoTopologyLoading(other.db());
    mapping.addIoUnitToTidMapping(g_package, 0, 1);
    EXPECT_EQ(other.count("dd_mesh_stop"), 1u);
    EXPECT_EQ(scratch.count("dd_mesh_stop"), 0u);
}

TEST_F(PciRows, ADeviceHasAllItsFields)
{
    open();
    mapping.addPciDeviceRecord(fullDevice(), g_otherPackage);
    EXPECT_EQ(scratch.rows("dd_pci_device_info", 15),
              lines_t{"text:nic s32:2 s32:1 text:10001:3b:1f.7 u32:65537 u16:59 u16:31 u16:7 "
                      "s32:11 s32:-12 s32:14 real:2.500000 s32:13 real:8.000000 text:slot 4"});
    EXPECT_EQ(scratch.rows("dd_pci_device_class", 2), lines_t{"text:network s32:2"});
}

TEST_F(PciRows, FieldsAreWrittenInTheirOrderAndKind)
{
    const log_ptr_t log = std::make_shared<CallLog>();
    mapping.initIoTopologyLoading(tb2::make_counted<FakeDatabase>(log));
    log->take();
    mapping.addPciDeviceRecord(fullDevice(), Index());
    EXPECT_EQ(log->take(), (lines_t{"dd_pci_device_class.createOrphanRecord",
                                    "dd_pci_device_class[0]=text:network",
                                    "dd_pci_device_class[1]=s32:2",
                                    "dd_pci_device_class.commit(0,0)->1",
                                    "dd_pci_device_info.createOrphanRecord",
                                    "dd_pci_device_info[0]=text:nic",
                                    "dd_pci_device_info[1]=s32:-1",
                                    "dd_pci_device_info[2]=s32:1",
                                    "dd_pci_device_info[3]=text:10001:3b:1f.7",
                                    "dd_pci_device_info[4]=u32:65537",
                                    "dd_pci_device_info[5]=u16:59",
                                    "dd_pci_device_info[6]=u16:31",
                                    "dd_pci_device_info[7]=u16:7",
                                    "dd_pci_device_info[8]=s32:11",
                                    "dd_pci_device_info[9]=s32:-12",
                                    "dd_pci_device_info[10]=s32:14",
                                    "dd_pci_device_info[12]=s32:13",
                                    "dd_pci_device_info[14]=text:slot 4",
                                    "dd_pci_device_info[11]=real:2.500000",
                                    "dd_pci_device_info[13]=real:8.000000",
                                    "dd_pci_device_info.commit(0,0)->1"}));
    mapping.addIoChannelRecord(3, Index(4), Index(5), Index(6), Index());
    EXPECT_EQ(log->take(),
              (lines_t{"dd_io_channel_info.createOrphanRecord", "dd_io_channel_info[0]=s32:3",
                       "dd_io_channel_info[1]=s32:4", "dd_io_channel_info[2]=s32:5",
                       "dd_io_channel_info[3]=s32:6", "dd_io_channel_info[4]=s32:-1",
                       "dd_io_channel_info.commit(0,0)->1"}));
    mapping.addIoUnitRecord(3, Index(5), Index(), "");
    EXPECT_EQ(log->take(),
              (lines_t{"dd_io_unit_info.createOrphanRecord", "dd_io_unit_info[0]=s32:3",
                       "dd_io_unit_info[1]=s32:5", "dd_io_unit_info[2]=s32:-1",
                       "dd_io_unit_info[3]=s32:-1", "dd_io_unit_info.commit(0,0)->1"}));
    mapping.getIoTrafficSourceKey("nic", {{0, 1, 0, 0, "x"}}, Index(5));
    EXPECT_EQ(log->take(),
              (lines_t{"dd_io_traffic_source.createOrphanRecord",
                       "dd_io_traffic_source[0]=text:nic", "dd_io_traffic_source[2]=text:x",
                       "dd_io_traffic_source[3]=s32:5", "dd_io_traffic_source.commit(0,0)->1"}));
}

TEST_F(PciRows, AMeshStopIsWrittenInTheOrderOfEachPhase)
{
    const log_ptr_t log = std::make_shared<CallLog>();
    mapping.initIoTopologyLoading(tb2::make_counted<FakeDatabase>(log));
    log->take();
    mapping.addIoUnitToTidMapping(Index(5), 3, 31);
    EXPECT_EQ(log->take(),
              (lines_t{"dd_mesh_stop.createOrphanRecord", "dd_mesh_stop[0]=s32:31",
                       "dd_mesh_stop[1]=s32:5", "dd_mesh_stop.commit(0,0)->1",
                       "dd_io_unit_info.createOrphanRecord", "dd_io_unit_info[0]=s32:3",
                       "dd_io_unit_info[1]=s32:5", "dd_io_unit_info[2]=s32:1",
                       "dd_io_unit_info[3]=s32:-1", "dd_io_unit_info.commit(0,0)->1"}));
    mapping.getMeshStopKey(8, Index(5));
    EXPECT_EQ(log->take(), (lines_t{"dd_mesh_stop.createOrphanRecord", "dd_mesh_stop[1]=s32:5",
                                    "dd_mesh_stop[0]=s32:8", "dd_mesh_stop.commit(0,0)->2"}));
}

TEST_F(PciRows, RefusedRowsAreAsserted)
{
    const log_ptr_t log = std::make_shared<CallLog>();
    const auto db = tb2::make_counted<FakeDatabase>(log);
    for (const char* const name : {"dd_pci_device_info", "dd_pci_device_class", "dd_mesh_stop",
                                   "dd_io_traffic_source", "dd_io_channel_info", "dd_io_unit_info"})
        db->table(name).refusedCommits = {1};
    mapping.initIoTopologyLoading(db);
    EXPECT_FALSE(mapping.addPciDeviceRecord(fullDevice(), g_package).exist());
    EXPECT_EQ(assertions.take(), (lines_t{"classKey.exist()", "pciDeviceInfoKey.exist()"}));
    EXPECT_FALSE(mapping.addIoChannelRecord(0, Index(), g_package, Index(), Index()).exist());
    EXPECT_EQ(assertions.take(), lines_t{"ioChannelKey.exist()"});
    mapping.addIoUnitToTidMapping(g_package, 0, 0);
    EXPECT_EQ(assertions.take(), (lines_t{"meshStopKey.exist()", "ioUnitKey.exist()"}));
    EXPECT_FALSE(mapping.getIoTrafficSourceKey("x", {}, g_package).exist());
    EXPECT_EQ(assertions.take(), lines_t{"trafficSourceKey.exist()"});
}

/// What fires where a row cannot be begun: `before`, the null record for each field and once more
/// at its commit, then `after`.
lines_t ofANullRow(lines_t before, std::size_t fields, const lines_t& after)
{
    before.insert(before.end(), fields + 1, "m_pRecord");
    before.insert(before.end(), after.begin(), after.end());
    return before;
}

TEST_F(PciRows, RowsBeforeTheOpeningAreAsserted)
{
    EXPECT_FALSE(mapping.getPciClassKey("network", 2).exist());
    EXPECT_EQ(assertions.take(),
              ofANullRow({"m_ioTopologyLoadingInitialized", "m_pciDeviceClassTable"}, 2,
                         {"classKey.exist()"}));
    EXPECT_FALSE(mapping.addPciDeviceRecord(fullDevice(), g_package).exist());
    EXPECT_EQ(assertions.take(),
              ofANullRow({"m_ioTopologyLoadingInitialized", "m_ioTopologyLoadingInitialized"}, 15,
                         {"pciDeviceInfoKey.exist()"}))
        << "the class was asked for before";
    mapping.addIoChannelRecord(0, Index(), g_package, Index(), Index());
    EXPECT_EQ(assertions.take(),
              ofANullRow({"!m_ioChannelInfoTable.is_null()"}, 5, {"ioChannelKey.exist()"}));
    mapping.addIoUnitRecord(0, g_package, Index(), "");
    EXPECT_EQ(assertions.take(),
              ofANullRow({"!m_ioUnitInfoTable.is_null()"}, 4, {"ioUnitKey.exist()"}));
    mapping.getIoTrafficSourceKey("x", {}, g_package);
    EXPECT_EQ(assertions.take(),
              ofANullRow({"!m_ioTrafficSourceTable.is_null()"}, 3, {"trafficSourceKey.exist()"}));
    mapping.getMeshStopKey(1, g_package);
    EXPECT_EQ(assertions.take(), ofANullRow({"!meshStopRec.isNull()"}, 2, {}));
    mapping.loadIoTopology();
    EXPECT_EQ(assertions.take(),
              (lines_t{"m_ioTopologyLoadingInitialized", "m_ioTopologyLoadingInitialized"}));
}

TEST_F(PciRows, SpeedsAreTheNumberAtTheStartOfTheirText)
{
    open();
    const std::pair<std::string, std::string> cases[] = {
        {"8 GT/s", "real:8.000000"},
        {"2.5 GT/s", "real:2.500000"},
        {"16.0 GT/s PCIe", "real:16.000000"},
        {".5 GT/s", "real:0.500000"},
        {"8 GT/s\nmore", "real:8.000000"},
        {"", "null"},
        {"unknown", "null"},
        {"Unknown speed", "null"},
        {"8GT/s", "null"},
        {" 8 GT/s", "null"},
        {"8. GT/s", "null"},
        {"-8 GT/s", "null"},
        {"8  GT/s", "null"},
        {"8 gt/s", "null"},
        {"1.2.3 GT/s", "null"},
        {std::string(1 << 20, '1'), "null"},
        {std::string(1 << 20, '1') + "x GT/s", "null"},
        {std::string(1 << 20, '.') + " GT/s", "null"}};
    for (const auto& [text, wanted] : cases) {
        pci_device_info_t one = fullDevice();
        one.linkSpeedA = text;
        const Index key = mapping.addPciDeviceRecord(one, g_package);
        EXPECT_EQ(show(scratch.at("dd_pci_device_info", key, 13)), wanted) << text.substr(0, 30);
        EXPECT_EQ(show(scratch.at("dd_pci_device_info", key, 11)), "real:2.500000");
    }
}

TEST_F(PciRows, ASpeedOfAMegabyteOfDigitsIsAFiniteNumber)
{
    open();
    pci_device_info_t one = fullDevice();
    one.linkSpeedB = std::string(1 << 20, '1') + " GT/s";
    const Index key = mapping.addPciDeviceRecord(one, g_package);
    EXPECT_EQ(scratch.at("dd_pci_device_info", key, 11).as_double(),
              std::numeric_limits<double>::max());
}

TEST_F(PciRows, AClassGoesByItsNameAndKeepsItsFirstCode)
{
    open();
    const Index first = mapping.getPciClassKey("network", 2);
    EXPECT_EQ(mapping.getPciClassKey("network", 9), first);
    EXPECT_NE(mapping.getPciClassKey("storage", 2), first);
    EXPECT_EQ(scratch.rows("dd_pci_device_class", 2),
              (lines_t{"text:network s32:2", "text:storage s32:2"}));
}

TEST_F(PciRows, AClassWithoutANameHasNoRow)
{
    open();
    EXPECT_FALSE(mapping.getPciClassKey("", 2).exist());
    pci_device_info_t one = fullDevice();
    one.className.clear();
    const Index key = mapping.addPciDeviceRecord(one, g_package);
    EXPECT_EQ(show(scratch.at("dd_pci_device_info", key, 2)), "s32:-1");
    EXPECT_EQ(scratch.count("dd_pci_device_class"), 0u);
}

TEST_F(PciRows, PlacesWithOneSetOfAddressesShareASource)
{
    open();
    const pci_address_set_t one{{0, 1, 0, 0, "a"}};
    const pci_address_set_t both{{0, 1, 0, 0, "a"}, {0, 2, 0, 0, "b"}};
    const Index first = mapping.getIoTrafficSourceKey("nic", one, g_package);
    EXPECT_EQ(mapping.getIoTrafficSourceKey("other", one, g_otherPackage), first);
    EXPECT_NE(mapping.getIoTrafficSourceKey("nic", both, g_package), first);
    EXPECT_EQ(sources(), (lines_t{"text:nic null text:a s32:1", "text:nic null text:a,b s32:1"}));
}

TEST_F(PciRows, SourcesWithoutAddressesAreNeverShared)
{
    open();
    const Index first = mapping.getIoTrafficSourceKey("IOU1", {}, g_package);
    EXPECT_NE(mapping.getIoTrafficSourceKey("IOU1", {}, g_package), first);
    EXPECT_EQ(sources(), (lines_t{"text:IOU1 null text: s32:1", "text:IOU1 null text: s32:1"}));
}

TEST_F(PciRows, AnIoUnitWithANameGetsASource)
{
    open();
    mapping.addIoUnitRecord(4, g_package, Index(9), "four");
    EXPECT_EQ(ioUnits(), lines_t{"s32:4 s32:1 s32:9 s32:1"});
    EXPECT_EQ(sources(), lines_t{"text:four null text: s32:1"});
}

TEST_F(PciRows, KeysWithoutARowAreAsserted)
{
    const auto fired = [&](const char* rowless, auto step) {
        const auto db =
            tb2::make_counted<RowlessKeysDatabase>(rowless, std::make_shared<CallLog>());
        OpenMapping one;
        one.initIoTopologyLoading(db);
        one.initEventsMapping(db, 0);
        assertions.take();
        step(one);
        return assertions.take().front();
    };
    int number = 0;
    EXPECT_EQ(
        fired("dd_package", [&](OpenMapping& one) { one.getPackageIdByDbIndex(Index(1), number); }),
        "!packageAcc.isNull()");
    EXPECT_EQ(fired("dd_io_unit_info", [](OpenMapping& one) { one.cacheIoUnitAndChannelKeys(); }),
              "!acc.isNull()");
    EXPECT_EQ(
        fired("dd_io_channel_info", [](OpenMapping& one) { one.cacheIoUnitAndChannelKeys(); }),
        "!acc.isNull()");
    EXPECT_EQ(fired("dd_mesh_stop", [](OpenMapping& one) { one.cacheMeshStopKeys(); }),
              "!acc.isNull()");
    EXPECT_EQ(fired("dd_mesh_stop", [](OpenMapping& one) { one.addMeshStopTrafficSources(); }),
              "!acc.isNull()");
    EXPECT_EQ(fired("dd_io_unit_info",
                    [](OpenMapping& one) {
                        one.m_meshStopIoUnits[Index(1)] = {1};
                        one.loadIoTopology();
                    }),
              "!acc.isNull()");
    EXPECT_EQ(fired("dd_io_unit_info",
                    [](OpenMapping& one) {
                        one.addPciDeviceInfo("nic", Index(1), 0, 0, "", 0, 0, 0, 0, 2, 0, 0, 0, "",
                                             0, "", "");
                        one.loadIoTopology();
                    }),
              "!ioUnitRecord.isNull()");
}

} // namespace
} // namespace samplefold_test
