#include "pci_devices_mapping/topology_fixture.h"

#include <boost/regex.hpp>

#include <chrono>
#include <random>
#include <sstream>

// What names of events and packages say.
namespace samplefold_test {
namespace {

constexpr int g_intMax = 2147483647;

struct attributes_t {
    int ioUnit = -1;
    int ioChannel = -1;
    int tid = -1;
    friend bool operator==(const attributes_t&, const attributes_t&) = default;
    friend void PrintTo(const attributes_t& one, std::ostream* out)
    {
        *out << "unit " << one.ioUnit << " channel " << one.ioChannel << " tid " << one.tid;
    }
};

constexpr attributes_t g_nothing{};

class EventNames : public TopologyTest {
protected:
    EventNames() { mapping.initEventsMapping(scratch.db(), 0); }

    attributes_t parse(const std::string& name, attributes_t before = {}) const
    {
        mapping.getIoAttrsForUncoreEvent(event(name), before.ioUnit, before.ioChannel, before.tid);
        return before;
    }
};

TEST_F(EventNames, AnIioEventWithAPartNamesUnitAndChannel)
{
    EXPECT_EQ(parse("UNC_IIO_DATA_REQ_OF_CPU.PART2[UNIT3]"), (attributes_t{3, 2, -1}));
    EXPECT_EQ(parse("UNC_IIO_DATA_REQ_OF_CPU.PART2[UNIT3]", {-1, -1, 9}), (attributes_t{3, 2, 9}));
}

TEST_F(EventNames, AnIioEventWithoutAPartNamesItsUnitAlone)
{
    EXPECT_EQ(parse("UNC_IIO_CLOCKTICKS[UNIT3]"), (attributes_t{3, -1, -1}));
    EXPECT_EQ(parse("UNC_IIO_CLOCKTICKS[UNIT3]", {7, 8, 9}), (attributes_t{3, 8, 9}));
}

TEST_F(EventNames, APartCountsOnlyRightInFrontOfTheUnit)
{
    EXPECT_EQ(parse("UNC_IIO_PART7_X[UNIT3]"), (attributes_t{3, -1, -1}));
    EXPECT_EQ(parse("UNC_IIO_PART7.PART1[UNIT3]"), (attributes_t{3, 1, -1}));
    EXPECT_EQ(parse("UNC_IIO_X.PART[UNIT3]"), (attributes_t{3, -1, -1}));
    EXPECT_EQ(parse("UNC_IIO_X.part4[UNIT3]"), (attributes_t{3, -1, -1}));
    EXPECT_EQ(parse("UNC_IIO_X.PART4:tid=0x1[UNIT3]"), (attributes_t{3, 4, -1}));
}

TEST_F(EventNames, AUncIEventNamesItsUnitAlone)
{
    EXPECT_EQ(parse("UNC_I_CLOCKTICKS[UNIT1]"), (attributes_t{1, -1, -1}));
    EXPECT_EQ(parse("UNC_I_X.PART2[UNIT1]"), (attributes_t{1, -1, -1}));
}

TEST_F(EventNames, AChaEventNamesItsTidAndNoUnit)
{
    EXPECT_EQ(parse("UNC_CHA_TOR_INSERTS:tid=0x1f[UNIT7]"), (attributes_t{-1, -1, 31}));
    EXPECT_EQ(parse("UNC_CHA_TOR_INSERTS:tid=0X1F[UNIT7]"), (attributes_t{-1, -1, 31}));
    EXPECT_EQ(parse("UNC_CHA_CLOCKTICKS[UNIT7]"), g_nothing);
    EXPECT_EQ(parse("UNC_CHA_X:tid=31[UNIT7]"), g_nothing) << "0x is part of the form";
    EXPECT_EQ(parse("UNC_CHA_X:tid=0x1g[UNIT7]"), g_nothing);
}

TEST_F(EventNames, OtherTypesNameNothing)
{
    for (const char* const name :
         {"UNC_M_CAS_COUNT[UNIT0]", "UNC_IIOX_A.PART1[UNIT0]", "unc_iio_A.PART1[UNIT0]",
          "UNC__IIO_A.PART1[UNIT0]", "_UNC_IIO_A[UNIT0]", "UNC_CHAS_A:tid=0x1[UNIT0]",
          "UNC_XLK_A[UNIT0]"})
        EXPECT_EQ(parse(name), g_nothing) << name;
}

TEST_F(EventNames, ANameWithoutAUnitAtItsEndNamesNothing)
{
    for (const char* const name :
         {"", "UNC_IIO_CLOCKTICKS", "UNC_IIO_X[UNIT3] ", "UNC_IIO_X[UNIT3]x", "UNC_IIO_X[UNIT]",
          "UNC_IIO_X[UNIT3", "UNC_IIO_XUNIT3]", "UNC_IIO_X[unit3]", "UNC_IIO_X[UNIT-3]",
          "UNC_IIO_X[UNIT 3]", "UNC_IIO_X[UNIT3]\n", "[UNIT3]", "_[UNIT3]", "UNC_IIO[UNIT3]",
          "UNC[UNIT3]", "3]", "]"})
        EXPECT_EQ(parse(name, {7, 8, 9}), (attributes_t{7, 8, 9})) << name;
}

TEST_F(EventNames, AnythingMayStandBetweenTypeAndUnit)
{
    EXPECT_EQ(parse("UNC_IIO_[UNIT3]"), (attributes_t{3, -1, -1}));
    EXPECT_EQ(parse("UNC_IIO_a\nb \xc3\xa4 [UNIT9].PART1[UNIT3]"), (attributes_t{3, 1, -1}));
}

TEST_F(EventNames, NumbersTooLargeReadAsTheLargestAndEndTheReading)
{
    EXPECT_EQ(parse("UNC_IIO_X.PART99999999999[UNIT3]"), (attributes_t{3, g_intMax, -1}));
    EXPECT_EQ(parse("UNC_IIO_X.PART1[UNIT99999999999]"), (attributes_t{g_intMax, -1, -1}));
    EXPECT_EQ(parse("UNC_CHA_X:tid=0x7fffffff[UNIT0]"), (attributes_t{-1, -1, g_intMax}));
    EXPECT_EQ(parse("UNC_CHA_X:tid=0xfffffffe[UNIT0]"), (attributes_t{-1, -1, -2}));
    EXPECT_EQ(parse("UNC_CHA_X:tid=0x123456789[UNIT0]"), g_nothing);
}

TEST_F(EventNames, AnEventThatIsNotThereNamesNothing)
{
    attributes_t none;
    mapping.getIoAttrsForUncoreEvent(Index(99), none.ioUnit, none.ioChannel, none.tid);
    EXPECT_EQ(none, g_nothing);
    EXPECT_EQ(assertions.take(), lines_t{"m_pRecord"});
}

/// The check of a name's end may leave out no name that the pattern alone would take.
TEST_F(EventNames, TheCheckOfTheEndNeverChangesWhatThePatternSays)
{
    const char* const pieces[] = {"UNC", "_",       "IIO", "CHA", "I",  "PART", "[UNIT", "]", "1",
                                  "23",  ":tid=0x", "f",   ".",   "\n", " ",    "[",     "__"};
    std::mt19937 random(3);
    int matched = 0;
    for (int round = 0; round < 6000; ++round) {
        std::string name = random() % 2 == 0 ? "UNC_IIO_" : "";
        for (std::size_t left = random() % 9; left > 0; --left)
            name += pieces[random() % std::size(pieces)];
        if (random() % 2 == 0) name += "[UNIT5]";
        boost::smatch groups;
        const bool wanted =
            boost::regex_match(name, groups, samplefold_1::PciDevicesMapping::m_pciEventPattern);
        const bool iio = wanted && groups["eventType"] == "UNC_IIO";
        matched += iio ? 1 : 0;
        attributes_t expected;
        if (iio) {
            std::istringstream text(groups["unitNum"].str() + " " + groups["partNum"].str());
            text >> expected.ioUnit >> expected.ioChannel;
        } else if (wanted && groups["eventType"] == "UNC_I") {
            std::istringstream(groups["unitNum"].str()) >> expected.ioUnit;
        } else if (wanted && groups["eventType"] == "UNC_CHA" && groups["tid"].matched) {
            unsigned int tid = 0;
            std::istringstream(groups["tid"].str()) >> std::hex >> tid;
            expected.tid = static_cast<int>(tid);
        }
        ASSERT_EQ(parse(name), expected) << name;
    }
    EXPECT_GT(matched, 1000) << "the names say too little";
}

/// Names of 1 MB that go wrong late, or offer many ways to be split.
TEST_F(EventNames, NamesOfAMegabyteAreReadInTime)
{
    constexpr std::size_t g_size = std::size_t{1} << 20;
    const auto repeat = [](const std::string& piece) {
        std::string text;
        while (text.size() < g_size)
            text += piece;
        return text;
    };
    const std::string end = "[UNIT3]";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(parse("UNC_IIO_" + repeat("x") + ".PART2" + end), (attributes_t{3, 2, -1}));
    EXPECT_EQ(parse("UNC_IIO_" + repeat("PART1") + end), (attributes_t{3, 1, -1}));
    EXPECT_EQ(parse("UNC_IIO_" + repeat("PART1:tid=0x1[UNIT2]") + end), (attributes_t{3, -1, -1}));
    EXPECT_EQ(parse("UNC_IIO_X.PART" + repeat("1") + end), (attributes_t{3, g_intMax, -1}));
    EXPECT_EQ(parse("UNC_IIO_X[UNIT" + repeat("1") + "]"), (attributes_t{g_intMax, -1, -1}));
    EXPECT_EQ(parse("UNC_CHA_X:tid=0x" + repeat("f") + end), g_nothing);
    for (const char* const piece :
         {"_", "A_", "A", "PART1", "[UNIT1]", ":tid=0xf", "1", "\xff", " "}) {
        EXPECT_EQ(parse(repeat(piece)), g_nothing) << piece;
        EXPECT_EQ(parse(repeat(piece) + "x"), g_nothing) << piece;
        EXPECT_EQ(parse(repeat(piece) + end), g_nothing) << piece;
        EXPECT_EQ(parse("A_" + repeat(piece) + end), g_nothing) << piece;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(EventNames, PackagesWithoutAnUnderscoreAndANumberHaveNone)
{
    for (const char* const name :
         {"", "package", "package_", "package0", "0", "package_0x", "package_0 ", "package_-1"}) {
        int number = 77;
        EXPECT_FALSE(mapping.getPackageIdByDbIndex(scratch.addNamed("dd_package", name), number))
            << name;
        EXPECT_EQ(number, 77);
    }
}

TEST_F(EventNames, TheNumberOfAPackageFollowsItsLastUnderscore)
{
    const std::pair<std::string, int> cases[] = {{"package_0", 0},
                                                 {"_3", 3},
                                                 {"a_1_12", 12},
                                                 {"package_007", 7},
                                                 {"line\nbreak_4", 4},
                                                 {"p_9999999999", g_intMax},
                                                 {std::string(1 << 20, '_') + "5", 5}};
    for (const auto& [name, wanted] : cases) {
        int number = -1;
        EXPECT_TRUE(mapping.getPackageIdByDbIndex(scratch.addNamed("dd_package", name), number));
        EXPECT_EQ(number, wanted);
    }
}

} // namespace
} // namespace samplefold_test
