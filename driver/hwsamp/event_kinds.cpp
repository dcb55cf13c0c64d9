#include "hwsamp/event_kinds.h"

#include "hwsamp/text_file.h"

#include <algorithm>
#include <string_view>

namespace samplefold::hwsamp {
namespace {

bool isModifier(char letter)
{
    return std::string_view("ukhHGIpPSDWeb").find(letter) != std::string_view::npos;
}

/// The name without modifiers at its end, as in "cycles:upp".
std::string withoutModifiers(const std::string& name)
{
    const std::size_t colon = name.rfind(':');
    if (colon == std::string::npos) return name;
    const std::string_view behind = std::string_view(name).substr(colon + 1);
    return std::ranges::all_of(behind, isModifier) ? name.substr(0, colon) : name;
}

bool isCorePmu(std::string_view pmu)
{
    return pmu == "cpu" || pmu == "cpu_core" || pmu == "cpu_atom";
}

Event ofNamedPmu(const std::string& name, const std::string& pmu)
{
    if (isCorePmu(pmu))
        return {.name = name, .kind = Event::kind_t::core, .pmu = {}, .attributes = {}};
    return {.name = name, .kind = Event::kind_t::other, .pmu = pmu, .attributes = {}};
}

Event ofEncoded(const std::string& name, const EncodedEvent& encoded)
{
    Event event{.name = name, .pmu = {}, .attributes = encoded.attributes};
    if (encoded.attributes.type == PERF_TYPE_SOFTWARE ||
        encoded.attributes.type == PERF_TYPE_TRACEPOINT) {
        event.kind = Event::kind_t::software;
    } else if (encoded.isUncore) {
        event.kind = Event::kind_t::other;
        event.pmu = encoded.pmu.name;
        event.pmuCounters = encoded.pmu.generalCounters;
    }
    return event;
}

} // namespace

Event eventOf(const std::string& name, const Pfm& pfm)
{
    const std::size_t slash = name.find('/');
    if (slash != std::string::npos && slash != 0) return ofNamedPmu(name, name.substr(0, slash));
    for (const std::string& spelling : {name, withoutModifiers(name)})
        if (const auto encoded = pfm.encode(spelling)) return ofEncoded(name, *encoded);
    throw ToolError(name + ": libpfm4 knows no such event on this machine; raw events are "
                           "written rHEX or PMU/.../");
}

bool fitsFixedCounter(const Event& event)
{
    if (!event.attributes) return false;
    const std::uint64_t config = event.attributes->config;
    switch (event.attributes->type) {
    case PERF_TYPE_HARDWARE:
        return config == PERF_COUNT_HW_CPU_CYCLES || config == PERF_COUNT_HW_INSTRUCTIONS ||
               config == PERF_COUNT_HW_REF_CPU_CYCLES;
    case PERF_TYPE_RAW:
        return config == 0x3c || config == 0xc0 || config == 0x300;
    default:
        return false;
    }
}

} // namespace samplefold::hwsamp
