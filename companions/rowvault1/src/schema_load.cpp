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

constexpr column_t g_bandBinding[] = {
    {0, "data_name", text, "", "Name of the band data, which is the name of its table."},
    {1, "attribute_table", text, "", "Table that the attributes of the bands are in."},
    {2, "owner_table", text, "", "Table whose rows own the bands; empty until the data is bound."},
};

constexpr table_t g_tables[] = {
    {"dd_load_info", table_kind_t::attribute, "Facts about the load, by name.", g_loadInfo},
    {"dd_quality", table_kind_t::attribute,
     "What was dropped, repaired or guessed during the load, counted by reason.", g_quality},
    {"band_binding", table_kind_t::attribute, "A row per band data.", g_bandBinding},
};

} // namespace

std::span<const table_t> loadTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
