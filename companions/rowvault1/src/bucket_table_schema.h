#pragma once

#include <rowvault1/bucket_table.h>
#include <rowvault1/schema.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Definitions of bucket tables that the registry does not have as they are: made on request, or
// with custom columns behind "bucket".
namespace rowvault1 {

/// Columns that a table may have in all, so that its rows reach the database.
inline constexpr std::size_t maxBucketColumns = 40;
inline constexpr std::string_view bucketColumn = "bucket";

/// A column that was added to a table, as its definition in the file tells.
struct custom_column_t {
    std::string name;
    schema::kind_t kind;
};

/// A table's schema with the texts in it. Moving keeps them where they are; the schema itself moves
/// with the object.
class BucketSchema {
public:
    BucketSchema(std::string_view name, std::string_view sentence,
                 std::span<const schema::column_t> columns);
    BucketSchema(BucketSchema&&) = default;
    BucketSchema(const BucketSchema&) = delete;

    const schema::table_t& table() const noexcept { return m_table; }

private:
    std::vector<std::string> m_names; ///< of the table, then of its columns
    std::vector<schema::column_t> m_columns;
    schema::table_t m_table;
};

/// Kind of a column of that type code; empty for a code that is not known.
std::optional<schema::kind_t> kindOfFieldType(int type);

/// The columns of a table with those fields, "bucket" included, whose names are the fields' own;
/// empty when they cannot be columns of one.
std::vector<schema::column_t> columnsOf(std::span<const field_info_t> fields);
/// True for a name that a column can have beside those.
bool isFreeColumnName(std::string_view name, std::span<const schema::column_t> columns);

/// True when the table is a bucket table that begins with those columns.
bool hasColumns(const schema::table_t& table, std::span<const schema::column_t> columns);
/// The table with columns added at its end.
BucketSchema widened(const schema::table_t& table, std::span<const custom_column_t> columns);

/// The definition of an added column; its type tells the kind.
std::string customColumnSql(std::string_view name, schema::kind_t kind);
/// The custom columns that a definition in a file has beyond those of `model`; nothing when it is
/// no definition of such a table.
std::optional<std::vector<custom_column_t>> customColumnsOf(std::string_view definition,
                                                            const schema::table_t& model);

/// The index that keeps the rows of each bucket in the order of a column.
std::string orderName(const schema::table_t& table);
std::string createOrderSql(const schema::table_t& table, std::size_t slot);

} // namespace rowvault1
