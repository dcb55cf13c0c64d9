#pragma once

#include "support/call_log.h"

#include <rowvault1/band_table.h>
#include <rowvault1/instance_container.h>

#include <optional>
#include <set>

namespace samplefold_test {

/// A container in memory, which keeps its rows in the order of their insertion.
class FakeContainer : public rowvault1::IInstanceDataContainer {
public:
    explicit FakeContainer(log_ptr_t log) : m_log(std::move(log)) {}

    tb2::sptr_t<rowvault1::IOrphanInstanceDataRecord> createOrphanInstanceRecord() override
    {
        const bool null = nullRecords.contains(++m_records);
        m_log->add(null ? "container.createRecord null" : "container.createRecord");
        if (null) return {};
        return tb2::make_counted<Record>(*this);
    }
    void read(std::uint64_t, std::uint64_t, rowvault1::IInstanceReader&) override {}
    std::uint64_t size() override { return rows.size(); }

    std::vector<rowvault1::instance_row_t> rows;
    std::set<std::size_t> nullRecords;    ///< which records are null, counted from 1
    std::set<std::size_t> refusedInserts; ///< which inserts give false, counted from 1

private:
    class Record : public rowvault1::IOrphanInstanceDataRecord {
    public:
        explicit Record(FakeContainer& container) : m_container(&container) {}

        void setKey(std::uint16_t column, std::int32_t key) override
        {
            note("key", column, std::to_string(key));
            m_row.keys[column] = key;
        }
        void setInteger(std::uint16_t column, std::uint64_t value) override
        {
            note("integer", column, std::to_string(value));
            m_row.integers[column] = value;
        }
        void setDouble(std::uint16_t column, double value) override
        {
            note("double", column, std::to_string(value));
            m_row.doubles[column] = value;
        }
        bool insert(std::uint64_t timestamp) override
        {
            const bool taken = !m_container->refusedInserts.contains(++m_container->m_inserts);
            m_container->m_log->add("row.insert " + std::to_string(timestamp) +
                                    (taken ? "" : " refused"));
            m_row.timestamp = timestamp;
            if (taken) m_container->rows.push_back(m_row);
            return taken;
        }

    private:
        void note(const char* kind, std::uint16_t column, const std::string& value)
        {
            m_container->m_log->add("row." + std::string(kind) + " " + std::to_string(column) +
                                    "=" + value);
        }

        FakeContainer* m_container;
        rowvault1::instance_row_t m_row;
    };

    log_ptr_t m_log;
    std::size_t m_records = 0;
    std::size_t m_inserts = 0;
};

/// One band that a FakeBandTable received.
struct band_call_t {
    rowvault1::band_timeline_key_t key;
    rowvault1::aggregated_band_obj_t band;
    std::optional<std::vector<tb2::variant_t>> custom; ///< empty for a null vector pointer
};

class FakeBandTable : public rowvault1::IGenericBandTable<rowvault1::aggregated_band_obj_t> {
public:
    explicit FakeBandTable(log_ptr_t log) : m_log(std::move(log)) {}

    bool add(const rowvault1::band_timeline_key_t& key,
             const rowvault1::aggregated_band_obj_t& band, tb2::sptr_t<rowvault1::IMetaData>&,
             const std::vector<tb2::variant_t>* custom) override
    {
        m_log->add("band.add " + std::to_string(band.start) + " " + std::to_string(band.end));
        bands.push_back({key, band, {}});
        if (custom != nullptr) bands.back().custom = *custom;
        return !refusing;
    }
    std::uint16_t customColumn(const char*) const override { return rowvault1::InvalidColIdx; }

    std::vector<band_call_t> bands;
    bool refusing = false; ///< every band is noted and gives false

private:
    log_ptr_t m_log;
};

} // namespace samplefold_test
