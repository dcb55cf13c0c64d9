// Recordings with the texts that perf prints for them.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace samplefold::perfdata::testing {

/// A folder with CASE.perf.data and CASE.*.txt; any of them may be gzipped.
struct OracleCase {
    std::string name;
    std::filesystem::path folder;

    /// The bytes of CASE.<suffix>, inflated when gzipped; nullopt when there is no such file.
    [[nodiscard]] std::optional<std::string> load(const std::string& suffix) const;
};

/// Cases kept in the source tree.
[[nodiscard]] std::vector<OracleCase> keptCases();
/// Cases of the larger collection; empty when it is not there.
[[nodiscard]] std::vector<OracleCase> sharedCases();
/// Both, the kept ones first.
[[nodiscard]] std::vector<OracleCase> allCases();
/// Those of allCases that have a text with this suffix.
[[nodiscard]] std::vector<OracleCase> casesWith(const std::string& suffix);
/// A name for a parameterised test.
[[nodiscard]] std::string caseName(const ::testing::TestParamInfo<OracleCase>& info);
/// For messages of parameterised tests.
void PrintTo(const OracleCase& oracle, std::ostream* out);
/// The bytes of a string, which must outlive the result.
[[nodiscard]] std::span<const std::byte> bytesOf(const std::string& content);
/// Folder of the larger collection: SAMPLEFOLD_SHARED_DATA, or its usual place.
[[nodiscard]] std::filesystem::path sharedFolder();

/// One line of CASE.samples.txt. What the line does not have is nullopt.
struct SampleLine {
    std::int64_t pid = 0;
    std::int64_t tid = 0;
    std::optional<std::uint32_t> cpu;
    std::uint64_t timeNs = 0;
    std::optional<std::uint64_t> period;
    std::string event;
    std::optional<std::uint64_t> addr;
    std::uint64_t ip = 0;

    bool operator==(const SampleLine&) const = default;
    [[nodiscard]] std::string text() const;
};

[[nodiscard]] std::vector<SampleLine> parseSampleLines(const std::string& text);

/// A sample whose chain is printed in CASE.callchain-abs.txt, by its head line.
struct PrintedChain {
    std::uint64_t timeNs = 0;
    std::vector<std::uint64_t> ips;
};

[[nodiscard]] std::vector<PrintedChain> parseChains(const std::string& text);

/// What CASE.stats.txt says: "MMAP" -> 80, and per event its samples.
struct StatsText {
    std::map<std::string, std::uint64_t> records;
    std::map<std::string, std::uint64_t> samplesByEvent;
    std::vector<std::string> eventLines; ///< of perf evlist -v
};

[[nodiscard]] StatsText parseStats(const std::string& text);

} // namespace samplefold::perfdata::testing
