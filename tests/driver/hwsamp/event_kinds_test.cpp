#include "hwsamp/event_kinds.h"
#include "hwsamp/text_file.h"

#include <gtest/gtest.h>

namespace samplefold::hwsamp {
namespace {

using kind_t = Event::kind_t;

/// Names that libpfm4 knows on every machine.
class EventKinds : public testing::Test {
protected:
    Event event(const std::string& name) const { return eventOf(name, pfm); }

    Pfm pfm;
};

TEST_F(EventKinds, TheKernelsHardwareEventsAreTheCores)
{
    const Event cycles = event("cycles");
    EXPECT_EQ(cycles.kind, kind_t::core);
    ASSERT_TRUE(cycles.attributes.has_value());
    EXPECT_EQ(cycles.attributes->type, std::uint32_t{PERF_TYPE_HARDWARE});
    EXPECT_EQ(cycles.attributes->config, std::uint64_t{PERF_COUNT_HW_CPU_CYCLES});
    EXPECT_EQ(event("L1-dcache-loads").attributes->type, std::uint32_t{PERF_TYPE_HW_CACHE});
}

TEST_F(EventKinds, ClocksAndFaultsAreSoftware)
{
    EXPECT_EQ(event("cpu-clock").kind, kind_t::software);
    EXPECT_EQ(event("page-faults:u").kind, kind_t::software);
}

TEST_F(EventKinds, ModifiersOfPerfDoNotChangeTheEvent)
{
    const Event precise = event("instructions:upp");
    EXPECT_EQ(precise.name, "instructions:upp");
    EXPECT_EQ(precise.attributes->config, std::uint64_t{PERF_COUNT_HW_INSTRUCTIONS});
}

TEST_F(EventKinds, RawEventsAreTheCores)
{
    const Event raw = event("r01a2");
    EXPECT_EQ(raw.kind, kind_t::core);
    ASSERT_TRUE(raw.attributes.has_value());
    EXPECT_EQ(raw.attributes->type, std::uint32_t{PERF_TYPE_RAW});
    EXPECT_EQ(raw.attributes->config, 0x1a2u);
}

TEST_F(EventKinds, EventsOfANamedPmuAreTheirs)
{
    const Event unit = event("uncore_imc_0/event=4,umask=3/");
    EXPECT_EQ(unit.kind, kind_t::other);
    EXPECT_EQ(unit.pmu, "uncore_imc_0");
    for (const char* const name : {"cpu/event=0x3c/", "cpu_core/event=0x3c/u", "cpu_atom/cycles/"})
        EXPECT_EQ(event(name).kind, kind_t::core) << name;
}

TEST_F(EventKinds, OtherNamesAreRefusedByName)
{
    for (const char* const name : {"NO_SUCH_EVENT", "rxyz", "", ":u", "/cpu/", "cycles:what"}) {
        try {
            event(name);
            ADD_FAILURE() << name;
        } catch (const ToolError& error) {
            EXPECT_TRUE(std::string(error.what()).starts_with(std::string(name) + ": "));
        }
    }
}

TEST_F(EventKinds, FixedCountersFitThreeEvents)
{
    for (const char* const name : {"cycles", "instructions:u", "ref-cycles", "r3c", "rc0", "r300"})
        EXPECT_TRUE(fitsFixedCounter(event(name))) << name;
    for (const char* const name : {"branches", "r1c2", "L1-dcache-loads", "cpu/event=0x3c/"})
        EXPECT_FALSE(fitsFixedCounter(event(name))) << name;
}

} // namespace
} // namespace samplefold::hwsamp
