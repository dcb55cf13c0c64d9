#include "support/md5_of_file.h"
#include "support/native_image_file.h"
#include "support/temporary_folder.h"

#include <SEEK_2_13/resolution_context.h>
#include <file_finder_impl/file_finder_impl.h>

#include <gtest/gtest.h>

#include <elf.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

// The finder over real files.
namespace samplefold_1 {
namespace {

using samplefold_test::md5OfFile;
namespace architecture = SEEK_2_13::architecture;

/// An ELF image; `tail` makes its bytes, and so its checksum, its own.
std::string imageFor(Elf64_Half machine, const std::string& tail = {})
{
    std::string bytes = samplefold_test::nativeImageBytes();
    std::memcpy(bytes.data() + offsetof(Elf64_Ehdr, e_machine), &machine, sizeof machine);
    return bytes + tail;
}

class FinderFiles : public testing::Test {
protected:
    FinderFiles()
    {
        for (const char* name : {"one", "two", "three", "result"})
            folder.addFolder(name);
    }
    void addDirs()
    {
        finder->addBinarySearchPath(folder.path("one").c_str(), false, 1);
        finder->addBinarySearchPath(folder.path("two").c_str(), false, 2);
    }
    std::string find(const char* name) { return finder->getBinaryFilePath(name); }

