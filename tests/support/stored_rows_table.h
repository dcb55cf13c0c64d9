#pragma once

#include "support/fake_table.h"

namespace samplefold_test {

/// A fake table whose rows can be read again; it counts the readings.
class StoredRowsTable : public FakeTable {
public:
    using FakeTable::FakeTable;

    tb2::sptr_t<rowvault1::IRecordInternal> getRecord(rowvault1::Index key) override
    {
        ++readings;
        const auto found = rows.find(key.value());
        if (found == rows.end()) return {};
        return tb2::make_counted<StoredRow>(found->second, key);
    }

    int readings = 0;

private:
    class StoredRow : public rowvault1::IRecordInternal {
    public:
        StoredRow(row_t row, rowvault1::Index key) : m_row(std::move(row)), m_key(key) {}

        tb2::variant_t getField(std::uint16_t column) const override
        {
            const auto found = m_row.find(column);
            return found != m_row.end() ? found->second : tb2::variant_t();
        }
        void setField(std::uint16_t column, const tb2::variant_t& value) override
        {
            m_row[column] = value;
        }
        void commit() override {}
        rowvault1::Index key() const override { return m_key; }

    private:
        row_t m_row;
        rowvault1::Index m_key;
    };
};

} // namespace samplefold_test
