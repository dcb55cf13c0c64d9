#include "made_chains.h"
#include "sample_elf.h"

#include "report/archive.h"

#include "support/md5_of_file.h"
#include "support/temporary_folder.h"

#include <SEEK_2_13/resolution_context.h>

#include <filesystem>

namespace samplefold::report {
namespace {

namespace fs = std::filesystem;
using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using seek_test::bytesOf;
using seek_test::put;
using seek_test::SampleElf;
using testing::Columns;
using testing::text;

/// A machine with binaries below a folder, which can be taken away.
class ArchiveTest : public testing::MadeResultTest {
protected:
    /// A module that was found at `found`, with its checksum.
    void addModule(const std::string& path, std::string_view buildId, const std::string& found,
                   const std::string& symbols = {})
    {
        const Index module =
            add("dd_module_file", {{"path", text(path)},
                                   {"build_id", text(buildId)},
                                   {"md5", text(samplefold_test::md5OfFile(found))}});
        Columns columns{{"module", indexToVariant(module)}, {"found", text(found)}};
        if (!symbols.empty()) columns.emplace_back("symbols", text(symbols));
        add("dd_module_search", columns);
        if (!buildId.empty()) data.buildIds[path] = buildId;
    }
    /// Files of the machine: they go away together.
    std::string onMachine(const std::string& name, const std::string& bytes)
    {
        return put(machine.path(name), bytes);
    }
    void removeMachine() { fs::remove_all(machine.path("opt")); }

    ArchiveReport archive(bool sources = false, bool dryRun = false)
    {
        return fillArchive(archivePlan(result(), sources), dryRun);
    }
    /// "state" of each file, in the order of the plan.
    std::string states(const ArchiveReport& report)
    {
        std::string list;
        const auto json = archiveToJson(report);
        for (const auto& file : json["files"])
            list += (list.empty() ? "" : " ") + file["state"].get<std::string>();
        return list;
    }
    std::string folder() { return fs::path(result().databasePath()).parent_path(); }
    std::string inArchive(const std::string& place) { return folder() + "/archive/" + place; }
    std::uint64_t filesInArchive()
    {
        std::uint64_t count = 0;
        for (const auto& entry : fs::recursive_directory_iterator(folder() + "/archive"))
            if (entry.is_regular_file()) ++count;
        return count;
    }

    /// A search as a load into the result makes it.
    SEEK_2_13::ObjectPtr<SEEK_2_13::IFileSearch> search()
    {
        const auto manager = SEEK_2_13::IResolutionContextMgr::create();
        const auto context = manager->openContext(folder().c_str());
        EXPECT_TRUE(context->record(data));
        return manager->createFileSearch(context, "test", {});
    }
    std::string found(const std::string& path)
    {
        const auto file = search()->findFile(path.c_str(), nullptr, 0, 0);
        return file ? file->getPath() : "";
    }

