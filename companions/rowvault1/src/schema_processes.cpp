#include "schema_parts.h"

// Tables of processes, their threads, their containers, and where threads ran.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_process[] = {
    {0, "pid", s32, "", "Process id."},
    {1, "name", text, "", "Name of the process, the latest that it had."},
    {2, "start_tsc", u64, "", "First tick at which the process is known."},
    {3, "end_tsc", u64, "", "Last tick at which the process is known."},
    {4, "parent", s32, "dd_process", "Process that started it; empty when not known."},
    {5, "life", s32, "", "Counts the lives of one process id, from 0."},
};

constexpr column_t g_thread[] = {
    {0, "process", s32, "dd_process", "Process of the thread."},
    {1, "tid", s32, "", "Thread id."},
    {2, "name", text, "", "Name of the thread, the latest that it had."},
    {3, "start_tsc", u64, "", "First tick at which the thread is known."},
    {4, "end_tsc", u64, "", "Last tick at which the thread is known."},
};

constexpr column_t g_processInContainer[] = {
    {0, "pid", s64, "", "Process id, as the host sees it."},
    {1, "unused", text, "", "Kept free; no reader asks for it."},
    {2, "host_root", text, "", "Directory of the host below which the container's files lie."},
    {3, "container", s32, "dd_container_desc", "Container that the process runs in."},
};

constexpr column_t g_containerDesc[] = {
    {0, "label", text, "", "Label of the container, put in front of its paths."},
    {1, "detail", text, "", "Further description of the container."},
};

constexpr column_t g_cpuRunning[] = {
    {0, "thread", s32, "dd_thread", "Thread that ran."},
    {1, "start_tsc", u64, "", "First tick, included."},
    {2, "end_tsc", u64, "", "Last tick, included."},
    {3, "bucket", s32, "", "Bucket of the row; its meaning is the writer's."},
};

constexpr table_t g_tables[] = {
    {"dd_process", table_kind_t::attribute, "A row per life of a process.", g_process},
    {"dd_thread", table_kind_t::attribute, "A row per life of a thread.", g_thread},
    {"dd_process_in_container", table_kind_t::attribute,
     "A row per process that runs in a container.", g_processInContainer},
    {"dd_container_desc", table_kind_t::attribute, "A row per container.", g_containerDesc},
    {"cpu_running_data_t", table_kind_t::bucket, "Spans of time in which a thread ran, in buckets.",
     g_cpuRunning},
};

} // namespace

std::span<const table_t> processTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
