#pragma once

#include "database_impl.h"
#include "store.h"

#include <rowvault1/result.h>

#include <memory>

namespace rowvault1 {

class ResultImpl : public IResult {
public:
    explicit ResultImpl(std::shared_ptr<Store> store);
    tb2::sptr_t<IDatabase> database() override { return m_database; }
    tb2::sptr_t<IPerfDatabase> perfDatabase() override { return m_perfDatabase; }
    tb2::sptr_t<IInstanceDataContainer> instanceContainer() override { return m_instances; }
    tb2::sptr_t<IGenericBandTable<aggregated_band_obj_t>> sampleBandTable() override
    {
        return m_sampleBands;
    }
    void setInfo(std::string_view key, std::string_view value) override;
    std::string info(std::string_view key) override { return m_store->info(key); }
    void commitPoint() override { m_store->commitPoint(); }
    void drain() override;
    void finish() override { m_store->finish(); }
    std::string failure() const override { return m_store->failure(); }
    std::string databasePath() const override { return m_store->path(); }
    void readSql(std::string_view sql, ISqlReader& reader) override;

private:
    std::shared_ptr<Store> m_store;
    tb2::sptr_t<IDatabase> m_database;
    tb2::sptr_t<IPerfDatabase> m_perfDatabase;
    tb2::sptr_t<IInstanceDataContainer> m_instances;
    tb2::sptr_t<IGenericBandTable<aggregated_band_obj_t>> m_sampleBands;
};

} // namespace rowvault1
