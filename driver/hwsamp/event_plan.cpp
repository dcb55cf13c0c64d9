#include "hwsamp/event_plan.h"

#include "hwsamp/kernel_probe.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

namespace samplefold::hwsamp {
namespace {

using kind_t = Event::kind_t;

std::vector<perf_event_attr> attributesOf(std::span<const Event> events)
{
    std::vector<perf_event_attr> all;
    for (const Event& event : events)
        all.push_back(*event.attributes);
    return all;
}

bool kernelTakes(const Event& event)
{
    return event.attributes && askKernel({&*event.attributes, 1}) == fit_t::fits;
}

/// Whether the kernel counts every one of these, so that it can be asked about groups of them.
bool kernelCanTell(const std::vector<Events>& sets)
{
    return std::ranges::all_of(
        sets, [](const Events& set) { return std::ranges::all_of(set, kernelTakes); });
}

/// What is left of the sets with the events of that kind and PMU alone.
std::vector<Events> setsOf(const std::vector<Events>& sets, kind_t kind, const std::string& pmu)
{
    std::vector<Events> found;
    for (const Events& set : sets) {
        Events part;
        std::ranges::copy_if(set, std::back_inserter(part), [&](const Event& event) {
            return event.kind == kind && event.pmu == pmu;
        });
        if (!part.empty()) found.push_back(std::move(part));
    }
    return found;
}

/// Counters of each unit that the events name; 0 where their number is not known.
std::map<std::string, int> unitsOf(const std::vector<Events>& sets)
{
    std::map<std::string, int> units;
    for (const Events& set : sets) {
        for (const Event& event : set) {
            if (event.kind == kind_t::other)
                units[event.pmu] = std::max(units[event.pmu], event.pmuCounters);
        }
    }
    return units;
}

void addCoreSection(EventPlan& plan, const std::vector<Events>& sets, const CoreCounters& counters,
                    const std::string& corePmu)
{
    const bool byKernel = kernelCanTell(sets);
    const fits_t fits = [&](std::span<const Event> events) {
        return byKernel ? askKernel(attributesOf(events)) == fit_t::fits : counters.suffice(events);
    };
    plan.remarks.push_back(
        byKernel ? "groups of the cores as the kernel takes them"
                 : "groups of the cores for " + std::to_string(counters.general) + " general and " +
                       std::to_string(counters.fixed) + " fixed counters, by " + counters.source);
    plan.sections.push_back({"Core " + corePmu, packGroups(sets, fits)});
}

/// Puts the set behind the group's events, unless they do not fit together. The group may be large:
/// it is not copied.
bool joins(Events& group, const Events& set, const fits_t& fits)
{
    const std::size_t before = group.size();
    group.insert(group.end(), set.begin(), set.end());
    if (fits(group)) return true;
    group.resize(before);
    return false;
}

} // namespace

std::vector<Events> packGroups(const std::vector<Events>& sets, const fits_t& fits)
{
    std::vector<Events> groups;
    for (const Events& set : sets) {
        if (groups.empty() || !joins(groups.back(), set, fits)) groups.push_back(set);
    }
    return groups;
}

EventPlan planEvents(const std::vector<Events>& sets, const CoreCounters& counters,
                     const std::string& corePmu)
{
    EventPlan plan;
    const std::vector<Events> core = setsOf(sets, kind_t::core, {});
    if (!core.empty()) addCoreSection(plan, core, counters, corePmu);
    for (const auto& [pmu, number] : unitsOf(sets)) {
        const fits_t fits = [number = number](std::span<const Event> events) {
            return number == 0 || std::cmp_less_equal(events.size(), number);
        };
        plan.sections.push_back({pmu, packGroups(setsOf(sets, kind_t::other, pmu), fits)});
    }
    const std::vector<Events> software = setsOf(sets, kind_t::software, {});
    if (!software.empty())
        plan.sections.push_back(
            {"Software", packGroups(software, [](std::span<const Event>) { return true; })});
    return plan;
}

} // namespace samplefold::hwsamp
