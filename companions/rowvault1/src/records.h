#pragma once

#include "store.h"

#include <rowvault1/record.h>

#include <memory>

// Records of attribute tables. Each keeps its store alive.
namespace rowvault1 {

class OrphanRecordImpl : public IOrphanRecordInternal {
public:
    OrphanRecordImpl(std::shared_ptr<Store> store, TableWriter& table);
    tb2::variant_t getField(std::uint16_t column) const override;
    void setField(std::uint16_t column, const tb2::variant_t& value) override;
    bool commit(Index& out, int a, int b) override;

private:
    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
    row_values_t m_values;
};

class StoredRecordImpl : public IRecordInternal {
public:
    StoredRecordImpl(std::shared_ptr<Store> store, TableWriter& table, Index key);
    /// Reads the row; false when there is none. Throws SqlError.
    bool load();
    tb2::variant_t getField(std::uint16_t column) const override;
    void setField(std::uint16_t column, const tb2::variant_t& value) override;
    void commit() override;
    Index key() const override { return m_key; }

private:
    void writeChanges();

    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
    Index m_key;
    row_values_t m_values;
    std::uint64_t m_changed = 0; ///< bit per slot
};

} // namespace rowvault1
