#include "result_fixture.h"

#include <filesystem>
#include <fstream>

using namespace rowvault1;
using tb2::variant_t;

namespace {

class Lifecycle : public ResultTest {
protected:
    std::string messageOf(open_mode_t mode) const
    {
        try {
            open(mode);
        } catch (const StoreError& error) {
            return error.what();
        }
        return "opened";
    }
};

constexpr const char* g_state = "SELECT value FROM load_info WHERE key = 'state'";

TEST_F(Lifecycle, AResultIsIncompleteFromCreationUntilItIsFinished)
{
    auto result = create();
    EXPECT_EQ(result->info("state"), "incomplete");
    EXPECT_EQ(shell(g_state), "incomplete");
    addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    EXPECT_EQ(result->info("state"), "incomplete");
    result->finish();
    EXPECT_EQ(result->info("state"), "complete");
    EXPECT_EQ(shell(g_state), "complete");
}

TEST_F(Lifecycle, DroppedHandlesLeaveTheRowsAndAnIncompleteResult)
{
    auto result = create();
    addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    result.reset();
    EXPECT_EQ(shell(g_state), "incomplete");
    EXPECT_EQ(shell("SELECT number FROM dd_cpu; PRAGMA integrity_check"), "1\nok");
}

TEST_F(Lifecycle, TheFirstRowAppendedToACompleteResultTurnsItIncomplete)
{
    create()->finish();
    auto result = open(open_mode_t::append);
    EXPECT_EQ(result->info("state"), "complete");
    addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    EXPECT_EQ(result->info("state"), "incomplete");
    result->finish();
    EXPECT_EQ(result->info("state"), "complete");
}

TEST_F(Lifecycle, AFinishedResultTakesFurtherRowsThroughTheSameHandle)
{
    auto result = create();
    addInstance(*result, 1, 1);
    result->finish();
    addInstance(*result, 2, 2);
    EXPECT_EQ(result->info("state"), "incomplete");
    result->finish();
    EXPECT_EQ(shell("SELECT end_tsc FROM sample_instance"), "1\n2");
    EXPECT_EQ(shell(g_state), "complete");
}

TEST_F(Lifecycle, ACommitPointIsReadAfterTheHandlesAreGone)
{
    auto result = create();
    result->setInfo("input", "first");
    result->commitPoint();
    result->setInfo("input", "second");
    result->setInfo("other", "");
    EXPECT_EQ(result->info("input"), "second");
    EXPECT_EQ(result->info("nothing"), "");
    result->finish();
    EXPECT_EQ(
        shell("SELECT key, value FROM load_info WHERE key <> 'state' AND key NOT LIKE '%rows'"),
        "input|second\nother|");
}

TEST_F(Lifecycle, TheStoreKeepsItsOwnInfoKeysItself)
{
    const auto result = create();
    EXPECT_THROW(result->setInfo("state", "complete"), StoreError);
    EXPECT_EQ(result->info("state"), "incomplete");
}

TEST_F(Lifecycle, DrainWritesEverythingQueued)
{
    const auto result = create();
    for (int n = 0; n < 1000; ++n)
        addInstance(*result, static_cast<std::uint64_t>(n), 1);
    EXPECT_NO_THROW(result->drain());
    EXPECT_EQ(countsBetween(*result, 0, 1000).size(), 1000U);
}

TEST_F(Lifecycle, NoJournalStaysBesideAFinishedResult)
{
    auto result = create();
    addInstance(*result, 1, 1);
    result->finish();
    result.reset();
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder()))
        names.push_back(entry.path().filename());
    EXPECT_EQ(names, std::vector<std::string>{"result.sqlite"});
}

TEST_F(Lifecycle, CreateRefusesAFolderThatHoldsAResult)
{
    create()->finish();
    const std::string message = messageOf(open_mode_t::create);
    EXPECT_NE(message.find(database()), std::string::npos);
    EXPECT_NE(message.find("the file is there already"), std::string::npos);
    EXPECT_EQ(shell(g_state), "complete");
}

