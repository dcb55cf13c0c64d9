#pragma once

#include "support/call_log.h"

#include <rowvault1/attribute_table.h>

#include <map>
#include <set>

namespace samplefold_test {

using row_t = std::map<std::uint16_t, tb2::variant_t>;

/// An attribute table in memory. Rows get the keys 1, 2, 3 and so on, or from `firstKey` on.
class FakeTable : public rowvault1::IAttributeTable {
public:
    FakeTable(std::string name, log_ptr_t log) : m_name(std::move(name)), m_log(std::move(log)) {}

    rowvault1::OrphanRecord createOrphanRecord() override;
    tb2::sptr_t<rowvault1::IRecordInternal> getRecord(rowvault1::Index) override { return {}; }
    tb2::sptr_t<rowvault1::IRowKeyIterator> enumerateRows() override { return {}; }
    const char* name() const override { return m_name.c_str(); }
    std::uint64_t size() override { return rows.size(); }

    /// Value of a column of the row `key`; null when it was never written.
    tb2::variant_t at(std::int32_t key, std::uint16_t column) const
    {
        const row_t& row = rows.at(key);
        const auto found = row.find(column);
        return found != row.end() ? found->second : tb2::variant_t();
    }

    std::map<std::int32_t, row_t> rows;
    std::set<std::size_t> refusedCommits; ///< which commits fail, counted from 1
    std::int32_t firstKey = 1;

private:
    class Record;

    std::string m_name;
    log_ptr_t m_log;
    std::size_t m_commits = 0;
};

class FakeTable::Record : public rowvault1::IOrphanRecordInternal {
public:
    explicit Record(FakeTable& table) : m_table(&table) {}

    tb2::variant_t getField(std::uint16_t column) const override
    {
        const auto found = m_row.find(column);
        return found != m_row.end() ? found->second : tb2::variant_t();
    }

    void setField(std::uint16_t column, const tb2::variant_t& value) override
    {
        m_table->m_log->add(m_table->m_name + "[" + std::to_string(column) + "]=" + show(value));
        m_row[column] = value;
    }

    bool commit(rowvault1::Index& out, int a, int b) override
    {
        const bool taken = !m_table->refusedCommits.contains(++m_table->m_commits);
        std::string line =
            m_table->m_name + ".commit(" + std::to_string(a) + "," + std::to_string(b) + ")";
        if (taken) {
            out = rowvault1::Index(m_table->firstKey +
                                   static_cast<std::int32_t>(m_table->rows.size()));
            m_table->rows.emplace(out.value(), m_row);
            line += "->" + std::to_string(out.value());
        }
        m_table->m_log->add(taken ? line : line + " refused");
        return taken;
    }

private:
    FakeTable* m_table;
    row_t m_row;
};

inline rowvault1::OrphanRecord FakeTable::createOrphanRecord()
{
    m_log->add(m_name + ".createOrphanRecord");
    return rowvault1::OrphanRecord(tb2::make_counted<Record>(*this));
}

} // namespace samplefold_test
