#include "support/assertion_recorder.h"
#include "support/fake_database.h"
#include "support/rowless_keys_table.h"
#include "support/scratch_result.h"

#include <samplefold_1/xlk_link_info.h>

#include <gtest/gtest.h>

namespace samplefold_1 {
namespace {

using samplefold_test::lines_t;
using tb2::variant_t;

class OpenLinks : public XlkLinkInfo {
public:
    using XlkLinkInfo::m_initialized;
    using XlkLinkInfo::m_linkKeyByEvent;
    using XlkLinkInfo::m_packageAndLinkKeys;
    using XlkLinkInfo::m_packageTable;
};

/// Packages with the rows 1 (number 0) and 2 (number 1).
class Links : public testing::Test {
protected:
    Links()
    {
        scratch.addNamed("dd_package", "package_0");
        scratch.addNamed("dd_package", "package_1");
    }
    ~Links() override { EXPECT_EQ(lines_t{}, assertions.take()) << "unexpected assertions"; }

    Index event(const std::string& name) const
    {
        return scratch.addNamed("dd_uncore_event_type", name);
    }
    Index link(int package, int number) const
    {
        return scratch.add("dd_xlk_link_info", {{0, variant_t(package)}, {2, variant_t(number)}});
    }
    int key(Index eventType, int packageNum) const
    {
        return links.getXlkLinkInfoDbIndexByEventTypeAndPackage(eventType, packageNum).value();
    }
    /// Package, link number and display name of every row.
    lines_t rows() const
    {
        lines_t lines;
        const auto table = scratch.table("dd_xlk_link_info");
        for (const auto keys = table->enumerateRows(); !keys->atEnd(); keys->next()) {
            const rowvault1::ConstRecord row(table->getRecord(keys->current()));
            lines.push_back(samplefold_test::show(row[0]) + " " + samplefold_test::show(row[2]) +
                            " " + samplefold_test::show(row[5]));
        }
        return lines;
    }

