#include "topology/uncore_events.h"

#include "driver/perfdata/perf_file_builder.h"
#include "driver/session/scratch_result.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace samplefold::topology {
namespace {

using perfdata::testing::AttrSpec;
using perfdata::testing::Bytes;
using Rows = std::vector<std::string>;

class UncoreEventsTest : public session::testing::ScratchResultTest {
protected:
    /// A recording with an event of each of these types, of CPUs in these packages.
    RecordedPlatform store(const std::vector<std::uint32_t>& types,
                           const std::vector<std::int32_t>& packages,
                           const std::string& sysfsRoot = {})
    {
        perfdata::testing::PerfFileBuilder file;
        for (const std::uint32_t type : types) {
            AttrSpec spec;
            spec.type = type;
            spec.ids = {ids++};
            file.event(spec);
        }
        file.add(68, Bytes()); // without a record the file would count as one that was cut
        const auto count = static_cast<std::uint32_t>(packages.size());
        if (!packages.empty()) file.feature(7, Bytes().u32(count).u32(count));
        Bytes topology;
        topology.u32(0).u32(0);
        for (const std::int32_t package : packages)
            topology.u32(0).put(package);
        if (!packages.empty()) file.feature(13, topology);
        file.feature(16, Bytes()
                             .u32(4)
                             .u32(4)
                             .featureText("cpu")
                             .u32(20)
                             .featureText("uncore_iio_2")
                             .u32(21)
                             .featureText("uncore_imc")
                             .u32(22)
                             .featureText("uncore_iio_99999999"));
        const Bytes bytes = file.file();
        const auto recording = perfdata::Recording::fromBytes(bytes.span(), "test");
        RecordedPlatform platform = storePlatform(db(), recording, sysfsRoot, quality);
        session::AttributeRows attributes(db(), recording, platform.rows);
        for (std::uint32_t cpu = 0; cpu < 3; ++cpu)
            attributes.cpu(cpu);
        result().drain();
        return platform;
    }
    Rows cpus()
    {
        return ask("SELECT c.number, p.name FROM dd_cpu c LEFT JOIN dd_package p "
                   "ON p.id = c.package ORDER BY 1");
    }

    std::uint64_t ids = 1;
    session::QualityLog quality;
};

TEST_F(UncoreEventsTest, EventsOfUncorePmusGetTheirRowsAndOthersNone)
{
    const RecordedPlatform platform = store({1, 4, 20, 21, 20}, {0, 0, 1});
    EXPECT_TRUE(platform.hasUncoreEvents);
    EXPECT_EQ(ask("SELECT e.type, u.name FROM dd_event_type e LEFT JOIN dd_uncore_event_type u "
                  "ON u.id = e.uncore_event ORDER BY e.type"),
              (Rows{"1|-", "4|-", "20|UNC_IIO_UNKNOWN ATTR TYPE, 20[UNIT2]",
                    "21|UNC_IMC_UNKNOWN ATTR TYPE, 21[UNIT0]"}));
}

TEST_F(UncoreEventsTest, CpusBelongToThePackagesOfTheRecording)
{
    store({1}, {0, -1, 3});
    EXPECT_EQ(cpus(), (Rows{"0|package_0", "1|-", "2|package_3"}));
    EXPECT_EQ(quality.count("recordings whose CPUs are guessed to be of one package"), 0U);
}

TEST_F(UncoreEventsTest, NumbersThatNoPackageHasAreNone)
{
    store({20}, {0, 2000000000, 1024});
    EXPECT_EQ(cpus(), (Rows{"0|package_0", "1|-", "2|-"}));
}

TEST_F(UncoreEventsTest, WithoutPackagesOneIsGuessedWhereItMatters)
{
    store({1}, {});
    EXPECT_EQ(cpus(), (Rows{"0|-", "1|-", "2|-"}));
    EXPECT_EQ(ask("SELECT count(*) FROM dd_package"), Rows{"0"});
}

TEST_F(UncoreEventsTest, TheGuessIsCounted)
{
    store({20}, {});
    EXPECT_EQ(cpus(), (Rows{"0|package_0", "1|package_0", "2|package_0"}));
    EXPECT_EQ(quality.count("recordings whose CPUs are guessed to be of one package"), 1U);
}

TEST_F(UncoreEventsTest, ATreeOfTheMachineTellsPackagesToo)
{
    const samplefold_test::TemporaryFolder folder;
    for (const int cpu : {0, 2}) {
        const std::filesystem::path path =
            folder.path("devices/system/cpu/cpu" + std::to_string(cpu) + "/topology");
        std::filesystem::create_directories(path);
        std::ofstream(path / "physical_package_id") << cpu << "\n";
    }
    store({20}, {}, folder.path(""));
    EXPECT_EQ(cpus(), (Rows{"0|package_0", "1|-", "2|package_2"}));
    EXPECT_EQ(quality.count("recordings whose CPUs are guessed to be of one package"), 0U);
}

TEST_F(UncoreEventsTest, UnitsWhoseNumberCannotBeAreCounted)
{
    EXPECT_FALSE(store({22, 22}, {0}).hasUncoreEvents);
    EXPECT_EQ(quality.count("uncore events of units whose number cannot be"), 2U);
    EXPECT_EQ(ask("SELECT count(*) FROM dd_uncore_event_type"), Rows{"0"});
}

TEST_F(UncoreEventsTest, ASecondLoadUsesTheSameRows)
{
    store({20}, {0, 1, 1});
    reopen();
    store({20}, {0, 1, 1});
    EXPECT_EQ(ask("SELECT count(*) FROM dd_uncore_event_type"), Rows{"1"});
    EXPECT_EQ(ask("SELECT count(*) FROM dd_package"), Rows{"2"});
    EXPECT_EQ(ask("SELECT count(*) FROM dd_event_type"), Rows{"1"});
    EXPECT_EQ(ask("SELECT count(*) FROM dd_cpu"), Rows{"3"});
}

} // namespace
} // namespace samplefold::topology
