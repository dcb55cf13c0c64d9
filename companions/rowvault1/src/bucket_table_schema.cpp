#include "bucket_table_schema.h"

#include "connection.h"
#include "row_source.h"
#include "table_plan.h"

#include <algorithm>

namespace rowvault1 {
namespace {

static_assert(maxBucketColumns < sourceColumns,
              "the row source has a column for each, and the key");

constexpr schema::kind_t g_customKinds[] = {schema::kind_t::s32, schema::kind_t::u64};

char lowered(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// SQL does not tell letters by their case.
bool sameName(std::string_view a, std::string_view b)
{
    return std::ranges::equal(a, b, {}, lowered, lowered);
}

/// The column whose definition is that text.
std::optional<custom_column_t> customColumn(std::string_view definition)
{
    const std::size_t end = definition.find('"', 1);
    if (!definition.starts_with('"') || end == definition.npos) return {};
    const std::string_view name = definition.substr(1, end - 1);
    if (!isPlainName(name)) return {};
    for (const schema::kind_t kind : g_customKinds)
        if (definition == customColumnSql(name, kind))
            return custom_column_t{std::string(name), kind};
    return {};
}

} // namespace

BucketSchema::BucketSchema(std::string_view name, std::string_view sentence,
                           std::span<const schema::column_t> columns)
    : m_columns(columns.begin(), columns.end())
{
    m_names.reserve(1 + columns.size());
    m_names.emplace_back(name);
    for (schema::column_t& column : m_columns)
        column.name = m_names.emplace_back(column.name);
    m_table = {m_names.front(), schema::table_kind_t::bucket, sentence, m_columns};
}

std::optional<schema::kind_t> kindOfFieldType(int type)
{
    if (type == fieldTypeS32) return schema::kind_t::s32;
    if (type == fieldTypeU64) return schema::kind_t::u64;
    return {};
}

std::vector<schema::column_t> columnsOf(std::span<const field_info_t> fields)
{
    std::vector<schema::column_t> columns;
    for (const field_info_t& field : fields) {
        const std::optional<schema::kind_t> kind = kindOfFieldType(field.type);
        if (field.number != columns.size() || field.name == nullptr || !kind ||
            !isFreeColumnName(field.name, columns))
            return {};
        columns.push_back({field.number, field.name, *kind, "", "Column of the row."});
    }
    if (columns.empty() || columns.size() >= maxBucketColumns) return {};
    columns.push_back({static_cast<std::uint16_t>(columns.size()), bucketColumn,
                       schema::kind_t::s32, "", "Bucket of the row."});
    return columns;
}

bool isFreeColumnName(std::string_view name, std::span<const schema::column_t> columns)
{
    const auto isTaken = [&](std::string_view taken) { return sameName(name, taken); };
    return isPlainName(name) && !isTaken("id") && !isTaken("rowid") && !isTaken(bucketColumn) &&
           std::ranges::none_of(columns, isTaken, &schema::column_t::name);
}

bool hasColumns(const schema::table_t& table, std::span<const schema::column_t> columns)
{
    const auto isSame = [](const schema::column_t& a, const schema::column_t& b) {
        return a.position == b.position && a.name == b.name && a.kind == b.kind;
    };
    return table.kind == schema::table_kind_t::bucket && columns.size() <= table.columns.size() &&
           std::ranges::equal(columns, table.columns.first(columns.size()), isSame);
}

BucketSchema widened(const schema::table_t& table, std::span<const custom_column_t> columns)
{
    std::vector<schema::column_t> all(table.columns.begin(), table.columns.end());
    for (const custom_column_t& column : columns)
        all.push_back({static_cast<std::uint16_t>(all.back().position + 1), column.name,
                       column.kind, "", "Custom column."});
    return BucketSchema(table.name, table.sentence, all);
}

std::string customColumnSql(std::string_view name, schema::kind_t kind)
{
    // Both are integers to SQLite, and the file tells which is meant.
    return quoted(name) + (kind == schema::kind_t::u64 ? " UNSIGNED BIG INT" : " INTEGER");
}

std::optional<std::vector<custom_column_t>> customColumnsOf(std::string_view definition,
                                                            const schema::table_t& model)
{
    constexpr std::string_view comma = ", ";
    const std::string plain = createTableSql(model);
    const std::string_view head = std::string_view(plain).substr(0, plain.size() - 1);
    if (!definition.starts_with(head) || !definition.ends_with(')')) return {};
    std::string_view rest = definition.substr(head.size(), definition.size() - head.size() - 1);
    std::vector<custom_column_t> columns;
    while (!rest.empty()) {
        if (!rest.starts_with(comma)) return {};
        rest.remove_prefix(comma.size());
        const std::size_t end = std::min(rest.find(comma), rest.size());
        std::optional<custom_column_t> column = customColumn(rest.substr(0, end));
        if (!column || model.columns.size() + columns.size() >= maxBucketColumns) return {};
        columns.push_back(std::move(*column));
        rest.remove_prefix(end);
    }
    return columns;
}

std::string orderName(const schema::table_t& table)
{
    return std::string(table.name) + "_order";
}

std::string createOrderSql(const schema::table_t& table, std::size_t slot)
{
    return "CREATE INDEX " + quoted(orderName(table)) + " ON " + quoted(table.name) + "(" +
           quoted(bucketColumn) + ", " + quoted(table.columns[slot].name) + ")";
}

} // namespace rowvault1
