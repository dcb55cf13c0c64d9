#include <rowvault1/schema.h>

#include "schema_parts.h"

#include <algorithm>
#include <vector>

namespace rowvault1::schema {
namespace {

std::vector<table_t> collectTables()
{
    std::vector<table_t> all;
    for (const std::span<const table_t> part :
         {sampleTables(), branchTables(), codeTables(), moduleTables(), processTables(),
          platformTables(), topologyTables(), loadTables()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::vector<view_t> collectViews()
{
    std::vector<view_t> all;
    for (const std::span<const view_t> part : {readableViews(), branchViews()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

} // namespace

std::span<const table_t> tables()
{
    static const std::vector<table_t> all = collectTables();
    return all;
}

std::span<const view_t> views()
{
    static const std::vector<view_t> all = collectViews();
    return all;
}

const table_t* findTable(std::string_view name)
{
    const std::span<const table_t> all = tables();
    const auto found = std::ranges::find(all, name, &table_t::name);
    return found == all.end() ? nullptr : &*found;
}

const column_t* findColumn(const table_t& table, std::string_view name)
{
    const auto found = std::ranges::find(table.columns, name, &column_t::name);
    return found == table.columns.end() ? nullptr : &*found;
}

const column_t* findColumn(const table_t& table, std::uint16_t position)
{
    const auto found = std::ranges::find(table.columns, position, &column_t::position);
    return found == table.columns.end() ? nullptr : &*found;
}

} // namespace rowvault1::schema
