#pragma once

#include <rowvault1/export.h>
#include <toolbelt2/variant.h>

#include <cstdint>
#include <span>
#include <string_view>

// The schema registry: every table of a result as data. The SQL tables, the reference pages and the
// readable views come from here; a column position means the same thing for ever.
namespace rowvault1::schema {

/// Kind of the values of a column: what a read gives back, and how the column is declared in SQL.
enum class kind_t : std::uint8_t { s32, u16, u32, s64, u64, real, text };

struct column_t {
    std::uint16_t position;
    std::string_view name;
    kind_t kind;
    std::string_view reference; ///< table whose row keys the column holds; empty when it holds none
    std::string_view sentence;
};

enum class table_kind_t : std::uint8_t { attribute, instance, band, bucket };

struct table_t {
    std::string_view name;
    table_kind_t kind;
    std::string_view sentence;
    std::span<const column_t> columns; ///< ascending by position; positions may be left out
    std::string_view index{}; ///< columns of the table's index, by commas; empty when it has none
};

struct view_t {
    std::string_view name;
    std::string_view sentence;
    std::string_view select; ///< the SELECT statement behind it
    std::span<const column_t> columns;
};

/// All tables, all views, in the order of the documentation. Live as long as the program. Any
/// thread.
ROWVAULT1_API std::span<const table_t> tables();
ROWVAULT1_API std::span<const view_t> views();

/// The table of that name, null when there is none.
ROWVAULT1_API const table_t* findTable(std::string_view name);
/// The column of that name or position, null when the table has none.
ROWVAULT1_API const column_t* findColumn(const table_t& table, std::string_view name);
ROWVAULT1_API const column_t* findColumn(const table_t& table, std::uint16_t position);

/// Number that is raised when tables or views change in a way that a reader must know of.
inline constexpr int version = 5;

} // namespace rowvault1::schema
