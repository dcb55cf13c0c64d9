#include "support/context_fixture.h"
#include "support/log_capture.h"
#include "support/scoped_environment.h"

#include <algorithm>
#include <cctype>

namespace samplefold_test {
namespace {

struct missing_column_t {
    const char* name;
    const char* expression;
};

const missing_column_t g_always[] = {
    {"rowid", "rv1::InvalidColIdx != rowIdIndex"},
    {"event_type", "rv1::InvalidColIdx != eventTypeIndex"},
    {"cpu", "rv1::InvalidColIdx != cpuIndex"},
    {"cpu_state", "rv1::InvalidColIdx != cpuStateIndex"},
    {"seg_inst", "rv1::InvalidColIdx != segInstIndex"},
    {"mem_access", "rv1::InvalidColIdx != memAccessIndex"},
    {"htm_info", "rv1::InvalidColIdx != htmInfoIndex"},
    {"lbr_head", "rv1::InvalidColIdx != lbrHeadIndex"},
    {"ip", "rv1::InvalidColIdx != ipIndex"},
    {"callsite", "rv1::InvalidColIdx != callsiteIndex"},
    {"cpu_mode", "rv1::InvalidColIdx != cpuModeIndex"},
    {"thread_state", "rv1::InvalidColIdx != threadStateIndex"},
};
const missing_column_t g_stacksOff[] = {
    {"callsite.code_loc.rva", "rv1::InvalidColIdx != rvaIndex"},
    {"callsite.code_loc.mod_seg", "rv1::InvalidColIdx != modSegIndex"},
    {"callsite.parent", "rv1::InvalidColIdx != parentCallsiteIndex"},
};

/// Failures of the reload: what is logged, and where the reload stops.
class CheckedFailure : public ContextTest {
protected:
    /// True when exactly one failure has been logged, at error level, for that expression with its
    /// place.
    static testing::AssertionResult loggedOnly(const LogCapture& logged,
                                               const std::string& expression)
    {
        if (logged.entries().size() != 1) {
            return testing::AssertionFailure() << logged.entries().size() << " entries";
        }
        const std::string& text = logged.entries()[0].text;
        const std::string head = expression + ", at file: ";
        if (logged.entries()[0].level == 40000 && text.starts_with(head) &&
            isPlace(text.substr(head.size()))) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << logged.entries()[0].level << ": " << text;
    }
    /// A path to the source file of the reload, ":", and a line number.
    static bool isPlace(const std::string& text)
    {
        const std::string file = "attribute_cache_reload.cpp:";
        const std::size_t at = text.find(file);
        if (at == std::string::npos || (at != 0 && text[at - 1] != '/')) return false;
        const std::string line = text.substr(at + file.size());
        return !line.empty() && line[0] != '0' &&
               std::all_of(line.begin(), line.end(),
                           [](unsigned char c) { return std::isdigit(c); });
    }
    void missing(const char* column)
    {
        db->query = tb2::make_counted<FakeQuery>(log);
        db->query->missingColumns = {column};
        db->query->rows = {FakeQuery::named_row_t{{"rowid", tb2::variant_t(std::int32_t{1})}}};
    }
    /// The number of column requests and whether the query was run.
    std::pair<std::size_t, bool> reached() const
    {
        return {log->startingWith("query.addColumn").size(),
                !log->startingWith("query.execute").empty()};
    }
};

TEST_F(CheckedFailure, WithoutADatabaseTheReloadEnds)
{
    const LogCapture logged;
    context.loadSampleAttributeCacheFromDB();
    EXPECT_TRUE(loggedOnly(logged, "getDb()"));
}

TEST_F(CheckedFailure, WithoutAQueryTheReloadEnds)
{
    db->query.reset();
    context.setDb(db);
    const LogCapture logged;
    context.initAttributeCaches(256);
    EXPECT_TRUE(loggedOnly(logged, "sampleAttrQuery"));
    EXPECT_EQ(256u, context.m_threadContexts.size()) << "the buckets are there all the same";
}

TEST_F(CheckedFailure, EachMissingColumnIsToldAndEndsTheReloadAtOnce)
{
    context.setDb(db);
    std::size_t position = 0;
    for (const missing_column_t& column : g_always) {
        missing(column.name);
        log->take();
        const LogCapture logged;
        context.initAttributeCaches(256);
        EXPECT_TRUE(loggedOnly(logged, column.expression)) << column.name;
        EXPECT_EQ(std::pair(++position, false), reached()) << column.name;
    }
}

TEST_F(CheckedFailure, EachMissingDottedColumnIsToldWithStacksOff)
{
    context.m_linkCallsiteParents = false;
    context.setDb(db);
    std::size_t position = 12;
    for (const missing_column_t& column : g_stacksOff) {
        missing(column.name);
        log->take();
        const LogCapture logged;
        context.initAttributeCaches(256);
        EXPECT_TRUE(loggedOnly(logged, column.expression)) << column.name;
        EXPECT_EQ(std::pair(++position, false), reached()) << column.name;
    }
}

TEST_F(CheckedFailure, AResultWithoutTheDottedColumnsFailsOnlyWithStacksOff)
{
    context.setDb(db);
    for (const missing_column_t& column : g_stacksOff) {
        missing(column.name);
        const LogCapture logged;
        context.initAttributeCaches(256);
        EXPECT_TRUE(logged.entries().empty()) << column.name;
    }
    EXPECT_EQ(1u, context.m_threadContexts[0].m_sampleAttributeKeys.size());
}

TEST_F(CheckedFailure, ANullRecordEndsTheReloadWithWhatWasCachedSoFarKept)
{
    const auto row = [](std::int32_t key) {
        return FakeQuery::named_row_t{{"rowid", tb2::variant_t(key)},
                                      {"event_type", tb2::variant_t(key)}};
    };
    db->query->rows = {row(1), row(2), std::nullopt, row(3)};
    context.setDb(db);
    const LogCapture logged;
    context.initAttributeCaches(256);
    EXPECT_TRUE(loggedOnly(logged, "r"));
    EXPECT_EQ(2u, context.m_threadContexts[0].m_sampleAttributeKeys.size());
}

TEST_F(CheckedFailure, ALogLevelAboveErrorKeepsItQuiet)
{
    const LogCapture logged(50000);
    context.loadSampleAttributeCacheFromDB();
    EXPECT_TRUE(logged.entries().empty());
}

/// What one process makes of samplefold_ERROR_HANDLING. The variable is read at the first failure
/// and the answer kept, so that each case runs in a process of its own, which ends with the number
/// of assertions that fired in two failures: one with `value`, and one with `laterValue` (null:
/// unset).
class ErrorHandling : public testing::Test {
protected:
    ErrorHandling() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static void setVariable(const char* value)
    {
        if (value == nullptr) {
            ::unsetenv("samplefold_ERROR_HANDLING");
        } else {
            ::setenv("samplefold_ERROR_HANDLING", value, 1);
        }
    }
    [[noreturn]] static void failTwice(const char* value, const char* laterValue)
    {
        AssertionRecorder recorder;
        const LogCapture logged;
        TestContext context;
        setVariable(value);
        context.loadSampleAttributeCacheFromDB();
        setVariable(laterValue);
        context.loadSampleAttributeCacheFromDB();
        if (logged.entries().size() != 2) std::exit(100);
        for (const AssertionRecorder::fired_t& one : recorder.fired()) {
            const std::string place = ", at file: " + one.file + ":" + std::to_string(one.line);
            if (logged.entries()[0].text != one.expression + place) std::exit(101);
            if (one.expression != "getDb()") std::exit(102);
            if (one.signature.find("loadSampleAttributeCacheFromDB") == std::string::npos)
                std::exit(103);
        }
        std::exit(static_cast<int>(recorder.fired().size()));
    }
};

TEST_F(ErrorHandling, WithoutTheVariableNoAssertionFires)
{
    EXPECT_EXIT(failTwice(nullptr, nullptr), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(failTwice("", ""), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(failTwice("log", "log"), testing::ExitedWithCode(0), "");
}

TEST_F(ErrorHandling, AValueThatContainsAssertFiresItBesidesTheLog)
{
    EXPECT_EXIT(failTwice("assert", "assert"), testing::ExitedWithCode(2), "");
    EXPECT_EXIT(failTwice("log,assert,more", "log,assert,more"), testing::ExitedWithCode(2), "");
}

TEST_F(ErrorHandling, TheVariableIsReadOnceAndTheAnswerKept)
{
    EXPECT_EXIT(failTwice("assert", nullptr), testing::ExitedWithCode(2), "");
    EXPECT_EXIT(failTwice(nullptr, "assert"), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace samplefold_test
