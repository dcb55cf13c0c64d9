#include "support/temporary_folder.h"
#include "topology/io_stacks.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace samplefold::topology {
namespace {

class IoStacksTest : public ::testing::Test {
protected:
    void put(const std::string& name, const std::string& text)
    {
        const std::filesystem::path path = m_folder.path(name);
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }
    IoStacks read(const std::string& below = "") { return readIoStacks(m_folder.path(below)); }

    samplefold_test::TemporaryFolder m_folder;
};

TEST_F(IoStacksTest, EachDieOfAUnitHasARootBus)
{
    put("sys/devices/uncore_iio_0/die0", "0000:00\n");
    put("sys/devices/uncore_iio_0/die1", "0000:80\n");
    put("sys/devices/uncore_iio_11/die0", "0001:3a\n");
    const IoStacks want{{{0, 0x00}, {0, 0}}, {{0, 0x80}, {1, 0}}, {{1, 0x3a}, {0, 11}}};
    EXPECT_EQ(read(), want);
}

TEST_F(IoStacksTest, DiesBelongToThePackagesThatTheProcessorsTell)
{
    for (const char* cpu : {"0", "1", "2", "3"}) {
        const int number = cpu[0] - '0';
        const std::string folder = "sys/devices/system/cpu/cpu" + std::string(cpu) + "/topology/";
        put(folder + "physical_package_id", std::to_string(number / 2) + "\n");
        put(folder + "die_id", std::to_string(number % 2) + "\n");
    }
    put("sys/devices/uncore_iio_0/die3", "0000:c0\n");
    EXPECT_EQ(read().at({0, 0xc0}), (IoStack{1, 0})) << "the second die of the second package";
}

TEST_F(IoStacksTest, TheFolderMayBeSysItself)
{
    put("copy/devices/uncore_iio_2/die0", "0000:17\n");
    EXPECT_EQ(read("copy").size(), 1U);
}

TEST_F(IoStacksTest, WhatMakesNoSenseIsLeftOut)
{
    put("sys/devices/uncore_iio_free_running_0/die0", "0000:00\n");
    put("sys/devices/uncore_iio_1/dieX", "0000:00\n");
    put("sys/devices/uncore_iio_1/die0", "bus zero\n");
    put("sys/devices/uncore_iio_1/die1", "0000:1ff\n");
    put("sys/devices/uncore_iio_1/die2/file", "0000:00\n");
    put("sys/devices/uncore_iio_-1/die0", "0000:00\n");
    EXPECT_TRUE(read().empty());
}

TEST_F(IoStacksTest, AMachineWithoutSuchUnitsHasNone)
{
    EXPECT_TRUE(read().empty());
    EXPECT_TRUE(readIoStacks("/nowhere").empty());
}

} // namespace
} // namespace samplefold::topology
