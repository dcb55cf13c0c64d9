#pragma once

#include <rowvault1/export.h>
#include <toolbelt2/generic_iterator.h>
#include <toolbelt2/object.h>
#include <toolbelt2/sptr.h>
#include <toolbelt2/variant.h>

#include <cstdint>

namespace rowvault1 {

/// One row of a query's result, valid until the recordset moves on.
class ROWVAULT1_API IConstRecord {
public:
    /// The value at a position that addColumn returned, with the kind that the column declares. A
    /// position beyond the columns fires "column < size()" and gives null.
    virtual const tb2::variant_t& get(std::uint16_t column) const = 0;

protected:
    ~IConstRecord() = default;
};

/// Rows of a query, read as the walk goes on. It keeps its database alive. One thread at a time;
/// the rows seen are those there at `execute`, with the values that they have when the walk comes
/// near them.
class ROWVAULT1_API IGenericRecordset : public tb2::object_interface_t {
public:
    virtual bool atEnd() const = 0;
    /// The row at the walker, owned by the recordset; null at the end or on failure.
    virtual const IConstRecord* current() const = 0;
    virtual void next() = 0;
};

/// A query over one table and whatever its reference columns lead to. One thread at a time.
class ROWVAULT1_API IQuery : public tb2::object_interface_t {
public:
    /// Adds a column by name ("cpu", "rowid") or by a dotted path that follows reference columns
    /// ("callsite.code_loc.rva"); a broken reference yields null. Returns its position in the
    /// result, or InvalidColIdx for a name or path that the schema does not have. The four
    /// arguments behind the name are taken and not used.
    virtual std::uint16_t addColumn(const char* name, int aggregation = 0,
                                    const tb2::generic_iterator_t<const char*>& arguments = {},
                                    int kind = 1, int flags = 0, const char* alias = "") = 0;
    /// Runs the query; rows come in ascending key order, those still queued for writing included.
    /// Null when there is no column or the store has failed. The arguments are taken and not used.
    virtual tb2::sptr_t<IGenericRecordset> execute(int flags = 0, const char* filter = "",
                                                   const char* order = "") = 0;
};

} // namespace rowvault1
