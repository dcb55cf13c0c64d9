#pragma once

#include "load/branch_task.h"
#include "session/row_writer.h"

#include <rowvault1/database.h>
#include <tsl/robin_map.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace samplefold::load {

/// What the records of a sample tell beside addresses, as text: six characters a record, or six for
/// all of them where they agree.
class BranchDetails {
public:
    void read(const perfdata::Sample& sample);
    /// What all records have in common; empty where they differ, or there are none.
    std::string common() const;
    /// The same as a number that other common details do not have.
    std::uint64_t commonWord() const { return m_common; }
    /// What each record has; empty where they agree.
    std::string_view each() const { return m_text; }

private:
    static constexpr std::uint64_t none = ~std::uint64_t{0};

    std::uint64_t m_common = none; ///< cycles and flags
    std::string m_text;            ///< empty where they agree
};

/// Writes branch stacks: a row per distinct stack with what was made of it, and a row per sample
/// whose records differ in more than addresses. Rows of an earlier load of the result are used
/// again. Loading thread only.
class BranchRows {
public:
    explicit BranchRows(const tb2::sptr_t<rowvault1::IDatabase>& db);

    /// Row of dd_lbr_head of a resolved task. `software` is the callsite of its software chain, -1
    /// when it has none; `common` is what all its records have in common.
    rowvault1::Index head(const BranchTask& task, rowvault1::Index software,
                          std::string_view common);
    /// Notes what each record of a sample has, unless that is empty.
    void addDetails(rowvault1::Index thread, std::uint64_t tick, std::string_view each);

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
        std::string kind, records, verdicts, chain, merge, common;
        rowvault1::Index software;
    };

    static Key keyOf(const Columns& columns);
    void readHeads(rowvault1::IDatabase& db);
    void writeMeanings(const tb2::sptr_t<rowvault1::IDatabase>& db);

    session::RowWriter m_heads;
    session::RowWriter m_details;
    tsl::robin_map<Key, rowvault1::Index, KeyHash> m_rows;
    Columns m_columns; ///< of the head in hand
};

/// The outcome of a merge as the result has it; empty when none was tried.
std::string_view nameOf(samplefold_1::merge_outcome_t outcome);

} // namespace samplefold::load
