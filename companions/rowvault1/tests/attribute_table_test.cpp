#include "result_fixture.h"

using namespace rowvault1;

namespace {

class AttributeTable : public ResultTest {
protected:
    std::vector<std::int32_t> keysOf(const tb2::sptr_t<IAttributeTable>& table)
    {
        std::vector<std::int32_t> keys;
        for (const auto walk = table->enumerateRows(); !walk->atEnd(); walk->next())
            keys.push_back(walk->current().value());
        return keys;
    }
};

TEST_F(AttributeTable, KeysCountFromOneAndGoOnAfterAppend)
{
    auto result = create();
    EXPECT_EQ(addRow(*result, "dd_package", {{0, tb2::variant_t("package_0")}}).value(), 1);
    EXPECT_EQ(addRow(*result, "dd_package", {{0, tb2::variant_t("package_1")}}).value(), 2);
    EXPECT_EQ(addRow(*result, "dd_cpu", {{0, tb2::variant_t(7)}}).value(), 1);
    result->finish();
    result.reset();
    result = open(open_mode_t::append);
    EXPECT_EQ(addRow(*result, "dd_package", {{0, tb2::variant_t("package_2")}}).value(), 3);
    result->finish();
    EXPECT_EQ(shell("SELECT id, name FROM dd_package"), "1|package_0\n2|package_1\n3|package_2");
}

TEST_F(AttributeTable, TheSameNameGivesTheSameTableObject)
{
    const auto result = create();
    const auto first = result->database()->getAttributeTable("dd_sample");
    const auto second = result->database()->getAttributeTable("dd_sample");
    EXPECT_EQ(first.get(), second.get());
    EXPECT_STREQ(first->name(), "dd_sample");
}

TEST_F(AttributeTable, UnknownAndOtherKindsOfTablesGiveANullHandle)
{
    const auto result = create();
    EXPECT_TRUE(result->database()->getAttributeTable("no_such_table").is_null());
    EXPECT_TRUE(result->database()->getAttributeTable("sample_instance").is_null());
    EXPECT_TRUE(result->database()->getAttributeTable("sample_band").is_null());
}

TEST_F(AttributeTable, AnOrphanRecordKeepsItsColumnsFromOneCommitToTheNext)
{
    const auto result = create();
    const OrphanRecord record =
        result->database()->getAttributeTable("dd_xlk_link_info")->createOrphanRecord();
    Index key;
    record[2] = tb2::variant_t(4);
    record[5] = tb2::variant_t("Link 4");
    ASSERT_TRUE(record.commit(key, 0, 1));
    record[5] = tb2::variant_t("other");
    ASSERT_TRUE(record.commit(key, 0, 1));
    record[2] = tb2::variant_t();
    ASSERT_TRUE(record.commit(key, 0, 1));
    EXPECT_EQ(key.value(), 3);
    result->finish();
    EXPECT_EQ(shell("SELECT id, link, display_name FROM dd_xlk_link_info"),
              "1|4|Link 4\n2|4|other\n3||other");
}

TEST_F(AttributeTable, ARowThatIsStillQueuedIsFound)
{
    const auto result = create();
    const Index key =
        addRow(*result, "dd_process", {{0, tb2::variant_t(42)}, {1, tb2::variant_t("work")}});
    const auto record = result->database()->getAttributeTable("dd_process")->getRecord(key);
    ASSERT_FALSE(record.is_null());
    EXPECT_EQ(record->getField(0), tb2::variant_t(42));
    EXPECT_EQ(record->getField(1), tb2::variant_t("work"));
    EXPECT_TRUE(record->getField(2).is_null());
    EXPECT_EQ(record->key(), key);
}

TEST_F(AttributeTable, ARowThatDoesNotExistGivesANullHandle)
{
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_process");
    EXPECT_TRUE(table->getRecord(Index(1)).is_null());
    EXPECT_TRUE(table->getRecord(Index()).is_null());
    EXPECT_TRUE(table->getRecord(Index(0)).is_null());
}

TEST_F(AttributeTable, AReleasedRecordForChangeReachesTheRow)
{
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_mesh_stop");
    const Index key =
        addRow(*result, "dd_mesh_stop", {{0, tb2::variant_t(31)}, {1, tb2::variant_t(-1)}});
    {
        const StoredRecord record(table->getRecord(key));
        record[2] = tb2::variant_t(5);
        record[0] = tb2::variant_t();
    }
    EXPECT_EQ(table->getRecord(key)->getField(2), tb2::variant_t(5));
    result->finish();
    EXPECT_EQ(shell("SELECT tid, package, traffic_source FROM dd_mesh_stop"), "|-1|5");
}

TEST_F(AttributeTable, EnumerationSeesRowsThatAreChangedAndAddedMeanwhile)
{
    constexpr int rows = 3000;
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_io_unit_info");
    for (int n = 0; n < rows; ++n)
        addRow(*result, "dd_io_unit_info", {{0, tb2::variant_t(n)}, {3, tb2::variant_t(-1)}});
    int seen = 0;
    for (const auto walk = table->enumerateRows(); !walk->atEnd(); walk->next()) {
        ++seen;
        ASSERT_EQ(walk->current().value(), seen);
        const StoredRecord record(table->getRecord(walk->current()));
        record[3] = tb2::variant_t(seen);
        if (seen <= 10) addRow(*result, "dd_io_unit_info", {{0, tb2::variant_t(-seen)}});
    }
    EXPECT_EQ(seen, rows + 10);
    result->finish();
    EXPECT_EQ(shell("SELECT count(*), sum(traffic_source = id) FROM dd_io_unit_info"), "3010|3010");
}

TEST_F(AttributeTable, EnumerationMeetsARowThatIsAddedAtItsEnd)
{
    const auto result = create();
    const auto walk = result->database()->getAttributeTable("dd_cpu")->enumerateRows();
    EXPECT_TRUE(walk->atEnd());
    EXPECT_FALSE(walk->current().exist());
    addRow(*result, "dd_cpu", {{0, tb2::variant_t(0)}});
    EXPECT_FALSE(walk->atEnd());
    EXPECT_EQ(walk->current().value(), 1);
}

TEST_F(AttributeTable, SizeCountsQueuedRows)
{
    const auto result = create();
    const auto table = result->database()->getAttributeTable("dd_cpu");
    EXPECT_EQ(table->size(), 0U);
    for (int n = 0; n < 5; ++n)
        addRow(*result, "dd_cpu", {{0, tb2::variant_t(n)}});
    EXPECT_EQ(table->size(), 5U);
    addRow(*result, "dd_cpu", {{0, tb2::variant_t(5)}});
    EXPECT_EQ(table->size(), 6U);
}

TEST_F(AttributeTable, ManyRowsOfManyTablesKeepTheirKeysInline)
{
    options.writerThread = false;
    options.queueBytes = 1 << 16;
    constexpr int rows = 20000;
    const auto result = create();
    const OrphanRecord locations =
        result->database()->getAttributeTable("dd_code_location")->createOrphanRecord();
    const OrphanRecord callsites =
        result->database()->getAttributeTable("dd_callsite")->createOrphanRecord();
    for (int n = 1; n <= rows; ++n) {
        Index location;
        Index callsite;
        locations[0] = tb2::variant_t(static_cast<std::uint64_t>(n) * 16);
        ASSERT_TRUE(locations.commit(location, 0, 0));
        callsites[1] = utils::indexToVariant(location);
        ASSERT_TRUE(callsites.commit(callsite, 0, 0));
        ASSERT_EQ(callsite.value(), n);
    }
    result->finish();
    EXPECT_EQ(
        shell("SELECT count(*), sum(l.rva = c.id * 16) FROM dd_callsite c JOIN dd_code_location l"
              " ON l.id = c.code_loc"),
        "20000|20000");
}

TEST_F(AttributeTable, WithoutFreeKeysNoRowIsTakenAndEarlierRowsStay)
{
    create()->finish();
    shell("INSERT INTO dd_cpu(id, number) VALUES(2147483646, 1)");
    auto result = open(open_mode_t::append);
    EXPECT_EQ(addRow(*result, "dd_cpu", {{0, tb2::variant_t(2)}}).value(), 2147483647);
    EXPECT_FALSE(addRow(*result, "dd_cpu", {{0, tb2::variant_t(3)}}).exist());
    EXPECT_NE(result->failure().find("dd_cpu has no row keys left"), std::string::npos);
    result.reset();
    EXPECT_EQ(shell("SELECT id, number FROM dd_cpu"), "2147483646|1\n2147483647|2");
}

} // namespace
