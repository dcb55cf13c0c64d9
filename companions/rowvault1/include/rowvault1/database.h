#pragma once

#include <rowvault1/attribute_table.h>
#include <rowvault1/band_table.h>
#include <rowvault1/context.h>
#include <rowvault1/export.h>
#include <rowvault1/query.h>

namespace rowvault1 {

/// An open result. One thread at a time.
class ROWVAULT1_API IDatabase : public tb2::object_interface_t {
public:
    /// The attribute table of that name, the same object on every call while a handle on it lives;
    /// null when the result has no such table.
    virtual tb2::sptr_t<IAttributeTable> getAttributeTable(const char* name) = 0;
    /// Opens or creates the band table of a data name (letters, digits, underscores) over an
    /// attribute table. Null for other names, for the name of a table that is no band table, for an
    /// unknown attribute table, for one other than that which the data were created over, and when
    /// the store has failed. `suffix` is taken and not used.
    virtual tb2::sptr_t<IGenericBandTable<single_band_obj_t>>
    createBandTable(const char* dataName, const char* attributeTable, const char* suffix) = 0;
    /// A query over an attribute, band or bucket table; null when the result has no such table.
    /// Instances are read through their container. `kind` is taken and not used.
    virtual tb2::sptr_t<IQuery> createQuery(const char* table, int kind) = 0;
};

/// Definition of the instance table of a band data.
class ROWVAULT1_API IGrouperInstanceTableDef : public tb2::object_interface_t {
public:
    virtual const char* dataName() const = 0;
};

/// The performance view of the same result. One thread at a time.
class ROWVAULT1_API IPerfDatabase : public tb2::object_interface_t {
public:
    /// Definition of the instance table of that data; null until createBandTable has made the data.
    virtual tb2::sptr_t<IGrouperInstanceTableDef> getInstanceTableDef(const char* dataName,
                                                                      int kind) = 0;
    /// Ties the instance table to its owner table, so that a band belongs to a row of the owner.
    /// The tie is kept in the result (table "band_binding"). The numbers and further texts are
    /// taken and not used.
    virtual void bindInstanceTable(const tb2::sptr_t<IGrouperInstanceTableDef>& definition,
                                   const char* ownerTable, int flags, const char* ownerName,
                                   const char* filter, const char* suffix) = 0;
    /// The named values of the result; null where a database keeps none.
    virtual tb2::sptr_t<IContextManager> getContextManager() { return {}; }
};

/// A type of the store whose identity is known and whose operations nobody here calls.
class ROWVAULT1_API ICriticalDBErrorReporter : public tb2::object_interface_t {};

} // namespace rowvault1
