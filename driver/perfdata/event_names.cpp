#include "perfdata/event_names.h"

#include <array>
#include <cstdio>

namespace samplefold::perfdata {

namespace {

constexpr std::array<const char*, 10> hardwareNames = {"cycles",
                                                       "instructions",
                                                       "cache-references",
                                                       "cache-misses",
                                                       "branches",
                                                       "branch-misses",
                                                       "bus-cycles",
                                                       "stalled-cycles-frontend",
                                                       "stalled-cycles-backend",
                                                       "ref-cycles"};

constexpr std::array<const char*, 12> softwareNames = {
    "cpu-clock",        "task-clock",   "page-faults",  "context-switches",
    "cpu-migrations",   "minor-faults", "major-faults", "alignment-faults",
    "emulation-faults", "dummy",        "bpf-output",   "cgroup-switches"};

struct CacheName {
    const char* name;
    unsigned operations; ///< bit per operation that exists: 1 load, 2 store, 4 prefetch
};

constexpr std::array<CacheName, 7> cacheNames = {{{"L1-dcache", 7},
                                                  {"L1-icache", 5},
                                                  {"LLC", 7},
                                                  {"dTLB", 7},
                                                  {"iTLB", 1},
                                                  {"branch", 1},
                                                  {"node", 7}}};

struct OperationName {
    const char* plural;
    const char* singular;
};

constexpr std::array<OperationName, 3> operationNames = {
    {{"loads", "load"}, {"stores", "store"}, {"prefetches", "prefetch"}}};

std::string hex(std::uint64_t value)
{
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%llx", static_cast<unsigned long long>(value));
    return text.data();
}

std::string cacheEventName(std::uint64_t config)
{
    const std::uint64_t cache = config & 0xff;
    const std::uint64_t operation = config >> 8 & 0xff;
    const std::uint64_t result = config >> 16 & 0xff;
    if (cache >= cacheNames.size()) return "unknown-ext-hardware-cache-type";
    if (operation >= operationNames.size()) return "unknown-ext-hardware-cache-op";
    if (result > 1) return "unknown-ext-hardware-cache-result";
    const CacheName& found = cacheNames[cache];
    if ((found.operations >> operation & 1u) == 0) return "invalid-cache";
    if (result == 0) return std::string(found.name) + "-" + operationNames[operation].plural;
    return std::string(found.name) + "-" + operationNames[operation].singular + "-misses";
}

template <std::size_t Count>
std::string fromTable(const std::array<const char*, Count>& names, std::uint64_t config,
                      const char* unknown)
{
    return config < Count ? names[config] : unknown;
}

std::string breakpointName(const EventAttr& attr)
{
    std::string name = "mem:" + hex(attr.config1) + ":";
    if ((attr.breakpointType & 1u) != 0) name += 'r';
    if ((attr.breakpointType & 2u) != 0) name += 'w';
    if ((attr.breakpointType & 4u) != 0) name += 'x';
    return name;
}

/// Privilege levels are listed when one is excluded; host and guest when they differ from what is
/// usual, which is to leave guests out unless levels or precision were chosen.
std::string modifiers(const EventAttr& attr)
{
    std::string found;
    bool usualGuestExclusion = false;
    if (attr.has(attrBit::ExcludeKernel | attrBit::ExcludeUser | attrBit::ExcludeHv)) {
        if (!attr.has(attrBit::ExcludeKernel)) found += 'k';
        if (!attr.has(attrBit::ExcludeUser)) found += 'u';
        if (!attr.has(attrBit::ExcludeHv)) found += 'h';
        usualGuestExclusion = true;
    }
    if (attr.preciseIp() != 0) {
        found.append(attr.preciseIp(), 'p');
        usualGuestExclusion = true;
    }
    if (attr.has(attrBit::ExcludeHost) || attr.has(attrBit::ExcludeGuest) == usualGuestExclusion) {
        if (!attr.has(attrBit::ExcludeHost)) found += 'H';
        if (!attr.has(attrBit::ExcludeGuest)) found += 'G';
    }
    return found.empty() ? found : ":" + found;
}

} // namespace

std::string generatedEventName(const EventAttr& attr)
{
    // The upper half of the configuration names the core PMU on machines with several.
    const std::uint64_t config = attr.config & 0xffffffff;
    switch (attr.type) {
    case static_cast<std::uint32_t>(EventType::Hardware):
        return fromTable(hardwareNames, config, "unknown-hardware") + modifiers(attr);
    case static_cast<std::uint32_t>(EventType::Software):
        return fromTable(softwareNames, attr.config, "unknown-software") + modifiers(attr);
    case static_cast<std::uint32_t>(EventType::Tracepoint):
        return "unknown tracepoint";
    case static_cast<std::uint32_t>(EventType::Cache):
        return cacheEventName(config) + modifiers(attr);
    case static_cast<std::uint32_t>(EventType::Raw):
        return "raw " + hex(attr.config) + modifiers(attr);
    case static_cast<std::uint32_t>(EventType::Breakpoint):
        return breakpointName(attr) + modifiers(attr);
    default:
        return "unknown attr type: " + std::to_string(attr.type);
    }
}

} // namespace samplefold::perfdata
