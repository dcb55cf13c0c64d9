#pragma once

#include <rowvault1/database.h>
#include <rowvault1/instance_container.h>

#include <chrono>
#include <cstdint>

// A store that keeps nothing: tables hand out keys, the container counts. What is left of a load's
// time is the library's own.
namespace samplefold_bench {

using clock_t = std::chrono::steady_clock;

class CountingTable : public rowvault1::IAttributeTable {
public:
    rowvault1::OrphanRecord createOrphanRecord() override
    {
        return rowvault1::OrphanRecord(tb2::make_counted<Record>(*this));
    }
    tb2::sptr_t<rowvault1::IRecordInternal> getRecord(rowvault1::Index) override { return {}; }
    tb2::sptr_t<rowvault1::IRowKeyIterator> enumerateRows() override { return {}; }
    const char* name() const override { return "counting"; }
    std::uint64_t size() override { return static_cast<std::uint64_t>(m_rows); }

private:
    class Record : public rowvault1::IOrphanRecordInternal {
    public:
        explicit Record(CountingTable& table) : m_table(&table) {}
        tb2::variant_t getField(std::uint16_t) const override { return {}; }
        void setField(std::uint16_t, const tb2::variant_t&) override {}
        bool commit(rowvault1::Index& out, int, int) override
        {
            out = rowvault1::Index(++m_table->m_rows);
            return true;
        }

    private:
        CountingTable* m_table;
    };

    std::int32_t m_rows = 0;
};

/// Gives one table for every name, and a query over no rows.
class CountingDatabase : public rowvault1::IDatabase {
public:
    tb2::sptr_t<rowvault1::IAttributeTable> getAttributeTable(const char*) override
    {
        return m_table;
    }
    tb2::sptr_t<rowvault1::IGenericBandTable<rowvault1::single_band_obj_t>>
    createBandTable(const char*, const char*, const char*) override
    {
        return {};
    }
    tb2::sptr_t<rowvault1::IQuery> createQuery(const char*, int) override
    {
        return tb2::make_counted<NoRows>();
    }

private:
    class NoRows : public rowvault1::IQuery {
    public:
        std::uint16_t addColumn(const char*, int, const tb2::generic_iterator_t<const char*>&, int,
                                int, const char*) override
        {
            return 0;
        }
        tb2::sptr_t<rowvault1::IGenericRecordset> execute(int, const char*, const char*) override
        {
            return {};
        }
    };

    tb2::sptr_t<CountingTable> m_table = tb2::make_counted<CountingTable>();
};

/// Counts the rows, and remembers when its last record was made: that is where a flush goes over
/// from its buckets to its samples.
class CountingContainer : public rowvault1::IInstanceDataContainer {
public:
    tb2::sptr_t<rowvault1::IOrphanInstanceDataRecord> createOrphanInstanceRecord() override
    {
        recordMade = clock_t::now();
        return tb2::make_counted<Record>(*this);
    }
    void read(std::uint64_t, std::uint64_t, rowvault1::IInstanceReader&) override {}
    std::uint64_t size() override { return rows; }

    std::uint64_t rows = 0;
    std::uint64_t checksum = 0; ///< of what was written, so that no write can be left out
    clock_t::time_point recordMade;

private:
    class Record : public rowvault1::IOrphanInstanceDataRecord {
    public:
        explicit Record(CountingContainer& container) : m_container(&container) {}
        void setKey(std::uint16_t column, std::int32_t key) override { m_keys[column] = key; }
        void setInteger(std::uint16_t column, std::uint64_t value) override
        {
            m_integers[column] = value;
        }
        void setDouble(std::uint16_t column, double value) override { m_doubles[column] = value; }
        bool insert(std::uint64_t timestamp) override
        {
            ++m_container->rows;
            m_container->checksum +=
                timestamp + static_cast<std::uint64_t>(m_keys[0]) + m_integers[1];
            return true;
        }

    private:
        CountingContainer* m_container;
        std::int32_t m_keys[rowvault1::instanceKeyColumns]{};
        std::uint64_t m_integers[rowvault1::instanceIntegerColumns]{};
        double m_doubles[rowvault1::instanceDoubleColumns]{};
    };
};

} // namespace samplefold_bench
