#include "topology/uncore_ties.h"

#include "driver/session/scratch_result.h"
#include "session/keyed_rows.h"
#include "topology/topology_loader.h"

#include <gtest/gtest.h>

namespace samplefold::topology {
namespace {

using Rows = std::vector<std::string>;

constexpr const char* g_ties = "SELECT event, package, io_channel, io_unit, mesh_stop, link "
                               "FROM dd_uncore_event_place ORDER BY id";
constexpr const char* g_places = "SELECT event, package, io_unit, channel, mesh_stop, link "
                                 "FROM uncore_events ORDER BY package, event";

class UncoreTiesTest : public session::testing::ScratchResultTest {
protected:
    void name(const char* table, std::initializer_list<std::string> names)
    {
        session::KeyedRows<std::string> rows(db(), table, {"name"});
        for (const std::string& text : names)
            rows.findOrAdd({text});
    }
    void events(std::initializer_list<std::string> names) { name("dd_uncore_event_type", names); }
    void packages(std::initializer_list<std::string> names) { name("dd_package", names); }
    TieCounts tie(int model = 0)
    {
        const TieCounts counts = tieUncoreEvents(db(), model);
        result().drain();
        return counts;
    }
    /// A function in package 0, unit 0, and a mesh stop for units 0 and 1.
    void addTopology()
    {
        TopologyInput input;
        PciFunction card;
        card.name = "card";
        card.device = 2;
        input.inventory.functions = {card};
        input.meshStops = {{0, 0, 31}, {0, 1, 9}};
        storeTopology(db(), input);
    }
    std::string rowsOf(const std::string& table)
    {
        return ask("SELECT count(*) FROM " + table).at(0);
    }
    Rows sizes()
    {
        Rows sizes;
        for (const char* table : {"dd_io_unit_info", "dd_io_channel_info", "dd_mesh_stop",
                                  "dd_io_traffic_source", "dd_xlk_link_info", "dd_package"})
            sizes.push_back(std::string(table) + " " + rowsOf(table));
        return sizes;
    }
};

TEST_F(UncoreTiesTest, EventsStandForThePlacesThatTheirNamesSay)
{
    packages({"package_0", "package_1"});
    events({"UNC_IIO_X.PART2[UNIT0]", "UNC_IIO_X.PART5[UNIT0]", "UNC_I_X[UNIT1]",
            "UNC_CHA_X:tid=0x9[UNIT7]", "UNC_XLK_X[UNIT2]", "UNC_IMC_X[UNIT0]"});
    addTopology();
    const TieCounts counts = tie();
    EXPECT_EQ(ask(g_places),
              (Rows{"UNC_CHA_X:tid=0x9[UNIT7]|package_0|-|-|9|-",
                    "UNC_IIO_X.PART2[UNIT0]|package_0|0|2|31|-",
                    "UNC_IIO_X.PART5[UNIT0]|package_0|0|5|31|-", "UNC_I_X[UNIT1]|package_0|1|-|9|-",
                    "UNC_XLK_X[UNIT2]|package_0|-|-|-|Link 2",
                    "UNC_CHA_X:tid=0x9[UNIT7]|package_1|-|-|9|-",
                    "UNC_IIO_X.PART2[UNIT0]|package_1|0|2|-|-",
                    "UNC_IIO_X.PART5[UNIT0]|package_1|0|5|-|-", "UNC_I_X[UNIT1]|package_1|1|-|-|-",
                    "UNC_XLK_X[UNIT2]|package_1|-|-|-|Link 2"}));
    EXPECT_EQ(counts.events, 6U);
    EXPECT_EQ(counts.tied, 10U);
    // Channel 5 of package 0; stop 9, units 0 and 1, channels 2 and 5 of package 1.
    EXPECT_EQ(counts.addedPlaces, 6U);
    EXPECT_EQ(ask("SELECT source FROM uncore_events WHERE package = 'package_0' AND channel = 2"),
              Rows{"card (0000:00:02.0)"});
    EXPECT_EQ(ask("SELECT source FROM uncore_events WHERE package = 'package_0' AND channel = 5"),
              Rows{"IOU0\\Slot5"});
}

TEST_F(UncoreTiesTest, ASecondRunOverTheReopenedResultGivesTheSameKeysAndNoRows)
{
    packages({"package_0", "package_1", "odd", "package_1"});
    events({"UNC_IIO_X.PART2[UNIT0]", "UNC_IIO_X.PART7[UNIT4]", "UNC_CHA_X:tid=0x2[UNIT7]",
            "UNC_XLK_X[UNIT2]", "UNC_XLK_Y[UNIT2]"});
    addTopology();
    tie(108);
    const Rows ties = ask(g_ties);
    const Rows before = sizes();
    ASSERT_EQ(ties.size(), 10U);
    reopen();
    EXPECT_EQ(tie(108).addedPlaces, 0U);
    EXPECT_EQ(ask(g_ties), ties);
    EXPECT_EQ(sizes(), before);
}

TEST_F(UncoreTiesTest, EventsOfALinkShareItsRowAlsoAfterMoreEvents)
{
    packages({"package_0", "package_1"});
    events({"UNC_XLK_A[UNIT2]", "UNC_XLK_B[UNIT2]"});
    tie();
    events({"UNC_XLK_C[UNIT2]", "UNC_XLK_C[UNIT0]"});
    tie();
    EXPECT_EQ(ask("SELECT package, link, display_name FROM dd_xlk_link_info ORDER BY id"),
              (Rows{"1|2|Link 2", "2|2|Link 2", "1|0|Link 0", "2|0|Link 0"}));
    EXPECT_EQ(ask("SELECT count(*) FROM dd_uncore_event_place WHERE link IS NOT NULL"), Rows{"8"});
}

TEST_F(UncoreTiesTest, PackagesOfOneNumberGetNoMoreLinksInASecondRun)
{
    packages({"package_0", "socket_0"});
    events({"UNC_XLK_A[UNIT2]", "UNC_XLK_B[UNIT2]"});
    tie();
    tie();
    EXPECT_EQ(rowsOf("dd_xlk_link_info"), "2");
    EXPECT_EQ(ask("SELECT DISTINCT package FROM dd_uncore_event_place"), Rows{"1"});
}

TEST_F(UncoreTiesTest, WithoutATopologyLinksAloneAreTied)
{
    packages({"package_0"});
    events({"UNC_IIO_X.PART2[UNIT0]", "UNC_XLK_X[UNIT2]"});
    EXPECT_TRUE(tie().withoutTopology);
    EXPECT_EQ(ask(g_places), Rows{"UNC_XLK_X[UNIT2]|package_0|-|-|-|Link 2"});
    EXPECT_EQ(rowsOf("dd_io_unit_info"), "0");
    addTopology();
    EXPECT_FALSE(tie().withoutTopology);
    EXPECT_EQ(ask(g_places), (Rows{"UNC_IIO_X.PART2[UNIT0]|package_0|0|2|31|-",
                                   "UNC_XLK_X[UNIT2]|package_0|-|-|-|Link 2"}));
    EXPECT_EQ(ask("SELECT source FROM uncore_events WHERE channel = 2"),
              Rows{"card (0000:00:02.0)"});
}

TEST_F(UncoreTiesTest, PackagesWithoutANumberAreLeftOut)
{
    packages({"package", "package_", "9"});
    events({"UNC_IIO_X.PART2[UNIT0]", "UNC_XLK_X[UNIT2]"});
    tie();
    EXPECT_EQ(rowsOf("dd_uncore_event_place"), "0");
    EXPECT_EQ(rowsOf("dd_xlk_link_info"), "0");
}

TEST_F(UncoreTiesTest, TheModelTellsWhichChannelsAreOne)
{
    packages({"package_0"});
    events({"UNC_IIO_X.PART2[UNIT0]", "UNC_IIO_X.PART5[UNIT0]", "UNC_IIO_X.PART0[UNIT0]"});
    addTopology();
    tie(85);
    EXPECT_EQ(ask("SELECT io_channel FROM dd_uncore_event_place ORDER BY event"),
              (Rows{"1", "1", "2"}));
}

TEST_F(UncoreTiesTest, MorePairsThanCanBeHeldAreToldAndNotTied)
{
    {
        session::KeyedRows<std::string> packageRows(db(), "dd_package", {"name"});
        session::KeyedRows<std::string> eventRows(db(), "dd_uncore_event_type", {"name"});
        for (int i = 0; i < 1001; ++i) {
            packageRows.findOrAdd({"package_" + std::to_string(i)});
            eventRows.findOrAdd({"UNC_XLK_" + std::to_string(i) + "[UNIT0]"});
        }
    }
    const TieCounts counts = tie();
    EXPECT_TRUE(counts.tooMany);
    EXPECT_EQ(rowsOf("dd_uncore_event_place"), "0");
    session::QualityLog quality;
    reportQuality(counts, quality);
    EXPECT_EQ(quality.count(
                  "uncore events that were not tied, since there are too many of them on packages"),
              1001U);
}

TEST_F(UncoreTiesTest, AResultWithoutUncoreEventsStaysAsItIs)
{
    packages({"package_0"});
    addTopology();
    const Rows before = sizes();
    EXPECT_EQ(tie().events, 0U);
    EXPECT_EQ(sizes(), before);
}

} // namespace
} // namespace samplefold::topology