    samplefold_test::AssertionRecorder assertions;
    samplefold_test::ScratchResult scratch;
    OpenLinks links;
};

TEST_F(Links, ANewInstanceIsEmptyAndFindsNothingWithoutAnAssertion)
{
    EXPECT_TRUE(links.m_packageTable.is_null());
    EXPECT_TRUE(links.m_linkKeyByEvent.empty() && links.m_packageAndLinkKeys.empty());
    EXPECT_FALSE(links.m_initialized);
    EXPECT_EQ(key(Index(1), 0), -1);
}

TEST_F(Links, EventsOfALinkWithoutARowGetARowEachOnEachPackage)
{
    const Index first = event("UNC_XLK_A[UNIT2]");
    const Index second = event("UNC_XLK_B[UNIT2]");
    const Index third = event("UNC_XLK_C[UNIT2]");
    links.init(scratch.db());
    EXPECT_EQ(rows(), (lines_t{"s32:1 s32:2 text:Link 2", "s32:1 s32:2 text:Link 2",
                               "s32:1 s32:2 text:Link 2", "s32:2 s32:2 text:Link 2",
                               "s32:2 s32:2 text:Link 2", "s32:2 s32:2 text:Link 2"}));
    EXPECT_EQ(key(first, 0), 1);
    EXPECT_EQ(key(second, 0), 2);
    EXPECT_EQ(key(third, 0), 3);
    EXPECT_EQ(key(first, 1), 4);
    EXPECT_TRUE(links.m_packageAndLinkKeys.empty());
}

TEST_F(Links, EventsOfALinkWithARowShareIt)
{
    const Index row = link(1, 2);
    const Index first = event("UNC_XLK_A[UNIT2]");
    const Index second = event("UNC_XLK_B[UNIT2]");
    const Index third = event("UNC_XLK_C[UNIT2]");
    link(2, 2);
    links.init(scratch.db());
    for (const Index type : {first, second, third}) {
        EXPECT_EQ(key(type, 0), row.value());
        EXPECT_EQ(key(type, 1), 2);
    }
    EXPECT_EQ(rows(), (lines_t{"s32:1 s32:2 null", "s32:2 s32:2 null"}));
}

TEST_F(Links, OfSeveralRowsOfALinkTheFirstCounts)
{
    link(1, 2);
    link(1, 2);
    const Index type = event("UNC_XLK_A[UNIT2]");
    links.init(scratch.db());
    EXPECT_EQ(key(type, 0), 1);
}

TEST_F(Links, ANewRowIsWrittenInTheOrderOfItsFields)
{
    // The store is played, so that the order is seen; its tables name one key each.
    const auto log = std::make_shared<samplefold_test::CallLog>();
    class OneNameTable : public samplefold_test::RowlessKeysTable {
    public:
        OneNameTable(const char* name, const char* text, samplefold_test::log_ptr_t calls)
            : RowlessKeysTable(name, std::move(calls)), m_text(text)
        {
        }
        tb2::sptr_t<rowvault1::IRecordInternal> getRecord(Index) override
        {
            return tb2::make_counted<Row>(m_text);
        }

    private:
        class Row : public rowvault1::IRecordInternal {
        public:
            explicit Row(const char* text) : m_text(text) {}
            variant_t getField(std::uint16_t) const override { return variant_t(m_text); }
            void setField(std::uint16_t, const variant_t&) override {}
            void commit() override {}
            Index key() const override { return Index(1); }

        private:
            const char* m_text;
        };
        const char* m_text;
    };
    class Database : public samplefold_test::FakeDatabase {
    public:
        using FakeDatabase::FakeDatabase;
        tb2::sptr_t<rowvault1::IAttributeTable> getAttributeTable(const char* name) override
        {
            const auto table = FakeDatabase::getAttributeTable(name);
            if (name == std::string("dd_package")) return packages;
            if (name == std::string("dd_uncore_event_type")) return events;
            return table;
        }
        tb2::sptr_t<rowvault1::IAttributeTable> packages;
        tb2::sptr_t<rowvault1::IAttributeTable> events;
    };
    const auto db = tb2::make_counted<Database>(log);
    db->packages = tb2::make_counted<OneNameTable>("dd_package", "package_5", log);
    db->events = tb2::make_counted<OneNameTable>("dd_uncore_event_type", "UNC_XLK_A[UNIT12]", log);
    links.init(db);
    EXPECT_EQ(
        log->take(),
        (lines_t{"db.getAttributeTable dd_package", "db.getAttributeTable dd_uncore_event_type",
                 "db.getAttributeTable dd_xlk_link_info", "dd_xlk_link_info.createOrphanRecord",
                 "dd_xlk_link_info[2]=s32:12", "dd_xlk_link_info[0]=s32:1",
                 "dd_xlk_link_info[5]=text:Link 12", "dd_xlk_link_info.commit(0,0)->1"}));
    EXPECT_EQ(key(Index(1), 5), 1);
}

TEST_F(Links, OtherEventsHaveNoEntry)
{
    for (const char* const name :
         {"UNC_IIO_X[UNIT2]", "UNC_XLKS_X[UNIT2]", "UNC_XLK_X", "UNC_XLK[UNIT2]",
          "UNC_XLK_X[UNIT2]x", "UNC_XLK_X[UNIT]", "unc_xlk_X[UNIT2]", ""})
        EXPECT_EQ(key(event(name), 0), -1);
    links.init(scratch.db());
    EXPECT_TRUE(links.m_linkKeyByEvent.empty());
    EXPECT_EQ(rows(), lines_t{});
}

TEST_F(Links, TheLastUnitOfANameCounts)
{
    event("UNC_XLK_X[UNIT7].PART1:tid=0x3[UNIT2]");
    links.init(scratch.db());
    EXPECT_EQ(rows()[0], "s32:1 s32:2 text:Link 2");
}

TEST_F(Links, PackagesWithoutANumberHaveNoEntries)
{
    scratch.addNamed("dd_package", "nameless");
    event("UNC_XLK_A[UNIT2]");
    links.init(scratch.db());
    EXPECT_EQ(links.m_linkKeyByEvent.size(), 2u);
    EXPECT_EQ(rows().size(), 2u);
}

TEST_F(Links, OfTwoPackagesWithOneNumberTheFirstCounts)
{
    scratch.addNamed("dd_package", "again_0");
    const Index type = event("UNC_XLK_A[UNIT2]");
    links.init(scratch.db());
    EXPECT_EQ(key(type, 0), 1);
    EXPECT_EQ(rows().size(), 3u) << "the row is written all the same";
}

TEST_F(Links, ASecondInitReturnsAtOnceAlsoWithAnotherResult)
{
    links.init(scratch.db());
    const samplefold_test::ScratchResult other;
    other.addNamed("dd_package", "package_0");
    const Index type = other.addNamed("dd_uncore_event_type", "UNC_XLK_A[UNIT2]");
    links.init(other.db());
    EXPECT_EQ(key(type, 0), -1);
    EXPECT_EQ(other.count("dd_xlk_link_info"), 0u);
}

TEST_F(Links, MissingTablesAndDatabasesAreAsserted)
{
    const std::pair<const char*, const char*> tables[] = {
        {"dd_package", "!m_packageTable.is_null()"},
        {"dd_uncore_event_type", "!m_uncoreEventTypeTable.is_null()"},
        {"dd_xlk_link_info", "!m_xlkLinkInfoTable.is_null()"}};
    for (const auto& [name, text] : tables) {
        const auto db = tb2::make_counted<samplefold_test::FakeDatabase>(
            std::make_shared<samplefold_test::CallLog>());
        db->missingTables.insert(name);
        OpenLinks one;
        one.init(db);
        EXPECT_EQ(assertions.take(), lines_t{text});
    }
    links.init({});
    EXPECT_EQ(assertions.take().front(), "!db.is_null()");
}

TEST_F(Links, KeysWithoutARowAreAsserted)
{
    const std::pair<const char*, const char*> tables[] = {
        {"dd_package", "!packageAcc.isNull()"}, {"dd_xlk_link_info", "!xlkLinkAcc.isNull()"}};
    for (const auto& [name, text] : tables) {
        const auto db = tb2::make_counted<samplefold_test::RowlessKeysDatabase>(
            name, std::make_shared<samplefold_test::CallLog>());
        OpenLinks one;
        one.init(db);
        EXPECT_EQ(assertions.take().front(), text);
    }
}

TEST_F(Links, NamesOfAMegabyteAreRead)
{
    constexpr std::size_t g_size = std::size_t{1} << 20;
    const Index right = event("UNC_XLK_" + std::string(g_size, 'x') + "[UNIT2]");
    const Index digits = event("UNC_XLK_X[UNIT" + std::string(g_size, '1') + "]");
    for (const char one : {'_', 'A', '1', '[', '\n'}) {
        event(std::string(g_size, one));
        event(std::string(g_size, one) + "[UNIT2]");
        event("UNC_XLK_" + std::string(g_size, one));
    }
    links.init(scratch.db());
    EXPECT_EQ(links.m_linkKeyByEvent.size(), 4u);
    EXPECT_EQ(scratch.at("dd_xlk_link_info", Index(key(right, 0)), 2).as_s32(), 2);
    EXPECT_EQ(scratch.at("dd_xlk_link_info", Index(key(digits, 1)), 2).as_s32(), 2147483647);
}

} // namespace
} // namespace samplefold_1
