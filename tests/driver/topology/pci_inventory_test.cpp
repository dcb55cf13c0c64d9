#include "config_dump.h"

#include "support/temporary_folder.h"
#include "topology/pci_inventory.h"

#include <gtest/gtest.h>

#include <fstream>

namespace samplefold::topology {
namespace {

using testing::ConfigSpace;

class PciInventoryTest : public ::testing::Test {
protected:
    PciInventory read(const std::string& text)
    {
        std::ofstream(m_path) << text;
        return readInventoryDump(m_path);
    }
    std::string errorOf(const std::string& text)
    {
        try {
            read(text);
        } catch (const InventoryError& error) {
            return error.what();
        }
        return "no error";
    }
    const std::string& path() const { return m_path; }

private:
    samplefold_test::TemporaryFolder m_folder;
    std::string m_path = m_folder.path("dump");
};

TEST_F(PciInventoryTest, AFunctionHasAddressClassAndNumbers)
{
    const PciFunction function =
        read(ConfigSpace(0x8086, 0x1572, 0x0200).dump("0001:3b:02.1")).functions.at(0);
    EXPECT_EQ(function.domain, 1U);
    EXPECT_EQ(function.bus, 0x3b);
    EXPECT_EQ(function.device, 2);
    EXPECT_EQ(function.function, 1);
    EXPECT_EQ(function.baseClass, 2);
    EXPECT_EQ(function.vendorId, 0x8086);
    EXPECT_EQ(function.deviceId, 0x1572);
    EXPECT_FALSE(function.isBridge);
    EXPECT_FALSE(function.className.empty());
}

TEST_F(PciInventoryTest, ABridgeTellsWhichBusesAreBehindIt)
{
    const PciFunction bridge =
        read(ConfigSpace(0x8086, 0x2030, 0x0604).bridge(0, 0x10, 0x1f).dump("00:01.0"))
            .functions.at(0);
    EXPECT_TRUE(bridge.isBridge);
    EXPECT_EQ(bridge.baseClass, 6);
    EXPECT_EQ(bridge.secondaryBus, 0x10);
    EXPECT_EQ(bridge.subordinateBus, 0x1f);
}

TEST_F(PciInventoryTest, LinksTellSpeedAndLanes)
{
    const PciFunction function =
        read(ConfigSpace(0x8086, 1, 0x0200).link(4, 16, 3, 8).dump("00:01.0")).functions.at(0);
    EXPECT_EQ(function.capable.speed, "16 GT/s");
    EXPECT_EQ(function.capable.lanes, 16);
    EXPECT_EQ(function.running.speed, "8 GT/s");
    EXPECT_EQ(function.running.lanes, 8);
}

TEST_F(PciInventoryTest, AnUnknownSpeedHasNoText)
{
    const PciFunction function =
        read(ConfigSpace(0x8086, 1, 0x0200).link(15, 1, 0, 1).dump("00:01.0")).functions.at(0);
    EXPECT_EQ(function.capable.speed, "");
    EXPECT_EQ(function.running.speed, "");
}

TEST_F(PciInventoryTest, FunctionsComeByAddressAndOfTwoAtOneTheFirstStays)
{
    const PciInventory inventory = read(ConfigSpace(0x1af4, 2, 0x0200).dump("01:00.0") +
                                        ConfigSpace(0x1af4, 1, 0x0200).dump("00:02.0") +
                                        ConfigSpace(0x1af4, 3, 0x0200).dump("01:00.0"));
    ASSERT_EQ(inventory.functions.size(), 2U);
    EXPECT_EQ(inventory.functions[0].deviceId, 1);
    EXPECT_EQ(inventory.functions[1].deviceId, 2);
    EXPECT_EQ(inventory.repeated, 1U);
}

TEST_F(PciInventoryTest, TenThousandFunctionsAreRead)
{
    std::string text;
    for (int i = 0; i < 10000; ++i) {
        char address[32];
        std::snprintf(address, sizeof address, "%02x:%02x.%x", i / 40 % 256, i % 40 / 8 * 6, i % 8);
        text += ConfigSpace(0x1af4, 1, 0x0200).dump(address);
    }
    EXPECT_EQ(read(text).functions.size(), 10000U);
}

TEST_F(PciInventoryTest, WhatIsNoDumpIsAnErrorWithItsPath)
{
    EXPECT_EQ(errorOf("nothing of the kind\n"),
              path() + ": holds no PCI functions: make it with lspci -xxxx");
    EXPECT_EQ(errorOf(""), path() + ": holds no PCI functions: make it with lspci -xxxx");
    EXPECT_TRUE(errorOf(std::string(5000, 'x')).starts_with(path() + ": ")) << "libpci's own error";
}

TEST_F(PciInventoryTest, AnErrorOfTheLibraryDoesNotEndTheProcessTwiceEither)
{
    EXPECT_NE(errorOf(std::string(5000, 'x')), "no error");
    EXPECT_NE(errorOf(std::string(5000, 'x')), "no error");
    EXPECT_EQ(read(ConfigSpace(1, 2, 3).dump("00:00.0")).functions.size(), 1U);
}

TEST_F(PciInventoryTest, AMissingFileAndAFolderAreErrors)
{
    EXPECT_THROW(readInventoryDump("/nowhere/dump"), InventoryError);
    EXPECT_THROW(readInventoryDump("/tmp"), InventoryError);
}

} // namespace
} // namespace samplefold::topology