    samplefold_test::TemporaryFolder machine;
    SEEK_2_13::context_data_t data;
    const std::string right = SampleElf::withId(SampleElf::rightId);
    const std::string wrong = SampleElf::withId(SampleElf::wrongId);
};

TEST_F(ArchiveTest, ASearchFindsABinaryWhoseOriginalIsGone)
{
    const std::string path = onMachine("opt/tool.so", right);
    addModule(path, SampleElf::rightId, path);
    EXPECT_EQ(states(archive()), "copied");
    EXPECT_EQ(found(path), path);
    removeMachine();
    EXPECT_EQ(bytesOf(found(path)), right);
}

TEST_F(ArchiveTest, TwoModulesOfOnePathKeepTheirOwnFiles)
{
    const std::string path = machine.path("opt/tool.so");
    addModule(path, SampleElf::wrongId, onMachine("opt/old.so", wrong));
    addModule(path, SampleElf::rightId, onMachine("opt/new.so", right));
    EXPECT_EQ(states(archive()), "copied copied");
    removeMachine();
    EXPECT_EQ(bytesOf(found(path)), right);
    data.buildIds[path] = SampleElf::wrongId;
    EXPECT_EQ(bytesOf(found(path)), wrong);
}

TEST_F(ArchiveTest, WithoutABuildIdTheBinaryGoesByItsPath)
{
    const std::string path = onMachine("opt/app/tool.so", SampleElf::withId(""));
    addModule(path, "", path);
    addModule("label:/inside/../tool.so", "", onMachine("opt/inside.so", right));
    EXPECT_EQ(states(archive()), "copied copied");
    removeMachine();
    EXPECT_EQ(found(path), inArchive(path.substr(1)));
    EXPECT_EQ(bytesOf(found("label:/inside/../tool.so")), right);
}

TEST_F(ArchiveTest, ASearchFindsTheSymbolsOfAnArchivedBinary)
{
    const std::string path = onMachine("opt/tool.so", SampleElf::stripped(SampleElf::rightId));
    addModule(path, SampleElf::rightId, path, onMachine("opt/debug/tool.so.debug", right));
    EXPECT_EQ(states(archive()), "copied copied");
    removeMachine();
    const std::string binary = found(path);
    const auto symbols =
        search()->findSymbolFile(nullptr, binary.c_str(), 0, nullptr, nullptr, 0, 0);
    ASSERT_TRUE(symbols);
    EXPECT_EQ(bytesOf(symbols->getPath()), right);
    EXPECT_NE(symbols->getPath(), binary);
}

TEST_F(ArchiveTest, TheSecondTimeNothingIsCopied)
{
    const std::string path = onMachine("opt/tool.so", SampleElf::stripped(SampleElf::rightId));
    addModule(path, SampleElf::rightId, path, onMachine("opt/debug/tool.so.debug", right));
    archive();
    const auto time = fs::last_write_time(inArchive(archive().outcomes[0].place));
    EXPECT_EQ(states(archive()), "present present");
    removeMachine();
    const ArchiveReport report = archive();
    EXPECT_EQ(states(report), "present present");
    EXPECT_EQ(fs::last_write_time(inArchive(report.outcomes[0].place)), time);
    EXPECT_EQ(filesInArchive(), 2U);
}

TEST_F(ArchiveTest, AFileThatHasChangedIsRefusedAndTheOthersAreCopied)
{
    const std::string changed = onMachine("opt/a.so", right);
    addModule(changed, SampleElf::rightId, changed);
    const std::string other = onMachine("opt/b.so", wrong);
    addModule(other, SampleElf::wrongId, other);
    onMachine("opt/a.so", right + "more");
    const ArchiveReport report = archive();
    EXPECT_EQ(states(report), "refused copied");
    EXPECT_EQ(report.outcomes[0].problem, "it has another checksum than at the load");
    EXPECT_TRUE(isFailure(report.outcomes[0]));
    EXPECT_FALSE(isFailure(report.outcomes[1]));
    EXPECT_EQ(filesInArchive(), 1U);
}

TEST_F(ArchiveTest, AFileThatIsGoneIsMissingAndTheOthersAreCopied)
{
    const std::string path = onMachine("opt/a.so", right);
    addModule(path, SampleElf::rightId, path);
    const std::string other = onMachine("opt/b.so", wrong);
    addModule(other, SampleElf::wrongId, other);
    fs::remove(path);
    const ArchiveReport report = archive();
    EXPECT_EQ(states(report), "missing copied");
    EXPECT_TRUE(isFailure(report.outcomes[0]));
}

TEST_F(ArchiveTest, WithoutAChecksumTheBuildIdDecides)
{
    const std::string path = onMachine("opt/a.so", wrong);
    const Index module =
        add("dd_module_file", {{"path", text(path)}, {"build_id", text(SampleElf::rightId)}});
    add("dd_module_search", {{"module", indexToVariant(module)}, {"found", text(path)}});
    const ArchiveReport report = archive();
    EXPECT_EQ(report.outcomes[0].problem, "it has another build id than at the load");
}

TEST_F(ArchiveTest, APathCannotLeadOutOfTheArchive)
{
    const std::string file = onMachine("opt/a.so", SampleElf::withId(""));
    for (const std::string path :
         {"../../outside.so", "/../../../outside.so", "a/../../outside.so"})
        addModule(path, "", file);
    for (const std::string path : {"..", "/", "", "a/.."})
        addModule(path, "../../../id", file);
    const ArchiveReport report = archive();
    std::uint64_t copied = 0;
    for (const ArchiveOutcome& outcome : report.outcomes) {
        if (outcome.state == ArchiveState::refused) continue;
        ++copied;
        EXPECT_EQ(outcome.place, "outside.so");
    }
    EXPECT_EQ(copied, 3U);
    EXPECT_EQ(filesInArchive(), 1U);
    EXPECT_FALSE(fs::exists(folder() + "/outside.so"));
}

TEST_F(ArchiveTest, ALinkOutOfTheArchiveIsNotFollowed)
{
    fs::create_directories(folder() + "/archive");
    fs::create_directory_symlink(machine.addFolder("target"), folder() + "/archive/lib");
    addModule("/lib/a.so", "", onMachine("opt/a.so", right));
    const ArchiveReport report = archive();
    EXPECT_EQ(states(report), "refused");
    EXPECT_TRUE(report.outcomes[0].problem.starts_with("a link leads out of the archive"));
    EXPECT_TRUE(fs::is_empty(machine.path("target")));
}

TEST_F(ArchiveTest, WhatIsThereIsNotReplaced)
{
    put(inArchive("lib/a.so"), "mine");
    addModule("/lib/a.so", "", onMachine("opt/a.so", right));
    const ArchiveReport report = archive();
    EXPECT_EQ(states(report), "refused");
    EXPECT_TRUE(report.outcomes[0].problem.starts_with("another file is there"));
    EXPECT_EQ(bytesOf(inArchive("lib/a.so")), "mine");
}

TEST_F(ArchiveTest, ADryRunWritesNothing)
{
    const std::string path = onMachine("opt/a.so", right);
    addModule(path, SampleElf::rightId, path);
    const ArchiveReport report = archive(false, true);
    EXPECT_EQ(states(report), "copied");
    EXPECT_EQ(report.outcomes[0].bytes, right.size());
    EXPECT_FALSE(fs::exists(folder() + "/archive"));
}

TEST_F(ArchiveTest, SourcesComeAlongWhereTheyAre)
{
    const std::string source = onMachine("opt/a.c", "int a;\n");
    for (const std::string& path : {source, machine.path("gone.c"), std::string("relative.c")})
        add("dd_source_file", {{"path", text(path)}});
    EXPECT_EQ(states(archive(false)), "");
    const ArchiveReport report = archive(true);
    EXPECT_EQ(states(report), "missing copied");
    EXPECT_FALSE(isFailure(report.outcomes[0]));
    EXPECT_EQ(bytesOf(inArchive("sources" + source)), "int a;\n");
    onMachine("opt/a.c", "int b;\n");
    EXPECT_EQ(states(archive(true)), "missing refused");
    EXPECT_EQ(bytesOf(inArchive("sources" + source)), "int a;\n");
}

TEST_F(ArchiveTest, KernelFilesHaveTheNamesThatSearchesTry)
{
    result().setInfo("os_release", "6.1.0");
    const Index module = add("dd_module_file", {{"path", text("[kernel.kallsyms]")}});
    add("dd_module_search", {{"module", indexToVariant(module)},
                             {"found", text(onMachine("opt/vmlinux", right))},
                             {"symbols", text(onMachine("opt/cache/kallsyms", "0 T _text\n"))}});
    const ArchiveReport report = archive();
    EXPECT_EQ(states(report), "copied copied");
    EXPECT_EQ(bytesOf(inArchive("vmlinux-6.1.0")), right);
    EXPECT_EQ(bytesOf(inArchive("kallsyms")), "0 T _text\n");
}

TEST_F(ArchiveTest, FilesOfProcAndDevicesAreNotCopied)
{
    for (const char* found : {"/proc/kcore", "/dev/zero"}) {
        const Index module = add("dd_module_file", {{"path", text(found)}});
        add("dd_module_search", {{"module", indexToVariant(module)}, {"found", text(found)}});
    }
    EXPECT_EQ(states(archive()), "refused skipped");
}

} // namespace
} // namespace samplefold::report
