#include "child_process.h"
#include "result_fixture.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace rowvault1;
using tb2::variant_t;

namespace {

class Failure : public ResultTest, public testing::WithParamInterface<bool> {
protected:
    Failure() { options.writerThread = GetParam(); }
};

TEST_P(Failure, AFullDiskIsReportedOnceAndEarlierRowsStay)
{
    options.queueBytes = 1 << 18;
    const int status = inChild([&] {
        auto result = create();
        for (std::uint64_t n = 0; n < 1000; ++n)
            addInstance(*result, n, n);
        addRow(*result, "dd_cpu", {{0, variant_t(1)}});
        result->commitPoint();
        limitFileSize(4 << 20);
        const auto record = result->instanceContainer()->createOrphanInstanceRecord();
        std::uint64_t taken = 0;
        while (taken < 2000000 && record->insert(1000 + taken))
            ++taken;
        if (taken == 2000000) return 1;
        if (record->insert(5)) return 2;
        if (addRow(*result, "dd_cpu", {{0, variant_t(2)}}).exist()) return 3;
        if (!result->instanceContainer()->createOrphanInstanceRecord().is_null()) return 4;
        const std::string failure = result->failure();
        if (failure.find(database()) == failure.npos || failure.find('\n') != failure.npos)
            return 5;
        for (int n = 0; n < 2; ++n) {
            try {
                n == 0 ? result->commitPoint() : result->finish();
                return 6;
            } catch (const StoreError& error) {
                if (error.what() != failure) return 7;
            }
        }
        if (countsBetween(*result, 0, 100000000).size() != 1000) return 8;
        return result->instanceContainer()->size() == 1000 ? 0 : 9;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(shell("SELECT value FROM load_info WHERE key = 'state'; SELECT count(*), "
                    "max(end_tsc) FROM sample_instance;"
                    " SELECT number FROM dd_cpu; PRAGMA integrity_check"),
              "incomplete\n1000|999\n1\nok");
}

TEST_P(Failure, AFailureDuringTheCommitIsReportedToo)
{
    const int status = inChild([&] {
        auto result = create();
        addInstance(*result, 1, 1);
        result->commitPoint();
        for (int n = 0; n < 200; ++n)
            addRow(*result, "dd_module_file", {{1, variant_t(std::string(10000, 'x'))}});
        limitFileSize(1 << 20);
        try {
            result->commitPoint();
            return 1;
        } catch (const StoreError&) {
        }
        return result->failure().empty() ? 2 : 0;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(shell("SELECT count(*) FROM sample_instance; SELECT count(*) FROM dd_module_file; "
                    "PRAGMA integrity_check"),
              "1\n0\nok");
}

TEST_P(Failure, ADiskWithoutRoomAtCreationGivesAStoreError)
{
    const int status = inChild([&] {
        limitFileSize(8192);
        try {
            create();
            return 1;
        } catch (const StoreError& error) {
            return std::string_view(error.what()).find(database()) == std::string_view::npos ? 2
                                                                                             : 0;
        }
    });
    EXPECT_EQ(status, 0);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutWriterThread, Failure, testing::Bool());

class Permissions : public ResultTest {
protected:
    static constexpr uid_t nobody = 65534;

    /// In a process without privileges: 0 when opening gives a StoreError that names `place`.
    int refusedIn(const std::string& target, open_mode_t mode, const std::string& place)
    {
        return inChild([&] {
            if (geteuid() == 0 && setuid(nobody) != 0) return 10;
            try {
                openResult(target, mode, options);
                return 1;
            } catch (const StoreError& error) {
                return std::string_view(error.what()).find(place) == std::string_view::npos ? 2 : 0;
            }
        });
    }
};

TEST_F(Permissions, AFolderThatCannotBeMadeIsNamed)
{
    std::filesystem::create_directories(folder());
    chmod(folder().c_str(), 0555);
    chmod(std::filesystem::path(folder()).parent_path().c_str(), 0755);
    EXPECT_EQ(refusedIn(folder() + "/below", open_mode_t::create, folder() + "/below"), 0);
    EXPECT_EQ(refusedIn(folder(), open_mode_t::create, database()), 0);
    chmod(folder().c_str(), 0755);
}

TEST_F(Permissions, AResultThatMayNotBeWrittenCanBeReadButNotAppendedTo)
{
    create()->finish();
    chmod(std::filesystem::path(folder()).parent_path().c_str(), 0755);
    chmod(folder().c_str(), 0555);
    chmod(database().c_str(), 0444);
    EXPECT_EQ(refusedIn(folder(), open_mode_t::append, database()), 0);
    EXPECT_EQ(inChild([&] {
                  if (geteuid() == 0 && setuid(nobody) != 0) return 10;
                  return open(open_mode_t::read_only)->info("state") == "complete" ? 0 : 1;
              }),
              0);
    chmod(folder().c_str(), 0755);
}

TEST_F(Permissions, AFileInThePlaceOfTheFolderIsRefused)
{
    EXPECT_THROW(openResult("/dev/null/x", open_mode_t::create), StoreError);
}

} // namespace
