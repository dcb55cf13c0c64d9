#pragma once

#include <rowvault1/database.h>
#include <rowvault1/schema.h>

#include <string_view>

namespace samplefold::session {

/// Writes rows of one attribute table with the columns by name. Loading thread only.
class RowWriter {
public:
    /// `table` is a table of the schema; it lives as long as the program.
    RowWriter(const tb2::sptr_t<rowvault1::IDatabase>& db, const char* table);

    /// Sets a column of the next row. `column` is a column of the table's schema.
    RowWriter& set(std::string_view column, const tb2::variant_t& value);
    /// Starts a row afresh: every column null.
    void clear();
    /// Stores the row; -1 when the store has failed.
    rowvault1::Index commit();

private:
    const rowvault1::schema::table_t* m_schema;
    tb2::sptr_t<rowvault1::IAttributeTable> m_table;
    rowvault1::OrphanRecord m_record;
};

} // namespace samplefold::session
