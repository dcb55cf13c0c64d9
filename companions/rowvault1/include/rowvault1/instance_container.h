#pragma once

#include <rowvault1/export.h>
#include <toolbelt2/object.h>
#include <toolbelt2/sptr.h>

#include <cstdint>
#include <optional>
#include <vector>

// The time-ordered store of sample instances. Key, integer and double columns are numbered apart:
// 7 keys, 3 integers, 1 double, and the timestamp that the rows are ordered by (sample_instance in
// schema.h).
namespace rowvault1 {

inline constexpr std::size_t instanceKeyColumns = 7;
inline constexpr std::size_t instanceIntegerColumns = 3;
inline constexpr std::size_t instanceDoubleColumns = 1;

/// One row of the container as it is read back; columns that were never written are empty.
struct instance_row_t {
    std::uint64_t timestamp = 0;
    std::optional<std::int32_t> keys[instanceKeyColumns];
    std::optional<std::uint64_t> integers[instanceIntegerColumns];
    std::optional<double> doubles[instanceDoubleColumns];
};

/// A row to be filled and inserted. Columns keep their values after `insert`, so that a record used
/// again repeats what is not written anew; columns never written are stored as null. One thread at
/// a time.
class ROWVAULT1_API IOrphanInstanceDataRecord : public tb2::object_interface_t {
public:
    /// Column numbers beyond the container's fire "isValidColumn( column )" and are left.
    virtual void setKey(std::uint16_t column, std::int32_t key) = 0;
    virtual void setInteger(std::uint16_t column, std::uint64_t value) = 0;
    virtual void setDouble(std::uint16_t column, double value) = 0;
    /// Stores a row with the columns as they stand. True when the row was taken; false after the
    /// store has failed (full disk).
    virtual bool insert(std::uint64_t timestamp) = 0;
};

/// Receives rows in the order of their timestamps; return false to stop.
class ROWVAULT1_API IInstanceReader {
public:
    virtual bool onInstance(const instance_row_t& row) = 0;

protected:
    ~IInstanceReader() = default;
};

class ROWVAULT1_API IInstanceDataContainer : public tb2::object_interface_t {
public:
    /// A fresh record with no columns written; null after the store has failed.
    virtual tb2::sptr_t<IOrphanInstanceDataRecord> createOrphanInstanceRecord() = 0;
    /// Gives all rows with first <= timestamp <= last (both ends included), by unsigned timestamp,
    /// rows of one timestamp in the order of insertion; rows still queued are seen. The cost goes
    /// with the rows given, not with the size of the container. The reader may insert rows: those
    /// behind the place of the walk and within the range may be met. A page that cannot be read
    /// ends the walk.
    virtual void read(std::uint64_t first, std::uint64_t last, IInstanceReader& reader) = 0;
    /// Number of rows, those still queued included; after a failure of the store those that it
    /// holds.
    virtual std::uint64_t size() = 0;
};

} // namespace rowvault1
