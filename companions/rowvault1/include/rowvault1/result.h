#pragma once

#include <rowvault1/database.h>
#include <rowvault1/export.h>
#include <rowvault1/instance_container.h>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

// A result on disk: a folder with one SQLite database, "result.sqlite". This is the side of the
// store that a driver sees; the library above works with IDatabase and IPerfDatabase.
namespace rowvault1 {

/// Thrown when a result cannot be created, opened, read or written. `what()` is one line that names
/// the file and what to do.
class ROWVAULT1_API StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class open_mode_t : std::uint8_t {
    create,   ///< a new result; fails when the folder already holds one
    append,   ///< an existing result, for reading and writing
    read_only ///< an existing result, for reading
};

struct result_options_t {
    bool writerThread = true; ///< rows go to the database on a thread of the store's own
    std::size_t queueBytes = std::size_t{16} << 20; ///< rows that may wait for the writer
    std::size_t cacheBytes = std::size_t{32} << 20; ///< page cache of the database
};

/// Receives a SQL result: first the column names, then each row; return false to stop. It must not
/// change the result.
class ROWVAULT1_API ISqlReader {
public:
    virtual void onColumns(std::span<const std::string> names) = 0;
    /// Values by SQLite's own types: null, s64, real, text (blobs come as text).
    virtual bool onRow(std::span<const tb2::variant_t> row) = 0;

protected:
    ~ISqlReader() = default;
};

/// An open result. One thread at a time; the writer thread, where there is one, is the store's own.
class ROWVAULT1_API IResult : public tb2::object_interface_t {
public:
    virtual tb2::sptr_t<IDatabase> database() = 0;
    virtual tb2::sptr_t<IPerfDatabase> perfDatabase() = 0;
    virtual tb2::sptr_t<IInstanceDataContainer> instanceContainer() = 0;
    /// The table of sample bands ("sample_band") with its custom columns "rate" and "next_attr".
    virtual tb2::sptr_t<IGenericBandTable<aggregated_band_obj_t>> sampleBandTable() = 0;

    /// Sets a key of the readable "load_info" view (table dd_load_info, one row per key, last value
    /// wins). Throws StoreError when the result cannot be written, and for the keys that the store
    /// keeps itself: "state" and "sample_instance_rows".
    virtual void setInfo(std::string_view key, std::string_view value) = 0;
    /// Value of such a key, empty when there is none.
    virtual std::string info(std::string_view key) = 0;

    /// Makes everything queued so far durable against the death of this process: whatever happens
    /// later, a reader sees at least these rows. Throws StoreError when the store has failed.
    virtual void commitPoint() = 0;
    /// Hands everything queued to the database and waits for it. Throws StoreError as commitPoint.
    virtual void drain() = 0;
    /// Ends a load: writes everything, marks the result complete (info key "state" is
    /// "complete"; from creation, and again from the first row that is appended, until here it is
    /// "incomplete"), syncs it to the disk. Throws StoreError.
    virtual void finish() = 0;
    /// Empty while all is well; else the first failure of the writer, as one line.
    virtual std::string failure() const = 0;
    /// Path of the database file.
    virtual std::string databasePath() const = 0;
    /// See the function of that name.
    virtual void readSql(std::string_view sql, ISqlReader& reader) = 0;
};

/// Opens or creates the result in `folder` (made when missing, with its missing parents). Throws
/// StoreError: a folder that cannot be made or written, a file that is no result, a result of a
/// newer schema version, create on a folder that holds a result, append or read_only where there is
/// none. Handles that are dropped without finish() leave a result that opens, with all rows that
/// were taken, and says that it is incomplete. The database is closed with the last handle on
/// anything of the result. While rows are being written other processes are locked out, from the
/// first row to finish(). Reading a result that a killed load left may need write access once, to
/// roll back what was not committed.
ROWVAULT1_API tb2::sptr_t<IResult> openResult(const std::string& folder, open_mode_t mode,
                                              const result_options_t& options = {});

/// Runs one SQL statement that reads on a result that is open in any mode; rows still queued are
/// seen. Throws StoreError with SQLite's message for bad SQL, for several statements, and for one
/// that would do more than read: change rows, transactions, settings or open files.
ROWVAULT1_API void readSql(IResult& result, std::string_view sql, ISqlReader& reader);

} // namespace rowvault1
