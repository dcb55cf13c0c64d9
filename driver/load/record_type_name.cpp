#include "load/record_type_name.h"

#include <array>
#include <string_view>

namespace samplefold::load {
namespace {

constexpr std::array<std::string_view, 23> g_kernelNames{"",
                                                         "MMAP",
                                                         "LOST",
                                                         "COMM",
                                                         "EXIT",
                                                         "THROTTLE",
                                                         "UNTHROTTLE",
                                                         "FORK",
                                                         "READ",
                                                         "SAMPLE",
                                                         "MMAP2",
                                                         "AUX",
                                                         "ITRACE_START",
                                                         "LOST_SAMPLES",
                                                         "SWITCH",
                                                         "SWITCH_CPU_WIDE",
                                                         "NAMESPACES",
                                                         "KSYMBOL",
                                                         "BPF_EVENT",
                                                         "CGROUP",
                                                         "TEXT_POKE",
                                                         "AUX_OUTPUT_HW_ID",
                                                         "CALLCHAIN_DEFERRED"};

constexpr std::uint32_t g_firstRecorderType = 64;
constexpr std::array<std::string_view, 20> g_recorderNames{
    "HEADER_ATTR", "EVENT_TYPE",     "TRACING_DATA", "BUILD_ID",       "FINISHED_ROUND",
    "ID_INDEX",    "AUXTRACE_INFO",  "AUXTRACE",     "AUXTRACE_ERROR", "THREAD_MAP",
    "CPU_MAP",     "STAT_CONFIG",    "STAT",         "STAT_ROUND",     "EVENT_UPDATE",
    "TIME_CONV",   "HEADER_FEATURE", "COMPRESSED",   "FINISHED_INIT",  "COMPRESSED2"};

} // namespace

std::string recordTypeName(std::uint32_t type)
{
    if (type != 0 && type < g_kernelNames.size()) return std::string(g_kernelNames[type]);
    if (type >= g_firstRecorderType && type - g_firstRecorderType < g_recorderNames.size()) {
        return std::string(g_recorderNames[type - g_firstRecorderType]);
    }
    return "type " + std::to_string(type);
}

} // namespace samplefold::load
