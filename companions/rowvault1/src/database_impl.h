#pragma once

#include "store.h"

#include <rowvault1/database.h>

#include <map>
#include <memory>
#include <string>

namespace rowvault1 {

class DatabaseImpl : public IDatabase {
public:
    explicit DatabaseImpl(std::shared_ptr<Store> store) : m_store(std::move(store)) {}
    tb2::sptr_t<IAttributeTable> getAttributeTable(const char* name) override;
    tb2::sptr_t<IGenericBandTable<single_band_obj_t>>
    createBandTable(const char* dataName, const char* attributeTable, const char* suffix) override;
    tb2::sptr_t<IQuery> createQuery(const char* table, int kind) override;
    const std::shared_ptr<Store>& store() const noexcept { return m_store; }

private:
    std::shared_ptr<Store> m_store;
    std::map<std::string, tb2::sptr_t<IAttributeTable>, std::less<>>
        m_tables; ///< handed out before
};

class InstanceTableDefImpl : public IGrouperInstanceTableDef {
public:
    explicit InstanceTableDefImpl(std::string dataName) : m_dataName(std::move(dataName)) {}
    const char* dataName() const override { return m_dataName.c_str(); }

private:
    std::string m_dataName;
};

class PerfDatabaseImpl : public IPerfDatabase {
public:
    explicit PerfDatabaseImpl(std::shared_ptr<Store> store) : m_store(std::move(store)) {}
    tb2::sptr_t<IGrouperInstanceTableDef> getInstanceTableDef(const char* dataName,
                                                              int kind) override;
    void bindInstanceTable(const tb2::sptr_t<IGrouperInstanceTableDef>& definition,
                           const char* ownerTable, int flags, const char* ownerName,
                           const char* filter, const char* suffix) override;
    tb2::sptr_t<IContextManager> getContextManager() override;

private:
    std::shared_ptr<Store> m_store;
};

} // namespace rowvault1
