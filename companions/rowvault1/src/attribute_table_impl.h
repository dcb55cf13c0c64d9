#pragma once

#include "store.h"

#include <rowvault1/attribute_table.h>

#include <memory>
#include <vector>

namespace rowvault1 {

class AttributeTableImpl : public IAttributeTable {
public:
    AttributeTableImpl(std::shared_ptr<Store> store, TableWriter& table);
    OrphanRecord createOrphanRecord() override;
    tb2::sptr_t<IRecordInternal> getRecord(Index key) override;
    tb2::sptr_t<IRowKeyIterator> enumerateRows() override;
    const char* name() const override { return m_table.table().name.data(); }
    std::uint64_t size() override;

private:
    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
    std::int64_t m_countedRows = 0; ///< rows with keys up to m_countedKey
    std::int64_t m_countedKey = 0;
};

/// Walks keys by pages, so that no statement stays open between two steps and rows may change
/// meanwhile.
class RowKeyIteratorImpl : public IRowKeyIterator {
public:
    RowKeyIteratorImpl(std::shared_ptr<Store> store, TableWriter& table);
    bool atEnd() const override { return !fill(); }
    Index current() const override;
    void next() override;

private:
    bool fill() const;
    void readPage() const;

    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
    mutable std::vector<std::int32_t> m_page;
    mutable std::size_t m_place = 0;
    mutable std::int64_t m_lastKey = 0; ///< last key read into a page
};

} // namespace rowvault1
