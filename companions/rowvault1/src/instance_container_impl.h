#pragma once

#include "store.h"

#include <rowvault1/instance_container.h>

#include <memory>

namespace rowvault1 {

/// The store of sample instances over the table "sample_instance", which SQLite keeps in the order
/// of time and, within one time, of the row's number, so that no index has to be built.
class InstanceContainerImpl : public IInstanceDataContainer {
public:
    explicit InstanceContainerImpl(std::shared_ptr<Store> store);
    tb2::sptr_t<IOrphanInstanceDataRecord> createOrphanInstanceRecord() override;
    void read(std::uint64_t first, std::uint64_t last, IInstanceReader& reader) override;
    std::uint64_t size() override;

private:
    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
};

class OrphanInstanceRecordImpl : public IOrphanInstanceDataRecord {
public:
    OrphanInstanceRecordImpl(std::shared_ptr<Store> store, TableWriter& table);
    void setKey(std::uint16_t column, std::int32_t key) override;
    void setInteger(std::uint16_t column, std::uint64_t value) override;
    void setDouble(std::uint16_t column, double value) override;
    bool insert(std::uint64_t timestamp) override;

private:
    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
    row_values_t m_values;
};

} // namespace rowvault1
