#include "schema_parts.h"

// Tables of the platform: hardware feedback, packages, uncore events.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_feedback[] = {
    {0, "class", s32, "dd_hw_feedback_coretier_class", "Performance class that was reported."},
    {1, "value", s32, "", "Value that came with the first report of the CPU."},
};

constexpr column_t g_feedbackClass[] = {
    {0, "name", text, "", "Name of the class; Invalid when the report held none."},
};

constexpr column_t g_feedbackBand[] = {
    {0, "owner", s32, "dd_thread", "Thread on whose timeline the band lies."},
    {1, "attribute_table", text, "", "Name of the table that the column attribute points into."},
    {2, "start_tsc", u64, "", "First tick, included."},
    {3, "end_tsc", u64, "", "Last tick, included."},
    {4, "reserved", u64, "", "Written as 0."},
    {5, "count", u64, "", "Written as 1."},
    {6, "attribute", s32, "dd_hw_feedback", "Feedback that held during the band."},
};

constexpr column_t g_package[] = {
    {0, "name", text, "", "Name of the package; ends in an underscore and its number."},
};

constexpr column_t g_uncoreEventType[] = {
    {0, "name", text, "", "Name of the event, with its unit in brackets."},
};

constexpr table_t g_tables[] = {
    {"dd_hw_feedback", table_kind_t::attribute, "A row per reported hardware feedback.",
     g_feedback},
    {"dd_hw_feedback_coretier_class", table_kind_t::attribute,
     "A row per reported performance class.", g_feedbackClass},
    {"hw_feedback_data", table_kind_t::band,
     "Bands of one hardware feedback each on the timelines of threads.", g_feedbackBand},
    {"dd_package", table_kind_t::attribute, "A row per processor package.", g_package},
    {"dd_uncore_event_type", table_kind_t::attribute, "A row per uncore event.", g_uncoreEventType},
};

} // namespace

std::span<const table_t> platformTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
