#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace samplefold::report {

/// What is added up of sample rows. The count wraps: a damaged profile may hold any.
struct Sum {
    std::uint64_t samples = 0;
    std::uint64_t count = 0;

    Sum& operator+=(const Sum& other)
    {
        samples += other.samples;
        count += other.count;
        return *this;
    }
    bool operator==(const Sum&) const = default;

    /// The count as the store has it.
    std::int64_t events() const { return static_cast<std::int64_t>(count); }
};

/// SQL for the sum of an integer column that wraps as Sum does; SQLite's own refuses to overflow.
std::string sumOf(const std::string& column);

/// `part` of `whole` in percent; nothing where the whole is 0.
std::optional<double> percentOf(std::int64_t part, std::int64_t whole);
/// "12.34%", or "-" for nothing.
std::string percentText(const std::optional<double>& percent);

} // namespace samplefold::report
