#include "support/temporary_folder.h"
#include "topology/mesh_stops.h"

#include <gtest/gtest.h>

#include <fstream>

namespace samplefold::topology {
namespace {

class MeshStopsTest : public ::testing::Test {
protected:
    std::vector<MeshStop> read(const std::string& text)
    {
        std::ofstream(m_path) << text;
        return readMeshStops(m_path);
    }
    std::string errorOf(const std::string& text)
    {
        try {
            read(text);
        } catch (const MeshStopError& error) {
            return error.what();
        }
        return "no error";
    }

    samplefold_test::TemporaryFolder m_folder;
    std::string m_path = m_folder.path("stops");
};

TEST_F(MeshStopsTest, EachLineIsAUnitWithItsStop)
{
    const auto stops = read("# package unit tid\n\n0 2 0x1f # the third\n1\t0 7\n");
    ASSERT_EQ(stops.size(), 2U);
    EXPECT_EQ(stops[0].unit, 2);
    EXPECT_EQ(stops[0].tid, 31);
    EXPECT_EQ(stops[1].package, 1);
    EXPECT_EQ(stops[1].tid, 7);
}

TEST_F(MeshStopsTest, ALineOfAnotherFormIsAnErrorWithItsPlace)
{
    for (const char* line : {"0 1", "0 1 2 3", "a 1 2", "0 -1 2", "0 1 0x", "0 1 99999999999"})
        EXPECT_EQ(errorOf(std::string("0 0 1\n") + line + "\n"),
                  m_path + ":2: is not of the form PACKAGE UNIT TID")
            << line;
}

TEST_F(MeshStopsTest, AUnitThatComesTwiceIsAnErrorWithItsPlace)
{
    EXPECT_EQ(errorOf("0 0 1\n0 1 1\n1 0 2\n\n0 0x0 3\n"),
              m_path + ":5: tells of package 0 unit 0 as line 1 does");
}

TEST_F(MeshStopsTest, AMissingFileIsAnError)
{
    EXPECT_THROW(readMeshStops("/nowhere/stops"), MeshStopError);
}

} // namespace
} // namespace samplefold::topology