TEST_F(Lifecycle, CreateTakesAFileThatHoldsNothing)
{
    std::filesystem::create_directories(folder());
    std::ofstream(database()).close();
    EXPECT_EQ(messageOf(open_mode_t::append),
              "cannot open '" + database() +
                  "': it holds nothing; the load was stopped before it began, load again");
    create()->finish();
    EXPECT_EQ(shell(g_state), "complete");
}

TEST_F(Lifecycle, AppendAndReadingNeedAResult)
{
    for (const open_mode_t mode : {open_mode_t::append, open_mode_t::read_only}) {
        const std::string message = messageOf(mode);
        EXPECT_NE(message.find(database()), std::string::npos);
        EXPECT_NE(message.find("there is no such file"), std::string::npos);
    }
    EXPECT_FALSE(std::filesystem::exists(folder()));
}

TEST_F(Lifecycle, ANewerSchemaVersionIsRefused)
{
    create()->finish();
    shell("PRAGMA user_version = 1000");
    EXPECT_NE(messageOf(open_mode_t::append).find("schema version 1000 is newer"),
              std::string::npos);
    shell("PRAGMA user_version = 0");
    EXPECT_NE(messageOf(open_mode_t::read_only).find("schema version 0 is no longer read"),
              std::string::npos);
}

TEST_F(Lifecycle, ReadingChangesNothing)
{
    auto result = create();
    addRow(*result, "dd_cpu", {{0, variant_t(3)}});
    result->finish();
    result.reset();
    result = open(open_mode_t::read_only);
    EXPECT_FALSE(addRow(*result, "dd_cpu", {{0, variant_t(4)}}).exist());
    EXPECT_FALSE(result->instanceContainer()->createOrphanInstanceRecord()->insert(1));
    {
        const StoredRecord record(
            result->database()->getAttributeTable("dd_cpu")->getRecord(Index(1)));
        EXPECT_EQ(record[0].get(), variant_t(3));
        record[0] = variant_t(5);
    }
    EXPECT_THROW(result->setInfo("key", "value"), StoreError);
    EXPECT_THROW(result->finish(), StoreError);
    EXPECT_EQ(result->failure(), "");
    EXPECT_EQ(shell("SELECT id, number FROM dd_cpu"), "1|3");
    EXPECT_EQ(shell(g_state), "complete");
}

TEST_F(Lifecycle, AnOtherProcessCannotReadWhileALoadWritesAndCanAfterwards)
{
    const auto result = create();
    addInstance(*result, 1, 1);
    EXPECT_NE(shell("SELECT count(*) FROM sample_instance").find("locked"), std::string::npos);
    result->finish();
    EXPECT_EQ(shell("SELECT count(*) FROM sample_instance"), "1");
}

TEST_F(Lifecycle, AResultThatAnotherProcessChangedMeanwhileIsNotWritten)
{
    create()->finish();
    const auto result = open(open_mode_t::append);
    shell("INSERT INTO dd_cpu(number) VALUES(4)");
    EXPECT_FALSE(addRow(*result, "dd_cpu", {{0, variant_t(5)}}).exist());
    EXPECT_NE(result->failure().find("another process has changed it"), std::string::npos);
    EXPECT_EQ(shell("SELECT id, number FROM dd_cpu"), "1|4");
}

TEST_F(Lifecycle, TablesAndRecordsKeepTheirDatabaseAlive)
{
    auto result = create();
    auto record = result->database()->getAttributeTable("dd_cpu")->createOrphanRecord();
    result.reset();
    record[0] = variant_t(8);
    Index key;
    EXPECT_TRUE(record.commit(key, 0, 0));
    record.release();
    EXPECT_EQ(shell("SELECT number FROM dd_cpu"), "8");
}

} // namespace
