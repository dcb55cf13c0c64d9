#include "support/fake_file_search.h"

#include <file_finder_impl/file_finder_impl.h>

#include <gtest/gtest.h>

#include <barrier>
#include <condition_variable>
#include <thread>

// The lock is for the finder's maps. Held during a search, it would stop each of these for good.
namespace samplefold_1 {
namespace {

using samplefold_test::fakeFileSearch;

class FinderLock : public testing::Test {
protected:
    FinderLock() { fakeFileSearch().reset(); }
};

TEST_F(FinderLock, ASearchMayAskTheFinderItself)
{
    FileFinderImpl finder(nullptr);
    const auto askAll = [&](const std::string& name) {
        finder.setBinaryExpectedMd5Sum(name.c_str(), "abc");
        finder.setBinaryFileMode(name.c_str(), 2);
        return std::string(finder.getBinaryFilePath(name.c_str())) +
               finder.getSymbolFilePath(name.c_str()) + finder.getAuxFilePath(name.c_str());
    };
    fakeFileSearch().onFindFile = [&](const std::string& name, SEEK_2_13::IFileValidator* validator,
                                      std::uint32_t) {
        if (name != "outer") return "/" + name;
        return validator != nullptr ? askAll("a") : askAll("b");
    };
    fakeFileSearch().onFindSymbols = [&](const auto& question) {
        return question.binary == "/a/s/a" ? askAll("c") : std::string("/s");
    };
    EXPECT_STREQ(finder.getBinaryFilePath("outer"), "/a/s/a");
    EXPECT_STREQ(finder.getAuxFilePath("outer"), "/b/s/b");
    EXPECT_STREQ(finder.getSymbolFilePath("outer"), "/c/s/c");
}

TEST_F(FinderLock, AValidationMayAskAnotherFinder)
{
    FileFinderImpl outer(nullptr);
    FileFinderImpl inner("/result");
    std::string answer;
    fakeFileSearch().onFindFile = [](const std::string& name, SEEK_2_13::IFileValidator* validator,
                                     std::uint32_t) -> std::string {
        const auto errors = SEEK_2_13::IErrorInfoContainer::create();
        validator->validate(name.c_str(), *errors);
        return "/" + name;
    };
    fakeFileSearch().onArchitecture = [&](const std::string& path) {
        if (path == "outer") answer = inner.getBinaryFilePath("inner");
        return SEEK_2_13::validation_result_t::passed;
    };
    fakeFileSearch().onFindSymbols = [&](const auto&) {
        return std::string(inner.getBinaryFilePath("third"));
    };
    EXPECT_STREQ(outer.getBinaryFilePath("outer"), "/outer");
    EXPECT_EQ(answer, "/inner");
    EXPECT_STREQ(outer.getSymbolFilePath("outer"), "/third");
}

TEST_F(FinderLock, SearchesOfTwoThreadsRunAtOnceAndBothForTheSameName)
{
    FileFinderImpl finder(nullptr);
    std::barrier both(2); // neither search ends before the other has begun
    fakeFileSearch().onFindFile = [&](const std::string& name, SEEK_2_13::IFileValidator*,
                                      std::uint32_t) {
        both.arrive_and_wait();
        return "/a/long/path/that/no/string/holds/inside/itself/" + name;
    };
    const char* answers[2] = {};
    {
        std::jthread first([&] { answers[0] = finder.getBinaryFilePath("tool"); });
        std::jthread second([&] { answers[1] = finder.getBinaryFilePath("tool"); });
    }
    EXPECT_EQ(answers[0], answers[1]) << "both point to the one kept text";
    EXPECT_STREQ(answers[0], "/a/long/path/that/no/string/holds/inside/itself/tool");
}

TEST_F(FinderLock, KnownAnswersAreToBeHadWhileASearchRuns)
{
    FileFinderImpl finder(nullptr);
    fakeFileSearch().onFindFile = [](const std::string& name, SEEK_2_13::IFileValidator*,
                                     std::uint32_t) { return "/" + name; };
    finder.getBinaryFilePath("known");
    std::mutex lock;
    std::condition_variable changed;
    bool searching = false;
    bool answered = false;
    fakeFileSearch().onFindFile = [&](const std::string& name, SEEK_2_13::IFileValidator*,
                                      std::uint32_t) {
        std::unique_lock hold(lock);
        searching = true;
        changed.notify_all();
        changed.wait(hold, [&] { return answered; });
        return "/" + name;
    };
    std::jthread slow([&] { finder.getBinaryFilePath("new"); });
    {
        std::unique_lock hold(lock);
        changed.wait(hold, [&] { return searching; });
    }
    EXPECT_STREQ(finder.getBinaryFilePath("known"), "/known");
    const std::lock_guard hold(lock);
    answered = true;
    changed.notify_all();
}

} // namespace
} // namespace samplefold_1
