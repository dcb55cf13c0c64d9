// Which files a loader reads for a process, and how they go together.

#include "loader_fixture.h"

#include <sys/stat.h>

#include <filesystem>
#include <vector>

namespace {

namespace fs = std::filesystem;
using jitlens_3_13::findJitFiles;
using jitlens_3_13::IJitLoader;
using jitlens_3_13::module_kind_t;
using jitlens_3_13::source_t;
using jitlens_3_13::symbol_t;
namespace code = jitlens_3_13::code;

class Loader : public LoaderTest {
protected:
    Loader()
    {
        for (const char* name : {"data", "one", "two"})
            folders.push_back(folder.addFolder(name));
        for (std::size_t i = 1; i < folders.size(); ++i)
            directories.push_back(folders[i].c_str());
        searching = IJitLoader::create({directories.data(), directories.size()});
        searching->attach(folders[0].c_str(), &status);
    }
    std::vector<std::string> find(const std::string& dataPath) const
    {
        return findJitFiles(dataPath, {directories.data(), directories.size()}, pid);
    }
    std::string put(const std::string& name, std::string_view content) const
    {
        return folder.addFile(name, content);
    }
    static std::string dumpOf(std::uint64_t address, std::string_view name)
    {
        DumpBuilder dump;
        dump.load(100, address, name, 16);
        return dump.bytes();
    }

