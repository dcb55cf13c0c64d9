#include "result_fixture.h"

#include <csignal>
#include <filesystem>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

using namespace rowvault1;
using tb2::variant_t;

namespace {

constexpr std::uint64_t g_rowsPerPoint = 700;

class Crash : public ResultTest {
protected:
    /// Loads rows with commit points until it is killed; tells the number of committed rows by the
    /// pipe.
    [[noreturn]] void load(int pipe)
    {
        options.queueBytes = 1 << 17;
        options.cacheBytes = 1 << 18; // small, so that the cache spills within a transaction
        const auto result = create();
        const auto record = result->instanceContainer()->createOrphanInstanceRecord();
        for (std::uint64_t row = 1;; ++row) {
            record->setInteger(1, row);
            record->insert(row * 7919 % 100000); // out of order, so that pages are written over
            addRow(*result, "dd_code_location", {{0, variant_t(row)}});
            if (row % g_rowsPerPoint != 0) continue;
            result->commitPoint();
            if (write(pipe, &row, sizeof row) != static_cast<ssize_t>(sizeof row)) _exit(1);
        }
    }

    /// Last committed row that the child told, after it was killed some time behind its first
    /// point.
    std::uint64_t killedLoad(unsigned microseconds)
    {
        int ends[2];
        if (pipe(ends) != 0) return 0;
        const pid_t child = fork();
        if (child == 0) load(ends[1]);
        close(ends[1]);
        std::uint64_t last = 0;
        if (read(ends[0], &last, sizeof last) != static_cast<ssize_t>(sizeof last)) last = 0;
        usleep(microseconds);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        for (std::uint64_t row = 0;
             read(ends[0], &row, sizeof row) == static_cast<ssize_t>(sizeof row);)
            last = row;
        close(ends[0]);
        return last;
    }
};

TEST_F(Crash, AKilledLoadLeavesASoundIncompleteResultWithAllCommittedRows)
{
    std::mt19937 random(3);
    std::uniform_int_distribution<unsigned> delay(0, 60000);
    for (int round = 0; round < 20; ++round) {
        const std::uint64_t committed = killedLoad(delay(random));
        ASSERT_GE(committed, g_rowsPerPoint);
        EXPECT_EQ(shell("PRAGMA integrity_check; SELECT value FROM load_info WHERE key = 'state'"),
                  "ok\nincomplete");
        const std::uint64_t rows = std::stoull(shell("SELECT count(*) FROM sample_instance"));
        EXPECT_GE(rows, committed);
        EXPECT_EQ(rows % g_rowsPerPoint, 0U);
        EXPECT_EQ(
            shell("SELECT count(DISTINCT count), min(count), max(count) FROM sample_instance"),
            std::to_string(rows) + "|1|" + std::to_string(rows));
        EXPECT_EQ(shell("SELECT count(*), sum(rva = id) FROM dd_code_location"),
                  std::to_string(rows) + "|" + std::to_string(rows));
        std::filesystem::remove_all(folder());
    }
}

TEST_F(Crash, AKilledLoadCanBeReadAndAppendedToByTheStore)
{
    const std::uint64_t committed = killedLoad(20000);
    auto result = open(open_mode_t::read_only);
    const std::uint64_t rows = result->instanceContainer()->size();
    EXPECT_GE(rows, committed);
    EXPECT_EQ(countsBetween(*result, 0, 100000).size(), rows);
    result.reset();
    result = open(open_mode_t::append);
    addInstance(*result, 5, rows + 1);
    result->finish();
    EXPECT_EQ(shell("SELECT max(id), max(count) FROM sample_instance"),
              std::to_string(rows + 1) + "|" + std::to_string(rows + 1));
}

} // namespace
