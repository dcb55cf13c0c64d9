#pragma once

#include <rowvault1/result.h>

#include <PORTA_2_18/assert.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Output of the sqlite3 shell for a statement on a database file, without the last line feed. The
/// oracle of these tests: it shares no code with the store but SQLite itself.
std::string sqliteShell(const std::string& database, const std::string& sql);

/// Collects fired assertions while it lives.
class AssertionLog {
public:
    AssertionLog();
    AssertionLog(const AssertionLog&) = delete;
    AssertionLog& operator=(const AssertionLog&) = delete;
    ~AssertionLog();
    std::vector<std::string> expressions() const;

private:
    PORTA_2_18::debug::assertion_handler_t m_former;
};

/// A folder of its own for each test, with one result in it.
class ResultTest : public testing::Test {
protected:
    ResultTest();
    ~ResultTest() override;

    tb2::sptr_t<rowvault1::IResult> open(rowvault1::open_mode_t mode) const;
    tb2::sptr_t<rowvault1::IResult> create() const { return open(rowvault1::open_mode_t::create); }
    /// Answer of the sqlite3 shell; the result must not be in writing.
    std::string shell(const std::string& sql) const { return sqliteShell(database(), sql); }
    std::string folder() const { return m_folder + "/result"; }
    std::string database() const { return folder() + "/result.sqlite"; }

    rowvault1::result_options_t options;

private:
    std::string m_folder;
};

/// Adds a row with one value per (position, value).
rowvault1::Index addRow(rowvault1::IResult& result, const char* table,
                        std::initializer_list<std::pair<std::uint16_t, tb2::variant_t>> values);

/// Inserts an instance with a count.
void addInstance(rowvault1::IResult& result, std::uint64_t timestamp, std::uint64_t count);

/// Counts of the instances in a range of time, in the order in which they are read.
std::vector<std::uint64_t> countsBetween(rowvault1::IResult& result, std::uint64_t first,
                                         std::uint64_t last);
