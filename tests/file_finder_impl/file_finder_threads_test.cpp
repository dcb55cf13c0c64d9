#include "support/native_image_file.h"
#include "support/temporary_folder.h"

#include <file_finder_impl/file_finder_impl.h>

#include <gtest/gtest.h>

#include <barrier>
#include <thread>
#include <vector>

namespace samplefold_1 {
namespace {

constexpr int g_threads = 8;
constexpr int g_files = 40;

/// Half of the names have a file.
bool hasFile(int number)
{
    return number % 2 == 0;
}
std::string nameOf(int number)
{
    return "tool" + std::to_string(number);
}

TEST(FinderThreads, EightThreadsGetTheSameTextsForTheSameNames)
{
    const samplefold_test::TemporaryFolder folder;
    folder.addFolder("bin");
    for (int i = 0; i < g_files; ++i) {
        if (hasFile(i)) folder.addFile("bin/" + nameOf(i), samplefold_test::nativeImageBytes());
    }
    FileFinderImpl finder(nullptr);
    finder.addBinarySearchPath(folder.path("bin").c_str(), false, 1);

    std::vector<std::vector<std::string>> seen(g_threads, std::vector<std::string>(g_files));
    {
        std::barrier start(g_threads);
        std::vector<std::jthread> threads;
        for (int t = 0; t < g_threads; ++t) {
            threads.emplace_back([&, t] {
                start.arrive_and_wait();
                for (int i = 0; i < g_files; ++i) {
                    const std::string name = nameOf(i);
                    finder.setBinaryExpectedMd5Sum(("other" + name).c_str(), "00");
                    seen[t][i] = finder.getBinaryFilePath(name.c_str());
                    EXPECT_EQ(finder.getAuxFilePath(name.c_str()), seen[t][i]);
                    finder.getSymbolFilePath(name.c_str());
                }
            });
        }
    }
    for (int i = 0; i < g_files; ++i) {
        const std::string expected = hasFile(i) ? folder.path("bin/" + nameOf(i)) : "";
        for (const std::vector<std::string>& one : seen)
            EXPECT_EQ(one[i], expected);
    }
}

TEST(FinderThreads, EightFindersOfOneResultWorkAtOnce)
{
    const samplefold_test::TemporaryFolder folder;
    const std::string file = folder.addFile("tool", samplefold_test::nativeImageBytes());
    std::vector<std::string> found(g_threads);
    {
        std::barrier start(g_threads);
        std::vector<std::jthread> threads;
        for (std::string& mine : found) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                FileFinderImpl finder(folder.path().c_str());
                finder.addBinarySearchPath(folder.path().c_str(), false, 1);
                mine = finder.getBinaryFilePath("tool");
            });
        }
    }
    for (const std::string& mine : found)
        EXPECT_EQ(mine, file);
}

} // namespace
} // namespace samplefold_1
