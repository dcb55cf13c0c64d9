#include "session/row_writer.h"

namespace samplefold::session {

RowWriter::RowWriter(const tb2::sptr_t<rowvault1::IDatabase>& db, const char* table)
    : m_schema(rowvault1::schema::findTable(table)), m_table(db->getAttributeTable(table)),
      m_record(m_table->createOrphanRecord())
{
}

RowWriter& RowWriter::set(std::string_view column, const tb2::variant_t& value)
{
    m_record[rowvault1::schema::findColumn(*m_schema, column)->position] = value;
    return *this;
}

void RowWriter::clear()
{
    m_record = m_table->createOrphanRecord();
}

rowvault1::Index RowWriter::commit()
{
    rowvault1::Index key;
    m_record.commit(key, 0, 0);
    return key;
}

} // namespace samplefold::session
