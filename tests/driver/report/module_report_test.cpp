#include "made_chains.h"

#include "report/module_report.h"

#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using testing::Columns;
using testing::number;
using testing::text;

class ModuleReportTest : public testing::MadeChainsTest {
protected:
    Index search(const std::string& path, const Columns& further = {})
    {
        Columns columns = further;
        columns.emplace_back("module", indexToVariant(module(path)));
        return add("dd_module_search", columns);
    }
    void attempt(Index search, std::int32_t step, const std::string& path,
                 const std::string& refusal)
    {
        add("dd_module_attempt", {{"search", indexToVariant(search)},
                                  {"step", number(step)},
                                  {"purpose", text("binary")},
                                  {"place", text("path itself")},
                                  {"path", text(path)},
                                  {"refusal", text(refusal)}});
    }
    std::string written(const ModuleOptions& options = {})
    {
        std::ostringstream out;
        writeModules(result(), options, out);
        return out.str();
    }
    std::string paths(const ModuleOptions& options)
    {
        std::string list;
        const auto json = modulesToJson(result(), options);
        for (const auto& item : json["modules"])
            list += item["path"].get<std::string>() + " ";
        return list;
    }
};

TEST_F(ModuleReportTest, AFoundModuleTellsItsFilesWithoutAttempts)
{
    attempt(search("/bin/a", {{"found", text("/here/a")}, {"symbols", text("/here/a.debug")}}), 0,
            "/here/a", "");
    sampleAt("/bin/a", 1);
    sampleAt("/bin/a", 2);
    EXPECT_EQ(written(), "/bin/a\n"
                         "  samples   2\n"
                         "  found     /here/a\n"
                         "  symbols   /here/a.debug\n");
}

TEST_F(ModuleReportTest, AModuleThatWasNotFoundTellsEveryPathThatWasTried)
{
    const Index reason = add("dd_missing_name", {{"reason", text("no file was found")}});
    const Index made = search("/bin/a", {{"missing", indexToVariant(reason)}});
    attempt(made, 0, "/bin/a", "build id");
    attempt(made, 1, "/other/a\x1b", "not found");
    sampleAt("/bin/a", 1);
    EXPECT_EQ(written(), "/bin/a\n"
                         "  samples   1\n"
                         "  found     no file\n"
                         "  no names  no file was found\n"
                         "    tried for  place        path          outcome\n"
                         "    binary     path itself  /bin/a        build id\n"
                         "    binary     path itself  /other/a\\x1b  not found\n");
}

TEST_F(ModuleReportTest, TheLastSearchHolds)
{
    attempt(search("/bin/a", {{"found", text("/old/a")}}), 0, "/old/a", "");
    attempt(search("/bin/a"), 0, "/new/a", "not found");
    sampleAt("/bin/a", 1);
    const auto item = modulesToJson(result(), {})["modules"][0];
    EXPECT_TRUE(item["found"].is_null());
    ASSERT_EQ(item["attempts"].size(), 1U);
    EXPECT_EQ(item["attempts"][0]["path"], "/new/a");
    EXPECT_EQ(item["attempts"][0]["refusal"], "not found");
}

TEST_F(ModuleReportTest, ModulesWithoutSamplesAndNamesThatAreNoFilesAreCounted)
{
    search("/bin/few");
    search("/bin/many");
    search("/bin/none");
    sampleAt("/bin/few", 1);
    sampleAt("/bin/many", 1);
    sampleAt("/bin/many", 1);
    sampleAt("//anon", 1);
    EXPECT_EQ(paths({}), "/bin/many /bin/few ");
    EXPECT_EQ(paths({true, false}), "/bin/many //anon /bin/few /bin/none ");
    EXPECT_EQ(modulesToJson(result(), {})["not_shown"], 2);
    EXPECT_NE(written().find("... 2 more"), std::string::npos);
    EXPECT_EQ(written({true, false}).find("more"), std::string::npos);
}

TEST_F(ModuleReportTest, AttemptsOfAllCanBeListed)
{
    attempt(search("/bin/a", {{"found", text("/here/a")}}), 0, "/here/a", "");
    sampleAt("/bin/a", 1);
    EXPECT_FALSE(modulesToJson(result(), {})["modules"][0].contains("attempts"));
    EXPECT_EQ(modulesToJson(result(), {false, true})["modules"][0]["attempts"].size(), 1U);
    EXPECT_NE(written({false, true}).find("/here/a  taken"), std::string::npos);
}

TEST_F(ModuleReportTest, RowsThatAreSumsAreNotCalledSamples)
{
    search("/bin/a");
    sampleAt("/bin/a", 1);
    result().setInfo("store_each_sample", "off");
    EXPECT_FALSE(modulesToJson(result(), {})["modules"][0].contains("samples"));
    EXPECT_EQ(written().find("samples"), std::string::npos);
}

TEST_F(ModuleReportTest, RowsThatPointNowhereAreLeftOut)
{
    add("dd_module_search", {{"module", number(99)}, {"missing", number(98)}});
    attempt(Index(97), 0, "/x", "");
    search("/bin/a", {{"missing", number(98)}});
    sampleAt("/bin/a", 1);
    EXPECT_EQ(paths({true, true}), "/bin/a ");
}

} // namespace
} // namespace samplefold::report
