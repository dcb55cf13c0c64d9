#include "pci_devices_mapping/topology_fixture.h"
#include "support/fake_database.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>

// The event phase: rows behind events, and those that it adds.
namespace samplefold_test {
namespace {

class EventMapping : public TopologyTest {
protected:
    void init(int platformModel = 0) { mapping.initEventsMapping(scratch.db(), platformModel); }

    /// Row keys of channel, unit and mesh stop behind an event on the package with that number.
    std::vector<int> keys(Index eventType, int packageNum) const
    {
        return {mapping.getIoChannelInfoDbIndexByEventTypeAndPackage(eventType, packageNum).value(),
                mapping.getIoUnitInfoDbIndexByEventTypeAndPackage(eventType, packageNum).value(),
                mapping.getMeshStopDbIndexByEventTypeAndPackage(eventType, packageNum).value()};
    }
};

using keys_t = std::vector<int>;
const keys_t g_none{-1, -1, -1};

TEST_F(EventMapping, TablesAreOpenedInTheirOrder)
{
    const log_ptr_t log = std::make_shared<CallLog>();
    mapping.initEventsMapping(tb2::make_counted<FakeDatabase>(log), 106);
    EXPECT_EQ(
        log->take(),
        (lines_t{"db.getAttributeTable dd_package", "db.getAttributeTable dd_io_traffic_source",
                 "db.getAttributeTable dd_io_channel_info",
                 "db.getAttributeTable dd_uncore_event_type", "db.getAttributeTable dd_mesh_stop",
                 "db.getAttributeTable dd_io_unit_info"}));
    EXPECT_TRUE(mapping.m_eventsMappingInitialized);
    EXPECT_EQ(mapping.m_platformModel, 106);
}

TEST_F(EventMapping, EachMissingTableIsAsserted)
{
    const std::pair<const char*, const char*> tables[] = {
        {"dd_package", "!m_packageTable.is_null()"},
        {"dd_io_traffic_source", "!m_ioTrafficSourceTable.is_null()"},
        {"dd_io_channel_info", "!m_ioChannelInfoTable.is_null()"},
        {"dd_uncore_event_type", "!m_uncoreEventTypeTable.is_null()"},
        {"dd_mesh_stop", "!m_meshStopTable.is_null()"},
        {"dd_io_unit_info", "!m_ioUnitInfoTable.is_null()"}};
    for (const auto& [name, text] : tables) {
        const auto db = tb2::make_counted<FakeDatabase>(std::make_shared<CallLog>());
        db->missingTables.insert(name);
        OpenMapping one;
        one.initEventsMapping(db, 0);
        EXPECT_EQ(assertions.take(), lines_t{text});
    }
}

TEST_F(EventMapping, ANullDatabaseIsAsserted)
{
    mapping.initEventsMapping({}, 0);
    EXPECT_EQ(assertions.take().front(), "!db.is_null()");
}

TEST_F(EventMapping, LookUpsBeforeItAreAssertedAndGiveNothing)
{
    EXPECT_FALSE(mapping.getPackageDbIndexById(0).exist());
    EXPECT_EQ(assertions.take(), lines_t{"m_eventsMappingInitialized"});
    EXPECT_EQ(keys(Index(1), 0), g_none);
    EXPECT_EQ(assertions.take(), lines_t(3, "m_eventsMappingInitialized"));
    EXPECT_FALSE(mapping.getPciDeviceDbIndexByEventTypeAndPackage(Index(1), 0).exist());
}

TEST_F(EventMapping, NoEventStandsForASingleDevice)
{
    open();
    add(g_package, 3, 2, {"nic", 0x3b});
    mapping.loadIoTopology();
    const Index type = event("UNC_IIO_X.PART2[UNIT3]");
    init();
    EXPECT_FALSE(mapping.getPciDeviceDbIndexByEventTypeAndPackage(type, 0).exist());
}

TEST_F(EventMapping, PackagesAreFoundByTheirNumberAndTheFirstRowCounts)
{
    scratch.addNamed("dd_package", "again_1");
    scratch.addNamed("dd_package", "big_40");
    scratch.addNamed("dd_package", "none");
    init();
    EXPECT_EQ(mapping.getPackageDbIndexById(0), Index(1));
    EXPECT_EQ(mapping.getPackageDbIndexById(1), Index(2));
    EXPECT_EQ(mapping.getPackageDbIndexById(40), Index(4));
    EXPECT_FALSE(mapping.getPackageDbIndexById(2).exist());
    EXPECT_FALSE(mapping.getPackageDbIndexById(-1).exist());
}

TEST_F(EventMapping, EventsOfKnownPlacesGetTheirRows)
{
    open();
    mapping.addIoUnitToTidMapping(g_package, 3, 31);
    add(g_package, 3, 2, {"nic", 0x3b});
    mapping.loadIoTopology();
    const Index part = event("UNC_IIO_X.PART2[UNIT3]");
    const Index unit = event("UNC_IIO_CLOCKTICKS[UNIT3]");
    const Index irp = event("UNC_I_CLOCKTICKS[UNIT3]");
    const Index cha = event("UNC_CHA_X:tid=0x1f[UNIT7]");
    const Index memory = event("UNC_M_X[UNIT3]");
    const Index bad = event("UNC_IIO_X.PART2");
    OpenMapping second;
    std::swap(mapping, second);
    init();
    EXPECT_EQ(keys(part, 0), (keys_t{1, 1, 1}));
    EXPECT_EQ(keys(unit, 0), (keys_t{-1, 1, 1}));
    EXPECT_EQ(keys(irp, 0), (keys_t{-1, 1, 1}));
    EXPECT_EQ(keys(cha, 0), (keys_t{-1, -1, 1}));
    EXPECT_EQ(keys(memory, 0), g_none);
    EXPECT_EQ(keys(bad, 0), g_none);
    EXPECT_EQ(mapping.m_ioUnitKeyByEvent.size(), 12u) << "every pair has an entry";
    EXPECT_EQ(mapping.m_ioChannelKeyByEvent.count({1, memory}), 1u);
    EXPECT_EQ(mapping.m_meshStopKeyByEvent.count({1, bad}), 1u);
}

TEST_F(EventMapping, AUnitWithoutAStopHasNone)
{
    open();
    add(g_package, 3, 2, {"nic", 0x3b});
    mapping.loadIoTopology();
    const Index unit = event("UNC_IIO_CLOCKTICKS[UNIT3]");
    init();
    EXPECT_EQ(keys(unit, 0), (keys_t{-1, 1, -1}));
}

TEST_F(EventMapping, PlacesThatOnlyEventsKnowGetRowsOnEachPackage)
{
    const Index part = event("UNC_IIO_X.PART2[UNIT3]");
    const Index same = event("UNC_IIO_Y.PART2[UNIT3]");
    const Index cha = event("UNC_CHA_X:tid=0x10[UNIT0]");
    init();
    EXPECT_EQ(ioUnits(), (lines_t{"s32:3 s32:1 s32:-1 s32:1", "s32:3 s32:2 s32:-1 s32:3"}));
    EXPECT_EQ(channels(),
              (lines_t{"s32:2 s32:1 s32:1 s32:2 s32:-1", "s32:2 s32:2 s32:2 s32:4 s32:-1"}));
    EXPECT_EQ(meshStops(), (lines_t{"s32:16 s32:1 null", "s32:16 s32:2 null"}));
    EXPECT_EQ(sources(),
              (lines_t{"text:IOU3 null text: s32:1", "text:IOU3\\Slot2 null text: s32:1",
                       "text:IOU3 null text: s32:2", "text:IOU3\\Slot2 null text: s32:2"}));
    EXPECT_EQ(keys(part, 0), (keys_t{1, 1, -1}));
    EXPECT_EQ(keys(same, 1), (keys_t{2, 2, -1}));
    EXPECT_EQ(keys(cha, 1), (keys_t{-1, -1, 2}));
}

TEST_F(EventMapping, AChannelThatOnlyAnEventKnowsJoinsItsKnownUnit)
{
    open();
    add(g_package, 3, 0, {"nic", 0x3b});
    mapping.loadIoTopology();
    event("UNC_IIO_X.PART2[UNIT3]");
    OpenMapping second;
    second.initEventsMapping(scratch.db(), 0);
    EXPECT_EQ(channels()[1], "s32:2 s32:1 s32:1 s32:2 s32:-1");
    EXPECT_EQ(show(scratch.at("dd_io_traffic_source", Index(2), 0)), "text:IOU3\\Slot2");
}

TEST_F(EventMapping, PackagesWithoutANumberAreLeftOut)
{
    scratch.addNamed("dd_package", "nameless");
    const Index unit = event("UNC_IIO_CLOCKTICKS[UNIT3]");
    init();
    EXPECT_EQ(scratch.count("dd_io_unit_info"), 2u);
    EXPECT_EQ(keys(unit, -1), g_none);
    EXPECT_EQ(keys(unit, 2), g_none);
}

TEST_F(EventMapping, OfTwoPackagesWithOneNumberTheFirstCountsAndBothGrow)
{
    scratch.addNamed("dd_package", "again_0");
    const Index unit = event("UNC_IIO_CLOCKTICKS[UNIT3]");
    init();
    EXPECT_EQ(keys(unit, 0), (keys_t{-1, 1, -1}));
    EXPECT_EQ(scratch.rows("dd_io_unit_info", 2),
              (lines_t{"s32:3 s32:1", "s32:3 s32:2", "s32:3 s32:3"}));
}

TEST_F(EventMapping, ASecondCallChangesNothing)
{
    init(85);
    const Index late = event("UNC_IIO_CLOCKTICKS[UNIT3]");
    init(106);
    EXPECT_EQ(mapping.m_platformModel, 85);
    EXPECT_EQ(keys(late, 0), g_none);
    EXPECT_EQ(scratch.count("dd_io_unit_info"), 0u);
}

TEST_F(EventMapping, OfSeveralRowsOfAPlaceTheFirstCounts)
{
    for (int i = 0; i < 2; ++i) {
        scratch.add("dd_io_unit_info", {{0, variant_t(3)}, {1, variant_t(1)}, {2, variant_t(i)}});
        scratch.add("dd_io_channel_info",
                    {{0, variant_t(2)}, {1, variant_t(i + 1)}, {2, variant_t(1)}});
        scratch.add("dd_mesh_stop", {{0, variant_t(16)}, {1, variant_t(1)}});
    }
    const Index part = event("UNC_IIO_X.PART2[UNIT3]");
    const Index cha = event("UNC_CHA_X:tid=0x10[UNIT0]");
    init();
    EXPECT_EQ(keys(part, 0), (keys_t{1, 1, 0}));
    EXPECT_EQ(keys(cha, 0), (keys_t{-1, -1, 1}));
}

TEST_F(EventMapping, AChannelWhoseUnitHasNoRowIsAsserted)
{
    scratch.add("dd_io_channel_info", {{0, variant_t(2)}, {1, variant_t(9)}, {2, variant_t(1)}});
    init();
    EXPECT_EQ(assertions.take(),
              lines_t{"ioUnitIdByDbKey.find(ioUnitKey) != ioUnitIdByDbKey.end()"});
}

TEST_F(EventMapping, EmptyNumbersReadAsMinusOne)
{
    scratch.add("dd_io_unit_info", {{1, variant_t(1)}});
    scratch.add("dd_io_channel_info", {{1, variant_t(1)}, {2, variant_t(1)}});
    scratch.add("dd_mesh_stop", {{1, variant_t(1)}});
    init();
    EXPECT_EQ(mapping.m_ioUnitKeys.at({g_package, -1}), Index(1));
    EXPECT_EQ(mapping.m_ioChannelKeys.at({g_package, -1, -1}), Index(1));
    EXPECT_EQ(mapping.m_meshStopKeys.at({g_package, -1}), Index(1));
}

struct fold_case_t {
    int model;
    int ioUnit; ///< the only unit in which numbers fold; -1 for none
    int apart;
    int folded;
};

class Folding : public EventMapping, public testing::WithParamInterface<fold_case_t> {};

TEST_P(Folding, JoinsTheChannelsOfOneUnitOfTheModelAndNoOthers)
{
    const fold_case_t& wanted = GetParam();
    std::map<std::pair<int, int>, Index> events;
    for (int unit = 0; unit < 8; ++unit) {
        for (const int channel : {5, 0, 1, 2, 3, 4, 6, 7})
            events[{unit, channel}] = event("UNC_IIO_X.PART" + std::to_string(channel) + "[UNIT" +
                                            std::to_string(unit) + "]");
    }
    init(wanted.model);
    for (const int package : {0, 1}) {
        std::map<std::pair<int, int>, std::set<int>> channelsByRow; // (unit, row)
        for (const auto& [place, type] : events) {
            const auto [unit, channel] = place;
            const Index row = mapping.getIoChannelInfoDbIndexByEventTypeAndPackage(type, package);
            channelsByRow[{unit, row.value()}].insert(channel);
            const bool folds = unit == wanted.ioUnit && channel != wanted.apart;
            EXPECT_EQ(mapping.m_ioChannelKeys.at(
                          {Index(package + 1), unit, folds ? wanted.folded : channel}),
                      row);
        }
        EXPECT_EQ(channelsByRow.size(), wanted.ioUnit < 0 ? 64u : 58u);
        for (const auto& [place, joined] : channelsByRow) {
            const variant_t number = scratch.at("dd_io_channel_info", Index(place.second), 0);
            EXPECT_EQ(number.as_s32(), joined.size() > 1 ? 5 : *joined.begin())
                << "the number that came first";
            if (joined.size() > 1) {
                std::set<int> others{0, 1, 2, 3, 4, 5, 6, 7};
                others.erase(wanted.apart);
                EXPECT_EQ(place.first, wanted.ioUnit);
                EXPECT_EQ(joined, others);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Models, Folding,
                         testing::Values(fold_case_t{85, 0, 0, 1}, fold_case_t{106, 5, 3, 0},
                                         fold_case_t{108, 2, 3, 4}, fold_case_t{134, 1, 3, 4},
                                         fold_case_t{0, -1, 0, 0}, fold_case_t{107, -1, 0, 0}));

TEST_F(EventMapping, FoldedChannelsOfTheTopologyShareTheirFirstRow)
{
    open();
    for (const int channel : {1, 2, 3})
        add(g_package, 2, channel, {"nic", static_cast<unsigned short>(channel)});
    mapping.loadIoTopology();
    const Index one = event("UNC_IIO_X.PART1[UNIT2]");
    const Index two = event("UNC_IIO_X.PART2[UNIT2]");
    const Index three = event("UNC_IIO_X.PART3[UNIT2]");
    const Index five = event("UNC_IIO_X.PART5[UNIT2]");
    init(108);
    EXPECT_EQ(keys(one, 0)[0], 1);
    EXPECT_EQ(keys(two, 0)[0], 1);
    EXPECT_EQ(keys(three, 0)[0], 3);
    EXPECT_EQ(keys(five, 0)[0], 1);
}

TEST_F(EventMapping, ARowOfFoldedChannelsIsNamedWithTheNumberThatCameFirst)
{
    event("UNC_IIO_X.PART5[UNIT0]");
    event("UNC_IIO_X.PART1[UNIT0]");
    init(85);
    EXPECT_EQ(channels(),
              (lines_t{"s32:5 s32:1 s32:1 s32:2 s32:-1", "s32:5 s32:2 s32:2 s32:4 s32:-1"}));
    EXPECT_EQ(show(scratch.at("dd_io_traffic_source", Index(2), 0)), "text:IOU0\\Slot5");
}

TEST_F(EventMapping, ASecondInstanceOverTheReopenedResultGivesTheSameKeys)
{
    open();
    for (int unit = 0; unit < 6; ++unit) {
        mapping.addIoUnitToTidMapping(g_package, unit, unit + 10);
        for (int channel = 0; channel < 4; ++channel)
            add(unit % 2 == 0 ? g_package : g_otherPackage, unit, channel,
                {"nic", static_cast<unsigned short>(unit * 4 + channel)});
    }
    mapping.loadIoTopology();
    std::vector<Index> events;
    for (int unit = 0; unit < 8; ++unit) {
        const std::string end = "[UNIT" + std::to_string(unit) + "]";
        events.push_back(event("UNC_IIO_CLOCKTICKS" + end));
        for (int part = 0; part < 6; ++part)
            events.push_back(event("UNC_IIO_X.PART" + std::to_string(part) + end));
        events.push_back(event("UNC_CHA_X:tid=0x" + std::to_string(unit) + end));
    }
    init(106);
    std::map<std::pair<int, int>, keys_t> before;
    for (const int package : {0, 1}) {
        for (const Index type : events)
            before[{package, type.value()}] = keys(type, package);
    }
    const auto rowsBefore = std::make_tuple(channels(), ioUnits(), meshStops(), sources());
    mapping = OpenMapping();
    scratch.reopen();
    init(106);
    for (const int package : {0, 1}) {
        for (const Index type : events)
            EXPECT_EQ(keys(type, package), (before[{package, type.value()}]));
    }
    EXPECT_EQ(std::make_tuple(channels(), ioUnits(), meshStops(), sources()), rowsBefore);
}

/// A random platform with random events whose meaning is known because they are made from it.
class RandomEvents {
public:
    struct event_t {
        std::string name;
        int unit = -1;
        int channel = -1;
        int tid = -1;
    };

    explicit RandomEvents(unsigned seed) : m_random(seed) {}

    int below(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }
    event_t event(int number)
    {
        const std::string end = "[UNIT" + std::to_string(below(5)) + "]";
        const std::string middle = "_EV" + std::to_string(number);
        event_t one;
        switch (below(6)) {
        case 0:
        case 1:
            one = {"", end[5] - '0', below(4), -1};
            one.name = "UNC_IIO" + middle + ".PART" + std::to_string(one.channel) + end;
            break;
        case 2:
            one = {"UNC_IIO" + middle + end, end[5] - '0', -1, -1};
            break;
        case 3:
            one = {"UNC_I" + middle + end, end[5] - '0', -1, -1};
            break;
        case 4:
            one.tid = below(8);
            one.name = "UNC_CHA" + middle + ":tid=0x" + std::to_string(one.tid) + end;
            break;
        default:
            one.name = "UNC_M" + middle + end;
        }
        return one;
    }

private:
    std::mt19937 m_random;
};

TEST_F(EventMapping, RandomEventsGrowTheTablesByExactlyTheirPlaces)
{
    for (unsigned seed = 0; seed < 30; ++seed) {
        const ScratchResult store;
        RandomEvents random(seed);
        using place_t = std::pair<int, int>;             // package row, number
        std::set<place_t> unitPlaces, tidPlaces;         // with a row
        std::set<std::pair<place_t, int>> channelPlaces; // with a row
        std::map<place_t, int> stopOfUnit;               // tid
        OpenMapping first;
        first.initIoTopologyLoading(store.db());
        for (int package = 1; package <= 3; ++package) {
            store.addNamed("dd_package", "package_" + std::to_string(package + 10));
            for (int unit = 0; unit < 3; ++unit) {
                if (random.below(2) == 0) continue;
                const int tid = package * 100 + unit;
                first.addIoUnitToTidMapping(Index(package), unit, tid);
                stopOfUnit[{package, unit}] = tid;
                unitPlaces.insert({package, unit});
                tidPlaces.insert({package, tid});
            }
            for (int left = random.below(12); left > 0; --left) {
                const int unit = random.below(4);
                const int channel = random.below(3);
                first.addPciDeviceInfo(
                    "nic", Index(package), unit, channel, "", 0, static_cast<unsigned short>(left),
                    static_cast<unsigned short>(package), 0, 2, 0, 0, 0, "", 0, "", "");
                unitPlaces.insert({package, unit});
                channelPlaces.insert({{package, unit}, channel});
            }
        }
        first.loadIoTopology();
        std::map<int, RandomEvents::event_t> events;
        for (int number = random.below(60); number > 0; --number) {
            RandomEvents::event_t one = random.event(number);
            const Index key = store.addNamed("dd_uncore_event_type", one.name);
            events.emplace(key.value(), std::move(one));
        }
        OpenMapping second;
        second.initEventsMapping(store.db(), 0);

        const auto field = [&](const char* table, Index key, std::uint16_t column) {
            return store.at(table, key, column).as_s32();
        };
        for (int package = 1; package <= 3; ++package) {
            for (const auto& [key, one] : events) {
                const int number = package + 10;
                const Index unit =
                    second.getIoUnitInfoDbIndexByEventTypeAndPackage(Index(key), number);
                const Index channel =
                    second.getIoChannelInfoDbIndexByEventTypeAndPackage(Index(key), number);
                const Index stop =
                    second.getMeshStopDbIndexByEventTypeAndPackage(Index(key), number);
                ASSERT_EQ(unit.exist(), one.unit >= 0) << one.name;
                ASSERT_EQ(channel.exist(), one.channel >= 0) << one.name;
                int tid = one.tid;
                if (unit.exist()) {
                    unitPlaces.insert({package, one.unit});
                    EXPECT_EQ(field("dd_io_unit_info", unit, 0), one.unit);
                    EXPECT_EQ(field("dd_io_unit_info", unit, 1), package);
                    if (stopOfUnit.count({package, one.unit}) > 0)
                        tid = stopOfUnit[{package, one.unit}];
                }
                if (channel.exist()) {
                    channelPlaces.insert({{package, one.unit}, one.channel});
                    EXPECT_EQ(field("dd_io_channel_info", channel, 0), one.channel);
                    EXPECT_EQ(field("dd_io_channel_info", channel, 1), unit.value());
                    EXPECT_EQ(field("dd_io_channel_info", channel, 2), package);
                }
                ASSERT_EQ(stop.exist(), tid >= 0) << one.name;
                if (stop.exist()) {
                    tidPlaces.insert({package, tid});
                    EXPECT_EQ(field("dd_mesh_stop", stop, 0), tid);
                    EXPECT_EQ(field("dd_mesh_stop", stop, 1), package);
                }
            }
        }
        EXPECT_EQ(store.count("dd_io_unit_info"), unitPlaces.size());
        EXPECT_EQ(store.count("dd_io_channel_info"), channelPlaces.size());
        EXPECT_EQ(store.count("dd_mesh_stop"), tidPlaces.size());
    }
}

} // namespace
} // namespace samplefold_test
