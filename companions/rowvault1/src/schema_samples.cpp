#include "schema_parts.h"

// Tables of samples: what was sampled, when and how much, and the descriptions that samples share.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_sample[] = {
    {0, "event_type", s32, "dd_event_type", "Event that was sampled."},
    {1, "cpu", s32, "dd_cpu", "Logical CPU on which the sample was taken."},
    {2, "ip", u64, "", "Instruction pointer in the address space of the process."},
    {3, "cpu_state", s32, "dd_cpu_state", "State of the CPU."},
    {4, "callsite", s32, "dd_callsite", "Leaf of the call chain."},
    {5, "seg_inst", s32, "dd_segment_instance", "Mapping in which the instruction pointer lies."},
    {6, "mem_access", s32, "dd_mem_access", "Memory access that the sample describes."},
    {7, "thread_state", s32, "dd_thread_state", "State of the thread."},
    {8, "reserved", s32, "", "Kept free; no writer fills it."},
    {9, "lbr_head", s32, "dd_lbr_head", "Head of the branch record stack."},
    {10, "htm_info", s32, "dd_htm_info", "Transactional memory status."},
    {11, "cpu_mode", s32, "dd_cpu_mode", "Privilege in which the CPU ran."},
};

constexpr column_t g_sampleInstance[] = {
    {0, "sample", s32, "dd_sample", "Attributes of the sample."},
    {1, "callsite", s32, "dd_callsite", "Leaf of the call chain; -1 when there is none."},
    {2, "event_type", s32, "dd_event_type", "Event that was sampled."},
    {3, "cpu", s32, "dd_cpu", "Logical CPU; -1 when not known."},
    {4, "thread", s32, "dd_thread", "Thread that the interval belongs to."},
    {5, "next_event_type", s32, "dd_event_type",
     "Event of the sample that followed in the same thread and event; without meaning in a row of "
     "a "
     "counting event, which may repeat the value of another row."},
    {6, "next_callsite", s32, "dd_callsite",
     "Call chain of the sample that followed; without meaning in a row of a counting event."},
    {7, "reserved_value", u64, "", "Written as 0."},
    {8, "count", s64, "", "Number of events that the interval stands for, already scaled."},
    {9, "start_tsc", u64, "", "First tick of the interval, included."},
    {10, "rate", real, "",
     "Events per tick up to the sample that followed; 0.0 when there is none."},
    {11, "end_tsc", u64, "", "Last tick of the interval, included; rows are kept in its order."},
};

constexpr column_t g_sampleBand[] = {
    {0, "owner", s32, "dd_thread", "Thread on whose timeline the band lies."},
    {1, "attribute_table", text, "", "Name of the table that the column attribute points into."},
    {2, "start_tsc", u64, "", "First tick, included."},
    {3, "end_tsc", u64, "", "Last tick, included."},
    {4, "reserved", u64, "", "Written as 0."},
    {5, "count", u64, "", "Number of events in the band."},
    {6, "attribute", s32, "dd_sample", "Attributes of the sample that closed the band."},
    {7, "rate", real, "", "Custom column: events per tick up to the sample that followed."},
    {8, "next_attr", s32, "dd_sample", "Custom column: attributes of the sample that followed."},
};

constexpr column_t g_eventType[] = {
    {0, "name", text, "", "Name of the event, as the recording gives it."},
    {1, "type", u32, "", "Kind of event source, as the kernel numbers it."},
    {2, "config", u64, "", "Event code within its source."},
    {3, "sample_period", u64, "", "Events between two samples, or samples per second."},
    {4, "frequency", s32, "", "1 when sample_period is in samples per second, else 0."},
    {5, "counting", s32, "",
     "1 when rows of the event are explicit intervals without a following sample, else 0."},
    {6, "uncore_event", s32, "dd_uncore_event_type",
     "Uncore event that it is; null for events of the cores."},
};

constexpr column_t g_cpu[] = {
    {0, "number", s32, "", "Number of the logical CPU, from 0."},
    {1, "package", s32, "dd_package", "Package that the CPU is in; null where it is not known."},
};
constexpr column_t g_cpuMode[] = {
    {0, "name", text, "", "Name of the mode (user, kernel and so on)."}};
constexpr column_t g_cpuState[] = {{0, "name", text, "", "Name of the state."}};
constexpr column_t g_threadState[] = {{0, "name", text, "", "Name of the state."}};

constexpr column_t g_memAccess[] = {
    {0, "source", u64, "", "Word of the recording, all bits as they came."},
    {1, "operation", text, "", "Load, store and the like."},
    {2, "level", text, "", "Cache or memory that answered, and whether it was a hit."},
    {3, "snoop", text, "", "Outcome of the snoop."},
    {4, "tlb", text, "", "Where the address translation was found."},
    {5, "lock", text, "", "Whether the access was locked."},
};

constexpr column_t g_htmInfo[] = {
    {0, "word", u64, "", "Status word of the recording, all bits as they came."},
    {1, "text", text, "", "The word in readable form."},
};

constexpr table_t g_tables[] = {
    {"dd_sample", table_kind_t::attribute, "A row per distinct combination of sample attributes.",
     g_sample},
    {"sample_instance", table_kind_t::instance,
     "A row per sampled interval, kept in the order of end_tsc; id counts the rows as they came.",
     g_sampleInstance},
    {"sample_band", table_kind_t::band,
     "The same intervals as bands on the timelines of threads; filled on request only.",
     g_sampleBand},
    {"dd_event_type", table_kind_t::attribute, "A row per sampled event.", g_eventType},
    {"dd_cpu", table_kind_t::attribute, "A row per logical CPU.", g_cpu},
    {"dd_cpu_mode", table_kind_t::attribute, "A row per privilege mode.", g_cpuMode},
    {"dd_cpu_state", table_kind_t::attribute, "A row per state of a CPU.", g_cpuState},
    {"dd_thread_state", table_kind_t::attribute, "A row per state of a thread.", g_threadState},
    {"dd_mem_access", table_kind_t::attribute, "A row per distinct description of a memory access.",
     g_memAccess},
    {"dd_htm_info", table_kind_t::attribute, "A row per distinct transactional memory status.",
     g_htmInfo},
};

} // namespace

std::span<const table_t> sampleTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
