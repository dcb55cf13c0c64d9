#include "schema_parts.h"

// Tables of the load itself: what was loaded, how well, and how bands are tied to owners.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_loadInfo[] = {
    {0, "key", text, "", "Name of the fact, one row each; state is complete or incomplete."},
    {1, "value", text, "", "Value of the fact."},
};

constexpr column_t g_quality[] = {
    {0, "reason", text, "", "Why something was dropped, repaired or guessed."},
    {1, "count", u64, "", "How often."},
    {2, "remedy", text, "", "What the user can do about it."},
    {3, "severity", text, "", "info, error or data_loss."},
};

constexpr column_t g_contextValue[] = {
    {0, "name", text, "", "Name of the value, one row each."},
    {1, "kind", text, "", "Its kind: null, u16, s32, u32, s64, u64, real or text."},
    {2, "value", text, "", "The value as text, numbers in decimal; empty for null."},
};

constexpr column_t g_collectorArgument[] = {
    {0, "load", u32, "", "Number of the load, from 1 on."},
    {1, "position", u32, "", "0 for the program."},
    {2, "argument", text, "", "The argument as the collector got it."},
};

constexpr column_t g_counterDrop[] = {
    {0, "event_type", s32, "dd_event_type", "Event that was counted."},
    {1, "cpu", s32, "dd_cpu", "CPU on which it was counted; null where it is not known."},
    {2, "reason", text, "", "Why values became no row; as in dd_quality."},
    {3, "implausible", s32, "", "1 when they cannot be true, 0 when they are no counts."},
    {4, "count", u64, "", "How many values."},
};

constexpr column_t g_bandBinding[] = {
    {0, "data_name", text, "", "Name of the band data, which is the name of its table."},
    {1, "attribute_table", text, "", "Table that the attributes of the bands are in."},
    {2, "owner_table", text, "", "Table whose rows own the bands; empty until the data is bound."},
};

constexpr table_t g_tables[] = {
    {"dd_load_info", table_kind_t::attribute, "Facts about the load, by name.", g_loadInfo},
    {"dd_quality", table_kind_t::attribute,
     "What was dropped, repaired or guessed during the load, counted by reason.", g_quality},
    {"dd_context_value", table_kind_t::attribute,
     "Named values that hold for the whole result, such as muxGroupCount: in how many groups the "
     "core events were multiplexed.",
     g_contextValue},
    {"dd_collector_argument", table_kind_t::attribute,
     "A row per argument of the command line that the collector was started with.",
     g_collectorArgument},
    {"dd_counter_drop", table_kind_t::attribute,
     "A row per event, CPU and reason for which values of counters became no row, by load.",
     g_counterDrop},
    {"band_binding", table_kind_t::attribute, "A row per band data.", g_bandBinding},
};

} // namespace

std::span<const table_t> loadTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
