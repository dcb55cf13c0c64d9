#include "hwsamp/running_cpu.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace samplefold::hwsamp {
namespace {

/// Files of a kernel that names its PMU.
class RunningCpu : public testing::Test {
protected:
    void nameOf(const std::string& device, const std::string& name) const
    {
        const std::string caps = folder.path("bus/event_source/devices/" + device + "/caps");
        std::filesystem::create_directories(caps);
        std::ofstream(caps + "/pmu_name") << name;
    }
    /// What /proc/cpuinfo tells of the first processor; the kernel asked CPUID too.
    static std::string cpuinfo(const std::string& key)
    {
        std::ifstream file("/proc/cpuinfo");
        for (std::string line; std::getline(file, line);) {
            const std::size_t colon = line.find(':');
            if (colon == std::string::npos || !line.starts_with(key)) continue;
            if (line.find_first_not_of(" \t", key.size()) == colon)
                return colon + 2 <= line.size() ? line.substr(colon + 2) : std::string();
        }
        return {};
    }

    samplefold_test::TemporaryFolder folder;
};

TEST_F(RunningCpu, HasTheKernelsNameOfItsPmu)
{
    nameOf("cpu", "knights-landing\n");
    EXPECT_EQ(runningPlatform(folder.path()).pmu, "knights_landing");
}

TEST_F(RunningCpu, OfTwoKindsOfCoresTheBigOnesCount)
{
    nameOf("cpu_atom", "small\n");
    nameOf("cpu_core", "big\n");
    EXPECT_EQ(runningPlatform(folder.path()).pmu, "big");
}

TEST_F(RunningCpu, WithoutTheKernelsNameThePmuHasAnotherOne)
{
    const std::string name = runningPlatform(folder.path()).pmu;
    EXPECT_TRUE(isPlainPmuName(name)) << name;
    nameOf("cpu", "\n");
    EXPECT_EQ(runningPlatform(folder.path()).pmu, name) << "an empty name is none";
}

TEST_F(RunningCpu, HasTheSignatureOfFamilyModelAndStepping)
{
    const Platform cpu = runningPlatform(folder.path());
    EXPECT_EQ(cpu.number, 0);
    const std::uint64_t s = cpu.signature;
    const std::uint64_t base = (s >> 8) & 0xf;
    const std::uint64_t family = base + (base == 15 ? (s >> 20) & 0xff : 0);
    EXPECT_EQ(std::to_string(family), cpuinfo("cpu family"));
    EXPECT_EQ(std::to_string(((s >> 4) & 0xf) | ((s >> 12) & 0xf0)), cpuinfo("model"));
    // The kernel shows "unknown" where a virtual machine hides the stepping.
    if (cpuinfo("stepping") != "unknown") {
        EXPECT_EQ(std::to_string(s & 0xf), cpuinfo("stepping"));
    }
}

TEST_F(RunningCpu, HasTheNameThatTheProcessorTells)
{
    EXPECT_EQ(runningPlatform(folder.path()).cpuName, cpuinfo("model name"));
}

} // namespace
} // namespace samplefold::hwsamp
