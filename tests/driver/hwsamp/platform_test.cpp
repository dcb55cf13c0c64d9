#include "hwsamp/platform.h"

#include <gtest/gtest.h>

#include <sstream>

namespace samplefold::hwsamp {
namespace {

std::string written(const Platform& platform)
{
    std::ostringstream out;
    writePlatform(out, platform);
    return out.str();
}

TEST(Platform, IsOneLineOfFourFacts)
{
    EXPECT_EQ(
        written({.number = 7, .pmu = "skl", .signature = 0x506e3, .cpuName = "Some CPU @ 3GHz"}),
        "Platform: 7, PMU: skl, Signature: 0x506e3, CPU name: Some CPU @ 3GHz\n");
}

TEST(Platform, StaysOneLineWhateverTheCpusName)
{
    EXPECT_EQ(written({.number = 0, .pmu = "x", .signature = 1, .cpuName = "a\nb\x7f"}),
              "Platform: 0, PMU: x, Signature: 0x1, CPU name: a b \n");
    EXPECT_EQ(written({.number = 0, .pmu = "x", .signature = 0, .cpuName = ""}),
              "Platform: 0, PMU: x, Signature: 0x0, CPU name: unknown\n");
}

TEST(Platform, NamesOfPmusAreWords)
{
    EXPECT_TRUE(isPlainPmuName("amd64_fam19h_zen4"));
    for (const char* const name : {"", "a-b", "a b", "a,b", "\xc3\xa4"})
        EXPECT_FALSE(isPlainPmuName(name)) << name;
    EXPECT_EQ(plainPmuName("knights-landing"), "knights_landing");
    EXPECT_EQ(plainPmuName("skl"), "skl");
}

} // namespace
} // namespace samplefold::hwsamp
