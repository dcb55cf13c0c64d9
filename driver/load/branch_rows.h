#pragma once

#include "load/branch_task.h"
#include "session/row_writer.h"

#include <rowvault1/database.h>
#include <tsl/robin_map.h>

#include <cstdint>
#include <string>

namespace samplefold::load {

/// Writes branch stacks: a row per distinct stack with what was made of it, and a row per sample
/// whose records tell more than addresses. Rows of an earlier load of the result are used again.
/// Loading thread only.
class BranchRows {
public:
    explicit BranchRows(const tb2::sptr_t<rowvault1::IDatabase>& db);

    /// Row of dd_lbr_head of a resolved task. `software` is the callsite of its software chain, -1
    /// when it has none.
    rowvault1::Index head(const BranchTask& task, rowvault1::Index software);
    /// Notes cycles and flags of a sample's records, if there are any.
    void addDetails(rowvault1::Index thread, std::uint64_t tick, const perfdata::Sample& sample);

private:
    struct Key {
        std::uint64_t low;
        std::uint64_t high;

        bool operator==(const Key&) const = default;
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const noexcept { return key.low; }
    };
    /// Columns that tell heads apart.
    struct Columns {
        std::string kind, records, verdicts, chain, merge;
        rowvault1::Index software;
    };

    static Key keyOf(const Columns& columns);
    void readHeads(rowvault1::IDatabase& db);
    void writeMeanings(const tb2::sptr_t<rowvault1::IDatabase>& db);

    session::RowWriter m_heads;
    session::RowWriter m_details;
    tsl::robin_map<Key, rowvault1::Index, KeyHash> m_rows;
    Columns m_columns;  ///< of the head in hand
    std::string m_text; ///< details in hand
};

/// The outcome of a merge as the result has it; empty when none was tried.
std::string_view nameOf(samplefold_1::merge_outcome_t outcome);

} // namespace samplefold::load
