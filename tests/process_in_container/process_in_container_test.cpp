#include "support/fake_database.h"
#include "support/temporary_folder.h"

#include <samplefold_1/process_in_container.h>

#include <rowvault1/result.h>

#include <gtest/gtest.h>

#include <optional>

namespace samplefold_1 {
namespace {

using rowvault1::Index;
using tb2::variant_t;

class InContainer : public ::testing::Test {
protected:
    Index addRow(const char* table,
                 std::initializer_list<std::pair<std::uint16_t, variant_t>> fields)
    {
        const rowvault1::OrphanRecord record =
            result->database()->getAttributeTable(table)->createOrphanRecord();
        for (const auto& [column, value] : fields)
            record[column] = value;
        Index key;
        record.commit(key, 0, 0);
        return key;
    }
    Index addContainer(const char* label)
    {
        return addRow("dd_container_desc", {{0, variant_t(label)}, {1, variant_t("some image")}});
    }
    Index addProcess(std::int64_t pid, const char* root, Index container)
    {
        return addRow(
            "dd_process_in_container",
            {{0, variant_t(pid)}, {2, variant_t(root)}, {3, variant_t(container.value())}});
    }
    ProcessInContainer& read()
    {
        processes.emplace(result->database());
        processes->init(result->database());
        return *processes;
    }

    samplefold_test::TemporaryFolder folder;
    tb2::sptr_t<rowvault1::IResult> result =
        rowvault1::openResult(folder.path("result"), rowvault1::open_mode_t::create);
    std::optional<ProcessInContainer> processes;
};

TEST_F(InContainer, WithoutRowsEveryPathPassesThrough)
{
    const ProcessInContainer& none = read();
    EXPECT_EQ(none.getPathInContainer(7, "/usr/bin/t"), "/usr/bin/t");
    EXPECT_EQ(none.addPrefixToContainerPath(7, "/usr/bin/t"), "/usr/bin/t");
    EXPECT_FALSE(none.getIndexByPid(7).exist());
}

TEST_F(InContainer, TheRowOfAProcessIsFoundByItsNumber)
{
    const Index web = addContainer("web");
    addProcess(8, "/a", web);
    const Index row = addProcess(7, "/a", web);
    EXPECT_EQ(read().getIndexByPid(7), row);
    EXPECT_FALSE(processes->getIndexByPid(9).exist());
}

TEST_F(InContainer, NamesThatAreNoFilesKeepTheirForm)
{
    addProcess(7, "/a", addContainer("web"));
    const ProcessInContainer& in = read();
    for (const char* const name : {"[vdso]", "[vsyscall]"}) {
        EXPECT_EQ(in.getPathInContainer(7, name), name);
        EXPECT_EQ(in.addPrefixToContainerPath(7, name), name);
    }
    EXPECT_EQ(in.addPrefixToContainerPath(7, "[vdso]x"), "web:[vdso]x");
}

TEST_F(InContainer, APathOutsideTheHostRootStillGetsTheLabel)
{
    addProcess(7, "/a/b", addContainer("web"));
    EXPECT_EQ(read().getPathInContainer(7, "/usr/bin/t"), "web:/usr/bin/t");
}

TEST_F(InContainer, AnInsidePathOnlyGetsTheLabel)
{
    addProcess(7, "/a/b", addContainer("web"));
    EXPECT_EQ(read().addPrefixToContainerPath(7, "/a/b/x/y/usr/bin/t"), "web:/a/b/x/y/usr/bin/t");
}

TEST_F(InContainer, APathLosesTheRootAndTwoElementsMore)
{
    addProcess(7, "/a/b", addContainer("web"));
    EXPECT_EQ(read().getPathInContainer(7, "/a/b/x/y/usr/bin/t"), "web:/usr/bin/t");
}

TEST_F(InContainer, ElementsAreCountedAndNotCompared)
{
    addProcess(7, "/a/b", addContainer("web"));
    EXPECT_EQ(read().getPathInContainer(7, "/q/r/s/t/a/b/usr"), "web:/a/b/usr")
        << "the root occurs in it, and three elements and two more go";
}

TEST_F(InContainer, APathThatEndsWithinTheDroppedElementsIsTheRoot)
{
    addProcess(7, "/a/b", addContainer("web"));
    const ProcessInContainer& in = read();
    EXPECT_EQ(in.getPathInContainer(7, "/a/b"), "web:/");
    EXPECT_EQ(in.getPathInContainer(7, "/a/b/x"), "web:/");
    EXPECT_EQ(in.getPathInContainer(7, "/a/b/x/y"), "web:/");
}

TEST_F(InContainer, OfSeveralRowsOfAProcessTheFirstCounts)
{
    const Index first = addProcess(7, "/a", addContainer("web"));
    addProcess(7, "/a", addContainer("db"));
    EXPECT_EQ(read().getIndexByPid(7), first);
    EXPECT_EQ(processes->addPrefixToContainerPath(7, "/x"), "web:/x");
}

TEST_F(InContainer, OnlyTheLowBitsOfAProcessNumberAreKept)
{
    const Index row = addProcess((std::int64_t{5} << 32) + 7, "/a", addContainer("web"));
    EXPECT_EQ(read().getIndexByPid(7), row);
}

TEST_F(InContainer, TheTablesAreReadOnce)
{
    const Index web = addContainer("web");
    addProcess(7, "/a", web);
    read();
    addProcess(8, "/a", web);
    processes->init(result->database());
    EXPECT_FALSE(processes->getIndexByPid(8).exist());
}

TEST_F(InContainer, BeforeTheTablesAreReadNothingIsFound)
{
    addProcess(7, "/a", addContainer("web"));
    const ProcessInContainer in(result->database());
    EXPECT_FALSE(in.getIndexByPid(7).exist());
    EXPECT_EQ(in.addPrefixToContainerPath(7, "/x"), "/x");
}

TEST_F(InContainer, TheTablesAreTakenByTheFirstReadingAlone)
{
    const auto calls = std::make_shared<samplefold_test::CallLog>();
    const auto db = tb2::make_counted<samplefold_test::FakeDatabase>(calls);
    ProcessInContainer in(db);
    EXPECT_EQ(calls->take(), samplefold_test::lines_t{});
    in.init(db);
    EXPECT_EQ(calls->take(),
              (samplefold_test::lines_t{"db.getAttributeTable dd_process_in_container",
                                        "db.getAttributeTable dd_container_desc"}));
    in.init(db);
    EXPECT_EQ(calls->take(), samplefold_test::lines_t{});
}

TEST_F(InContainer, WithoutTheTablesEveryPathPassesThrough)
{
    const auto db = tb2::make_counted<samplefold_test::FakeDatabase>(
        std::make_shared<samplefold_test::CallLog>());
    db->missingTables = {"dd_process_in_container", "dd_container_desc"};
    ProcessInContainer in(db);
    in.init(db);
    EXPECT_EQ(in.getPathInContainer(7, "/usr/bin/t"), "/usr/bin/t");
    EXPECT_FALSE(in.getIndexByPid(7).exist());
}

} // namespace
} // namespace samplefold_1
