#include "modules_manager/registry_fixture.h"

#include <filesystem>
#include <fstream>
#include <iterator>

// The file ".moduledb" of a result.
namespace samplefold_1 {
namespace {

using ModuleDbFile = RegistryTest;

std::string contentOf(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST_F(ModuleDbFile, IsWrittenWithTheLastHandleSortedByPath)
{
    auto modules = open();
    add(*modules, module("/b"));
    add(*modules, module("/a"));
    auto second = modules;
    modules.reset();
    EXPECT_FALSE(std::filesystem::exists(moduleDb()));
    second.reset();
    EXPECT_EQ(readModuleDb(), (lines_t{"/a a sum of /here/a", "/b b sum of /here/b"}));
}

TEST_F(ModuleDbFile, HoldsNothingButNameChecksumAndPathInThisOrder)
{
    add(*open(), module("/a"));
    const std::string content = contentOf(moduleDb());
    std::size_t last = content.find("\"module\"");
    for (const char* key : {"\"name\"", "\"md5sum\"", "\"path\""}) {
        const std::size_t place = content.find(key);
        ASSERT_NE(place, std::string::npos) << key;
        EXPECT_LT(last, place) << key;
        last = place;
    }
    EXPECT_EQ(content.find("\"key\"", last + 1), std::string::npos) << content;
}

TEST_F(ModuleDbFile, IsReadByTheNextRegistryWhichCalculatesNothing)
{
    add(*open(), module("/a"));
    fakeFileSearch().take();
    const auto modules = open();
    add(*modules, module("/a"));
    EXPECT_EQ(countCalls("calculateChecksum"), 0);
    EXPECT_EQ(db->table("dd_module_file").at(2, 3), variant_t("sum of /here/a"));
}

TEST_F(ModuleDbFile, KeepsWhatItHeld)
{
    writeModuleDb({saved("z", "55", "/z"), saved("a", "11", "/a")});
    add(*open(), module("/m"));
    EXPECT_EQ(readModuleDb(), (lines_t{"/a a 11", "/m m sum of /here/m", "/z z 55"}));
}

TEST_F(ModuleDbFile, IsNeverWrittenWithoutResolving)
{
    writeModuleDb({saved("z", "55", "/z")});
    const std::string before = contentOf(moduleDb());
    add(*open(false), module("/m"));
    EXPECT_EQ(contentOf(moduleDb()), before);
    std::filesystem::remove(moduleDb());
    add(*open(false), module("/m"));
    EXPECT_FALSE(std::filesystem::exists(moduleDb()));
}

TEST_F(ModuleDbFile, StaysWhenNoModuleIsKnown)
{
    // With another root, so that nothing is read from it and the registry stays empty.
    tb2::variant_bag_t bag;
    bag.put("answer", variant_t("42"));
    ASSERT_EQ(tb2::save_variant_bag2(bag, moduleDb(), "bag"), 1);
    const std::string before = contentOf(moduleDb());
    open();
    EXPECT_EQ(contentOf(moduleDb()), before);
    std::filesystem::remove(moduleDb());
    open();
    EXPECT_FALSE(std::filesystem::exists(moduleDb()));
}

TEST_F(ModuleDbFile, LosesItsModulesWhenNoneHasAChecksum)
{
    writeModuleDb({saved("a", "", "/a")});
    open();
    EXPECT_EQ(readModuleDb(), lines_t{});
}

TEST_F(ModuleDbFile, AChildWithoutAPathIsAnEntryUnderTheEmptyText)
{
    writeModuleDb({{{"name", variant_t("a")}, {"md5sum", variant_t("11")}}});
    EXPECT_EQ(list(open()), lines_t{" a 11"});
}

TEST_F(ModuleDbFile, WhatAChildLacksIsEmpty)
{
    writeModuleDb({{{"path", variant_t("/a")}}});
    EXPECT_EQ(list(open()), lines_t{"/a  "});
}

TEST_F(ModuleDbFile, OfTwoChildrenOfOnePathTheFirstStays)
{
    writeModuleDb({saved("first", "11", "/a"), saved("second", "22", "/a")});
    EXPECT_EQ(list(open(false)), lines_t{"/a first 11"});
}

TEST_F(ModuleDbFile, AValueThatIsNoTextFiresAndCountsAsEmpty)
{
    writeModuleDb({{{"path", variant_t("/a")}, {"md5sum", variant_t(std::int32_t{7})}}});
    EXPECT_EQ(list(open(false)), lines_t{"/a  "});
    EXPECT_EQ(assertions.take().size(), 1U);
}

TEST_F(ModuleDbFile, ThatCannotBeReadIsACheckedFailureAndTheRegistryGoesOn)
{
    folder.addFile(".moduledb", "{\"bag\": [");
    const auto modules = open();
    EXPECT_EQ(failures(), lines_t{"tb2::is_success(status)"});
    EXPECT_EQ(list(modules), lines_t{});
    add(*modules, module("/a"));
    EXPECT_EQ(list(modules), lines_t{"/a a sum of /here/a"});
}

TEST_F(ModuleDbFile, WithAnotherRootCannotBeRead)
{
    tb2::variant_bag_t bag;
    ASSERT_EQ(tb2::save_variant_bag2(bag, moduleDb(), "other"), 1);
    open(false);
    EXPECT_EQ(failures(), lines_t{"tb2::is_success(status)"});
}

TEST_F(ModuleDbFile, IsReadWithoutADatabase)
{
    writeModuleDb({saved("a", "11", "/a")});
    EXPECT_EQ(list(createModulesManager(folder.path(), false, nullptr, nullptr)),
              lines_t{"/a a 11"});
}

TEST_F(ModuleDbFile, ThatCannotBeWrittenIsNoFailure)
{
    auto modules = open();
    add(*modules, module("/a"));
    std::filesystem::remove_all(folder.path());
    modules.reset();
    EXPECT_EQ(failures(), lines_t{});
    EXPECT_FALSE(std::filesystem::exists(folder.path()));
}

TEST_F(ModuleDbFile, WithoutAResultDirectoryThereIsNoneAndTheRegistryIsInert)
{
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    folder.addFile(".new", "another's");
    {
        const auto modules = createModulesManager("", true, &messenger, db);
        EXPECT_EQ(failures(), lines_t{"!resultDir.empty()"});
        EXPECT_EQ(calls->take(), lines_t{}) << "no table is taken";
        EXPECT_EQ(add(*modules, module("/a")), Index());
        EXPECT_EQ(fakeFileSearch().take(), lines_t{});
    }
    std::filesystem::current_path(former);
    EXPECT_EQ(contentOf(folder.path(".new")), "another's");
    EXPECT_FALSE(std::filesystem::exists(moduleDb()));
}

} // namespace
} // namespace samplefold_1
