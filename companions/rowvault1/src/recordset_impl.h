#pragma once

#include "store.h"

#include <rowvault1/query.h>

#include <memory>
#include <vector>

namespace rowvault1 {

/// Rows of a query, read in pages: between two pages no statement is open, so that rows may be
/// written while the walk goes on. A page that cannot be read shows as a null record, not as the
/// end.
class RecordsetImpl : public IGenericRecordset, private IConstRecord {
public:
    /// `statement` gives a key and then the columns, for the keys above ?1 up to ?2, at most ?3 of
    /// them.
    RecordsetImpl(std::shared_ptr<Store> store, Statement statement,
                  std::vector<schema::kind_t> kinds, std::int64_t lastKey);
    bool atEnd() const override { return !m_failed && m_place == m_rows; }
    const IConstRecord* current() const override { return m_failed || atEnd() ? nullptr : this; }
    void next() override;

private:
    const tb2::variant_t& get(std::uint16_t column) const override;
    void readPage();
    void readRow();

    std::shared_ptr<Store> m_store;
    Statement m_statement;
    std::vector<schema::kind_t> m_kinds;
    std::int64_t m_lastKey;               ///< last key of the walk
    std::int64_t m_readKey = 0;           ///< last key read
    std::vector<tb2::variant_t> m_values; ///< of the page, row by row
    std::size_t m_rows = 0;               ///< of the page
    std::size_t m_place = 0;
    bool m_failed = false;
};

} // namespace rowvault1
