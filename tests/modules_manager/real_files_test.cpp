#include "modules_manager/module_list.h"
#include "support/fake_messenger.h"
#include "support/md5_of_file.h"
#include "support/native_image_file.h"
#include "support/temporary_folder.h"

#include <SEEK_2_13/resolution_context.h>
#include <rowvault1/result.h>
#include <samplefold_1/file_finder.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <memory>

// The registry over real files and a real store.
namespace samplefold_1 {
namespace {

using rowvault1::Index;
using samplefold_test::md5OfFile;
using lines_t = std::vector<std::string>;

/// Rows as text, values between bars, null as "null".
class RowReader final : public rowvault1::ISqlReader {
public:
    void onColumns(std::span<const std::string>) override {}
    bool onRow(std::span<const tb2::variant_t> row) override
    {
        std::string line;
        for (const tb2::variant_t& value : row) {
            if (!line.empty()) line += "|";
            if (value.is_null())
                line += "null";
            else if (value.is_integer())
                line += std::to_string(value.as_s64());
            else
                line += value.as_text();
        }
        rows.push_back(line);
        return true;
    }
    lines_t rows;
};

class ModulesOfAResult : public testing::Test {
protected:
    tb2::sptr_t<IModulesManager> open(bool resolveFiles = true)
    {
        return createModulesManager(folder.path("result"), resolveFiles, &messenger,
                                    result->database());
    }
    static Index add(const tb2::sptr_t<IModulesManager>& modules, const std::string& path,
                     std::int32_t architecture = 2)
    {
        IModulesManager::ModuleDBInfo info;
        info.name = std::filesystem::path(path).filename();
        info.path = path;
        info.architecture = architecture;
        Index index;
        EXPECT_EQ(modules->addModule(info, index), 1);
        return index;
    }
    lines_t rows(const std::string& sql)
    {
        RowReader reader;
        result->readSql(sql, reader);
        return reader.rows;
    }
    lines_t checksums() { return rows("SELECT md5 FROM dd_module_file ORDER BY id"); }

    samplefold_test::TemporaryFolder folder;
    samplefold_test::FakeMessenger messenger;
    tb2::sptr_t<rowvault1::IResult> result =
        rowvault1::openResult(folder.path("result"), rowvault1::open_mode_t::create);
};

TEST_F(ModulesOfAResult, AreReadBackFromTheStore)
{
    const std::string path = folder.addFile("tool", samplefold_test::nativeImageBytes());
    const auto modules = open();
    IModulesManager::ModuleDBInfo info;
    info.name = "tool";
    info.path = path;
    info.architecture = 2;
    info.fileField7 = 3;
    info.fileField10 = 64;
    info.attributeField2Off = true;
    Index first;
    ASSERT_EQ(modules->addModule(info, first), 1);
    const Index second = add(modules, "/no/such/library.so", -1);

    const lines_t found =
        rows("SELECT f.id, f.name, f.path, f.md5, f.architecture, f.image_kind, f.bitness, "
             "a.has_class, a.resolvable FROM dd_module_file AS f "
             "JOIN dd_module_file_attributes AS a ON a.id = f.attributes ORDER BY f.id");
    EXPECT_EQ(found, (lines_t{std::to_string(first.value()) + "|tool|" + path + "|" +
                                  md5OfFile(path) + "|2|3|64|1|0",
                              std::to_string(second.value()) +
                                  "|library.so|/no/such/library.so|null|null|null|null|1|1"}));
    ASSERT_EQ(messenger.messages.size(), 1U);
    EXPECT_NE(messenger.messages[0].first.find("/no/such/library.so"), std::string::npos);
    EXPECT_EQ(messenger.messages[0].second, sayer2::severity::error);
}

TEST_F(ModulesOfAResult, HaveTheChecksumsOfFilesOfAnySize)
{
    const auto modules = open();
    lines_t expected;
    for (const std::string& content :
         {std::string(), std::string("x"), std::string(3 << 20, '\x90')}) {
        const std::string path = folder.addFile("file" + std::to_string(expected.size()), content);
        add(modules, path);
        expected.push_back(md5OfFile(path));
    }
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    add(modules, self);
    expected.push_back(md5OfFile(self));
    EXPECT_EQ(checksums(), expected);
}

TEST_F(ModulesOfAResult, KeepTheirChecksumsInALaterPassThoughTheFilesAreGone)
{
    const std::string removed = folder.addFile("removed", "one");
    const std::string changed = folder.addFile("changed", "two");
    const lines_t before{md5OfFile(removed), md5OfFile(changed)};
    {
        const auto modules = open();
        add(modules, removed);
        add(modules, changed);
    }
    std::filesystem::remove(removed);
    folder.addFile("changed", "not two any more");
    ASSERT_NE(md5OfFile(changed), before[1]);
    for (const bool resolveFiles : {true, false}) {
        const auto modules = open(resolveFiles);
        add(modules, removed);
        add(modules, changed);
    }
    EXPECT_EQ(checksums(),
              (lines_t{before[0], before[1], before[0], before[1], before[0], before[1]}));
    EXPECT_TRUE(messenger.messages.empty());
}

TEST_F(ModulesOfAResult, HaveTheChecksumOfTheFileThatIsFoundOnThisMachine)
{
    const std::string copy = folder.addFile("tool", "the copy of it");
    // Read from the directory, which the registry opens by itself.
    SEEK_2_13::context_data_t data;
    data.substitutions.push_back({"/collected/bin", folder.path()});
    ASSERT_TRUE(SEEK_2_13::IResolutionContextMgr::create()
                    ->openContext(folder.path("result").c_str())
                    ->record(data));
    add(open(), "/collected/bin/tool");
    EXPECT_EQ(checksums(), lines_t{md5OfFile(copy)});
    EXPECT_EQ(rows("SELECT path FROM dd_module_file"), lines_t{"/collected/bin/tool"});
}

TEST_F(ModulesOfAResult, WithoutSearchSettingsAreFoundByTheirPaths)
{
    ASSERT_FALSE(std::filesystem::exists(folder.path("result/search.json")));
    const std::string path = folder.addFile("tool", "x");
    add(open(), path);
    EXPECT_EQ(checksums(), lines_t{md5OfFile(path)});
}

TEST_F(ModulesOfAResult, AFolderOrPipeUnderThePathIsNoFile)
{
    const auto modules = open();
    add(modules, folder.addFolder("folder"));
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    add(modules, folder.path("pipe"));
    add(modules, "");
    EXPECT_EQ(checksums(), (lines_t{"null", "null", "null"}));
    EXPECT_EQ(messenger.messages.size(), 3U);
}

TEST_F(ModulesOfAResult, AreFoundByTheFinderOfTheLibrary)
{
    const std::string tool = folder.addFile("tool", samplefold_test::nativeImageBytes());
    // It belongs to the caller and cannot be destroyed from outside; it stays reachable.
    static IFileFinder* const finder = createFileFinder(folder.path("result").c_str());
    EXPECT_EQ(finder->getBinaryFilePath(tool.c_str()), tool);
}

} // namespace
} // namespace samplefold_1
