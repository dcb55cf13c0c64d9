#include "session/processor.h"

#include <gtest/gtest.h>

namespace samplefold::session {
namespace {

TEST(Processor, AnIdentityIsVendorFamilyModelAndStepping)
{
    const auto processor = processorOf("GenuineIntel,6,85,7");
    ASSERT_TRUE(processor);
    EXPECT_EQ(processor->vendor, "GenuineIntel");
    EXPECT_EQ(processor->family, 6U);
    EXPECT_EQ(processor->model, 85U);
    EXPECT_EQ(processor->stepping, 7U);
}

TEST(Processor, FamiliesBeyondFifteenAreTakenWhole)
{
    EXPECT_EQ(processorOf("AuthenticAMD,25,17,1")->family, 25U);
}

TEST(Processor, IdentitiesOfOtherArchitecturesAreNone)
{
    for (const char* text :
         {"", "0x00000000410fd0c0", "GenuineIntel", "GenuineIntel,6,85", ",6,85,7",
          "GenuineIntel,6,85,7,1", "GenuineIntel,6,x,7", "GenuineIntel,6,85,",
          "GenuineIntel,-6,85,7", "GenuineIntel,99999999999,85,7"})
        EXPECT_FALSE(processorOf(text)) << text;
}

} // namespace
} // namespace samplefold::session
