#pragma once

#include <rowvault1/record_accessor.h>

namespace rowvault1 {

/// Walks row keys; see IAttributeTable::enumerateRows.
class ROWVAULT1_API IRowKeyIterator : public tb2::object_interface_t {
public:
    virtual bool atEnd() const = 0;
    /// The key at the walker; -1 at the end.
    virtual Index current() const = 0;
    virtual void next() = 0;
};

/// A table of rows that go by their key. Row keys start at 1 and count up in the order of commits.
/// All calls, those on its records included, come from the loading thread.
class ROWVAULT1_API IAttributeTable : public tb2::object_interface_t {
public:
    /// A record that belongs to no row yet, all columns null. It may be filled and committed again
    /// and again. Never null.
    virtual OrphanRecord createOrphanRecord() = 0;
    /// The row of that key, for reading and changing; a null handle when there is no such row. Rows
    /// still queued for writing are found.
    virtual tb2::sptr_t<IRecordInternal> getRecord(Index key) = 0;
    /// All row keys in ascending order. Rows may be read, changed and added while the walk goes on;
    /// a row that is added meanwhile is still met.
    virtual tb2::sptr_t<IRowKeyIterator> enumerateRows() = 0;
    /// Name of the table, lives as long as the program.
    virtual const char* name() const = 0;
    /// Number of rows, those still queued included.
    virtual std::uint64_t size() = 0;
};

} // namespace rowvault1
