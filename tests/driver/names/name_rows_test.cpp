#include "driver/session/scratch_result.h"

#include "names/name_rows.h"

namespace samplefold::names {
namespace {

using lines_t = std::vector<std::string>;

/// A module with one segment and a place, at which `outer` calls `middle` calls `inner`, both
/// inlined.
class NameRowsTest : public session::testing::ScratchResultTest {
protected:
    NameRowsTest()
    {
        session::RowWriter module(db(), "dd_module_file");
        m_module = module.set("name", tb2::variant_t("program")).commit();
        session::RowWriter segment(db(), "dd_module_segment");
        m_segment = segment.set("module", rowvault1::utils::indexToVariant(m_module)).commit();
        addPlace(0x1010);
    }

    void addPlace(std::uint64_t rva)
    {
        // By its number, since the library alone writes code locations by name.
        auto row = db()->getAttributeTable("dd_code_location")->createOrphanRecord();
        row[0] = tb2::variant_t(rva);
        row[1] = rowvault1::utils::indexToVariant(m_segment);
        rowvault1::Index key;
        row.commit(key, 0, 0);
    }

    FoundNames found(std::uint64_t rva = 0x1010)
    {
        FoundNames names;
        const number_t outer = names.functions.number({"outer()", "_Z5outerv", true, 0x1000, 0x80});
        const number_t middle = names.functions.number({"middle", "", false, 0, 0});
        const number_t inner = names.functions.number({"inner", "", false, 0, 0});
        const number_t file = names.files.number("/src/a.c");
        const number_t header = names.files.number("/src/a.h");
        const number_t called = names.inlined.number({middle, none, file, 30});
        const number_t innermost = names.inlined.number({inner, called, header, 20});
        PlaceName name{outer, header, 10, innermost, none};
        names.places.emplace_back(Place{m_segment.value(), rva, 0, 0, false}, name);
        return names;
    }
    void write(const FoundNames& names) { NameRows(db()).write(m_module.value(), names); }

    rowvault1::Index m_module;
    rowvault1::Index m_segment;
};

TEST_F(NameRowsTest, APlaceHasItsFunctionFileAndLine)
{
    write(found());
    EXPECT_EQ(ask("SELECT module, rva, function, file, line, missing FROM code"),
              lines_t{"program|0x1010|outer()|/src/a.h|10|-"});
    EXPECT_EQ(ask("SELECT name, raw_name, start, size FROM dd_function WHERE start IS NOT NULL"),
              lines_t{"outer()|_Z5outerv|4096|128"});
}

TEST_F(NameRowsTest, InlinedFunctionsHaveThePlacesOfTheirCalls)
{
    write(found());
    EXPECT_EQ(ask("SELECT depth, function, file, line FROM inlined_frames ORDER BY depth"),
              (lines_t{"0|inner|/src/a.h|10", "1|middle|/src/a.h|20", "2|outer()|/src/a.c|30"}));
}

TEST_F(NameRowsTest, RowsThatAreThereAreUsedAgain)
{
    write(found());
    const auto count = [this] {
        return ask("SELECT (SELECT count(*) FROM dd_function), (SELECT count(*) FROM dd_inlined), "
                   "(SELECT count(*) FROM dd_source_file)");
    };
    const lines_t before = count();
    EXPECT_EQ(before, lines_t{"3|2|2"});
    addPlace(0x1020);
    write(found(0x1020));
    EXPECT_EQ(count(), before);
    reopen();
    addPlace(0x1030);
    write(found(0x1030));
    EXPECT_EQ(count(), before);
    EXPECT_EQ(ask("SELECT count(*) FROM dd_code_name"), lines_t{"3"});
}

TEST_F(NameRowsTest, APlaceWithoutAFunctionSaysWhy)
{
    FoundNames names;
    PlaceName name;
    name.missing = names.reasons.number("nothing is there");
    names.places.emplace_back(Place{m_segment.value(), 0x1010, 0, 0, false}, name);
    write(names);
    EXPECT_EQ(ask("SELECT function, file, line, missing FROM code"),
              lines_t{"-|-|-|nothing is there"});
}

TEST_F(NameRowsTest, FunctionsOfOneNameAreApartByWhereTheyStart)
{
    FoundNames names;
    for (const std::uint64_t start : {0x1000, 0x2000}) {
        PlaceName name;
        name.function = names.functions.number({"helper", "", true, start, 16});
        names.places.emplace_back(Place{m_segment.value(), start, 0, 0, false}, name);
    }
    write(names);
    EXPECT_EQ(ask("SELECT count(*), count(DISTINCT function) FROM dd_code_name"), lines_t{"2|2"});
}

} // namespace
} // namespace samplefold::names
