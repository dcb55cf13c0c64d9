#include "hwsamp/core_counters.h"

#include <gtest/gtest.h>

namespace samplefold::hwsamp {
namespace {

/// The raw core event of that code.
Event rawEvent(std::uint64_t config)
{
    perf_event_attr attributes{};
    attributes.type = PERF_TYPE_RAW;
    attributes.config = config;
    Event event;
    event.attributes = attributes;
    return event;
}

std::vector<Event> rawEvents(std::initializer_list<std::uint64_t> configs)
{
    std::vector<Event> events;
    for (const std::uint64_t config : configs)
        events.push_back(rawEvent(config));
    return events;
}

CoreCounters counters(int general, int fixed)
{
    return {.general = general, .fixed = fixed, .source = {}};
}

TEST(CoreCounters, EachEventTakesOne)
{
    EXPECT_TRUE(counters(2, 0).suffice(rawEvents({1, 2})));
    EXPECT_FALSE(counters(2, 0).suffice(rawEvents({1, 2, 3})));
    EXPECT_FALSE(counters(2, 0).suffice(rawEvents({1, 1, 1}))) << "the same event three times";
    EXPECT_TRUE(counters(0, 0).suffice({}));
}

TEST(CoreCounters, CyclesAndInstructionsTakeFixedOnes)
{
    EXPECT_TRUE(counters(2, 3).suffice(rawEvents({0x3c, 0xc0, 0x300, 1, 2})));
    EXPECT_FALSE(counters(2, 3).suffice(rawEvents({0x3c, 0xc0, 0x300, 1, 2, 3})));
}

TEST(CoreCounters, WithoutAFixedOneTheyTakeOthers)
{
    EXPECT_TRUE(counters(2, 0).suffice(rawEvents({0x3c, 0xc0})));
    EXPECT_FALSE(counters(1, 1).suffice(rawEvents({0x3c, 0xc0, 1})));
}

TEST(CoreCounters, AFixedOneCountsAnEventOnce)
{
    EXPECT_TRUE(counters(1, 3).suffice(rawEvents({0x3c, 0x3c})));
    EXPECT_FALSE(counters(1, 3).suffice(rawEvents({0x3c, 0x3c, 0x3c})));
}

TEST(CoreCounters, AreThoseOfTheDescriptionAtMost)
{
    const CoreCounters found =
        countersOf(PmuDescription{.name = "some", .generalCounters = 3, .fixedCounters = 2});
    EXPECT_LE(found.general, 3);
    EXPECT_GE(found.general, 1);
    EXPECT_EQ(found.fixed, 2);
    EXPECT_TRUE(found.source.starts_with("libpfm4 (some)"));
}

TEST(CoreCounters, AreFourWhereNobodyKnows)
{
    EXPECT_EQ(countersOf(std::nullopt).general, 4);
    EXPECT_EQ(countersOf(std::nullopt).fixed, 0);
    EXPECT_EQ(countersOf(PmuDescription{.name = "none"}).source, "an assumption");
}

} // namespace
} // namespace samplefold::hwsamp
