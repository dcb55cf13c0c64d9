#pragma once

#include <rowvault1/index.h>
#include <toolbelt2/object.h>
#include <toolbelt2/sptr.h>
#include <toolbelt2/variant.h>

#include <cstdint>

// Records of attribute tables. Columns go by the positions that the schema gives them (schema.h).
// A record belongs to one thread at a time; it keeps its database alive.
namespace rowvault1 {

/// A row for reading.
class ROWVAULT1_API IConstRecordInternal : public tb2::object_interface_t {
public:
    /// Value of a column with the kind that the schema declares, null when the column is empty or
    /// the table has no such column.
    virtual tb2::variant_t getField(std::uint16_t column) const = 0;
};

/// A stored row for reading and changing.
class ROWVAULT1_API IRecordInternal : public IConstRecordInternal {
public:
    /// Sets a column in the record; the store sees it at `commit`. A position that the table does
    /// not have fires "isValidColumn( column )" and is left. A value that the column's kind cannot
    /// hold without loss (integers convert to each other and to double where they fit, nothing else
    /// does) fires "kindMatches( column )" and leaves null. A double that is no number is stored as
    /// null.
    virtual void setField(std::uint16_t column, const tb2::variant_t& value) = 0;
    /// Writes the changed columns to the row; nothing happens when none was changed, or when the
    /// result cannot be written (IResult::failure).
    virtual void commit() = 0;
    virtual Index key() const = 0;
};

/// A record that belongs to no row yet.
class ROWVAULT1_API IOrphanRecordInternal : public tb2::object_interface_t {
public:
    virtual tb2::variant_t getField(std::uint16_t column) const = 0;
    /// As for a stored record. Columns keep their values from one commit to the next.
    virtual void setField(std::uint16_t column, const tb2::variant_t& value) = 0;
    /// Stores the columns as a new row and writes its key, which is final, to `out`; on failure
    /// `out` keeps its value. `a` and `b` are taken and not used: every row is a row of its own,
    /// queued for the writer and seen by every later read.
    virtual bool commit(Index& out, int a, int b) = 0;
};

/// Reads and writes one column of a record, see RecordAccessor.
template <class R>
class FieldAccessor {
public:
    FieldAccessor(R* record, std::uint16_t column) : m_record(record), m_column(column) {}

    operator tb2::variant_t() const { return get(); }
    tb2::variant_t get() const
    {
        return m_record ? m_record->getField(m_column) : tb2::variant_t();
    }
    FieldAccessor& operator=(const tb2::variant_t& value)
    {
        if (m_record) m_record->setField(m_column, value);
        return *this;
    }

private:
    R* m_record;
    std::uint16_t m_column;
};

} // namespace rowvault1
