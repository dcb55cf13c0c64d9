#include "hwsamp/event_plan.h"
#include "hwsamp/events_file.h"

#include <gtest/gtest.h>

#include <sstream>

namespace samplefold::hwsamp {
namespace {

using kind_t = Event::kind_t;

/// An event that only the kernel's files know, so that the kernel is not asked.
Event plannedEvent(const std::string& name, kind_t kind = kind_t::core, const std::string& pmu = {},
                   int pmuCounters = 0)
{
    return {.name = name, .kind = kind, .pmu = pmu, .pmuCounters = pmuCounters, .attributes = {}};
}

std::vector<Events> single(const std::string& letters)
{
    std::vector<Events> sets;
    for (const char letter : letters)
        sets.push_back({plannedEvent(std::string(1, letter))});
    return sets;
}

std::string shown(const std::vector<Events>& groups)
{
    std::string text;
    for (const Events& group : groups) {
        for (const Event& event : group)
            text += event.name;
        text += ' ';
    }
    return text;
}

bool twoFit(std::span<const Event> events)
{
    return events.size() <= 2;
}

std::string planText(const std::vector<Events>& sets, int general)
{
    std::ostringstream out;
    writePlan(out, planEvents(sets, {.general = general, .fixed = 0, .source = "a test"}, "some"));
    return out.str();
}

TEST(Packing, FillsGroupsInOrder)
{
    EXPECT_EQ(shown(packGroups(single("abcde"), twoFit)), "ab cd e ");
    EXPECT_EQ(shown(packGroups({}, twoFit)), "");
}

TEST(Packing, DoesNotDivideASet)
{
    EXPECT_EQ(
        shown(packGroups(
            {{plannedEvent("a")}, {plannedEvent("b"), plannedEvent("c")}, {plannedEvent("d")}},
            twoFit)),
        "a bc d ");
}

TEST(Packing, ASetThatNeverFitsStandsAlone)
{
    EXPECT_EQ(shown(packGroups({{plannedEvent("a")},
                                {plannedEvent("b"), plannedEvent("c"), plannedEvent("d")},
                                {plannedEvent("e")}},
                               twoFit)),
              "a bcd e ");
}

TEST(Packing, AsksForWhatComesTogether)
{
    const fits_t notBoth = [](std::span<const Event> events) {
        const std::string names = shown({{events.begin(), events.end()}});
        return names.find('a') == names.npos || names.find('c') == names.npos;
    };
    EXPECT_EQ(shown(packGroups(single("abcd"), notBoth)), "ab cd ");
}

TEST(Packing, TakesTwentyThousandEvents)
{
    std::vector<Events> sets;
    for (int number = 0; number < 20'000; ++number)
        sets.push_back({plannedEvent(std::to_string(number))});
    const auto namesIn = [](const std::vector<Events>& groups) {
        std::vector<std::string> names;
        for (const Events& group : groups) {
            for (const Event& event : group)
                names.push_back(event.name);
        }
        return names;
    };
    const std::vector<std::string> names = namesIn(sets);

    const std::vector<Events> whole = packGroups(sets, [](std::span<const Event>) { return true; });
    EXPECT_EQ(whole.size(), 1U);
    EXPECT_EQ(namesIn(whole), names);

    const std::vector<Events> parts =
        packGroups(sets, [](std::span<const Event> events) { return events.size() <= 7000; });
    EXPECT_EQ(namesIn(parts), names);
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(parts[0].size(), 7000U);
    EXPECT_EQ(parts[1].size(), 7000U);
    EXPECT_EQ(parts[2].size(), 6000U);
}

TEST(EventPlan, CoreEventsTakeTurnsOnTheCoresCounters)
{
    EXPECT_EQ(planText(single("abc"), 2),
              "# groups of the cores for 2 general and 0 fixed counters, by a test\n"
              "PMU type: Core some\nGroup 0: a, b\nGroup 1: c\n");
}

TEST(EventPlan, OtherUnitsHaveSectionsOfTheirOwn)
{
    const std::vector<Events> sets{{plannedEvent("x", kind_t::other, "imc", 1)},
                                   {plannedEvent("y", kind_t::other, "cha")},
                                   {plannedEvent("z", kind_t::other, "imc", 1)},
                                   {plannedEvent("w", kind_t::other, "cha")}};
    EXPECT_EQ(planText(sets, 2), "PMU type: cha\nGroup 0: y, w\n"
                                 "PMU type: imc\nGroup 0: x\nGroup 1: z\n");
}

TEST(EventPlan, SoftwareEventsNeverTakeTurns)
{
    std::vector<Events> sets;
    for (const char* const name : {"s", "t", "u"})
        sets.push_back({plannedEvent(name, kind_t::software)});
    EXPECT_EQ(planText(sets, 1), "PMU type: Software\nGroup 0: s, t, u\n");
}

TEST(EventPlan, ASetOfSeveralKindsIsDividedByThem)
{
    EXPECT_EQ(planText({{plannedEvent("a"), plannedEvent("s", kind_t::software)}}, 1),
              "# groups of the cores for 1 general and 0 fixed counters, by a test\n"
              "PMU type: Core some\nGroup 0: a\nPMU type: Software\nGroup 0: s\n");
}

TEST(EventPlan, OfNoEventsIsEmpty)
{
    EXPECT_EQ(planText({}, 4), "");
}

} // namespace
} // namespace samplefold::hwsamp
