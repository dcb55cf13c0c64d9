#pragma once

#include "support/fake_database.h"

namespace samplefold_test {

/// A table that names a key in its walk and has no row for it.
class RowlessKeysTable : public FakeTable {
public:
    using FakeTable::FakeTable;

    tb2::sptr_t<rowvault1::IRowKeyIterator> enumerateRows() override
    {
        return tb2::make_counted<OneKey>();
    }

private:
    class OneKey : public rowvault1::IRowKeyIterator {
    public:
        bool atEnd() const override { return m_passed; }
        rowvault1::Index current() const override
        {
            return m_passed ? rowvault1::Index() : rowvault1::Index(1);
        }
        void next() override { m_passed = true; }

    private:
        bool m_passed = false;
    };
};

/// A fake result with one such table.
class RowlessKeysDatabase : public FakeDatabase {
public:
    RowlessKeysDatabase(std::string rowless, const log_ptr_t& log)
        : FakeDatabase(log), m_name(std::move(rowless)),
          m_table(tb2::make_counted<RowlessKeysTable>(m_name, log))
    {
    }

    tb2::sptr_t<rowvault1::IAttributeTable> getAttributeTable(const char* name) override
    {
        if (name == m_name) return m_table;
        return FakeDatabase::getAttributeTable(name);
    }

private:
    std::string m_name;
    tb2::sptr_t<RowlessKeysTable> m_table;
};

} // namespace samplefold_test
