#include "support/assertion_recorder.h"
#include "support/fake_file_search.h"

#include <file_finder_impl/file_finder_impl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>

// What the finder asks of the file search library, in which order, and what it remembers.
namespace samplefold_1 {
namespace {

using samplefold_test::FakeFileSearch;
using samplefold_test::fakeFileSearch;
using SEEK_2_13::validation_result_t;
using lines_t = std::vector<std::string>;

class FinderCalls : public testing::Test {
protected:
    FinderCalls() { fakeFileSearch().reset(); }
    ~FinderCalls() override { EXPECT_EQ(lines_t{}, assertions.take()) << "unexpected assertions"; }

    FileFinderImpl& open(const char* resultDir = nullptr)
    {
        finder = std::make_unique<FileFinderImpl>(resultDir);
        return *finder;
    }
    /// A finder whose set-up has been taken out of the calls.
    FileFinderImpl& opened()
    {
        open();
        fakeFileSearch().take();
        return *finder;
    }
    /// findFile tries these in turn, as the library does.
    static void offer(std::vector<std::string> candidates)
    {
        fakeFileSearch().onFindFile =
            [candidates](const std::string&, SEEK_2_13::IFileValidator* validator, std::uint32_t) {
                const auto errors = SEEK_2_13::IErrorInfoContainer::create();
                for (const std::string& one : candidates) {
                    if (validator->validate(one.c_str(), *errors) == validation_result_t::passed)
                        return one;
                }
                return std::string();
            };
    }
    static void findEverywhere()
    {
        fakeFileSearch().onFindFile = [](const std::string& name, SEEK_2_13::IFileValidator*,
                                         std::uint32_t) { return "/found/" + name; };
    }
    static long count(const lines_t& calls, const std::string& start)
    {
        return std::count_if(calls.begin(), calls.end(),
                             [&](const std::string& line) { return line.starts_with(start); });
    }