    const std::string self = std::filesystem::read_symlink("/proc/self/exe"); ///< this program
    samplefold_test::TemporaryFolder folder;
    std::unique_ptr<FileFinderImpl> finder = std::make_unique<FileFinderImpl>(nullptr);
};

TEST_F(FinderFiles, ABinaryWithAnotherChecksumIsPassedOverForTheNext)
{
    folder.addFile("one/tool", imageFor(EM_X86_64, "changed"));
    const std::string right = folder.addFile("two/tool", imageFor(EM_X86_64, "as profiled"));
    addDirs();
    finder->setBinaryExpectedMd5Sum("/bin/tool", md5OfFile(right).c_str());
    EXPECT_EQ(find("/bin/tool"), right);
}

TEST_F(FinderFiles, ABinaryWithTheRightChecksumAndAnotherArchitectureIsPassedOver)
{
    // What differs between the two is only that neither has the checksum of the other.
    const std::string arm = folder.addFile("one/tool", imageFor(EM_AARCH64));
    const std::string native = folder.addFile("two/tool", imageFor(EM_X86_64));
    addDirs();
    finder->setBinaryFileMode("a/tool", architecture::x86_64);
    EXPECT_EQ(find("a/tool"), native);
    finder->setBinaryFileMode("b/tool", architecture::aarch64);
    EXPECT_EQ(find("b/tool"), arm);

    finder->setBinaryExpectedMd5Sum("c/tool", md5OfFile(arm).c_str());
    finder->setBinaryFileMode("c/tool", architecture::x86_64);
    EXPECT_EQ(find("c/tool"), "") << "the right checksum is that of the wrong architecture";
}

TEST_F(FinderFiles, AFileThatIsNoImageIsNoBinaryButAnAuxiliaryFile)
{
    const std::string text = folder.addFile("one/tool", "#!/bin/sh\n");
    addDirs();
    EXPECT_EQ(find("tool"), "");
    EXPECT_EQ(finder->getAuxFilePath("tool"), text);
}

TEST_F(FinderFiles, ANameSearchedInVainStaysSoWhenADirectoryIsAdded)
{
    const std::string native = folder.addFile("one/tool", imageFor(EM_X86_64));
    EXPECT_EQ(find("tool"), "");
    addDirs();
    EXPECT_EQ(find("tool"), "");
    EXPECT_EQ(find("bin/tool"), native) << "another name is searched for in it";
}

TEST_F(FinderFiles, AChecksumThatIsToldAfterTheQuestionChangesNothing)
{
    const std::string native = folder.addFile("one/tool", imageFor(EM_X86_64));
    addDirs();
    EXPECT_EQ(find("tool"), native);
    const std::string other = "00000000000000000000000000000000";
    finder->setBinaryExpectedMd5Sum("tool", other.c_str());
    EXPECT_EQ(find("tool"), native);
    finder->setBinaryExpectedMd5Sum("bin/tool", other.c_str());
    EXPECT_EQ(find("bin/tool"), "") << "before the question it counts";
}

TEST_F(FinderFiles, WithoutAResultOnlyAddedDirectoriesCount)
{
    EXPECT_EQ(find(self.c_str()), "") << "the path itself is no added directory";
    finder = std::make_unique<FileFinderImpl>(folder.path("result").c_str());
    EXPECT_EQ(find(self.c_str()), self);
}

TEST_F(FinderFiles, OneFindersDirectoriesAreNotAnothers)
{
    const std::string native = folder.addFile("one/tool", imageFor(EM_X86_64));
    const std::string result = folder.path("result");
    finder = std::make_unique<FileFinderImpl>(result.c_str());
    FileFinderImpl other(result.c_str());
    addDirs();
    EXPECT_EQ(find("tool"), native);
    EXPECT_STREQ(other.getBinaryFilePath("tool"), "");
}

TEST_F(FinderFiles, TheKernelImageIsFoundByItsNameAlone)
{
    const std::string core = folder.addFile("core", imageFor(EM_X86_64));
    const auto contexts = SEEK_2_13::IResolutionContextMgr::create();
    SEEK_2_13::context_data_t data;
    // No file of the machine's own kernel is near.
    data.places.kernelCore = core;
    data.places.bootFolder = data.places.debugRoot = data.places.buildIdCache =
        folder.path("three");
    ASSERT_TRUE(contexts->openContext(folder.path("result").c_str())->record(data));
    finder = std::make_unique<FileFinderImpl>(folder.path("result").c_str());
    EXPECT_EQ(find("kcore"), core);
    EXPECT_EQ(find("x/kcore"), "");
    EXPECT_EQ(find("/no/such/folder/kcore"), "");
}

bool run(const std::string& command)
{
    return std::system(command.c_str()) == 0;
}

TEST_F(FinderFiles, SymbolsInAFileOfTheirOwnAreFoundBesideTheBinary)
{
    const std::string tool = folder.path("one/tool");
    const std::string debug = folder.path("one/tool.debug");
    ASSERT_TRUE(run("objcopy --only-keep-debug " + self + " " + debug + " && objcopy -S " +
                    "--add-gnu-debuglink=" + debug + " " + self + " " + tool));
    addDirs();
    EXPECT_STREQ(finder->getSymbolFilePath("tool"), debug.c_str());
    EXPECT_STREQ(finder->getSymbolFilePath("tool"), debug.c_str());
    EXPECT_EQ(find("tool"), tool);
}

TEST_F(FinderFiles, SymbolsAreFoundInDirectoriesForThem)
{
    const std::string tool = folder.path("one/tool");
    const std::string debug = folder.path("three/tool.debug");
    ASSERT_TRUE(run("objcopy --only-keep-debug " + self + " " + debug + " && objcopy -S " +
                    "--add-gnu-debuglink=" + debug + " " + self + " " + tool));
    addDirs();
    finder->addSymbolSearchPath(folder.path("three").c_str(), false, 0);
    EXPECT_STREQ(finder->getSymbolFilePath("tool"), debug.c_str());
}

TEST_F(FinderFiles, ABinaryWhoseSymbolsAreGoneGivesNullAndThenAnEmptyText)
{
    ASSERT_TRUE(run("objcopy -S " + self + " " + folder.path("one/tool")));
    addDirs();
    EXPECT_EQ(finder->getSymbolFilePath("tool"), nullptr);
    EXPECT_STREQ(finder->getSymbolFilePath("tool"), "");
}

TEST_F(FinderFiles, ABinaryThatIsNotFoundHasNoSymbols)
{
    EXPECT_EQ(finder->getSymbolFilePath("nobody"), nullptr);
    EXPECT_EQ(finder->getSymbolFilePath("nobody"), nullptr) << "nothing is kept of that";
}

} // namespace
} // namespace samplefold_1
