#pragma once

#include "hwsamp/core_counters.h"
#include "hwsamp/event_kinds.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

// Which events are counted at the same time, and which take turns.
namespace samplefold::hwsamp {

/// Whether these can be counted at the same time.
using fits_t = std::function<bool(std::span<const Event>)>;
using Events = std::vector<Event>;

/// Packs sets of events into groups, in their order: a set joins the group before where `fits` says
/// so, else it begins a new one. A set is never divided, even where it does not fit alone.
std::vector<Events> packGroups(const std::vector<Events>& sets, const fits_t& fits);

/// Groups of one PMU.
struct Section {
    std::string pmu;
    std::vector<Events> groups;
};

struct EventPlan {
    std::vector<std::string> remarks; ///< on how it was found, one line each
    std::vector<Section> sections;    ///< that of the cores first, where there is one
};

/// The groups of a list of events. Those of the cores share the core's counters: the kernel is
/// asked what fits where it takes all of them, else `counters` tell. Events of other units share
/// those of their unit, as far as their number is known. Software events all fit at once. A set
/// whose events are of several kinds is divided by them.
EventPlan planEvents(const std::vector<Events>& sets, const CoreCounters& counters,
                     const std::string& corePmu);

} // namespace samplefold::hwsamp
