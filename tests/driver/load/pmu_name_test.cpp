#include "load/pmu_name.h"

#include <gtest/gtest.h>

namespace samplefold::load {
namespace {

TEST(PmuName, TheRecordedNameOfTheCorePmuGoesFirst)
{
    perfdata::Features features;
    features.cpuId = "GenuineIntel,6,85,7";
    features.pmuCaps = {{"ibs_op", {{"pmu_name", "other"}}},
                        {"", {{"branches", "32"}, {"pmu_name", "recorded"}}}};
    EXPECT_EQ(pmuNameOf(features), "recorded");
}

TEST(PmuName, OfTwoKindsOfCoresTheLargerOnesStandForTheMachine)
{
    perfdata::Features features;
    features.pmuCaps = {{"cpu_atom", {{"pmu_name", "small"}}},
                        {"cpu_core", {{"pmu_name", "large"}}}};
    EXPECT_EQ(pmuNameOf(features), "large");
}

TEST(PmuName, AFamilyThatTheSignatureDoesNotTellApartHasNone)
{
    perfdata::Features features;
    features.cpuId = "AuthenticAMD,25,17,1";
    EXPECT_EQ(pmuNameOf(features), "");
}

TEST(PmuName, ARecordingThatTellsNothingHasNone)
{
    EXPECT_EQ(pmuNameOf({}), "");
}

} // namespace
} // namespace samplefold::load