    samplefold_test::AssertionRecorder assertions;
    std::unique_ptr<FileFinderImpl> finder;
};

TEST_F(FinderCalls, OfAResultGoByAChildOfItsContext)
{
    open("/results/one");
    EXPECT_EQ(
        fakeFileSearch().take(),
        (lines_t{"openContext /results/one", "openChildContext /results/one/rwtap.rw.api true",
                 "linkContexts /results/one/rwtap.rw.api /results/one",
                 "bindSearchDirs /results/one/rwtap.rw.api dirs rwtap.rw.api",
                 "createFileSearch /results/one/rwtap.rw.api "
                 "__shared_finalization_client_id__ null",
                 "context released", "context released", "contextMgr released"}));
}

TEST_F(FinderCalls, WithoutAResultGoByTheAddedDirectoriesAlone)
{
    open(nullptr);
    EXPECT_EQ(fakeFileSearch().take(), lines_t{"search in dirs"});
}

TEST_F(FinderCalls, DirectoriesAreAddedByKindAndTheirResultComesBack)
{
    FileFinderImpl& finds = opened();
    EXPECT_TRUE(finds.addBinarySearchPath("/a", true, 0));
    EXPECT_TRUE(finds.addSymbolSearchPath("/b", false, 3));
    fakeFileSearch().addSearchDirResult = false;
    EXPECT_FALSE(finds.addBinarySearchPath("", false, 0));
    EXPECT_EQ(fakeFileSearch().take(),
              (lines_t{"addSearchDir 1 /a below noOrder 0", "addSearchDir 2 /b 3",
                       "addSearchDir 1  noOrder 0"}));
}

TEST_F(FinderCalls, ABinaryIsValidatedForAnyArchitectureUnlessToldOtherwise)
{
    offer({"/x/tool"});
    EXPECT_STREQ(opened().getBinaryFilePath("tool"), "/x/tool");
    EXPECT_EQ(fakeFileSearch().take(),
              (lines_t{"checksumValidator 1 none messages", "findFile tool validated 0 0",
                       "architecture 16 /x/tool"}));
}

TEST_F(FinderCalls, TheChecksumIsTestedBeforeTheArchitecture)
{
    offer({"/x/tool"});
    FileFinderImpl& finds = opened();
    finds.setBinaryExpectedMd5Sum("tool", "abc");
    finds.setBinaryFileMode("tool", 4);
    EXPECT_STREQ(finds.getBinaryFilePath("tool"), "/x/tool");
    EXPECT_EQ(
        fakeFileSearch().take(),
        (lines_t{"parseChecksum 0 abc", "checksumValidator 1 abc messages",
                 "findFile tool validated 0 0", "checksum /x/tool", "architecture 4 /x/tool"}));
}

TEST_F(FinderCalls, AFileWithAnotherChecksumIsNotAskedForItsArchitecture)
{
    offer({"/wrong/tool", "/right/tool"});
    fakeFileSearch().onChecksum = [](const std::string& path) {
        return path == "/right/tool" ? validation_result_t::passed : validation_result_t::refused;
    };
    FileFinderImpl& finds = opened();
    finds.setBinaryExpectedMd5Sum("tool", "abc");
    EXPECT_STREQ(finds.getBinaryFilePath("tool"), "/right/tool");
    const lines_t calls = fakeFileSearch().take();
    EXPECT_EQ(count(calls, "checksum /"), 2);
    EXPECT_EQ(count(calls, "architecture 16 /wrong/tool"), 0);
}

TEST_F(FinderCalls, AnArchitectureWithoutAValidatorFiresAndAcceptsNothing)
{
    offer({"/x/tool"});
    fakeFileSearch().missing = {"archValidator"};
    EXPECT_STREQ(opened().getBinaryFilePath("tool"), "");
    EXPECT_EQ(assertions.take(), lines_t{"exeFileValidator"});
}

TEST_F(FinderCalls, WithoutAWayToTestAnExpectedChecksumNoBinaryIsTaken)
{
    offer({"/x/tool"});
    fakeFileSearch().missing = {"calculator"};
    FileFinderImpl& finds = opened();
    finds.setBinaryExpectedMd5Sum("tool", "abc");
    EXPECT_STREQ(finds.getBinaryFilePath("tool"), "");
    EXPECT_STREQ(finds.getBinaryFilePath("other"), "/x/tool") << "nothing is expected of it";
}

TEST_F(FinderCalls, OnlyTheNameKcoreAsksForTheKernelImage)
{
    FileFinderImpl& finds = opened();
    for (const char* name : {"kcore", "/proc/kcore", "kcore2", "xkcore", "KCORE", ""})
        finds.getBinaryFilePath(name);
    lines_t calls = fakeFileSearch().take();
    std::erase_if(calls, [](const std::string& line) { return !line.starts_with("findFile"); });
    EXPECT_EQ(calls, (lines_t{"findFile kcore validated 0 4", "findFile /proc/kcore validated 0 0",
                              "findFile kcore2 validated 0 0", "findFile xkcore validated 0 0",
                              "findFile KCORE validated 0 0", "findFile  validated 0 0"}));
}

TEST_F(FinderCalls, ANameIsSearchedForOnceWhetherFoundOrNot)
{
    FileFinderImpl& finds = opened();
    EXPECT_STREQ(finds.getBinaryFilePath("gone"), "");
    EXPECT_STREQ(finds.getAuxFilePath("gone"), "");
    findEverywhere();
    const char* const found = finds.getBinaryFilePath("here");
    EXPECT_EQ(finds.getBinaryFilePath("here"), found) << "the same text, not a copy";
    EXPECT_STREQ(found, "/found/here");
    EXPECT_STREQ(finds.getAuxFilePath("here"), "/found/here");
    finds.getAuxFilePath("here");
    EXPECT_STREQ(finds.getBinaryFilePath("gone"), "");
    EXPECT_STREQ(finds.getAuxFilePath("gone"), "");
    EXPECT_EQ(count(fakeFileSearch().take(), "findFile"), 4);
}

TEST_F(FinderCalls, AFileThatIsNoModuleIsTakenUntested)
{
    findEverywhere();
    EXPECT_STREQ(opened().getAuxFilePath("kcore"), "/found/kcore");
    EXPECT_EQ(fakeFileSearch().take(), lines_t{"findFile kcore any 0 0"});
}

TEST_F(FinderCalls, SymbolsAreLookedForBesideTheBinaryUnderTheirExpectedName)
{
    findEverywhere();
    fakeFileSearch().expectedSymbolName = "dir/tool.debug";
    FakeFileSearch::symbol_question_t asked;
    fakeFileSearch().onFindSymbols = [&](const FakeFileSearch::symbol_question_t& question) {
        asked = question;
        return "/symbols/tool.debug";
    };
    EXPECT_STREQ(opened().getSymbolFilePath("tool"), "/symbols/tool.debug");
    EXPECT_EQ(asked, (FakeFileSearch::symbol_question_t{"dir/tool.debug", "/found/tool",
                                                        "/found/tool.debug"}));
    EXPECT_EQ(fakeFileSearch().take(),
              (lines_t{"checksumValidator 1 none messages", "findFile tool validated 0 0",
                       "symbolValidator /found/tool", "findSymbolFile validated 0"}));
    EXPECT_STREQ(finder->getSymbolFilePath("tool"), "/symbols/tool.debug");
    EXPECT_STREQ(finder->getBinaryFilePath("tool"), "/found/tool");
    EXPECT_EQ(fakeFileSearch().take(), lines_t{}) << "both answers are known";
}

TEST_F(FinderCalls, WithoutAnExpectedNameThereIsNoCandidate)
{
    findEverywhere();
    FakeFileSearch::symbol_question_t asked;
    fakeFileSearch().onFindSymbols = [&](const FakeFileSearch::symbol_question_t& question) {
        asked = question;
        return "/s";
    };
    opened().getSymbolFilePath("tool");
    EXPECT_EQ(asked, (FakeFileSearch::symbol_question_t{"null", "/found/tool", ""}));
}

TEST_F(FinderCalls, AFailedSymbolSearchGivesNullOnceAndThenAnEmptyText)
{
    findEverywhere();
    FileFinderImpl& finds = opened();
    EXPECT_EQ(finds.getSymbolFilePath("tool"), nullptr);
    EXPECT_STREQ(finds.getSymbolFilePath("tool"), "");
    EXPECT_STREQ(finds.getSymbolFilePath("tool"), "");
    EXPECT_EQ(count(fakeFileSearch().take(), "findSymbolFile"), 1);
}

TEST_F(FinderCalls, ABinaryThatTellsNoSymbolsIsAskedEachTime)
{
    fakeFileSearch().missing = {"symbolValidator"};
    FileFinderImpl& finds = opened();
    EXPECT_EQ(finds.getSymbolFilePath("tool"), nullptr);
    EXPECT_EQ(finds.getSymbolFilePath("tool"), nullptr);
    const lines_t calls = fakeFileSearch().take();
    EXPECT_EQ(count(calls, "symbolValidator"), 2);
    EXPECT_EQ(count(calls, "findFile"), 1) << "the binary's own answer is kept";
}

TEST_F(FinderCalls, ABinaryThatIsEnteredAgainHasItsSymbolsSearchedForAgain)
{
    FileFinderImpl& finds = opened();
    bool isFirst = true;
    // What another thread does that asks for the symbols while the first search is under way.
    fakeFileSearch().onFindFile = [&](const std::string& name, SEEK_2_13::IFileValidator*,
                                      std::uint32_t) {
        if (std::exchange(isFirst, false)) {
            EXPECT_STREQ(finds.getSymbolFilePath("tool"), "/early");
        }
        return "/found/" + name;
    };
    fakeFileSearch().onFindSymbols = [](const auto&) { return "/early"; };
    EXPECT_STREQ(finds.getBinaryFilePath("tool"), "/found/tool");
    fakeFileSearch().onFindSymbols = [](const auto&) { return "/late"; };
    EXPECT_STREQ(finds.getSymbolFilePath("tool"), "/late");
    EXPECT_EQ(count(fakeFileSearch().take(), "findSymbolFile"), 2);
}

TEST_F(FinderCalls, WithoutASearchNothingIsFound)
{
    for (const char* missing : {"contextMgr", "search"}) {
        fakeFileSearch().missing = {missing};
        FileFinderImpl& finds = open("/results/one");
        EXPECT_STREQ(finds.getBinaryFilePath("tool"), "") << missing;
        EXPECT_EQ(finds.getSymbolFilePath("tool"), nullptr) << missing;
        EXPECT_STREQ(finds.getAuxFilePath("tool"), "") << missing;
    }
}

} // namespace
} // namespace samplefold_1
