#include "records.h"

#include "values.h"

#include <PORTA_2_18/assert.h>

#include <utility>

namespace rowvault1 {
namespace {

tb2::variant_t fieldOf(const table_plan_t& plan, const row_values_t& values, std::uint16_t column)
{
    const int slot = plan.slotOf(column);
    if (slot < 0) return {};
    const auto place = static_cast<std::size_t>(slot);
    return getValue(values, plan.kinds[place], place);
}

/// Slot that was set, -1 when the table has no such column.
int setFieldOf(const table_plan_t& plan, row_values_t& values, std::uint16_t column,
               const tb2::variant_t& value)
{
    const int slot = plan.slotOf(column);
    PORTA_ASSERT_TEXT(slot >= 0, "isValidColumn( column )");
    if (slot < 0) return slot;
    const auto place = static_cast<std::size_t>(slot);
    const bool matches = setValue(values, plan.kinds[place], place, value);
    PORTA_ASSERT_TEXT(matches, "kindMatches( column )");
    return slot;
}

} // namespace

OrphanRecordImpl::OrphanRecordImpl(std::shared_ptr<Store> store, TableWriter& table)
    : m_store(std::move(store)), m_table(table), m_values(table.plan())
{
}

tb2::variant_t OrphanRecordImpl::getField(std::uint16_t column) const
{
    return fieldOf(m_table.plan(), m_values, column);
}

void OrphanRecordImpl::setField(std::uint16_t column, const tb2::variant_t& value)
{
    setFieldOf(m_table.plan(), m_values, column, value);
}

bool OrphanRecordImpl::commit(Index& out, int, int)
{
    const std::int64_t key = m_table.append(m_values);
    if (key < 0) return false;
    out = Index(static_cast<std::int32_t>(key));
    return true;
}

StoredRecordImpl::StoredRecordImpl(std::shared_ptr<Store> store, TableWriter& table, Index key)
    : m_store(std::move(store)), m_table(table), m_key(key), m_values(table.plan())
{
}

bool StoredRecordImpl::load()
{
    Statement& statement = m_table.selectRow;
    if (!statement) statement = m_store->connection().prepare(selectRowSql(m_table.table()));
    const StatementReset reset(statement);
    statement.bindInteger(1, m_key.value());
    if (!statement.step()) return false;
    const table_plan_t& plan = m_table.plan();
    for (std::size_t slot = 0; slot < plan.slots(); ++slot)
        setValue(m_values, plan.kinds[slot], slot,
                 readColumn(statement, static_cast<int>(slot), plan.kinds[slot]));
    return true;
}

tb2::variant_t StoredRecordImpl::getField(std::uint16_t column) const
{
    return fieldOf(m_table.plan(), m_values, column);
}

void StoredRecordImpl::setField(std::uint16_t column, const tb2::variant_t& value)
{
    const int slot = setFieldOf(m_table.plan(), m_values, column, value);
    if (slot >= 0) m_changed |= std::uint64_t{1} << slot;
}

void StoredRecordImpl::commit()
{
    if (m_changed == 0) return;
    m_store->settle();
    if (!m_store->beginChange()) return;
    try {
        m_store->ensureTransaction();
        writeChanges();
        m_changed = 0;
    } catch (const SqlError& error) {
        m_store->fail(error);
    }
}

void StoredRecordImpl::writeChanges()
{
    const schema::table_t& table = m_table.table();
    for (std::size_t slot = 0; slot < table.columns.size(); ++slot) {
        if ((m_changed >> slot & 1) == 0) continue;
        const schema::column_t& column = table.columns[slot];
        Statement update =
            m_store->connection().prepare("UPDATE main." + quoted(table.name) + " SET " +
                                          quoted(column.name) + " = ?2 WHERE id = ?1");
        update.bindInteger(1, m_key.value());
        bindValue(update, 2, m_values, column.kind, slot);
        update.run();
    }
}

} // namespace rowvault1
