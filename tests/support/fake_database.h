#pragma once

#include "support/fake_query.h"
#include "support/fake_table.h"

#include <rowvault1/database.h>

namespace samplefold_test {

/// A result in memory. Every table name that is asked for gets a table, unless it is in
/// `missingTables`.
class FakeDatabase : public rowvault1::IDatabase {
public:
    explicit FakeDatabase(log_ptr_t log) : m_log(std::move(log)) {}

    tb2::sptr_t<rowvault1::IAttributeTable> getAttributeTable(const char* name) override
    {
        m_log->add("db.getAttributeTable " + std::string(name));
        if (missingTables.contains(name)) return {};
        return tablePointer(name);
    }

    tb2::sptr_t<rowvault1::IGenericBandTable<rowvault1::single_band_obj_t>>
    createBandTable(const char* dataName, const char* attributeTable, const char* suffix) override
    {
        m_log->add("db.createBandTable " + std::string(dataName) + " " + attributeTable + " '" +
                   suffix + "'");
        return singleBands;
    }

    tb2::sptr_t<rowvault1::IQuery> createQuery(const char* table, int kind) override
    {
        m_log->add("db.createQuery " + std::string(table) + " " + std::to_string(kind));
        return query;
    }

    FakeTable& table(const std::string& name) { return *tablePointer(name); }

    std::set<std::string> missingTables;
    tb2::sptr_t<FakeQuery> query; ///< what createQuery gives
    /// What createBandTable gives.
    tb2::sptr_t<rowvault1::IGenericBandTable<rowvault1::single_band_obj_t>> singleBands;

private:
    tb2::sptr_t<FakeTable> tablePointer(const std::string& name)
    {
        tb2::sptr_t<FakeTable>& table = m_tables[name];
        if (!table) table = tb2::make_counted<FakeTable>(name, m_log);
        return table;
    }

    log_ptr_t m_log;
    std::map<std::string, tb2::sptr_t<FakeTable>> m_tables;
};

} // namespace samplefold_test
