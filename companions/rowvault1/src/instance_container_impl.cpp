#include "instance_container_impl.h"

#include "instance_slots.h"
#include "instance_walk.h"

#include <PORTA_2_18/assert.h>

#include <utility>

namespace rowvault1 {
namespace {

bool isColumn(std::uint16_t column, std::size_t columns)
{
    PORTA_ASSERT_TEXT(column < columns, "isValidColumn( column )");
    return column < columns;
}

} // namespace

InstanceContainerImpl::InstanceContainerImpl(std::shared_ptr<Store> store)
    : m_store(std::move(store)), m_table(*m_store->table("sample_instance"))
{
}

tb2::sptr_t<IOrphanInstanceDataRecord> InstanceContainerImpl::createOrphanInstanceRecord()
{
    if (m_store->hasFailed()) return {};
    return tb2::make_counted<OrphanInstanceRecordImpl>(m_store, m_table);
}

void InstanceContainerImpl::read(std::uint64_t first, std::uint64_t last, IInstanceReader& reader)
{
    if (first > last) return;
    InstanceWalk walk(*m_store, m_table.table());
    // SQLite orders times as signed numbers, so that the upper half of the unsigned range is a walk
    // of its own, behind the lower half.
    if (first < firstUpperTime && !walk.run(first, std::min(last, firstUpperTime - 1), reader))
        return;
    if (last >= firstUpperTime) walk.run(std::max(first, firstUpperTime), last, reader);
}

std::uint64_t InstanceContainerImpl::size()
{
    if (!m_store->hasFailed()) return static_cast<std::uint64_t>(m_table.lastKey());
    m_store->settle();
    try {
        return static_cast<std::uint64_t>(
            m_store->connection().integer("SELECT count(*) FROM main.sample_instance", 0));
    } catch (const SqlError&) {
        return 0;
    }
}

OrphanInstanceRecordImpl::OrphanInstanceRecordImpl(std::shared_ptr<Store> store, TableWriter& table)
    : m_store(std::move(store)), m_table(table), m_values(table.plan())
{
}

void OrphanInstanceRecordImpl::setKey(std::uint16_t column, std::int32_t key)
{
    if (!isColumn(column, instanceKeyColumns)) return;
    m_values.setInteger(firstKeySlot + column, static_cast<std::uint64_t>(std::int64_t{key}));
}

void OrphanInstanceRecordImpl::setInteger(std::uint16_t column, std::uint64_t value)
{
    if (isColumn(column, instanceIntegerColumns))
        m_values.setInteger(firstIntegerSlot + column, value);
}

void OrphanInstanceRecordImpl::setDouble(std::uint16_t column, double value)
{
    if (isColumn(column, instanceDoubleColumns)) m_values.setReal(firstDoubleSlot + column, value);
}

bool OrphanInstanceRecordImpl::insert(std::uint64_t timestamp)
{
    m_values.setInteger(timestampSlot, timestamp);
    return m_table.append(m_values) >= 0;
}

} // namespace rowvault1
