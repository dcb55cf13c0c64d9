#pragma once

#include "hwsamp/event_list.h"
#include "hwsamp/pfm.h"

#include <linux/perf_event.h>

#include <optional>
#include <string>

namespace samplefold::hwsamp {

/// An event, and which counters it needs.
struct Event {
    enum class kind_t : unsigned char { core, software, other };

    std::string name;
    kind_t kind = kind_t::core;
    std::string pmu;     ///< of other events: the unit's PMU
    int pmuCounters = 0; ///< of other events: counters of it, 0 when not known
    std::optional<perf_event_attr> attributes; ///< null where only the kernel's files know them
};

/// Tells what an event is. Names are those that libpfm4 knows on this machine, among them the
/// kernel's own (cycles, cache-misses, cpu-clock), with or without perf's modifiers (":u", ":pp");
/// "rHEX" is a raw event of the cores, "PMU/.../" one of that PMU. Throws ToolError for others.
Event eventOf(const std::string& name, const Pfm& pfm);

/// True for what fixed counters can count: instructions, cycles, reference cycles.
bool fitsFixedCounter(const Event& event);

} // namespace samplefold::hwsamp
