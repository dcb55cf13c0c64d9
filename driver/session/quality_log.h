#pragma once

#include <rowvault1/database.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace samplefold::session {

/// How much a count matters: it only informs, something could not be done, samples were lost.
enum class Severity { info, error, dataLoss };

/// Counts of what a load skipped, dropped, repaired or guessed, by reason, each with what the user
/// can do. They become the rows of dd_quality. Loading thread only.
class QualityLog {
public:
    /// Adds to the count of a reason. The first call for a reason settles its remedy and severity;
    /// a count of 0 adds nothing.
    void add(std::string_view reason, std::uint64_t count, std::string_view remedy,
             Severity severity);

    std::uint64_t count(std::string_view reason) const;

    /// Writes a row per reason. A result that is appended to gets rows of its own for every load.
    void store(const tb2::sptr_t<rowvault1::IDatabase>& db) const;

private:
    struct Entry {
        std::uint64_t count = 0;
        std::string remedy;
        Severity severity = Severity::info;
    };

    std::map<std::string, Entry, std::less<>> m_entries;
};

} // namespace samplefold::session
