#include "result_fixture.h"

using namespace rowvault1;
using tb2::variant_t;

namespace {

class Query : public ResultTest {
protected:
    Query() : result(create()) {}

    tb2::sptr_t<IQuery> on(const char* table) { return result->database()->createQuery(table, 2); }

    /// All rows, values joined by '|' as the sqlite3 shell writes them.
    static std::string rowsOf(const tb2::sptr_t<IGenericRecordset>& rows, std::uint16_t columns)
    {
        std::string text;
        for (; !rows->atEnd(); rows->next()) {
            if (!text.empty()) text += '\n';
            for (std::uint16_t n = 0; n < columns; ++n) {
                const variant_t& value = rows->current()->get(n);
                if (n > 0) text += '|';
                if (value.kind() == variant_t::kind_t::text)
                    text += value.as_text();
                else if (value.is_integer())
                    text += std::to_string(static_cast<std::int64_t>(value.integer_bits()));
            }
        }
        return text;
    }

    /// Two modules, three locations, four callsites, six samples; some references are empty or
    /// broken.
    void fill()
    {
        addRow(*result, "dd_module_segment", {{1, variant_t(1)}});
        addRow(*result, "dd_module_segment", {{1, variant_t(2)}});
        addRow(*result, "dd_code_location", {{0, variant_t(std::uint64_t{16})}, {1, variant_t(1)}});
        addRow(*result, "dd_code_location", {{0, variant_t(std::uint64_t{32})}, {1, variant_t(2)}});
        addRow(*result, "dd_code_location",
               {{0, variant_t(std::uint64_t{1} << 63)}, {1, variant_t()}});
        addRow(*result, "dd_callsite", {{1, variant_t(1)}});
        addRow(*result, "dd_callsite", {{0, variant_t(1)}, {1, variant_t(2)}});
        addRow(*result, "dd_callsite", {{0, variant_t(-1)}, {1, variant_t(3)}});
        addRow(*result, "dd_callsite", {{1, variant_t(99)}});
        for (const int callsite : {4, 3, 2, 1, 77})
            addRow(*result, "dd_sample", {{4, variant_t(callsite)}});
        addRow(*result, "dd_sample", {});
    }

    tb2::sptr_t<IResult> result;
};

TEST_F(Query, DottedPathsFollowReferencesAsTheShellDoes)
{
    fill();
    const auto query = on("dd_sample");
    EXPECT_EQ(query->addColumn("rowid"), 0);
    EXPECT_EQ(query->addColumn("callsite"), 1);
    EXPECT_EQ(query->addColumn("callsite.code_loc.rva"), 2);
    EXPECT_EQ(query->addColumn("callsite.code_loc.mod_seg"), 3);
    EXPECT_EQ(query->addColumn("callsite.parent"), 4);
    EXPECT_EQ(query->addColumn("callsite.code_loc.mod_seg.kind"), 5);
    const std::string rows = rowsOf(query->execute(), 6);
    result->finish();
    EXPECT_EQ(rows,
              shell("SELECT s.id, s.callsite, l.rva, l.mod_seg, c.parent, m.kind FROM dd_sample s"
                    " LEFT JOIN dd_callsite c ON c.id = s.callsite"
                    " LEFT JOIN dd_code_location l ON l.id = c.code_loc"
                    " LEFT JOIN dd_module_segment m ON m.id = l.mod_seg ORDER BY s.id"));
    EXPECT_EQ(rows.substr(0, rows.find('\n', 8)), "1|4||||\n2|3|-9223372036854775808||-1|");
}

TEST_F(Query, ValuesHaveTheKindOfTheirColumn)
{
    fill();
    const auto query = on("dd_callsite");
    query->addColumn("rowid");
    query->addColumn("code_loc.rva");
    const auto rows = query->execute();
    EXPECT_EQ(rows->current()->get(0), variant_t(1));
    EXPECT_EQ(rows->current()->get(1), variant_t(std::uint64_t{16}));
}

TEST_F(Query, AnUnknownTableGivesANullHandle)
{
    EXPECT_TRUE(on("no_such_table").is_null());
    EXPECT_TRUE(result->database()->createQuery(nullptr, 2).is_null());
}

TEST_F(Query, UnknownNamesAndPathsAreNoColumns)
{
    const auto query = on("dd_sample");
    for (const char* const name :
         {"nothing", "", ".", "callsite.", ".callsite", "callsite.nothing", "ip.rva", "rowid.ip",
          "callsite..parent", "ip; DROP TABLE dd_sample"})
        EXPECT_EQ(query->addColumn(name), InvalidColIdx) << name;
    EXPECT_EQ(query->addColumn(nullptr), InvalidColIdx);
    EXPECT_EQ(query->addColumn("ip"), 0);
}

TEST_F(Query, WithoutColumnsThereIsNoResult)
{
    EXPECT_TRUE(on("dd_sample")->execute().is_null());
}

TEST_F(Query, AnEmptyTableIsAtItsEndAtOnce)
{
    const auto query = on("dd_sample");
    query->addColumn("ip");
    const auto rows = query->execute();
    ASSERT_FALSE(rows.is_null());
    EXPECT_TRUE(rows->atEnd());
    EXPECT_EQ(rows->current(), nullptr);
}

TEST_F(Query, AColumnBeyondTheQueryFiresAndReadsNull)
{
    fill();
    const auto query = on("dd_sample");
    query->addColumn("ip");
    const auto rows = query->execute();
    const AssertionLog log;
    EXPECT_TRUE(rows->current()->get(1).is_null());
    EXPECT_EQ(log.expressions(), std::vector<std::string>{"column < size()"});
}

TEST_F(Query, TheRowsSeenAreThoseOfTheMomentOfExecution)
{
    constexpr int rows = 2000;
    for (int n = 0; n < rows; ++n)
        addRow(*result, "dd_cpu", {{0, variant_t(n)}});
    const auto query = on("dd_cpu");
    query->addColumn("number");
    const auto walk = query->execute();
    int seen = 0;
    for (; !walk->atEnd(); walk->next()) {
        ASSERT_EQ(walk->current()->get(0), variant_t(seen));
        ++seen;
        addRow(*result, "dd_cpu", {{0, variant_t(-1)}});
        if (seen == rows / 2) result->commitPoint();
    }
    EXPECT_EQ(seen, rows);
}

TEST_F(Query, TooManyJoinsGiveNoResult)
{
    std::string path;
    for (int n = 0; n < 80; ++n)
        path += "parent.";
    const auto query = on("dd_callsite");
    EXPECT_EQ(query->addColumn((path + "rowid").c_str()), 0);
    EXPECT_TRUE(query->execute().is_null());
}

TEST_F(Query, ARecordsetOutlivesTheHandlesOfItsResult)
{
    fill();
    const auto query = on("dd_sample");
    query->addColumn("callsite");
    const auto rows = query->execute();
    result.reset();
    EXPECT_EQ(rows->current()->get(0), variant_t(4));
}

} // namespace
