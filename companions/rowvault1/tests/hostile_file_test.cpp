#include "result_fixture.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

using namespace rowvault1;
using tb2::variant_t;

namespace {

class HostileFile : public ResultTest {
protected:
    void write(const std::string& bytes) const
    {
        std::filesystem::create_directories(folder());
        std::ofstream(database(), std::ios::binary) << bytes;
    }
    std::string bytes() const
    {
        std::ifstream file(database(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string messageOf(open_mode_t mode) const
    {
        try {
            open(mode);
        } catch (const StoreError& error) {
            return error.what();
        }
        return "opened";
    }
    /// A finished result with some rows in it.
    void makeResult() const
    {
        const auto result = create();
        for (int n = 0; n < 500; ++n) {
            addRow(*result, "dd_callsite",
                   {{0, n > 0 ? variant_t(n) : variant_t()}, {1, variant_t(n + 1)}});
            addRow(*result, "dd_code_location", {{0, variant_t(static_cast<std::uint64_t>(n))}});
            addRow(*result, "dd_sample", {{4, variant_t(n + 1)}});
            addRow(*result, "dd_package", {{0, variant_t("package_" + std::to_string(n))}});
            addInstance(*result, static_cast<std::uint64_t>(n), 1);
        }
        result->finish();
    }
};

TEST_F(HostileFile, AFileThatIsNoDatabaseIsRefused)
{
    write(std::string(5000, 'z'));
    for (const open_mode_t mode : {open_mode_t::append, open_mode_t::read_only}) {
        const std::string message = messageOf(mode);
        EXPECT_NE(message.find(database()), std::string::npos) << message;
        EXPECT_NE(message.find("not a database"), std::string::npos) << message;
    }
    EXPECT_NE(messageOf(open_mode_t::create).find("the file is there already"), std::string::npos);
    EXPECT_EQ(bytes(), std::string(5000, 'z'));
}

TEST_F(HostileFile, ADatabaseOfAnotherProgramIsRefused)
{
    std::filesystem::create_directories(folder());
    shell("CREATE TABLE t(a)");
    EXPECT_NE(messageOf(open_mode_t::append).find("it is no result"), std::string::npos);
}

TEST_F(HostileFile, AFolderInThePlaceOfTheFileIsRefused)
{
    std::filesystem::create_directories(database());
    EXPECT_NE(messageOf(open_mode_t::read_only).find("it is no result"), std::string::npos);
}

TEST_F(HostileFile, ATableWithOtherColumnsIsRefused)
{
    create()->finish();
    shell("ALTER TABLE dd_sample RENAME COLUMN ip TO pi");
    EXPECT_NE(messageOf(open_mode_t::append).find("table dd_sample is not as it should be"),
              std::string::npos);
}

TEST_F(HostileFile, AMissingTableAndAViewInItsPlaceAreRefused)
{
    create()->finish();
    shell("DROP TABLE dd_cpu");
    EXPECT_NE(messageOf(open_mode_t::read_only).find("table dd_cpu"), std::string::npos);
    shell("CREATE VIEW dd_cpu AS SELECT 1 AS id, 2 AS number");
    EXPECT_NE(messageOf(open_mode_t::read_only).find("table dd_cpu"), std::string::npos);
}

TEST_F(HostileFile, ATriggerOfTheFileDoesNotRun)
{
    create()->finish();
    shell("CREATE TRIGGER evil AFTER INSERT ON dd_cpu BEGIN DELETE FROM dd_package; END;"
          "INSERT INTO dd_package(name) VALUES('package_0')");
    auto result = open(open_mode_t::append);
    addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    result->finish();
    result.reset();
    EXPECT_EQ(shell("SELECT name FROM dd_package"), "package_0");
}

TEST_F(HostileFile, ATableWithTheNameOfTheRowSourceChangesNothing)
{
    create()->finish();
    shell("CREATE TABLE rowvault_rows(c0, c1); INSERT INTO rowvault_rows VALUES(77, 88)");
    auto result = open(open_mode_t::append);
    addRow(*result, "dd_cpu", {{0, variant_t(1)}});
    result->finish();
    result.reset();
    EXPECT_EQ(shell("SELECT id, number FROM dd_cpu"), "1|1");
}

TEST_F(HostileFile, ValuesOfOtherTypesThanDeclaredReadAsNull)
{
    create()->finish();
    shell("INSERT INTO dd_cpu(number) VALUES('text'), (99999999999), (x'00'), (1.5), (4)");
    const auto result = open(open_mode_t::read_only);
    const auto table = result->database()->getAttributeTable("dd_cpu");
    for (const int key : {1, 2, 3, 4})
        EXPECT_TRUE(table->getRecord(Index(key))->getField(0).is_null()) << key;
    EXPECT_EQ(table->getRecord(Index(5))->getField(0), variant_t(4));
}

TEST_F(HostileFile, RowNumbersThatDoNotFitTheInstancesEndInAFailure)
{
    auto result = create();
    addInstance(*result, 1, 1);
    result->finish();
    result.reset();
    shell("UPDATE dd_load_info SET value = '0' WHERE key = 'sample_instance_rows'");
    result = open(open_mode_t::append);
    addInstance(*result, 1, 2);
    EXPECT_THROW(result->commitPoint(), StoreError);
    EXPECT_EQ(shell("SELECT count FROM sample_instance"), "1");
}

TEST_F(HostileFile, ACycleOfCallersEndsTheWalkOfItsFrames)
{
    create()->finish();
    EXPECT_EQ(shell("INSERT INTO dd_callsite(id, parent) VALUES(1, 2), (2, 1), (3, 3);"
                    "SELECT callsite, depth FROM frames ORDER BY 1, 2"),
              "1|0\n2|0\n2|1\n3|0");
}

TEST_F(HostileFile, DamagedBytesNeverCrashTheReader)
{
    makeResult();
    const std::string sound = bytes();
    std::mt19937 random(11);
    int refused = 0;
    for (int round = 0; round < 150; ++round) {
        std::string damaged = sound;
        for (int n = 0; n < 20; ++n)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        if (round % 5 == 0) damaged.resize(random() % damaged.size());
        write(damaged);
        try {
            const auto result = open(open_mode_t::append);
            const auto query = result->database()->createQuery("dd_sample", 2);
            query->addColumn("callsite.code_loc.rva");
            std::size_t rows = 0;
            if (const auto set = query->execute(); set)
                for (; !set->atEnd(); set->next())
                    rows += set->current() != nullptr;
            const auto table = result->database()->getAttributeTable("dd_package");
            for (const auto walk = table->enumerateRows(); !walk->atEnd(); walk->next()) {
                const auto record = table->getRecord(walk->current());
                if (record) rows += record->getField(0).is_null();
            }
            rows += countsBetween(*result, 0, 1000).size();
            for (int n = 0; n < 50; ++n)
                addRow(*result, "dd_package", {{0, variant_t("more")}});
            result->finish();
            EXPECT_LE(rows, 5000U);
        } catch (const StoreError&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
    EXPECT_LT(refused, 150);
}

} // namespace