    const std::string dumpName = "/jit-" + std::to_string(pid) + ".dump";
    const std::string mapName = "/perf-" + std::to_string(pid) + ".map";
    std::vector<std::string> folders;
    std::vector<const char*> directories;
    boost::intrusive_ptr<IJitLoader> searching;
};

TEST_F(Loader, aStatusOfZeroMeansNotAttached)
{
    add("x", "1000 10 f\n");
    status = 0;
    EXPECT_EQ(resolveCode(1, 0x1000), code::notAttached);
    jitlens_3_13::region_t found;
    EXPECT_EQ(loader->findRegion(1, 0x1000, 0x1000, pid, status, found), code::notAttached);
}

TEST_F(Loader, attachGivesAStatusThatIsNotZero)
{
    std::uint32_t given = 0;
    loader->attach("", &given);
    EXPECT_NE(given, 0u);
}

TEST_F(Loader, aProcessWithoutFilesHasNoCode)
{
    EXPECT_EQ(resolveCode(1, 0x1000), code::noCode);
    EXPECT_FALSE(region(1, 0, forever));
    EXPECT_TRUE(loader->sources(pid).empty());
}

TEST_F(Loader, theDataPathComesBeforeTheDirectoriesInTheirOrder)
{
    EXPECT_TRUE(find(folders[0]).empty());
    const std::string two = put("two" + dumpName, "");
    EXPECT_EQ(find(folders[0]), std::vector<std::string>{two});
    const std::string one = put("one" + dumpName, "");
    EXPECT_EQ(find(folders[0]), std::vector<std::string>{one});
    const std::string data = put("data" + dumpName, "");
    EXPECT_EQ(find(folders[0]), std::vector<std::string>{data});
    EXPECT_EQ(find(""), std::vector<std::string>{one});
}

TEST_F(Loader, eachFormatIsLookedForByItself)
{
    const std::string map = put("data" + mapName, "");
    const std::string dump = put("two" + dumpName, "");
    EXPECT_EQ(find(folders[0]), (std::vector<std::string>{dump, map}));
}

TEST_F(Loader, theTemporaryFolderComesLast)
{
    const std::string name = "/tmp" + mapName;
    ASSERT_FALSE(fs::exists(name));
    fs::copy_file(put("x", "1000 10 f\n"), name);
    const std::vector<std::string> alone = find(folders[0]);
    const std::string one = put("one" + mapName, "");
    const std::vector<std::string> both = find(folders[0]);
    fs::remove(name);
    EXPECT_EQ(alone, std::vector<std::string>{name});
    EXPECT_EQ(both, std::vector<std::string>{one});
}

TEST_F(Loader, onlyRegularFilesAreFound)
{
    fs::create_directory(folders[0] + dumpName);
    ASSERT_EQ(::mkfifo((folders[1] + dumpName).c_str(), 0600), 0);
    const std::string two = put("two" + dumpName, "");
    EXPECT_EQ(find(folders[0]), std::vector<std::string>{two});
}

TEST_F(Loader, theLoaderReadsWhatIsFound)
{
    put("one" + dumpName, dumpOf(0x1000, "inOne"));
    loader = searching;
    EXPECT_EQ(at(100, 0x1000), "inOne+0");
    EXPECT_EQ(source().path, folders[1] + dumpName);
}

TEST_F(Loader, processesAreKeptApart)
{
    put("one" + dumpName, dumpOf(0x1000, "f"));
    std::uint64_t rva = 0;
    boost::intrusive_ptr<jitlens_3_13::IModule> module;
    EXPECT_EQ(searching->resolve(100, 0x1000, pid, status, rva, module), code::found);
    EXPECT_EQ(searching->resolve(100, 0x1000, pid + 1, status, rva, module), code::noCode);
}

TEST_F(Loader, theMapIsAskedWhereTheDumpHasNoCode)
{
    put("one" + mapName, "1000 10 mapped\n3000 10 onlyMapped\n");
    put("two" + dumpName, dumpOf(0x1000, "dumped"));
    loader = searching;
    EXPECT_EQ(at(100, 0x1000), "dumped+0");
    EXPECT_EQ(at(99, 0x1000), "mapped+0");
    EXPECT_EQ(at(100, 0x3000), "onlyMapped+0");
    EXPECT_EQ(at(100, 0x5000), nothing);
    EXPECT_EQ(region(0, 0x1000, 0x4000)->loadTime, 100u);
    EXPECT_EQ(region(0, 0x3000, 0x4000)->loadTime, 0u);
}

TEST_F(Loader, addedFilesComeBeforeThoseFoundByName)
{
    put("one" + dumpName, dumpOf(0x1000, "found"));
    const std::string added = put("any.name", dumpOf(0x1000, "added"));
    loader = searching;
    loader->addFile(pid, added);
    EXPECT_EQ(at(100, 0x1000), "added+0");
    const std::vector<source_t> sources = loader->sources(pid);
    ASSERT_EQ(sources.size(), 2u);
    EXPECT_EQ(sources[0].path, added);
    EXPECT_EQ(sources[1].path, folders[1] + dumpName);
}

TEST_F(Loader, aDumpComesBeforeAnAddedMap)
{
    put("one" + dumpName, dumpOf(0x1000, "dumped"));
    loader = searching;
    loader->addFile(pid, put("any.name", "1000 10 mapped\n"));
    EXPECT_EQ(at(100, 0x1000), "dumped+0");
    EXPECT_EQ(at(0, 0x1000), "mapped+0");
}

TEST_F(Loader, theContentTellsTheFormatAndNotTheName)
{
    put("one" + dumpName, "1000 10 mapped\n");
    loader = searching;
    EXPECT_EQ(at(0, 0x1000), "mapped+0");
    EXPECT_EQ(source().kind, module_kind_t::perfMap);
}

TEST_F(Loader, anEmptyDumpIsADamagedDumpAndNoMap)
{
    put("one" + dumpName, "");
    loader = searching;
    EXPECT_EQ(source().kind, module_kind_t::jitdump);
    EXPECT_NE(source().fault, "");
}

TEST_F(Loader, bordersAreWhereTimedCodeBeginsAndWhatFollowsItsEnd)
{
    DumpBuilder dump;
    dump.load(5, 0x1000, "f", std::size_t{0x20});
    dump.load(6, 0x1010, "g", std::size_t{0x10});
    dump.load(7, 0x3000, "h", std::size_t{8});
    put("one" + dumpName, dump.bytes());
    put("one" + mapName, "9000 10 mapped\n");
    loader = searching;
    EXPECT_EQ(loader->borders(pid),
              (std::vector<std::uint64_t>{0x1000, 0x1010, 0x1020, 0x3000, 0x3008}))
        << "and a map has none";
}

TEST_F(Loader, aFileThatIsAddedAndFoundIsReadOnce)
{
    const std::string path = put("one" + dumpName, dumpOf(0x1000, "f"));
    fs::create_symlink(path, folders[2] + "/link");
    loader = searching;
    loader->addFile(pid, folders[2] + "/link");
    EXPECT_EQ(source().path, folders[2] + "/link");
}

TEST_F(Loader, aPipeIsRefusedAndDoesNotHang)
{
    const std::string path = folder.path("pipe");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    loader->addFile(pid, path);
    EXPECT_EQ(resolveCode(1, 1), code::unusable);
    EXPECT_EQ(source().fault, path + ": not a regular file");
}

TEST_F(Loader, aFolderIsRefused)
{
    loader->addFile(pid, folders[0]);
    EXPECT_EQ(resolveCode(1, 1), code::unusable);
    EXPECT_EQ(source().fault, folders[0] + ": not a regular file");
}

TEST_F(Loader, aMissingFileIsRefused)
{
    loader->addFile(pid, folder.path("missing"));
    EXPECT_EQ(resolveCode(1, 1), code::unusable);
    EXPECT_EQ(source().fault,
              folder.path("missing") + ": cannot be opened: No such file or directory");
}

TEST_F(Loader, filesAboveTheLimitsAreRefusedUnread)
{
    const std::string dump = put("large.dump", DumpBuilder().bytes());
    fs::resize_file(dump, (std::uintmax_t{1} << 40)); // takes no space
    const std::string map = put("large.map", "1000 10 f\n");
    fs::resize_file(map, (std::uintmax_t{1} << 28) + 1);
    loader->addFile(pid, dump);
    loader->addFile(pid, map);
    EXPECT_EQ(resolveCode(0, 0x1000), code::unusable);
    const std::vector<source_t> sources = loader->sources(pid);
    ASSERT_EQ(sources.size(), 2u);
    EXPECT_EQ(sources[0].fault, dump + ": the file is larger than the 1024 MiB that are read");
    EXPECT_EQ(sources[1].fault, map + ": the file is larger than the 256 MiB that are read");
}

TEST_F(Loader, oneUsableFileIsEnough)
{
    loader->addFile(pid, folder.path("missing"));
    add("x", "1000 10 f\n");
    EXPECT_EQ(at(0, 0x1000), "f+0");
    EXPECT_EQ(resolveCode(0, 0x2000), code::noCode);
}

TEST_F(Loader, filesAreReadByTheFirstQuestionOnly)
{
    const std::string path = add("x", "1000 10 f\n");
    EXPECT_EQ(at(0, 0x1000), "f+0");
    fs::remove(path);
    EXPECT_EQ(at(0, 0x1000), "f+0");
    write("x", "2000 10 g\n");
    EXPECT_EQ(at(0, 0x1000), "f+0");
    EXPECT_EQ(at(0, 0x2000), nothing);
}

TEST_F(Loader, modulesTellWhatTheyAre)
{
    const std::string dump = add("a", dumpOf(0x1000, "f"));
    const std::string map = add("b", "2000 10 g\n");
    const auto dumped = moduleAt(100, 0x1000);
    const auto mapped = moduleAt(100, 0x2000);
    ASSERT_TRUE(dumped && mapped);
    EXPECT_EQ(dumped->name(), dump);
    EXPECT_EQ(dumped->classValue(), 1);
    EXPECT_EQ(dumped->kind(), 0);
    EXPECT_EQ(mapped->name(), map);
    EXPECT_EQ(mapped->classValue(), 0);
    EXPECT_EQ(mapped->kind(), 1);
}

TEST_F(Loader, aFileIsOneModuleForAllItsCode)
{
    add("b", "2000 10 g\n3000 10 h\n");
    EXPECT_EQ(moduleAt(1, 0x2000), moduleAt(2, 0x3000));
}

TEST_F(Loader, modulesOfAnotherLoaderAreNotNamed)
{
    add("x", "1000 10 f\n");
    const auto module = moduleAt(0, 0x1000);
    symbol_t symbol;
    EXPECT_FALSE(searching->symbols()->findSymbol(*module, 0x1000, symbol));
    EXPECT_TRUE(loader->symbols()->findSymbol(*module, 0x1000, symbol));
}

TEST_F(Loader, aModuleAndItsNameOutliveTheLoader)
{
    const std::string path = add("x", "1000 10 f\n");
    const auto module = moduleAt(0, 0x1000);
    loader.reset();
    EXPECT_EQ(module->name(), path);
}

} // namespace
