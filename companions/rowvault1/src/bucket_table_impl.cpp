#include "bucket_table_impl.h"

#include "bucket_table_keys.h"
#include "bucket_table_rows.h"
#include "database_impl.h"
#include "result_file.h"
#include "store_change.h"
#include "values.h"

#include <PORTA_2_18/assert.h>

#include <algorithm>
#include <utility>

namespace rowvault1 {

BucketTableImpl::BucketTableImpl(std::shared_ptr<Store> store, TableWriter& table,
                                 std::size_t fields)
    : m_store(std::move(store)), m_table(table), m_fields(fields), m_plan(&table.plan()),
      m_values(*m_plan)
{
}

void BucketTableImpl::setSortCriterion(std::uint16_t column, int)
{
    PORTA_ASSERT_TEXT(column < m_fields, "isValidColumn( column )");
    if (column < m_fields) m_sortSlot = column;
}

bool BucketTableImpl::insert(std::int32_t bucket, std::span<const tb2::variant_t> values,
                             std::span<const tb2::variant_t> custom)
{
    if (m_plan != &m_table.plan()) {
        m_plan = &m_table.plan();
        m_values = row_values_t(*m_plan);
    }
    setColumns(0, m_fields, values);
    m_values.setInteger(bucketSlot(), static_cast<std::uint64_t>(std::int64_t{bucket}));
    setColumns(firstCustomSlot(), m_plan->slots(), custom);
    return m_table.append(m_values) >= 0;
}

void BucketTableImpl::setColumns(std::size_t firstSlot, std::size_t endSlot,
                                 std::span<const tb2::variant_t> values)
{
    for (std::size_t slot = firstSlot; slot < endSlot; ++slot)
        m_values.setNull(slot);
    for (std::size_t n = 0; n < values.size(); ++n) {
        if (values[n].is_null()) continue;
        const std::size_t slot = firstSlot + n;
        PORTA_ASSERT_TEXT(slot < endSlot, "isValidColumn( column )");
        if (slot >= endSlot) continue;
        const bool matches = setValue(m_values, m_plan->kinds[slot], slot, values[n]);
        PORTA_ASSERT_TEXT(matches, "kindMatches( column )");
    }
}

tb2::sptr_t<IBucketRows> BucketTableImpl::rows(std::int32_t bucket)
{
    m_store->settle();
    if (m_store->hasFailed()) return {};
    try {
        bucket_walk_t walk{bucket, m_table.lastKey(), bucketSlot(), {}};
        if (isSorted()) walk.sortSlot = m_sortSlot;
        return tb2::make_counted<BucketRowsImpl>(m_store, m_table.table(), walk);
    } catch (const SqlError&) {
        return {};
    }
}

tb2::sptr_t<IBucketKeys> BucketTableImpl::keys()
{
    m_store->settle();
    if (m_store->hasFailed()) return {};
    try {
        return tb2::make_counted<BucketKeysImpl>(m_store, m_table.table(), m_table.lastKey());
    } catch (const SqlError&) {
        return {};
    }
}

bool BucketTableImpl::isSorted()
{
    return hasDefinition(m_store->connection(), "index", orderName(m_table.table()),
                         createOrderSql(m_table.table(), m_sortSlot));
}

bool BucketTableImpl::sort()
{
    return changeNow(*m_store, [&] {
        if (isSorted()) return;
        m_store->connection().execute("DROP INDEX IF EXISTS main." +
                                      quoted(orderName(m_table.table())));
        m_store->connection().execute(createOrderSql(m_table.table(), m_sortSlot));
    });
}

bool BucketTableImpl::clear()
{
    return changeNow(*m_store, [&] {
        m_store->connection().execute("DELETE FROM main." + quoted(m_table.table().name));
    });
}

std::uint64_t BucketTableImpl::size()
{
    return count("");
}

std::uint64_t BucketTableImpl::size(std::int32_t bucket)
{
    return count(" WHERE " + quoted(bucketColumn) + " = " + std::to_string(bucket));
}

std::uint64_t BucketTableImpl::count(const std::string& condition)
{
    m_store->settle();
    try {
        const std::string sql = "SELECT count(*) FROM main." + quoted(m_table.table().name);
        return static_cast<std::uint64_t>(m_store->connection().integer(sql + condition, 0));
    } catch (const SqlError&) {
        return 0;
    }
}

std::uint16_t BucketTableImpl::addCustomField(const field_info_t& field)
{
    const bool isPlain = field.text == nullptr || *field.text == '\0';
    PORTA_ASSERT_TEXT(isPlain, "Won't be implemented");
    const auto kind = kindOfFieldType(field.type);
    if (!isPlain || field.name == nullptr || !kind) return InvalidColIdx;
    const std::span<const schema::column_t> columns = m_table.table().columns;
    const auto custom = columns.subspan(firstCustomSlot());
    const auto known =
        std::ranges::find(custom, std::string_view(field.name), &schema::column_t::name);
    const auto distance = static_cast<std::uint16_t>(known - custom.begin());
    if (known != custom.end()) return known->kind == *kind ? distance : InvalidColIdx;
    if (columns.size() >= maxBucketColumns || !isFreeColumnName(field.name, columns))
        return InvalidColIdx;
    return m_store->addBucketColumn(m_table, {field.name, *kind}) ? distance : InvalidColIdx;
}

tb2::sptr_t<IBucketTable> openBucketTable(IDatabase& database, const char* name,
                                          std::span<const field_info_t> fields)
{
    const auto* const ours = dynamic_cast<const DatabaseImpl*>(&database);
    const std::vector<schema::column_t> columns = columnsOf(fields);
    if (ours == nullptr || name == nullptr || columns.empty()) return {};
    TableWriter* const table = ours->store()->makeBucketTable(name, columns);
    if (table == nullptr) return {};
    return tb2::make_counted<BucketTableImpl>(ours->store(), *table, fields.size());
}

} // namespace rowvault1
