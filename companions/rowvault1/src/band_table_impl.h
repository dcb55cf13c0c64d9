#pragma once

#include "store.h"

#include <rowvault1/band_table.h>

#include <memory>

namespace rowvault1 {

/// Writes the rows of a band table. The columns stand in the order of the schema: owner, attribute
/// table, start, end, reserved, count, attribute, and then the custom columns.
class BandWriter {
public:
    BandWriter(std::shared_ptr<Store> store, TableWriter& table);

    void begin(const band_timeline_key_t& key, std::uint64_t start, std::uint64_t end,
               const std::vector<tb2::variant_t>* custom);
    /// Key of the row, -1 on failure.
    Index add(const aggregated_data_t& data);
    std::uint16_t customColumn(const char* name) const;

private:
    void setCustom(const std::vector<tb2::variant_t>& custom);

    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
    row_values_t m_values;
};

class MetaDataImpl : public IMetaData {
public:
    explicit MetaDataImpl(Index key) : m_key(key) {}
    Index rowKey() const override { return m_key; }

private:
    Index m_key;
};

class AggregatedBandTable : public IGenericBandTable<aggregated_band_obj_t> {
public:
    AggregatedBandTable(std::shared_ptr<Store> store, TableWriter& table)
        : m_writer(std::move(store), table)
    {
    }
    bool add(const band_timeline_key_t& key, const aggregated_band_obj_t& band,
             tb2::sptr_t<IMetaData>& meta, const std::vector<tb2::variant_t>* custom) override;
    std::uint16_t customColumn(const char* name) const override
    {
        return m_writer.customColumn(name);
    }

private:
    BandWriter m_writer;
};

class SingleBandTable : public IGenericBandTable<single_band_obj_t> {
public:
    SingleBandTable(std::shared_ptr<Store> store, TableWriter& table)
        : m_writer(std::move(store), table)
    {
    }
    bool add(const band_timeline_key_t& key, const single_band_obj_t& band,
             tb2::sptr_t<IMetaData>& meta, const std::vector<tb2::variant_t>* custom) override;
    std::uint16_t customColumn(const char* name) const override
    {
        return m_writer.customColumn(name);
    }

private:
    BandWriter m_writer;
};

} // namespace rowvault1
