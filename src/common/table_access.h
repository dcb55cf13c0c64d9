#pragma once

#include <rowvault1/database.h>

#include <cstdint>
#include <string>

// What readers and writers of attribute tables do with a table. A handle may be null: reading gives
// no rows, writing fires the record's own assertion.
namespace samplefold_1::tables {

using table_t = tb2::sptr_t<rowvault1::IAttributeTable>;

inline table_t open(const tb2::sptr_t<rowvault1::IDatabase>& db, const char* name)
{
    return db ? db->getAttributeTable(name) : table_t();
}

inline rowvault1::OrphanRecord newRow(const table_t& table)
{
    return table ? table->createOrphanRecord() : rowvault1::OrphanRecord();
}

/// Key of the new row, -1 when the store did not take it.
inline rowvault1::Index commit(const rowvault1::OrphanRecord& row)
{
    rowvault1::Index key;
    row.commit(key, 0, 0);
    return key;
}

inline tb2::sptr_t<rowvault1::IRecordInternal> row(const table_t& table, rowvault1::Index key)
{
    return table ? table->getRecord(key) : tb2::sptr_t<rowvault1::IRecordInternal>();
}

/// Calls `visit` with every row key, also of rows that it adds itself.
template <class Visit>
void forEachRow(const table_t& table, Visit visit)
{
    const auto rows = table ? table->enumerateRows() : tb2::sptr_t<rowvault1::IRowKeyIterator>();
    if (!rows) return;
    for (; !rows->atEnd(); rows->next())
        visit(rows->current());
}

/// A key as the topology tables hold it: -1, and not null, when it does not exist.
inline tb2::variant_t keyValue(rowvault1::Index key)
{
    return tb2::variant_t(key.value());
}

/// True for integers of up to 32 bits.
inline bool isSmallNumber(const tb2::variant_t& value)
{
    return value.is_s32_readable() || value.kind() == tb2::variant_t::kind_t::u16;
}

/// Such an integer; -1 for any other kind of value.
inline std::int32_t smallNumber(const tb2::variant_t& value)
{
    return isSmallNumber(value) ? static_cast<std::int32_t>(value.integer_bits()) : -1;
}

/// "IOU3": what an IO unit without devices is called.
inline std::string ioUnitName(std::int32_t ioUnit)
{
    return "IOU" + std::to_string(ioUnit);
}

} // namespace samplefold_1::tables
