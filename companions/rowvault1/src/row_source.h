#pragma once

#include "row_batch.h"

#include <cstddef>
#include <string>
#include <string_view>

struct sqlite3;

namespace rowvault1 {

/// The rows of one batch as a table of SQL, so that a batch reaches the database by one
/// INSERT..SELECT. Column 0 is the key, column n + 1 the slot n. Must outlive its connection's
/// statements. One thread at a time. It is a temporary table of the connection: a table of that
/// name in a file cannot take its place.
inline constexpr std::string_view sourceName = "rowvault_rows";
inline constexpr std::size_t sourceColumns = 41;

std::string sourceColumn(std::size_t n);

class RowSource {
public:
    /// Makes the table known to the connection. Throws SqlError.
    void install(class Connection& connection);
    /// Batch that the table shows, not owned; null shows no rows.
    void show(const RowBatch* batch) noexcept { m_batch = batch; }
    const RowBatch* batch() const noexcept { return m_batch; }

private:
    const RowBatch* m_batch = nullptr;
};

} // namespace rowvault1
